#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>

#include "bytes/InputFile.h"

// The entropy coder of LAZ, after "LASzip: lossless compression of LiDAR data", M. Isenburg, 2013.

namespace QUOR_ZEF {

// The bytes of a file from one place to another, read as they are needed.
class ByteSource {
public:
    ByteSource(const InputFile& file, std::uint64_t begin, std::uint64_t end);

    // The next bytes, at least one, valid until the next call. Behind the end come zeros.
    std::span<const std::uint8_t> refill();
    // Whether somebody asked for bytes behind the end, or met what no encoder writes.
    bool isDamaged() const { return bDamaged; }
    void setDamaged() { bDamaged = true; }
    // Of the first byte that refill() has not given.
    std::uint64_t getPlace() const { return place; }

private:
    static constexpr std::size_t maxBuffer = std::size_t{1} << 16;

    const InputFile* pFile;
    std::uint64_t place, endPlace;
    std::unique_ptr<char[]> pBuffer;
    bool bDamaged = false;
};

// Symbols 0..n-1 with adaptive frequencies, n of 2 to capacity.
template <unsigned capacity>
class SymbolModel {
public:
    explicit SymbolModel(unsigned n = capacity) { start(n); }
    // To be started before it is used; costs nothing until then.
    struct Later {};
    explicit SymbolModel(Later /*unused*/) : numSymbols(0) {}

    bool isStarted() const { return numSymbols > 0; }
    void start(unsigned n) {
        numSymbols = cycle = n;
        while ((1u << tableBits) < entriesPerSymbol * n) ++tableBits;
        std::fill_n(count.begin(), n, std::uint16_t{1});
        rebuild();
        cycle = left = (n + 6) >> 1;
    }

    // The largest symbol whose distribution is at most this, which is below 2^15.
    unsigned find(std::uint32_t part) const {
        unsigned symbol = table[part >> (15 - tableBits)];
        while (dist[symbol + 1] <= part) ++symbol;
        return symbol;
    }
    std::uint32_t getDist(unsigned symbol) const { return dist[symbol]; }
    bool isLast(unsigned symbol) const { return symbol + 1 == numSymbols; }
    void update(unsigned symbol) {
        ++count[symbol];
        if (--left == 0) rebuild();
    }

private:
    static constexpr unsigned entriesPerSymbol = 4;  // of the table: more of them cost more than they save

    std::uint32_t numSymbols, tableBits = 1, total = 0, cycle = 0, left = 0;
    std::array<std::uint16_t, capacity> count;
    std::array<std::uint16_t, capacity + 1> dist;  // in 1 / 2^15; 2^15 behind the last
    using Entry = std::conditional_t<(capacity > 256), std::uint16_t, std::uint8_t>;
    std::array<Entry, std::bit_ceil(entriesPerSymbol* capacity)> table;  // by the upper bits of a part: where to begin

    void rebuild() {
        total += cycle;
        if (total > 1u << 15) {
            total = 0;
            for (unsigned k = 0; k < numSymbols; ++k) {
                count[k] = static_cast<std::uint16_t>((count[k] + 1) >> 1);
                total += count[k];
            }
        }
        const std::uint32_t scale = 0x80000000u / total;
        std::uint32_t sum = 0;
        for (unsigned k = 0; k < numSymbols; ++k) {
            dist[k] = static_cast<std::uint16_t>((scale * sum) >> 16);
            sum += count[k];
        }
        dist[numSymbols] = 1u << 15;
        fillTable();
        cycle = left = std::min((5 * cycle) >> 2, 8 * (numSymbols + 6));
    }

    void fillTable() {
        unsigned symbol = 0;
        for (std::uint32_t i = 0; i < 1u << tableBits; ++i) {
            while (dist[symbol + 1] <= i << (15 - tableBits)) ++symbol;
            table[i] = static_cast<Entry>(symbol);
        }
    }
};

class BitModel {
public:
    std::uint32_t getShare() const { return share; }  // of zeros, in 1 / 2^13
    void update(unsigned bit) {
        if (bit == 0) ++numZeros;
        if (--left == 0) rebuild();
    }

private:
    std::uint32_t numZeros = 1, num = 2, share = 4096, cycle = 4, left = 4;

    void rebuild() {
        num += cycle;
        if (num > 8192) {
            num = (num + 1) >> 1;
            numZeros = (numZeros + 1) >> 1;
            if (numZeros == num) ++num;
        }
        share = (numZeros * (0x80000000u / num)) >> 18;
        cycle = left = std::min((5 * cycle) >> 2, 64u);
    }
};

inline constexpr std::uint32_t minCoderLength = 0x01000000u, maxCoderLength = 0xffffffffu;

// A small value: functions that decode much work on a copy of their own, which the compiler
// keeps in registers as long as nobody else gets its address, and put it back. It borrows the
// source.
class ArithmeticDecoder {
public:
    explicit ArithmeticDecoder(ByteSource& source) : pSource(&source) {
        for (int i = 0; i < 4; ++i) value = value << 8 | nextByte();
    }

    template <unsigned capacity>
    [[gnu::always_inline]] unsigned decodeSymbol(SymbolModel<capacity>& model) {
        const std::uint32_t unit = length >> 15;
        // The rounding of unit lets the quotient go a little beyond 2^15. The length is 2^24 or more.
        // NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
        const unsigned symbol = model.find(std::min(value / unit, 0x7fffu));
        const std::uint32_t low = model.getDist(symbol) * unit;
        const std::uint32_t high = model.isLast(symbol) ? length : model.getDist(symbol + 1) * unit;
        value -= low;
        length = high - low;
        renormalise();
        model.update(symbol);
        return symbol;
    }

