#pragma once

#include <cstdint>

// Numbers of binary glTF 2.0.
namespace QUOR_ZEF::glb {

constexpr std::uint32_t magic = 0x46546c67, version = 2, jsonChunk = 0x4e4f534a, binaryChunk = 0x004e4942;
constexpr std::uint32_t headerBytes = 12, chunkHeaderBytes = 8;
// Of the components of an accessor.
constexpr std::uint32_t typeUbyte = 5121, typeUshort = 5123, typeUint = 5125, typeFloat = 5126;
// How indices make triangles.
constexpr std::uint32_t modePoints = 0, modeTriangles = 4, modeStrip = 5, modeFan = 6;

}  // namespace QUOR_ZEF::glb
