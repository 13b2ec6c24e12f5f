#include "frame/tools.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "frame/Run.h"

namespace QUOR_ZEF {

const char* ZefBugException::what() const noexcept {
    return "ZEF Exception - Bug *OR* wrong usage. Report a bug and it will be fixed quickly: "
           "please open an issue in the project's tracker";
}

const char* ZefLicenseException::what() const noexcept {
    return "ZEF License Exception - no valid license";
}

namespace {

// One string per message, so that messages of several threads do not mix.
void showMessage(const std::string& place, const char* kind, const std::string& text) {
    std::cout << "\n      [ZEF Message] " + place + kind + text + "\n\n" << std::flush;
}

const char* fileName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

// The text in a condition such as n>0 && "give a number".
std::string textInside(const std::string& condition) {
    const std::size_t begin = condition.find('"'), end = condition.rfind('"');
    return begin == end ? "" : condition.substr(begin + 1, end - begin - 1);
}

BugReport reportOf(const std::string& text, const std::string& cure) {
    BugReport report;
    report.text = text;
    report.cure = cure;
    return report;
}

}  // namespace

void assexFailed(const char* file, int line, const char* function, const char* condition) {
    const std::string place = std::string(fileName(file)) + ":" + std::to_string(line);
    const std::string failed = std::string("Condition [ ") + condition + " failed ]";
    if (getRun()) throw reportOf(place + ": " + failed, textInside(condition));
    std::cout << "      " + place + "\n      " + function << std::flush;
    showError("ASSEX", failed);
    throwBug();
}

void showError(const std::string& place, const std::string& text) {
    if (Run* const pRun = getRun()) return pRun->setError(text);
    showMessage(place, ", ERROR: ", text);
}

void showWarning(const std::string& place, const std::string& text) {
    if (Run* const pRun = getRun()) return pRun->message(Severity::WARNING, text);
    showMessage(place, ", WARNING: ", text);
}

void showOddity(const std::string& place, const std::string& text) {
    if (getRun()) return showDetail(text);
    showWarning(place, text);
}

namespace {

thread_local std::vector<std::string>* pKeptDetails = nullptr;

}  // namespace

DetailKeeper::DetailKeeper(std::vector<std::string>& vLines) : pBefore(std::exchange(pKeptDetails, &vLines)) {}

DetailKeeper::~DetailKeeper() {
    pKeptDetails = pBefore;
}

void showDetail(const std::string& line) {
    if (pKeptDetails) return pKeptDetails->push_back(line);
    if (Run* const pRun = getRun()) {
        // Blank lines before it are for terminals.
        return pRun->message(Severity::DETAIL,
                             std::string_view(line).substr(std::min(line.find_first_not_of('\n'), line.size())));
    }
    std::cout << line << std::endl;
}

std::string where(const char* function, int line) {
    return std::string(" ** ") + function + ":" + std::to_string(line) + " ** ";
}

void deliberateExit(const std::string& place) {
    std::cout << "\n\ndeliberateExit(" + place + ")\n" << std::endl;
    std::cerr.flush();
    std::fflush(nullptr);
    std::_Exit(0);
}

void throwBug() {
    if (Run* const pRun = getRun()) throw reportOf(pRun->getError(), "");
    throw ZefBugException();
}

void throwLicense() {
    throw ZefLicenseException();
}

}  // namespace QUOR_ZEF
