// SPDX-License-Identifier: MIT
// The scanner on random delimit-strings, flags, texts and call sequences, in
// both unit widths. The input is: two bytes of flags, a delimit-string, a
// NUL, the text, a NUL, a second delimit-string, a NUL, then one byte per
// call: 0 the next token, 1 SKIP, 2 a fixed take of (byte >> 3) units, 3 the
// second delimit-string mid-text, 4 the same with SETDELIM, 5 the text again
// with the compiled tables.
//
// The 16-bit scan of the bytes widened unit by unit must do exactly what the
// 8-bit scan does: same results, tokens, types, ends, positions, reports and
// text afterwards. Every token and cursor must lie inside the text, and a
// report must carry a readable, NUL-ended argument. A word set of every byte
// in front of the delimit-strings must change nothing either.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "nu.h"
#include "text/strtok.hpp"
#include "vesk.h"

// The scanner reports through VeskMkerr; here it records the report and reads
// every argument, so that the sanitizer sees a bad pointer.
extern "C" int64_t VeskMkerr(void *, VeskErr *err, uint32_t, uint32_t, uint32_t, int32_t facility,
                             int32_t code, int32_t syserr, uint32_t variant, ...) {
    va_list args;
    va_start(args, variant);
    const char *text = va_arg(args, const char *);
    const char *name = va_arg(args, const char *);
    volatile size_t n = std::strlen(text) + std::strlen(name);
    (void)n;
    va_end(args);
    if (err != nullptr) {
        err->status = VESK_STATUS(facility, code);
        err->syserr = syserr;
        err->variant = variant;
    }
    return 0;
}

