#include "formats/PcdHeader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

#include "bytes/LoadError.h"
#include "bytes/quoted.h"
#include "bytes/textNumbers.h"

namespace QUOR_ZEF {

namespace {

std::string small(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return result;
}

class HeaderParser {
public:
    explicit HeaderParser(std::string_view bytes) : text(bytes), rest(bytes) {}

    PcdHeader parse() {
        while (!rest.empty()) {
            std::string_view line = takeLine(rest);
            ++numLines;
            const std::string_view whole = line;
            const std::string_view word = takeWord(line);
            if (word.empty()) continue;
            if (word.starts_with('#'))
                keepComment(whole);
            else
                takeEntry(word, line);
            if (word != "DATA") continue;
            header.dataPlace = text.size() - rest.size();
            header.dataLine = numLines + 1;
            settle();
            return std::move(header);
        }
        fail("the header has no line that begins with DATA");
    }

private:
    std::string_view text, rest;
    std::uint64_t numLines = 0;
    bool bCounted = false;  // there was a number of points
    PcdHeader header;

    [[noreturn]] void fail(const std::string& fault) const {
        throw LoadError("line " + std::to_string(std::max<std::uint64_t>(numLines, 1)) + ": " + fault +
                        "; expected the header of a PCD file, export it anew");
    }

    void keepComment(std::string_view line) {
        constexpr std::size_t maxComments = 100;
        if (line.find(".PCD") != std::string_view::npos || header.comments.size() >= maxComments) return;
        if (line.ends_with('\r')) line.remove_suffix(1);
        header.comments.emplace_back(line);
    }

    template <class T>
    T number(std::string_view word) const {
        T value{};
        const char* const pEnd = word.data() + word.size();
        if (const auto [pStop, code] = std::from_chars(word.data(), pEnd, value);
            code == std::errc() && pStop == pEnd && !word.empty())
            return value;
        fail(quoted(word) + " is not the number that is expected here");
    }

    void takeEntry(std::string_view word, std::string_view line) {
        if (word == "FIELDS" || word == "COLUMNS") takeFields(line);
        if (word == "SIZE") forFields(line, [this](PcdField& field, auto w) { field.size = number<std::size_t>(w); });
        if (word == "TYPE") forFields(line, [](PcdField& field, auto w) { field.type = w.front(); });
        if (word == "COUNT") forFields(line, [this](PcdField& field, auto w) { field.count = number<std::size_t>(w); });
        if (word == "WIDTH") header.width = number<std::uint64_t>(takeWord(line));
        if (word == "HEIGHT") header.height = number<std::uint64_t>(takeWord(line));
        if (word == "VIEWPOINT") takeViewpoint(line);
        if (word == "POINTS") {
            header.numPoints = number<std::uint64_t>(takeWord(line));
            bCounted = true;
        }
        if (word == "DATA") takeData(takeWord(line));
    }

    void takeFields(std::string_view line) {
        header.fields.clear();
        for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
            header.fields.emplace_back();
            header.fields.back().name = small(word);
        }
    }

    // One word for each field.
    template <class Fn>
    void forFields(std::string_view line, const Fn& fn) {
        for (PcdField& field : header.fields) {
            const std::string_view word = takeWord(line);
            if (word.empty()) fail("fewer entries than fields");
            fn(field, word);
        }
    }

    void takeViewpoint(std::string_view line) {
        const auto value = [&] { return number<double>(takeWord(line)); };
        const double x = value(), y = value(), z = value();
        if (std::isfinite(x) && std::isfinite(y) && std::isfinite(z)) header.viewpoint = Point3(x, y, z);
    }

    void takeData(std::string_view form) {
        using Data = PcdHeader::Data;
        if (form == "ascii")
            header.data = Data::TEXT;
        else if (form == "binary")
            header.data = Data::BINARY;
        else if (form == "binary_compressed")
            header.data = Data::COMPRESSED;
        else
            fail("data of the form " + quoted(form) + " are not known");
    }

    static bool isKnown(const PcdField& field) {
        if (field.type == 'F') return field.size == 4 || field.size == 8;
        return (field.type == 'I' || field.type == 'U') && field.size <= 8 && std::has_single_bit(field.size);
    }

    void settle() {
        constexpr std::size_t maxRecordBytes = std::size_t{1} << 20;
        for (PcdField& field : header.fields) {
            if (!isKnown(field) || field.count > maxRecordBytes)
                fail("the field " + quoted(field.name) + " has an unknown type or size");
            field.offset = header.recordBytes;
            header.recordBytes += field.numBytes();
            if (header.recordBytes > maxRecordBytes) fail("a point takes more than 1 MiB");
        }
        const bool bOverflow = header.height != 0 && header.width > ~std::uint64_t{0} / header.height;
        if (!bCounted && bOverflow) fail("width times height is too large");
        if (!bCounted) header.numPoints = header.width * header.height;
        const std::optional<Point3>& at = header.viewpoint;
        if (at && *at == Point3() && header.height < 2) header.viewpoint.reset();
        for (const char* const name : {"x", "y", "z"})
            if (!header.find(name)) fail("there is no field " + std::string(name));
    }
};

}  // namespace

const PcdField* PcdHeader::find(std::string_view name) const {
    const auto it =
        std::find_if(fields.begin(), fields.end(), [&](const PcdField& field) { return field.name == name; });
    return it == fields.end() || it->count == 0 ? nullptr : &*it;
}

PcdHeader readPcdHeader(const InputFile& file) {
    constexpr std::uint64_t maxBytes = std::uint64_t{1} << 16;
    std::string bytes(static_cast<std::size_t>(std::min(maxBytes, file.getSize())), '\0');
    file.read(0, bytes);
    return HeaderParser(bytes).parse();
}

}  // namespace QUOR_ZEF
