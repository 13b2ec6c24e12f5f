// Every allocation of a small run fails in turn: operator new is replaced by one that counts.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "support/sanitizers.h"
#include "support/shapes.h"
#include "support/tempFolder.h"
#include "zef/zef.h"

namespace {

constexpr long never = -1;

std::atomic<long> numOutstanding = 0;
std::atomic<long> numAsked = 0;
std::atomic<long> firstFailing = never;  // counted by numAsked
std::atomic<bool> bAllBehindFail = false;

bool isToFail() {
    const long first = firstFailing;
    if (first == never) return false;
    const long here = numAsked++;
    return here == first || (here > first && bAllBehindFail);
}

void* allocate(std::size_t numBytes, std::align_val_t alignment) noexcept {
    if (isToFail()) return nullptr;
    const auto step = static_cast<std::size_t>(alignment);
    void* const p = std::aligned_alloc(step, (numBytes + step) / step * step);
    if (p) ++numOutstanding;
    return p;
}

void* allocateOrThrow(std::size_t numBytes, std::align_val_t alignment) {
    void* const p = allocate(numBytes, alignment);
    return p ? p : throw std::bad_alloc();
}

void release(void* p) noexcept {
    if (p) --numOutstanding;
    std::free(p);
}

constexpr std::align_val_t plain{__STDCPP_DEFAULT_NEW_ALIGNMENT__};

}  // namespace

// clang-format off
void* operator new(std::size_t n) { return allocateOrThrow(n, plain); }
void* operator new[](std::size_t n) { return allocateOrThrow(n, plain); }
void* operator new(std::size_t n, std::align_val_t a) { return allocateOrThrow(n, a); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocateOrThrow(n, a); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n, plain); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n, plain); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, a); }
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocate(n, a); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { release(p); }
// clang-format on

namespace {

using namespace QUOR_ZEF;

// A torus with a hole in it and a wall beside it.
std::vector<Point3> makeCloud() {
    std::vector<Point3> vPoints = zef_test::torus(36, 18, 3.0, 1.0).vertices;
    std::erase_if(vPoints, [](const Point3& p) { return p.px > 3.5 && p.py > 0.0 && p.py < 1.0; });
    for (const Point3& p : zef_test::gridSheet(8, 8, 0.4).vertices) vPoints.emplace_back(p.px + 5.0, p.py, p.pz);
    return vPoints;
}

enum Outcome { GOOD, NO_MEMORY, NOT_WRITTEN, WRONG };

Outcome runOnce(const std::vector<Point3>& vCloud, unsigned numThreads, const std::string& name) {
    try {
        const Context context{numThreads, {}, {}};
        TriangleMesh mesh = reconstruct(vCloud, {.factor = 1.0, .smooth = true, .growSteps = 5}, context).mesh;
        simplify(mesh, {.targetTriangles = mesh.numTriangles() / 2}, context);
        smooth(mesh, {}, context);
        flipEdges(mesh, context);
        write(name, mesh, {}, context);
        return GOOD;
    } catch (const std::bad_alloc&) {
        return NO_MEMORY;
    } catch (const FileError&) {
        return NOT_WRITTEN;
    } catch (...) {
        return WRONG;
    }
}

// Helpers that start late still hold what they share.
bool settlesAt(long expected) {
    for (int i = 0; i < 2000 && numOutstanding != expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return numOutstanding == expected;
}

}  // namespace

class Allocations : public testing::TestWithParam<unsigned> {};

INSTANTIATE_TEST_SUITE_P(Threads, Allocations, testing::Values(1U, 3U));

TEST_P(Allocations, anyThatFailsEndsTheRunCleanly) {
    constexpr long density = ZEF_TEST_SANITIZED ? 5 : 30;
    const zef_test::TempFolder folder;
    const std::string name = folder.name("mesh.ply"), goodName = folder.name("good.ply");
    const std::vector<Point3> vCloud = makeCloud();
    const auto runAgain = [&] { return runOnce(vCloud, GetParam(), name); };
    ASSERT_EQ(runOnce(vCloud, GetParam(), goodName), GOOD);
    ASSERT_EQ(runAgain(), GOOD);  // what is kept for the process is made by now
    const std::string good = folder.get("good.ply");
    const long before = numOutstanding;
    for (const bool bAll : {false, true}) {
        bAllBehindFail = bAll;
        bool bEnd = false;
        for (long k = 0; !bEnd; k += 1 + k / density) {
            numAsked = 0;
            firstFailing = k;
            const Outcome outcome = runAgain();
            firstFailing = never;
            bEnd = numAsked <= k;
            ASSERT_TRUE(outcome == NO_MEMORY || outcome == NOT_WRITTEN || outcome == GOOD) << k << " " << outcome;
            ASSERT_TRUE(settlesAt(before)) << k << ": " << numOutstanding - before;
            ASSERT_TRUE(outcome != GOOD || folder.get("mesh.ply") == good) << k;
            if (k % 8 != 0) continue;
            ASSERT_EQ(runAgain(), GOOD) << k;
            ASSERT_TRUE(folder.get("mesh.ply") == good) << k;
        }
        EXPECT_GT(numAsked, 1000);
    }
}
