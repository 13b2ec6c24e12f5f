#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <ranges>
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
    template <class T>
    void add(const T& value) {
        if constexpr (std::integral<T> || std::is_enum_v<T>) {
            addWord(static_cast<std::uint64_t>(value));
        } else if constexpr (std::floating_point<T>) {
            const double steps = static_cast<double>(value) * 0x1p20;
            addWord(std::fabs(steps) < 0x1p62 ? static_cast<std::uint64_t>(std::llround(steps)) : ~std::uint64_t{0});
        } else if constexpr (std::same_as<T, QUOR_ZEF::Point3>) {
            for (const double c : {value.px, value.py, value.pz}) add(c);
            for (const int c : {int(value.r), int(value.g), int(value.b), int(value.a), int(value.bHasColor)}) add(c);
        } else if constexpr (std::ranges::range<T>) {
            addWord(std::ranges::size(value));
            for (const auto& element : value) add(element);
        } else {
            add(value.first);
            add(value.second);
        }
    }
    std::uint32_t get() const { return static_cast<std::uint32_t>(hash ^ (hash >> 32)); }

private:
    void addWord(std::uint64_t word) {
        for (int i = 0; i < 64; i += 8) hash = (hash ^ (word >> i & 0xff)) * 0x100000001b3;
    }
    std::uint64_t hash = 0xcbf29ce484222325;
};

template <class... T>
std::uint32_t digestOf(const T&... values) {
    Digest digest;
    (digest.add(values), ...);
    return digest.get();
}

}  // namespace zef_test
