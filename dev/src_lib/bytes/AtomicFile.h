#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "frame/types.h"

namespace QUOR_ZEF {

// An output file that appears whole or not at all. Everything goes to a file
// without a name in the target's folder, which vanishes however the process ends;
// commit() makes it durable, names it and renames it. File systems that know no
// such files get one with a temporary name, which is removed by the destructor.
// Without commit(), or after a failure, what stood under the name stays untouched.
//
// A link is followed, an existing file's permissions are kept, and one that the
// caller may not write is refused. What is no regular file (a pipe, a device) is
// written directly. After the first failure all writes are ignored, so a writer
// asks once, at the end.
//
// One thread at a time. Output passes through one buffer of 1 MiB.
class AtomicFile {
public:
    explicit AtomicFile(const std::string& name);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // False when the file could not be opened or a write has failed.
    bool isGood() const { return error.empty(); }
    // Why, in the words of the system; empty while all is well.
    const std::string& getError() const { return error; }

    void write(std::string_view text) {
        if (text.empty()) return;  // its address may be null
        if (text.size() > bufferSize - used) return writeLong(text);
        std::memcpy(pBuffer.get() + used, text.data(), text.size());
        used += text.size();
    }
    void write(char c) {
        if (used == bufferSize) flush();
        pBuffer[used++] = c;
    }
    // The bytes of a value as they lie in memory.
    template <class T>
    void writeRaw(const T& value) {
        write(std::string_view(reinterpret_cast<const char*>(&value), sizeof(T)));
    }
    // As a stream with the classic locale and this precision prints it.
    void writeNumber(double value, int digits);
    void writeNumber(float value, int digits);
    // The fewest digits that read back as the same value.
    void writeShortest(double value);
    void writeShortest(float value);
    void writeInteger(int64 value);

    // Writes what is buffered, waits until it is on the disk, renames.
    // False on failure, also an earlier one; see getError(). Once only.
    bool commit();

private:
    static constexpr std::size_t bufferSize = std::size_t{1} << 20;

    std::unique_ptr<char[]> pBuffer;
    std::size_t used = 0;
    int descriptor = -1;
    std::string target;         // where the file shall stand, links resolved
    std::string temporaryName;  // empty while there is no file of that name
    bool bNameless = false;     // the file has no name yet
    std::string error;

    void open(const std::string& name);
    void openTemporary(unsigned mode);
    bool openNameless(unsigned mode);
    template <class Make>
    void makeName(Make make);
    void giveName();
    void rename();
    void writeLong(std::string_view text);
    void flush();
    void fail(const char* what);
    void closeAndRemove();
    // A place for up to maxNumberLength characters; taken(p) ends the writing there.
    char* place();
    void taken(const char* pEnd) { used = static_cast<std::size_t>(pEnd - pBuffer.get()); }
};

}  // namespace QUOR_ZEF
