#include "fuzz/operations.h"
#include "fuzz/targets.h"
#include "tests/support/Folder.h"
#include "zef/errors.h"

namespace zef_fuzz {

void callDrawn(std::span<const std::uint8_t> bytes) {
    static const zef_test::Folder folder;
    Draw draw(bytes, true);
    const std::uint32_t kind = draw.below(numSceneKinds), numPoints = 2 * draw.below(200);
    const Scene scene = drawScene(draw, kind, 1, numPoints);
    // A few calls each, so that one can upset the next.
    for (int i = 0; i < 3 && !draw.isEmpty(); ++i) {
        const Operation& operation = operations()[draw.below(static_cast<std::uint32_t>(operations().size()))];
        int numSteps = draw.below(8) == 0 ? static_cast<int>(draw.below(60)) : -1;
        QUOR_ZEF::Context context{.threads = 1 + draw.below(3)};
        if (numSteps >= 0) context.progress = [&](const QUOR_ZEF::ProgressStep&) { return numSteps-- > 0; };
        try {
            call(operation, scene, draw, folder.path.string(), context);
        } catch (const QUOR_ZEF::CancelledError&) {
        }
    }
}

}  // namespace zef_fuzz
