#pragma once

#include <cstdint>
#include <vector>

namespace QUOR_ZEF {

// CLOSED: no border. BODY: the holes are small beside it, so that it has an outside too.
enum class PieceKind : std::uint8_t { CLOSED, BODY, SHEET };

// Pieces of a mesh that hang together across edges.
struct MeshPieces {
    std::vector<std::uint32_t> vNumber;  // by triangle
    std::vector<PieceKind> vKind;        // by number
};

}  // namespace QUOR_ZEF
