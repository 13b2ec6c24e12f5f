// The mapping of points, the conversion of codes and the neighbour arrays.
// Input: 65536 random points or cells (seed 1) in a grid of 2^21 cells per axis,
// which stay in the cache, on one thread. items_per_second counts points, codes
// or cells; getNeigs6_RCD and getCorners_RCD take cells of a flat 1024 x 1024 sheet.

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "grid/Calc.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::size_t numElements = 65536;

const Calc& grid() {
    static const Calc calc(-1, -2, -3, 10, 10, 10, 21);
    return calc;
}

std::vector<Point3> makePoints() {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> inside(0.01, 9.99);
    std::vector<Point3> vPoints;
    for (std::size_t i = 0; i < numElements; ++i) {
        const double x = inside(random), y = inside(random), z = inside(random);
        vPoints.emplace_back(x - 1, y - 2, z - 3);
    }
    return vPoints;
}

std::vector<uint64> makeCodes(bool bSparse) {
    std::vector<uint64> vCodes;
    for (const Point3& p : makePoints()) vCodes.push_back(bSparse ? grid().getCCD(p) : grid().getRCD(p));
    return vCodes;
}

// Runs fn on every element and keeps what it returns.
template <class T, class Fn>
void runOver(benchmark::State& state, const std::vector<T>& vIn, Fn fn) {
    std::vector<decltype(fn(vIn[0]))> vOut(vIn.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < vIn.size(); ++i) vOut[i] = fn(vIn[i]);
        benchmark::DoNotOptimize(vOut.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(vIn.size()));
}

void getRCD(benchmark::State& state) {
    runOver(state, makePoints(), [](const Point3& p) { return grid().getRCD(p); });
}
void getCCD(benchmark::State& state) {
    runOver(state, makePoints(), [](const Point3& p) { return grid().getCCD(p); });
}
void rcdToCcd(benchmark::State& state) {
    runOver(state, makeCodes(false), [](uint64 rcd) { return grid().rcdToCcd(rcd); });
}
void ccdToRcd(benchmark::State& state) {
    runOver(state, makeCodes(true), [](uint64 ccd) { return grid().ccdToRcd(ccd); });
}
void incSparse(benchmark::State& state) {
    runOver(state, makeCodes(true), [](uint64 ccd) { return grid().incSparse(ccd, 4); });
}
void getCellCenter(benchmark::State& state) {
    runOver(state, makeCodes(true), [](uint64 ccd) { return grid().getCellCenter(ccd); });
}

// A neighbour array, all of it written.
template <class Fn>
void fillArrays(benchmark::State& state, bool bSparse, Fn fn) {
    runOver(state, makeCodes(bSparse), [&fn](uint64 code) {
        uint64 array[27];
        fn(code, array);
        benchmark::DoNotOptimize(array);
        return array[0];
    });
}
void completeArray27(benchmark::State& state) {
    fillArrays(state, true, [](uint64 code, uint64* array) { grid().completeArray27(code, array); });
}
void completeArray27_RCD(benchmark::State& state) {
    fillArrays(state, false, [](uint64 code, uint64* array) { grid().completeArray27_RCD(code, array); });
}
void completeArray26_RCD(benchmark::State& state) {
    fillArrays(state, false, [](uint64 code, uint64* array) { grid().completeArray26_RCD(code, array); });
}
void getVCDsOfCCD(benchmark::State& state) {
    fillArrays(state, true, [](uint64 code, uint64* array) {
        array[0] = code;
        grid().getVCDsOfCCD(array);
    });
}

std::vector<uint64> makeSheet() {
    std::vector<uint64> vRCD;
    for (uint64 x = 0; x < 1024; ++x) {
        for (uint64 y = 0; y < 1024; ++y) vRCD.push_back(packRCD(5000 + x, 5000 + y, 5000));
    }
    return vRCD;
}

template <class Fn>
void listSheet(benchmark::State& state, Fn fn) {
    const std::vector<uint64> vRCD = makeSheet();
    for (auto _ : state) {
        std::vector<uint64> vOut;
        fn(vRCD, vOut);
        benchmark::DoNotOptimize(vOut.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(vRCD.size()));
}
void getNeigs6_RCD(benchmark::State& state) {
    listSheet(state, [&](const auto& vRCD, auto& vOut) { grid().getNeigs6_RCD(vRCD, vOut, state.range(0) != 0); });
}
void getCorners_RCD(benchmark::State& state) {
    listSheet(state, [&](const auto& vRCD, auto& vOut) { grid().getCorners_RCD(vRCD, vOut, state.range(0) != 0); });
}

}  // namespace

BENCHMARK(getRCD);
BENCHMARK(getCCD);
BENCHMARK(rcdToCcd);
BENCHMARK(ccdToRcd);
BENCHMARK(incSparse);
BENCHMARK(getCellCenter);
BENCHMARK(completeArray27);
BENCHMARK(completeArray27_RCD);
BENCHMARK(completeArray26_RCD);
BENCHMARK(getVCDsOfCCD);
BENCHMARK(getNeigs6_RCD)->ArgName("unique")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(getCorners_RCD)->ArgName("unique")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
