// SPDX-License-Identifier: MIT
// Zones: chunks grown on demand, granules recycled with their contents, the
// hooks at their moments, reference counts, both ways of ending a zone, and
// the refusals with their reports.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "nu.h"
#include "support/status.hpp"
#include "vesk.h"

namespace {

// An allocator table that counts its calls and can be told to fail.
struct Heap {
    static inline int callocs = 0, frees = 0;
    static inline bool fail = false;
    static void *alloc(size_t n) { return fail ? nullptr : std::malloc(n); }
    static void *calloc(size_t c, size_t n) { return fail ? nullptr : (++callocs, std::calloc(c, n)); }
    static void free(void *p) { ++frees, std::free(p); }
    static constexpr NuMallocOpv table = {alloc, calloc, nullptr, free};
    static void reset() { callocs = frees = 0, fail = false; }
};

// What the hooks saw.
struct Hooks {
    int once_init = 0, once_fini = 0, get_init = 0, release_fini = 0;
    static int64_t on_once_init(void *u, void *) { return ++static_cast<Hooks *>(u)->once_init; }
    static int64_t on_once_fini(void *u, void *) { return ++static_cast<Hooks *>(u)->once_fini; }
    static int64_t on_get(void *u, void *) { return ++static_cast<Hooks *>(u)->get_init; }
    static int64_t on_release(void *u, void *) { return ++static_cast<Hooks *>(u)->release_fini; }
    NuZmallocUctx uctx() { return {on_once_init, on_once_fini, on_get, on_release, this}; }
};

using vesk_test::expect_report;
using vesk_test::Status;

TEST(Zone, GrowsAChunkAtATimeAndRecyclesTheLastGivenBackFirst) {
    Heap::reset();
    NuZmalloc *z = _NuZmallocOpen(nullptr, &Heap::table, nullptr, 0, 24, nullptr);
    ASSERT_NE(z, nullptr);
    EXPECT_EQ(_NuZmallocGranularity(z), 64u);
    EXPECT_EQ(_NuZmallocHasfreeg(z), 0) << "no chunk before the first get";
    std::vector<void *> out;
    for (int i = 0; i < 64; ++i)
        out.push_back(_NuZmallocGet(z, nullptr));
    EXPECT_EQ(Heap::callocs, 1) << "64 objects from one chunk";
    EXPECT_EQ(_NuZmallocHasfreeg(z), 0);
    out.push_back(_NuZmallocGet(z, nullptr));
    EXPECT_EQ(Heap::callocs, 2);
    EXPECT_EQ(std::set<void *>(out.begin(), out.end()).size(), out.size());
    for (void *o : out) {
        EXPECT_EQ(_NuZmPtrOwner(o), z);
        EXPECT_EQ(_NuZmPtrRetainValue(o), 1);
    }
    std::memcpy(out[10], "kept", 5);
    EXPECT_EQ(_NuZmPtrRelease(out[10]), 0);
    void *again = _NuZmallocGet(z, nullptr);
    EXPECT_EQ(again, out[10]) << "the free list is a stack";
    EXPECT_STREQ(static_cast<char *>(again), "kept") << "a recycled object keeps its contents";
    EXPECT_EQ(_NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr), 0);
    EXPECT_EQ(Heap::frees, 3) << "two chunks and the zone";
}

