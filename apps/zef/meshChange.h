#pragma once

#include <functional>
#include <string>

#include "CommandRun.h"
#include "options.h"
#include "zef/TriangleMesh.h"

// What all commands share that change a mesh of a file and write it.
struct MeshChange {
    std::string path;
    OutputOptions output;
    TalkOptions talk;
    bool bUntangle = true;  // of those that can make triangles intersect
};

void addMeshChange(CLI::App& command, MeshChange& files);

// Reads the mesh, lets change work on it under the name of the step, reports what
// came out and writes it. Throws Failure if a file fails or no triangle is left.
int changeMesh(const MeshChange& files, CommandRun& commandRun, const std::string& step,
               const std::function<void(zef::TriangleMesh&)>& change);
