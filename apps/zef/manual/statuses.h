#pragma once

#include <string>
#include <vector>

// What the process's status means, for the help and the man page; the numbers are ExitStatus.
struct StatusRow {
    int status;
    std::string words;
};
std::vector<StatusRow> statusTable();
// All of it in a sentence.
std::string statusWords();
