// SPDX-License-Identifier: MIT
// The allocator table and its entry points.
//
// Every allocation the library makes for itself goes through one table of
// four functions. The defaults sit on the C heap, retry a failed request
// twice after a second's wait and then end the process, and keep a count of
// live blocks. An application may install its own functions until the first
// allocation seals the table.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "vesk.h"

extern "C" {
VESK_API int32_t _G_NuMalloc_verbose = 0;
}

namespace {

constexpr const char *kOutOfMemory = "operation failure: can not perform local memory allocation";
constexpr int kAttempts = 3;

std::atomic<int32_t> live_blocks{0};

// 1 until the first allocation, reallocation or release through the table;
// the table may be replaced only while it is 1.
std::atomic<unsigned char> pristine{1};

inline void seal() { pristine.store(0, std::memory_order_relaxed); }

bool verbose() { return _G_NuMalloc_verbose != 0; }

// No block can be larger than the largest difference of two pointers, so a
// request above it is answered with null at once: waiting would not help, and
// ending the process for a size that was never possible would punish the
// caller for what is an argument error.
constexpr size_t kLargestBlock = PTRDIFF_MAX;

bool impossible(size_t size) { return size > kLargestBlock; }

bool impossible(size_t count, size_t size) {
    size_t total;
    return __builtin_mul_overflow(count, size, &total) || impossible(total);
}

// Runs `attempt` up to three times, a second apart. A zero-sized request that
// gets nothing gives up at once; a real one that gets nothing ends the process.
template <class Attempt, class Complain>
void *with_retries(bool zero_request, Attempt attempt, Complain complain) {
    for (int i = 0; i < kAttempts; ++i) {
        if (void *block = attempt())
            return block;
        if (zero_request)
            return nullptr;
        NuSleep(1, nullptr);
    }
    complain();
    std::exit(1);
}

void *default_alloc(size_t size) {
    if (impossible(size))
        return nullptr;
    void *block = with_retries(
        size == 0, [&] { return std::malloc(size); },
        [&] { std::fprintf(stderr, "malloc(%lu): %s.\n", static_cast<unsigned long>(size), kOutOfMemory); });
    if (block != nullptr)
        live_blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void *default_calloc(size_t count, size_t size) {
    if (impossible(count, size))
        return nullptr;
    void *block = with_retries(
        count == 0 || size == 0, [&] { return std::calloc(count, size); },
        [&] {
            std::fprintf(stderr, "calloc(%lu, %lu): %s.\n", static_cast<unsigned long>(count),
                         static_cast<unsigned long>(size), kOutOfMemory);
        });
    if (block != nullptr)
        live_blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void *default_realloc(void *old, size_t size) {
    if (impossible(size))
        return nullptr;  // `old` stays as it was, as with any failed realloc
    void *block = with_retries(
        size == 0, [&] { return std::realloc(old, size); },
        [&] {
            std::fprintf(stderr, "realloc(%p, %lu): %s.\n", old, static_cast<unsigned long>(size),
                         kOutOfMemory);
        });
    // Only a new block is a new live block; a resized one was counted already.
    if (block != nullptr && old == nullptr)
        live_blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void default_free(void *block) {
    if (block != nullptr) {
        const int32_t left = live_blocks.fetch_sub(1, std::memory_order_relaxed) - 1;
        if (left < 0 && verbose())
            std::fprintf(stderr,
                         "test malloc: free(%p): error: the number of allocated objects less then "
                         "0 (%d)\n",
                         block, left);
    }
    std::free(block);
}

// The table itself; reports call it "_S_malloc". Read with plain loads: it
// changes only before the first allocation, before other threads use it.
NuMallocOpv table = {default_alloc, default_calloc, default_realloc, default_free};

// A null block from the table, in the reporting tier.
[[gnu::cold]] void report_no_memory(VeskErr *status, const char *slot) {
    VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_NONE, VESK_E_NOMEM, 0, 1, slot);
}

int32_t live_block_report_start(uintptr_t) { return 0; }

int32_t live_block_report_stop(uintptr_t) {
    const int32_t live = live_blocks.load(std::memory_order_relaxed);
    if (live != 0 && verbose())
        std::fprintf(stderr, "test malloc: error: the number of allocated objects are %d\n", live);
    return 0;
}

VeskStartRec live_block_report = {
    VESK_START_MAGIC, 0, live_block_report_start, 0, live_block_report_stop, 0, {}, nullptr,
    nullptr};

}  // namespace

VESK_START_AT_LOAD(register_live_block_report, &live_block_report)

extern "C" {

// Silent tier: a store and a jump to the slot.
VESK_API void *NuMalloc(size_t size) {
    seal();
    return table.mm_alloc(size);
}

VESK_API void *NuMcalloc(size_t count, size_t size) {
    seal();
    return table.mm_calloc(count, size);
}

VESK_API void *NuMrealloc(void *block, size_t size) {
    seal();
    return table.mm_realloc(block, size);
}

VESK_API void NuMfree(void *block) {
    seal();
    table.mm_free(block);
}

VESK_API void _NuMfree(void *block) __attribute__((alias("NuMfree")));

// Reporting tier.
VESK_API void *_NuMalloc(size_t size, VeskErr *status) {
    seal();
    void *block = table.mm_alloc(size);
    if (block == nullptr)
        report_no_memory(status, "_S_malloc.mm_alloc");
    return block;
}

VESK_API void *_NuMcalloc(size_t count, size_t size, VeskErr *status) {
    seal();
    void *block = table.mm_calloc(count, size);
    if (block == nullptr)
        report_no_memory(status, "_S_malloc.mm_calloc");
    return block;
}

VESK_API void *_NuMrealloc(void *block, size_t size, VeskErr *status) {
    seal();
    void *resized = table.mm_realloc(block, size);
    if (resized == nullptr)
        report_no_memory(status, "_S_malloc.mm_realloc");
    return resized;
}

VESK_API int64_t _NuMallocOpv(const NuMallocOpv *newopv, NuMallocOpv *old) {
    if (old != nullptr)
        *old = table;
    if (newopv == nullptr)
        return 0;
    if (pristine.load(std::memory_order_relaxed) == 0)
        return -1;
    if (newopv->mm_alloc != nullptr)
        table.mm_alloc = newopv->mm_alloc;
    if (newopv->mm_calloc != nullptr)
        table.mm_calloc = newopv->mm_calloc;
    if (newopv->mm_realloc != nullptr)
        table.mm_realloc = newopv->mm_realloc;
    if (newopv->mm_free != nullptr)
        table.mm_free = newopv->mm_free;
    return 0;
}

// The C heap, untouched by the table and the count.
VESK_API void *nu_malloc(size_t size) { return std::malloc(size); }
VESK_API void *nu_calloc(size_t count, size_t size) { return std::calloc(count, size); }
VESK_API void *nu_realloc(void *block, size_t size) { return std::realloc(block, size); }
VESK_API void nu_free(void *block) { std::free(block); }

}  // extern "C"
