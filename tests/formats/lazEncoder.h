#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bytes/FileBytes.h"
#include "formats/arithmeticCoder.h"
#include "formats/lazPointItems.h"

// A plain, slow writer of LAS and LAZ for tests and benchmarks. Records are the bytes that stand
// in a LAS file.

namespace zef_test {

using namespace QUOR_ZEF;
using Records = std::vector<std::string>;

template <class T>
void putValue(std::string& bytes, std::size_t place, const T& value) {
    if (bytes.size() < place + sizeof value) bytes.resize(place + sizeof value);
    std::memcpy(bytes.data() + place, &value, sizeof value);
}
template <class T>
T valueIn(const std::string& bytes, std::size_t place) {
    return loadValue<T>(bytes.data() + place);
}

class ArithmeticEncoder {
public:
    template <unsigned capacity>
    void symbol(SymbolModel<capacity>& model, unsigned s) {
        const std::uint32_t unit = length >> 15, low = model.getDist(s) * unit;
        length = (model.isLast(s) ? length : model.getDist(s + 1) * unit) - low;
        add(low);
        model.update(s);
    }
    void bit(BitModel& model, unsigned b) {
        const std::uint32_t zeros = model.getShare() * (length >> 13);
        length = b ? length - zeros : zeros;
        add(b ? zeros : 0);
        model.update(b);
    }
    void bits(unsigned num, std::uint32_t value) {
        if (num > 19) {
            bits(16, value & 0xffff);
            return bits(num - 16, value >> 16);
        }
        length >>= num;
        add(value * length);
    }
    std::string finish() {
        const bool bLong = length > 2 * minCoderLength;
        length = bLong ? minCoderLength >> 1 : minCoderLength >> 9;
        add(bLong ? minCoderLength : minCoderLength >> 1);
        return out + std::string(bLong ? 3 : 2, '\0');
    }

private:
    std::uint32_t base = 0, length = maxCoderLength;
    std::string out;

    void add(std::uint32_t more) {
        base += more;
        if (base < more) {
            std::size_t i = out.size() - 1;
            for (; out[i] == '\xff'; --i) out[i] = 0;
            ++out[i];
        }
        for (; length < minCoderLength; base <<= 8, length <<= 8) out += static_cast<char>(base >> 24);
    }
};

template <unsigned bits, unsigned contexts>
struct IntegerEncoder {
    std::array<SymbolModel<bits + 1>, contexts> vClasses;
    BitModel zero;
    std::vector<SymbolModel<256>> vCorrectors;
    unsigned k = 0;

    IntegerEncoder() {
        for (unsigned i = 1; i <= bits; ++i) vCorrectors.emplace_back(1u << std::min(i, 8u));
    }
    void code(ArithmeticEncoder& out, std::int32_t prediction, std::int32_t value, unsigned context = 0) {
        std::int32_t c = addWrapped(value, static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(prediction)));
        constexpr std::int32_t half = bits < 32 ? 1 << (bits - 1) : 0;
        if (bits < 32 && c < -half) c += 2 * half;
        if (bits < 32 && c >= half) c -= 2 * half;
        const std::uint32_t u = static_cast<std::uint32_t>(c);
        k = static_cast<unsigned>(std::bit_width(c <= 0 ? 0u - u : u - 1));
        out.symbol(vClasses[context], k);
        if (k == 0) return out.bit(zero, u);
        if (k == 32) return;
        const std::uint32_t corrector = c < 0 ? u + ((1u << k) - 1) : u - 1;
        out.symbol(vCorrectors[k - 1], k > 8 ? corrector >> (k - 8) : corrector);
        if (k > 8) out.bits(k - 8, corrector & ((1u << (k - 8)) - 1));
    }
};

struct ColorEncoder {
    SymbolModel<128> used;
    std::array<SymbolModel<256>, 6> models;

    void code(ArithmeticEncoder& out, const ColorBytes& last, const ColorBytes& c) {
        unsigned u = c[0] == c[2] && c[0] == c[4] && c[1] == c[3] && c[1] == c[5] ? 0 : 64;
        for (unsigned i = 0; i < 6; ++i) u |= c[i] != last[i] ? 1u << i : 0u;
        out.symbol(used, u);
        const auto byte = [&](unsigned i, int expected) {
            if (u & (1u << i)) out.symbol(models[i], static_cast<std::uint8_t>(c[i] - expected));
        };
        byte(0, last[0]);
        byte(1, last[1]);
        for (unsigned h = 0; u & 64 && h < 2; ++h) {
            const int d = c[h] - last[h];
            byte(2 + h, std::clamp(d + last[2 + h], 0, 255));
            byte(4 + h, std::clamp((d + c[2 + h] - last[2 + h]) / 2 + last[4 + h], 0, 255));
        }
    }
};

