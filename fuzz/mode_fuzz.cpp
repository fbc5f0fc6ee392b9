// SPDX-License-Identifier: MIT
// Mode strings: the input is a mode string. Every reader must give the same
// answer in the 8-bit form and in the 16-bit form of the same units, leave
// its outputs alone when it refuses, and report what it promises. A string
// that reads is written back in the unix language and read again: the same
// flags (text and binary aside, which the unix language does not carry) and,
// with the create flag, the same nine permission bits; writing that again gives the
// same string. What the C language reads, its own writer gives back too.
// The input read as pairs of bytes also goes through the 16-bit readers,
// which reach units above 0xFF.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/upward_calls.hpp"
#include "nu.h"
#include "vesk.h"

namespace {

using vesk_fuzz::Report;

[[noreturn]] void fail(const char *what, const std::string &mode) {
    std::fprintf(stderr, "mode fuzz: %s (mode \"%s\")\n", what, mode.c_str());
    std::abort();
}

void require(bool holds, const char *what, const std::string &mode) {
    if (!holds)
        fail(what, mode);
}

struct Answer {
    int64_t result;
    int32_t flags, perm;
    Report report;
};

constexpr int32_t kUntouched = -0x5EED;
constexpr int32_t kNotCarried = NU_O_TEXT | NU_O_BINARY;

template <class Unit>
using Reader = int64_t (*)(const Unit *, int32_t *, int32_t *, VeskErr *);

template <class Unit>
Answer read(Reader<Unit> reader, const std::basic_string<Unit> &mode, const std::string &shown) {
    VeskErr err{};
    vesk_fuzz::last_report = {};
    Answer a{0, kUntouched, kUntouched, {}};
    a.result = reader(mode.c_str(), &a.flags, &a.perm, &err);
    a.report = vesk_fuzz::last_report;
    if (a.result == 0) {
        require(a.report.code == 0, "a success reported", shown);
        require(a.perm >= 0 && a.perm <= 0xFFF, "permission outside 0xFFF", shown);
    } else {
        require(a.result == -1, "a failure other than -1", shown);
        require(a.flags == kUntouched && a.perm == kUntouched, "stored on a failure", shown);
        require(a.report.code == VESK_E_INVAL && a.report.syserr == 22 && a.report.variant == 2,
                "not the report of a refused mode", shown);
    }
    return a;
}

bool same(const Answer &a, const Answer &b) {
    return a.result == b.result && a.flags == b.flags && a.perm == b.perm &&
           a.report.facility == b.report.facility && a.report.param == b.report.param;
}

std::u16string widen(const std::string &s) { return {s.begin(), s.end()}; }

template <class Unit>
std::basic_string<Unit> unix_string(int32_t flags, int32_t perm) {
    Unit buffer[NU_UNMODE_SIZE + 8];
    std::memset(buffer, 0x5A, sizeof buffer);
    int32_t n;
    if constexpr (sizeof(Unit) == 1)
        n = NuCunmode(buffer, flags, perm);
    else
        n = NuWunmode(buffer, flags, perm);
    if (n < 0 || n >= NU_UNMODE_SIZE || buffer[n] != 0 || buffer[n + 1] != Unit(0x5A5A))
        fail("the unix writer left its size", std::to_string(flags));
    return std::basic_string<Unit>(buffer, static_cast<size_t>(n));
}

// Write back, read again, write again.
template <class Unit>
void round_trip(const Answer &a, const std::string &shown) {
    const std::basic_string<Unit> written = unix_string<Unit>(a.flags, a.perm);
    Reader<Unit> either;
    if constexpr (sizeof(Unit) == 1)
        either = NuMkcunmode;
    else
        either = NuWmkcunmode;
    const Answer again = read(either, written, shown);
    require(again.result == 0, "what the writer wrote does not read", shown);
    require(again.flags == (a.flags & ~kNotCarried), "flags changed on the way back", shown);
    require(again.perm == ((a.flags & NU_O_CREAT) != 0 ? a.perm & 0777 : 0),
            "permission changed on the way back", shown);
    require(unix_string<Unit>(again.flags, again.perm) == written, "written twice, not the same",
            shown);
}

void c_round_trip(const Answer &a, const std::string &shown) {
    char written[NU_CMODE_SIZE + 4] = {};
    const int32_t n = NuCcmode(written, a.flags);
    require(n > 0 && n < NU_CMODE_SIZE && written[n] == 0, "the C writer left its size", shown);
    const Answer again = read<char>(NuMkcmode, written, shown);
    require(again.result == 0 && again.flags == (a.flags & ~kNotCarried) && again.perm == 0644,
            "C language flags changed on the way back", shown);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string mode(reinterpret_cast<const char *>(data), strnlen(reinterpret_cast<const char *>(data), size));
    const std::u16string wide = widen(mode);

    const Answer c = read<char>(NuMkcmode, mode, mode);
    const Answer u = read<char>(NuMkunmode, mode, mode);
    const Answer either = read<char>(NuMkcunmode, mode, mode);
    require(same(c, read<char16_t>(NuWmkcmode, wide, mode)), "C reader: 8 and 16 bits differ", mode);
    require(same(u, read<char16_t>(NuWmkunmode, wide, mode)), "unix reader: 8 and 16 bits differ",
            mode);
    require(same(either, read<char16_t>(NuWmkcunmode, wide, mode)),
            "either reader: 8 and 16 bits differ", mode);
    if (c.result != 0)
        require(c.report.facility == VESK_FAC_CMODE && c.report.param == "@mode",
                "C reader: wrong facility or parameter", mode);
    if (u.result != 0)
        require(u.report.facility == VESK_FAC_OPEN &&
                    (u.report.param == "@flags" || u.report.param == "@perm"),
                "unix reader: wrong facility or parameter", mode);

    const bool unix_prefix = mode.compare(0, 5, "unix:") == 0;
    require(same(either, unix_prefix ? read<char>(NuMkunmode, mode.substr(5), mode) : c),
            "the prefix does not choose the language", mode);

    for (const Answer *a : {&c, &u}) {
        if (a->result != 0)
            continue;
        round_trip<char>(*a, mode);
        round_trip<char16_t>(*a, mode);
    }
    if (c.result == 0)
        c_round_trip(c, mode);

    // The same bytes as 16-bit units.
    std::u16string pairs;
    for (size_t i = 0; i + 1 < size; i += 2) {
        const auto unit = static_cast<char16_t>(data[i] | data[i + 1] << 8);
        if (unit == 0)
            break;
        pairs += unit;
    }
    for (Reader<char16_t> reader : {NuWmkcmode, NuWmkunmode, NuWmkcunmode}) {
        const Answer a = read(reader, pairs, "(16-bit pairs)");
        if (a.result == 0)
            round_trip<char16_t>(a, "(16-bit pairs)");
    }
    return 0;
}
