#include "bytes/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "bytes/LoadError.h"
#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t block = std::size_t{1} << 20;

class Inflater {
public:
    explicit Inflater(std::string_view bytes) : in(bytes) {
        constexpr int gzipOnly = 15 + 16;  // the largest window
        if (inflateInit2(&stream, gzipOnly) != Z_OK) throw std::bad_alloc();
    }
    ~Inflater() { inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    std::string unpackAll() {
        std::string out;
        const std::size_t limit = block + 1024 * in.size();
        for (;;) {
            pollRun(0);
            const int code = step(out);
            if (code == Z_STREAM_END && !startNextMember()) return out;
            if (code != Z_OK && code != Z_STREAM_END) failHere();
            if (out.size() > limit) failHere();
        }
    }

private:
    std::string_view in;
    std::size_t numGiven = 0;  // bytes of in that the stream has got
    z_stream stream{};

    int step(std::string& out) {
        if (stream.avail_in == 0) {
            const std::size_t num = std::min(in.size() - numGiven, block);
            // zlib does not write to it.
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data() + numGiven));
            stream.avail_in = static_cast<uInt>(num);
            numGiven += num;
        }
        const std::size_t before = out.size();
        if (out.capacity() - before < block) out.reserve(out.capacity() + out.capacity() / 2 + block);
        out.resize(before + block);
        stream.next_out = reinterpret_cast<Bytef*>(out.data() + before);
        stream.avail_out = static_cast<uInt>(block);
        const int code = inflate(&stream, Z_NO_FLUSH);
        out.resize(out.size() - stream.avail_out);
        return code;
    }

    // Files that were put together have several.
    bool startNextMember() {
        const std::size_t at = numGiven - stream.avail_in;
        if (!isGzip(in.substr(at))) return false;
        return inflateReset(&stream) == Z_OK;
    }

    [[noreturn]] void failHere() const {
        throw LoadError("byte " + std::to_string(numGiven - stream.avail_in) +
                        ": the compressed data (gzip) is damaged or cut short; copy the file anew");
    }
};

}  // namespace

bool isGzip(std::string_view bytes) {
    return bytes.starts_with("\x1f\x8b\x08");
}

std::string unpackGzip(std::string_view bytes) {
    return Inflater(bytes).unpackAll();
}

}  // namespace QUOR_ZEF
