#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace QUOR_ZEF {

// A list of borrowed T that mostly has one or two, as the triangles at an edge:
// up to two stand in the list itself, more take memory of their own, which then
// stays until the destructor. In order of coming, but one that leaves is
// replaced by the last. 20 bytes; what follows it as a member may start there if
// the list is declared [[no_unique_address]].
template <class T>
class FewList {
public:
    FewList() : aFew{nullptr, nullptr} {}
    ~FewList() {
        if (bMany) delete[] many.ppT;
    }
    FewList(const FewList&) = delete;
    FewList& operator=(const FewList&) = delete;

    std::size_t size() const { return num; }
    // Valid until the next change.
    std::span<T* const> view() const { return {bMany ? many.ppT : aFew, num}; }

    // True when the list takes memory from now on, so that its destructor must run. Who
    // keeps such lists makes the room to do so before: roomForOne().
    bool push(T* pT) {
        const std::size_t capacity = bMany ? many.capacity : maxFew;
        const bool bStarts = num == capacity && !bMany;
        if (num == capacity) grow(2 * capacity);
        data()[num] = pT;
        ++num;
        return bStarts;
    }
    // False if it is not there. Linear in the length.
    bool remove(const T* pT) {
        T** const ppEnd = data() + num;
        T** const ppFound = std::find(data(), ppEnd, pT);
        if (ppFound == ppEnd) return false;
        *ppFound = *(ppEnd - 1);
        --num;
        return true;
    }
    void clear() { num = 0; }

private:
    static constexpr std::size_t maxFew = 2;
    struct Many {
        T** ppT;  // owned
        std::size_t capacity;
    };

    T** data() { return bMany ? many.ppT : aFew; }
    void grow(std::size_t capacity) {
        T** const ppNew = new T*[capacity];
        std::copy_n(data(), num, ppNew);
        if (bMany) delete[] many.ppT;
        many = Many{ppNew, capacity};
        bMany = 1;
    }

    union {
        T* aFew[maxFew];  // while there were never more
        Many many;
    };
    std::uint32_t num : 31 = 0;
    std::uint32_t bMany : 1 = 0;
};

// The next push_back to v takes no memory.
template <class T>
void roomForOne(std::vector<T>& v) {
    if (v.size() == v.capacity()) v.reserve(2 * v.size() + 8);
}

}  // namespace QUOR_ZEF
