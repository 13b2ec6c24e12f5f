// Reading and writing of point files. Input: 5 million random points (seed 1) in
// a cube of side 100, written to the temporary folder and read back while the
// system still has the file in memory; lists of text on all threads, the rest on
// one. bytes_per_second is the rate of the file's bytes by the time on the clock,
// items_per_second that of its points.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "files/ScanFile.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::size_t numPoints = 5'000'000;

enum File { BINARY_PLY, TEXT_PLY, TEXT_LIST, BINARY_LIST };

std::vector<Point3>& points() {
    static std::vector<Point3> vPoints = [] {
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> inside(0.0, 100.0);
        std::vector<Point3> v;
        for (std::size_t i = 0; i < numPoints; ++i) {
            const double x = inside(random), y = inside(random), z = inside(random);
            v.emplace_back(x, y, z);
        }
        return v;
    }();
    return vPoints;
}

// Removed at the end of the program.
struct Files {
    std::filesystem::path folder = std::filesystem::temp_directory_path() / "zef-bench-io";
    Files() { std::filesystem::create_directories(folder); }
    ~Files() { std::filesystem::remove_all(folder); }
    std::string name(File file) const {
        constexpr const char* names[] = {"binary.ply", "text.ply", "text.xyz", "binary.bin"};
        return (folder / names[file]).string();
    }
};

const Files& files() {
    static const Files all;
    return all;
}

bool write(File file) {
    std::string name = files().name(file);
    std::cout.setstate(std::ios::failbit);  // the writer's line would stand amid the table
    const bool bWritten = writePoints_auto(name, points(), file == TEXT_PLY);
    std::cout.clear();
    return bWritten;
}

void count(benchmark::State& state, File file) {
    const auto numBytes = static_cast<std::int64_t>(std::filesystem::file_size(files().name(file)));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * numBytes);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(numPoints));
}

void readPoints(benchmark::State& state, File file) {
    std::string name = files().name(file);
    if (!write(file)) return state.SkipWithError("not written");
    for (auto _ : state) {
        std::vector<Point3> vPoints;
        if (!readPoints_auto(name, vPoints) || vPoints.size() != numPoints) return state.SkipWithError("not read");
    }
    count(state, file);
}

void loadCloud(benchmark::State& state, File file) {
    if (!write(file)) return state.SkipWithError("not written");
    for (auto _ : state) benchmark::DoNotOptimize(ScanFile(files().name(file)).load({}));
    count(state, file);
}

void writePoints(benchmark::State& state, File file) {
    for (auto _ : state)
        if (!write(file)) return state.SkipWithError("not written");
    count(state, file);
}

BENCHMARK_CAPTURE(readPoints, binary_ply, BINARY_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readPoints, text_ply, TEXT_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readPoints, text_list, TEXT_LIST)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readPoints, binary_list, BINARY_LIST)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadCloud, binary_ply, BINARY_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadCloud, text_ply, TEXT_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadCloud, text_list, TEXT_LIST)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(loadCloud, binary_list, BINARY_LIST)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writePoints, binary_ply, BINARY_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writePoints, text_ply, TEXT_PLY)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writePoints, text_list, TEXT_LIST)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(writePoints, binary_list, BINARY_LIST)->Unit(benchmark::kMillisecond);

}  // namespace
