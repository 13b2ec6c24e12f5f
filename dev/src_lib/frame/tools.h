#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "frame/types.h"
#include "zef/exceptions.h"

// Asserts that the library is in order. Always compiled in. A false condition
// writes file, line, function and the condition, exactly as it stands in the
// source, to standard output and throws ZefBugException. The condition may be an
// assignment: the inner parentheses say that it is meant.
#define ASSEX(...)                                                                                                  \
    do {                                                                                                            \
        if (!static_cast<bool>((__VA_ARGS__))) [[unlikely]]                                                         \
            QUOR_ZEF::assexFailed(__FILE__, __LINE__, static_cast<const char*>(__PRETTY_FUNCTION__), #__VA_ARGS__); \
    } while (false)

namespace QUOR_ZEF {

// What ASSEX calls when its condition is false.
[[noreturn]] void assexFailed(const char* file, int line, const char* function, const char* condition);

// What ASSEX and throwBug() throw in a call with surroundings of its own (see Run),
// where nothing goes to standard output.
struct BugReport : public ZefBugException {
    std::string text;  // place and condition, or what showError() said last
    std::string cure;  // of a condition with a text for the caller, that text; else empty
};

// One message each on standard output; the run goes on. place: who speaks,
// as a rule where(...). In a call with surroundings of its own, a warning goes to their
// sink, and an error becomes the text of the exception that ends the call.
void showError(const std::string& place, const std::string& text);
void showWarning(const std::string& place, const std::string& text);
// A warning that only developers understand: a detail for the sink.
void showOddity(const std::string& place, const std::string& text);
// A line for developers, in the same way.
void showDetail(const std::string& line);
// While it lives, the lines that its thread would show go into a list, to be shown later in an order that
// does not depend on threads.
class DetailKeeper {
public:
    explicit DetailKeeper(std::vector<std::string>& vLines);
    ~DetailKeeper();
    DetailKeeper(const DetailKeeper&) = delete;
    DetailKeeper& operator=(const DetailKeeper&) = delete;

private:
    std::vector<std::string>* pBefore;
};

// Of more than one part, each as a stream writes it.
template <class... Parts>
requires(sizeof...(Parts) > 1) void showDetail(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    showDetail(line.str());
}

// " ** function:line ** ", the title of messages from ordinary code:
// where(__PRETTY_FUNCTION__, __LINE__).
std::string where(const char* function, int line);

// Writes a line, flushes and ends the process with status 0, without running
// destructors: it may be reached on a worker of the pool, which cannot wait for itself.
[[noreturn]] void deliberateExit(const std::string& place);

[[noreturn]] void throwBug();
[[noreturn]] void throwLicense();

}  // namespace QUOR_ZEF
