#include "meshChange.h"

#include "failures.h"
#include "measure.h"
#include "meshes.h"
#include "topology.h"
#include "zef/Mesh.h"
#include "zef/meshCheck.h"

namespace {

Shift chooseMeshShift(const MeshChange& files, CommandRun& commandRun, const zef::Mesh& mesh) {
    std::vector<zef::Point3*> vVertices;
    mesh.getPoints(vVertices);
    const Box box = measureBox(vVertices);
    const Shift shift = chooseShift(commandRun, files.output, box);
    if (narrowsMesh(files.output)) warnOfRounding(commandRun, box, shift, mesh.getAverageEdgeLength());
    return shift;
}

}  // namespace

void addMeshChange(CLI::App& command, MeshChange& files) {
    command.add_option("IN", files.path, "A file of triangles")->required();
    addOutputOptions(command, files.output, false);
    addTalkOptions(command, files.talk);
}

int changeMesh(const MeshChange& files, CommandRun& commandRun, const std::string& step,
               const std::function<void(const std::shared_ptr<zef::Mesh>&)>& change) {
    checkMeshOutput(files.output, {files.path});
    Report& report = commandRun.report;
    const std::shared_ptr<zef::Mesh> pMesh = readMeshFile(commandRun, files.path);
    report.addCount("input_triangles", "triangles read", pMesh->getNumT());
    const double secondsRead = commandRun.watch.lap();

    commandRun.step(step);
    change(pMesh);
    if (pMesh->getNumT() == 0) throw Failure(files.path + ": no triangle is left");
    const double secondsChange = commandRun.watch.lap();

    reportMesh(report, zef::checkMesh(*pMesh));
    const Shift shift = chooseMeshShift(files, commandRun, *pMesh);
    commandRun.watch.lap();

    writeMeshFile(commandRun, files.output, shift, pMesh);
    report.addSeconds("seconds_read", "read", secondsRead);
    report.addSeconds("seconds_change", step, secondsChange);
    report.addStages();
    report.addSeconds("seconds_write", "write", commandRun.watch.lap());
    report.addBytes("peak_bytes", "peak memory", peakBytes());
    return EXIT_DONE;
}
