// SPDX-License-Identifier: MIT
// Differential fuzzing of the shell-pattern compare: each input is cut into a
// pattern and a text at its first NUL byte, and the library's answer must be
// the backtracking walk's (shell_reference.hpp), whole number and all, for
// 8-bit and 16-bit units, with and without dots. Inputs the walk can't finish
// within its step budget are skipped.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/shell_reference.hpp"
#include "nu.h"

namespace {

// The walk recurses once or twice per wildcard; this keeps it shallow.
constexpr size_t kLongestPattern = 512;
// Long enough for the texts whose position sets leave the stack.
constexpr size_t kLongestText = 8192;
constexpr long kBudget = 200'000;

// Bytes from 0xF0 up become units at the top of the 16-bit range, which no
// byte can be, so that differences are checked unsigned at full width.
char16_t widen(unsigned char b) {
    return b < 0xF0 ? b : static_cast<char16_t>(0xFF00 | b);
}

template <class Unit>
void print(const char *what, const std::basic_string<Unit> &s) {
    std::fprintf(stderr, "%s (%zu units):", what, s.size());
    for (Unit u : s)
        std::fprintf(stderr, " %X",
                     static_cast<unsigned>(static_cast<std::make_unsigned_t<Unit>>(u)));
    std::fprintf(stderr, "\n");
}

template <class Unit>
void check(const std::basic_string<Unit> &text, const std::basic_string<Unit> &pattern, bool dots) {
    const auto want =
        vesk_reference::ShellReference<Unit>(dots, kBudget).compare(text.c_str(), pattern.c_str());
    if (!want)
        return;
    int32_t got = 0;
    if constexpr (sizeof(Unit) == 1)
        got = strshellcmp3(text.c_str(), pattern.c_str(), dots);
    else
        got = wcsshellcmp3(text.c_str(), pattern.c_str(), dots);
    if (got == *want)
        return;
    std::fprintf(stderr, "%d-bit compare, dots %d: %d where the walk gives %d\n",
                 static_cast<int>(8 * sizeof(Unit)), dots ? 1 : 0, got, *want);
    print("pattern", pattern);
    print("text", text);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const auto *begin = reinterpret_cast<const char *>(data), *end = begin + size;
    const char *cut = static_cast<const char *>(std::memchr(begin, 0, size));
    const std::string pattern(begin, cut != nullptr ? cut : end);
    const std::string text = cut != nullptr ? std::string(cut + 1, end).c_str() : std::string();
    if (pattern.size() > kLongestPattern || text.size() > kLongestText)
        return 0;
    std::u16string wide_pattern, wide_text;
    for (unsigned char b : pattern)
        wide_pattern += widen(b);
    for (unsigned char b : text)
        wide_text += widen(b);
    for (const bool dots : {false, true}) {
        check(text, pattern, dots);
        check(wide_text, wide_pattern, dots);
    }
    return 0;
}
