// Writing and reading of mesh files. Input: a wavy sheet of 1582 x 1582 vertices
// with 5 million triangles, written to the temporary folder and read back while
// the system still has the file in memory; one thread. "flatten" is what writing
// costs before a format comes into play. items_per_second counts triangles,
// bytes_per_second those of the file. Writing waits for the disk, so its time on the
// clock is longer than that of the processor.

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "files/ScanFile.h"
#include "io/meshFormats.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::uint32_t side = 1582;

TriangleMesh makeSheet() {
    TriangleMesh sheet;
    for (std::uint32_t y = 0; y < side; ++y)
        for (std::uint32_t x = 0; x < side; ++x)
            sheet.vertices.emplace_back(0.01 * x, 0.01 * y, std::sin(0.02 * x) * std::cos(0.03 * y));
    for (std::uint32_t y = 0; y + 1 < side; ++y) {
        for (std::uint32_t x = 0; x + 1 < side; ++x) {
            const std::uint32_t a = y * side + x, b = a + 1, c = a + side, d = c + 1;
            sheet.indices.insert(sheet.indices.end(), {a, b, d, a, d, c});
        }
    }
    return sheet;
}

const TriangleMesh& sheet() {
    static const TriangleMesh mesh = makeSheet();
    return mesh;
}

// Removed at the end of the program.
struct Folder {
    std::filesystem::path path = std::filesystem::temp_directory_path() / "zef-bench-meshes";
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() { std::filesystem::remove_all(path); }
};

std::string nameOf(const std::string& ending) {
    static const Folder folder;
    return (folder.path / ("sheet" + ending)).string();
}

void countTriangles(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(sheet().numTriangles()));
}

void countFile(benchmark::State& state, const std::string& path) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(std::filesystem::file_size(path)));
    countTriangles(state);
}

void flattenMesh(benchmark::State& state) {
    const RMesh mesh(sheet().vertices, sheet().indices, 0.01);
    for (auto _ : state) benchmark::DoNotOptimize(flatten(mesh, VertexOrder::FIRST_USE));
    countTriangles(state);
}

void writeMesh(benchmark::State& state, const std::string& ending, bool bText) {
    const std::string path = nameOf(ending);
    WriteOptions options;
    options.text = bText;
    for (auto _ : state) writeMeshFile(path, sheet(), options);
    countFile(state, path);
}

void readMesh(benchmark::State& state, const std::string& ending, bool bText) {
    const std::string path = nameOf(ending);
    WriteOptions options;
    options.text = bText;
    writeMeshFile(path, sheet(), options);
    for (auto _ : state) benchmark::DoNotOptimize(ScanFile(path).loadMesh({}));
    countFile(state, path);
}

BENCHMARK(flattenMesh)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, ply, ".ply", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, ply_text, ".ply", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, stl, ".stl", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, obj, ".obj", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, off, ".off", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writeMesh, glb, ".glb", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readMesh, ply, ".ply", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readMesh, ply_text, ".ply", true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readMesh, obj, ".obj", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readMesh, off, ".off", false)->Unit(benchmark::kMillisecond);

}  // namespace
