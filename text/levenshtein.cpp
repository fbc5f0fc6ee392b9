// SPDX-License-Identifier: MIT
// Weighted edit distance in two rows. Up to 511 units on the right side the
// rows lie on the stack; longer ones take a block from the C heap.
//
// The distance is a number from 0 to INT32_MAX; -1 says it could not be given,
// with errno telling why (the functions have no status record):
//  - EINVAL: a negative cost, a null string with a length above 0, or a
//    length no object can have (its span wraps the address space);
//  - EOVERFLOW: the distance is above INT32_MAX;
//  - ENOMEM: the rows could not be had.
// Entries that would pass INT32_MAX are held at a mark one above it: with
// costs of at most INT32_MAX, no sum of an entry and a cost leaves 32 bits.
// Where no entry can reach the mark, nothing is held.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

#include "nu.h"
#include "units.hpp"

namespace {

constexpr size_t kStackBytes = 4096;
constexpr uint32_t kTooFar = uint32_t{INT32_MAX} + 1;

int32_t fail(int errnum) {
    errno = errnum;
    return -1;
}

// The length in units, or nothing for a span that can't be read.
template <class Unit>
std::optional<size_t> resolve_length(const Unit *s, int64_t n) {
    if (n == -1)
        return s == nullptr ? 0 : vesk::text::length_of(s);
    if (n <= 0)
        return 0;  // below -1: counts as empty, as it always did
    const auto units = static_cast<uint64_t>(n);
    if (s == nullptr || units > PTRDIFF_MAX / sizeof(Unit))
        return std::nullopt;
    uintptr_t end = 0;
    if (__builtin_add_overflow(reinterpret_cast<uintptr_t>(s), units * sizeof(Unit), &end))
        return std::nullopt;
    return static_cast<size_t>(units);
}

// count x cost, when it fits the result.
int32_t product(size_t count, int32_t cost) {
    uint64_t total = 0;
    if (__builtin_mul_overflow(static_cast<uint64_t>(count), static_cast<uint64_t>(cost), &total) ||
        total > INT32_MAX)
        return fail(EOVERFLOW);
    return static_cast<int32_t>(total);
}

// Whether every entry, and every entry plus a cost, stays below the mark:
// no entry exceeds deleting all of s1 and inserting all of s2.
bool fits_without_mark(size_t n1, size_t n2, int32_t ins, int32_t rep, int32_t del) {
    uint64_t deletes = 0, inserts = 0, bound = 0;
    const auto widest = static_cast<uint64_t>(std::max({ins, rep, del}));
    return !__builtin_mul_overflow(uint64_t{n1}, uint64_t(del), &deletes) &&
           !__builtin_mul_overflow(uint64_t{n2}, uint64_t(ins), &inserts) &&
           !__builtin_add_overflow(deletes, inserts, &bound) &&
           !__builtin_add_overflow(bound, widest, &bound) && bound < kTooFar;
}

// An entry, held at the mark. Entries are at most the mark (2^31) and costs
// below it, so every sum of an entry and a cost is exact in 32 bits, and the
// smallest of three sums can be held once.
template <bool kHeld>
uint32_t held(uint32_t entry) {
    return kHeld ? std::min(entry, kTooFar) : entry;
}

template <bool kHeld, class Unit>
uint32_t fill_rows(const Unit *s1, size_t n1, const Unit *s2, size_t n2, uint32_t ins,
                   uint32_t rep, uint32_t del, uint32_t *old_row, uint32_t *new_row) {
    old_row[0] = 0;
    for (size_t j = 0; j < n2; ++j)
        old_row[j + 1] = held<kHeld>(old_row[j] + ins);
    for (size_t i = 0; i < n1; ++i) {
        new_row[0] = held<kHeld>(old_row[0] + del);
        for (size_t j = 0; j < n2; ++j) {
            const uint32_t change = s1[i] == s2[j] ? 0 : rep;
            new_row[j + 1] = held<kHeld>(
                std::min({old_row[j] + change, old_row[j + 1] + del, new_row[j] + ins}));
        }
        std::swap(old_row, new_row);
    }
    return old_row[n2];
}

template <class Unit>
int32_t distance(const Unit *s1, int64_t len1, const Unit *s2, int64_t len2, int32_t ins,
                 int32_t rep, int32_t del) {
    if (ins < 0 || rep < 0 || del < 0)
        return fail(EINVAL);
    const auto n1 = resolve_length(s1, len1), n2 = resolve_length(s2, len2);
    if (!n1 || !n2)
        return fail(EINVAL);
    if (*n1 == 0)
        return product(*n2, ins);
    if (*n2 == 0)
        return product(*n1, del);
    size_t row_units = 0, bytes = 0;
    if (__builtin_add_overflow(*n2, size_t{1}, &row_units) ||
        __builtin_mul_overflow(row_units, 2 * sizeof(uint32_t), &bytes) || bytes > PTRDIFF_MAX)
        return fail(ENOMEM);
    uint32_t stack_rows[kStackBytes / sizeof(uint32_t)];
    uint32_t *rows = stack_rows;
    if (bytes > kStackBytes) {
        // Not the allocator table: its default waits and ends the process
        // when memory runs out, and this function promises -1 instead.
        rows = static_cast<uint32_t *>(std::malloc(bytes));
        if (rows == nullptr)
            return fail(ENOMEM);
    }
    const auto u_ins = static_cast<uint32_t>(ins), u_rep = static_cast<uint32_t>(rep),
               u_del = static_cast<uint32_t>(del);
    const uint32_t result =
        fits_without_mark(*n1, *n2, ins, rep, del)
            ? fill_rows<false>(s1, *n1, s2, *n2, u_ins, u_rep, u_del, rows, rows + row_units)
            : fill_rows<true>(s1, *n1, s2, *n2, u_ins, u_rep, u_del, rows, rows + row_units);
    if (rows != stack_rows)
        std::free(rows);
    return result >= kTooFar ? fail(EOVERFLOW) : static_cast<int32_t>(result);
}

}  // namespace

extern "C" {

VESK_API int32_t NuLevenshtein(const char *s1, int64_t n1, const char *s2, int64_t n2,
                               int32_t insert_cost, int32_t replace_cost, int32_t delete_cost) {
    return distance(s1, n1, s2, n2, insert_cost, replace_cost, delete_cost);
}

VESK_API int32_t NuWLevenshtein(const char16_t *s1, int64_t n1, const char16_t *s2, int64_t n2,
                                int32_t insert_cost, int32_t replace_cost, int32_t delete_cost) {
    return distance(s1, n1, s2, n2, insert_cost, replace_cost, delete_cost);
}

}  // extern "C"
