#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/PLY.h"

namespace QUOR_ZEF::PLY {

// The state behind a PlyFile. The header's part lies in PLY.cpp, the body's in
// PLY_body.cpp, the writer in PLY_write.cpp.
class PlyFileImpl {
public:
    struct Request {
        std::size_t element;                // index in vElements
        std::vector<std::size_t> vColumns;  // indices of its properties
        std::size_t listSizeHint;
        std::shared_ptr<PlyData> pData;
    };
    // Properties that are written from one array.
    struct Group {
        Type type, countType;
        std::size_t numKeys;    // 1 for a list
        std::size_t listCount;  // items in each list
        const char* pData;      // not owned
        std::size_t rowBytes() const { return getWidth(type) * (countType == Type::INVALID ? numKeys : listCount); }
    };

    std::string_view file;   // the whole file, not owned
    std::size_t bodyAt = 0;  // where the body starts
    HeaderRule rule = HeaderRule::STRICT;
    Format format = Format::ASCII;
    std::vector<PlyElement> vElements;
    std::vector<std::string> vComments, vObjInfo;
    std::vector<Request> vRequests;
    std::vector<std::vector<Group>> vGroups;  // of each element, when writing

    void parseHeader();
    std::size_t findElement(const std::string& name) const;  // vElements.size() if there is none
    std::shared_ptr<PlyData> request(const std::string& elementKey, const std::vector<std::string>& propertyKeys,
                                     std::size_t listSizeHint);
    void readBody();

    void writeHeader(AtomicFile& out, Format outFormat) const;
    void writeBody(AtomicFile& out, Format outFormat, int digits) const;

private:
    bool parseLine(std::string_view line);
    void parseFormat(std::string_view line);
    void parseElement(std::string_view line);
    void parseProperty(std::string_view line);
    [[noreturn]] void failHeader(const std::string& text, std::string_view line) const;
    bool isRequested(std::size_t element, std::size_t column) const;
};

// Turns the bytes of a value round.
void swapBytes(char* p, std::size_t width);

}  // namespace QUOR_ZEF::PLY
