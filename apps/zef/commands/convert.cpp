#include <algorithm>

#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "files/meshes.h"
#include "files/outputs.h"
#include "files/pipes.h"

namespace {

struct ConvertOptions {
    std::vector<std::string> vInputs;
    zef::ReadOptions reading;
    OutputOptions output;
    TalkOptions talk;
};

constexpr double ownSpacing = 0.0;  // the library finds one

void convertCloud(const ConvertOptions& options, CommandRun& commandRun, const zef::PointFile& cloud) {
    const std::string path = nameOfFormat(options.output.path, options.output.format);
    if (!zef::formatOf(path).writesPoints)
        throw Failure(path + ": that format needs triangles, and there are only points");
    commandRun.report.addCount("points", "points", cloud.points.size());
    writeCloudFile(commandRun, options.output, ownSpacing, cloud);
}

// Of triangles.
std::uint64_t countVertices(const zef::TriangleMesh& mesh) {
    std::vector<bool> vUsed(mesh.vertices.size());
    for (const std::uint32_t index : mesh.indices) vUsed[index] = true;
    return static_cast<std::uint64_t>(std::count(vUsed.begin(), vUsed.end(), true));
}

void convertMesh(const ConvertOptions& options, CommandRun& commandRun, zef::PointFile&& file) {
    const zef::TriangleMesh mesh = zef::toMesh(std::move(file), {}, commandRun.getContext());
    commandRun.report.addCount("vertices", "vertices", countVertices(mesh));
    commandRun.report.addCount("triangles", "triangles", mesh.numTriangles());
    writeMeshFile(commandRun, options.output, ownSpacing, mesh);
}

int runConvert(const ConvertOptions& given, CommandRun& commandRun) {
    ConvertOptions options = given;
    takeLastAsOutput(options.vInputs, options.output);
    const std::string out = nameOfFormat(options.output.path, options.output.format);
    const zef::FileFormat format = zef::formatOf(out);
    if (!format.writesPoints && !format.writesMeshes) throw UsageFailure(out + ": no known format");
    if (format.writesMeshes) {
        checkMeshOutput(options.output, options.vInputs);
    } else {
        checkOutput(options.output, options.vInputs);
    }
    zef::PointFile file = readFiles(commandRun, options.vInputs, options.reading);
    if (file.kind != zef::PointFile::Kind::POINTS && format.writesMeshes) {
        convertMesh(options, commandRun, std::move(file));
    } else {
        convertCloud(options, commandRun, file);
    }
    return EXIT_DONE;
}

}  // namespace

void addConvert(Commands& commands) {
    auto pOptions = std::make_shared<ConvertOptions>();
    CLI::App& command = *commands.app.add_subcommand("convert", "Write a cloud or a mesh in another format");
    command
        .add_option(
            "IN", pOptions->vInputs,
            "Files or folders of points, taken together, or one of triangles; without -o the last is the file to write")
        ->required();
    addReadOptions(command, pOptions->reading);
    addOutputOptions(command, pOptions->output, OutputName::LAST);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef convert scan.xyz scan.ply", "Points; the endings tell the formats."},
                          {"zef convert mesh.ply mesh.stl --shift auto",
                           "Takes an offset away that single precision would suffer from."},
                          {"zef convert scans thin.ply --grid 0.05", "A folder of scans, one point for each cell."},
                          {"zef convert - - --format obj --output-format stl <in.obj >out.stl", "Through pipes."}});
    onRun(commands, command, pOptions, runConvert);
}
