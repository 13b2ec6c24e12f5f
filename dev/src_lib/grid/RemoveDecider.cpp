#include "grid/RemoveDecider.h"

#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

RemoveDecider::RemoveDecider(const std::vector<uint64>* pvCCD, const Calc*) : blocks(*pvCCD) {}

uint64 RemoveDecider::pruneStrong(const std::vector<uint64>& vRemoveCandidates, std::vector<uint64>& vDoomedOut,
                                  std::vector<uint64>& vKeptOut) {
    vDoomedOut.clear();
    vKeptOut = vRemoveCandidates;
    std::size_t numBefore;
    do {
        numBefore = vDoomedOut.size();
        std::vector<uint64> vRefused;
        for (auto it = vKeptOut.rbegin(); it != vKeptOut.rend(); ++it) {
            pollRun(static_cast<std::size_t>(it - vKeptOut.rbegin()));
            if (isBorder(*it)) {
                doom(*it);
                vDoomedOut.push_back(*it);
            } else {
                vRefused.push_back(*it);
            }
        }
        vKeptOut.swap(vRefused);
    } while (vDoomedOut.size() > numBefore);
    ASSEX(vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size());
    return vDoomedOut.size();
}

}  // namespace QUOR_ZEF
