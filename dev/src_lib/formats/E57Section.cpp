#include "formats/E57Section.h"

#include <algorithm>

#include "bytes/FileBytes.h"
#include "bytes/LoadError.h"

namespace QUOR_ZEF {

void E57UsedParts::add(std::uint64_t begin, std::uint64_t end) {
    const auto it = std::lower_bound(vParts.begin(), vParts.end(), std::pair(begin, end));
    if ((it != vParts.end() && it->first < end) || (it != vParts.begin() && std::prev(it)->second > begin))
        throw LoadError(e57Place(begin) + "the section that begins here overlaps another part" + copyAnew);
    vParts.insert(it, {begin, end});
}

E57Section::E57Section(E57Pages& source, const E57Scan& from, const Fields& fields, E57UsedParts& used)
    : pages(source), scan(from) {
    constexpr std::uint64_t startBytes = 32;
    const std::uint64_t begin = E57Pages::toLogical(scan.physicalOffset);
    const std::string header = pages.read(begin, startBytes);
    const auto length = loadValue<std::uint64_t>(header.data() + 8);
    if (header[0] != 1 || length < startBytes || length > ~std::uint64_t{0} - begin)
        throw LoadError(e57Place(begin) + "no section of points begins here" + copyAnew);
    end = begin + length;
    used.add(begin, end);
    place = E57Pages::toLogical(loadValue<std::uint64_t>(header.data() + 16));
    if (place < begin + startBytes || place > end)
        throw LoadError(e57Place(begin + 16) + "the first packet is not in its section" + copyAnew);
    addColumns(fields);
}

void E57Section::addColumns(const Fields& fields) {
    roles.fill(noColumn);
    vColumnOf.assign(scan.fields.size(), noColumn);
    for (std::size_t role = 0; role < e57_roles::NUM_ROLES; ++role) {
        if (!fields[role]) continue;
        roles[role] = vColumns.size();
        vColumnOf[static_cast<std::size_t>(fields[role] - scan.fields.data())] = vColumns.size();
        vColumns.emplace_back(*fields[role]);
    }
}

std::uint64_t E57Section::count() const {
    std::uint64_t num = E57Column::endless;
    for (const E57Column& column : vColumns) num = std::min(num, column.count());
    return num;
}

void E57Section::fill(std::uint64_t num) {
    while (count() < num)
        if (!takePacket()) return;
}

void E57Section::drop(std::size_t num) {
    for (E57Column& column : vColumns) column.drop(num);
}

void E57Section::fail(const std::string& fault) const {
    throw LoadError(e57Place(place) + fault + copyAnew);
}

// False if the records before it have to be taken first.
bool E57Section::takePacket() {
    constexpr std::size_t commonBytes = 4;
    constexpr char dataPacket = 1, lastType = 2;
    if (place > end || end - place < commonBytes) fail("the packets end before the records of their scan");
    const std::string_view common = pages.view(place, commonBytes);
    const char type = common[0];
    const bool bRestart = (common[1] & 1) != 0;
    const std::size_t length = std::size_t{loadValue<std::uint16_t>(common.data() + 2)} + 1;
    if (type < 0 || type > lastType || length % commonBytes != 0) fail("no packet begins here");
    if (length > end - place) fail("a packet goes beyond the end of its section");
    if (type == dataPacket) {
        if (bRestart && !restart()) return false;
        takeBuffers(pages.view(place, length));
    }
    place += length;
    return true;
}

// What is left over is padding, once all whole records have been taken; it may look like values
// of narrow fields.
bool E57Section::restart() {
    if (count() > 0 && count() != E57Column::endless) return false;
    for (E57Column& column : vColumns) column.dropRest();
    return true;
}

void E57Section::takeBuffers(std::string_view packet) {
    constexpr std::size_t startBytes = 6;
    if (packet.size() < startBytes + 2) fail("a packet is too short for records");
    const std::size_t num = loadValue<std::uint16_t>(packet.data() + 4);
    if (num == 0 && packet.size() == startBytes + 2) return;
    if (num != vColumnOf.size() || startBytes + 2 * num > packet.size())
        fail("a packet has other fields than its scan");
    const auto length = [&](std::size_t i) {
        return std::size_t{loadValue<std::uint16_t>(packet.data() + startBytes + 2 * i)};
    };
    std::size_t at = startBytes + 2 * num, endOfAll = at;
    for (std::size_t i = 0; i < num; ++i) endOfAll += length(i);
    if (endOfAll > packet.size()) fail("the fields of a packet are longer than itself");
    for (std::size_t i = 0; i < num; at += length(i), ++i)
        if (vColumnOf[i] != noColumn) vColumns[vColumnOf[i]].append(packet.substr(at, length(i)));
    checkWaiting();
}

// Fields may run ahead of each other, but not by all of a large file.
void E57Section::checkWaiting() const {
    constexpr std::size_t maxWaiting = std::size_t{1} << 26;
    std::size_t numWaiting = 0;
    for (const E57Column& column : vColumns) numWaiting += column.numBytes();
    if (numWaiting > maxWaiting) fail("the fields of a record lie too far from each other");
}

}  // namespace QUOR_ZEF
