#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <span>
#include <vector>

namespace QUOR_ZEF {

class Casx;

// Which triangles a grid corner gives to the mesh: those of its row, but none that
// the mesh has already, told from configs alone.
//
// Three cells in one face of the block have a second corner in common, the one
// across that face; any other three have none. So a look at the corners across
// tells what is there, both for single triangles and for the quads over the four
// cells of a face. The quads of all corners come after all other triangles, since
// they take the diagonal that stands, else the one that their row does not use.
class CornerRows {
public:
    struct Triangle {
        std::array<std::uint8_t, 3> cells;  // bits of a config
        // Of a triangle that lies in a lower face: the axis, and the triangle's
        // cells as a config of the corner below. Otherwise -1.
        std::int8_t axisBelow = -1;
        std::uint8_t maskBelow = 0;
    };
    // The face of a quad.
    struct Face {
        std::uint8_t axis;
        bool bLower;  // the corner across comes before
    };

    // casx: not kept.
    explicit CornerRows(const Casx& casx);

    // The triangles of a row other than a quad, in order.
    std::span<const Triangle> getRow(int config) const { return aRows[static_cast<std::size_t>(config)]; }
    // Whether getRow(config) holds the triangle on these cells.
    bool hasTriangle(int config, std::uint8_t mask) const { return aMade[static_cast<std::size_t>(config)][mask]; }

    // Null for all configs but those of the four cells of a face.
    const Face* getFace(int config) const {
        const std::uint8_t face = aFaceOf[static_cast<std::size_t>(config)];
        return face == none ? nullptr : &vFaces[face];
    }
    // The triangles of a quad, given the config of the corner across its face.
    std::span<const Triangle> getQuad(int config, int across) const {
        const std::size_t face = aFaceOf[static_cast<std::size_t>(config)];
        return vQuads[face * numConfigs + static_cast<std::size_t>(across)];
    }

private:
    static constexpr std::size_t numConfigs = 256;
    static constexpr std::uint8_t none = 255;
    using Row = std::vector<Triangle>;

    void addFace(const Casx& casx, int config);

    std::array<Row, numConfigs> aRows;
    std::array<std::bitset<numConfigs>, numConfigs> aMade;  // the masks of a row
    std::array<std::uint8_t, numConfigs> aFaceOf;           // index in vFaces
    std::vector<Face> vFaces;
    std::vector<Row> vQuads;  // by face, then by the config across
};

}  // namespace QUOR_ZEF
