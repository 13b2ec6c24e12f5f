#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "frame/types.h"
#include "io/ExtraNumbers.h"
#include "io/textColumns.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// What some lines of text hold. Beside the points each list is empty or as long.
struct TextRows {
    std::vector<Point3> points;
    std::vector<Vector3> extra;  // colours or normals, while they may be
    std::vector<Vector3> normals;
    std::vector<float> intensities;

    void append(const TextRows& next);
};

// Reads text with a point on each line, a part at a time: coordinates, and beside them colours,
// normals and intensities as names or the numbers themselves tell.
class TextReader {
public:
    // names: of the columns, apart by commas, empty if the text may tell. bPts: seven numbers on a line
    // without names are x y z intensity red green blue. A LoadError if the names lack x, y or z.
    TextReader(const std::string& names, bool bPts);

    // Appends the points of whole lines, the first of which is number lineNumber of the text. A
    // LoadError for what cannot be read: what was appended before is good. All threads.
    void take(std::string_view lines, uint64 lineNumber, TextRows& out);

    // Gives the points the colours, or the rows the normals, that their extra numbers are. This reader
    // has seen all lines of the text, the rows are some of them.
    void settle(TextRows& rows) const;

    // Of all lines that were taken.
    uint64 getNumPoints() const { return numPoints; }
    uint64 getNumHeaderLines() const { return numHeaderLines; }
    uint64 getNumSkippedLines() const { return numSkippedLines; }
    const std::vector<std::string>& getComments() const { return vComments; }
    // What of them is left out.
    std::vector<std::string> getNotes() const;

private:
    struct Part;

    TextColumns columns;
    bool bPtsFile;
    bool bTold = false;  // the names, which the text does not change
    ExtraNumbers extra;
    uint64 numPoints = 0, numHeaderLines = 0, numSkippedLines = 0;
    std::vector<std::string> vComments;

    void takePiece(std::string_view lines, uint64& lineNumber, TextRows& out);
    std::string_view takeHead(std::string_view lines, uint64& lineNumber);
    Part parse(std::string_view lines) const;
    void takePoint(const TextLine& line, Part& part) const;
    void takeExtra(const TextLine& line, Part& part) const;
    void append(const Part& part, TextRows& out);
};

}  // namespace QUOR_ZEF
