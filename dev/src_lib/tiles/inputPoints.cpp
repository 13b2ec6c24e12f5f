#include "tiles/inputPoints.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <system_error>

#include "files/PointCollector.h"
#include "files/ScanFile.h"
#include "frame/Progress.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

uint64 bytesOf(const std::vector<std::filesystem::path>& inputs) {
    uint64 numBytes = 0;
    for (const std::filesystem::path& path : inputs) {
        std::error_code unknown;  // told when it is opened
        const std::uintmax_t size = std::filesystem::file_size(path, unknown);
        if (!unknown) numBytes += size;
    }
    return numBytes;
}

bool isNotFinite(const Point3& p) {
    return !(std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz));
}

}  // namespace

InputFacts readInputs(const std::vector<std::filesystem::path>& inputs, const ReadOptions& options, bool bTell,
                      const std::function<void(std::span<const Point3>)>& fn) {
    InputFacts facts;
    uint64 numSkipped = 0;
    PointCollector collector(options);
    std::vector<Point3> vPart;
    OptionalStage stage("IO_files", bytesOf(inputs));
    for (const std::filesystem::path& path : inputs) {
        PointFile told;
        ScanFile(path.string()).collect(options, collector, stage, told, [&] {
            collector.takePoints(vPart);
            numSkipped += std::erase_if(vPart, isNotFinite);
            facts.numPoints += vPart.size();
            fn(vPart);
        });
        for (const std::string& note : told.notes)
            if (bTell) showWarning("tiles", path.string() + ": " + note);
    }
    if (bTell && numSkipped > 0)
        showWarning("tiles", "Skipped " + std::to_string(numSkipped) + " points with non-finite coordinates");
    facts.viewpoint = collector.oneViewpoint();
    return facts;
}

}  // namespace QUOR_ZEF
