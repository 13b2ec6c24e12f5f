#pragma once

#include <cstdlib>
#include <string>

#include "formats/PointStream.h"
#include "support/tempFolder.h"

namespace zef_test {

// What a stream gave until it ended or failed.
struct StreamRead {
    QUOR_ZEF::PointBlock block;
    QUOR_ZEF::ScanFacts facts;
    std::string error;  // empty: it ended
};

inline StreamRead readStream(const std::string& path, QUOR_ZEF::OpenStream open,
                             const QUOR_ZEF::PointChoice& choice = {}) {
    StreamRead read;
    std::unique_ptr<QUOR_ZEF::PointStream> pStream;
    try {
        const QUOR_ZEF::InputFile file(path);
        pStream = open(file, choice);
        while (pStream->next(read.block)) EXPECT_LE(pStream->getPosition(), file.getSize());
        EXPECT_FALSE(pStream->next(read.block)) << "asked once more";
    } catch (const QUOR_ZEF::LoadError& error) {
        read.error = error.what();
        EXPECT_NE(read.error.find("; "), std::string::npos) << read.error;  // what helps
    }
    if (pStream) read.facts = pStream->getFacts();
    return read;
}

// Of these bytes.
inline StreamRead readBytes(const std::string& bytes, QUOR_ZEF::OpenStream open,
                            const QUOR_ZEF::PointChoice& choice = {}) {
    static const TempFolder folder;
    return readStream(folder.put("scan", bytes), open, choice);
}

// Of a real file; nothing where the environment names no folder of them.
inline std::string realFile(const std::string& name) {
    const char* const pData = std::getenv("ZEF_TEST_DATA");
    return pData ? std::string(pData) + "/formats/" + name : std::string();
}

// The smallest and the largest corner of their box.
inline std::pair<QUOR_ZEF::Point3, QUOR_ZEF::Point3> boxOf(const std::vector<QUOR_ZEF::Point3>& vPoints) {
    std::pair<QUOR_ZEF::Point3, QUOR_ZEF::Point3> box{vPoints.at(0), vPoints.at(0)};
    for (const QUOR_ZEF::Point3& p : vPoints) {
        box.first.set(std::min(box.first.px, p.px), std::min(box.first.py, p.py), std::min(box.first.pz, p.pz));
        box.second.set(std::max(box.second.px, p.px), std::max(box.second.py, p.py), std::max(box.second.pz, p.pz));
    }
    return box;
}

}  // namespace zef_test
