// Follows a reconstruction on standard error, and cancels it at a share of the work.

#include <zef/zef.h>

#include <cstdlib>
#include <iostream>
#include <vector>

int main(int argc, char** argv) {
    const double lastShare = argc > 1 ? std::atof(argv[1]) : 0.5;
    std::vector<zef::Point3> points;
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 200; ++x) points.emplace_back(x, y, 0.1 * ((x + y) % 3));

    zef::Context context;
    context.progress = [&](const zef::ProgressStep& step) {
        std::cerr << '\r' << static_cast<int>(100.0 * step.share) << " % " << step.stage << "\033[K";
        return step.share < lastShare;  // a program with windows would ask its Cancel button
    };
    context.message = [](zef::Severity severity, std::string_view text) {
        if (severity == zef::Severity::WARNING) std::cerr << '\n' << text << '\n';
    };
    try {
        const zef::Reconstruction made = zef::reconstruct(points, {}, context);
        std::cout << "\nthrough, with " << made.mesh.numTriangles() << " triangles\n";
        return lastShare > 1.0 ? 0 : 1;
    } catch (const zef::CancelledError&) {
        std::cout << "\ncancelled; nothing is left of it\n";
        return lastShare > 1.0 ? 1 : 0;
    }
}
