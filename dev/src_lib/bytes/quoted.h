#pragma once

#include <string>
#include <string_view>

namespace QUOR_ZEF {

// The start of a text from a file, in quotes, fit for a message.
inline std::string quoted(std::string_view text) {
    constexpr std::size_t maxLength = 40;
    std::string result = "\"";
    for (const char c : text.substr(0, maxLength)) result += c >= ' ' && c <= '~' ? c : '?';
    return result + '"';
}

}  // namespace QUOR_ZEF
