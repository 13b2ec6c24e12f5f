#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/E57Fields.h"
#include "formats/E57Pages.h"
#include "formats/E57Scans.h"

namespace QUOR_ZEF {

namespace e57_roles {

// What the fields of a record are good for.
enum Role : std::size_t {
    FIRST,  // x, or the range
    SECOND,
    THIRD,
    STATE,  // not 0: an invalid point
    RED,
    GREEN,
    BLUE,
    NO_COLOR,  // not 0: an invalid colour
    INTENSITY,
    NO_INTENSITY,
    NORMAL_X,
    NORMAL_Y,
    NORMAL_Z,
    NUM_ROLES
};

}  // namespace e57_roles

// Parts of the payload that nothing else may lie in.
class E57UsedParts {
public:
    // A LoadError if this one overlaps another.
    void add(std::uint64_t begin, std::uint64_t end);

private:
    std::vector<std::pair<std::uint64_t, std::uint64_t>> vParts;  // ascending
};

// The packets of one scan, taken apart into the fields that are wanted.
class E57Section {
public:
    // The fields by role; what is not wanted or not there is null.
    using Fields = std::array<const E57Field*, e57_roles::NUM_ROLES>;

    // What it is made from must live as long as it does. A LoadError if the scan has no section.
    E57Section(E57Pages& source, const E57Scan& from, const Fields& fields, E57UsedParts& used);

    // Null where the scan has none.
    const E57Column* getColumn(e57_roles::Role role) const {
        return roles[role] < vColumns.size() ? &vColumns[roles[role]] : nullptr;
    }
    // Whole records that are there; E57Column::endless if they take no bits.
    std::uint64_t count() const;
    // Takes packets until there are so many records, or some that have to be dropped before the
    // next packet. A LoadError where the packets end before, or are damaged.
    void fill(std::uint64_t num);
    // Forgets so many records from the first on.
    void drop(std::size_t num);
    // In the payload, of the next packet.
    std::uint64_t getPlace() const { return place; }

private:
    static constexpr std::size_t noColumn = ~std::size_t{0};

    E57Pages& pages;
    const E57Scan& scan;
    std::uint64_t place = 0, end = 0;
    std::vector<E57Column> vColumns;
    std::vector<std::size_t> vColumnOf;  // of each bytestream
    std::array<std::size_t, e57_roles::NUM_ROLES> roles{};

    [[noreturn]] void fail(const std::string& fault) const;
    void addColumns(const Fields& fields);
    bool takePacket();
    bool restart();
    void takeBuffers(std::string_view packet);
    void checkWaiting() const;
};

}  // namespace QUOR_ZEF