inline ColorBytes colorIn(const std::string& record, std::size_t place) {
    return valueIn<ColorBytes>(record, place);
}

// Time as 64 bits against four sequences.
struct TimeEncoder {
    std::array<std::int64_t, 4> time{};
    std::array<std::int32_t, 4> step{}, extremes{};
    unsigned cur = 0, newest = 0;
    SymbolModel<516> multi;
    SymbolModel<6> first;
    IntegerEncoder<32, 9> t;

    void code(ArithmeticEncoder& out, std::int64_t value) {
        const std::int64_t d = value - time[cur];
        const bool bFits = d == static_cast<std::int32_t>(d), bFirst = step[cur] == 0;
        for (unsigned j = 1; !bFits && j < 4; ++j) {
            const unsigned other = (cur + j) & 3;
            if (std::abs(value - time[other]) >= 1 << 30) continue;
            bFirst ? out.symbol(first, j + 2) : out.symbol(multi, j + 512);
            cur = other;
            return code(out, value);
        }
        if (d == 0) return bFirst ? out.symbol(first, 0) : out.symbol(multi, 511);
        if (!bFits) {
            bFirst ? out.symbol(first, 2) : out.symbol(multi, 512);
            t.code(out, static_cast<std::int32_t>(time[cur] >> 32), static_cast<std::int32_t>(value >> 32), 8);
            out.bits(32, static_cast<std::uint32_t>(value));
            cur = newest = (newest + 1) & 3;
            step[cur] = extremes[cur] = 0;
        } else if (bFirst) {
            out.symbol(first, 1);
            t.code(out, 0, step[cur] = static_cast<std::int32_t>(d), 0);
            extremes[cur] = 0;
        } else {
            multiple(out, static_cast<std::int32_t>(d));
        }
        time[cur] = value;
    }

    void multiple(ArithmeticEncoder& out, std::int32_t d) {
        const int m = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{d} / step[cur], -10, 500));
        out.symbol(multi, static_cast<unsigned>(m < 0 ? 500 - m : m));
        const unsigned context = m == -10 ? 6 : m < 0 ? 5 : m == 0 ? 7 : m == 1 ? 1 : m < 10 ? 2 : m < 500 ? 3 : 4;
        t.code(out, multiplyWrapped(m, step[cur]), d, context);
        if (m == 1) extremes[cur] = 0;
        if ((m == 0 || m == 500 || m == -10) && ++extremes[cur] > 3) {
            step[cur] = d;
            extremes[cur] = 0;
        }
    }
};

// What a record holds behind the point itself.
inline bool hasTime(unsigned format) {
    return format < 6 && (format % 2 == 1 || format == 4);
}
inline bool hasColor(unsigned format) {
    return format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
}
inline bool hasInfrared(unsigned format) {
    return format == 8 || format == 10;
}
inline bool hasWave(unsigned format) {
    return format == 4 || format == 5 || format == 9 || format == 10;
}
inline std::size_t recordBytes(unsigned format) {
    return (format < 6 ? 20u : 30u) + 8u * hasTime(format) + 6u * hasColor(format) + 2u * hasInfrared(format) +
           29u * hasWave(format);
}

// Where the wave form of a point lies: a number, its place and size, and the way along it.
struct WaveEncoder {
    static constexpr std::size_t size = 29;
    ByteModel index;
    std::array<SymbolModel<4>, 4> kinds;
    IntegerEncoder<32, 1> differences, sizes, locations;
    IntegerEncoder<32, 3> directions;
    unsigned kind = 0;
    std::int32_t difference = 0;

