#include "tiles/TilePlan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>

#include "bytes/LoadError.h"
#include "frame/tools.h"
#include "grid/Calc.h"

namespace QUOR_ZEF {

namespace {

// Keys keep their order, so that equal plans are equal texts.
using Json = nlohmann::ordered_json;

constexpr int planVersion = 2;

template <class T>
concept Whole = std::is_integral_v<T> && !std::is_same_v<T, bool>;

// ---- values

// JSON has no infinite numbers.
void put(Json& out, double value) {
    out = std::isfinite(value) ? Json(value) : Json(value > 0.0 ? "inf" : "-inf");
}
void put(Json& out, bool value) {
    out = value;
}
void put(Json& out, const std::string& value) {
    out = value;
}
void put(Json& out, Density value) {
    out = value == Density::AUTO ? "auto" : value == Density::EVEN ? "even" : "uneven";
}
void put(Json& out, const Point3& value) {
    out = Json::array({0.0, 0.0, 0.0});
    put(out[0], value.px);
    put(out[1], value.py);
    put(out[2], value.pz);
}
template <Whole T>
void put(Json& out, T value) {
    out = value;
}
template <class T, std::size_t size>
void put(Json& out, const std::array<T, size>& values) {
    out = Json::array();
    for (const T& value : values) put(out.emplace_back(), value);
}
template <class T>
void put(Json& out, const std::vector<T>& values) {
    out = Json::array();
    for (const T& value : values) put(out.emplace_back(), value);
}
template <class T>
void put(Json& out, const std::optional<T>& value) {
    if (value)
        put(out, *value);
    else
        out = nullptr;
}

[[noreturn]] void refuse(const Json& in) {
    throw LoadError("damaged: " + in.dump().substr(0, 40) + " is no value that stands there");
}

void take(const Json& in, double& value) {
    if (in.is_number())
        value = in.get<double>();
    else if (in == "inf" || in == "-inf")
        value = in == "inf" ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
    else
        refuse(in);
}
void take(const Json& in, bool& value) {
    value = in.get<bool>();
}
void take(const Json& in, std::string& value) {
    value = in.get<std::string>();
}
void take(const Json& in, Density& value) {
    if (in != "auto" && in != "even" && in != "uneven") refuse(in);
    value = in == "auto" ? Density::AUTO : in == "even" ? Density::EVEN : Density::UNEVEN;
}
template <Whole T>
void take(const Json& in, T& value) {
    if (!in.is_number_integer()) refuse(in);
    const bool bFits =
        in.is_number_unsigned() ? std::in_range<T>(in.get<std::uint64_t>()) : std::in_range<T>(in.get<std::int64_t>());
    if (!bFits) refuse(in);
    value = in.get<T>();
}
void take(const Json& in, Point3& value) {
    if (!in.is_array() || in.size() != 3) refuse(in);
    take(in[0], value.px);
    take(in[1], value.py);
    take(in[2], value.pz);
}
template <class T, std::size_t size>
void take(const Json& in, std::array<T, size>& values) {
    if (!in.is_array() || in.size() != size) refuse(in);
    for (std::size_t i = 0; i < size; ++i) take(in[i], values[i]);
}
template <class T>
void take(const Json& in, std::vector<T>& values) {
    if (!in.is_array()) refuse(in);
    values.clear();
    for (const Json& element : in) take(element, values.emplace_back());
}
template <class T>
void take(const Json& in, std::optional<T>& value) {
    value.reset();
    if (!in.is_null()) take(in, value.emplace());
}

// ---- the fields of structures; a field that is added there does not compile before it is named here

template <class Options, class Visit>
requires std::is_same_v<std::remove_const_t<Options>, ReconstructOptions>
void visitFields(Options& options, const Visit& visit) {
    // Normals and grid cannot be given.
    auto& [spacing, factor, smooth, growSteps, keepBorders, keepOutliers, density, levels, mend, minHandle, thinWalls,
           refit, refitRadius, untangle, closed, keepInner, minPiece, thicken, viewpoint, measureCoverage, normals,
           grid] = options;
    visit("spacing", spacing);
    visit("factor", factor);
    visit("smooth", smooth);
    visit("growSteps", growSteps);
    visit("keepBorders", keepBorders);
    visit("keepOutliers", keepOutliers);
    visit("density", density);
    visit("levels", levels);
    visit("mend", mend);
    visit("minHandle", minHandle);
    visit("thinWalls", thinWalls);
    visit("refit", refit);
    visit("refitRadius", refitRadius);
    visit("untangle", untangle);
    visit("closed", closed);
    visit("keepInner", keepInner);
    visit("thicken", thicken);
    visit("minPiece", minPiece);
    visit("viewpoint", viewpoint);
    visit("measureCoverage", measureCoverage);
}

template <class Options, class Visit>
requires std::is_same_v<std::remove_const_t<Options>, ReadOptions>
void visitFields(Options& options, const Visit& visit) {
    auto& [keepClasses, dropClasses, box, every, grid, scan, columns, partial] = options;
    visit("keepClasses", keepClasses);
    visit("dropClasses", dropClasses);
    visit("box", box);
    visit("every", every);
    visit("grid", grid);
    visit("scan", scan);
    visit("columns", columns);
    visit("partial", partial);
}

template <class Options, class Visit>
requires std::is_same_v<std::remove_const_t<Options>, TileOptions>
void visitFields(Options& options, const Visit& visit) {
    auto& [reconstruction, reading, memory, halo, cuts] = options;
    visitFields(reconstruction, visit);
    visitFields(reading,
                [&](const char* name, auto& value) { visit((std::string("reading.") + name).c_str(), value); });
    visit("memory", memory);
    visit("halo", halo);
    visit("cuts", cuts);
}

template <class GridLike, class Visit>
requires std::is_same_v<std::remove_const_t<GridLike>, Grid>
void visitFields(GridLike& grid, const Visit& visit) {
    auto& [low, spacing, numLevels, measuredSpacing, uneven, levels, smooth, blockLow, blockGridSide, blockLevel, noise,
           stepAxis, stepValues] = grid;
    visit("low", low);
    visit("spacing", spacing);
    visit("numLevels", numLevels);
    visit("measuredSpacing", measuredSpacing);
    visit("uneven", uneven);
    visit("levels", levels);
    visit("smooth", smooth);
    visit("blockLow", blockLow);
    visit("blockGridSide", blockGridSide);
    visit("blockLevel", blockLevel);
    visit("noise", noise);
    visit("stepAxis", stepAxis);
    visit("stepValues", stepValues);
}

template <class T>
Json jsonOf(const T& values) {
    Json out = Json::object();
    visitFields(values, [&](const char* name, const auto& value) { put(out[name], value); });
    return out;
}

template <class T>
void takeFields(const Json& in, T& values) {
    visitFields(values, [&](const char* name, auto& value) { take(in.at(name), value); });
}

Json jsonOf(const std::vector<std::filesystem::path>& inputs) {
    Json out = Json::array();
    for (const std::filesystem::path& input : inputs) out.push_back(input.string());
    return out;
}

using Corners = std::vector<std::array<uint64, 6>>;

Json jsonOf(const std::vector<TileBox>& boxes) {
    Json out = Json::array();
    for (const auto& [low, high] : boxes) out.push_back({low[0], low[1], low[2], high[0], high[1], high[2]});
    return out;
}

std::vector<TileBox> boxesOf(const Json& in) {
    Corners corners;
    take(in, corners);
    std::vector<TileBox> boxes;
    for (const auto& c : corners) boxes.push_back({{c[0], c[1], c[2]}, {c[3], c[4], c[5]}});
    return boxes;
}

// Counts that the rest of the job relies on. That all cells lie in one box is up to whoever made the plan.
void checkCounts(const TilePlan& plan) {
    const auto require = [](bool bHolds) {
        if (!bHolds) throw LoadError("damaged: the numbers of its tiles contradict each other");
    };
    require(plan.grid.numLevels >= 0 && plan.grid.numLevels <= MAXLEVELS && plan.grid.blockLevel >= 0 &&
            plan.grid.blockLevel <= MAXLEVELS && plan.options.halo >= 0);
    require(!plan.inputs.empty() && !plan.boxes.empty() && plan.boxes.size() == plan.numPoints.size() &&
            plan.boxes.size() <= std::numeric_limits<std::uint32_t>::max());
    const uint64 end = uint64{1} << plan.grid.numLevels;
    for (const TileBox& box : plan.boxes)
        for (std::size_t axis = 0; axis < 3; ++axis) require(box.low[axis] < box.high[axis] && box.high[axis] <= end);
}

TilePlan planFrom(const Json& in) {
    if (!in.is_object() || !in.contains("zef_tiles")) throw LoadError("this is no plan of tiles");
    if (in.at("zef_tiles") != planVersion)
        throw LoadError("this plan is of another release of the library; plan the job anew in another folder");
    TilePlan plan;
    std::vector<std::string> inputs;
    take(in.at("inputs"), inputs);
    plan.inputs.assign(inputs.begin(), inputs.end());
    takeFields(in.at("options"), plan.options);
    takeFields(in.at("grid"), plan.grid);
    take(in.at("low"), plan.low);
    take(in.at("high"), plan.high);
    plan.boxes = boxesOf(in.at("boxes"));
    take(in.at("num_points"), plan.numPoints);
    take(in.at("num_all_points"), plan.numAllPoints);
    take(in.at("num_strays"), plan.numStrays);
    take(in.at("viewpoint_told"), plan.viewpointTold);
    checkCounts(plan);
    return plan;
}

}  // namespace

std::string textOf(const TilePlan& plan) {
    Json out = Json::object();
    out["zef_tiles"] = planVersion;
    out["inputs"] = jsonOf(plan.inputs);
    out["options"] = jsonOf(plan.options);
    out["grid"] = jsonOf(plan.grid);
    put(out["low"], plan.low);
    put(out["high"], plan.high);
    out["num_all_points"] = plan.numAllPoints;
    out["num_strays"] = plan.numStrays;
    out["viewpoint_told"] = plan.viewpointTold;
    out["num_points"] = plan.numPoints;
    out["boxes"] = jsonOf(plan.boxes);
    return out.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

TilePlan planOf(std::string_view text) {
    try {
        return planFrom(Json::parse(text));
    } catch (const Json::parse_error& error) {
        throw LoadError("no JSON from byte " + std::to_string(error.byte) + " on");
    } catch (const Json::exception& error) {
        throw LoadError(std::string("damaged: ") + error.what());
    }
}

// FNV-1a of the text.
uint64 digestOf(const TilePlan& plan) {
    constexpr uint64 start = 0xcbf29ce484222325, prime = 0x100000001b3;
    uint64 digest = start;
    for (const char c : textOf(plan)) digest = (digest ^ static_cast<unsigned char>(c)) * prime;
    return digest;
}

std::string differenceOf(const TilePlan& plan, const std::vector<std::filesystem::path>& inputs,
                         const TileOptions& options) {
    if (plan.inputs != inputs) {
        const auto [itPlanned, it] =
            std::mismatch(plan.inputs.begin(), plan.inputs.end(), inputs.begin(), inputs.end());
        return "its inputs are others: " + (itPlanned == plan.inputs.end() ? "nothing" : itPlanned->string()) +
               " there, not " + (it == inputs.end() ? "nothing" : it->string());
    }
    TileOptions given = plan.options;
    if (plan.viewpointTold) given.reconstruction.viewpoint.reset();
    const Json planned = jsonOf(given), now = jsonOf(options);
    for (const auto& [name, value] : now.items())
        if (planned.at(name) != value) return name + " is " + planned.at(name).dump() + " there, not " + value.dump();
    return "";
}

}  // namespace QUOR_ZEF
