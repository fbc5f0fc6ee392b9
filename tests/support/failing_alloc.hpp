// SPDX-License-Identifier: MIT
// An allocator table for fresh processes that counts live blocks and makes
// the n-th allocation from now fail, so that a test can walk every
// allocation of an operation in turn and check what each failure leaves.
//
//   vesk_test::expect_in_fresh_process([] {
//       vesk_test::FailingAlloc::install();
//       for (int n = 1;; ++n) {
//           vesk_test::FailingAlloc::fail_at(n);
//           ... the operation, and its checks ...
//           CHILD_CHECK(vesk_test::FailingAlloc::live == 0);
//           if (!vesk_test::FailingAlloc::fired) break;  // it ran through
//       }
//   });
#pragma once

#include <cstdlib>

#include "support/status.hpp"
#include "vesk.h"

namespace vesk_test {

struct FailingAlloc {
    static inline long live = 0;       // blocks handed out and not released
    static inline int countdown = 0;   // allocations left before the failing one; 0 is never
    static inline bool fired = false;  // the failure happened since fail_at

    static void fail_at(int n) { countdown = n, fired = false; }
    static void never() { countdown = 0, fired = false; }

    static bool refuse() {
        if (countdown == 0 || --countdown != 0)
            return false;
        fired = true;
        return true;
    }
    static void *alloc(size_t n) { return counted(refuse() ? nullptr : std::malloc(n)); }
    static void *calloc(size_t n, size_t s) { return counted(refuse() ? nullptr : std::calloc(n, s)); }
    static void *realloc(void *p, size_t n) {
        if (refuse())
            return nullptr;
        void *q = std::realloc(p, n);
        if (p == nullptr && q != nullptr)
            ++live;
        return q;
    }
    static void free(void *p) {
        if (p != nullptr)
            --live;
        std::free(p);
    }
    static void *counted(void *p) {
        if (p != nullptr)
            ++live;
        return p;
    }

    // In a fresh process, before anything allocates through the table.
    static void install() {
        static constexpr NuMallocOpv table = {alloc, calloc, realloc, free};
        CHILD_CHECK(_NuMallocOpv(&table, nullptr) == 0);
    }
};

}  // namespace vesk_test
