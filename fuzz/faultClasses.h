#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

// The classes of faults that files of points and meshes are known to have: each makes faulty files of a sound one.
namespace zef_fuzz {

struct Seed {
    std::string ending, bytes;
    bool bText = false;
};

using Try = std::function<void(const std::string& bytes)>;

// In place of each number of a text; and of each four and eight bytes of other files, some of many.
inline void tryNumbers(const Seed& seed, const std::vector<std::string>& vTexts,
                       const std::vector<std::uint64_t>& vValues, const Try& tryBytes) {
    const std::string& bytes = seed.bytes;
    for (std::size_t begin = 0; begin < bytes.size() && (seed.bText || seed.ending == ".e57");) {
        std::size_t end = begin;
        while (end < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[end]))) ++end;
        for (std::size_t i = 0; end > begin && i < vTexts.size(); ++i)
            tryBytes(std::string(bytes).replace(begin, end - begin, vTexts[i]));
        begin = end + 1;
    }
    for (std::size_t at = 0; at + 8 <= bytes.size() && !seed.bText; at += 1 + bytes.size() / 100)
        for (const std::uint64_t value : vValues)
            for (const std::size_t size : {2u, 4u, 8u})
                tryBytes(std::string(bytes).replace(at, size, reinterpret_cast<const char*>(&value), size));
}

// Lines, or what stands for sections in other files.
inline std::vector<std::pair<std::size_t, std::size_t>> sectionsOf(const Seed& seed) {
    std::vector<std::pair<std::size_t, std::size_t>> vSections;
    for (std::size_t begin = 0; begin < seed.bytes.size();) {
        std::size_t end = seed.bText ? seed.bytes.find('\n', begin) : begin + 1 + seed.bytes.size() / 50;
        end = std::min(seed.bytes.size(), end == std::string::npos ? end : end + 1);
        vSections.emplace_back(begin, end - begin);
        begin = end;
    }
    return vSections;
}

inline void tryCounts(const Seed& seed, const Try& tryBytes) {
    tryNumbers(seed, {"99999999999999999999999", "18446744073709551615", "4611686018427387904", "1e99"},
               {~std::uint64_t{0}, 0x7fffffff7fffffff, 0x4000000040000000}, tryBytes);
}

inline void tryCuts(const Seed& seed, const Try& tryBytes) {
    for (std::size_t size = 0; size < seed.bytes.size(); ++size) tryBytes(seed.bytes.substr(0, size));
    for (const auto& [begin, length] : sectionsOf(seed))  // lists of other lengths and types
        for (const char c : {'\0', '0', '9', '-', '\x80', '\xff'})
            tryBytes(std::string(seed.bytes).replace(begin, 1, 1, c));
}

inline void tryIndices(const Seed& seed, const Try& tryBytes) {
    tryNumbers(seed, {"-1", "3", "2147483648", "4294967295"}, {3, 0x8000000080000000, 0xfffffffefffffffe}, tryBytes);
}

inline void tryNames(const Seed& seed, const Try& tryBytes) {
    const std::string longName(1'000'000, 'x');
    const auto vSections = sectionsOf(seed);
    for (std::size_t i = 0; i < vSections.size(); i += 1 + vSections.size() / 8)
        for (const std::size_t at : {vSections[i].first, vSections[i].first + vSections[i].second / 2})
            tryBytes(std::string(seed.bytes).insert(at, longName));
    for (const std::string& ends : {std::string(), std::string("\r"), std::string(1, '\0'), std::string("\n\n")}) {
        std::string bytes;
        for (const char c : seed.bytes) bytes += c == '\n' ? ends : std::string(1, c);
        tryBytes(bytes);
    }
}

inline void trySections(const Seed& seed, const Try& tryBytes) {
    for (const auto& [begin, size] : sectionsOf(seed)) {
        tryBytes(std::string(seed.bytes).erase(begin, size));
        tryBytes(std::string(seed.bytes).insert(begin, seed.bytes, begin, size));
    }
}

// Exceptions that escape: from what is no such file at all.
inline void tryOthers(const Seed& seed, const Try& tryBytes) {
    for (const char* const start :
         {"", "ply\n", "OFF\n", "solid\n", "LASF", "ASTM-E57", "glTF", "\x1f\x8b", "{", "v 1 2 3\n"})
        tryBytes(start + seed.bytes.substr(std::min<std::size_t>(seed.bytes.size(), 8)));
    tryBytes(seed.bytes + seed.bytes);
    tryBytes(std::string(1, '\0') + seed.bytes);
}

inline void tryValues(const Seed& seed, const Try& tryBytes) {
    tryNumbers(seed, {"nan", "inf", "-1e300", "1e300", "1e-400"},
               {0x7ff80000ffc00000, 0x7ff000007f800000, 0x7e37e43c7f7fffff}, tryBytes);
}

// Loops without an end: sections and counts of nothing, offsets that lead back.
inline void tryLoops(const Seed& seed, const Try& tryBytes) {
    tryNumbers(seed, {"0", "00", ""}, {0, 1}, tryBytes);
    for (const char c : {'\n', ' ', '\0', '"', '{'}) tryBytes(seed.bytes + std::string(100'000, c));
}

// Zeros in a thousandth of their size: one, and repeats of the last 258 bytes by the fixed codes.
inline std::string bomb(std::size_t numRepeats) {
    std::string bytes("\x1f\x8b\x08\0\0\0\0\0\0\3", 10);
    unsigned bits = 0, numBits = 0;
    const auto put = [&](const char* code) {
        for (; *code; ++code) {
            bits |= static_cast<unsigned>(*code - '0') << numBits;
            if (++numBits < 8) continue;
            bytes += static_cast<char>(bits);
            bits = numBits = 0;
        }
    };
    put("11000110000");
    for (std::size_t i = 0; i < numRepeats; ++i) put("1100010100000");
    put("00000000000000000");
    return bytes + std::string(8, '\0');
}

// What is packed names a size that it has not, or has one that nobody expects.
inline void tryBombs(const Seed& seed, const Try& tryBytes) {
    if (seed.ending == ".gz") tryBytes(bomb(100'000));
    for (std::size_t at = seed.bytes.size() / 2; at < seed.bytes.size(); at += 1 + seed.bytes.size() / 64)
        for (const char c : {'\0', '\x1f', '\xe0', '\xff'})
            tryBytes(std::string(seed.bytes).replace(at, std::min<std::size_t>(seed.bytes.size() - at, 12), 12, c));
}

inline const std::map<std::string, void (*)(const Seed&, const Try&)> classes = {
    {"counts", tryCounts},       {"cutsAndLists", tryCuts}, {"indices", tryIndices},
    {"namesAndLines", tryNames}, {"sections", trySections}, {"exceptions", tryOthers},
    {"values", tryValues},       {"loops", tryLoops},       {"bombs", tryBombs}};

}  // namespace zef_fuzz
