#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace QUOR_ZEF {

// A row of four numbers, which the compilers turn into one instruction for each operation. Each of the four gets
// the bits that it would get on its own.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));  // also the flags of comparisons: 0 or -1

inline Float4 load(const float* p) {
    Float4 v;
    std::memcpy(&v, p, sizeof(v));
    return v;
}

// Of a struct that begins with four floats.
template <class T>
Float4 firstFourOf(const T& numbers) {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) >= sizeof(Float4));
    Float4 v;
    std::memcpy(&v, &numbers, sizeof(v));
    return v;
}

inline void store(Float4 v, float* p) {
    std::memcpy(p, &v, sizeof(v));
}

inline Float4 select(Int4 bFirst, Float4 first, Float4 second) {
    return std::bit_cast<Float4>((bFirst & std::bit_cast<Int4>(first)) | (~bFirst & std::bit_cast<Int4>(second)));
}

// Four rows of x, y, z and w become rows of all x, all y, all z and all w.
struct Columns4 {
    Float4 x, y, z, w;

    Columns4(Float4 a, Float4 b, Float4 c, Float4 d) {
        const Float4 lowAB = __builtin_shufflevector(a, b, 0, 4, 1, 5),
                     lowCD = __builtin_shufflevector(c, d, 0, 4, 1, 5);
        const Float4 highAB = __builtin_shufflevector(a, b, 2, 6, 3, 7),
                     highCD = __builtin_shufflevector(c, d, 2, 6, 3, 7);
        x = __builtin_shufflevector(lowAB, lowCD, 0, 1, 4, 5);
        y = __builtin_shufflevector(lowAB, lowCD, 2, 3, 6, 7);
        z = __builtin_shufflevector(highAB, highCD, 0, 1, 4, 5);
        w = __builtin_shufflevector(highAB, highCD, 2, 3, 6, 7);
    }
};

}  // namespace QUOR_ZEF