    // The bytes of the record before, and of this one.
    void code(ArithmeticEncoder& out, const std::string& last, const std::string& now) {
        out.symbol(index, static_cast<std::uint8_t>(now[0]));
        const auto step = static_cast<std::int64_t>(valueIn<std::uint64_t>(now, 1) - valueIn<std::uint64_t>(last, 1));
        const unsigned to = step == 0                                 ? 0
                            : step == valueIn<std::uint32_t>(last, 9) ? 1
                            : step == static_cast<std::int32_t>(step) ? 2
                                                                      : 3;
        out.symbol(kinds[kind], to);
        kind = to;
        if (kind == 2) {
            differences.code(out, difference, static_cast<std::int32_t>(step));
            difference = static_cast<std::int32_t>(step);
        }
        for (const std::size_t half : {1u, 5u})
            if (kind == 3) out.bits(32, valueIn<std::uint32_t>(now, half));
        const auto word = [&](auto& coder, std::size_t place, unsigned context) {
            coder.code(out, valueIn<std::int32_t>(last, place), valueIn<std::int32_t>(now, place), context);
        };
        word(sizes, 9, 0);
        word(locations, 13, 0);
        for (unsigned i = 0; i < 3; ++i) word(directions, 17 + 4 * i, i);
    }
};

// A chunk of the formats 0 to 5 with bytes behind: the first record as it is, then one stream.
class PointEncoder {
public:
    explicit PointEncoder(unsigned pointFormat)
        : format(pointFormat), bTime(hasTime(format)), bColor(hasColor(format)), colorPlace(bTime ? 28 : 20) {}

    std::string code(std::span<const std::string> records) {
        last = records[0];
        if (bTime) time.time[0] = valueIn<std::int64_t>(last, 20);
        const std::size_t extra = recordBytes(format), wavePlace = extra - WaveEncoder::size;
        vBytes.resize(last.size() - extra);
        for (const std::string& record : records.subspan(1)) {
            codePoint(record);
            if (bTime) time.code(out, valueIn<std::int64_t>(record, 20));
            if (bColor) color.code(out, colorIn(last, colorPlace), colorIn(record, colorPlace));
            if (hasWave(format)) wave.code(out, last.substr(wavePlace), record.substr(wavePlace));
            for (std::size_t i = 0; i < vBytes.size(); ++i)
                out.symbol(vBytes[i], static_cast<std::uint8_t>(record[extra + i] - last[extra + i]));
            last = record;
        }
        return records[0] + out.finish();
    }

private:
    unsigned format;
    bool bTime, bColor;
    std::size_t colorPlace;
    ArithmeticEncoder out;
    std::string last;
    SymbolModel<64> changed;
    ByteModels flags, classes, users;
    std::array<ByteModel, 2> angles;
    IntegerEncoder<16, 4> intensity;
    IntegerEncoder<16, 1> source;
    IntegerEncoder<32, 2> x;
    IntegerEncoder<32, 22> y;
    IntegerEncoder<32, 20> z;
    std::array<RunningMedian, 16> xMedians, yMedians;
    std::array<std::uint16_t, 16> intensities{};
    std::array<std::int32_t, 8> heights{};
    TimeEncoder time;
    ColorEncoder color;
    WaveEncoder wave;
    std::vector<ByteModel> vBytes;

    void codePoint(const std::string& record) {
        const Point10 p = valueIn<Point10>(record, 0), o = valueIn<Point10>(last, 0);
        const unsigned r = p.getReturn(), n = p.getNumReturns(), m = PointItem2::returnMap[n][r];
        const unsigned ch = (p.returns != o.returns) * 32u + (p.intensity != intensities[m]) * 16u +
                            (p.classification != o.classification) * 8u + (p.angle != o.angle) * 4u +
                            (p.userData != o.userData) * 2u + (p.source != o.source) * 1u;
        out.symbol(changed, ch);
        if (ch & 32) out.symbol(flags[o.returns], p.returns);
        if (ch & 16) intensity.code(out, intensities[m], p.intensity, std::min(m, 3u));
        intensities[m] = p.intensity;
        if (ch & 8) out.symbol(classes[o.classification], p.classification);
        if (ch & 4) out.symbol(angles[p.getDirection()], static_cast<std::uint8_t>(p.angle - o.angle));
        if (ch & 2) out.symbol(users[o.userData], p.userData);
        if (ch & 1) source.code(out, o.source, p.source);
        const unsigned one = n == 1;
        const std::int32_t dx = addWrapped(p.x, multiplyWrapped(o.x, -1)),
                           dy = addWrapped(p.y, multiplyWrapped(o.y, -1));
        x.code(out, xMedians[m].get(), dx, one);
        xMedians[m].add(dx);
        y.code(out, yMedians[m].get(), dy, one + std::min(x.k & ~1u, 20u));
        yMedians[m].add(dy);
        std::int32_t& height = heights[r < n ? n - r : r - n];
        z.code(out, height, p.z, one + std::min((x.k + y.k) / 2 & ~1u, 18u));
        height = p.z;
    }
};

