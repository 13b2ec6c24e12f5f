#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bytes/FileBytes.h"
#include "formats/LasHeader.h"

namespace QUOR_ZEF {

// A point of a LAS file, as far as somebody may want it.
struct LasRecord {
    std::int32_t x = 0, y = 0, z = 0;  // as stored
    std::uint16_t intensity = 0;
    std::array<std::uint16_t, 3> color{};
    std::uint8_t classId = 0;
    bool bWithheld = false;
};

// What to take of the records. Colours without coordinates: only the largest value counts.
struct LasFields {
    bool bRecords = true;
    bool bColors = true;
    bool bIntensities = true;
    bool bClasses = true;
};

// A stretch of the file, in its order.
struct RecordSlice {
    std::vector<LasRecord> vRecords;  // without those withheld
    std::uint64_t numWithheld = 0;
    std::uint16_t maxColor = 0;  // of all, also of those withheld
    std::string fault;           // where the stretch ends early: place, fault, cure

    // Keeps the memory.
    void clear() {
        vRecords.clear();
        numWithheld = maxColor = 0;
        fault.clear();
    }
    void add(const LasRecord& record, const LasFields& fields) {
        maxColor = std::max({maxColor, record.color[0], record.color[1], record.color[2]});
        if (record.bWithheld) {
            ++numWithheld;
        } else if (fields.bRecords) {
            vRecords.push_back(record);
        }
    }
};

// From the bytes of a record that is not compressed.
template <bool bLong>
LasRecord parseLasRecord(const char* p, std::size_t colorPlace) {
    LasRecord record;
    record.x = loadValue<std::int32_t>(p);
    record.y = loadValue<std::int32_t>(p + 4);
    record.z = loadValue<std::int32_t>(p + 8);
    record.intensity = loadValue<std::uint16_t>(p + 12);
    if constexpr (bLong) {
        record.classId = loadValue<std::uint8_t>(p + 16);
        record.bWithheld = (p[15] & 0x04) != 0;
    } else {
        record.classId = loadValue<std::uint8_t>(p + 15) & 0x1f;
        record.bWithheld = (p[15] & 0x80) != 0;
    }
    if (colorPlace > 0) record.color = loadValue<std::array<std::uint16_t, 3>>(p + colorPlace);
    return record;
}

// The records of a file from its first one on. It borrows the file and the header.
class RecordSource {
public:
    virtual ~RecordSource() = default;

    // The next ones, about a million and never more than twice that, in any number of slices;
    // false if there are none left. A fault ends the last slice, and then the source.
    // On all threads, with the same slices for any number of them.
    virtual bool read(std::vector<RecordSlice>& vSlices) = 0;

    // Of the file: what is done.
    virtual std::uint64_t getPlace() const = 0;

    // What is odd about the way the records are stored; empty if nothing is.
    virtual std::string getNote() const { return {}; }

    static constexpr std::uint64_t blockSize = std::uint64_t{1} << 20;
};

std::unique_ptr<RecordSource> makeRecordSource(const InputFile& file, const LasHeader& header, LasFields fields);

// As the above, for LAZ. A LoadError if the chunks cannot be found.
std::unique_ptr<RecordSource> makeLazSource(const InputFile& file, const LasHeader& header, LasFields fields);

}  // namespace QUOR_ZEF
