// Point3, Vector3 and the free functions on them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "frame/Rand15.h"
#include "geometry/byPlace.h"
#include "geometry/freeFunctions.h"
#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failureText;

namespace {

constexpr double notNumber = std::numeric_limits<double>::quiet_NaN();

// r, g, b, a and the flag.
std::vector<int> colourOf(const Point3& p) {
    return {p.r, p.g, p.b, p.a, p.bHasColor};
}

std::vector<double> partsOf(const Vector3& v) {
    return {v.vx, v.vy, v.vz};
}

}  // namespace

TEST(Point3, lessReadsAllCoordinatesButGreaterNeverReadsZ) {
    const Point3 low(1, 2, 2), high(1, 2, 3);
    EXPECT_TRUE(low < high);
    EXPECT_FALSE(high < low);
    EXPECT_FALSE(high > low);
    EXPECT_TRUE(Point3(1, 3, 0) > high);
    EXPECT_TRUE(Point3(2, 0, 0) > high);
    EXPECT_FALSE(Point3(0, 9, 9) > high);
    EXPECT_TRUE(Point3(0, 9, 9) < low && Point3(1, 1, 9) < low);
    EXPECT_TRUE(low == Point3(1, 2, 2, 9, 9, 9, 9) && low != high) << "colour does not matter";
    const Point3 odd(1, notNumber, 3);
    EXPECT_FALSE(odd == high || odd < high || high < odd || odd > high || high > odd);
    EXPECT_TRUE(odd != odd);
}

TEST(Point3, colourOfTwoIsTheirRoundedMeanOrThatOfTheFirst) {
    const Point3 p(0, 0, 0, 10, 255, 0, 7), q(0, 0, 0, 11, 255, 1, 9), plain;
    const auto mix = [](const Point3& first, const Point3& second) {
        Point3 target(0, 0, 0, 1, 2, 3, 4);
        target.copyColorFrom(first, second);
        return colourOf(target);
    };
    EXPECT_EQ(mix(p, q), (std::vector<int>{11, 255, 1, 8, 1}));
    EXPECT_EQ(mix(p, plain), colourOf(p));
    EXPECT_EQ(mix(plain, q), colourOf(plain));
    EXPECT_EQ(mix(plain, plain), (std::vector<int>{1, 2, 3, 4, 0}));
    Point3 asFirst = p, asSecond = q;
    asFirst.copyColorFrom(asFirst, q);
    asSecond.copyColorFrom(p, asSecond);
    EXPECT_EQ(colourOf(asFirst), mix(p, q)) << "it may be one of the two itself";
    EXPECT_EQ(colourOf(asSecond), mix(p, q));
}

TEST(Vector3, componentsTiesAndTolerances) {
    EXPECT_EQ(Vector3(1, -1, 1).getMaxAbsIndex(), 0);
    EXPECT_EQ(Vector3(0, 1, 1).getMaxAbsIndex(), 1);
    EXPECT_EQ(Vector3(1, 2, 0).getMaxAbsIndex(), 1);
    EXPECT_EQ(Vector3(2, 0, -3).getMaxAbsIndex(), 2);
    EXPECT_EQ(Vector3(-3, -2, -1).getMaxComponent(), -1);
    EXPECT_EQ(Vector3(-3, 1, 2).getMaxAbsComponent(), 3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Vector3(4, 5, 6).getCartesian(-1), std::numeric_limits<double>::max());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "getCartesian for i=-1\n");
    EXPECT_TRUE(Vector3(0.99, 0, 0).isNV() && Vector3(0, 1.01, 0).isNV());
    EXPECT_FALSE(Vector3(0.98, 0, 0).isNV());
    EXPECT_FALSE(Vector3(0, 0, 1e-300).isDegenerate());
    EXPECT_TRUE(Vector3(0, -0.0, 0).isDegenerate());
    EXPECT_EQ(partsOf(normalize(Vector3())), partsOf(Vector3()));
    EXPECT_EQ(partsOf(normalize(Vector3(0, -3, 4))), (std::vector<double>{0, -0.6, 0.8}));
}

// In any other order the two large terms would meet at another time and swallow
// or spare the small one.
TEST(Vector3, scalarProductSumsYAndXBeforeZ) {
    EXPECT_EQ(Vector3(1, 1e17, -1e17) * Vector3(1, 1, 1), 0.0);
    EXPECT_EQ(Vector3(-1e17, 1e17, 1) * Vector3(1, 1, 1), 1.0);
}

TEST(Angles, roundingBeyondOneIsHeld) {
    const Vector3 x(1, 0, 0), y(0, 1, 0), beyond(1.0000000001, 0, 0);
    EXPECT_NEAR(getAngleDeg(x, y), 90.0, 1e-7);
    EXPECT_EQ(getAngleDeg(x, beyond), 0.0);
    EXPECT_EQ(getAngleDeg(x, beyond * -1.0), 180.0);
    EXPECT_EQ(getAngleRad(x, beyond), 0.0);
    EXPECT_EQ(getAngleRad(x, beyond * -1.0), 6.283185307);
    EXPECT_EQ(getAngleRad(x, x * -1.0), std::numbers::pi);
}

