#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "formats/arithmeticCoder.h"

// The parts of a record of the point formats 0 to 5, each with what it knows of the record
// before. All start from the bytes of the first record, which is not compressed. The second
// versions are those of all newer files.

namespace QUOR_ZEF {

// As it lies in the file.
struct Point10 {
    std::int32_t x, y, z;
    std::uint16_t intensity;
    std::uint8_t returns, classification;
    std::uint8_t angle, userData;
    std::uint16_t source;

    unsigned getReturn() const { return returns & 7u; }
    unsigned getNumReturns() const { return (returns >> 3) & 7u; }
    unsigned getDirection() const { return (returns >> 6) & 1u; }
};
static_assert(sizeof(Point10) == 20);

inline std::int32_t addWrapped(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

inline std::int32_t multiplyWrapped(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

using ByteModel = SymbolModel<256>;
using ByteModels = LazyModels<ByteModel, 256>;

class PointItem2 {
public:
    explicit PointItem2(const char* pFirst) { std::memcpy(&last, pFirst, sizeof last); }

    const Point10& get() const { return last; }

    void decode(ArithmeticDecoder& shared) {
        ArithmeticDecoder coder = shared;
        const unsigned changes = coder.decodeSymbol(changeModel);
        if (changes & 32) last.returns = static_cast<std::uint8_t>(coder.decodeSymbol(returnModels[last.returns]));
        const unsigned r = last.getReturn(), n = last.getNumReturns();
        const unsigned m = returnMap[n][r];
        if (changes & 16) intensities[m] = decodeIntensity(coder, m);
        last.intensity = intensities[m];
        if (changes & 15) coder.apart([&](ArithmeticDecoder& copy) { decodeRest(copy, changes); });
        decodePlace(coder, m, r < n ? n - r : r - n, n == 1 ? 1 : 0);
        shared = coder;
    }

    static constexpr std::uint8_t returnMap[8][8] = {{15, 14, 13, 12, 11, 10, 9, 8},  {14, 0, 1, 3, 6, 10, 10, 9},
                                                     {13, 1, 2, 4, 7, 11, 11, 10},    {12, 3, 4, 5, 8, 12, 12, 11},
                                                     {11, 6, 7, 8, 9, 13, 13, 12},    {10, 10, 11, 12, 13, 14, 14, 13},
                                                     {9, 10, 11, 12, 13, 14, 15, 14}, {8, 9, 10, 11, 12, 13, 14, 15}};

private:
    Point10 last;
    SymbolModel<64> changeModel;
    ByteModels returnModels, classModels, userModels;
    std::array<ByteModel, 2> angleModels;
    IntegerModel<16, 4> intensityModel;
    IntegerModel<16, 1> sourceModel;
    IntegerModel<32, 2> xModel;
    IntegerModel<32, 22> yModel;
    IntegerModel<32, 20> zModel;
    std::array<RunningMedian, 16> xMedians, yMedians;  // of the steps, by the kind of return
    std::array<std::uint16_t, 16> intensities{};
    std::array<std::int32_t, 8> heights{};

    [[gnu::always_inline]] std::uint16_t decodeIntensity(ArithmeticDecoder& coder, unsigned m) {
        return static_cast<std::uint16_t>(intensityModel.decode(coder, intensities[m], std::min(m, 3u)));
    }

    void decodeRest(ArithmeticDecoder& coder, unsigned changes) {
        if (changes & 8)
            last.classification = static_cast<std::uint8_t>(coder.decodeSymbol(classModels[last.classification]));
        if (changes & 4)
            last.angle = static_cast<std::uint8_t>(last.angle + coder.decodeSymbol(angleModels[last.getDirection()]));
        if (changes & 2) last.userData = static_cast<std::uint8_t>(coder.decodeSymbol(userModels[last.userData]));
        if (changes & 1) last.source = static_cast<std::uint16_t>(sourceModel.decode(coder, last.source));
    }

    [[gnu::always_inline]] void decodePlace(ArithmeticDecoder& coder, unsigned m, unsigned level, unsigned one) {
        const std::int32_t dx = xModel.decode(coder, xMedians[m].get(), one);
        last.x = addWrapped(last.x, dx);
        xMedians[m].add(dx);
        const unsigned xClass = xModel.getClass();
        const std::int32_t dy = yModel.decode(coder, yMedians[m].get(), one + std::min(xClass & ~1u, 20u));
        last.y = addWrapped(last.y, dy);
        yMedians[m].add(dy);
        const unsigned both = (xClass + yModel.getClass()) / 2;
        last.z = heights[level] = zModel.decode(coder, heights[level], one + std::min(both & ~1u, 18u));
    }
};

class PointItem1 {
public:
    explicit PointItem1(const char* pFirst) { std::memcpy(&last, pFirst, sizeof last); }

    const Point10& get() const { return last; }

    void decode(ArithmeticDecoder& coder) {
        const std::int32_t dx = xModel.decode(coder, middle(xSteps));
        last.x = addWrapped(last.x, dx);
        const unsigned xClass = xModel.getClass();
        const std::int32_t dy = yModel.decode(coder, middle(ySteps), std::min(xClass, 19u));
        last.y = addWrapped(last.y, dy);
        const unsigned both = (xClass + yModel.getClass()) / 2;
        last.z = zModel.decode(coder, last.z, std::min(both, 19u));
        const unsigned changes = coder.decodeSymbol(changeModel);
        if (changes != 0) decodeRest(coder, changes, both < 3 ? 1 : 0);
        xSteps[oldest] = dx;
        ySteps[oldest] = dy;
        oldest = (oldest + 1) % 3;
    }

private:
    Point10 last;
    SymbolModel<64> changeModel;
    ByteModels returnModels, classModels, userModels;
    IntegerModel<8, 2> angleModel;
    IntegerModel<16, 1> intensityModel, sourceModel;
    IntegerModel<32, 1> xModel;
    IntegerModel<32, 20> yModel, zModel;
    std::array<std::int32_t, 3> xSteps{}, ySteps{};
    unsigned oldest = 0;

    static std::int32_t middle(const std::array<std::int32_t, 3>& v) {
        return std::max(std::min(v[0], v[1]), std::min(std::max(v[0], v[1]), v[2]));
    }

    void decodeRest(ArithmeticDecoder& coder, unsigned changes, unsigned angleContext) {
        if (changes & 32) last.intensity = static_cast<std::uint16_t>(intensityModel.decode(coder, last.intensity));
        if (changes & 16) last.returns = static_cast<std::uint8_t>(coder.decodeSymbol(returnModels[last.returns]));
        if (changes & 8)
            last.classification = static_cast<std::uint8_t>(coder.decodeSymbol(classModels[last.classification]));
        if (changes & 4) last.angle = static_cast<std::uint8_t>(angleModel.decode(coder, last.angle, angleContext));
        if (changes & 2) last.userData = static_cast<std::uint8_t>(coder.decodeSymbol(userModels[last.userData]));
        if (changes & 1) last.source = static_cast<std::uint16_t>(sourceModel.decode(coder, last.source));
    }
};

// Nobody asks for the time, yet what follows it in the stream can only be found by decoding it.
class TimeItem2 {
public:
    explicit TimeItem2(const char* pFirst) { std::memcpy(&sequences[0].time, pFirst, sizeof(std::int64_t)); }

    void decode(ArithmeticDecoder& shared) {
        ArithmeticDecoder coder = shared;
        // Sound files change the sequence once at the most.
        constexpr int maxChanges = 4;
        for (int i = 0; !decodeInSequence(coder); ++i) {
            if (i < maxChanges) continue;
            coder.setDamaged();
            break;
        }
        shared = coder;
    }

private:
    struct Sequence {
        std::int64_t time = 0;  // the bits of the double
        std::int32_t step = 0, numExtremes = 0;

        void add(std::int32_t difference) {
            time = static_cast<std::int64_t>(static_cast<std::uint64_t>(time) +
                                             static_cast<std::uint64_t>(std::int64_t{difference}));
        }
        void setStep(std::int32_t newStep) {
            step = newStep;
            numExtremes = 0;
        }
    };
    std::array<Sequence, 4> sequences;
    unsigned current = 0, newest = 0;
    SymbolModel<516> multipleModel;
    SymbolModel<6> firstModel;
    IntegerModel<32, 9> stepModel;

    // False if it only changed the sequence.
    [[gnu::always_inline]] bool decodeInSequence(ArithmeticDecoder& coder) {
        Sequence& sequence = sequences[current];
        if (sequence.step == 0) {
            bool bDone = false;
            coder.apart([&](ArithmeticDecoder& copy) { bDone = decodeFirst(copy, sequence); });
            return bDone;
        }
        const unsigned symbol = coder.decodeSymbol(multipleModel);
        if (symbol > 512) {
            current = (current + symbol - 512) & 3;
            return false;
        }
        if (symbol == 512) {
            coder.apart([&](ArithmeticDecoder& copy) { decodeFull(copy); });
        } else if (symbol < 511) {
            decodeMultiple(coder, sequence, static_cast<std::int32_t>(symbol));
        }
        return true;
    }

    bool decodeFirst(ArithmeticDecoder& coder, Sequence& sequence) {
        const unsigned symbol = coder.decodeSymbol(firstModel);
        if (symbol > 2) {
            current = (current + symbol - 2) & 3;
            return false;
        }
        if (symbol == 1) {
            sequence.setStep(stepModel.decode(coder, 0, 0));
            sequence.add(sequence.step);
        }
        if (symbol == 2) decodeFull(coder);
        return true;
    }

    [[gnu::always_inline]] void decodeMultiple(ArithmeticDecoder& coder, Sequence& sequence, std::int32_t symbol) {
        constexpr std::int32_t most = 500, least = 510;  // the symbols of 500 and -10 steps
        const std::int32_t multiple = symbol <= most ? symbol : most - symbol;
        const unsigned context = symbol == 0      ? 7
                                 : symbol == 1    ? 1
                                 : symbol < 10    ? 2
                                 : symbol < most  ? 3
                                 : symbol == most ? 4
                                 : symbol < least ? 5
                                                  : 6;
        const std::int32_t expected = multiplyWrapped(multiple, sequence.step);
        const std::int32_t difference = stepModel.decode(coder, expected, context);
        sequence.add(difference);
        if (symbol == 1) sequence.numExtremes = 0;
        if (symbol != 0 && symbol != most && symbol != least) return;
        if (++sequence.numExtremes > 3) sequence.setStep(difference);
    }

    void decodeFull(ArithmeticDecoder& coder) {
        const std::int32_t high = stepModel.decode(coder, static_cast<std::int32_t>(sequences[current].time >> 32), 8);
        newest = current = (newest + 1) & 3;
        sequences[current] = Sequence();
        sequences[current].time =
            static_cast<std::int64_t>(std::uint64_t{static_cast<std::uint32_t>(high)} << 32 | coder.readBits(32));
    }
};

class TimeItem1 {
public:
    void decode(ArithmeticDecoder& coder) {
        const unsigned symbol = step == 0 ? coder.decodeSymbol(firstModel) : coder.decodeSymbol(multipleModel);
        if (symbol == (step == 0 ? 2u : 510u)) {
            coder.readBits(32);  // the time itself, of which nothing depends
            coder.readBits(32);
        } else if (step == 0) {
            if (symbol == 1) step = stepModel.decode(coder, 0, 0);
        } else if (symbol < 510) {
            decodeMultiple(coder, static_cast<std::int32_t>(symbol));
        }
    }

private:
    std::int32_t step = 0;
    int numExtremes = 0;
    SymbolModel<512> multipleModel;
    SymbolModel<3> firstModel;
    IntegerModel<32, 6> stepModel;

    void decodeMultiple(ArithmeticDecoder& coder, std::int32_t symbol) {
        if (symbol == 1) {
            step = stepModel.decode(coder, step, 1);
            numExtremes = 0;
            return;
        }
        const unsigned context = symbol == 0 ? 2 : symbol < 10 ? 3 : symbol < 50 ? 4 : 5;
        const std::int32_t expected = symbol == 0 ? step / 4 : multiplyWrapped(symbol, step);
        const std::int32_t difference = stepModel.decode(coder, expected, context);
        if (symbol != 0 && symbol != 509) return;
        if (++numExtremes <= 3) return;
        step = difference;
        numExtremes = 0;
    }
};

// The bytes of red, green and blue, the low one of each first.
using ColorBytes = std::array<std::uint8_t, 6>;

inline std::array<std::uint16_t, 3> wholeColor(const ColorBytes& c) {
    const auto whole = [&](std::size_t i) { return static_cast<std::uint16_t>(c[i] | c[i + 1] << 8); };
    return {whole(0), whole(2), whole(4)};
}

// Also the coder of colours in layers.
class ColorModel2 {
public:
    // The colour that follows this one.
    ColorBytes decode(ArithmeticDecoder& shared, const ColorBytes& last) {
        ArithmeticDecoder coder = shared;
        const ColorBytes c = decodeAfter(coder, last);
        shared = coder;
        return c;
    }

private:
    SymbolModel<128> usedModel;
    std::array<ByteModel, 6> models;

    [[gnu::always_inline]] ColorBytes decodeAfter(ArithmeticDecoder& coder, const ColorBytes& last) {
        ColorBytes c = last;
        const unsigned used = coder.decodeSymbol(usedModel);
        if (used & 1) c[0] = fold(last[0] + static_cast<int>(coder.decodeSymbol(models[0])));
        if (used & 2) c[1] = fold(last[1] + static_cast<int>(coder.decodeSymbol(models[1])));
        if (!(used & 64)) return {c[0], c[1], c[0], c[1], c[0], c[1]};
        for (unsigned half = 0; half < 2; ++half) {
            const int step = c[half] - last[half];
            if (used & (4u << half)) c[2 + half] = decodeNear(coder, models[2 + half], last[2 + half] + step);
            if (used & (16u << half)) {
                const int mean = (step + c[2 + half] - last[2 + half]) / 2;
                c[4 + half] = decodeNear(coder, models[4 + half], last[4 + half] + mean);
            }
        }
        return c;
    }

    static std::uint8_t fold(int value) { return static_cast<std::uint8_t>(value); }
    [[gnu::always_inline]] static std::uint8_t decodeNear(ArithmeticDecoder& coder, ByteModel& model, int expected) {
        return fold(std::clamp(expected, 0, 255) + static_cast<int>(coder.decodeSymbol(model)));
    }
};

class ColorItem2 {
public:
    explicit ColorItem2(const char* pFirst) { std::memcpy(last.data(), pFirst, last.size()); }
    const ColorBytes& get() const { return last; }
    void decode(ArithmeticDecoder& coder) { last = model.decode(coder, last); }

private:
    ColorBytes last{};
    ColorModel2 model;
};

class ColorItem1 {
public:
    explicit ColorItem1(const char* pFirst) { std::memcpy(last.data(), pFirst, last.size()); }
    const ColorBytes& get() const { return last; }
    void decode(ArithmeticDecoder& coder) {
        const unsigned used = coder.decodeSymbol(usedModel);
        for (unsigned i = 0; i < last.size(); ++i)
            if (used & (1u << i)) last[i] = static_cast<std::uint8_t>(model.decode(coder, last[i], i));
    }

private:
    ColorBytes last{};
    SymbolModel<64> usedModel;
    IntegerModel<8, 6> model;
};

// Skips the description of a wave form.
class WaveItem {
public:
    explicit WaveItem(const char* pFirst) { std::memcpy(words.data(), pFirst + 9, 4 * words.size()); }

    void decode(ArithmeticDecoder& coder) {
        coder.decodeSymbol(indexModel);
        kind = coder.decodeSymbol(kindModels[kind]);
        if (kind == 2) difference = differenceModel.decode(coder, difference);
        if (kind == 3) {
            coder.readBits(32);
            coder.readBits(32);
        }
        words[0] = sizeModel.decode(coder, words[0]);
        words[1] = locationModel.decode(coder, words[1]);
        for (unsigned i = 0; i < 3; ++i) words[2 + i] = directionModel.decode(coder, words[2 + i], i);
    }

private:
    std::array<std::int32_t, 5> words{};  // size, location and direction
    std::int32_t difference = 0;
    unsigned kind = 0;
    ByteModel indexModel;
    std::array<SymbolModel<4>, 4> kindModels;
    IntegerModel<32, 1> differenceModel, sizeModel, locationModel;
    IntegerModel<32, 3> directionModel;
};

// Skips the bytes that only the writer knows. What they are matters to the first version alone.
class BytesItem2 {
public:
    explicit BytesItem2(std::size_t num) : models(num) {}
    void decode(ArithmeticDecoder& coder) {
        for (ByteModel& model : models) coder.decodeSymbol(model);
    }

private:
    std::vector<ByteModel> models;
};

class BytesItem1 {
public:
    BytesItem1(const char* pFirst, std::size_t num) : last(pFirst, pFirst + num), classes(num) {}
    void decode(ArithmeticDecoder& coder) {
        for (std::size_t i = 0; i < last.size(); ++i)
            last[i] = static_cast<std::uint8_t>(model.decode(coder, last[i], classes[i]));
    }

private:
    std::vector<std::uint8_t> last;
    std::vector<SymbolModel<9>> classes;
    IntegerModel<8, 1> model;
};

}  // namespace QUOR_ZEF