TEST(Zone, HooksRunAtTheirMomentsAndRetainsDelayTheRelease) {
    Hooks h;
    const NuZmallocUctx u = h.uctx();
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, &u, 4, 16, nullptr);
    void *a = _NuZmallocGet(z, nullptr);
    EXPECT_TRUE(h.once_init == 1 && h.get_init == 1);
    EXPECT_EQ(_NuZmPtrRetain(a), 2);
    EXPECT_EQ(_NuZmPtrRelease(a), 1);
    EXPECT_EQ(h.release_fini, 0) << "still referenced";
    EXPECT_EQ(_NuZmPtrRelease(a), 0);
    EXPECT_EQ(h.release_fini, 1);
    EXPECT_EQ(_NuZmPtrRelease(a), -1) << "a second release of a free object is refused";
    EXPECT_EQ(h.release_fini, 1);
    EXPECT_EQ(_NuZmallocGet(z, nullptr), a);
    EXPECT_EQ(h.once_init, 1) << "once per granule";
    EXPECT_EQ(h.get_init, 2) << "at every get";
    void *b = _NuZmallocGet(z, nullptr);
    // Closing by the opener leaves the zone to the two objects out.
    EXPECT_EQ(_NuZmallocClose(z, 0, nullptr), 2);
    EXPECT_EQ(_NuZmPtrRelease(a), 0);
    EXPECT_EQ(h.once_fini, 0);
    EXPECT_EQ(_NuZmPtrRelease(b), 0);  // the last one ends the zone (ASan: nothing leaks)
    EXPECT_EQ(h.once_fini, 2);
    EXPECT_EQ(h.release_fini, 3);

    // A forced close runs the hooks of objects still out.
    h = {};
    z = _NuZmallocOpen(nullptr, nullptr, &u, 8, 16, nullptr);
    _NuZmallocGet(z, nullptr);
    _NuZmPtrRelease(_NuZmallocGet(z, nullptr));
    EXPECT_EQ(_NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr), 0);
    EXPECT_EQ(h.release_fini, 2) << "one at its release, one at the end";
    EXPECT_EQ(h.once_fini, 2) << "both granules were out once";
}

TEST(Zone, InCallersMemoryItIsNotCountedAndCloseClearsIt) {
    char user[8] = "ctx";
    NuZmallocUctx_v2 u{nullptr, nullptr, nullptr, nullptr, user, sizeof user};
    // _v2 copies the user data behind the record: the caller gives room.
    alignas(NuZmalloc) unsigned char room[sizeof(NuZmalloc) + sizeof user];
    NuZmalloc *z = _NuZmallocOpen_v2(reinterpret_cast<NuZmalloc *>(room), nullptr, &u, 2, 8,
                                     nullptr);
    ASSERT_NE(z, nullptr);
    EXPECT_EQ(z->refs, -1);
    EXPECT_EQ(z->version, 2u);
    EXPECT_NE(z->uctx.user_data, static_cast<void *>(user));
    EXPECT_STREQ(static_cast<char *>(z->uctx.user_data), "ctx");
    void *a = _NuZmallocGet(z, nullptr);
    EXPECT_EQ(_NuZmPtrRelease(a), 0);
    EXPECT_EQ(_NuZmallocGet(z, nullptr), a) << "still usable with nothing out";
    EXPECT_EQ(_NuZmallocClose(z, 0, nullptr), 0);
    EXPECT_EQ(z->object_size, 0u) << "cleared";
}

TEST(Zone, GetFromAFixedZoneAndTheRefusals) {
    constexpr const char *kNoMemory = ": operation failure: can not perform local memory allocation.";
    Status full, size, table, record, chunk;
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 2, 8, nullptr);
    EXPECT_TRUE(_NuZmallocGet0(z, nullptr) && _NuZmallocGet0(z, nullptr));
    EXPECT_EQ(_NuZmallocGet0(z, &full.err), nullptr);
    expect_report(full.err, 508, 32773, ENOMEM, 1, (std::string("@allocator.get") + kNoMemory).c_str());
    EXPECT_EQ(z->chunk_count, 1u) << "the zone stays as it was";
    _NuZmallocClose(z, NU_ZMALLOC_DESTROY_NOW, nullptr);

    EXPECT_EQ(_NuZmallocOpen(nullptr, nullptr, nullptr, 0, 0, &size.err), nullptr);
    EXPECT_STREQ(size.buf, "memman:_NuZmallocOpen(@user-object-size): invalid argument.");
    const NuMallocOpv no_free = {Heap::alloc, Heap::calloc, nullptr, nullptr};
    EXPECT_EQ(_NuZmallocOpen_v2(nullptr, &no_free, nullptr, 0, 8, &table.err), nullptr);
    EXPECT_STREQ(table.buf,
                 "memman:_NuZmallocOpen_v2(@allocator{.mm_alloc || .mm_free}): invalid argument.");
    Heap::reset();
    Heap::fail = true;
    EXPECT_EQ(_NuZmallocOpen(nullptr, &Heap::table, nullptr, 0, 8, &record.err), nullptr);
    EXPECT_EQ(std::string(record.buf), std::string("@allocator.mm_alloc") + kNoMemory);
    Heap::fail = false;
    z = _NuZmallocOpen(nullptr, &Heap::table, nullptr, 0, 8, nullptr);
    Heap::fail = true;
    EXPECT_EQ(_NuZmallocGet(z, &chunk.err), nullptr);
    EXPECT_EQ(chunk.err.status, (508 << 16) | 32773);
    EXPECT_TRUE(z->chunk_count == 0 && _NuZmallocHasfreeg(z) == 0);
    Heap::fail = false;
    _NuZmallocClose(z, 0, nullptr);
}