// A chunk in layers of the formats 6 to 10. Layers that the reader skips hold nothing sensible;
// the lowest bits of the user data and of the angle stand for changes of time, angle and source.
class LayerEncoder {
public:
    LayerEncoder(unsigned pointFormat, unsigned itemVersion) : format(pointFormat), version(itemVersion) {}

    std::string code(std::span<const std::string> records) {
        channel = colorChannel = channelOf(records[0]);
        channels[channel] = std::make_unique<Context>(records[0]);
        vColors[channel] =
            std::make_unique<Colors>(colorIn(records[0], std::min<std::size_t>(30, records[0].size() - 6)));
        for (const std::string& record : records.subspan(1)) codePoint(record);
        std::vector<std::string> vLayers;
        for (ArithmeticEncoder& layer : layers) vLayers.push_back(layer.finish());
        std::vector<std::string> vAll(vLayers.begin(), vLayers.begin() + 5);
        vAll.insert(vAll.end(), 4, "skipped");
        if (hasColor(format)) vAll.push_back(bChanged[5] ? vLayers[5] : "");
        vAll.insert(vAll.end(), hasInfrared(format) + hasWave(format), "skipped");
        vAll.insert(vAll.end(), records[0].size() - recordBytes(format), "");
        for (std::size_t i = 2; i < 5; ++i)
            if (!bChanged[i]) vAll[i].clear();
        std::string chunk = records[0], bodies;
        putValue(chunk, chunk.size(), static_cast<std::uint32_t>(records.size()));
        for (const std::string& layer : vAll) {
            putValue(chunk, chunk.size(), static_cast<std::uint32_t>(layer.size()));
            bodies += layer;
        }
        return chunk + bodies;
    }

private:
    struct Context {
        std::string last;
        bool tc = false;
        std::array<SymbolModel<128>, 8> changed;
        SymbolModel<3> channelStep;
        LazyModels<SymbolModel<16>, 16> n, r;
        SymbolModel<13> same;
        IntegerEncoder<32, 2> x;
        IntegerEncoder<32, 22> y;
        IntegerEncoder<32, 20> z;
        LazyModels<ByteModel, 64> classes;
        LazyModels<SymbolModel<64>, 64> flags;
        IntegerEncoder<16, 4> intensity;
        std::array<RunningMedian, 12> xMedians, yMedians;
        std::array<std::int32_t, 8> heights;
        std::array<std::uint16_t, 8> intensities;

        explicit Context(const std::string& record) : last(record) {
            heights.fill(valueIn<std::int32_t>(record, 8));
            intensities.fill(valueIn<std::uint16_t>(record, 12));
        }
    };
    struct Colors : ColorEncoder {
        ColorBytes last;
        explicit Colors(const ColorBytes& c) : last(c) {}
    };

    unsigned format, version, channel = 0, colorChannel = 0;
    std::array<ArithmeticEncoder, 6> layers;  // place, height, class, flags, intensity, colour
    std::array<bool, 6> bChanged{};
    std::array<std::unique_ptr<Context>, 4> channels;
    std::array<std::unique_ptr<Colors>, 4> vColors;

    static unsigned byteOf(const std::string& record, std::size_t i) { return static_cast<std::uint8_t>(record[i]); }
    static unsigned channelOf(const std::string& record) { return byteOf(record, 15) >> 4 & 3; }
    static unsigned flagsOf(const std::string& record) {
        return (byteOf(record, 15) & 15) | (byteOf(record, 15) >> 2 & 0x30);
    }
    // By the number of returns and the return: the first rows as they are, the others by rule.
    static unsigned mapOf(unsigned n, unsigned r) {
        constexpr const char* rows[] = {"0123453445555555", "1013333333333333", "2124444444433333", "3345444444444444",
                                        "4344544444444444", "5344454444444444", "3344445444444444", "4344444544444444",
                                        "4344444454444444", "5344444445444444", "5344444444544444", "5334444444455444",
                                        "5334444444455544", "5334444444445554", "5334444444444555", "5334444444444455"};
        return static_cast<unsigned>(rows[n][r] - '0');
    }

