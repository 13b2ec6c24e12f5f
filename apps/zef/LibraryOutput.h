#pragma once

#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>

class ProgressBar;

// Takes what the library prints on standard output, for the time of its life:
// that stream belongs to the reports. Messages go to standard error in the
// tool's own form, with quietness only the errors. What a failing check of the
// library said is kept for the one message that ends the run.
class LibraryOutput : private std::streambuf {
public:
    // bar: borrowed; hidden before a message.
    LibraryOutput(ProgressBar& bar, bool bQuiet);
    ~LibraryOutput() override;
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    // Why the last check failed, for people; empty if none did.
    const std::string& getFailure() const { return failure; }

private:
    ProgressBar& bar;
    bool bQuiet;
    std::streambuf* pOld;   // not owned
    std::mutex lineMutex;   // workers of the library may print too
    std::string line;       // up to the next end of line
    std::string codePlace;  // lines that may turn out to begin a failed check
    std::string failure;

    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* pText, std::streamsize length) override;
    void take(char c);
    void takeLine();
    void takeMessage(const std::string& title, const std::string& text, bool bError);
    void show(const std::string& text);
    void showCodePlace();
};
