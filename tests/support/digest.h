#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <cstdint>
#include <ranges>
#include <span>
#include <type_traits>
#include <vector>

#include "zef/Point3.h"

// Recorded results: a hash of all that a stage makes, held against the one noted
// when a slow model agreed with it.

namespace zef_test {

using Digests = std::vector<std::uint32_t>;

// FNV-1a over numbers; real ones to 2^-20, so that it is the same everywhere.
class Digest {
public:
    template <class... T>
    void add(const T&... values) {
        (addOne(values), ...);
    }
    std::uint32_t get() const { return static_cast<std::uint32_t>(hash ^ (hash >> 32)); }
    std::uint64_t getLong() const { return hash; }

private:
    template <class T>
    void addOne(const T& value) {
        if constexpr (std::integral<T> || std::is_enum_v<T>) {
            addWord(static_cast<std::uint64_t>(value));
        } else if constexpr (std::floating_point<T>) {
            const double steps = static_cast<double>(value) * 0x1p20;
            addWord(std::fabs(steps) < 0x1p62 ? static_cast<std::uint64_t>(std::llround(steps)) : ~std::uint64_t{0});
        } else if constexpr (std::same_as<T, QUOR_ZEF::Point3>) {
            add(value.px, value.py, value.pz, value.r, value.g, value.b, value.a, value.bHasColor);
        } else if constexpr (std::ranges::range<T>) {
            addWord(std::ranges::size(value));
            for (const auto& element : value) add(element);
        } else {
            add(value.first, value.second);
        }
    }
    void addWord(std::uint64_t word) {
        for (int i = 0; i < 64; i += 8) hash = (hash ^ (word >> i & 0xff)) * 0x100000001b3;
    }
    std::uint64_t hash = 0xcbf29ce484222325;
};

// Of the values in their order.
inline std::uint64_t digest(std::span<const std::uint64_t> values) {
    Digest all;
    for (const std::uint64_t value : values) all.add(value);
    return all.getLong();
}

// fn(k, digest) adds the results of case k, from 0 on, to the digest.
template <class Fn>
void expectRecorded(const Digests& vRecorded, const Fn& fn) {
    Digests vFound;
    for (unsigned k = 0; k < vRecorded.size(); ++k) {
        Digest digest;
        fn(k, digest);
        vFound.push_back(digest.get());
    }
    EXPECT_EQ(vFound, vRecorded);
}

}  // namespace zef_test
