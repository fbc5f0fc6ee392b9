// SPDX-License-Identifier: MIT
// The string dictionary's entry blocks, for the other containers of string
// pairs that lay their entries out the same way (log messages copy whole
// dictionaries).
#pragma once

#include <cstddef>

#include "nu.h"

namespace vesk::memory {

// One block with the key and, behind it, the value, each with its NUL; a
// null value stays null. Allocated through the table in silence: null when
// memory runs out (or the sizes can't be added), and the caller reports.
NuLstrdicEntry make_entry(const char *key, const char *value);

// Releases the block of an entry made by make_entry.
inline void release_entry(const NuLstrdicEntry &entry) { NuMfree(const_cast<char *>(entry.key)); }

// The array of room for `n` entries, resized from `entries` (which may be
// null); null when memory runs out or the size can't be expressed.
NuLstrdicEntry *resize_entries(NuLstrdicEntry *entries, size_t n);

}  // namespace vesk::memory
