#include <algorithm>
#include <utility>

#include "bytes/LoadError.h"
#include "formats/LasHeader.h"
#include "formats/las.h"
#include "formats/lasRecords.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

class LasStream : public PointStream {
public:
    LasStream(const InputFile& input, const PointChoice& wanted)
        : file(input), header(readLasHeader(input)), choice(wanted) {
        if (choice.scan.value_or(0) > 0)
            throw LoadError("scan " + std::to_string(*choice.scan) +
                            " is asked for, but LAS holds one; ask for scan 0");
        facts.format = header.getName();
        facts.numPoints = header.numPoints;
        facts.projection = header.projection;
        facts.comments = header.comments;
        choice.bColors = choice.bColors && header.hasColor();
        pSource = makeRecordSource(file, header, {true, choice.bColors, choice.bIntensities, choice.bClasses});
        if (std::string note = pSource->getNote(); !note.empty()) facts.notes.push_back(std::move(note));
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return pSource->getPlace(); }

    bool next(PointBlock& out) override {
        if (!pSource->read(vSlices)) {
            tellWithheld();
            return false;
        }
        if (choice.bColors && colors == Colors::UNKNOWN) findColors();
        append(out);
        for (const RecordSlice& slice : vSlices) numWithheld += slice.numWithheld;
        if (!vSlices.back().fault.empty()) throw LoadError(vSlices.back().fault);
        return true;
    }

private:
    enum class Colors { UNKNOWN, NONE, BYTES, WORDS };

    const InputFile& file;
    LasHeader header;
    PointChoice choice;
    ScanFacts facts;
    std::unique_ptr<RecordSource> pSource;
    std::vector<RecordSlice> vSlices;
    Colors colors = Colors::UNKNOWN;
    std::uint64_t numWithheld = 0;

    static std::uint16_t maxColor(const std::vector<RecordSlice>& slices) {
        return std::max_element(slices.begin(), slices.end(),
                                [](const RecordSlice& a, const RecordSlice& b) { return a.maxColor < b.maxColor; })
            ->maxColor;
    }

    // The first block tells, unless all its values are small: then the file is looked through.
    void findColors() {
        constexpr std::uint16_t maxByte = 255;
        std::uint16_t largest = maxColor(vSlices);
        if (largest <= maxByte) {
            const auto pColors = makeRecordSource(file, header, {false, true, false, false});
            std::vector<RecordSlice> vColors;
            while (largest <= maxByte && pColors->read(vColors)) largest = std::max(largest, maxColor(vColors));
        }
        colors = largest > maxByte ? Colors::WORDS : largest > 0 ? Colors::BYTES : Colors::NONE;
    }

    void append(PointBlock& out) const {
        std::vector<std::size_t> vBegins;
        std::size_t num = out.points.size();
        for (const RecordSlice& slice : vSlices) {
            vBegins.push_back(num);
            num += slice.vRecords.size();
        }
        out.points.resize(num);
        if (choice.bClasses) out.classes.resize(num);
        if (choice.bIntensities) out.intensities.resize(num);
        shareTasks(vSlices.size(), [&](std::size_t i, int /*worker*/) { put(vSlices[i].vRecords, vBegins[i], out); });
    }

    void put(const std::vector<LasRecord>& vRecords, std::size_t begin, PointBlock& out) const {
        for (std::size_t i = 0; i < vRecords.size(); ++i) out.points[begin + i] = toPoint(vRecords[i]);
        if (choice.bClasses)
            for (std::size_t i = 0; i < vRecords.size(); ++i) out.classes[begin + i] = vRecords[i].classId;
        if (choice.bIntensities)
            for (std::size_t i = 0; i < vRecords.size(); ++i) out.intensities[begin + i] = vRecords[i].intensity;
    }

    Point3 toPoint(const LasRecord& record) const {
        const Point3 p(record.x * header.scale[0] + header.offset[0], record.y * header.scale[1] + header.offset[1],
                       record.z * header.scale[2] + header.offset[2]);
        if (colors != Colors::BYTES && colors != Colors::WORDS) return p;
        const int shift = colors == Colors::WORDS ? 8 : 0;
        const auto channel = [&](std::size_t i) { return static_cast<std::uint8_t>(record.color[i] >> shift); };
        return {p.px, p.py, p.pz, channel(0), channel(1), channel(2), 255};
    }

    void tellWithheld() {
        if (numWithheld == 0) return;
        facts.notes.push_back(std::to_string(numWithheld) + " points are marked as withheld and were left out");
        numWithheld = 0;
    }
};

}  // namespace

std::unique_ptr<PointStream> openLas(const InputFile& file, const PointChoice& choice) {
    return std::make_unique<LasStream>(file, choice);
}

}  // namespace QUOR_ZEF
