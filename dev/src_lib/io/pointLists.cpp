#include <algorithm>
#include <array>
#include <iostream>

#include "bytes/AtomicFile.h"
#include "bytes/FileBytes.h"
#include "bytes/Visualizer3.h"
#include "bytes/textNumbers.h"
#include "io/PLY.h"
#include "zef/pointFiles.h"

namespace QUOR_ZEF {

namespace {

constexpr int type3D = 30;
constexpr int type2D = 20;
constexpr std::size_t binHeader = 12;  // bytes before the first point

bool say(std::ostream& out, const std::string& text) {
    out << text + "\n" << std::flush;
    return false;
}

// How many points a text can hold at most: a line each, of six bytes at least.
std::size_t maxLines(std::string_view text) {
    const auto numFeeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    return std::min(numFeeds + 1, text.size() / 6 + 1);
}

// The coordinates that are not in the file stay 0.
Point3 pointAt(std::string_view rows, std::size_t at, std::size_t numCoords) {
    std::array<double, 3> coords{};
    const std::size_t here = std::min(at, rows.size());
    std::memcpy(coords.data(), rows.data() + here, std::min(numCoords * sizeof(double), rows.size() - here));
    return {coords[0], coords[1], coords[2]};
}

}  // namespace

FileType getFileType(const std::string& name) {
    using Spellings = std::array<const char*, 3>;
    static constexpr std::array<std::pair<FileType, Spellings>, 6> endings = {{{FT_STL, {".stl", ".STL", ".Stl"}},
                                                                               {FT_PLY, {".ply", ".PLY", ".Ply"}},
                                                                               {FT_ASCII, {".xyz", ".XYZ", ".Xyz"}},
                                                                               {FT_ASCII, {".txt", ".TXT", ".Txt"}},
                                                                               {FT_ASCII, {".asc", ".ASC", ".Asc"}},
                                                                               {FT_BIN, {".bin", ".BIN", ".Bin"}}}};
    const std::string lastFour = name.substr(name.size() - 4);
    for (const auto& [type, spellings] : endings)
        if (std::find(spellings.begin(), spellings.end(), lastFour) != spellings.end()) return type;
    const std::string lastFive = name.substr(name.size() - 5);
    return lastFive == ".list" || lastFive == ".LIST" || lastFive == ".List" ? FT_GEOMVIEW : FT_UNKNOWN;
}

bool readPoints_ASCII(const char* name, std::vector<Point3>& vPoints) {
    FileBytes file;
    if (!file.load(name)) return say(std::cout, std::string(name) + " is unreadable");
    const std::string_view text = file.view();
    const char* p = text.data();
    const char* pEnd = p + text.size();
    reserveMore(vPoints, maxLines(text));
    while (p != pEnd) {
        double coords[3];
        const char* pNext = p;
        for (int i = 0; i < 3 && pNext; ++i) pNext = parseStreamNumber(skipBlanks(pNext, pEnd), pEnd, coords[i]);
        if (pNext) vPoints.emplace_back(coords[0], coords[1], coords[2]);
        p = lineEnd(pNext ? pNext : p, pEnd);
        if (p != pEnd) ++p;
    }
    return true;
}

bool readPoints_BIN(const char* name, std::vector<Point3>& vPoints) {
    FileBytes file;
    if (!file.load(name)) return say(std::cout, std::string(name) + " can't be read");
    std::string_view rows = file.view();
    std::array<char, binHeader> header{};
    std::memcpy(header.data(), rows.data(), std::min(rows.size(), binHeader));
    const auto type = loadValue<std::int32_t>(header.data());
    const auto count = loadValue<std::int64_t>(header.data() + 4);
    if (type != type3D && type != type2D)
        return say(std::cout,
                   std::string(name) + " has wrong filetype " + std::to_string(type) + ", expected: 30 or 20");
    if (count <= 0) return true;

    const std::size_t numCoords = type == type3D ? 3 : 2;
    const auto numTold = static_cast<std::uint64_t>(count);
    rows.remove_prefix(std::min(rows.size(), binHeader));
    const std::size_t numThere = rows.size() / (numCoords * sizeof(double));
    // Missing points are filled up, but not so many that a lie eats the memory.
    if (numTold > numThere && numTold > (memoryLimit(rows.size()) - rows.size()) / sizeof(Point3))
        return say(std::cout,
                   std::string(name) + " holds " + std::to_string(numThere) + " points, not " + std::to_string(count));
    const auto num = static_cast<std::size_t>(numTold);
    reserveMore(vPoints, num);
    for (std::size_t i = 0; i < num; ++i) vPoints.push_back(pointAt(rows, i * numCoords * sizeof(double), numCoords));
    return true;
}

bool readPoints_auto(std::string& name, std::vector<Point3>& vPoints) {
    switch (getFileType(name)) {
        case FT_PLY:
            return readPly(name.c_str(), true, vPoints);
        case FT_ASCII:
            return readPoints_ASCII(name.c_str(), vPoints);
        case FT_BIN:
            return readPoints_BIN(name.c_str(), vPoints);
        default:
            break;
    }
    return say(std::cerr, "Filename extension of [" + name + "] is not valid, expected *.ply, *.xyz or *.bin");
}

bool writePoints_ASCII(const char* name, const std::vector<Point3>& vPoints) {
    constexpr int digits = 18;
    AtomicFile file(name);
    for (const Point3& p : vPoints) {
        if (!file.isGood()) break;
        file.writeNumber(p.px, digits);
        file.write(' ');
        file.writeNumber(p.py, digits);
        file.write(' ');
        file.writeNumber(p.pz, digits);
        file.write('\n');
    }
    return file.commit() || say(std::cout, std::string(name) + " can't be written");
}

bool writePoints_BIN(const char* name, const std::vector<Point3>& vPoints) {
    AtomicFile file(name);
    file.writeRaw(std::int32_t{type3D});
    file.writeRaw(static_cast<std::int64_t>(vPoints.size()));
    for (const Point3& p : vPoints) file.writeRaw(std::array<double, 3>{p.px, p.py, p.pz});
    return file.commit() || say(std::cout, std::string(name) + " can't be written");
}

bool writePoints_auto(std::string& name, std::vector<Point3>& vPoints, bool bAscii) {
    switch (getFileType(name)) {
        case FT_PLY:
            return writePointsPly(name, vPoints, bAscii);
        case FT_ASCII:
            return writePoints_ASCII(name.c_str(), vPoints);
        case FT_BIN:
            return writePoints_BIN(name.c_str(), vPoints);
        case FT_GEOMVIEW: {
            Visualizer3 visualizer;
            visualizer.addPoints(vPoints);
            return visualizer.write(name);
        }
        default:
            break;
    }
    say(std::cerr, "Filename [" + name + "] is not valid, using [zef_output_bin.ply] instead");
    // Under the name as it was given, whatever the message announces.
    writePointsPly(name, vPoints, bAscii);
    return false;
}

}  // namespace QUOR_ZEF
