#include "density/noise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace QUOR_ZEF;

namespace {

struct Sample {
    Point3 p;
    Vector3 normal;
};

class Draws {
public:
    double share() { return shares(random); }
    double normal() { return normals(random); }

    // Evenly strewn: tube 2 around a circle of 5, and the surface of a box of 10 x 10 x 4.
    Sample onTorus() {
        double v = 0.0;
        do {
            v = 2.0 * M_PI * share();
        } while (7.0 * share() > 5.0 + 2.0 * std::cos(v));
        const double u = 2.0 * M_PI * share();
        const Vector3 n(std::cos(u) * std::cos(v), std::sin(u) * std::cos(v), std::sin(v));
        return {Point3(5.0 * std::cos(u), 5.0 * std::sin(u), 0.0) + n * 2.0, n};
    }
    Sample onBox() {
        const double a = 10.0 * share(), b = share(), which = 360.0 * share(), side = share() < 0.5 ? 0.0 : 1.0;
        const double out = 2.0 * side - 1.0;
        if (which < 200.0) return {{a, 10.0 * b, 4.0 * side}, {0, 0, out}};
        if (which < 280.0) return {{a, 10.0 * side, 4.0 * b}, {0, out, 0}};
        return {{10.0 * side, a, 4.0 * b}, {out, 0, 0}};
    }

private:
    std::mt19937 random{5};
    std::uniform_real_distribution<double> shares;
    std::normal_distribution<double> normals;
};

}  // namespace

TEST(NoiseMap, findsTheDeviationAcrossCurvesAndCreases) {
    constexpr int num = 20'000;
    Draws draws;
    for (const bool bTorus : {true, false}) {
        const double spacing = std::sqrt((bTorus ? 40.0 * M_PI * M_PI : 360.0) / num);
        for (const double noise : {0.0, 0.1, 0.3, 0.8}) {
            std::vector<Point3> vPoints;
            for (int i = 0; i < num; ++i) {
                const Sample sample = bTorus ? draws.onTorus() : draws.onBox();
                vPoints.push_back(sample.p + sample.normal * (noise * spacing * draws.normal()));
            }
            const Scatter found = NoiseMap(vPoints, 1.24 * spacing).getMedian();
            EXPECT_NEAR(found.deviation, noise * spacing, (0.003 + 0.08 * noise) * spacing) << bTorus << noise;
            EXPECT_NEAR(found.spacing, spacing, 0.15 * spacing) << bTorus << noise;
        }
    }
}

TEST(NoiseMap, tellsPlacesApartAndWhatIsNoSurface) {
    Draws draws;
    std::vector<Point3> vSheet, vBall, vLine;
    for (int i = 0; i < 20'000; ++i) {  // spacing 1, noise in one half
        const double x = 200.0 * draws.share();
        vSheet.emplace_back(x, 100.0 * draws.share(), x < 100.0 ? 0.0 : 0.3 * draws.normal());
        vBall.emplace_back(20.0 * draws.share(), 20.0 * draws.share(), 20.0 * draws.share());
        vLine.emplace_back(0.5 * i, 0.0, 0.0);
    }
    const NoiseMap map(vSheet, 1.24);
    for (const double y : {5.0, 20.0, 70.0}) {
        EXPECT_LT(map.at({50.0, y, 0.0}).deviation, 1e-9);
        EXPECT_NEAR(map.at({150.0, y, 0.0}).deviation, 0.3, 0.1);
    }
    const Scatter ball = NoiseMap(vBall, 1.0).getMedian();
    EXPECT_GT(ball.deviation, 2.0 * ball.spacing);
    EXPECT_LT(NoiseMap(vLine, 1.0).getMedian().deviation, 1e-9);
    EXPECT_EQ(NoiseMap(std::vector<Point3>(40), 1.0).getMedian().deviation, -1.0);
}
