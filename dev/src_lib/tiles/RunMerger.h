#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <utility>
#include <vector>

#include "bytes/ScratchFile.h"
#include "frame/Run.h"
#include "frame/types.h"

namespace QUOR_ZEF {

// Puts runs of sorted records on the disk, and goes through all of them in order. In memory are one record of each
// run, and some hundred kilobytes of those that have begun and not ended. Record: trivially copyable, with <. Equal
// records come by run. Throws as ScratchFile does.
template <class Record>
class RunMerger {
public:
    explicit RunMerger(const std::filesystem::path& folder) : records(folder) {}

    // They ascend. A run is numbered as it comes.
    void add(const std::vector<Record>& vRun) {
        vRuns.push_back({numRecords, numRecords + vRun.size()});
        vFirsts.push_back(vRun.empty() ? Record() : vRun.front());
        records.write(numRecords, vRun);
        numRecords += vRun.size();
    }
    uint64 size() const { return numRecords; }
    // Where the records of a run lie among those of all.
    uint64 firstOf(std::uint32_t run) const { return vRuns[run].next; }
    uint64 endOf(std::uint32_t run) const { return vRuns[run].end; }

    // fn(record, run)
    template <class Fn>
    void merge(const Fn& fn) const {
        std::vector<std::uint32_t> vWaiting = listRuns();
        std::vector<Cursor> vOpen;  // a heap, the lowest on top
        std::size_t num = 0;
        while (!vWaiting.empty() || !vOpen.empty()) {
            pollRun(num++);
            while (!vWaiting.empty() &&
                   (vOpen.empty() || !isBefore(vOpen.front(), vFirsts[vWaiting.back()], vWaiting.back()))) {
                vOpen.push_back({vRuns[vWaiting.back()], vWaiting.back(), 0, {}});
                refill(vOpen.back());
                std::push_heap(vOpen.begin(), vOpen.end(), comesLater);
                vWaiting.pop_back();
            }
            std::pop_heap(vOpen.begin(), vOpen.end(), comesLater);
            Cursor& cursor = vOpen.back();
            fn(cursor.top(), cursor.run);
            if (++cursor.at == cursor.vRead.size()) refill(cursor);
            if (cursor.vRead.empty())
                vOpen.pop_back();
            else
                std::push_heap(vOpen.begin(), vOpen.end(), comesLater);
        }
    }

private:
    static constexpr std::size_t bufferSize = std::size_t{1} << 16;  // bytes

    struct Stretch {
        uint64 next = 0, end = 0;
    };
    struct Cursor {
        Stretch left;
        std::uint32_t run = 0;
        std::size_t at = 0;
        std::vector<Record> vRead;

        const Record& top() const { return vRead[at]; }
    };

    DiskArray<Record> records;
    std::vector<Stretch> vRuns;
    std::vector<Record> vFirsts;  // by run
    uint64 numRecords = 0;

    static bool isBefore(const Cursor& cursor, const Record& record, std::uint32_t run) {
        if (cursor.top() < record) return true;
        return !(record < cursor.top()) && cursor.run < run;
    }
    static bool comesLater(const Cursor& a, const Cursor& b) { return isBefore(b, a.top(), a.run); }

    // The last one begins first.
    std::vector<std::uint32_t> listRuns() const {
        std::vector<std::uint32_t> vList;
        for (std::uint32_t run = 0; run < vRuns.size(); ++run)
            if (vRuns[run].next < vRuns[run].end) vList.push_back(run);
        std::sort(vList.begin(), vList.end(), [&](std::uint32_t a, std::uint32_t b) {
            if (vFirsts[a] < vFirsts[b] || vFirsts[b] < vFirsts[a]) return vFirsts[b] < vFirsts[a];
            return b < a;
        });
        return vList;
    }

    void refill(Cursor& cursor) const {
        const uint64 num = std::min<uint64>(bufferSize / sizeof(Record), cursor.left.end - cursor.left.next);
        cursor.vRead.resize(num);
        cursor.at = 0;
        records.read(cursor.left.next, cursor.vRead);
        cursor.left.next += num;
    }
};

}  // namespace QUOR_ZEF
