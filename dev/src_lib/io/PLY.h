#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

class AtomicFile;

// The PLY format in general: elements with properties, as text or binary in
// either byte order. What a property means is the business of the callers.
namespace PLY {

enum class Type : std::uint8_t {
    INVALID = 0,
    CHAR = 1,
    UCHAR = 2,
    SHORT = 3,
    USHORT = 4,
    INT = 5,
    UINT = 6,
    FLOAT = 7,
    DOUBLE = 8,
};

enum class Format : std::uint8_t { ASCII, LITTLE_ENDIAN_BINARY, BIG_ENDIAN_BINARY };

// LENIENT: an unknown first word ends the header, an unknown format is text, and
// the first line may be anything. STRICT refuses these, and a header without end.
enum class HeaderRule : std::uint8_t { LENIENT, STRICT };

// Bytes of one value; 0 for INVALID.
inline std::size_t getWidth(Type type) {
    constexpr std::uint8_t widths[] = {0, 1, 1, 2, 2, 4, 4, 4, 8};
    return widths[static_cast<std::size_t>(type)];
}
const char* getName(Type type);

// The one failure of this layer. place tells where in the file ("line 7",
// "byte 1200"), or is empty.
struct PlyError : public std::runtime_error {
    std::string place;
    explicit PlyError(const std::string& text, std::string where = {})
        : std::runtime_error(text), place(std::move(where)) {}
};

struct PlyProperty {
    std::string name;
    Type type = Type::INVALID;       // of the value, or of the items of a list
    Type countType = Type::INVALID;  // of a list's count; INVALID for a single value
    bool isList() const { return countType != Type::INVALID; }
};

struct PlyElement {
    std::string name;
    uint64 count = 0;  // rows, as the header claims
    std::vector<PlyProperty> vProperties;
};

// What a request found, valid after PlyFile::read() and as long as the file's
// bytes are there. Values have the byte order of this machine.
struct PlyData {
    // Of all values; where the properties differ, FLOAT if it holds them exactly, else DOUBLE.
    Type type = Type::INVALID;
    std::size_t count = 0;             // rows
    bool bList = false;                // lists, or single values
    std::size_t width = 0;             // values in a row; 0 for lists of different lengths
    std::vector<std::uint32_t> vRows;  // lists of different lengths: the length of each
    const char* pFirst = nullptr;      // the values of the first row, packed, not aligned
    std::size_t stride = 0;            // bytes from row to row; lists stand without gaps
    std::vector<char> vBuffer;         // the values, unless they are read where they stand in the file

    const char* row(std::size_t i) const { return pFirst + i * stride; }
    // The length of list i.
    std::size_t rowLength(std::size_t i) const { return vRows.empty() ? width : vRows[i]; }
};

// Calls f with a value of the C++ type that stands for type; INVALID throws.
template <class F>
decltype(auto) visitType(Type type, F&& f) {
    switch (type) {
        case Type::CHAR:
            return f(std::int8_t{});
        case Type::UCHAR:
            return f(std::uint8_t{});
        case Type::SHORT:
            return f(std::int16_t{});
        case Type::USHORT:
            return f(std::uint16_t{});
        case Type::INT:
            return f(std::int32_t{});
        case Type::UINT:
            return f(std::uint32_t{});
        case Type::FLOAT:
            return f(float{});
        case Type::DOUBLE:
            return f(double{});
        case Type::INVALID:
            break;
    }
    throw PlyError("unhandled type");
}

// In place of a number of digits: the fewest that read back as the same value.
constexpr int shortest = 0;

class PlyFileImpl;

// One file. Reading: parseHeader, requestProperties as often as wanted, read.
// Writing: addProperties as often as wanted, write. All failures of a file throw
// PlyError; those of the output stay in the AtomicFile.
class PlyFile {
public:
    PlyFile();
    ~PlyFile();

    // bytes: the whole file, which must outlive the PlyFile and its data.
    // A header longer than 256 KiB is refused.
    void parseHeader(std::string_view bytes, HeaderRule rule);
    // Null if there is none of that name.
    const PlyElement* findElement(const std::string& name) const;
    const std::vector<PlyElement>& getElements() const;
    // Where the rows of the first of them begin.
    std::size_t getBodyPlace() const;
    const std::vector<std::string>& getComments() const;
    const std::vector<std::string>& getObjInfo() const;
    Format getFormat() const;

    // Some single values of an element, in the order asked for, or one list.
    // listSizeHint: how long its lists will be, as far as known. The data is
    // filled by read().
    std::shared_ptr<PlyData> requestProperties(const std::string& elementKey,
                                               const std::vector<std::string>& propertyKeys,
                                               std::size_t listSizeHint = 0);

    // Reads the body up to the last element asked for. Every count is compared
    // with the bytes that are left before anything is allocated. A number in the
    // text that does not fit its type is a failure.
    void read();

    // Rows of values, packed in pData (borrowed until write). Further properties
    // of the same element follow in the row and must have the same count. With a
    // countType: one list of listCount items a row, and a single key.
    void addProperties(const std::string& elementKey, const std::vector<std::string>& propertyKeys, Type type,
                       std::size_t count, const void* pData, Type countType = Type::INVALID, std::size_t listCount = 0);
    void addComment(const std::string& text);
    // digits: significant digits of the numbers in text, or shortest.
    void write(AtomicFile& file, Format format, int digits = 6) const;

private:
    std::unique_ptr<PlyFileImpl> pImpl;
};

}  // namespace PLY
}  // namespace QUOR_ZEF
