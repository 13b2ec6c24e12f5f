#pragma once

#include <nlohmann/json.hpp>

#include "reports/Report.h"
#include "zef/meshCheck.h"

// The lines that every report on a mesh has: borders and non-manifold edges.
void reportBorders(Report& report, const zef::MeshReport& topology);

// The same after the numbers of vertices, triangles and pieces.
void reportMesh(Report& report, const zef::MeshReport& topology);

// Whether it is closed, manifold and oriented: three lines.
void reportBody(Report& report, const zef::MeshReport& topology);
bool isBody(const zef::MeshReport& topology);

// Pairs of triangles that intersected, and those that still do.
void reportUntangled(Report& report, const zef::UntangleReport& untangled);

// An object for each component, in the order of the report.
nlohmann::ordered_json componentList(const zef::MeshReport& topology);
