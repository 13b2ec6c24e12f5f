#pragma once

#include "frame/Progress.h"

namespace zef_test {

// What the sampling of triangles enters, on the calling thread's root.
inline void planSampling() {
    QUOR_ZEF::planProgress("test", {{"dih2e", 1.0},
                                    {"reo", 1.0},
                                    {"rFins", 1.0},
                                    {"feate", 1.0},
                                    {"nfeate", 1.0},
                                    {"ar4", 1.0},
                                    {"oifc", 1.0},
                                    {"mandiffe", 1.0},
                                    {"mandiffa", 1.0}});
}

}  // namespace zef_test
