#include "tiles/jobFiles.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <vector>

#include "bytes/FileBytes.h"
#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "formats/crc32c.h"
#include "frame/Run.h"
#include "tiles/TilePlan.h"

namespace fs = std::filesystem;

namespace QUOR_ZEF {

namespace {

using Json = nlohmann::ordered_json;

std::string numberOf(std::uint32_t tile) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04u", tile);
    return text.data();
}

fs::path recordPath(const fs::path& job, const Step& step) {
    return job / "done" / (step.name() + ".json");
}

// Empty: the step has no file of its own.
fs::path fileOf(const fs::path& job, const Step& step) {
    switch (step.kind) {
        case StepKind::POINTS:
            return pointsPath(job, step.tile);
        case StepKind::MESH:
            return tilePath(job, step.tile);
        case StepKind::SETTLE:
            return seamsPath(job);
        case StepKind::JOIN:
            return meshPath(job);
        case StepKind::SPLIT:
            break;
    }
    return {};
}

// What throws LoadErrors of this file.
template <class Fn>
auto named(const fs::path& path, const Fn& fn) {
    try {
        return fn();
    } catch (const LoadError& error) {
        throw FileError(path.string() + ": " + error.what());
    }
}

std::string textIn(const fs::path& path) {
    FileBytes bytes;
    if (!bytes.load(path.string())) throw FileError(path.string() + ": " + bytes.getError());
    return std::string(bytes.view());
}

void writeText(const fs::path& path, const std::string& text) {
    AtomicFile file(path.string());
    file.write(text);
    commitFile(file, path);
}

bool isAsRecorded(const fs::path& path, const FileSum& sum, bool bCheck) {
    std::error_code missing;
    if (!fs::is_regular_file(path, missing) || fs::file_size(path, missing) != sum.numBytes || missing) return false;
    return !bCheck || sumOf(path) == sum;
}

}  // namespace

fs::path planPath(const fs::path& job) {
    return job / "job.json";
}
fs::path pointsPath(const fs::path& job, std::uint32_t tile) {
    return job / "points" / (numberOf(tile) + ".points");
}
fs::path tilePath(const fs::path& job, std::uint32_t tile) {
    return job / "meshes" / (numberOf(tile) + ".tile");
}
fs::path seamsPath(const fs::path& job) {
    return job / "seams.bin";
}
fs::path meshPath(const fs::path& job) {
    return job / "mesh.ply";
}

void makeFolders(const fs::path& job) {
    for (const char* name : {"points", "meshes", "done"}) {
        std::error_code error;
        fs::create_directories(job / name, error);
        if (error) throw FileError((job / name).string() + ": " + error.message());
    }
}

void commitFile(AtomicFile& file, const fs::path& path) {
    if (!file.commit())
        throw FileError(path.string() + ": " + file.getError() + "; once that is cured, the same call goes on");
}

bool hasPlan(const fs::path& job) {
    std::error_code missing;
    return fs::exists(planPath(job), missing);
}

void writePlan(const fs::path& job, const TilePlan& plan) {
    writeText(planPath(job), textOf(plan));
}

TilePlan readPlan(const fs::path& job) {
    const fs::path path = planPath(job);
    if (!hasPlan(job)) throw FileError(path.string() + ": there is no plan in this folder; plan the job first");
    return named(path, [&] { return planOf(textIn(path)); });
}

std::string Step::name() const {
    switch (kind) {
        case StepKind::POINTS:
            return "points-" + numberOf(tile);
        case StepKind::SPLIT:
            return "split";
        case StepKind::MESH:
            return "mesh-" + numberOf(tile);
        case StepKind::SETTLE:
            return "settle";
        case StepKind::JOIN:
            break;
    }
    return "join";
}

FileSum sumOf(const fs::path& path) {
    constexpr uint64 blockBytes = uint64{1} << 20;
    return named(path, [&] {
        const InputFile file(path.string());
        FileSum sum;
        std::vector<char> vBlock(static_cast<std::size_t>(std::min(blockBytes, file.getSize())));
        while (sum.numBytes < file.getSize()) {
            const std::size_t num =
                static_cast<std::size_t>(std::min<uint64>(vBlock.size(), file.getSize() - sum.numBytes));
            file.read(sum.numBytes, std::span(vBlock).first(num));
            sum.crc = crc32c({vBlock.data(), num}, sum.crc);
            sum.numBytes += num;
            pollRun(0);
        }
        return sum;
    });
}

void writeRecord(const fs::path& job, uint64 digest, const Step& step, const StepRecord& record) {
    const Json out = {{"step", step.name()},
                      {"plan", digest},
                      {"bytes", record.sum.numBytes},
                      {"crc32c", record.sum.crc},
                      {"points", record.numPoints},
                      {"triangles", record.numTriangles},
                      {"vertices", record.numVertices},
                      {"seconds", record.seconds}};
    writeText(recordPath(job, step), out.dump(1) + "\n");
}

std::optional<StepRecord> findRecord(const fs::path& job, uint64 digest, const Step& step, bool bCheck) {
    const fs::path path = recordPath(job, step);
    std::error_code missing;
    if (!fs::exists(path, missing)) return std::nullopt;
    const Json in = Json::parse(textIn(path), nullptr, false);
    StepRecord record;
    try {
        if (in.at("step") != step.name() || in.at("plan") != digest) return std::nullopt;
        record.sum = {in.at("bytes").get<uint64>(), in.at("crc32c").get<std::uint32_t>()};
        record.numPoints = in.at("points").get<uint64>();
        record.numTriangles = in.at("triangles").get<uint64>();
        record.numVertices = in.at("vertices").get<uint64>();
        record.seconds = in.at("seconds").get<double>();
    } catch (const Json::exception&) {
        return std::nullopt;
    }
    const fs::path file = fileOf(job, step);
    if (!file.empty() && !isAsRecorded(file, record.sum, bCheck)) return std::nullopt;
    return record;
}

}  // namespace QUOR_ZEF
