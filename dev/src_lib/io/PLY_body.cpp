#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "io/PlyFileImpl.h"

namespace QUOR_ZEF::PLY {

namespace {

static_assert(std::endian::native == std::endian::little, "values are read where they stand in the file");

// One list, or neighbouring values of one type with one destination.
struct Step {
    Type type, countType;  // countType: of a list, otherwise INVALID
    std::size_t num;       // values, 1 for a list
    PlyData* pData;        // where they go; null: nowhere
    std::size_t column;    // of the first value, in the rows of pData
    std::size_t listSizeHint;
    bool isList() const { return countType != Type::INVALID; }
};

class Source {
public:
    Source(std::string_view bytes, const char* pFirst) : p(pFirst), file(bytes), pEnd(bytes.data() + bytes.size()) {}
    std::size_t left() const { return static_cast<std::size_t>(pEnd - p); }

    const char* p;

protected:
    std::string_view file;
    const char* pEnd;
};

class BinarySource : public Source {
public:
    BinarySource(std::string_view bytes, const char* pFirst, bool bBigEndian)
        : Source(bytes, pFirst), bSwap(bBigEndian) {}

    // Widths are powers of two, and a division for each list would be felt.
    std::size_t maxValues(Type type) const { return left() >> std::countr_zero(getWidth(type)); }
    static std::size_t minBytes(const PlyProperty& property) {
        return getWidth(property.isList() ? property.countType : property.type);
    }
    std::size_t maxRows(std::size_t minRowBytes) const { return left() / minRowBytes; }

    void values(Type type, std::size_t num, char* pOut) {
        if (num == 0) return;  // an empty list may have no place to go to
        const std::size_t width = getWidth(type);
        std::memcpy(pOut, take(num * width), num * width);
        if (!bSwap) return;
        for (std::size_t i = 0; i < num; ++i) swapBytes(pOut + i * width, width);
    }
    void skip(Type type, std::size_t num) { take(num * getWidth(type)); }
    [[noreturn]] void fail(const std::string& text) const {
        throw PlyError(text, "byte " + std::to_string(p - file.data()));
    }

private:
    bool bSwap;

    const char* take(std::size_t numBytes) {
        if (numBytes > left()) fail("the file ends too early");
        return std::exchange(p, p + numBytes);
    }
};

class TextSource : public Source {
public:
    TextSource(std::string_view bytes, const char* pFirst) : Source(bytes, pFirst) {}

    // A value takes a digit and, but for the last one, a blank.
    std::size_t maxValues(Type) const { return (left() + 1) / 2; }
    static std::size_t minBytes(const PlyProperty&) { return 2; }
    std::size_t maxRows(std::size_t minRowBytes) const { return (left() + 1) / minRowBytes; }

    void values(Type type, std::size_t num, char* pOut) {
        const std::size_t width = getWidth(type);
        visitType(type, [&](auto example) {
            for (std::size_t i = 0; i < num; ++i) {
                const auto value = number<decltype(example)>();
                std::memcpy(pOut + i * width, &value, width);
            }
        });
    }
    void skip(Type, std::size_t num) {
        for (std::size_t i = 0; i < num; ++i) {
            p = skipSpaces(p, pEnd);
            if (p == pEnd) fail("the file ends too early");
            p = wordEnd(p, pEnd);
        }
    }
    [[noreturn]] void fail(const std::string& text) const {
        throw PlyError(text, "line " + std::to_string(lineNumber(file, p)));
    }

private:
    template <class T>
    T number() {
        p = skipSpaces(p, pEnd);
        if (p == pEnd) fail("the file ends too early");
        T value{};
        const char* pStop = nullptr;
        if constexpr (std::is_floating_point_v<T>) {
            pStop = parseAnyNumber(p, pEnd, value);
        } else {
            pStop = integer(value);
        }
        if (!pStop || (pStop != pEnd && !isSpace(*pStop))) failWord();
        p = pStop;
        return value;
    }

    // Some writers give whole numbers a fraction of zeros.
    template <class T>
    const char* integer(T& value) {
        const auto [pStop, code] = std::from_chars(p, pEnd, value);
        if (code == std::errc() && (pStop == pEnd || isSpace(*pStop))) return pStop;
        double real = 0.0;
        const char* pRealStop = parseAnyNumber(p, pEnd, real);
        using Limits = std::numeric_limits<T>;
        if (!pRealStop || !(real >= Limits::min() && real <= Limits::max()) || std::trunc(real) != real) return nullptr;
        value = static_cast<T>(real);
        return pRealStop;
    }

