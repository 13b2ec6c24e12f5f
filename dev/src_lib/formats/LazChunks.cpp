#include <algorithm>
#include <optional>
#include <utility>

#include "bytes/LoadError.h"
#include "formats/arithmeticCoder.h"
#include "formats/lasRecords.h"
#include "formats/lazChunk.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

[[noreturn]] void failAtByte(std::uint64_t place, const std::string& fault) {
    throw LoadError("byte " + std::to_string(place) + ": " + fault + "; the file is damaged, copy it anew");
}

// No chunk may hold more points.
constexpr std::uint64_t maxChunkPoints = std::uint64_t{1} << 31;
constexpr std::size_t maxSlices = 4096;  // that are read together

// Where the chunks lie, from the table behind them. Where there is none, and all chunks have
// the same number of points, only the place of the first one is known.
class ChunkTable {
public:
    ChunkTable(const InputFile& input, const LasHeader& lasHeader)
        : file(input), header(lasHeader), bFixed(header.laz.chunkSize != LazLayout::variableSize) {
        if (header.laz.compressor == LazLayout::POINTWISE) {
            chunkSize = header.numPoints;
            firstChunk = header.firstPoint;
            return;
        }
        chunkSize = header.laz.chunkSize;
        firstChunk = header.firstPoint + sizeof(std::uint64_t);
        const std::optional<std::uint64_t> place = findTable();
        if (place) readTable(*place);
        if (!vChunks.empty()) return;
        if (!bFixed)
            throw LoadError("byte " + std::to_string(header.firstPoint) +
                            ": the table of chunks is missing, and without it these cannot be found; the file is cut "
                            "short, copy it anew");
        bMissing = true;
    }

    bool isMissing() const { return bMissing; }
    const std::vector<LazChunk>& getChunks() const { return vChunks; }
    std::uint64_t getFirst() const { return firstChunk; }
    // The number of points in each chunk but the last, where it is fixed.
    std::uint64_t getChunkSize() const { return chunkSize; }

private:
    const InputFile& file;
    const LasHeader& header;
    bool bFixed, bMissing = false;
    std::uint64_t firstChunk = 0, chunkSize = 0;
    std::vector<LazChunk> vChunks;

    std::uint64_t loadPlace(std::uint64_t place) const {
        std::array<char, sizeof(std::uint64_t)> bytes{};
        file.read(place, bytes);
        return loadValue<std::uint64_t>(bytes.data());
    }

    std::optional<std::uint64_t> findTable() const {
        std::uint64_t place = loadPlace(header.firstPoint);
        if (place == ~std::uint64_t{0}) place = loadPlace(header.fileSize - sizeof place);
        if (place < firstChunk || place > header.fileSize - std::min<std::uint64_t>(header.fileSize, 8)) return {};
        return place;
    }

    // Leaves vChunks empty where the file ends inside the table.
    void readTable(std::uint64_t place) {
        std::array<char, 8> head{};
        file.read(place, head);
        if (loadValue<std::uint32_t>(head.data()) != 0)
            failAtByte(place, "a table of chunks of a version that is not known");
        const auto num = loadValue<std::uint32_t>(head.data() + 4);
        // A chunk holds a record at least, and what starts a stream.
        if (num > (place - firstChunk) / (header.recordLength + 4u))
            failAtByte(place + 4, std::to_string(num) + " chunks are more than the file can hold");
        ByteSource source(file, place + 8, header.fileSize);
        ArithmeticDecoder coder(source);
        IntegerModel<32, 2> model;
        LazChunk chunk{0, firstChunk, 0};
        std::uint64_t numLeft = header.numPoints;
        std::uint32_t count = 0, size = 0;
        for (std::uint32_t i = 0; i < num && numLeft > 0; ++i) {
            if (!bFixed) count = static_cast<std::uint32_t>(model.decode(coder, static_cast<std::int32_t>(count), 0));
            size = static_cast<std::uint32_t>(model.decode(coder, static_cast<std::int32_t>(size), 1));
            if (coder.isDamaged()) return cutTable(place);
            chunk = {chunk.end, chunk.end + size, std::min(bFixed ? chunkSize : count, numLeft)};
            if (chunk.end > place) failAtByte(place, "chunk " + std::to_string(i + 1) + " reaches beyond the last one");
            if (chunk.numPoints > maxChunkPoints) failAtByte(place, "a chunk of more than 2147483648 points");
            numLeft -= chunk.numPoints;
            if (chunk.numPoints > 0) vChunks.push_back(chunk);
        }
    }

