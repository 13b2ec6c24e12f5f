#pragma once

#include <sys/types.h>

#include <string>

// From here on Ctrl-C (or a polite kill) ends the process at once, wherever it is,
// with a message and EXIT_CANCELLED.
void catchInterrupts();

// A file that an interrupt removes, with its folder if nothing else is in there. Of one folder, up to eight files.
void removeWhenInterrupted(const std::string& file, const std::string& folder);

// A process that an interrupt ends as well, until it is forgotten, which has to be before anybody waits for it. Up to
// 1024 at once.
void killWhenInterrupted(pid_t child);
void forgetChild(pid_t child);

// What an interrupt says in place of that nothing was written. Must live on.
void sayWhenInterrupted(const char* line);

// From here on the process ends by itself, since it has begun to write; a second
// Ctrl-C ends it all the same.
void holdInterrupts();
