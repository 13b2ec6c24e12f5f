#pragma once

#include <string>

// From here on Ctrl-C (or a polite kill) ends the process at once, wherever it is,
// with a message and EXIT_CANCELLED.
void catchInterrupts();

// A file that an interrupt removes, with its folder if nothing else is in there. Of one folder, up to eight files.
void removeWhenInterrupted(const std::string& file, const std::string& folder);

// From here on the process ends by itself, since it has begun to write; a second
// Ctrl-C ends it all the same.
void holdInterrupts();
