#include "files/outputs.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "failures.h"
#include "files/pipes.h"
#include "numbers.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t numSniffed = 4096;

std::string firstBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes(numSniffed, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    return bytes;
}

bool startsWith(std::string_view bytes, std::string_view start) {
    return bytes.substr(0, start.size()) == start;
}

template <class T>
T valueAt(std::string_view bytes, std::size_t offset) {
    T value{};
    if (offset + sizeof(T) <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

bool isBinaryStl(std::string_view bytes, std::uintmax_t fileSize) {
    constexpr std::size_t header = 84;
    constexpr std::uintmax_t bytesPerTriangle = 50;
    if (bytes.size() < header) return false;
    return fileSize == header + bytesPerTriangle * valueAt<std::uint32_t>(bytes, header - 4);
}

bool isBinaryPoints(std::string_view bytes, std::uintmax_t fileSize) {
    constexpr std::size_t header = 12;
    const auto type = valueAt<std::int32_t>(bytes, 0);
    if (bytes.size() < header || (type != 20 && type != 30)) return false;
    const std::uintmax_t bytesPerPoint = type == 20 ? 16 : 24;
    const std::uintmax_t body = fileSize - header;
    return body % bytesPerPoint == 0 && body / bytesPerPoint == valueAt<std::uint64_t>(bytes, 4);
}

bool isSeparator(char c) {
    return std::isspace(static_cast<unsigned char>(c)) || c == ',' || c == ';';
}

// The numbers at the front of a line, up to three.
int countNumbers(std::string_view line) {
    int num = 0;
    while (num < 3) {
        while (!line.empty() && isSeparator(line.front())) line.remove_prefix(1);
        const auto end = static_cast<std::size_t>(std::find_if(line.begin(), line.end(), isSeparator) - line.begin());
        double value;
        if (end == 0 || !parseNumber(line.substr(0, end), value)) break;
        line.remove_prefix(end);
        ++num;
    }
    return num;
}

bool isObjLine(std::string_view line) {
    return startsWith(line, "v ") && countNumbers(line.substr(2)) == 3;
}

// Text with a point on one of its first lines, as a list or as an OBJ file.
bool isPointText(std::string_view bytes) {
    constexpr int numLines = 32;
    if (bytes.find('\0') != std::string_view::npos) return false;
    for (int i = 0; i < numLines && !bytes.empty(); ++i) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        const std::string_view line = bytes.substr(0, end);
        if (countNumbers(line) == 3 || isObjLine(line)) return true;
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
    return false;
}

bool isAnInput(const std::string& path, const std::vector<std::string>& vInputs) {
    return std::any_of(vInputs.begin(), vInputs.end(), [&](const std::string& input) {
        std::error_code ignored;
        return fs::equivalent(path, input, ignored);
    });
}

}  // namespace

bool isCloudOrMeshFile(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) return false;
    if (size == 0) return true;
    const std::string bytes = firstBytes(path);
    for (const char* const start : {"ply\n", "ply\r", "solid", "OFF", "COFF", "glTF", "LIST", "{ LIST", "LASF",
                                    "ASTM-E57", "# .PCD", "VERSION"}) {
        if (startsWith(bytes, start)) return true;
    }
    return isBinaryStl(bytes, size) || isBinaryPoints(bytes, size) || isPointText(bytes);
}

namespace {

// isKind: whether an existing file may go; kind: in words.
void checkReplaced(const std::string& path, const std::vector<std::string>& vInputs, bool bForce,
                   bool (*isKind)(const std::string&), const char* kind) {
    if (isPipe(path)) return;
    std::error_code error;
    const fs::path folder = fs::absolute(path).parent_path();
    if (!fs::is_directory(folder, error)) throw Failure(path + ": there is no folder " + folder.string());
    if (fs::is_directory(path, error)) throw Failure(path + ": is a folder");
    if (bForce || !fs::is_regular_file(path, error)) return;
    if (isAnInput(path, vInputs)) {
        throw Failure(path + ": is an input too; give another name, or --force to replace it");
    }
    if (!isKind(path)) {
        throw Failure(path + ": exists and is no " + kind + "; give another name, or --force to replace it");
    }
}

bool isPngFile(const std::string& path) {
    const std::string bytes = firstBytes(path);
    return bytes.empty() || startsWith(bytes, "\x89PNG");
}

bool isPageFile(const std::string& path) {
    const std::string bytes = firstBytes(path);
    return bytes.empty() || bytes.find("<meta name=\"generator\" content=\"zef\">") != std::string::npos;
}

}  // namespace

void checkOutput(const OutputOptions& output, const std::vector<std::string>& vInputs) {
    checkReplaced(output.path, vInputs, output.bForce, isCloudOrMeshFile, "cloud or mesh");
}

void checkPicture(const std::string& path, const std::vector<std::string>& vInputs, bool bForce) {
    checkReplaced(path, vInputs, bForce, isPngFile, "PNG picture");
}

void checkPage(const std::string& path, const std::vector<std::string>& vInputs, bool bForce) {
    checkReplaced(path, vInputs, bForce, isPageFile, "page of zef");
}

zef::WriteOptions writeOptionsOf(const OutputOptions& output, const zef::Vector3& middle, double spacing) {
    zef::WriteOptions options;
    if (output.bDouble) options.precision = zef::Precision::DOUBLE;
    if (output.bSingle) options.precision = zef::Precision::SINGLE;
    options.spacing = spacing;
    options.normals = output.bNormals;
    std::array<double, 3> shift{};
    if (parseThree(output.shift, shift)) options.offset = {shift[0], shift[1], shift[2]};
    if (output.shift == "auto") options.offset = middle;
    return options;
}

void reportWritten(Report& report, const OutputOptions& output, const zef::WriteResult& written) {
    report.addText("precision", "precision", written.doubles ? "double" : "single");
    if (output.shift.empty() && written.offset.isDegenerate()) return;
    const std::array<double, 3> offset{written.offset.vx, written.offset.vy, written.offset.vz};
    const std::string text = shortestText(offset[0]) + " " + shortestText(offset[1]) + " " + shortestText(offset[2]);
    report.add("shift", "shift taken away", offset, text);
}

namespace {

template <class Cloud>
void writeAny(CommandRun& commandRun, const OutputOptions& output, const zef::WriteOptions& options,
              const Cloud& cloud) {
    commandRun.report.addText("output", "output", output.path);
    writeOutput(commandRun, output.path, output.format, [&](const std::string& name) {
        reportWritten(commandRun.report, output, zef::write(name, cloud, options, commandRun.getContext()));
    });
}

}  // namespace

void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double spacing,
                    std::span<const zef::Point3> points) {
    writeAny(commandRun, output, writeOptionsOf(output, zef::middleOffset(points), spacing), points);
}

void writeCloudFile(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::PointFile& cloud) {
    writeAny(commandRun, output, writeOptionsOf(output, zef::middleOffset(cloud.points), spacing), cloud);
}
