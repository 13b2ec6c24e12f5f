#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats/PointStream.h"
#include "io/saveCloud.h"

namespace QUOR_ZEF {

// What the library knows of a format: the one table that readers, writers, help and documents
// go by. What can be written is a matter of the endings.
struct Format {
    const char* name;                                        // for people
    std::vector<const char*> vEndings;                       // in small letters, with the dot
    const char* keeps;                                       // beside coordinates, when reading
    bool bMeshes = false;                                    // reads triangles
    bool (*hasMark)(std::string_view firstBytes) = nullptr;  // null: content does not tell
    OpenStream open = nullptr;                               // a part at a time; null: there is no such way
    const CloudWriter* pWriter = nullptr;                    // of points
    bool bWhole = true;                                      // read as a whole where all points are wanted
};

const std::vector<Format>& formatTable();

// Null if there is none.
const Format* formatOfEnding(std::string_view ending);
// Of points; null if there is none.
const CloudWriter* cloudWriterOf(const std::string& path);
const Format* formatOfContent(std::string_view firstBytes);

// All endings that can be read, apart by blanks.
std::string readableEndings(bool bMeshesOnly);

// The same for writing points.
std::string writableEndings();

// The ending that tells how a file is to be read: that before ".gz", if there is one.
std::string readEndingOf(const std::string& path);

}  // namespace QUOR_ZEF
