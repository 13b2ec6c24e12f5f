#include "page/PageData.h"

#include <meshoptimizer.h>

#include <array>
#include <charconv>
#include <cmath>

namespace QUOR_ZEF {

std::string jsonText(std::string_view text) {
    constexpr char hex[] = "0123456789abcdef";
    std::string json = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool bPlain = byte >= 0x20 && c != '"' && c != '\\' && c != '<' && c != '>' && c != '&';
        if (bPlain) {
            json += c;
        } else {
            json += {'\\', 'u', '0', '0', hex[byte >> 4], hex[byte & 15]};
        }
    }
    return json + '"';
}

std::string jsonNumber(double value) {
    if (!std::isfinite(value)) return "null";
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::string PageData::addElements(const void* pElements, std::size_t count, std::size_t stride) {
    const std::size_t start = bytes.size();
    bytes.resize(start + meshopt_encodeVertexBufferBound(count, stride));
    auto* const pOut = reinterpret_cast<unsigned char*>(bytes.data()) + start;
    const std::size_t used = meshopt_encodeVertexBuffer(pOut, bytes.size() - start, pElements, count, stride);
    return placeOf(start, used, count, stride);
}

std::string PageData::addTriangles(const std::vector<std::uint32_t>& indices, std::size_t numVertices) {
    const std::size_t start = bytes.size();
    bytes.resize(start + meshopt_encodeIndexBufferBound(indices.size(), numVertices));
    auto* const pOut = reinterpret_cast<unsigned char*>(bytes.data()) + start;
    const std::size_t used = meshopt_encodeIndexBuffer(pOut, bytes.size() - start, indices.data(), indices.size());
    return placeOf(start, used, indices.size(), sizeof(std::uint32_t));
}

std::string PageData::placeOf(std::size_t start, std::size_t used, std::size_t count, std::size_t stride) {
    bytes.resize(start + used);
    return "{\"at\":" + std::to_string(start) + ",\"size\":" + std::to_string(used) +
           ",\"count\":" + std::to_string(count) + ",\"stride\":" + std::to_string(stride) + "}";
}

std::string base64(std::string_view bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t three = 0;
        for (std::size_t k = 0; k < 3; ++k)
            three = three << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (int shift = 18; shift >= 0; shift -= 6) text += digits[three >> shift & 63];
    }
    for (std::size_t i = 0; i < (3 - bytes.size() % 3) % 3; ++i) text[text.size() - 1 - i] = '=';
    return text;
}

}  // namespace QUOR_ZEF
