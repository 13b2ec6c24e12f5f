#include "stageWords.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

struct Words {
    std::string_view name;
    const char* words;
};

constexpr std::array stages = {
    Words{"CL_eres", "measuring the spacing"},
    Words{"SM_run", "fitting planes"},
    Words{"CL_creb", "filling and thinning cells"},
    Words{"HL_st", "collecting cells"},
    Words{"VO_ftx", "making triangles"},
    Words{"VO_amb", "settling ambiguous cells"},
    Words{"TP_unif", "unifying diagonals"},
    Words{"TP_pps", "sorting out patches"},
    Words{"TP_cbcpl", "cleaning borders"},
    Words{"TP_itr", "repairing"},
    Words{"TP_fin", "finishing the topology"},
    Words{"RM_cpo", "placing vertices"},
    Words{"RM_kdeg", "removing degenerate triangles"},
    Words{"RM_gEfCandMT", "scoring edges"},
    Words{"efLoop", "flipping edges"},
};

}  // namespace

std::string stageWords(const std::string& stageName) {
    const auto words_it =
        std::find_if(stages.begin(), stages.end(), [&](const Words& stage) { return stage.name == stageName; });
    return words_it == stages.end() ? stageName : words_it->words;
}
