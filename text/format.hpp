// SPDX-License-Identifier: MIT
// Formatting into a fresh block, for the growable strings and the asprintf
// family: one entry for 8-bit formats (the C library's formatter) and one for
// 16-bit formats (our own walk of the format, numbers through snprintf).
#pragma once

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace vesk::text {

// Where a formatted block comes from, and how it goes back on failure.
struct Heap {
    void *(*alloc)(size_t);
    void (*release)(void *);
};

template <class Unit>
struct Formatted {
    Unit *block = nullptr;  // null: nothing formatted, errno says why
    size_t length = 0;      // formatted units, behind the head
};

// Bytes of a block of `length` units and its terminator; false (errno
// EOVERFLOW) when that is more than an address can count.
template <class Unit>
bool block_bytes(size_t length, size_t *bytes) {
    size_t units;
    if (__builtin_add_overflow(length, size_t{1}, &units) ||
        __builtin_mul_overflow(units, sizeof(Unit), bytes) || *bytes > size_t{PTRDIFF_MAX}) {
        errno = EOVERFLOW;
        return false;
    }
    return true;
}

// Formats into a block from `heap` of `head` + length + 1 units: the text
// stands at `head` and is terminated; the first `head` units are left for the
// caller to fill. `arguments` is read, not consumed (the caller's list stays
// usable). A null format reads as empty. The result is at most INT_MAX
// units, as the C library's formatter allows.
Formatted<char> format_block(size_t head, Heap heap, const char *format, va_list arguments);
Formatted<char16_t> format_block(size_t head, Heap heap, const char16_t *format,
                                 va_list arguments);

}  // namespace vesk::text
