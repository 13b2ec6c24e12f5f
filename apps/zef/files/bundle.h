#pragma once

#include <string>

#include "CommandRun.h"
#include "files/scenes.h"
#include "zef/view.h"

// The script of the pages: installed with the tool, or lying in the build tree that the tool
// is run from. Throws Failure, which says how to get it.
std::string readBundle();

// Writes a page and reports its name. From here on the command cannot be cancelled.
void writePageFile(CommandRun& commandRun, const std::string& path, const zef::ViewScene& scene,
                   const std::string& bundle, const zef::PageOptions& options);

// Shows the file in the user's browser; warns if nothing can.
void openInBrowser(CommandRun& commandRun, const std::string& path);