    [[gnu::always_inline]] unsigned decodeBit(BitModel& model) {
        const std::uint32_t zeros = model.getShare() * (length >> 13);
        const unsigned bit = value < zeros ? 0 : 1;
        value -= bit ? zeros : 0;
        length = bit ? length - zeros : zeros;
        renormalise();
        model.update(bit);
        return bit;
    }

    // 1 to 32 of them.
    [[gnu::always_inline]] std::uint32_t readBits(unsigned num) {
        if (num < 20) return readFewBits(num);
        const std::uint32_t low = readFewBits(16);
        return readFewBits(num - 16) << 16 | low;
    }

    // Has a function that is rarely needed, and not inlined, work on a copy.
    template <class Decode>
    [[gnu::always_inline]] void apart(Decode decode) {
        ArithmeticDecoder copy = *this;
        decode(copy);
        *this = copy;
    }

    // Of the file: what comes next.
    std::uint64_t getPlace() const { return pSource->getPlace() - static_cast<std::uint64_t>(pEnd - p); }
    bool isDamaged() const { return pSource->isDamaged(); }
    void setDamaged() { pSource->setDamaged(); }

private:
    std::uint32_t value = 0, length = maxCoderLength;
    const std::uint8_t *p = nullptr, *pEnd = nullptr;
    ByteSource* pSource;

    [[gnu::always_inline]] std::uint8_t nextByte() {
        if (p == pEnd) [[unlikely]] {
            const std::span<const std::uint8_t> more = pSource->refill();
            p = more.data();
            pEnd = p + more.size();
        }
        return *p++;
    }

    // How many bytes follow is hard to predict, so that nothing branches on it.
    [[gnu::always_inline]] void renormalise() {
        if (pEnd - p < 4) [[unlikely]] {
            while (length < minCoderLength) {
                value = value << 8 | nextByte();
                length <<= 8;
            }
            return;
        }
        const unsigned shift = static_cast<unsigned>(std::countl_zero(length)) & 24u;
        const std::uint32_t following =
            std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
        value = static_cast<std::uint32_t>((std::uint64_t{value} << 32 | following) << shift >> 32);
        length <<= shift;
        p += shift / 8;
    }

    [[gnu::always_inline]] std::uint32_t readFewBits(unsigned num) {
        length >>= num;
        std::uint32_t bits = value / length;
        if (bits >> num) [[unlikely]] {
            pSource->setDamaged();
            bits = 0;
        }
        value -= bits * length;
        renormalise();
        return bits;
    }
};

// Integers of so many bits against a prediction.
template <unsigned bits, unsigned contexts>
class IntegerModel {
public:
    // The class of the latest correction: about the logarithm of its size.
    unsigned getClass() const { return k; }

    [[gnu::always_inline]] std::int32_t decode(ArithmeticDecoder& coder, std::int32_t prediction,
                                               unsigned context = 0) {
        return decode(coder, prediction, vClasses[context]);
    }
    // With the classes of a context that lies elsewhere.
    [[gnu::always_inline]] std::int32_t decode(ArithmeticDecoder& coder, std::int32_t prediction,
                                               SymbolModel<bits + 1>& classes) {
        k = coder.decodeSymbol(classes);
        const std::uint32_t value = static_cast<std::uint32_t>(prediction) + decodeCorrection(coder);
        if constexpr (bits == 32) return static_cast<std::int32_t>(value);
        const std::int32_t sum = static_cast<std::int32_t>(value);
        constexpr std::int32_t range = bits < 32 ? std::int32_t{1} << (bits % 32) : 0;
        return sum < 0 ? sum + range : sum >= range ? sum - range : sum;
    }

private:
    std::array<SymbolModel<bits + 1>, contexts> vClasses;
    BitModel zeroModel;
    struct CorrectorModel : SymbolModel<256> {
        CorrectorModel() : SymbolModel<256>(Later()) {}
    };
    std::array<CorrectorModel, bits> vCorrectors;  // by class, from 1 on; most are never used
    unsigned k = 0;

    [[gnu::always_inline]] std::uint32_t decodeCorrection(ArithmeticDecoder& coder) {
        if (k == 0) return coder.decodeBit(zeroModel);
        if (k == 32) return 0x80000000u;
        CorrectorModel& model = vCorrectors[k - 1];
        if (!model.isStarted()) [[unlikely]]
            model.start(1u << std::min(k, 8u));
        std::uint32_t c = coder.decodeSymbol(model);
        if (k > 8) c = c << (k - 8) | coder.readBits(k - 8);
        return c >= 1u << (k - 1) ? c + 1 : c - ((1u << k) - 1);
    }
};

// Models of which few are used: each is made when it is first asked for.
template <class Model, unsigned num>
class LazyModels {
public:
    Model& operator[](unsigned i) {
        if (!vModels[i]) vModels[i] = std::make_unique<Model>();
        return *vModels[i];
    }

private:
    std::array<std::unique_ptr<Model>, num> vModels;
};

// The middle of the latest values, roughly: the five that count are kept in order.
class RunningMedian {
public:
    std::int32_t get() const { return v[2]; }

    void add(std::int32_t value) {
        const std::int32_t middle = v[2];
        std::size_t i = bDropLargest ? 4 : 0;
        if (bDropLargest) {
            for (; i > 0 && v[i - 1] > value; --i) v[i] = v[i - 1];
            bDropLargest = value < middle;
        } else {
            for (; i < 4 && v[i + 1] < value; ++i) v[i] = v[i + 1];
            bDropLargest = value <= middle;
        }
        v[i] = value;
    }

private:
    std::array<std::int32_t, 5> v{};  // ascending
    bool bDropLargest = true;         // with the next value, or else the smallest
};

}  // namespace QUOR_ZEF
