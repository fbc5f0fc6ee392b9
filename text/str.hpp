// SPDX-License-Identifier: MIT
// What the growable-string operations share: one block per string, exactly
// length + 1 units from the allocator table, replaced as a whole.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nu.h"
#include "text/format.hpp"
#include "text/units.hpp"

namespace vesk::text {

// The allocator table, as the formatter takes it.
inline constexpr Heap kStringHeap = {NuMalloc, NuMfree};

template <class Unit>
size_t string_length(const Unit *s) {
    return s == nullptr ? 0 : length_of(s);
}

template <class Unit>
void copy_units(Unit *to, const Unit *from, size_t n) {
    if (n != 0)
        std::memcpy(to, from, n * sizeof(Unit));
}

// A block for `length` units and the terminator; null with errno EOVERFLOW
// or ENOMEM.
template <class Unit>
Unit *new_block(size_t length) {
    size_t bytes;
    if (!block_bytes<Unit>(length, &bytes))
        return nullptr;
    auto *block = static_cast<Unit *>(NuMalloc(bytes));
    if (block == nullptr)
        errno = ENOMEM;
    return block;
}

// The variable takes `block`; the old one is released only now, so that
// everything read from it while the new one was made stayed valid.
template <class Unit>
void replace_block(Unit **s, Unit *block) {
    Unit *old = *s;
    *s = block;
    if (old != nullptr)
        NuMfree(old);
}

}  // namespace vesk::text
