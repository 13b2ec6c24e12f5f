#include "readAny.h"

// Reads any bytes as a file with the ending of this target: nothing but a LoadError may come of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size) {
    zef_fuzz::readAny(ZEF_FUZZ_ENDING, std::string(reinterpret_cast<const char*>(pData), size));
    return 0;
}
