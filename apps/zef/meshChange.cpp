#include "meshChange.h"

#include "failures.h"
#include "files/meshes.h"

void addMeshChange(CLI::App& command, MeshChange& files) {
    command.add_option("IN", files.path, "A file of triangles")->required();
    addOutputOptions(command, files.output, OutputName::REQUIRED);
    addTalkOptions(command, files.talk);
}

int changeMesh(const MeshChange& files, CommandRun& commandRun, const std::string& step,
               const std::function<void(zef::TriangleMesh&)>& change) {
    checkMeshOutput(files.output, {files.path});
    zef::TriangleMesh mesh = readMeshFile(commandRun, files.path);
    commandRun.report.addCount("input_triangles", "triangles read", mesh.numTriangles());
    commandRun.lap("seconds_read", "read");

    commandRun.step(step);
    change(mesh);
    if (mesh.numTriangles() == 0) throw Failure(files.path + ": no triangle is left");
    commandRun.lap("seconds_change", step);

    constexpr double ownSpacing = 0.0;
    deliverMesh(commandRun, files.output, ownSpacing, mesh);
    return EXIT_DONE;
}
