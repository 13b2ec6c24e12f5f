#pragma once

#include <string>

#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "frame/types.h"
#include "zef/files.h"

namespace QUOR_ZEF {

// How the bytes of a file are to be taken.
struct CloudForm {
    std::string ending;     // of the format, in small letters; others than those of the loaders mean text
    std::string columns;    // of text, see ReadOptions; empty: found
    bool bPartial = false;  // take what stands before a fault
};

// The formats that are read as a whole, see readPoints(). Throws a LoadError. The bytes may be
// compressed by gzip. At most 16 times the size of the file, or of what it unpacks to, and 1 MiB
// of memory. One thread, O(n).
PointFile loadCloud(InputFile& file, const CloudForm& form);

// Tells that what stands before the fault is taken.
std::string partialNote(const LoadError& error, uint64 numGood);

// From the last dot on, in small letters; empty if there is none.
std::string endingOf(const std::string& path);

}  // namespace QUOR_ZEF
