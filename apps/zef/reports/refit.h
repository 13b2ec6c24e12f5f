#pragma once

#include "reports/Report.h"
#include "zef/refinement.h"

// How far the points scatter, and what fitting the mesh to them did.
void reportNoise(Report& report, double noise);
void reportRefit(Report& report, const zef::RefitReport& refit);
