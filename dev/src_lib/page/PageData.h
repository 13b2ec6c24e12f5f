#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QUOR_ZEF {

// Text of JSON. Nothing in it ends or opens an element of HTML.
std::string jsonText(std::string_view text);
std::string jsonNumber(double value);  // null unless finite

// An array of JSON.
class JsonList {
public:
    void add(std::string_view json) {
        if (text.size() > 1) text += ',';
        text += json;
    }
    std::string done() const { return text + ']'; }

private:
    std::string text = "[";
};

// The packed arrays of a page, one behind the other. What adds one returns its place as JSON:
// {"at": first byte, "size": bytes, "count": elements, "stride": bytes of an element}.
class PageData {
public:
    // Elements of stride bytes, a multiple of 4; neighbours should be alike.
    std::string addElements(const void* pElements, std::size_t count, std::size_t stride);
    // Triangles, sorted for a cache of vertices.
    std::string addTriangles(const std::vector<std::uint32_t>& indices, std::size_t numVertices);

    const std::string& getBytes() const { return bytes; }

private:
    std::string bytes;

    std::string placeOf(std::size_t start, std::size_t used, std::size_t count, std::size_t stride);
};

std::string base64(std::string_view bytes);

}  // namespace QUOR_ZEF
