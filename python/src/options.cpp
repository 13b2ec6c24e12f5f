#include "options.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string_view>
#include <type_traits>
#include <utility>

#include "errors.h"

namespace py = pybind11;

namespace zefpy {

Options optionsOf(zef::ReconstructOptions& o) {
    return {
        {"spacing", &o.spacing,
         "distance of the mesh vertices, in the unit of the points; 0: the spacing of the points is measured and "
         "multiplied by the factor"},
        {"factor", &o.factor, "multiplies the measured spacing; 1 to 1.5 suits most scans"},
        {"smooth", &o.smooth, "one more pass of smoothing before vertices are made, for noisy scans"},
        {"growSteps", &o.growSteps,
         "how far gaps are closed, in steps of about half a vertex distance from each side; 0 leaves every gap open"},
        {"keepBorders", &o.keepBorders,
         "whether surface that closing gaps made beyond the rim of an open sheet is taken back"},
        {"keepOutliers", &o.keepOutliers, "whether points are meshed that belong to no surface"},
        {"density", &o.density,
         "\"auto\", \"even\" (the grid alone) or \"uneven\" (sparse parts are laid out as flat pieces)"},
        {"levels", &o.levels,
         "how often the distance of points may double, from the edge of a grid cell on, until they are too few for a "
         "surface; 0 to 10"},
        {"mend", &o.mend,
         "whether the mesh is made manifold, its pieces are turned to one side, and filled places "
         "get colours"},
        {"refit", &o.refit, "with mend: whether the mesh is then fitted closer to the points"},
        {"refitRadius", &o.refitRadius, "with refit: how far a face looks for points, in spacings; 0: by the noise"},
        {"untangle", &o.untangle, "with mend: whether triangles that intersect are then parted"},
        {"closed", &o.closed,
         "with mend and untangle: whether every piece is closed, and what encloses no volume left out"},
        {"keepInner", &o.keepInner, "with closed: whether pieces inside others stay"},
        {"thicken", &o.thicken,
         "with closed: open sheets become bodies that are so thick, in the unit of the points; 0 leaves them out"},
        {"minHandle", &o.minHandle,
         "with mend: narrower handles and tunnels that no points hold open are cut or filled, in cells; 0 keeps all"},
        {"thinWalls", &o.thinWalls, "with mend: whether both faces of walls that are too thin for the grid stay"},
        {"minPiece", &o.minPiece, "pieces of fewer triangles than this are removed in the end; 0 keeps all"},
        {"viewpoint", &o.viewpoint,
         "where the scanner stood, if all points were seen from there: x, y, z in the coordinates of the points"},
        {"measureCoverage", &o.measureCoverage, "whether the coverage and the noise of the report are measured"},
    };
}

Options optionsOf(zef::MeltOptions& o) {
    return {
        {"spacing", &o.spacing,
         "edge of a grid cell, in the unit of the corners; 0: a 200th of the longest side, or more for very many "
         "cells"},
        {"featureAngle", &o.featureAngle,
         "degrees, 0 to 361; edges whose triangles meet at that angle or more, between the normals, stay sharp; 361 "
         "for none"},
        {"mend", &o.mend, "whether the mesh is made manifold"},
        {"untangle", &o.untangle, "with mend: whether triangles that intersect are then parted"},
        {"outer", &o.outer,
         "with mend: whether all is left out that cannot be seen from outside; only for triangles without borders"},
    };
}

Options optionsOf(zef::ManifoldOptions& o) {
    return {
        {"fillHoles", &o.fillHoles, "small ones; else holes stay open"},
        {"maxHoleEdges", &o.maxHoleEdges, "of holes in surfaces that are no bodies"},
        {"exactVertices", &o.exactVertices, "whether the vertices lie on the surface, as those of melt() do"},
        {"untangle", &o.untangle, "whether triangles that intersect are then parted, as by untangle()"},
    };
}

Options optionsOf(zef::RefitOptions& o) {
    return {
        {"spacing", &o.spacing, "of the points, in their unit; 0: it is measured"},
        {"radius", &o.radius, "how far a face looks for points, in spacings; 0: by the noise that is measured"},
    };
}

Options optionsOf(zef::ReduceOptions& o) {
    return {
        {"targetTriangles", &o.targetTriangles, "how many to leave, or one less; 0: as few as the error allows"},
        {"maxError", &o.maxError, "distance from the input, in the unit of the vertices"},
        {"maxColorStep", &o.maxColorStep,
         "with max_error: how far a channel (0 to 255) may be off at any input vertex"},
        {"untangle", &o.untangle, "whether merges are left out that make triangles intersect"},
    };
}

Options optionsOf(zef::ReduceFlatOptions& o) {
    return {
        {"maxEdgeLength", &o.maxEdgeLength,
         "the longest edge that may be merged away, in the unit of the vertices; 0: 4 average edges"},
        {"maxDeviationDeg", &o.maxDeviationDeg, "degrees, 0 to 180: how far one merge may turn a triangle"},
        {"untangle", &o.untangle, "whether triangles that intersect since then are parted"},
    };
}

Options optionsOf(zef::SmoothingOptions& o) {
    return {
        {"steps", &o.steps, "how often; 0 does nothing"},
        {"keepVolume", &o.keepVolume, "follow each step by one back, which removes only what is rough"},
        {"lambda", &o.lambda, "share of the way to the neighbours' mean, above 0, below 1"},
        {"mu", &o.mu, "of the step back; below -lambda_, by little"},
        {"untangle", &o.untangle, "whether moves are taken back that make triangles intersect"},
    };
}

Options optionsOf(zef::ReadOptions& o) {
    return {
        {"keepClasses", &o.keepClasses, "a list of whole numbers: only points of these classes of LAS; none: of all"},
        {"dropClasses", &o.dropClasses, "no points of these classes of LAS"},
        {"box", &o.box, "two corners, the lowest and the highest x, y, z: only points between them"},
        {"every", &o.every, "of the points that are left, the first of each so many"},
        {"grid", &o.grid,
         "above 0: one point for each cell of a grid with this side, the mean of those in it; memory then goes by the "
         "points that come out, for the formats of scanners"},
        {"scan", &o.scan, "only this scan of files that hold several, from 0 on"},
        {"columns", &o.columns, "names of the columns of text, apart by commas: \"x,y,z,i,r,g,b\""},
        {"partial", &o.partial, "whether what can be read of a damaged file is taken"},
    };
}

Options optionsOf(zef::ReadMeshOptions& o) {
    return {{"mergeEqual", &o.mergeEqual, "makes one vertex of those with equal positions, whatever the format"}};
}

Options optionsOf(zef::WriteOptions& o) {
    return {
        {"precision", &o.precision,
         "\"auto\" (floats unless they lose more than a thousandth of the spacing), \"single\" or \"double\""},
        {"spacing", &o.spacing, "what rounding is measured against, in the unit of the vertices; 0: an average"},
        {"text", &o.text, "text where the format has both forms (PLY, STL)"},
        {"normals", &o.normals,
         "whether normals are written: of a mesh those of its vertices (PLY, OBJ, glTF), of a Cloud its own (PLY, "
         "text)"},
        {"offset", &o.offset, "x, y, z that are subtracted from all coordinates"},
        {"comments", &o.comments, "a line each (PLY, OBJ, OFF)"},
    };
}

Options optionsOf(zef::CompareOptions& o) {
    return {
        {"samples", &o.samples, "of a mesh, strewn evenly over its area; of a cloud all points are asked"},
        {"limit", &o.limit,
         "where the histograms end, in the unit of the vertices; 0: where 99 of 100 samples are nearer"},
        {"bins", &o.bins, "of the histograms up to there, 1 to 10000"},
    };
}

Options optionsOf(zef::DrawOptions& o) {
    return {
        {"width", &o.width, "pixels, 16 to 16384"},
        {"height", &o.height, "pixels, 16 to 16384"},
        {"from", &o.from,
         "where the viewer stands: \"iso\" (in front, to the right and above), \"front\", \"back\", \"left\", "
         "\"right\", \"top\" or \"bottom\""},
        {"yUp", &o.yUp, "whether y is up instead of z"},
        {"smooth", &o.smooth, "whether the light changes across triangles, not at their edges"},
        {"colors", &o.colors, "those of vertices and points; else one for each mesh"},
        {"borders", &o.borders, "border edges and non-manifold edges as lines"},
        {"pointSize", &o.pointSize, "pixels; 0: by their number"},
        {"finer", &o.finer, "samples a pixel in each direction, 1 to 4"},
    };
}

Options optionsOf(zef::PageOptions& o) {
    return {
        {"title", &o.title, "of the page, plain text"},
        {"names", &o.names, "of the meshes, a list of texts"},
        {"yUp", &o.yUp, "whether y is up instead of z"},
        {"maxTriangles", &o.maxTriangles, "of a mesh; one with more is shown coarser"},
        {"maxPoints", &o.maxPoints, "of the cloud; of more, some are shown, evenly"},
    };
}

Options optionsOf(zef::TileOptions& o) {
    constexpr std::array<std::string_view, 6> others = {"closed",          "keepInner", "thicken",
                                                        "measureCoverage", "every",     "grid"};
    Options options = optionsOf(o.reconstruction);
    for (const Option& option : optionsOf(o.reading)) options.push_back(option);
    std::erase_if(options, [&](const Option& option) { return std::ranges::count(others, option.name) > 0; });
    options.push_back({"memory", &o.memory,
                       "bytes that the mesh of one tile may take, a number or a text such as \"4G\"; tiles are cut so "
                       "that they keep to it"});
    options.push_back({"halo", &o.halo, "cells around the box of a tile that it reads as well"});
    options.push_back({"cuts", &o.cuts,
                       "how many tiles along x, y and z, equally wide; None: as many as memory wants, of about equal "
                       "numbers of points"});
    return options;
}

// ---- names

std::string pythonName(const std::string& name) {
    if (name == "lambda" || name == "from") return name + "_";
    std::string snake;
    for (const char c : name) {
        if (std::isupper(static_cast<unsigned char>(c))) snake += '_';
        snake += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return snake;
}

namespace {

struct AllOptions {
    zef::ReconstructOptions reconstruct;
    zef::MeltOptions melt;
    zef::ManifoldOptions manifold;
    zef::RefitOptions refit;
    zef::ReduceOptions reduce;
    zef::ReduceFlatOptions reduceFlat;
    zef::SmoothingOptions smoothing;
    zef::ReadOptions read;
    zef::ReadMeshOptions readMesh;
    zef::WriteOptions write;
    zef::CompareOptions compare;
    zef::DrawOptions draw;
    zef::PageOptions page;
    zef::TileOptions tiles;

    std::vector<std::pair<const char*, Options>> byStructure() {
        return {{"ReconstructOptions", optionsOf(reconstruct)},
                {"MeltOptions", optionsOf(melt)},
                {"ManifoldOptions", optionsOf(manifold)},
                {"RefitOptions", optionsOf(refit)},
                {"ReduceOptions", optionsOf(reduce)},
                {"ReduceFlatOptions", optionsOf(reduceFlat)},
                {"SmoothingOptions", optionsOf(smoothing)},
                {"ReadOptions", optionsOf(read)},
                {"ReadMeshOptions", optionsOf(readMesh)},
                {"WriteOptions", optionsOf(write)},
                {"CompareOptions", optionsOf(compare)},
                {"DrawOptions", optionsOf(draw)},
                {"PageOptions", optionsOf(page)},
                {"TileOptions", optionsOf(tiles)}};
    }
};

std::map<std::string, std::string> collectNames() {
    std::map<std::string, std::string> names = {{"indices", "triangles"},
                                                {"corners", "triangles"},
                                                {"lowFraction", "low_fraction"},
                                                {"highFraction", "high_fraction"}};
    for (const auto& [structure, options] : AllOptions().byStructure())
        for (const Option& option : options) names.emplace(option.name, pythonName(option.name));
    names.erase("from");  // a word of many texts
    return names;
}

bool isWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

}  // namespace

std::string inPythonWords(const std::string& text) {
    static const std::map<std::string, std::string> names = collectNames();
    std::string words;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = begin;
        while (end < text.size() && isWordChar(text[end])) ++end;
        const std::string word = text.substr(begin, end - begin);
        // Common words are names only where they begin the text, or a part of a name.
        const bool bName = begin == 0 || text[begin - 1] == '.' || word != pythonName(word);
        const auto found = names.find(word);
        words += bName && found != names.end() ? found->second : word;
        if (end < text.size()) words += text[end];
        begin = end + 1;
    }
    return words;
}

// ---- values

namespace {

constexpr std::array<const char*, 3> densityWords = {"auto", "even", "uneven"};
constexpr std::array<const char*, 3> precisionWords = {"auto", "single", "double"};
constexpr std::array<const char*, 7> viewWords = {"iso", "front", "back", "left", "right", "top", "bottom"};

std::string shortText(const py::handle& value) {
    constexpr std::size_t maxLength = 60;
    std::string text = py::repr(value).cast<std::string>();
    if (text.size() > maxLength) text = text.substr(0, maxLength) + "...";
    return text;
}

template <class Failure>
[[noreturn]] void refuse(const std::string& name, const py::handle& value, const std::string& wish) {
    PyErr_Clear();
    throw Failure(name + " is " + shortText(value) + "; it must be " + wish);
}

bool isTruth(const py::handle& value) {
    return PyBool_Check(value.ptr()) || std::strncmp(Py_TYPE(value.ptr())->tp_name, "numpy.bool", 10) == 0;
}

// A Python or numpy number, not an array of one.
bool isReal(const py::handle& value) {
    const PyNumberMethods* const pMethods = Py_TYPE(value.ptr())->tp_as_number;
    return pMethods && (pMethods->nb_float || pMethods->nb_index) && !isTruth(value) && !py::hasattr(value, "__len__");
}

void read(const std::string& name, const py::handle& value, bool& place) {
    if (!isTruth(value)) refuse<WrongType>(name, value, "True or False");
    place = PyObject_IsTrue(value.ptr()) == 1;
}

void read(const std::string& name, const py::handle& value, double& place) {
    if (!isReal(value)) refuse<WrongType>(name, value, "a number");
    place = PyFloat_AsDouble(value.ptr());
    if (PyErr_Occurred() || std::isnan(place)) refuse<zef::ArgumentError>(name, value, "a number");
}

template <class Whole>
requires(std::is_integral_v<Whole> && !std::is_same_v<Whole, bool>) void read(const std::string& name,
                                                                              const py::handle& value, Whole& place) {
    constexpr long long highest = sizeof(Whole) < sizeof(long long)
                                      ? static_cast<long long>(std::numeric_limits<Whole>::max())
                                      : std::numeric_limits<long long>::max();
    const std::string wish = "a whole number from 0 to " + std::to_string(highest);
    if (!isReal(value) || !PyIndex_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    const py::object whole = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    const long long number = whole ? PyLong_AsLongLong(whole.ptr()) : -1;
    if (PyErr_Occurred() || number < 0 || number > highest) refuse<zef::ArgumentError>(name, value, wish);
    place = static_cast<Whole>(number);
}

template <class Enum, std::size_t n>
void readWord(const std::string& name, const py::handle& value, const std::array<const char*, n>& words, Enum& place) {
    std::string wish;
    const bool bText = PyUnicode_Check(value.ptr());
    for (std::size_t i = 0; i < n; ++i) {
        wish += (i == 0 ? "\"" : i + 1 < n ? ", \"" : " or \"") + std::string(words[i]) + "\"";
        if (!bText || PyUnicode_CompareWithASCIIString(value.ptr(), words[i]) != 0) continue;
        place = static_cast<Enum>(i);
        return;
    }
    if (!bText) refuse<WrongType>(name, value, wish);
    refuse<zef::ArgumentError>(name, value, wish);
}

void read(const std::string& name, const py::handle& value, zef::Density& place) {
    readWord(name, value, densityWords, place);
}

void read(const std::string& name, const py::handle& value, zef::Precision& place) {
    readWord(name, value, precisionWords, place);
}

void read(const std::string& name, const py::handle& value, zef::ViewFrom& place) {
    readWord(name, value, viewWords, place);
}

std::array<double, 3> readThree(const std::string& name, const py::handle& value) {
    constexpr const char* wish = "three finite numbers";
    if (!PySequence_Check(value.ptr()) || PyUnicode_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    const Py_ssize_t length = PySequence_Size(value.ptr());
    if (length != 3) refuse<zef::ArgumentError>(name, value, wish);
    std::array<double, 3> numbers{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto number =
            py::reinterpret_steal<py::object>(PySequence_GetItem(value.ptr(), static_cast<Py_ssize_t>(i)));
        if (!number || !isReal(number)) refuse<WrongType>(name, value, wish);
        numbers[i] = PyFloat_AsDouble(number.ptr());
        if (PyErr_Occurred() || !std::isfinite(numbers[i])) refuse<zef::ArgumentError>(name, value, wish);
    }
    return numbers;
}

void read(const std::string& name, const py::handle& value, zef::Vector3& place) {
    const auto [x, y, z] = readThree(name, value);
    place = {x, y, z};
}

void read(const std::string& name, const py::handle& value, std::optional<zef::Point3>& place) {
    place.reset();
    if (value.is_none()) return;
    const auto [x, y, z] = readThree(name, value);
    place.emplace(x, y, z);
}

void read(const std::string& name, const py::handle& value, std::optional<std::uint32_t>& place) {
    place.reset();
    if (!value.is_none()) read(name, value, place.emplace());
}

void read(const std::string& name, const py::handle& value, std::optional<std::array<zef::Point3, 2>>& place) {
    place.reset();
    if (value.is_none()) return;
    constexpr const char* wish = "two corners of three numbers each";
    if (!PySequence_Check(value.ptr()) || PyUnicode_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    if (PySequence_Size(value.ptr()) != 2) refuse<zef::ArgumentError>(name, value, wish);
    std::array<zef::Point3, 2>& corners = place.emplace();
    for (std::size_t i = 0; i < 2; ++i) {
        const auto corner =
            py::reinterpret_steal<py::object>(PySequence_GetItem(value.ptr(), static_cast<Py_ssize_t>(i)));
        const auto [x, y, z] = readThree(name, corner);
        corners[i].set(x, y, z);
    }
}

void read(const std::string& name, const py::handle& value, std::array<int, 3>& place) {
    place = {};
    if (value.is_none()) return;
    constexpr const char* wish = "three whole numbers";
    if (!PyList_Check(value.ptr()) && !PyTuple_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    if (PySequence_Size(value.ptr()) != 3) refuse<zef::ArgumentError>(name, value, wish);
    const auto numbers = py::reinterpret_borrow<py::sequence>(value);
    for (std::size_t i = 0; i < 3; ++i) read(name, py::object(numbers[i]), place.at(i));
}

void read(const std::string& name, const py::handle& value, std::vector<std::uint8_t>& place) {
    constexpr const char* wish = "a list or tuple of whole numbers from 0 to 255";
    if (!PyList_Check(value.ptr()) && !PyTuple_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    place.clear();
    for (const py::handle number : py::reinterpret_borrow<py::sequence>(value))
        read(name, number, place.emplace_back());
}

// One line, in Unicode.
std::string readLine(const std::string& name, const py::handle& whole, const py::handle& line, const char* wish) {
    if (!PyUnicode_Check(line.ptr())) refuse<WrongType>(name, whole, wish);
    Py_ssize_t length = 0;
    const char* const pText = PyUnicode_AsUTF8AndSize(line.ptr(), &length);
    if (!pText) refuse<zef::ArgumentError>(name, whole, "texts in Unicode");
    std::string text(pText, static_cast<std::size_t>(length));
    if (text.find_first_of("\r\n") != std::string::npos) refuse<zef::ArgumentError>(name, whole, wish);
    return text;
}

void read(const std::string& name, const py::handle& value, std::string& place) {
    place = readLine(name, value, value, "a text of one line");
}

void read(const std::string& name, const py::handle& value, std::vector<std::string>& place) {
    constexpr const char* wish = "a list or tuple of texts, a line each";
    if (!PyList_Check(value.ptr()) && !PyTuple_Check(value.ptr())) refuse<WrongType>(name, value, wish);
    place.clear();
    for (const py::handle line : py::reinterpret_borrow<py::sequence>(value))
        place.push_back(readLine(name, value, line, wish));
}

py::object tell(zef::Density value) {
    return py::str(densityWords.at(static_cast<std::size_t>(value)));
}
py::object tell(zef::Precision value) {
    return py::str(precisionWords.at(static_cast<std::size_t>(value)));
}
py::object tell(zef::ViewFrom value) {
    return py::str(viewWords.at(static_cast<std::size_t>(value)));
}
py::object tell(const std::string& value) {
    return py::str(value);
}
py::object tell(const std::optional<zef::Point3>& value) {
    return value ? py::object(py::make_tuple(value->px, value->py, value->pz)) : py::none();
}
py::object tell(const std::optional<std::uint32_t>& value) {
    return value ? py::object(py::int_(*value)) : py::none();
}
py::object tell(const std::optional<std::array<zef::Point3, 2>>& value) {
    if (!value) return py::none();
    return py::make_tuple(tell(std::optional(value->front())), tell(std::optional(value->back())));
}
py::object tell(const std::vector<std::uint8_t>& value) {
    return py::tuple(py::cast(value));
}
py::object tell(const std::array<int, 3>& value) {
    return value == std::array<int, 3>{} ? py::none() : py::object(py::make_tuple(value[0], value[1], value[2]));
}
py::object tell(const zef::Vector3& value) {
    return py::make_tuple(value.vx, value.vy, value.vz);
}
py::object tell(const std::vector<std::string>& value) {
    return py::tuple(py::cast(value));
}
template <class T>
requires(std::is_arithmetic_v<T>) py::object tell(T value) {
    return py::cast(value);
}

}  // namespace

py::dict describeOptions() {
    AllOptions all;
    py::dict described;
    for (const auto& [structure, options] : all.byStructure()) {
        py::list list;
        for (const Option& option : options) {
            const py::object value = std::visit([](const auto* pValue) { return tell(*pValue); }, option.place);
            list.append(py::make_tuple(pythonName(option.name), value, option.meaning));
        }
        described[structure] = py::tuple(list);
    }
    return described;
}

void readArgument(const Option& argument, const py::handle& value) {
    std::visit([&](auto* pPlace) { read(pythonName(argument.name), value, *pPlace); }, argument.place);
}

void readOptions(const Options& options, const py::dict& given) {
    for (const Option& option : options) {
        const py::str name = pythonName(option.name);
        if (given.contains(name)) readArgument(option, given[name]);
    }
}

}  // namespace zefpy