    void cutTable(std::uint64_t place) {
        vChunks.clear();
        if (!bFixed) failAtByte(place, "the table of chunks breaks off");
    }
};

class LazRecords : public RecordSource {
public:
    LazRecords(const InputFile& input, const LasHeader& lasHeader, LasFields wanted)
        : file(input), header(lasHeader), fields(wanted), numLeft(header.numPoints), table(input, lasHeader) {
        next.begin = next.end = table.getFirst();
    }

    bool read(std::vector<RecordSlice>& vSlices) override {
        if (numLeft == 0) return false;
        if (!pOpen && !table.getChunks().empty() && readTogether(vSlices)) return true;
        vSlices.resize(1);
        vSlices.front().clear();
        try {
            readAlone(vSlices.front());
        } catch (const LoadError& e) {
            vSlices.front().fault = e.what();
            numLeft = 0;
        }
        return true;
    }

    std::uint64_t getPlace() const override { return place; }

    std::string getNote() const override {
        if (!table.isMissing()) return {};
        return "the table of chunks is missing or cut short; they were read one after the other";
    }

private:
    const InputFile& file;
    const LasHeader& header;
    LasFields fields;
    std::uint64_t numLeft, place = 0;
    ChunkTable table;
    std::size_t numChunksDone = 0;

    std::unique_ptr<LazChunkDecoder> pOpen;  // of a chunk that is read in parts
    LazChunk next;                           // what of it is left

    std::unique_ptr<LazChunkDecoder> open(const LazChunk& chunk) const {
        return header.laz.compressor == LazLayout::LAYERED ? makeLayerDecoder(file, header, fields, chunk)
                                                           : makePointDecoder(file, header, fields, chunk);
    }

    // As many chunks as make a block, side by side. False if the next one alone is more.
    bool readTogether(std::vector<RecordSlice>& vSlices) {
        const std::vector<LazChunk>& vChunks = table.getChunks();
        std::size_t num = 0;
        std::uint64_t numPoints = 0;
        for (std::size_t i = numChunksDone; i < vChunks.size() && num < maxSlices; ++i, ++num) {
            if (numPoints + vChunks[i].numPoints > blockSize + (num > 0 ? 0 : blockSize)) break;
            numPoints += vChunks[i].numPoints;
        }
        if (num == 0) return false;
        vSlices.resize(num);
        shareTasks(num, [&](std::size_t i, int /*worker*/) { readChunk(vChunks[numChunksDone + i], vSlices[i]); });
        numChunksDone += num;
        numLeft -= numPoints;
        place = vChunks[numChunksDone - 1].end;
        const auto it =
            std::find_if(vSlices.begin(), vSlices.end(), [](const RecordSlice& s) { return !s.fault.empty(); });
        if (it == vSlices.end()) return true;
        vSlices.erase(it + 1, vSlices.end());
        numLeft = 0;
        return true;
    }

    void readChunk(const LazChunk& chunk, RecordSlice& slice) const {
        slice.clear();
        try {
            open(chunk)->decode(chunk.numPoints, slice);
        } catch (const LoadError& e) {
            slice.fault = e.what();
        }
    }

    // A part of a chunk that is too large for one block, or whose end is not known.
    void readAlone(RecordSlice& slice) {
        if (!pOpen) openNext();
        const std::uint64_t num = std::min(next.numPoints, blockSize);
        pOpen->decode(num, slice);
        next.numPoints -= num;
        numLeft -= num;
        place = next.begin;
        if (next.numPoints > 0) return;
        next.begin = place = pOpen->getEnd();
        pOpen.reset();
    }

    void openNext() {
        const std::vector<LazChunk>& vChunks = table.getChunks();
        if (!table.isMissing() && header.laz.compressor != LazLayout::POINTWISE) {
            if (numChunksDone == vChunks.size())
                failAtByte(place, "the chunks hold " + std::to_string(header.numPoints - numLeft) + " of " +
                                      std::to_string(header.numPoints) + " points");
            next = vChunks[numChunksDone++];
        } else {
            next = {next.begin, header.fileSize, std::min(table.getChunkSize(), numLeft)};
            if (next.begin == header.fileSize)
                failAtByte(next.begin, "the file ends here, after " + std::to_string(header.numPoints - numLeft) +
                                           " of " + std::to_string(header.numPoints) + " points");
        }
        pOpen = open(next);
    }
};

}  // namespace

std::unique_ptr<RecordSource> makeLazSource(const InputFile& file, const LasHeader& header, LasFields fields) {
    return std::make_unique<LazRecords>(file, header, fields);
}

}  // namespace QUOR_ZEF
