#pragma once

#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "support/tempFolder.h"

namespace zef_test {

struct ToolRun {
    int status = -1;  // as a shell reports it
    std::string out, err;

    // The last line of standard output.
    nlohmann::json report() const {
        const std::string lines = out.substr(0, out.find_last_not_of('\n') + 1);
        const auto start = lines.rfind('\n');
        return nlohmann::json::parse(lines.substr(start == std::string::npos ? 0 : start + 1), nullptr, false);
    }
};

inline std::string contentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A name as one word of the shell.
inline std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

// A slightly wavy sheet of points as lines of text, side times side of them.
inline std::string sheetText(int side, double step, double offset = 0.0) {
    std::ostringstream text;
    text.precision(9);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            text << offset + step * x << " " << offset + step * y << " "
                 << 0.2 * std::sin(1.5 * step * x) * std::cos(1.1 * step * y) << "\n";
    return text.str();
}

// Runs the built tool through the shell; arguments are quoted by the caller.
inline ToolRun runTool(const std::string& arguments) {
    const TempFolder streams;
    const std::string out = streams.name("out"), err = streams.name("err");
    const std::string command = std::string("'" ZEF_TOOL "' ") + arguments + " >'" + out + "' 2>'" + err + "'";
    const int status = std::system(command.c_str());
    ToolRun run;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out = contentOf(out);
    run.err = contentOf(err);
    return run;
}

}  // namespace zef_test
