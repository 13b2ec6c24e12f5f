#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

class AtomicFile;

// Collects shapes and writes them as one Geomview LIST for looking at. Each add
// call becomes one object of the list; an empty one adds nothing. Everything is
// copied when added. The locale plays no part; numbers read back as they were.
class Visualizer3 {
public:
    // Channels from 0 to 1.
    struct Color {
        float red, green, blue;
    };
    static constexpr Color defaultColor{0.8f, 0.8f, 0.8f};

    // Single points in one colour.
    void addPoints(const std::vector<Point3>& vPoints, Color color = defaultColor);

    // A line for each pair, all in one colour.
    void addEdges(const std::vector<std::pair<Point3, Point3>>& vEdges, Color color = defaultColor);

    // Three corners a triangle; a number that 3 does not divide fails an ASSEX.
    // Corners that agree in position and colour become one vertex, numbered by
    // first use. If any has a colour, the colours are written, and the others
    // get the default one. O(n log n).
    void addTriangles(const std::vector<Point3>& vCorners);
    void addTriangles(const std::vector<Point3*>& vCorners);

    // The six faces of a box with these opposite corners.
    void addCube(const Point3& lower, const Point3& upper);

    bool isEmpty() const { return vObjects.empty(); }

    // The file appears whole or not at all. Prints a warning and gives false if
    // it cannot be written.
    bool write(const std::string& name) const;
    // The same, but throws a FileError.
    void save(const std::string& name) const;

private:
    using Index = std::uint32_t;
    enum class Kind : std::uint8_t { POLYGONS, COLORED_POLYGONS, POINTS, LINES };
    struct Object {
        Kind kind;
        Color color;
        std::vector<Point3> vVertices;  // lines: two each
        std::vector<Index> vIndices;    // polygons: cornersPerFace each
        Index cornersPerFace;
    };
    std::vector<Object> vObjects;

    // Why it cannot be written, in the words of the system; empty if it is.
    std::string tryWrite(const std::string& name) const;
    static void writePolygons(AtomicFile& file, const Object& object);
    static void writeLines(AtomicFile& file, const Object& object);
};

}  // namespace QUOR_ZEF