namespace {

constexpr uint32_t kFlagMask = 0x1FF7;
constexpr size_t kMaxCalls = 4096;

struct Step {
    int64_t result;
    int64_t text, len, type, end, cursor;  // positions as offsets; -1 for null
    int64_t status;
    bool operator==(const Step &) const = default;
};

template <class Unit>
struct Run {
    std::vector<Step> steps;
    std::basic_string<Unit> text;
};

template <class Unit, class State>
Run<Unit> run(uint32_t flags, const std::string &d1, const std::string &text,
              const std::string &d2, const uint8_t *ops, size_t nops) {
    // Each buffer is its own heap block, so that a read past an end is seen.
    auto widen = [](const std::string &s) {
        std::vector<Unit> v;
        for (unsigned char c : s)
            v.push_back(static_cast<Unit>(c));
        v.push_back(0);
        return v;
    };
    std::vector<Unit> t = widen(text), a = widen(d1);
    std::deque<std::vector<Unit>> spent;
    State state;
    std::memset(&state, 0xA5, sizeof state);
    VeskErr err{};
    Run<Unit> out;
    const Unit *lo = t.data(), *hi = t.data() + t.size() - 1;
    auto offset = [&](const Unit *p) -> int64_t {
        if (p == nullptr)
            return -1;
        if (p < lo || p > hi) {
            std::fprintf(stderr, "position %td outside the text of %td units\n", p - lo, hi - lo);
            std::abort();
        }
        return p - lo;
    };
    // A token is there after 1 from a call that takes one (a stop made by
    // SKIP or SETDELIM leaves the fields of the last token as they were).
    auto record = [&](int64_t r, bool takes = true) {
        err.status = 0;
        Step s{r, -1, 0, state.tok_type, state.tok_end, offset(state.cursor), 0};
        if (r == 1 && takes && state.tok_type != 0) {
            s.text = offset(state.tok_text);
            s.len = static_cast<int64_t>(state.tok_len);
            if (s.text + s.len > hi - lo) {
                std::fprintf(stderr, "token %ld+%ld outside the text of %td units\n", long(s.text),
                             long(s.len), hi - lo);
                std::abort();
            }
        }
        out.steps.push_back(s);
    };
    const uint32_t base = flags & ~(NU_TOK_FIXED | NU_TOK_SKIP | NU_TOK_SETDELIM);
    int64_t r = vesk::text::tokenise(t.data(), a.data(), flags & ~NU_TOK_FIXED, &state, &err);
    record(r, !(flags & (NU_TOK_SKIP | NU_TOK_SETDELIM)));
    out.steps.back().status = err.status;
    for (size_t i = 0; i < nops && out.steps.size() < kMaxCalls; ++i) {
        const uint8_t op = ops[i];
        err.status = 0;
        switch (op & 7) {
        case 1:
            r = vesk::text::tokenise(nullptr, nullptr, base | NU_TOK_SKIP, &state, &err);
            break;
        case 2: {
            if (state.cursor == nullptr)
                continue;
            // A take stays inside the text: the caller knows its length.
            size_t n = op >> 3;
            const auto room = static_cast<size_t>(hi - state.cursor);
            n = n > room ? room : n;
            r = vesk::text::tokenise(nullptr, reinterpret_cast<Unit *>(&n), base | NU_TOK_FIXED, &state,
                            &err);
            break;
        }
        case 3:
        case 4:
            // A compiled string is spent: each use gets a fresh copy, and
            // the copies live as long as the state may point into them.
            spent.push_back(widen(d2));
            r = vesk::text::tokenise(nullptr, spent.back().data(), base | ((op & 7) == 4 ? NU_TOK_SETDELIM : 0),
                            &state, &err);
            break;
        case 5:
            r = vesk::text::tokenise(t.data(), nullptr, base, &state, &err);
            break;
        default:
            r = vesk::text::tokenise(nullptr, nullptr, base, &state, &err);
            break;
        }
        record(r, (op & 7) != 1 && (op & 7) != 4);
        out.steps.back().status = err.status;
    }
    // Drain the text.
    while (r == 1 && out.steps.size() < kMaxCalls) {
        r = vesk::text::tokenise(nullptr, nullptr, base, &state, &err);
        record(r);
    }
    out.text.assign(t.begin(), t.end());
    return out;
}

std::string take_string(const uint8_t *&p, const uint8_t *end) {
    const uint8_t *nul = static_cast<const uint8_t *>(std::memchr(p, 0, end - p));
    const uint8_t *stop = nul != nullptr ? nul : end;
    std::string s(p, stop);
    p = nul != nullptr ? nul + 1 : end;
    return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return 0;
    const uint32_t flags = (data[0] | uint32_t{data[1]} << 8) & kFlagMask;
    const uint8_t *p = data + 2, *end = data + size;
    const std::string d1 = take_string(p, end);
    const std::string text = take_string(p, end);
    const std::string d2 = take_string(p, end);
    // An 8-bit link holds at most 255: longer entries are refused there alone.
    if (d1.size() > 250 || d2.size() > 250)
        return 0;
    const auto narrow = run<char, NuSTRTOK>(flags, d1, text, d2, p, end - p);
    const auto wide = run<char16_t, NuWCSTOK>(flags, d1, text, d2, p, end - p);
    if (narrow.steps != wide.steps)
        std::abort();
    // A word set of every byte changes nothing on 8-bit text, but takes the
    // scan off its path for plain delimiters: both paths must agree.
    if (d1.find("[^") == std::string::npos && d2.find("[^") == std::string::npos) {
        std::string every = "[^]";
        for (int c = 1; c < 256; ++c)
            if (c != ']')
                every += static_cast<char>(c);
        every += ']';
        const auto general = run<char, NuSTRTOK>(flags, every + d1, text, every + d2, p, end - p);
        if (general.steps != narrow.steps || general.text != narrow.text)
            std::abort();
    }
    if (narrow.text.size() != wide.text.size())
        std::abort();
    for (size_t i = 0; i < narrow.text.size(); ++i)
        if (static_cast<unsigned char>(narrow.text[i]) != wide.text[i])
            std::abort();
    return 0;
}
