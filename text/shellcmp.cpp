// SPDX-License-Identifier: MIT
// Shell-style pattern compare: "*", "?" (one character or none) and "{a,b}"
// lists, with an order-giving result at a plain mismatch as strcmp gives.
// With `dots` set, the wildcards stop at a period, so that a name is matched
// component by component.
//
// The rules are those of a backtracking walk: "?" tries "none" and then "one",
// "*" tries every length in turn, and a failing wildcard answers with the
// result of its last try. Walked that way, the time grows exponentially with
// the wildcards and the stack with the pattern. Here the answer comes in two
// parts that never recurse:
//  - whether the text matches at all, found by a forward pass in at most
//    text length x pattern length steps (shell_match.hpp);
//  - when it doesn't, the number to return. Every try failed then, so each
//    wildcard answered with its last try, and following the last choice at
//    every wildcard, once, lands on the very comparison the walk ended with.
#include "nu.h"
#include "shell_match.hpp"
#include "units.hpp"

namespace {

using vesk::text::ShellRules;
using vesk::text::value_of;

static_assert(ShellRules<char>::kMalformed == NU_SHELLCMP_MALFORMED);

// The result of the walk when nothing matched: "?" passes over one character
// when it can, "*" over all it can, and a list takes its first fitting
// element, as their last tries do. Beside a star, a "?" moves nothing the
// star doesn't pass anyway.
template <class Unit>
int32_t last_try(const ShellRules<Unit> rules, const Unit *t, const Unit *p) {
    using Rules = ShellRules<Unit>;
    for (;;) {
        if (Rules::is_wildcard(*p)) {
            const auto run = Rules::wildcard_run(p);
            t = run.star ? rules.skip_passable(t) : rules.pass_up_to(t, run.length);
            p = run.end;
            if (*p == 0)
                return static_cast<int32_t>(value_of(*t));
            continue;
        }
        if (*p == '{') {
            const auto list = Rules::pick(t, p + 1);
            if (list.rest == nullptr)
                return list.result;
            t += list.taken;
            p = list.rest;
            continue;
        }
        if (*t != *p)
            return Rules::difference(*t, *p);
        if (*p == 0)
            return 0;
        ++t;
        ++p;
    }
}

template <class Unit>
int32_t shell_compare(const Unit *text, const Unit *pattern, int32_t dots) {
    static constexpr Unit kEmpty[1] = {0};
    const Unit *t = text != nullptr ? text : kEmpty;
    const Unit *p = pattern != nullptr ? pattern : kEmpty;
    const ShellRules<Unit> rules{dots != 0};
    switch (vesk::text::shell_matches(rules, t, p)) {
    case vesk::text::Verdict::match:
        return 0;
    case vesk::text::Verdict::no_match:
        return last_try(rules, t, p);
    case vesk::text::Verdict::no_memory:
        break;
    }
    return NU_SHELLCMP_MALFORMED;
}

}  // namespace

extern "C" {

VESK_API int32_t strshellcmp3(const char *text, const char *pattern, int32_t dots) {
    return shell_compare(text, pattern, dots);
}

VESK_API int32_t wcsshellcmp3(const char16_t *text, const char16_t *pattern, int32_t dots) {
    return shell_compare(text, pattern, dots);
}

}  // extern "C"