TEST(Zone, ThreadsShareOneZoneWithoutLosingAnObject) {
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, 16, sizeof(int), nullptr);
    std::atomic<int> collisions{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 5000; ++i) {
                auto *o = static_cast<int *>(_NuZmallocGet(z, nullptr));
                *o = t;  // only this thread holds it now
                _NuZmPtrRetain(o);
                if (_NuZmPtrRelease(o) != 1 || *o != t)
                    ++collisions;
                _NuZmPtrRelease(o);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(collisions.load(), 0);
    EXPECT_EQ(z->refs, 1) << "every object came back";
    EXPECT_EQ(z->free_count, z->chunk_count * 16);
    EXPECT_EQ(_NuZmallocClose(z, 0, nullptr), 0);
}

// Whatever hooks a zone has, its last object back after the opener's close
// ends it (ASan: nothing leaks), with each hook run as often as it should.
TEST(Zone, TheLastObjectBackEndsTheZoneWithAnyHooks) {
    struct Row {
        bool once, get, release;
    };
    constexpr Row kRows[] = {
        {false, false, false},
        {true, false, false},
        {false, true, false},
        {false, false, true},
        {true, true, true},
    };
    for (const Row &row : kRows) {
        SCOPED_TRACE(testing::Message() << "once " << row.once << ", get " << row.get
                                        << ", release " << row.release);
        Hooks h;
        NuZmallocUctx u = h.uctx();
        u.once_init = row.once ? u.once_init : nullptr;
        u.once_fini = row.once ? u.once_fini : nullptr;
        u.get_init = row.get ? u.get_init : nullptr;
        u.release_fini = row.release ? u.release_fini : nullptr;
        NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, &u, 2, 16, nullptr);
        void *a = _NuZmallocGet(z, nullptr);
        EXPECT_EQ(_NuZmPtrRelease(a), 0);
        EXPECT_EQ(_NuZmallocGet(z, nullptr), a);
        EXPECT_EQ(_NuZmallocClose(z, 0, nullptr), 1) << "the object still holds the zone";
        EXPECT_EQ(_NuZmPtrRelease(a), 0);
        EXPECT_EQ(h.once_init, row.once ? 1 : 0);
        EXPECT_EQ(h.once_fini, row.once ? 1 : 0);
        EXPECT_EQ(h.get_init, row.get ? 2 : 0);
        EXPECT_EQ(h.release_fini, row.release ? 2 : 0);
    }
}

// A fixed zone fails a get only when all of its granules are out: two
// threads that never hold more than the chunk between them are always served,
// whichever thread gave a granule back last.
TEST(Zone, AFixedZoneServesEveryGetWhileAGranuleIsFree) {
    constexpr int kGranules = 4;
    NuZmalloc *z = _NuZmallocOpen(nullptr, nullptr, nullptr, kGranules, 8, nullptr);
    std::atomic<int> refused{0};
    auto body = [&] {
        for (int i = 0; i < 5000; ++i) {
            void *held[kGranules / 2];
            for (void *&o : held)
                if ((o = _NuZmallocGet0(z, nullptr)) == nullptr)
                    ++refused;
            for (void *o : held)
                _NuZmPtrRelease(o);
        }
    };
    std::thread a(body), b(body);
    a.join(), b.join();
    EXPECT_EQ(refused.load(), 0);
    EXPECT_EQ(z->chunk_count, 1u);
    EXPECT_EQ(z->free_count, static_cast<uintptr_t>(kGranules));
    void *all[kGranules];
    for (void *&o : all)
        o = _NuZmallocGet0(z, nullptr);
    EXPECT_EQ(_NuZmallocGet0(z, nullptr), nullptr) << "full now";
    for (void *o : all)
        _NuZmPtrRelease(o);
    EXPECT_EQ(_NuZmallocClose(z, 0, nullptr), 0);
}

}  // namespace
