// Reading of LAS and LAZ. Input: a flight of scan lines over waves, 2 million points of 1 cm and
// up to three returns, with colours and times (formats 3 and 7, chunks of 50000), as the encoder
// of the tests writes them; read from the temporary folder while the system still has the files in
// memory. The argument is the number of threads. items_per_second counts points by the time of
// the processor, that of all threads together; "real" is the time on the clock.

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "formats/las.h"
#include "formats/lazEncoder.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

constexpr std::size_t numPoints = 2'000'000, lineLength = 1000;

Records makeRecords(unsigned format) {
    std::mt19937 generator(1);
    const auto random = [&] { return static_cast<unsigned>(generator()); };
    const bool bLong = format >= 6;
    Records records(numPoints, std::string(bLong ? 36 : 34, '\0'));
    for (std::size_t i = 0; i < numPoints; ++i) {
        std::string& record = records[i];
        const double along = static_cast<double>(i % lineLength), across = static_cast<double>(i) / double{lineLength};
        const double height = 500.0 * std::sin(0.01 * along) * std::cos(0.02 * across);
        const auto noisy = [&](double x) {
            return static_cast<std::int32_t>(x) + static_cast<std::int32_t>(random() % 9);
        };
        putValue(record, 0, noisy(50 * along));
        putValue(record, 4, noisy(40 * across));
        putValue(record, 8, noisy(height));
        putValue(record, 12, static_cast<std::uint16_t>(300 + random() % 64));
        const unsigned n = 1 + random() % 8 / 6, r = 1 + static_cast<unsigned>(i) % n;
        putValue(record, 14, static_cast<std::uint8_t>(r | n << (bLong ? 4 : 3)));
        putValue(record, bLong ? 16 : 15, static_cast<std::uint8_t>(height > 100.0 ? 5 : 2));
        if (bLong) putValue(record, 17, static_cast<std::uint8_t>(r == 1));  // a new time
        if (!bLong) putValue(record, 20, 1000.0 + 1e-5 * static_cast<double>(i & ~std::size_t{1}));
        const auto shade = static_cast<std::uint16_t>(256 * (100 + height / 10 + random() % 6));
        putValue(record, bLong ? 30 : 28,
                 std::array<std::uint16_t, 3>{shade, shade, static_cast<std::uint16_t>(shade / 2)});
    }
    return records;
}

// Removed at the end of the program.
struct Folder {
    std::filesystem::path path = std::filesystem::temp_directory_path() / "zef-bench-formats";
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() { std::filesystem::remove_all(path); }
};

// Written when it is first asked for.
std::string nameOf(unsigned format, bool bLaz) {
    static const Folder folder;
    const std::string stem = (folder.path / std::to_string(format)).string();
    if (!std::filesystem::exists(stem + ".las")) {
        const Records records = makeRecords(format);
        std::ofstream(stem + ".las", std::ios::binary) << lasFile(format, records);
        const LasPlan plan{.format = format, .version = format < 6 ? 2u : 3u, .vChunks = {50000}};
        std::ofstream(stem + ".laz", std::ios::binary) << lazFile(plan, records);
    }
    return stem + (bLaz ? ".laz" : ".las");
}

void readAll(benchmark::State& state, unsigned format, bool bLaz, const PointChoice& choice) {
    const std::string name = nameOf(format, bLaz);
    const ThreadCount threads(static_cast<unsigned>(state.range(0)));
    std::size_t num = 0;
    PointBlock block;
    for (auto _ : state) {
        const InputFile file(name);
        const auto pStream = openLas(file, choice);
        bool bMore = true;
        while (bMore) {
            num += block.points.size();
            block.points.clear();
            block.classes.clear();
            block.intensities.clear();
            bMore = pStream->next(block);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(num));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(std::filesystem::file_size(name)));
}

constexpr PointChoice everything{}, placesOnly{false, false, false, false, {}};

void las3(benchmark::State& state) {
    readAll(state, 3, false, everything);
}
void laz3(benchmark::State& state) {
    readAll(state, 3, true, everything);
}
void laz7(benchmark::State& state) {
    readAll(state, 7, true, everything);
}
void laz7Places(benchmark::State& state) {
    readAll(state, 7, true, placesOnly);
}

BENCHMARK(las3)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(laz3)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(laz7)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(laz7Places)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

}  // namespace
