// The C++ side of overhead.py: reconstructs the points of a file of doubles, and prints
// seconds, those of all threads, bytes of memory above the level before, and the number of triangles.
//
//   bench_call POINTS.f64

#include <chrono>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "zef/reconstruction.h"

namespace {

std::vector<double> readDoubles(const char* path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<double> vDoubles(static_cast<std::size_t>(file.tellg()) / sizeof(double));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(vDoubles.data()), static_cast<std::streamsize>(vDoubles.size() * sizeof(double)));
    return vDoubles;
}

long memoryOf(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != key + ":") continue;
        long kilobytes = 0;
        status >> kilobytes;
        return kilobytes * 1024;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::vector<double> vDoubles = readDoubles(argv[1]);
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
    const long before = memoryOf("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t startCpu = std::clock();
    zef::PointView view;
    view.xyz = vDoubles.data();
    view.count = vDoubles.size() / 3;
    const zef::Reconstruction made = zef::reconstruct(view);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const double cpuSeconds = static_cast<double>(std::clock() - startCpu) / CLOCKS_PER_SEC;
    std::cout << seconds.count() << ' ' << cpuSeconds << ' ' << memoryOf("VmHWM") - before << ' '
              << made.mesh.numTriangles() << '\n';
    return 0;
}