    [[noreturn]] void failWord() const {
        const std::string word(p, wordEnd(p, pEnd));
        fail("\"" + word.substr(0, 40) + "\" is not a number that fits its property");
    }
};

// Reads the rows of one element.
template <class From>
class RowReader {
public:
    RowReader(From& from, const PlyElement& rowElement, const std::vector<Step>& vRowSteps)
        : source(from), element(rowElement), vSteps(vRowSteps) {}

    void readRows() {
        checkCount();
        for (const Step& step : vSteps)
            if (step.pData) allocate(step);
        RowStage rows("IO_read", element.count);
        for (std::size_t row = 0; row < element.count && !vSteps.empty(); ++row, rows.step())
            for (const Step& step : vSteps) readStep(step, row);
        for (const Step& step : vSteps)
            if (step.pData) finish(*step.pData);
    }

    void checkCount() const {
        std::size_t minRow = 0;
        for (const PlyProperty& property : element.vProperties) minRow += source.minBytes(property);
        if (minRow > 0 && element.count > source.maxRows(minRow))
            source.fail("element " + element.name + ": " + std::to_string(element.count) +
                        " rows do not fit into the " + std::to_string(source.left()) + " bytes that are left");
    }

private:
    From& source;
    const PlyElement& element;
    const std::vector<Step>& vSteps;

    void allocate(const Step& step) {
        PlyData& data = *step.pData;
        data.count = static_cast<std::size_t>(element.count);
        const std::size_t width = getWidth(data.type);
        if (data.bList) {
            data.vBuffer.reserve(std::min(data.count * step.listSizeHint, source.maxValues(data.type)) * width);
        } else if (data.vBuffer.empty()) {
            data.stride = data.width * width;
            data.vBuffer.resize(data.count * data.stride);
        }
    }

    void readStep(const Step& step, std::size_t row) {
        if (step.isList()) {
            const std::size_t length = readLength(step);
            if (step.pData) return readItems(step, row, length);
            return source.skip(step.type, length);
        }
        if (!step.pData) return source.skip(step.type, step.num);
        PlyData& data = *step.pData;
        char* pOut = data.vBuffer.data() + row * data.stride + step.column * getWidth(data.type);
        if (data.type == step.type) return source.values(step.type, step.num, pOut);
        for (std::size_t i = 0; i < step.num; ++i) readWidened(step.type, data.type, pOut + i * getWidth(data.type));
    }

    void readWidened(Type type, Type wideType, char* pOut) {
        visitType(type, [&](auto value) {
            char bytes[sizeof(value)];
            source.values(type, 1, bytes);
            const auto wide = static_cast<double>(loadValue<decltype(value)>(bytes));
            if (wideType == Type::DOUBLE) {
                std::memcpy(pOut, &wide, sizeof(wide));
            } else {
                const float wideFloat = narrow(wide);
                std::memcpy(pOut, &wideFloat, sizeof(wideFloat));
            }
        });
    }

    std::size_t readLength(const Step& step) {
        const int64 length = visitType(step.countType, [&](auto value) -> int64 {
            if constexpr (std::is_floating_point_v<decltype(value)>) {
                throw PlyError("unhandled type");
            } else {
                source.values(step.countType, 1, reinterpret_cast<char*>(&value));
                return value;
            }
        });
        if (length < 0) source.fail("a list of " + std::to_string(length) + " items");
        const auto numItems = static_cast<std::size_t>(length);
        if (numItems > source.maxValues(step.type))
            source.fail("a list of " + std::to_string(length) + " items does not fit into the " +
                        std::to_string(source.left()) + " bytes that are left");
        return numItems;
    }

    // Lengths are kept once they differ; up to then the first one stands for all.
    void readItems(const Step& step, std::size_t row, std::size_t length) {
        PlyData& data = *step.pData;
        if (row == 0) data.width = length;
        if (data.vRows.empty() && length != data.width) {
            data.vRows.reserve(data.count);
            data.vRows.assign(row, static_cast<std::uint32_t>(data.width));
        }
        if (!data.vRows.empty()) data.vRows.push_back(static_cast<std::uint32_t>(length));
        const std::size_t at = data.vBuffer.size();
        data.vBuffer.resize(at + length * getWidth(step.type));
        source.values(step.type, length, data.vBuffer.data() + at);
    }