TEST(Areas, agreeAndCountImpossibleTrianglesAsFlat) {
    EXPECT_DOUBLE_EQ(getTriangleArea(Point3(1, 1, 1), Point3(4, 1, 1), Point3(1, 5, 1)), 6.0);
    EXPECT_DOUBLE_EQ(computeArea(3, 4, 5), 6.0);
    EXPECT_EQ(computeArea(1, 1, 3), 0.0);
    const std::string text = failureText([] { computeArea(1, notNumber, 2); });
    const std::size_t warning = text.find(", WARNING: invalid value, no area for this triangle");
    ASSERT_NE(warning, std::string::npos);
    for (const char* part : {"ownHalfCircf=", "len0=1", "len1=", "len2=2"}) {
        EXPECT_NE(text.find(part, warning), std::string::npos) << part;
    }
    EXPECT_NE(text.find("Condition [ false failed ]", warning), std::string::npos);
}

TEST(TriNormal, followsTheRightHandAndRefusesFlatTriangles) {
    const Point3 a(1, 1, 1), b(5, 1, 1), c(1, 1e-9 + 1, 1);
    bool bOK = false;
    EXPECT_EQ(partsOf(triNormal(&a, &b, &c, bOK)), (std::vector<double>{0, 0, 1}));
    EXPECT_TRUE(bOK);
    EXPECT_EQ(partsOf(triNormal(&a, &c, &b, bOK)), (std::vector<double>{0, 0, -1}));
    const Point3 onLine(3, 1, 1);
    for (const Point3* pThird : {&a, &b, &onLine}) {
        bOK = true;
        EXPECT_TRUE(triNormal(&a, &b, pThird, bOK).isDegenerate());
        EXPECT_FALSE(bOK);
    }
}

namespace {

bool estimate(std::vector<Point3> vPoints, Vector3& normal, Point3& centroid) {
    std::vector<Point3*> vpPoints;
    for (Point3& p : vPoints) vpPoints.push_back(&p);
    return estimateNNV(vpPoints, normal, centroid);
}

}  // namespace

TEST(EstimatedNormal, isThatOfThePlaneAlongEveryAxisAndSlopeInEveryUnit) {
    Rand15 rand15(3);
    const auto draw = [&] { return rand15.next() / 16384.0 - 1.0; };
    for (int i = 0; i < 100; ++i) {
        const double x = draw(), y = draw(), z = draw();
        const Vector3 truth = i < 3 ? Vector3(i == 0, i == 1, i == 2) : normalize(Vector3(x, y, z));
        const Vector3 side = normalize(cross(truth, std::abs(truth.vx) < 0.9 ? Vector3(1, 0, 0) : Vector3(0, 1, 0)));
        std::vector<Point3> vPoints, vScaled;
        const double f = std::ldexp(1.0, 6 * i - 300);
        for (int n = 0; n < 40; ++n) {
            const double u = draw(), v = draw();
            vPoints.push_back(Point3() + side * u + cross(truth, side) * v);
            const Point3& p = vPoints.back();
            vScaled.emplace_back(p.px * f, p.py * f, p.pz * f);
        }
        Vector3 normal, scaled;
        Point3 centroid;
        ASSERT_TRUE(estimate(vPoints, normal, centroid) && estimate(vScaled, scaled, centroid));
        EXPECT_NEAR(std::abs(normal * truth), 1.0, 1e-10);
        EXPECT_NEAR(normal.length(), 1.0, 1e-14);
        EXPECT_EQ(partsOf(normal), partsOf(scaled)) << i;
    }
}

TEST(EstimatedNormal, isRefusedWithoutAPlaneAndBringsTheCentroid) {
    const Point3 o, x(1, 0, 0);
    Vector3 normal{7, 7, 7};
    Point3 centroid;
    for (const std::vector<Point3>& vPoints :
         {std::vector{o, x}, {o, x, Point3(2, 0, 0)}, {x, x, x, x}, {o, x, Point3(0, notNumber, 0)}}) {
        EXPECT_FALSE(estimate(vPoints, normal, centroid));
        EXPECT_EQ(partsOf(normal), partsOf(Vector3(7, 7, 7)));
    }
    ASSERT_TRUE(estimate({{0, 0, 1, 9, 9, 9, 9}, {4, 0, 1}, {0, 8, 1}, {4, 8, 1}}, normal, centroid));
    EXPECT_EQ(centroid, Point3(2, 4, 1));
    EXPECT_FALSE(centroid.hasColor());
}

TEST(ByPlace, takesTheSamePlacesInAnyOrderAndFromEverywhere) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < 64'000; ++i) vPoints.emplace_back(i % 40 - 20, i / 40 % 40 - 20, i / 1600 - 20);
    const auto draw = [&](std::size_t num) {
        std::vector<Point3> vDrawn;
        for (const std::size_t i : drawByPlace(PointSource(vPoints), num)) vDrawn.push_back(vPoints[i]);
        return vDrawn;
    };
    const std::vector<Point3> vFirst = draw(8000);
    ASSERT_EQ(vFirst.size(), 8000u);
    for (int octant = 0; octant < 8; ++octant) {
        const auto num = std::count_if(vFirst.begin(), vFirst.end(), [&](const Point3& p) {
            return (p.px < 0) == (octant % 2 == 0) && (p.py < 0) == (octant / 2 % 2 == 0) && (p.pz < 0) == (octant < 4);
        });
        EXPECT_NEAR(static_cast<double>(num), 1000.0, 150.0) << octant;
    }
    std::reverse(vPoints.begin(), vPoints.end());
    EXPECT_EQ(draw(8000), vFirst);
    EXPECT_EQ(draw(100'000).size(), vPoints.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) vPoints[i].set(i % 2 ? 0.0 : -0.0, 1.0, 2.0);
    EXPECT_EQ(draw(10), std::vector<Point3>(10, Point3(0.0, 1.0, 2.0)));
}
