// sortMT and its kin against std::sort and tbb::parallel_sort.
// Input: 10 million (or argv[1]) elements with uint64 keys, seed 1: random, sorted,
// reversed, all equal; "30 bits" has the keys of a grid of 2^10 cells per axis in
// three packed fields; argv[3] picks one of these. All hardware threads. Each line
// is the best of three (or argv[2]) interleaved rounds: seconds, elements per
// second, ratio to std::sort on the same input.

#include <oneapi/tbb/parallel_sort.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "parallel/sortMT.h"

using namespace QUOR_ZEF;

namespace {

using Words = std::vector<uint64>;

struct Contender {
    const char* name;
    std::function<void()> sort;
    double best = std::numeric_limits<double>::max();
};

Words makeKeys(const std::string& shape, std::size_t n) {
    std::mt19937_64 random(1);
    const uint64 cellBits = uint64{1023} << 42 | uint64{1023} << 21 | 1023;
    Words v(n, 42);
    for (std::size_t i = 0; i < n; ++i) {
        if (shape == "random") v[i] = random();
        if (shape == "30 bits") v[i] = random() & cellBits;
        if (shape == "sorted") v[i] = i;
        if (shape == "reversed") v[i] = n - i;
    }
    return v;
}

template <class T>
std::vector<T> makeElements(const Words& vKeys) {
    if constexpr (std::is_same_v<T, uint64>) {
        return vKeys;
    } else {
        std::vector<T> v(vKeys.size());
        for (std::size_t i = 0; i < v.size(); ++i) v[i].first = vKeys[i];
        return v;
    }
}

// The contenders sort v, which is refilled before each of them.
template <class T>
void compare(const char* type, const char* shape, std::size_t n, int numRounds, std::vector<T>& v,
             std::vector<Contender> vContenders) {
    const auto vInput = makeElements<T>(makeKeys(shape, n));
    for (int round = 0; round < numRounds; ++round) {
        for (Contender& contender : vContenders) {
            v = vInput;
            const auto start = std::chrono::steady_clock::now();
            contender.sort();
            const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
            contender.best = std::min(contender.best, duration.count());
        }
    }
    for (const Contender& contender : vContenders) {
        std::printf("%-9s %-9s %-20s %8.4f s %8.1f M/s  %5.2f x std::sort\n", type, shape, contender.name,
                    contender.best, static_cast<double>(n) / contender.best / 1e6,
                    vContenders.front().best / contender.best);
    }
    std::fflush(stdout);
}

void compareWords(const char* shape, std::size_t n, int numRounds) {
    Words v;
    compare("uint64", shape, n, numRounds, v,
            {{"std::sort", [&] { std::sort(v.begin(), v.end()); }},
             {"tbb::parallel_sort", [&] { tbb::parallel_sort(v.begin(), v.end()); }},
             {"sortMT", [&] { sortMT(v.begin(), v.end()); }},
             {"sortUniqueMT", [&] { sortUniqueMT(v); }}});
}

template <class Payload>
void comparePairs(const char* type, const char* shape, std::size_t n, int numRounds) {
    using T = std::pair<uint64, Payload>;
    std::vector<T> v;
    const Func_ltFirstComponent<T> comp;
    std::vector<Contender> vContenders{{"std::sort", [&] { std::sort(v.begin(), v.end(), comp); }},
                                       {"tbb::parallel_sort", [&] { tbb::parallel_sort(v.begin(), v.end(), comp); }},
                                       {"sortByFirstMT", [&] { sortByFirstMT(v.begin(), v.end()); }},
                                       {"sortStableByFirstMT", [&] { sortStableByFirstMT(v.begin(), v.end()); }}};
    if constexpr (std::is_same_v<Payload, uint64>) {
        vContenders.push_back({"sortMT, std::less", [&] { sortMT(v.begin(), v.end()); }});
    }
    compare(type, shape, n, numRounds, v, std::move(vContenders));
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10'000'000;
    const int numRounds = argc > 2 ? std::atoi(argv[2]) : 3;
    std::printf("%zu elements, %u threads, best of %d\n", n, getNumThreads(), numRounds);
    for (const char* shape : {"random", "30 bits", "sorted", "reversed", "all-equal"}) {
        if (argc > 3 && shape != std::string(argv[3])) continue;
        compareWords(shape, n, numRounds);
        comparePairs<uint64>("16 bytes", shape, n, numRounds);
        comparePairs<std::array<double, 4>>("40 bytes", shape, n, numRounds);
    }
    return 0;
}
