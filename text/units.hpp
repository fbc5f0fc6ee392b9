// SPDX-License-Identifier: MIT
// Helpers shared by the text measures, which come in 8-bit and 16-bit twins:
// one template over the unit type serves both.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk::text {

// A unit as an unsigned number: bytes compare as unsigned, as in strcmp.
inline uint32_t value_of(char c) { return static_cast<unsigned char>(c); }
inline uint32_t value_of(char16_t c) { return c; }

template <class Unit>
size_t length_of(const Unit *s) {
    size_t n = 0;
    while (s[n] != 0)
        ++n;
    return n;
}

}  // namespace vesk::text
