#include <iostream>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "zef/pointFiles.h"

namespace QUOR_ZEF {

namespace {

bool holds(std::string_view line, const char* keyword) {
    return line.find(keyword) != std::string_view::npos;
}

// After the first word; numbers that are missing or wrong are 0.
Point3 parseVertex(std::string_view line) {
    takeWord(line);
    const char* p = line.data();
    const char* pEnd = p + line.size();
    double coords[3] = {0.0, 0.0, 0.0};
    for (double& coord : coords) {
        double value = 0.0;
        p = parseStreamNumber(skipBlanks(p, pEnd), pEnd, value);
        if (!p) break;
        coord = value;
    }
    return {coords[0], coords[1], coords[2]};
}

}  // namespace

bool readSTL_ASCII(const char* name, std::vector<Point3>& vPoints) {
    FileBytes file;
    if (!file.load(name)) {
        std::cout << std::string("readSTL(): ") + name + " is unreadable\n" << std::flush;
        return false;
    }
    std::string_view text = file.view();
    bool bInFacet = false;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        // The end and the vertex are known in small letters only, and are meant so.
        if (!bInFacet) {
            bInFacet = holds(line, "outer loop") || holds(line, "OUTER LOOP");
        } else if (holds(line, "endloop")) {
            bInFacet = false;
        } else if (holds(line, "vertex")) {
            pushSlowly(vPoints, parseVertex(line));
        }
    }
    return true;
}

}  // namespace QUOR_ZEF
