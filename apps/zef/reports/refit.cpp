#include "reports/refit.h"

void reportNoise(Report& report, double noise) {
    report.addNumber("noise", noise < 0.0 ? "" : "noise, in spacings", noise);
}

void reportRefit(Report& report, const zef::RefitReport& refit) {
    report.addNumber("refit_radius", "fitted to points within, in spacings", refit.radius);
    report.addCount("moved_vertices", "vertices moved", refit.numMovedVertices);
    report.addCount("crease_vertices", "vertices on creases", refit.numCreaseVertices);
    report.addNumber("mean_move", "", refit.meanMove);
    report.addNumber("max_move", "largest move", refit.maxMove);
}
