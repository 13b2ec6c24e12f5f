#pragma once

#include <cstdint>
#include <span>

#include "CommandRun.h"
#include "zef/reconstruction.h"

// Of sparse points from which on a scan is uneven, see zef::Density::AUTO.
inline constexpr double unevenShare = 0.0225;

// What zef reconstruct takes at its peak, in bytes. factor: edge of a grid cell in measured spacings;
// bUneven: whether sparse parts get points. With factors from 0.8 to 2, scans of 20,000 to 360,000 points
// took 0.75 to 1.25 times as much, samples of closed shapes of up to 4 million points 0.65 to 1.55 times.
double expectedBytes(double numPoints, double factor, bool bUneven);

// Throws Failure, with what helps, if that many bytes for each cell that triangles touch are more than are free.
void requireMemory(std::span<const zef::Point3> corners, double spacing, double bytesPerCell);
inline constexpr double bytesPerMelted = 900.0, bytesPerSampled = 130.0;

// Throws Failure, with what helps, if a reconstruction would take more than is free. Points are only
// looked at where it may come near that.
void requireMemory(CommandRun& commandRun, std::span<const zef::Point3> points, const zef::ReconstructOptions& options);
