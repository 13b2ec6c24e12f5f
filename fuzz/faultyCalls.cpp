// Preloaded, lets one call of the C library fail: scripts/faults.py drives it.
//
//   ZEF_FAULT=KIND:N    the N-th call of that kind since main() fails, or with N+ that and all later ones
//   ZEF_FAULT_HIT=FILE  appears as soon as one has failed
//
// Kinds: alloc, read, write (files), open, rename, sync, thread; and shrink, where the N-th
// read finds that its file has just lost its second half.
//
// With ZEF_FAULTS_LINKED linked into a program with sanitizers instead, by --wrap=main: alloc alone, of operator new,
// and what is not freed then is found.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#ifndef ZEF_FAULTS_LINKED
// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}
// NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier)
#endif

namespace {

const char* pKind = nullptr;  // of the call that fails; null before main()
long which = 0;
bool bAndLater = false;
std::atomic<long> numCalls{0};

// Without any call that could be counted.
void tellHit() {
    if (const char* const pName = std::getenv("ZEF_FAULT_HIT"))
        syscall(SYS_close, syscall(SYS_openat, AT_FDCWD, pName, O_CREAT | O_WRONLY, 0600));
}

bool fails(const char* kind, int code) {
    if (!pKind || std::strncmp(pKind, kind, std::strlen(kind)) != 0) return false;
    const long number = ++numCalls;
    if (number != which && !(bAndLater && number > which)) return false;
    tellHit();
    errno = code;
    return true;
}

void begin() {
    const char* const pFault = std::getenv("ZEF_FAULT");
    const char* const pColon = pFault ? std::strchr(pFault, ':') : nullptr;
    if (!pColon) return;
    which = std::atol(pColon + 1);
    bAndLater = std::strchr(pColon, '+') != nullptr;
    pKind = pFault;
}

}  // namespace

#ifdef ZEF_FAULTS_LINKED

namespace {

void* allocate(std::size_t size, std::size_t alignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__) noexcept {
    return fails("alloc", ENOMEM) ? nullptr : std::aligned_alloc(alignment, (size + alignment) / alignment * alignment);
}

void* orThrow(void* p) {
    return p ? p : throw std::bad_alloc();
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier)
extern "C" int __real_main(int argc, char** argv);
extern "C" int __wrap_main(int argc, char** argv) {
    begin();
    return __real_main(argc, argv);
}
// NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier)

// clang-format off
void* operator new(std::size_t n) { return orThrow(allocate(n)); }
void* operator new[](std::size_t n) { return orThrow(allocate(n)); }
void* operator new(std::size_t n, std::align_val_t a) { return orThrow(allocate(n, static_cast<std::size_t>(a))); }
void* operator new[](std::size_t n, std::align_val_t a) { return orThrow(allocate(n, static_cast<std::size_t>(a))); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, static_cast<std::size_t>(a)); }
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, static_cast<std::size_t>(a)); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
// clang-format on

#else

namespace {

template <class Fn>
Fn next(Fn /*like*/, const char* name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

void shrink(int file) {
    struct stat info;
    if (fstat(file, &info) != 0 || !S_ISREG(info.st_mode) || !fails("shrink", 0)) return;
    char name[32] = "/proc/self/fd/";
    std::to_chars(name + std::strlen(name), name + sizeof(name) - 1, file);
    if (truncate(name, info.st_size / 2) != 0) std::abort();
}

using Main = int (*)(int, char**, char**);
Main pMain = nullptr;

int mainWithFaults(int argc, char** argv, char** envp) {
    begin();
    return pMain(argc, argv, envp);
}

}  // namespace

// The names of their parameters are the C library's own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,readability-identifier-naming,bugprone-reserved-identifier)
extern "C" {

int __libc_start_main(Main pMain_, int argc, char** argv, void (*pInit)(), void (*pFini)(), void (*pEnd)(),
                      void* pStack) {
    pMain = pMain_;
    int (*pLike)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*) = nullptr;
    return next(pLike, "__libc_start_main")(mainWithFaults, argc, argv, pInit, pFini, pEnd, pStack);
}

void* malloc(std::size_t size) {
    return fails("alloc", ENOMEM) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t num, std::size_t size) {
    return fails("alloc", ENOMEM) ? nullptr : __libc_calloc(num, size);
}
void* realloc(void* p, std::size_t size) {
    return fails("alloc", ENOMEM) ? nullptr : __libc_realloc(p, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails("alloc", ENOMEM) ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** pp, std::size_t alignment, std::size_t size) {
    if (fails("alloc", ENOMEM)) return ENOMEM;
    *pp = __libc_memalign(alignment, size);
    return *pp ? 0 : ENOMEM;
}

ssize_t read(int file, void* p, std::size_t size) {
    shrink(file);
    return fails("read", EIO) ? -1 : syscall(SYS_read, file, p, size);
}
ssize_t pread(int file, void* p, std::size_t size, off_t offset) {
    shrink(file);
    return fails("read", EIO) ? -1 : syscall(SYS_pread64, file, p, size, offset);
}
ssize_t pread64(int file, void* p, std::size_t size, off_t offset) {
    return pread(file, p, size, offset);
}
ssize_t write(int file, const void* p, std::size_t size) {
    if (file > STDERR_FILENO && fails("write", ENOSPC)) return -1;
    return syscall(SYS_write, file, p, size);
}
int open(const char* name, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return fails("open", EMFILE) ? -1 : static_cast<int>(syscall(SYS_openat, AT_FDCWD, name, flags, mode));
}
int open64(const char* name, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return open(name, flags, mode);
}
int rename(const char* from, const char* to) {
    return fails("rename", EIO) ? -1 : static_cast<int>(syscall(SYS_rename, from, to));
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) {
    return fails("rename", EIO) ? -1 : static_cast<int>(syscall(SYS_linkat, fromFolder, from, toFolder, to, flags));
}
int fsync(int file) {
    return fails("sync", EIO) ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}
int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*pWork)(void*), void* pArgument) {
    if (fails("thread", EAGAIN)) return EAGAIN;
    return next(&pthread_create, "pthread_create")(pThread, pAttributes, pWork, pArgument);
}

}  // extern "C"
   // NOLINTEND(readability-inconsistent-declaration-parameter-name,readability-identifier-naming,bugprone-reserved-identifier)

#endif
