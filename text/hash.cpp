// SPDX-License-Identifier: MIT
// String hashes: the ELF hash of the System V ABI, from 0, over bytes or over
// whole 16-bit units.
#include "nu.h"
#include "units.hpp"

namespace {

using vesk::text::value_of;

uint32_t step(uint32_t h, uint32_t unit) {
    h = (h << 4) + unit;
    const uint32_t g = h & 0xF0000000u;
    return h ^ g ^ (g >> 24);
}

// Hashes units until the terminator or `limit` units, whichever comes first.
template <class Unit>
uint32_t hash_units(const Unit *s, size_t limit) {
    uint32_t h = 0;
    if (s == nullptr)
        return 0;
    for (size_t i = 0; i < limit && s[i] != 0; ++i)
        h = step(h, value_of(s[i]));
    return h;
}

}  // namespace

extern "C" {

VESK_API uint32_t NuBhash(const void *data, size_t length) {
    uint32_t h = 0;
    // No object runs past the end of the address space: a span that would
    // (a length computed as a negative number, say) is no data at all.
    uintptr_t end = 0;
    if (data == nullptr || __builtin_add_overflow(reinterpret_cast<uintptr_t>(data), length, &end))
        return 0;
    const auto *bytes = static_cast<const unsigned char *>(data);
    for (size_t i = 0; i < length; ++i)
        h = step(h, bytes[i]);
    return h;
}

VESK_API uint32_t NuStrhash(const char *string) { return hash_units(string, SIZE_MAX); }

VESK_API uint32_t NuStrnhash(const char *string, size_t maximum) {
    return hash_units(string, maximum);
}

VESK_API uint32_t NuWcshash(const char16_t *string) { return hash_units(string, SIZE_MAX); }

}  // extern "C"
