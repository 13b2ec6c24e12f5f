#include "LibraryOutput.h"

#include "ProgressBar.h"

namespace {

const std::string messageMark = "[ZEF Message] ";
const std::string errorMark = ", ERROR: ";
const std::string warningMark = ", WARNING: ";

// "Condition [ x>0 && "what to do" failed ]": the text within, or the whole.
std::string failureText(const std::string& condition, const std::string& codePlace) {
    const auto first = condition.find('"');
    const auto last = condition.rfind('"');
    if (first != last) return condition.substr(first + 1, last - first - 1);
    return "the library is at odds with itself. " + condition + codePlace;
}

}  // namespace

LibraryOutput::LibraryOutput(ProgressBar& progressBar, bool bErrorsOnly)
    : bar(progressBar), bQuiet(bErrorsOnly), pOld(std::cout.rdbuf(this)) {}

LibraryOutput::~LibraryOutput() {
    std::cout.rdbuf(pOld);
    takeLine();
    showCodePlace();
}

LibraryOutput::int_type LibraryOutput::overflow(int_type c) {
    const std::lock_guard lock(lineMutex);
    if (!traits_type::eq_int_type(c, traits_type::eof())) take(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

std::streamsize LibraryOutput::xsputn(const char* pText, std::streamsize length) {
    const std::lock_guard lock(lineMutex);
    for (const char* p = pText; p != pText + length; ++p) take(*p);
    return length;
}

void LibraryOutput::take(char c) {
    if (c == '\n') {
        takeLine();
    } else {
        line += c;
    }
}

void LibraryOutput::takeLine() {
    const std::string taken = std::move(line);
    line.clear();
    if (taken.empty()) return;
    const auto message = taken.find(messageMark);
    if (message != std::string::npos) {
        const auto error = taken.find(errorMark, message);
        const auto mark = error != std::string::npos ? error : taken.find(warningMark, message);
        const std::string& markText = error != std::string::npos ? errorMark : warningMark;
        const auto start = message + messageMark.size();
        if (mark != std::string::npos) {
            takeMessage(taken.substr(start, mark - start), taken.substr(mark + markText.size()),
                        error != std::string::npos);
            return;
        }
    }
    if (taken.rfind("      ", 0) == 0) {
        codePlace += "\n" + taken;
    } else {
        showCodePlace();
        if (!bQuiet) show(taken);
    }
}

void LibraryOutput::takeMessage(const std::string& title, const std::string& text, bool bError) {
    if (title == "ASSEX") {
        failure = failureText(text, codePlace);
        codePlace.clear();
        return;
    }
    showCodePlace();
    if (bError || !bQuiet) show(std::string("zef: ") + (bError ? "error: " : "warning: ") + text);
}

void LibraryOutput::showCodePlace() {
    if (!codePlace.empty() && !bQuiet) show(codePlace.substr(1));
    codePlace.clear();
}

void LibraryOutput::show(const std::string& text) {
    bar.hide();
    std::cerr << text + "\n" << std::flush;
}
