#include "bytes/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

// More than any number takes in the general format with up to 18 digits.
constexpr std::size_t maxNumberLength = 64;

std::string folderOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash + 1);
}

// Where the system shows an open file.
std::string linkOf(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

std::string resolved(const std::string& name) {
    const std::unique_ptr<char, void (*)(void*)> pPath(::realpath(name.c_str(), nullptr), std::free);
    return pPath ? std::string(pPath.get()) : name;
}

}  // namespace

AtomicFile::AtomicFile(const std::string& name) : pBuffer(std::make_unique_for_overwrite<char[]>(bufferSize)) {
    try {
        open(name);
    } catch (...) {
        closeAndRemove();
        throw;
    }
}

AtomicFile::~AtomicFile() {
    closeAndRemove();
}

void AtomicFile::open(const std::string& name) {
    if (name.empty()) {
        errno = ENOENT;
        return fail("open");
    }
    struct ::stat info {};
    const bool bExists = ::stat(name.c_str(), &info) == 0;
    if (bExists && !S_ISREG(info.st_mode)) {
        descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0) fail("open");
        return;
    }
    target = bExists ? resolved(name) : name;
    if (bExists && ::access(target.c_str(), W_OK) != 0) return fail("open");
    openTemporary(bExists ? info.st_mode & 07777u : 0666u);
    if (isGood() && bExists && ::fchmod(descriptor, info.st_mode & 07777u) != 0) fail("set permissions");
}

void AtomicFile::openTemporary(unsigned mode) {
    bNameless = openNameless(mode);
    if (bNameless) return;
    makeName([&] {
        descriptor = ::open(temporaryName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        return descriptor >= 0;
    });
    if (descriptor < 0) fail("open");
}

// False if the system cannot do it, or could not give it a name later.
bool AtomicFile::openNameless(unsigned mode) {
    const std::string folder = folderOf(target);
    descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, mode);
    if (descriptor < 0) return false;
    if (::access(linkOf(descriptor).c_str(), F_OK) == 0) return true;
    ::close(std::exchange(descriptor, -1));
    return false;
}

// Tries names until make() is content with temporaryName or fails for another reason
// than that it is taken; empty then, with errno. The name is short, so that a target
// with the longest allowed name works too.
template <class Make>
void AtomicFile::makeName(Make make) {
    const std::string stem = folderOf(target) + ".zef-" + std::to_string(::getpid()) + "-";
    for (int i = 0; i < 1000; ++i) {
        temporaryName = stem + std::to_string(i) + ".tmp";
        if (make()) return;
        temporaryName.clear();  // it is not ours to remove
        if (errno != EEXIST) return;
    }
}

void AtomicFile::giveName() {
    const std::string link = linkOf(descriptor);
    makeName([&] { return ::linkat(AT_FDCWD, link.c_str(), AT_FDCWD, temporaryName.c_str(), AT_SYMLINK_FOLLOW) == 0; });
    if (temporaryName.empty()) fail("name");
}

void AtomicFile::fail(const char* what) {
    const int code = errno;
    if (!error.empty()) return;
    error = std::string(what) + ": " + std::generic_category().message(code);
}

void AtomicFile::closeAndRemove() {
    if (descriptor >= 0) ::close(descriptor);
    descriptor = -1;
    if (!temporaryName.empty()) ::unlink(temporaryName.c_str());
    temporaryName.clear();
}

void AtomicFile::flush() {
    pollRun(0);
    std::size_t done = 0;
    while (isGood() && done < used) {
        const ssize_t num = ::write(descriptor, pBuffer.get() + done, used - done);
        if (num >= 0) {
            done += static_cast<std::size_t>(num);
        } else if (errno != EINTR) {
            fail("write");
        }
    }
    used = 0;
}

// Text that does not fit into what is left of the buffer.
void AtomicFile::writeLong(std::string_view text) {
    while (!text.empty()) {
        if (used == bufferSize) flush();
        const std::size_t num = std::min(text.size(), bufferSize - used);
        std::memcpy(pBuffer.get() + used, text.data(), num);
        used += num;
        text.remove_prefix(num);
    }
}

char* AtomicFile::place() {
    if (bufferSize - used < maxNumberLength) flush();
    return pBuffer.get() + used;
}

void AtomicFile::writeNumber(double value, int digits) {
    char* p = place();
    taken(std::to_chars(p, p + maxNumberLength, value, std::chars_format::general, digits).ptr);
}

void AtomicFile::writeNumber(float value, int digits) {
    char* p = place();
    taken(std::to_chars(p, p + maxNumberLength, value, std::chars_format::general, digits).ptr);
}

void AtomicFile::writeShortest(double value) {
    char* p = place();
    taken(std::to_chars(p, p + maxNumberLength, value).ptr);
}

void AtomicFile::writeShortest(float value) {
    char* p = place();
    taken(std::to_chars(p, p + maxNumberLength, value).ptr);
}

void AtomicFile::writeInteger(int64 value) {
    char* p = place();
    taken(std::to_chars(p, p + maxNumberLength, value).ptr);
}

bool AtomicFile::commit() {
    flush();
    // A pipe or a device cannot be synchronised, and need not be.
    if (isGood() && ::fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS) fail("flush");
    if (isGood() && bNameless) giveName();
    if (isGood() && ::close(std::exchange(descriptor, -1)) != 0) fail("close");
    if (isGood() && !temporaryName.empty()) rename();
    closeAndRemove();
    return isGood();
}

void AtomicFile::rename() {
    if (::rename(temporaryName.c_str(), target.c_str()) != 0) return fail("rename");
    temporaryName.clear();
}

}  // namespace QUOR_ZEF
