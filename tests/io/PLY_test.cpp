#include "io/PLY.h"

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "io/vtxColors.h"

#include <gtest/gtest.h>

#include <limits>

#include "bytes/AtomicFile.h"
#include "support/capture.h"
#include "support/plyText.h"
#include "support/tempFolder.h"
#include "zef/pointFiles.h"

using namespace QUOR_ZEF;
using namespace QUOR_ZEF::PLY;
using zef_test::plyFile;
using zef_test::TempFolder;

namespace {

// The text of the PlyError that fn throws.
template <class Fn>
std::string plyErrorOf(Fn&& fn) {
    try {
        fn();
    } catch (const PlyError& error) {
        return error.what();
    }
    return "no error";
}

template <class T>
std::vector<T> valuesOf(const PlyData& data) {
    std::vector<T> vValues;
    for (std::size_t i = 0; i < data.count; ++i)
        for (std::size_t k = 0; k < data.width; ++k) vValues.push_back(loadValue<T>(data.row(i) + k * sizeof(T)));
    return vValues;
}

constexpr Format allFormats[] = {Format::ASCII, Format::LITTLE_ENDIAN_BINARY, Format::BIG_ENDIAN_BINARY};

}  // namespace

// Every type, single and in lists, on the way out and back.
TEST(PLY, everyTypeComesBackInEveryFormat) {
    const TempFolder folder;
    const std::int8_t c[] = {-128, 127};
    const std::uint16_t s[] = {0, 65535};
    const std::int32_t n[] = {std::numeric_limits<std::int32_t>::min(), 7, -1,
                              std::numeric_limits<std::int32_t>::max()};
    const double d[] = {0.1, -1e300};
    const std::uint32_t list[] = {1, 2, 4000000000u, 4};
    for (const Format format : allFormats) {
        PlyFile out;
        out.addProperties("thing", {"c"}, Type::CHAR, 2, c);
        out.addProperties("thing", {"list"}, Type::UINT, 2, list, Type::USHORT, 2);
        out.addProperties("thing", {"n", "m"}, Type::INT, 2, n);
        out.addProperties("other", {"s"}, Type::USHORT, 2, s);
        out.addProperties("other", {"d"}, Type::DOUBLE, 2, d);
        AtomicFile file(folder.name("a.ply"));
        out.write(file, format, 17);
        ASSERT_TRUE(file.commit());

        const std::string bytes = folder.get("a.ply");
        PlyFile in;
        in.parseHeader(bytes, HeaderRule::STRICT);
        EXPECT_EQ(in.getFormat(), format);
        const auto pD = in.requestProperties("other", {"d"}), pS = in.requestProperties("other", {"s"});
        const auto pList = in.requestProperties("thing", {"list"}), pC = in.requestProperties("thing", {"c"});
        const auto pSwapped = in.requestProperties("thing", {"m", "n"});
        in.read();
        EXPECT_EQ(valuesOf<double>(*pD), std::vector<double>(d, d + 2));
        EXPECT_EQ(valuesOf<std::uint16_t>(*pS), std::vector<std::uint16_t>(s, s + 2));
        EXPECT_EQ(valuesOf<std::int8_t>(*pC), std::vector<std::int8_t>(c, c + 2));
        EXPECT_EQ(valuesOf<std::uint32_t>(*pList), std::vector<std::uint32_t>(list, list + 4));
        EXPECT_EQ(valuesOf<std::int32_t>(*pSwapped), (std::vector<std::int32_t>{n[1], n[0], n[3], n[2]}));
    }
}

TEST(PLY, tellsWhatARequestLacks) {
    const std::string bytes = plyFile("ascii", "element vertex 1\nproperty float x\nproperty float y\n", "1 2\n");
    PlyFile ply;
    const auto errorOfRequest = [&](const std::string& element, const std::vector<std::string>& vKeys) {
        return plyErrorOf([&] { ply.requestProperties(element, vKeys); });
    };
    EXPECT_EQ(errorOfRequest("vertex", {"x"}), "header had no elements defined. malformed file?");
    ply.parseHeader(bytes, HeaderRule::LENIENT);
    EXPECT_EQ(errorOfRequest("", {"x"}), "`elementKey` argument is empty");
    EXPECT_EQ(errorOfRequest("vertex", {}), "`propertyKeys` argument is empty");
    EXPECT_EQ(errorOfRequest("face", {"x"}), "the element key was not found in the header: face");
    EXPECT_EQ(errorOfRequest("vertex", {"x", "z", "w"}),
              "the following property keys were not found in the header: z, w");
    ply.requestProperties("vertex", {"x"});
    EXPECT_EQ(errorOfRequest("vertex", {"y", "x"}), "element-property key has already been requested: vertex x");
}

TEST(PLY, aLenientHeaderEndsAtAnUnknownWord) {
    const std::string lenient =
        "comment  kept as it is\nobj_info also\n\nelement vertex 1\nproperty float32 x\nbody follows\n7\n";
    PlyFile kept;
    kept.parseHeader(lenient, HeaderRule::LENIENT);
    EXPECT_EQ(kept.getComments(), std::vector<std::string>{" kept as it is"});
    EXPECT_EQ(kept.getObjInfo(), std::vector<std::string>{"also"});
    const auto pX = kept.requestProperties("vertex", {"x"});
    kept.read();
    EXPECT_EQ(valuesOf<float>(*pX), std::vector<float>{7.f});
    EXPECT_EQ(plyErrorOf([&] { PlyFile().parseHeader("property float x\n", HeaderRule::LENIENT); }),
              "no elements defined; file is malformed");
}

TEST(adaptTo255, scalesAllChannelsByTheColours) {
    const auto adapted = [](VtxColor color) {
        std::vector<VtxColor> vColors = {color, {0, 0, 0, 0}};
        adaptTo255(vColors);
        return std::vector<float>{vColors[0].red, vColors[0].green, vColors[0].blue, vColors[0].alpha};
    };
    EXPECT_EQ(adapted({0.5f, 1.f, 0.25f, 2.f}), (std::vector<float>{127, 255, 63, 510}));
    EXPECT_EQ(adapted({510, 100, 51, 200}), (std::vector<float>{255, 50, 25, 100}));
    EXPECT_EQ(adapted({200.5f, 10, 0, 1}), (std::vector<float>{200.5f, 10, 0, 1}));
    // Only rounded down: the scale of alpha is never used.
    EXPECT_EQ(adapted({200.5f, 10, 0, 300.5f}), (std::vector<float>{200, 10, 0, 300}));
    EXPECT_EQ(adapted({0, 0, 0, 0.5f}), (std::vector<float>{0, 0, 0, 0.5f}));
    std::vector<VtxColor> vNone;
    EXPECT_TRUE(zef_test::failsWith("!vColors.empty()", [&] { adaptTo255(vNone); }));
}
