#include "frame/stageWords.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace QUOR_ZEF {

namespace {

struct Words {
    std::string_view tag, words;
};

constexpr std::array stages = {
    Words{"", "preparing"},
    Words{"CL_out", "leaving out outliers"},
    Words{"CL_eres", "measuring the spacing"},
    Words{"CL_dens", "serving sparse parts"},
    Words{"SM_run", "fitting planes"},
    Words{"CL_creb", "filling and thinning cells"},
    Words{"CL_fill", "filling gaps"},
    Words{"HL_st", "collecting cells"},
    Words{"hal-part", "collecting cells"},
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
    Words{"RM_efAnneal", "flipping edges"},
    Words{"RM_redborder", "finding the outline"},
    Words{"RM_redprioq", "costing merges"},
    Words{"RM_redprocprioq", "merging vertices"},
    Words{"RM_smooth", "smoothing"},
    Words{"RM_rtscore", "costing merges"},
    Words{"RM_rtloop", "merging vertices"},
    Words{"RM_rtmeas", "measuring the error"},
    Words{"MF_edges", "finding edges"},
    Words{"MF_mend", "joining triangles"},
    Words{"MF_loops", "closing small holes"},
    Words{"MF_renew", "renewing faulty places"},
    Words{"MF_face", "facing outwards"},
    Words{"SD_turn", "facing one side"},
    Words{"HD_find", "finding handles"},
    Words{"HD_cut", "cutting small handles"},
    Words{"RF_fit", "refitting to the points"},
    Words{"CL_close", "closing borders"},
    Words{"UT_find", "finding triangles that intersect"},
    Words{"UT_look", "looking for triangles that intersect"},
    Words{"SO_solid", "finding what lies inside"},
    Words{"UT_part", "parting triangles that intersect"},
    Words{"CK_mesh", "checking edges and vertices"},
    Words{"CK_fit", "measuring the coverage"},
    Words{"CK_noise", "measuring the noise"},
    Words{"CP_there", "measuring the distances"},
    Words{"CP_back", "measuring the other way round"},
    Words{"SI_cells", "sorting triangles"},
    Words{"SI_pairs", "comparing triangles"},
    Words{"TH_walls", "measuring walls"},
    Words{"reo", "chaining sharp edges"},
    Words{"dih2e", "finding sharp edges"},
    Words{"rFins", "sampling corners"},
    Words{"feate", "sampling sharp edges"},
    Words{"nfeate", "sampling other edges"},
    Words{"ar4", "sampling areas"},
    Words{"oifc", "sorting samples"},
    Words{"mandiffe", "collecting edge samples"},
    Words{"IO_files", "reading the files"},
    Words{"IO_load", "reading the file"},
    Words{"IO_read", "taking rows of the file"},
    Words{"IO_pos", "comparing positions"},
    Words{"IO_write", "writing the file"},
    Words{"mandiffa", "collecting area samples"},
};

}  // namespace

std::string_view stageWords(std::string_view tag) {
    tag = tag.substr(0, tag.find("_0."));  // without the temperature
    const auto it = std::find_if(stages.begin(), stages.end(), [&](const Words& stage) { return stage.tag == tag; });
    return it == stages.end() ? tag : it->words;
}

}  // namespace QUOR_ZEF
