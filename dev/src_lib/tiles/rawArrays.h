#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "bytes/AtomicFile.h"
#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Arrays in the files of a job, one after the other, each with its number of elements first; in the byte order of
// this machine. Elements have no padding, so that equal arrays give equal bytes.

template <class T>
void writeArray(AtomicFile& file, const std::vector<T>& v) {
    static_assert(std::is_trivially_copyable_v<T>);
    file.writeRaw(uint64{v.size()});
    file.write({reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T)});
}

// A point takes three doubles, r g b a, and whether they count.
constexpr std::size_t pointBytes = 29;

inline Point3 pointAt(const char* bytes) {
    double xyz[3];
    std::uint8_t color[5];
    std::memcpy(xyz, bytes, sizeof(xyz));
    std::memcpy(color, bytes + sizeof(xyz), sizeof(color));
    Point3 p(xyz[0], xyz[1], xyz[2]);
    p.r = color[0];
    p.g = color[1];
    p.b = color[2];
    p.a = color[3];
    p.bHasColor = color[4] != 0;
    return p;
}

inline void writeVertices(AtomicFile& file, std::span<const Point3> vertices) {
    file.writeRaw(uint64{vertices.size()});
    for (const Point3& p : vertices) {
        for (const double x : {p.px, p.py, p.pz}) file.writeRaw(x);
        for (const std::uint8_t channel : {p.r, p.g, p.b, p.a, std::uint8_t{p.bHasColor}}) file.writeRaw(channel);
    }
}

// Reads them back. A LoadError for more than there are bytes.
class RawReader {
public:
    explicit RawReader(const InputFile& file_) : file(file_) {}

    template <class T>
    T readValue() {
        T value;
        take({reinterpret_cast<char*>(&value), sizeof(T)});
        return value;
    }
    template <class T>
    std::vector<T> readArray() {
        std::vector<T> v(readCount(sizeof(T)));
        take({reinterpret_cast<char*>(v.data()), v.size() * sizeof(T)});
        return v;
    }
    std::vector<Point3> readVertices() {
        std::vector<char> vBytes(readCount(pointBytes) * pointBytes);
        take(vBytes);
        std::vector<Point3> v(vBytes.size() / pointBytes);
        for (std::size_t i = 0; i < v.size(); ++i) v[i] = pointAt(vBytes.data() + i * pointBytes);
        return v;
    }
    bool isAtEnd() const { return place == file.getSize(); }

private:
    const InputFile& file;
    uint64 place = 0;

    std::size_t readCount(std::size_t width) {
        const auto count = readValue<uint64>();
        if (count > (file.getSize() - place) / width) throw LoadError("cut short or changed");
        return static_cast<std::size_t>(count);
    }
    void take(std::span<char> bytes) {
        if (bytes.size() > file.getSize() - place) throw LoadError("cut short or changed");
        if (!bytes.empty()) file.read(place, bytes);
        place += bytes.size();
    }
};

}  // namespace QUOR_ZEF
