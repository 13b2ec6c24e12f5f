#pragma once

#include <functional>
#include <string>
#include <vector>

#include "CommandRun.h"

// The name "-" stands for standard input or output. The library knows files alone, so what goes
// through a pipe lies in a temporary folder meanwhile, which goes with the process.

bool isPipe(const std::string& path);

// A name whose ending tells the format: that of a file, or "-.FORMAT".
std::string nameOfFormat(const std::string& path, const std::string& format);

// read(files) reads what the names stand for: for "-" all of standard input, in the format that
// --format tells, which also tells that of pipes with names. Errors of the library name it as the user did. Throws
// UsageFailure without a format, and Failure if standard input cannot be stored.
void readInputs(CommandRun& commandRun, const std::vector<std::string>& vPaths,
                const std::function<void(const std::vector<std::string>&)>& read);

// write(file) writes what the name stands for. For "-" it is sent on, and the report goes to
// standard error. Throws Failure if that fails. From here on the command cannot be cancelled.
void writeOutput(CommandRun& commandRun, const std::string& path, const std::string& format,
                 const std::function<void(const std::string&)>& write);
