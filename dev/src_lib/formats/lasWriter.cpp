#include "formats/lasWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include "bytes/LoadError.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

struct Axis {
    double low = 0.0, high = 0.0;  // of the points
    double offset = 0.0;

    double range() const { return high - low; }
};

// The nearest double, which pow() need not give.
double powerOfTen(int exponent) {
    const std::string text = "1e" + std::to_string(exponent);
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// The axes of the records, and how their numbers are stored.
class Frame {
public:
    Frame(std::span<const Point3> points, double spacing) {
        measure(points);
        const double largest = std::max({axes[0].range(), axes[1].range(), axes[2].range()});
        if (!std::isfinite(largest)) throw SaveError("the points are too far apart for LAS; cut them into parts");
        exponent = spacing > 0.0 ? exponentBelow(spacing / stepsOfSpacing) : exponentBelow(largest / maxRange);
        while (largest > maxRange * powerOfTen(exponent)) ++exponent;
        takeExactScale(points, largest);
        scale = powerOfTen(exponent);
        for (Axis& axis : axes) axis.offset = offsetOf(axis);
    }

    double getScale() const { return scale; }
    double getOffset(std::size_t i) const { return axes[i].offset; }
    // What a reader finds as the box.
    double getLow(std::size_t i) const { return toWorld(i, axes[i].low); }
    double getHigh(std::size_t i) const { return toWorld(i, axes[i].high); }

    std::int32_t store(std::size_t i, double x) const {
        return static_cast<std::int32_t>(std::lround((x - axes[i].offset) / scale));
    }

private:
    static constexpr double stepsOfSpacing = 500.0;  // rounding moves by half a step
    static constexpr double maxRange = 4e9;          // of 2^32 steps; the others are for round offsets
    static constexpr int minExponent = -300, roundDigits = 8;

    std::array<Axis, 3> axes;
    int exponent = 0;
    double scale = 1.0;

    void measure(std::span<const Point3> points) {
        if (points.empty()) return;
        constexpr double infinity = std::numeric_limits<double>::infinity();
        axes.fill({infinity, -infinity, 0.0});
        for (const Point3& p : points) {
            const std::array<double, 3> place = {p.px, p.py, p.pz};
            for (std::size_t i = 0; i < 3; ++i) {
                if (!std::isfinite(place[i])) throw SaveError("LAS holds finite coordinates only; leave out others");
                axes[i].low = std::min(axes[i].low, place[i]);
                axes[i].high = std::max(axes[i].high, place[i]);
            }
        }
    }

    // A finer scale, if all coordinates are whole multiples of it, as those of LAS and other decimals are.
    void takeExactScale(std::span<const Point3> points, double largest) {
        constexpr int mostDigits = 6;  // more than the spacing wants
        for (int finer = exponent; finer >= exponent - mostDigits; --finer) {
            const double step = powerOfTen(finer);
            if (largest > maxRange * step) return;
            if (!areMultiples(points, step)) continue;
            exponent = finer;
            return;
        }
    }

    static bool areMultiples(std::span<const Point3> points, double step) {
        constexpr double maxRest = 1e-6, maxRounding = 4e-16;
        const auto isMultiple = [step](double x) {
            const double num = x / step;
            return std::abs(num - std::round(num)) <= maxRest + maxRounding * std::abs(num);
        };
        return std::all_of(points.begin(), points.end(),
                           [&](const Point3& p) { return isMultiple(p.px) && isMultiple(p.py) && isMultiple(p.pz); });
    }

    static int exponentBelow(double step) {
        if (!(step > 0.0)) return -3;  // a single place: millimetres will do
        return std::max(static_cast<int>(std::floor(std::log10(step))), minExponent);
    }

    double offsetOf(const Axis& axis) const {
        if (std::max(std::abs(axis.low), std::abs(axis.high)) <= maxRange / 2 * scale) return 0.0;
        const double unit = powerOfTen(exponent + roundDigits);
        return std::round((axis.low + axis.range() / 2) / unit) * unit;
    }

    double toWorld(std::size_t i, double x) const { return store(i, x) * scale + axes[i].offset; }
};

constexpr std::size_t maxRecord = 36;

class Writer {
public:
    Writer(AtomicFile& output, const LasContent& source, const LasOptions& options, const Frame& placement)
        : file(output), content(source), frame(placement) {
        constexpr std::uint8_t maxShortClass = 31;
        bNew = options.bNew || content.points.size() > std::numeric_limits<std::uint32_t>::max() ||
               std::any_of(content.classes.begin(), content.classes.end(),
                           [](std::uint8_t c) { return c > maxShortClass; });
        bColor =
            std::any_of(content.points.begin(), content.points.end(), [](const Point3& p) { return p.hasColor(); });
        recordLength = (bNew ? 30u : 20u) + (bColor ? 6u : 0u);
        findIntensityFactor();
    }

    void write() {
        writeHeader();
        for (std::size_t i = 0; i < content.points.size() && file.isGood(); ++i) writePoint(i);
    }

private:
    AtomicFile& file;
    const LasContent& content;
    const Frame& frame;
    bool bNew = false, bColor = false;
    std::size_t recordLength = 0;
    float intensityFactor = 1.0f;

    static constexpr float maxIntensity = 65535.0f;

    void findIntensityFactor() {
        bool bFraction = false;
        for (const float value : content.intensities) {
            if (value < 0.0f || value > 1.0f) return;
            bFraction = bFraction || (value > 0.0f && value < 1.0f);
        }
        if (bFraction) intensityFactor = maxIntensity;
    }

    template <std::size_t size, class T>
    static void put(std::array<char, size>& bytes, std::size_t place, T value) {
        std::memcpy(bytes.data() + place, &value, sizeof value);
    }

    void writeHeader() {
        constexpr std::size_t oldSize = 227, newSize = 375;
        const std::size_t headerSize = bNew ? newSize : oldSize;
        const std::uint64_t num = content.points.size();
        std::array<char, newSize> bytes{};
        std::memcpy(bytes.data(), "LASF", 4);
        put(bytes, 6, std::uint16_t(bNew ? 16 : 0));  // coordinate systems would be told as text
        put(bytes, 24, std::uint16_t(bNew ? 0x0401 : 0x0201));
        std::memcpy(bytes.data() + 26, "OTHER", 5);
        std::memcpy(bytes.data() + 58, "zef", 3);
        put(bytes, 94, static_cast<std::uint16_t>(headerSize));
        put(bytes, 96, static_cast<std::uint32_t>(headerSize));
        put(bytes, 104, static_cast<std::uint8_t>(bNew ? (bColor ? 7 : 6) : (bColor ? 2 : 0)));
        put(bytes, 105, static_cast<std::uint16_t>(recordLength));
        for (std::size_t i = 0; i < 3; ++i) {
            put(bytes, 131 + 8 * i, frame.getScale());
            put(bytes, 155 + 8 * i, frame.getOffset(i));
            put(bytes, 179 + 16 * i, frame.getHigh(i));
            put(bytes, 187 + 16 * i, frame.getLow(i));
        }
        // Each point is the first return of one. The old counts stay zero in new formats.
        for (const std::size_t place : {std::size_t{107}, std::size_t{111}})
            put(bytes, place, static_cast<std::uint32_t>(bNew ? 0 : num));
        for (const std::size_t place : {std::size_t{247}, std::size_t{255}}) put(bytes, place, num);
        file.write(std::string_view(bytes.data(), headerSize));
    }

    void writePoint(std::size_t i) {
        const Point3& p = content.points[i];
        const std::uint8_t classId = content.classes.empty() ? std::uint8_t{0} : content.classes[i];
        std::array<char, maxRecord> bytes{};
        put(bytes, 0, frame.store(0, p.px));
        put(bytes, 4, frame.store(1, p.py));
        put(bytes, 8, frame.store(2, p.pz));
        put(bytes, 12, content.intensities.empty() ? std::uint16_t{0} : toIntensity(content.intensities[i]));
        put(bytes, 14, std::uint8_t(bNew ? 0x11 : 0x09));  // return 1 of 1
        put(bytes, bNew ? 16 : 15, classId);
        if (p.hasColor()) {
            const auto wide = [](std::uint8_t c) { return static_cast<std::uint16_t>(c * 257); };
            put(bytes, recordLength - 6, std::array<std::uint16_t, 3>{wide(p.r), wide(p.g), wide(p.b)});
        }
        file.write(std::string_view(bytes.data(), recordLength));
    }

    std::uint16_t toIntensity(float value) const {
        const float spread = value * intensityFactor;
        if (!(spread > 0.0f)) return 0;
        return static_cast<std::uint16_t>(std::lround(std::min(spread, maxIntensity)));
    }
};

}  // namespace

void writeLas(AtomicFile& file, const LasContent& content, const LasOptions& options) {
    const Frame frame(content.points, options.spacing);
    Writer(file, content, options, frame).write();
}

}  // namespace QUOR_ZEF
