#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "zef/Point3.h"

namespace QUOR_ZEF {

// A whole file in memory, read in large blocks. Read, not mapped: a mapped file
// that somebody cuts short meanwhile would end the process.
class FileBytes {
public:
    // False if the file cannot be opened or read to its end; getError() says why.
    // Pipes and devices are read until they end.
    bool load(const std::string& name);
    // The same of an open file, from where it stands.
    bool load(int descriptor);

    std::string_view view() const { return {pData.get(), size}; }
    const std::string& getError() const { return error; }

private:
    struct Free {
        std::align_val_t alignment;  // of the memory
        void operator()(char* p) const { ::operator delete(p, alignment); }
    };
    std::unique_ptr<char, Free> pData;
    std::size_t size = 0;
    std::size_t capacity = 0;
    std::string error;

    bool readAll(int descriptor, std::size_t expected);
    bool grow(std::size_t newCapacity);
    bool fail(int code);
};

// A value in the byte order of this machine, aligned or not.
template <class T>
T loadValue(const char* p) {
    T value;
    std::memcpy(&value, p, sizeof(T));
    return value;
}

// What reading a file may cost: 16 times its size and 1 MiB.
std::size_t memoryLimit(std::size_t fileSize);

// Asks for huge pages behind this memory, which has not been touched yet:
// without them, most of the time of reading a binary file goes into page faults.
void adviseHugePages(void* pMemory, std::size_t numBytes);

// Room for num more points. A vector that is not empty grows at least by a
// quarter, so that reading many files into it stays linear.
void reserveMore(std::vector<Point3>& vPoints, std::size_t num);

// For text, where the final number is not known: push_back that grows by a
// quarter, since doubling would break memoryLimit on the tersest of files.
template <class T>
void pushSlowly(std::vector<T>& v, const T& value) {
    if (v.size() == v.capacity()) v.reserve(v.size() + v.size() / 4 + 256);
    v.push_back(value);
}

}  // namespace QUOR_ZEF
