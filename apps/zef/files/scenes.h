#pragma once

#include <string>
#include <vector>

#include "CommandRun.h"
#include "zef/files.h"
#include "zef/view.h"

// What a command shows: the meshes among some files, and the points of the others.
struct ShownFiles {
    std::vector<zef::TriangleMesh> vMeshes;
    std::vector<std::string> vMeshNames;  // of the files, without folder
    std::vector<zef::Point3> vPoints;

    zef::ViewScene scene() const;  // borrows this
};

// Warns of what cannot be shown, and reports the counts. Throws Failure if nothing can.
ShownFiles readShown(CommandRun& commandRun, const std::vector<std::string>& vPaths);
