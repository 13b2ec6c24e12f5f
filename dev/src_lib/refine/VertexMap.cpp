#include "refine/VertexMap.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace QUOR_ZEF {

namespace {

uint64 bitsOf(double value) {
    if (std::isnan(value)) return std::bit_cast<uint64>(std::numeric_limits<double>::quiet_NaN());
    return std::bit_cast<uint64>(value + 0.0);  // -0.0 + 0.0 is 0.0
}

// Every bit of the word moves the upper half of the result.
uint64 spread(uint64 word) {
    word *= 0x9e3779b97f4a7c15u;
    word ^= word >> 32;
    return word * 0xd6e8feb86659fd93u;
}

}  // namespace

VertexMap::Place::Place(const Point3& p) : x(bitsOf(p.px)), y(bitsOf(p.py)), z(bitsOf(p.pz)) {}

void VertexMap::build(const std::vector<Point3>& vPoints) {
    clear();
    bBuilt = true;
    vPlaces.reserve(vPoints.size());
    vVertexPlaces.reserve(vPoints.size());
    vSlots.assign(std::bit_ceil(2 * vPoints.size() + 2), none);
    for (const Point3& p : vPoints) {
        const std::uint32_t place = add(Place(p));
        ++vPlaces[place].num;
        vVertexPlaces.push_back(place);
    }
}

// The slot of this place, or the free one that it would take. There is always a free one.
std::size_t VertexMap::findSlot(const Place& place) const {
    const std::size_t mask = vSlots.size() - 1;
    std::size_t slot = (spread(place.x ^ spread(place.y ^ spread(place.z))) >> 32) & mask;
    while (vSlots[slot] != none && !(vPlaces[vSlots[slot]] == place)) slot = (slot + 1) & mask;
    return slot;
}

std::uint32_t VertexMap::add(const Place& place) {
    const std::size_t slot = findSlot(place);
    if (vSlots[slot] == none) {
        vSlots[slot] = static_cast<std::uint32_t>(vPlaces.size());
        vPlaces.push_back(place);
    }
    return vSlots[slot];
}

bool VertexMap::isTaken(const Point3& p) const {
    const std::uint32_t place = vSlots[findSlot(Place(p))];
    return place != none && vPlaces[place].num > 0;
}

bool VertexMap::erase(std::uint32_t vertex) {
    std::uint32_t& place = vVertexPlaces[vertex];
    if (place == none) return false;
    --vPlaces[place].num;
    place = none;
    return true;
}

bool VertexMap::insert(std::uint32_t vertex, const Point3& p) {
    if (2 * vPlaces.size() >= vSlots.size()) rehash();
    const std::uint32_t place = add(Place(p));
    if (vPlaces[place].num > 0) return false;
    vPlaces[place].num = 1;
    vVertexPlaces[vertex] = place;
    return true;
}

// Drops the places where nobody stands any more, and makes room.
void VertexMap::rehash() {
    std::vector<std::uint32_t> vNewPlaces(vPlaces.size(), none);
    std::uint32_t numKept = 0;
    for (std::size_t i = 0; i < vPlaces.size(); ++i) {
        if (vPlaces[i].num == 0) continue;
        vNewPlaces[i] = numKept;
        vPlaces[numKept++] = vPlaces[i];
    }
    vPlaces.erase(vPlaces.begin() + numKept, vPlaces.end());
    for (std::uint32_t& place : vVertexPlaces)
        if (place != none) place = vNewPlaces[place];
    vSlots.assign(std::bit_ceil(4 * vPlaces.size() + 4), none);
    for (std::uint32_t place = 0; place < numKept; ++place) vSlots[findSlot(vPlaces[place])] = place;
}

}  // namespace QUOR_ZEF
