#include "fuzz/Folder.h"
#include "fuzz/operations.h"
#include "zef/errors.h"

// Turns any bytes into a small cloud or soup and some calls on it with odd options. What a call promises must hold,
// and nothing but the exceptions of errors.h may come of it.

using namespace zef_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size) {
    static const Folder folder;
    Draw draw({pData, size}, true);
    const std::uint32_t kind = draw.below(numSceneKinds), numPoints = 2 * draw.below(200);
    const Scene scene = drawScene(draw, kind, 1, numPoints);
    // A few calls each, so that one can upset the next.
    for (int i = 0; i < 3 && !draw.isEmpty(); ++i) {
        const Operation& operation = operations()[draw.below(static_cast<std::uint32_t>(operations().size()))];
        int numSteps = draw.below(8) == 0 ? static_cast<int>(draw.below(60)) : -1;
        QUOR_ZEF::Context context{.threads = 1 + draw.below(3)};
        if (numSteps >= 0) context.progress = [&](const QUOR_ZEF::ProgressStep&) { return numSteps-- > 0; };
        try {
            call(operation, scene, draw, folder.path, context);
        } catch (const QUOR_ZEF::CancelledError&) {
        }
    }
    return 0;
}
