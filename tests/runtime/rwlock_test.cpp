// SPDX-License-Identifier: MIT
// The record lock: what it leaves behind, what the tries answer, and writers'
// precedence under real threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "vesk.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(30);  // generous: spinning threads on a small VM

template <class Pred>
bool eventually(Pred done) {
    for (const auto deadline = Clock::now() + kPatience; !done();) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

bool all_zero(const VeskRwlock &l) {
    return l.guard == 0 && l.wgate == 0 && l.hold == 0 && l.readers == 0 && l.writers == 0;
}

TEST(Rwlock, TriesAnswerByHolderAndEveryHolderLeavesNoTrace) {
    VeskRecord r{};
    _VeskObjRdlock(&r, nullptr);
    _VeskObjRdlock(&r, nullptr);
    EXPECT_EQ(_VeskObjTrywrlock(&r), 0) << "readers keep writers out";
    EXPECT_EQ(_VeskObjTryrdlock(&r), 1) << "and let readers in";
    for (int i = 0; i < 3; ++i)
        _VeskObjUnlock(&r, nullptr);
    EXPECT_TRUE(all_zero(r.lock)) << "after three readers";

    _VeskObjWrlock(&r, nullptr);
    EXPECT_EQ(r.lock.readers, 0xFFFF);
    EXPECT_EQ(_VeskObjTryrdlock(&r), 0);
    EXPECT_EQ(_VeskObjTrywrlock(&r), 0);
    _VeskObjUnlock(&r, nullptr);
    EXPECT_TRUE(all_zero(r.lock)) << "after a writer and two failed tries";

    EXPECT_EQ(_VeskObjTrywrlock(&r), 1);
    _VeskObjUnlock(&r, nullptr);
    EXPECT_TRUE(all_zero(r.lock)) << "after a try-writer";
}

// A reader holds; a writer arrives and waits; a reader arriving behind it
// waits too, and gets in only after the writer has been and gone.
TEST(Rwlock, WaitingWriterShutsOutNewReaders) {
    VeskRecord r{};
    std::atomic<int> order{0}, writer_at{0}, reader_at{0};
    std::atomic<bool> reader_started{false};
    _VeskObjRdlock(&r, nullptr);
    std::thread writer([&] {
        _VeskObjWrlock(&r, nullptr);
        writer_at = ++order;
        _VeskObjUnlock(&r, nullptr);
    });
    // Try-read succeeds (and is given straight back) until the writer is counted.
    ASSERT_TRUE(eventually([&] {
        const bool got = _VeskObjTryrdlock(&r) == 1;
        if (got)
            _VeskObjUnlock(&r, nullptr);
        return !got;
    }));
    std::thread reader([&] {
        reader_started = true;
        _VeskObjRdlock(&r, nullptr);
        reader_at = ++order;
        _VeskObjUnlock(&r, nullptr);
    });
    ASSERT_TRUE(eventually([&] { return reader_started.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(writer_at + reader_at, 0) << "nobody passes the first reader";

    _VeskObjUnlock(&r, nullptr);
    writer.join();
    reader.join();
    EXPECT_EQ(writer_at, 1);
    EXPECT_EQ(reader_at, 2);
    EXPECT_TRUE(all_zero(r.lock));
}

// Readers read without pause while writers write; nobody may ever see a
// writer beside anyone else, and the writers must get through. The pair is
// plain data, so a broken exclusion also shows as a race under ThreadSanitizer.
TEST(Rwlock, WritersGetThroughBusyReadersExclusively) {
    constexpr int kWriters = 2, kReaders = 3, kWrites = 2000;
    VeskRecord r{};
    long a = 0, b = 0;
    std::atomic<int> writing{0}, reading{0}, writers_done{0}, violations{0};
    std::atomic<long> reads{0};
    const auto deadline = Clock::now() + kPatience;
    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w)
        threads.emplace_back([&] {
            if (!eventually([&] { return reads >= 100; }))  // readers are at it
                return;
            for (int i = 0; i < kWrites; ++i) {
                _VeskObjWrlock(&r, nullptr);
                violations += writing++ != 0 || reading != 0;
                ++a, ++b;
                --writing;
                _VeskObjUnlock(&r, nullptr);
            }
            ++writers_done;
        });
    for (int i = 0; i < kReaders; ++i)
        threads.emplace_back([&] {
            while (writers_done < kWriters && Clock::now() < deadline) {
                _VeskObjRdlock(&r, nullptr);
                ++reading;
                violations += writing != 0 || a != b;
                --reading;
                _VeskObjUnlock(&r, nullptr);
                ++reads;
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(writers_done, kWriters) << "writers starved behind readers";
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(a, long{kWriters} * kWrites);
    EXPECT_TRUE(all_zero(r.lock));
}

}  // namespace

namespace {

// The fields while held read as the lock's layout documents them, and a
// holder that lingers far past any spin sends readers and writers to sleep;
// its unlock must wake every one of them.
TEST(Rwlock, FieldsWhileHeldAndSleepersAllWoken) {
    VeskRecord r{};
    _VeskObjRdlock(&r, nullptr);
    _VeskObjRdlock(&r, nullptr);
    EXPECT_EQ(r.lock.hold, 1u);
    EXPECT_EQ(r.lock.readers, 2);
    EXPECT_EQ(r.lock.writers + r.lock.wgate + r.lock.guard, 0u);
    _VeskObjUnlock(&r, nullptr);
    _VeskObjUnlock(&r, nullptr);

    _VeskObjWrlock(&r, nullptr);
    EXPECT_EQ(r.lock.hold, 1u);
    EXPECT_EQ(r.lock.wgate, 1u);
    EXPECT_EQ(r.lock.readers, 0xFFFF);
    EXPECT_EQ(r.lock.writers, 1);

    constexpr int kEach = 3;
    std::atomic<int> through{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kEach; ++i) {
        threads.emplace_back([&] {
            _VeskObjRdlock(&r, nullptr);
            ++through;
            _VeskObjUnlock(&r, nullptr);
        });
        threads.emplace_back([&] {
            _VeskObjWrlock(&r, nullptr);
            ++through;
            _VeskObjUnlock(&r, nullptr);
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(through, 0);
    // Read as the waiters write it, atomically.
    EXPECT_EQ(std::atomic_ref<uint16_t>(r.lock.writers).load(), 1 + kEach)
        << "waiting writers are counted";
    _VeskObjUnlock(&r, nullptr);
    ASSERT_TRUE(eventually([&] { return through == 2 * kEach; }));
    for (auto &t : threads)
        t.join();
    EXPECT_TRUE(all_zero(r.lock));
}

}  // namespace
