#include <utility>

#include "formats/LineBlocks.h"
#include "frame/Run.h"
#include "io/TextReader.h"
#include "io/cloudLoaders.h"
#include "io/streams.h"

namespace QUOR_ZEF {

namespace {

class TextStream : public PointStream {
public:
    TextStream(const InputFile& source, const PointChoice& wanted, bool bPts)
        : choice(wanted), survey(wanted.columns, bPts), reader(wanted.columns, bPts), blocks(source, 0, 1) {
        if (choice.scan.value_or(0) > 0) throw LoadError(oneScanOnly);
        lookAtAll(source);
        facts.format = "text, a point a line";
        facts.numPoints = survey.getNumPoints();
        facts.comments = survey.getComments();
        facts.notes = survey.getNotes();
        if (const uint64 num = survey.getNumSkippedLines(); num > 0)
            facts.notes.push_back(std::to_string(num) + (num == 1 ? " line holds" : " lines hold") +
                                  " no point and is left out.");
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return blocks.getPosition(); }

    bool next(PointBlock& out) override {
        const uint64 lineNumber = blocks.getLineNumber();
        const std::string_view lines = blocks.next();
        if (lines.empty() && reader.getNumPoints() == 0) throw LoadError(noPointLine);
        if (lines.empty()) return false;
        TextRows rows;
        try {
            reader.take(lines, lineNumber, rows);
        } catch (const LoadError&) {
            append(std::move(rows), out);
            throw;
        }
        append(std::move(rows), out);
        return true;
    }

private:
    PointChoice choice;
    TextReader survey;  // has seen all lines
    TextReader reader;
    LineBlocks blocks;
    ScanFacts facts;

    // Up to a fault, which the reader will meet.
    void lookAtAll(const InputFile& source) {
        LineBlocks all(source, 0, 1);
        try {
            for (uint64 lineNumber = 1;; lineNumber = all.getLineNumber()) {
                TextRows rows;
                const std::string_view lines = all.next();
                if (lines.empty()) return;
                survey.take(lines, lineNumber, rows);
                pollRun(0);
            }
        } catch (const LoadError&) {
            return;
        }
    }

    void append(TextRows&& rows, PointBlock& out) {
        survey.settle(rows);
        const auto appendTo = [](auto& v, const auto& added) { v.insert(v.end(), added.begin(), added.end()); };
        appendTo(out.points, rows.points);
        appendTo(out.normals, rows.normals);
        appendTo(out.intensities, rows.intensities);
    }
};

}  // namespace

std::unique_ptr<PointStream> openText(const InputFile& file, const PointChoice& choice) {
    return std::make_unique<TextStream>(file, choice, false);
}

std::unique_ptr<PointStream> openPts(const InputFile& file, const PointChoice& choice) {
    return std::make_unique<TextStream>(file, choice, true);
}

}  // namespace QUOR_ZEF
