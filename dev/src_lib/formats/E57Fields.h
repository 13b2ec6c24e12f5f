#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace QUOR_ZEF {

// How one field of E57 records is packed.
struct E57Field {
    enum class Type : std::uint8_t { INTEGER, SINGLE, DOUBLE, STRING };

    std::string name;
    Type type = Type::INTEGER;
    // Of integers: what is packed is value - minimum, at most range, in numBits; the value
    // becomes value * scale + offset.
    std::uint64_t minimum = 0;  // modulo 2^64
    std::uint64_t range = 0;
    double scale = 1.0, offset = 0.0;
    unsigned numBits = 0;  // of a value, also of floats; 0 for strings

    void setLimits(std::int64_t lowest, std::int64_t highest);
    bool isWhole() const { return type == Type::INTEGER; }
    // Of an integer as it is packed.
    double valueOf(std::uint64_t packed) const {
        return static_cast<double>(static_cast<std::int64_t>(minimum + packed)) * scale + offset;
    }
};

// The values of one field, in the order of the records, while their bytes arrive.
class E57Column {
public:
    // The field must live as long as this does and be no string.
    explicit E57Column(const E57Field& packing);

    const E57Field& getField() const { return field; }
    static constexpr std::uint64_t endless = ~std::uint64_t{0};

    // The values that are there as a whole; endless if they take no bits.
    std::uint64_t count() const;
    std::size_t numBytes() const { return end - begin; }

    void append(std::string_view bytes);
    // The values from this one on. Returns how many stand before the first that is larger than
    // its field allows. From any threads at once.
    std::size_t decode(std::size_t first, std::span<double> out) const;
    // Forgets so many values from the first on.
    void drop(std::size_t num);
    // Forgets what is there.
    void dropRest() { begin = end, firstBit = 0; }

private:
    const E57Field& field;
    std::vector<char> vBytes;  // with room behind the end for whole words
    std::size_t begin = 0, end = 0;
    unsigned firstBit = 0;  // in the first byte

    std::size_t unpack(std::size_t first, std::span<double> out) const;
};

}  // namespace QUOR_ZEF
