#include "fuzz/targets.h"

// ZEF_FUZZ_CALL: what to do with bytes of that size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t size) {
    zef_fuzz::ZEF_FUZZ_CALL;
    return 0;
}
