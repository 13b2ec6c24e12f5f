#include "meshChange.h"

#include "failures.h"
#include "measure.h"
#include "meshes.h"
#include "zef/Mesh.h"

void addMeshChange(CLI::App& command, MeshChange& files) {
    command.add_option("IN", files.path, "A file of triangles")->required();
    addOutputOptions(command, files.output, false);
    addTalkOptions(command, files.talk);
}

int changeMesh(const MeshChange& files, CommandRun& commandRun, const std::string& step,
               const std::function<void(const std::shared_ptr<zef::Mesh>&)>& change) {
    checkMeshOutput(files.output, {files.path});
    const std::shared_ptr<zef::Mesh> pMesh = readMeshFile(commandRun, files.path);
    commandRun.report.addCount("input_triangles", "triangles read", pMesh->getNumT());
    commandRun.lap("seconds_read", "read");

    commandRun.step(step);
    change(pMesh);
    if (pMesh->getNumT() == 0) throw Failure(files.path + ": no triangle is left");
    commandRun.lap("seconds_change", step);

    std::vector<zef::Point3*> vVertices;
    pMesh->getPoints(vVertices);
    deliverMesh(commandRun, files.output, measureBox(vVertices), pMesh->getAverageEdgeLength(), pMesh);
    return EXIT_DONE;
}
