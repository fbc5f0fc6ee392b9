// Weighted edit distance in two rows. Up to 511 units on the right side the
// rows lie on the stack; longer ones take a block from the allocator table.
#include <algorithm>
#include <utility>

#include "nu.h"
#include "units.hpp"

namespace {

constexpr size_t kStackBytes = 4096;

template <class Unit>
size_t resolve_length(const Unit *s, int64_t n) {
    if (n == -1)
        return s == nullptr ? 0 : vesk::text::length_of(s);
    return n < 0 ? 0 : static_cast<size_t>(n);
}

// Costs are compared as signed numbers, as the rows hold them.
int32_t smallest(uint32_t a, uint32_t b, uint32_t c) {
    return std::min({static_cast<int32_t>(a), static_cast<int32_t>(b), static_cast<int32_t>(c)});
}

template <class Unit>
int32_t distance(const Unit *s1, int64_t len1, const Unit *s2, int64_t len2, int32_t ins,
                 int32_t rep, int32_t del) {
    const size_t n1 = resolve_length(s1, len1), n2 = resolve_length(s2, len2);
    if (n1 == 0)
        return static_cast<int32_t>(static_cast<uint32_t>(n2) * static_cast<uint32_t>(ins));
    if (n2 == 0)
        return static_cast<int32_t>(static_cast<uint32_t>(n1) * static_cast<uint32_t>(del));
    // A length no memory could hold would wrap the byte count and pass for
    // a small one; it gets the answer of a failed allocation instead.
    if (n2 >= SIZE_MAX / (2 * sizeof(uint32_t)))
        return -1;
    const size_t bytes = 2 * (n2 + 1) * sizeof(uint32_t);
    uint32_t stack_rows[kStackBytes / sizeof(uint32_t)];
    uint32_t *rows = stack_rows;
    if (bytes > kStackBytes) {
        rows = static_cast<uint32_t *>(_NuMalloc(bytes, nullptr));
        if (rows == nullptr)
            return -1;
    }
    uint32_t *old_row = rows, *new_row = rows + n2 + 1;
    for (size_t j = 0; j <= n2; ++j)
        old_row[j] = static_cast<uint32_t>(j) * static_cast<uint32_t>(ins);
    for (size_t i = 0; i < n1; ++i) {
        new_row[0] = old_row[0] + static_cast<uint32_t>(del);
        for (size_t j = 0; j < n2; ++j) {
            const uint32_t change = s1[i] == s2[j] ? 0 : static_cast<uint32_t>(rep);
            new_row[j + 1] = static_cast<uint32_t>(
                smallest(old_row[j] + change, old_row[j + 1] + static_cast<uint32_t>(del),
                         new_row[j] + static_cast<uint32_t>(ins)));
        }
        std::swap(old_row, new_row);
    }
    const auto result = static_cast<int32_t>(old_row[n2]);
    if (rows != stack_rows)
        NuMfree(rows);
    return result;
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
