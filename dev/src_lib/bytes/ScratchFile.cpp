#include "bytes/ScratchFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "zef/errors.h"

namespace QUOR_ZEF {

// Without a name from the start where the system can do that, else at once.
ScratchFile::ScratchFile(const std::filesystem::path& folder_) : folder(folder_) {
    constexpr mode_t ownerOnly = 0600;
    descriptor = ::open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, ownerOnly);
    if (descriptor >= 0) return;
    std::string name = (folder / ".zef-XXXXXX").string();
    descriptor = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) fail(errno);
    ::unlink(name.c_str());
}

ScratchFile::~ScratchFile() {
    if (descriptor >= 0) ::close(descriptor);
}

void ScratchFile::fail(int code) const {
    throw FileError(folder.string() + ": no room to put data aside: " + std::generic_category().message(code));
}

void ScratchFile::write(std::uint64_t place, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t num = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (num < 0 && errno == EINTR) continue;
        if (num < 0) fail(errno);
        if (num == 0) fail(ENOSPC);
        place += static_cast<std::uint64_t>(num);
        bytes = bytes.subspan(static_cast<std::size_t>(num));
    }
}

void ScratchFile::read(std::uint64_t place, std::span<char> bytes) const {
    while (!bytes.empty()) {
        const ssize_t num = ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (num < 0 && errno == EINTR) continue;
        if (num < 0) fail(errno);
        if (num == 0) fail(EIO);
        place += static_cast<std::uint64_t>(num);
        bytes = bytes.subspan(static_cast<std::size_t>(num));
    }
}

}  // namespace QUOR_ZEF
