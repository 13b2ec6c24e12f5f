#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include "commands/commands.h"
#include "failures.h"
#include "files/bundle.h"
#include "files/outputs.h"
#include "files/pipes.h"
#include "files/scenes.h"
#include "numbers.h"
#include "options.h"
#include "zef/view.h"

namespace {

struct ViewOptions {
    std::vector<std::string> vInputs;
    std::string page, title, png, size = "1600x1200", from = "iso";
    bool bOpen = false, bForce = false, bFlat = false, bNoBorders = false, bNoColours = false;
    zef::DrawOptions draw;
    TalkOptions talk;
};

// "WxH" in pixels; the library knows their range.
bool parseSize(const std::string& text, zef::DrawOptions& draw) {
    constexpr double most = 1e6;
    const std::size_t cross = text.find('x');
    double width = 0.0, height = 0.0;
    if (cross == std::string::npos || !parseNumber(text.substr(0, cross), width) ||
        !parseNumber(text.substr(cross + 1), height))
        return false;
    if (!(width >= 1.0 && width < most && height >= 1.0 && height < most)) return false;
    draw.width = static_cast<std::uint32_t>(width);
    draw.height = static_cast<std::uint32_t>(height);
    return draw.width == width && draw.height == height;
}

std::string checkSize(const std::string& text) {
    zef::DrawOptions draw;
    return parseSize(text, draw) ? "" : "--size wants two whole numbers of pixels, as 1600x1200";
}

constexpr std::array directions = {"iso", "front", "back", "left", "right", "top", "bottom"};

// As ViewFrom counts them; their number if it is none of them.
std::size_t directionOf(const std::string& text) {
    const std::string word = CLI::detail::to_lower(text);
    return static_cast<std::size_t>(std::find(directions.begin(), directions.end(), word) - directions.begin());
}

std::string checkFrom(const std::string& text) {
    if (directionOf(text) < directions.size()) return "";
    return text + " is none of iso, front, back, left, right, top and bottom";
}

void drawPicture(const ViewOptions& options, CommandRun& commandRun, const ShownFiles& files) {
    zef::DrawOptions draw = options.draw;
    parseSize(options.size, draw);
    draw.from = static_cast<zef::ViewFrom>(directionOf(options.from));
    draw.smooth = !options.bFlat;
    draw.borders = !options.bNoBorders;
    draw.colors = !options.bNoColours;
    commandRun.step("drawing");
    const zef::Image image = zef::draw(files.scene(), draw, commandRun.getContext());
    commandRun.lap("seconds_draw", "draw");
    writeOutput(commandRun, options.png, "png",
                [&](const std::string& name) { zef::writePng(name, image, commandRun.getContext()); });
    commandRun.report.addText("png", "picture", options.png);
    commandRun.lap("seconds_write", "write");
}

std::string titleOf(const std::vector<std::string>& vInputs) {
    std::string title;
    for (const std::string& path : vInputs)
        title += (title.empty() ? "" : " + ") + std::filesystem::path(path).filename().string();
    return title;
}

// Beside the first input if only that is asked for.
std::string pageOf(const ViewOptions& options) {
    if (!options.page.empty() || (!options.png.empty() && !options.bOpen)) return options.page;
    if (isPipe(options.vInputs.front())) throw UsageFailure("the page has no name: give one with -o");
    return std::filesystem::path(options.vInputs.front()).replace_extension(".html").string();
}

int runView(const ViewOptions& options, CommandRun& commandRun) {
    const std::string page = pageOf(options);
    std::string bundle;
    if (!options.png.empty()) checkPicture(options.png, options.vInputs, options.bForce);
    if (!page.empty()) {
        checkPage(page, options.vInputs, options.bForce);
        bundle = readBundle();
    }
    const ShownFiles files = readShown(commandRun, options.vInputs);
    commandRun.lap("seconds_read", "read");
    if (!options.png.empty()) drawPicture(options, commandRun, files);
    if (!page.empty()) {
        zef::PageOptions pageOptions;
        pageOptions.title = options.title.empty() ? titleOf(options.vInputs) : options.title;
        pageOptions.names = files.vMeshNames;
        pageOptions.yUp = options.draw.yUp;
        writePageFile(commandRun, page, files.scene(), bundle, pageOptions);
        commandRun.lap("seconds_page", "page");
    }
    commandRun.reportLaps();
    if (options.bOpen) openInBrowser(commandRun, page);
    return EXIT_DONE;
}

}  // namespace

void addView(Commands& commands) {
    auto pOptions = std::make_shared<ViewOptions>();
    CLI::App& command =
        *commands.app.add_subcommand("view", "Show meshes and clouds together, in a page for the browser or a picture");
    command.add_option("IN", pOptions->vInputs, "Files of triangles or points")->required();
    command
        .add_option("-o,--output", pOptions->page,
                    "The page to write, one file that needs no network; NAME.html beside the first input NAME.* if "
                    "neither this nor --png is given")
        ->type_name("FILE");
    command.add_flag("--open", pOptions->bOpen, "Open the page in the browser");
    command.add_option("--title", pOptions->title, "Of the page; the names of the files if it is not given");
    command.add_option("--png", pOptions->png, "The picture to write, without a browser")->type_name("FILE");
    command.add_option("--size", pOptions->size, "The picture's width and height in pixels")
        ->type_name("WxH")
        ->check(checkSize)
        ->capture_default_str();
    command
        .add_option("--from", pOptions->from,
                    "Where the viewer of the picture stands: iso is in front, to the right and above")
        ->type_name("iso|front|back|left|right|top|bottom")
        ->check(checkFrom)
        ->capture_default_str();
    command.add_flag("--y-up", pOptions->draw.yUp, "y is up, and front sees against z; by default z is up");
    command.add_flag("--flat", pOptions->bFlat, "Each triangle of the picture in one shade");
    command.add_flag("--no-borders", pOptions->bNoBorders,
                     "Picture: do not draw borders and non-manifold edges as lines");
    command.add_flag("--no-colours", pOptions->bNoColours,
                     "Picture: one colour for each mesh, whatever its vertices have");
    command.add_flag("--force", pOptions->bForce, "Replace an output of any kind, also one that is an input");
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef view mesh.ply --open", "Shows mesh.html in the browser."},
                          {"zef view mesh.ply scan.ply -o both.html", "Also how far the points are from the surface."},
                          {"zef view mesh.ply --png mesh.png --from front", "A picture, without a browser."}});
    onRun(commands, command, pOptions, runView);
}
