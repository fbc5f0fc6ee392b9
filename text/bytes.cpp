// SPDX-License-Identifier: MIT
// The BSD memory functions under the library's names (the C library owns the
// plain ones, and its bcmp tells only equal from unequal; this one orders).

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nu.h"

namespace {

// -1, 0 or 1 for the first differing byte among `n`, as unsigned values.
int32_t order_bytes(const unsigned char *a, const unsigned char *b, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    return 0;
}

}  // namespace

extern "C" {

// Whole 32-bit words while they are equal; the word that differs, and the
// tail, byte by byte.
VESK_API int32_t NuBcmp(const void *a, const void *b, size_t n) {
    if (n == 0 || a == b)
        return 0;
    if (a == nullptr || b == nullptr)
        return a == nullptr ? -1 : 1;
    const auto *p = static_cast<const unsigned char *>(a);
    const auto *q = static_cast<const unsigned char *>(b);
    for (; n >= 4; p += 4, q += 4, n -= 4) {
        uint32_t x, y;
        std::memcpy(&x, p, 4);
        std::memcpy(&y, q, 4);
        if (x != y)
            return order_bytes(p, q, 4);
    }
    return order_bytes(p, q, n);
}

VESK_API void NuBcopy(const void *source, void *destination, size_t n) {
    if (n != 0 && source != nullptr && destination != nullptr)
        std::memmove(destination, source, n);
}

VESK_API void NuBzero(void *destination, size_t n) {
    if (n != 0 && destination != nullptr)
        std::memset(destination, 0, n);
}

}  // extern "C"