    static void finish(PlyData& data) {
        if (!data.vRows.empty()) data.width = 0;
        data.stride = data.width * getWidth(data.type);
        data.pFirst = data.vBuffer.data();
    }
};

// What to do with each row. bViewed: data that is read where it stands is skipped.
std::vector<Step> stepsOf(const PlyFileImpl& ply, std::size_t element, bool bViewed) {
    const std::vector<PlyProperty>& vProperties = ply.vElements[element].vProperties;
    std::vector<Step> vSteps;
    vSteps.reserve(vProperties.size());
    for (const PlyProperty& property : vProperties)
        vSteps.push_back({property.type, property.countType, 1, nullptr, 0, 0});
    for (const PlyFileImpl::Request& request : ply.vRequests) {
        if (request.element != element || (bViewed && request.pData->pFirst)) continue;
        for (std::size_t i = 0; i < request.vColumns.size(); ++i) {
            Step& step = vSteps[request.vColumns[i]];
            step.pData = request.pData.get();
            step.column = i;
            step.listSizeHint = request.listSizeHint;
        }
    }
    return vSteps;
}

bool continues(const Step& step, const Step& next) {
    return !step.isList() && !next.isList() && step.type == next.type && step.pData == next.pData &&
           (!step.pData || next.column == step.column + step.num);
}

std::vector<Step> merged(const std::vector<Step>& vSteps) {
    std::vector<Step> vMerged;
    for (const Step& step : vSteps) {
        if (!vMerged.empty() && continues(vMerged.back(), step)) {
            ++vMerged.back().num;
        } else {
            vMerged.push_back(step);
        }
    }
    return vMerged;
}

bool areNeighbours(const PlyFileImpl::Request& request, const std::vector<PlyProperty>& vProperties) {
    for (std::size_t i = 0; i < request.vColumns.size(); ++i)
        if (request.vColumns[i] != request.vColumns[0] + i ||
            vProperties[request.vColumns[i]].type != request.pData->type)
            return false;
    return true;
}

// Rows of one size: values that stand side by side are not copied.
void viewRows(PlyFileImpl& ply, std::size_t element, const char* pRows) {
    const PlyElement& rows = ply.vElements[element];
    std::vector<std::size_t> vOffsets;
    std::size_t rowBytes = 0;
    for (const PlyProperty& property : rows.vProperties) {
        vOffsets.push_back(rowBytes);
        rowBytes += getWidth(property.type);
    }
    for (PlyFileImpl::Request& request : ply.vRequests) {
        if (request.element != element || !areNeighbours(request, rows.vProperties)) continue;
        request.pData->count = static_cast<std::size_t>(rows.count);
        request.pData->stride = rowBytes;
        request.pData->pFirst = pRows + vOffsets[request.vColumns[0]];
    }
}

// Returns where the element ends.
const char* readBinary(PlyFileImpl& ply, std::size_t element, const char* pRows) {
    const PlyElement& rows = ply.vElements[element];
    const bool bBigEndian = ply.format == Format::BIG_ENDIAN_BINARY;
    const bool bLists = std::any_of(rows.vProperties.begin(), rows.vProperties.end(),
                                    [](const PlyProperty& property) { return property.isList(); });
    BinarySource source(ply.file, pRows, bBigEndian);
    if (!bLists && !bBigEndian) {
        RowReader<BinarySource>(source, rows, {}).checkCount();
        viewRows(ply, element, pRows);
    }
    const std::vector<Step> vSteps = merged(stepsOf(ply, element, true));
    RowReader<BinarySource> reader(source, rows, vSteps);
    const bool bWanted =
        std::any_of(vSteps.begin(), vSteps.end(), [](const Step& step) { return step.pData != nullptr; });
    if (bWanted || bLists) {
        reader.readRows();
        return source.p;
    }
    reader.checkCount();
    std::size_t rowBytes = 0;
    for (const PlyProperty& property : rows.vProperties) rowBytes += getWidth(property.type);
    return rowBytes == 0 ? pRows : pRows + static_cast<std::size_t>(rows.count) * rowBytes;
}

const char* readText(PlyFileImpl& ply, std::size_t element, const char* pRows) {
    TextSource source(ply.file, pRows);
    const std::vector<Step> vSteps = merged(stepsOf(ply, element, false));
    RowReader<TextSource>(source, ply.vElements[element], vSteps).readRows();
    return source.p;
}

}  // namespace

void PlyFileImpl::readBody() {
    std::size_t numElements = 0;
    for (const Request& request : vRequests) numElements = std::max(numElements, request.element + 1);
    const char* p = file.data() + bodyAt;
    for (std::size_t i = 0; i < numElements; ++i)
        p = format == Format::ASCII ? readText(*this, i, p) : readBinary(*this, i, p);
}

}  // namespace QUOR_ZEF::PLY
