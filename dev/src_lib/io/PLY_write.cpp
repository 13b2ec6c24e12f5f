#include <numeric>

#include "bytes/AtomicFile.h"
#include "bytes/FileBytes.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "io/PlyFileImpl.h"

namespace QUOR_ZEF::PLY {

namespace {

const char* formatName(Format format) {
    switch (format) {
        case Format::ASCII:
            return "ascii";
        case Format::LITTLE_ENDIAN_BINARY:
            return "binary_little_endian";
        case Format::BIG_ENDIAN_BINARY:
            return "binary_big_endian";
    }
    return "";
}

// Writes single values as text or with the bytes the other way round.
struct ValueWriter {
    AtomicFile& out;
    Format format;
    int digits;

    void values(Type type, std::size_t num, const char* p) const {
        const std::size_t width = getWidth(type);
        for (std::size_t i = 0; i < num; ++i) value(type, p + i * width);
    }

    void value(Type type, const char* p) const {
        visitType(type, [&](auto example) {
            const auto plain = loadValue<decltype(example)>(p);
            if (format == Format::ASCII) return text(plain);
            char bytes[sizeof(plain)];
            std::memcpy(bytes, &plain, sizeof(plain));
            swapBytes(bytes, sizeof(plain));
            out.write(std::string_view(bytes, sizeof(plain)));
        });
    }

    // Each value is followed by a blank, the last one of a line too.
    template <class T>
    void text(T plain) const {
        if constexpr (std::is_floating_point_v<T>) {
            if (digits == shortest) {
                out.writeShortest(plain);
            } else {
                out.writeNumber(plain, digits);
            }
        } else {
            out.writeInteger(plain);
        }
        out.write(' ');
    }

    void count(Type type, std::size_t num) const {
        visitType(type, [&](auto example) {
            const auto plain = static_cast<decltype(example)>(num);
            values(type, 1, reinterpret_cast<const char*>(&plain));
        });
    }
};

void writeProperty(AtomicFile& out, const PlyProperty& property) {
    out.write("property ");
    if (property.isList()) {
        out.write("list ");
        out.write(getName(property.countType));
        out.write(' ');
    }
    out.write(getName(property.type));
    out.write(' ');
    out.write(property.name);
    out.write('\n');
}

}  // namespace

void PlyFileImpl::writeHeader(AtomicFile& out, Format outFormat) const {
    out.write("ply\nformat ");
    out.write(formatName(outFormat));
    out.write(" 1.0\n");
    for (const std::string& comment : vComments) out.write("comment " + comment + "\n");
    for (const PlyElement& element : vElements) {
        out.write("element " + element.name + " " + std::to_string(element.count) + "\n");
        for (const PlyProperty& property : element.vProperties) writeProperty(out, property);
    }
    out.write("end_header\n");
}

namespace {

// What one group gives to each row, as it stands in the file.
struct RowPart {
    std::string count;  // of a list
    const char* p;      // the values of the next row
    std::size_t numBytes;
};

RowPart rowPartOf(const PlyFileImpl::Group& group) {
    RowPart part{{}, group.pData, group.rowBytes()};
    if (group.countType == Type::INVALID) return part;
    visitType(group.countType, [&](auto example) {
        const auto count = static_cast<decltype(example)>(group.listCount);
        part.count.assign(reinterpret_cast<const char*>(&count), sizeof(count));
    });
    return part;
}

void writeLittleEndian(AtomicFile& out, const std::vector<PlyFileImpl::Group>& vGroups, uint64 numRows,
                       RowStage& rows) {
    std::vector<RowPart> vParts;
    vParts.reserve(vGroups.size());
    for (const PlyFileImpl::Group& group : vGroups) vParts.push_back(rowPartOf(group));
    for (uint64 row = 0; row < numRows; ++row, rows.step()) {
        for (RowPart& part : vParts) {
            out.write(part.count);
            out.write(std::string_view(part.p, part.numBytes));
            part.p += part.numBytes;
        }
    }
}

}  // namespace

void PlyFileImpl::writeBody(AtomicFile& out, Format outFormat, int digits) const {
    const ValueWriter writer{out, outFormat, digits};
    const auto addRows = [](uint64 num, const PlyElement& element) { return num + element.count; };
    RowStage rows("IO_write", std::accumulate(vElements.begin(), vElements.end(), uint64{0}, addRows));
    for (std::size_t i = 0; i < vElements.size(); ++i) {
        if (outFormat == Format::LITTLE_ENDIAN_BINARY) {
            writeLittleEndian(out, vGroups[i], vElements[i].count, rows);
            continue;
        }
        for (std::size_t row = 0; row < vElements[i].count; ++row, rows.step()) {
            for (const Group& group : vGroups[i]) {
                const bool bList = group.countType != Type::INVALID;
                if (bList) writer.count(group.countType, group.listCount);
                writer.values(group.type, bList ? group.listCount : group.numKeys,
                              group.pData + row * group.rowBytes());
            }
            if (outFormat == Format::ASCII) out.write('\n');
        }
    }
    rows.finish();
}

void PlyFile::addProperties(const std::string& elementKey, const std::vector<std::string>& propertyKeys, Type type,
                            std::size_t count, const void* pData, Type countType, std::size_t listCount) {
    const std::size_t index = pImpl->findElement(elementKey);
    if (index == pImpl->vElements.size()) {
        pImpl->vElements.push_back({elementKey, count, {}});
        pImpl->vGroups.emplace_back();
    }
    PlyElement& element = pImpl->vElements[index];
    ASSEX(element.count == count);
    for (const std::string& key : propertyKeys) element.vProperties.push_back({key, type, countType});
    pImpl->vGroups[index].push_back({type, countType, propertyKeys.size(), listCount, static_cast<const char*>(pData)});
}

// A line feed inside a comment would end it and break the header.
void PlyFile::addComment(const std::string& text) {
    std::string line = text;
    for (char& c : line)
        if (c == '\n' || c == '\r') c = ' ';
    pImpl->vComments.push_back(line);
}

void PlyFile::write(AtomicFile& file, Format format, int digits) const {
    pImpl->writeHeader(file, format);
    pImpl->writeBody(file, format, digits);
}

}  // namespace QUOR_ZEF::PLY
