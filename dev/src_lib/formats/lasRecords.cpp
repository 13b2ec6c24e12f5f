#include "formats/lasRecords.h"

#include <algorithm>
#include <span>

#include "bytes/LoadError.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint64_t sliceSize = std::uint64_t{1} << 15;
constexpr std::size_t bufferSize = std::size_t{1} << 16;  // holds a record of any length

class PlainRecords : public RecordSource {
public:
    PlainRecords(const InputFile& input, const LasHeader& lasHeader, LasFields wanted)
        : file(input), header(lasHeader), fields(wanted) {
        const std::uint64_t numBytes = header.fileSize - std::min(header.firstPoint, header.fileSize);
        numPresent = std::min(header.numPoints, numBytes / header.recordLength);
        const bool bColors = fields.bColors && header.hasColor();
        colorPlace = bColors ? header.getColorPlace() : 0;
    }

    bool read(std::vector<RecordSlice>& vSlices) override {
        if (numDone >= header.numPoints) return false;
        const std::uint64_t first = numDone, num = std::min(blockSize, numPresent - first);
        vSlices.resize(std::max<std::uint64_t>((num + sliceSize - 1) / sliceSize, 1));
        shareTasks(num == 0 ? 0 : vSlices.size(), [&](std::size_t i, int /*worker*/) {
            const std::uint64_t begin = first + i * sliceSize;
            readSlice(begin, std::min(begin + sliceSize, first + num), vSlices[i]);
        });
        if (num == 0) vSlices.front().clear();
        numDone += num;
        if (numDone == numPresent && numPresent < header.numPoints) {
            vSlices.back().fault = "byte " + std::to_string(header.fileSize) + ": the file ends here, after " +
                                   std::to_string(numPresent) + " of " + std::to_string(header.numPoints) +
                                   " points; it is cut short, copy it anew";
            numDone = header.numPoints;
        }
        return true;
    }

    std::uint64_t getPlace() const override {
        return header.firstPoint + std::min(numDone, numPresent) * header.recordLength;
    }

private:
    const InputFile& file;
    const LasHeader& header;
    LasFields fields;
    std::uint64_t numPresent = 0, numDone = 0;
    std::size_t colorPlace = 0;

    void readSlice(std::uint64_t begin, std::uint64_t end, RecordSlice& slice) const {
        slice.clear();
        if (fields.bRecords) slice.vRecords.reserve(end - begin);
        std::array<char, bufferSize> buffer;
        const std::uint64_t numFitting = bufferSize / header.recordLength;
        for (std::uint64_t i = begin; i < end; i += numFitting) {
            const std::uint64_t num = std::min(numFitting, end - i);
            const std::span<char> bytes(buffer.data(), num * header.recordLength);
            file.read(header.firstPoint + i * header.recordLength, bytes);
            header.isLong() ? parse<true>(bytes, slice) : parse<false>(bytes, slice);
        }
    }

    template <bool bLong>
    void parse(std::span<const char> bytes, RecordSlice& slice) const {
        for (std::size_t i = 0; i < bytes.size(); i += header.recordLength)
            slice.add(parseLasRecord<bLong>(bytes.data() + i, colorPlace), fields);
    }
};

}  // namespace

std::unique_ptr<RecordSource> makeRecordSource(const InputFile& file, const LasHeader& header, LasFields fields) {
    if (header.laz.compressor != LazLayout::NONE) return makeLazSource(file, header, fields);
    return std::make_unique<PlainRecords>(file, header, fields);
}

}  // namespace QUOR_ZEF
