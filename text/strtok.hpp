// SPDX-License-Identifier: MIT
// The scanner for code that is written once over the unit type (char,
// char16_t): one name for NuStrtok and NuWcstok, and the state record that
// goes with each unit.
#pragma once

#include <cstdint>

#include "nu.h"

namespace vesk::text {

template <class Unit>
struct TokenState;
template <>
struct TokenState<char> {
    using type = NuSTRTOK;
};
template <>
struct TokenState<char16_t> {
    using type = NuWCSTOK;
};
template <class Unit>
using token_state_t = typename TokenState<Unit>::type;

inline int64_t tokenise(char *string, char *delimit, uint32_t flags, NuSTRTOK *state,
                        VeskErr *status) {
    return NuStrtok(string, delimit, flags, state, status);
}
inline int64_t tokenise(char16_t *string, char16_t *delimit, uint32_t flags, NuWCSTOK *state,
                        VeskErr *status) {
    return NuWcstok(string, delimit, flags, state, status);
}

}  // namespace vesk::text
