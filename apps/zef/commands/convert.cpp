#include "commands/commands.h"
#include "failures.h"
#include "inputs.h"
#include "io/saveCloud.h"
#include "measure.h"
#include "meshes.h"
#include "outputs.h"
#include "zef/Mesh.h"
#include "zef/exceptions.h"

namespace {

struct ConvertOptions {
    std::string path;
    OutputOptions output;
    TalkOptions talk;
};

// Only for the warning: a cloud without a spacing has no detail to lose.
double spacingOrZero(const std::vector<zef::Point3>& vPoints) {
    try {
        return measureSpacing(vPoints);
    } catch (const zef::ZefBugException&) {
        return 0.0;
    }
}

void convertCloud(const ConvertOptions& options, CommandRun& commandRun, std::vector<zef::Point3> vPoints) {
    const std::string& path = options.output.path;
    if (!zef::isCloudName(path)) throw Failure(path + ": that format needs triangles, and there are only points");
    commandRun.report.addCount("points", "points", vPoints.size());
    const double spacing = narrowsCloud(options.output) ? spacingOrZero(vPoints) : 0.0;
    writeCloudFile(commandRun, options.output, spacing, vPoints);
}

void convertMesh(const ConvertOptions& options, CommandRun& commandRun) {
    const std::shared_ptr<zef::Mesh> pMesh = readMeshFile(commandRun, options.path);
    std::vector<zef::Point3*> vVertices;
    pMesh->getPoints(vVertices);
    commandRun.report.addCount("vertices", "vertices", vVertices.size());
    commandRun.report.addCount("triangles", "triangles", pMesh->getNumT());
    const Box box = measureBox(vVertices);
    const Shift shift = chooseShift(commandRun, options.output, box);
    if (narrowsMesh(options.output)) warnOfRounding(commandRun, box, shift, pMesh->getAverageEdgeLength());
    writeMeshFile(commandRun, options.output, shift, pMesh);
}

int runConvert(const ConvertOptions& options, CommandRun& commandRun) {
    const std::string& out = options.output.path;
    if (!zef::isCloudName(out) && !isMeshName(out)) throw UsageFailure(out + ": no known format");
    if (isMeshName(out)) {
        checkMeshOutput(options.output, {options.path});
    } else {
        checkOutput(options.output, {options.path});
    }
    zef::CloudFile file = readCloud(commandRun, options.path);
    if (file.kind != zef::CloudFile::Kind::POINTS && isMeshName(out)) {
        file = {};
        convertMesh(options, commandRun);
    } else {
        convertCloud(options, commandRun, std::move(file.vPoints));
    }
    return EXIT_DONE;
}

}  // namespace

void addConvert(Commands& commands) {
    auto pOptions = std::make_shared<ConvertOptions>();
    CLI::App& command = *commands.app.add_subcommand("convert", "Write a cloud or a mesh in another format");
    command.add_option("IN", pOptions->path, "A file of points or triangles")->required();
    addOutputOptions(command, pOptions->output, true);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runConvert);
}