    void codePoint(const std::string& record) {
        const unsigned to = channelOf(record), r = byteOf(record, 14) & 15, n = byteOf(record, 14) >> 4;
        const bool tc = byteOf(record, 17) & 1;
        Context& from = *channels[channel];
        const unsigned oldR = byteOf(from.last, 14) & 15, oldN = byteOf(from.last, 14) >> 4;
        if (!channels[to]) channels[to] = std::make_unique<Context>(from.last);
        Context& c = *channels[to];
        const unsigned lastR = byteOf(c.last, 14) & 15, lastN = byteOf(c.last, 14) >> 4, up = (r - lastR) & 15;
        const unsigned change = (to != channel) * 64u + (byteOf(record, 18) & 1) * 40u + tc * 16u + (n != lastN) * 4u +
                                (up == 0    ? 0u
                                 : up == 1  ? 1u
                                 : up == 15 ? 2u
                                            : 3u);
        layers[0].symbol(from.changed[(oldR == 1) + 2u * (oldR >= oldN) + 4u * from.tc], change);
        if (change & 64) layers[0].symbol(from.channelStep, (to - channel - 1) & 3);
        if (change & 4) layers[0].symbol(c.n[lastN], n);
        if ((change & 3) == 3) tc ? layers[0].symbol(c.r[lastR], r) : layers[0].symbol(c.same, up - 2);
        channel = to;
        codeRest(c, record, n, r, tc);
        if (hasColor(format)) codeColor(colorIn(record, 30), change & 64 ? to : version < 4 ? 0 : to);
        c.last = record;
        c.tc = tc;
    }

    void codeRest(Context& c, const std::string& record, unsigned n, unsigned r, bool tc) {
        const auto step = [&](std::size_t place) {
            return addWrapped(valueIn<std::int32_t>(record, place),
                              multiplyWrapped(valueIn<std::int32_t>(c.last, place), -1));
        };
        const unsigned one = n == 1, q = 2u * (r == 1) + (r >= n), j = 2 * mapOf(n, r) + tc;
        c.x.code(layers[0], c.xMedians[j].get(), step(0), one);
        c.xMedians[j].add(step(0));
        c.y.code(layers[0], c.yMedians[j].get(), step(4), one + std::min(c.x.k & ~1u, 20u));
        c.yMedians[j].add(step(4));
        std::int32_t& height = c.heights[std::min(n > r ? n - r : r - n, 7u)];
        c.z.code(layers[1], height, valueIn<std::int32_t>(record, 8), one + std::min((c.x.k + c.y.k) / 2 & ~1u, 18u));
        height = valueIn<std::int32_t>(record, 8);
        layers[2].symbol(c.classes[(byteOf(c.last, 16) & 31) * 2 + (q == 3)], byteOf(record, 16));
        layers[3].symbol(c.flags[flagsOf(c.last)], flagsOf(record));
        std::uint16_t& intensity = c.intensities[2 * q + tc];
        c.intensity.code(layers[4], intensity, valueIn<std::uint16_t>(record, 12), q);
        intensity = valueIn<std::uint16_t>(record, 12);
        bChanged[2] |= record[16] != c.last[16];
        bChanged[3] |= flagsOf(record) != flagsOf(c.last);
        bChanged[4] |= intensity != valueIn<std::uint16_t>(c.last, 12);
    }

    void codeColor(const ColorBytes& color, unsigned to) {
        Colors* pLast = vColors[colorChannel].get();
        const bool bNew = !vColors[to];
        if (bNew) vColors[to] = std::make_unique<Colors>(pLast->last);
        if (bNew || version == 4) pLast = vColors[to].get();
        colorChannel = to;
        bChanged[5] |= pLast->last != color;
        vColors[to]->code(layers[5], pLast->last, color);
        pLast->last = color;
    }
};

// What a file is made of; points of a format below 6 are compressed one by one.
struct LasPlan {
    unsigned format = 0, version = 2;    // of the records, and of the items
    std::vector<std::uint32_t> vChunks;  // of so many points each; the last size holds for all others
    bool bVariable = false;              // the table names the numbers
    bool bTable = true;
    bool bPointwise = false;  // compressor 1: no chunks at all
};

