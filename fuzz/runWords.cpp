#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "fuzz/targets.h"
#include "runTool.h"
#include "tests/support/Folder.h"
#include "tests/support/shapes.h"

namespace zef_fuzz {
namespace {

constexpr std::size_t maxWords = 24;

// At most three digits in a row, or so many that no integer holds them; no exponents and no small fractions, whose
// grids would be large.
std::string withoutLargeNumbers(const std::string& word) {
    std::string cut;
    std::size_t numDigits = 0;
    for (const char c : word) {
        const bool bDigit = std::isdigit(static_cast<unsigned char>(c)) != 0;
        numDigits = bDigit ? numDigits + 1 : 0;
        if (numDigits > 3) continue;
        const bool bExponent =
            (c == 'e' || c == 'E') && !cut.empty() && std::isdigit(static_cast<unsigned char>(cut.back()));
        cut += bExponent ? '-' : c;
    }
    return word.size() > 12 && word.find_first_not_of("0123456789") == std::string::npos ? word : cut;
}

// Nothing outside of the folder, no browser, and no run that asks for more memory than there is.
std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> vWords{"zef"};
    std::istringstream lines(text);
    for (std::string line; vWords.size() < maxWords && std::getline(lines, line);) {
        std::string word = withoutLargeNumbers(line.substr(0, 200));
        for (char& c : word)
            if (c == '/' || c == '\0') c = '_';
        if (word.starts_with("--open") || word.starts_with("--anyway")) word = "--quiet";
        vWords.push_back(word);
    }
    // Its workers would be this program.
    if (vWords.size() > 1 && vWords[1] == "tiles")
        for (const char* pWord : {"--step", "plan"}) vWords.emplace_back(pWord);
    // The default has 200 cells to a side.
    const bool bGrid = vWords.size() > 1 && (vWords[1] == "melt" || vWords[1] == "resample");
    if (bGrid && std::find(vWords.begin(), vWords.end(), "--spacing") == vWords.end())
        for (const char* pWord : {"--spacing", "0.004"}) vWords.emplace_back(pWord);
    return vWords;
}

// Small, so that the numbers above give small grids too.
void writeInputs() {
    const zef_test::Shape torus = zef_test::torus(32, 16, 0.03, 0.012);
    std::ofstream xyz("scan.xyz"), obj("mesh.obj"), off("soup.off");
    for (const auto& p : torus.vertices) {
        xyz << p.px << ' ' << p.py << ' ' << p.pz << '\n';
        obj << "v " << p.px << ' ' << p.py << ' ' << p.pz << '\n';
    }
    for (std::size_t i = 0; i < torus.triples.size(); i += 3)
        obj << "f " << torus.triples[i] + 1 << ' ' << torus.triples[i + 1] + 1 << ' ' << torus.triples[i + 2] + 1
            << '\n';
    off << "OFF 5 3 0\n0 0 0\n.05 0 0\n0 .05 0\n0 0 .05\n.03 .03 .03\n3 0 1 2\n3 0 1 3\n4 1 0 4 2\n";
}

// The working folder of the process from now on.
struct WorkFolder {
    WorkFolder() {
        if (chdir(folder.path.c_str()) != 0) throw std::runtime_error("no working folder");
        // No program is found to show pages with.
        setenv("PATH", folder.path.c_str(), 1);
    }
    ~WorkFolder() {
        if (chdir("/") != 0) return;
    }
    void renew() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path)) std::filesystem::remove_all(entry);
        writeInputs();
    }
    zef_test::Folder folder;
};

}  // namespace

void runWords(const std::string& text) {
    static const WorkFolder folder;
    folder.renew();
    std::vector<std::string> vWords = wordsOf(text);
    std::vector<char*> arguments;
    arguments.reserve(vWords.size() + 1);
    for (std::string& word : vWords) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int status = runTool(static_cast<int>(vWords.size()), arguments.data());
    if (status < 0 || status > 2) throw std::runtime_error("an unknown status");
}

}  // namespace zef_fuzz
