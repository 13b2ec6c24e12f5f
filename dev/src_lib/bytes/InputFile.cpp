#include "bytes/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "bytes/FileBytes.h"
#include "bytes/LoadError.h"

namespace QUOR_ZEF {

struct InputFile::Source {
    int descriptor = -1;
    FileBytes memory;        // of what is no plain file, and of what is held
    std::string_view bytes;  // once they are held
    bool bHeld = false;

    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() {
        if (descriptor >= 0) ::close(descriptor);
    }
};

namespace {

[[noreturn]] void fail(int code) {
    throw LoadError(std::generic_category().message(code));
}

}  // namespace

InputFile::InputFile(const std::string& path) : name(path), pSource(std::make_unique<Source>()) {
    pSource->descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (pSource->descriptor < 0) fail(errno);
    struct ::stat info {};
    if (::fstat(pSource->descriptor, &info) != 0) fail(errno);
    if (S_ISREG(info.st_mode)) {
        size = static_cast<std::uint64_t>(info.st_size);
        return;
    }
    size = hold().size();
}

InputFile::InputFile(std::string_view bytes, std::nullptr_t) : pSource(std::make_unique<Source>()), size(bytes.size()) {
    pSource->bytes = bytes;
    pSource->bHeld = true;
}

InputFile::~InputFile() = default;

std::string_view InputFile::hold() {
    if (!pSource->bHeld) {
        // By its name a pipe would be opened again, and wait for another writer.
        if (!pSource->memory.load(pSource->descriptor)) throw LoadError(pSource->memory.getError());
        pSource->bytes = pSource->memory.view();
        pSource->bHeld = true;
    }
    return pSource->bytes;
}

void InputFile::read(std::uint64_t place, std::span<char> out) const {
    const auto failAtEnd = [&] {
        throw LoadError("byte " + std::to_string(size) + ": the file ends here, and " + std::to_string(out.size()) +
                        " bytes from byte " + std::to_string(place) + " on are needed; it is cut short, copy it anew");
    };
    if (place > size || out.size() > size - place) failAtEnd();
    if (out.empty()) return;
    if (pSource->bHeld) {
        std::memcpy(out.data(), pSource->bytes.data() + place, out.size());
        return;
    }
    while (!out.empty()) {
        const ssize_t num = ::pread(pSource->descriptor, out.data(), out.size(), static_cast<off_t>(place));
        if (num == 0) failAtEnd();  // cut short while it is read
        if (num > 0) {
            out = out.subspan(static_cast<std::size_t>(num));
            place += static_cast<std::uint64_t>(num);
        } else if (errno != EINTR) {
            fail(errno);
        }
    }
}

}  // namespace QUOR_ZEF