inline std::string lasHeader(unsigned format, const Records& records, bool bLaz, std::size_t recordBytes) {
    const bool bLong = format >= 6;
    std::string bytes(bLong ? 375 : 227, '\0');
    bytes.replace(0, 4, "LASF");
    putValue(bytes, 24, static_cast<std::uint16_t>(bLong ? 0x401 : 0x201));
    putValue(bytes, 94, static_cast<std::uint16_t>(bytes.size()));
    putValue(bytes, 96, static_cast<std::uint32_t>(bytes.size() + recordBytes));
    putValue(bytes, 100, std::uint32_t{recordBytes > 0});
    putValue(bytes, 104, static_cast<std::uint8_t>(format | (bLaz ? 0x80 : 0)));
    putValue(bytes, 105, static_cast<std::uint16_t>(records.at(0).size()));
    putValue(bytes, 107, static_cast<std::uint32_t>(records.size()));
    if (bLong) putValue(bytes, 247, std::uint64_t{records.size()});
    for (std::size_t i = 0; i < 3; ++i) putValue(bytes, 131 + 8 * i, 0.25);
    return bytes;
}

inline std::string lasFile(unsigned format, const Records& records) {
    std::string bytes = lasHeader(format, records, false, 0);
    for (const std::string& record : records) bytes += record;
    return bytes;
}

inline std::string lazRecord(const LasPlan& plan, std::size_t recordLength) {
    const bool bLong = plan.format >= 6;
    std::vector<std::array<std::uint16_t, 2>> items{{{std::uint16_t(bLong ? 10 : 6), std::uint16_t(bLong ? 30 : 20)}}};
    if (hasTime(plan.format)) items.push_back({7, 8});
    if (hasInfrared(plan.format)) {
        items.push_back({12, 8});
    } else if (hasColor(plan.format)) {
        items.push_back({std::uint16_t(bLong ? 11 : 8), 6});
    }
    if (hasWave(plan.format)) items.push_back({std::uint16_t(bLong ? 13 : 9), WaveEncoder::size});
    for (const auto& item : items) recordLength -= item[1];
    if (recordLength > 0) items.push_back({std::uint16_t(bLong ? 14 : 0), static_cast<std::uint16_t>(recordLength)});
    std::string data(34, '\0');
    putValue(data, 0, static_cast<std::uint16_t>(bLong ? 3 : plan.bPointwise ? 1 : 2));
    putValue(data, 12, plan.bVariable ? 0xffffffffu : plan.vChunks.back());
    putValue(data, 32, static_cast<std::uint16_t>(items.size()));
    for (const auto& item : items) {
        putValue(data, data.size(), item);
        putValue(data, data.size(), static_cast<std::uint16_t>(item[0] == 9 ? 1 : plan.version));  // one for waves
    }
    std::string record(54, '\0');
    record.replace(2, 14, "laszip encoded");
    putValue(record, 18, std::uint16_t{22204});
    putValue(record, 20, static_cast<std::uint16_t>(data.size()));
    return record + data;
}

inline std::string lazFile(const LasPlan& plan, const Records& records) {
    const std::string vlr = lazRecord(plan, records[0].size());
    std::string bytes = lasHeader(plan.format, records, true, vlr.size()) + vlr, table(8, '\0');
    if (plan.bPointwise) return bytes + PointEncoder(plan.format).code(records);
    const std::size_t start = bytes.size();
    bytes.resize(start + 8);
    ArithmeticEncoder out;
    IntegerEncoder<32, 2> sizes;
    std::array<std::int32_t, 2> last{};
    std::uint32_t numChunks = 0;
    for (std::size_t i = 0; i < records.size(); ++numChunks) {
        const std::size_t wanted = plan.vChunks[std::min<std::size_t>(numChunks, plan.vChunks.size() - 1)];
        const std::span<const std::string> part(records.data() + i, std::min(wanted, records.size() - i));
        const std::string chunk =
            plan.format < 6 ? PointEncoder(plan.format).code(part) : LayerEncoder(plan.format, plan.version).code(part);
        const std::array<std::int32_t, 2> now{static_cast<std::int32_t>(part.size()),
                                              static_cast<std::int32_t>(chunk.size())};
        if (plan.bVariable) sizes.code(out, last[0], now[0], 0);
        sizes.code(out, last[1], now[1], 1);
        last = now;
        bytes += chunk;
        i += part.size();
    }
    putValue(bytes, start, plan.bTable ? std::uint64_t{bytes.size()} : std::uint64_t{start});
    putValue(table, 4, numChunks);
    return plan.bTable ? bytes + table + out.finish() : bytes;
}

}  // namespace zef_test
