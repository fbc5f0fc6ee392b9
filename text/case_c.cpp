// SPDX-License-Identifier: MIT
// Case mapping of 16-bit units that no locale changes: two sorted tables of
// (from, to) pairs, built at compile time from runs of units that share one
// difference, and searched by halves.
#include <algorithm>
#include <array>

#include "nu.h"

namespace {

// Units first..last (every second one with step 2) map to unit + delta.
struct Run {
    uint16_t first, last, step;
    int32_t delta;
};

struct Pair {
    char16_t from, to;
};

constexpr Run kLowerRuns[] = {
    {0x0041, 0x005A, 1, 32}, {0x00C0, 0x00D6, 1, 32}, {0x00D8, 0x00DE, 1, 32},
    {0x0100, 0x012E, 2, 1}, {0x0130, 0x0130, 1, -199}, {0x0132, 0x0136, 2, 1},
    {0x0139, 0x0147, 2, 1}, {0x014A, 0x0176, 2, 1}, {0x0178, 0x0178, 1, -121},
    {0x0179, 0x017D, 2, 1}, {0x0181, 0x0181, 1, 210}, {0x0182, 0x0184, 2, 1},
    {0x0186, 0x0186, 1, 206}, {0x0187, 0x0187, 1, 1}, {0x018A, 0x018A, 1, 205},
    {0x018B, 0x018B, 1, 1}, {0x018E, 0x018F, 1, 202}, {0x0190, 0x0190, 1, 203},
    {0x0191, 0x0191, 1, 1}, {0x0193, 0x0193, 1, 205}, {0x0194, 0x0194, 1, 207},
    {0x0196, 0x0196, 1, 211}, {0x0197, 0x0197, 1, 209}, {0x0198, 0x0198, 1, 1},
    {0x019C, 0x019C, 1, 211}, {0x019D, 0x019D, 1, 213}, {0x019F, 0x019F, 1, 214},
    {0x01A0, 0x01A4, 2, 1}, {0x01A7, 0x01A7, 1, 1}, {0x01A9, 0x01A9, 1, 218},
    {0x01AC, 0x01AC, 1, 1}, {0x01AE, 0x01AE, 1, 218}, {0x01AF, 0x01AF, 1, 1},
    {0x01B1, 0x01B2, 1, 217}, {0x01B3, 0x01B5, 2, 1}, {0x01B7, 0x01B7, 1, 219},
    {0x01B8, 0x01B8, 1, 1}, {0x01BC, 0x01BC, 1, 1}, {0x01C4, 0x01C4, 1, 2},
    {0x01C5, 0x01C5, 1, 1}, {0x01C7, 0x01C7, 1, 2}, {0x01C8, 0x01C8, 1, 1},
    {0x01CA, 0x01CA, 1, 2}, {0x01CB, 0x01DB, 2, 1}, {0x01DE, 0x01EE, 2, 1},
    {0x01F1, 0x01F1, 1, 2}, {0x01F4, 0x01F4, 1, 1}, {0x01FA, 0x0216, 2, 1},
    {0x0386, 0x0386, 1, 38}, {0x0388, 0x038A, 1, 37}, {0x038C, 0x038C, 1, 64},
    {0x038E, 0x038F, 1, 63}, {0x0391, 0x03A1, 1, 32}, {0x03A3, 0x03AB, 1, 32},
    {0x03E2, 0x03EE, 2, 1}, {0x0401, 0x040C, 1, 80}, {0x040E, 0x040F, 1, 80},
    {0x0410, 0x042F, 1, 32}, {0x0460, 0x0480, 2, 1}, {0x0490, 0x04BE, 2, 1},
    {0x04C1, 0x04C3, 2, 1}, {0x04C7, 0x04C7, 1, 1}, {0x04CB, 0x04CB, 1, 1},
    {0x04D0, 0x04EA, 2, 1}, {0x04EE, 0x04F4, 2, 1}, {0x04F8, 0x04F8, 1, 1},
    {0x0531, 0x0556, 1, 48}, {0x10A0, 0x10C5, 1, 48}, {0x1E00, 0x1E94, 2, 1},
    {0x1EA0, 0x1EF8, 2, 1}, {0x1F08, 0x1F0F, 1, -8}, {0x1F18, 0x1F1D, 1, -8},
    {0x1F28, 0x1F2F, 1, -8}, {0x1F38, 0x1F3F, 1, -8}, {0x1F48, 0x1F4D, 1, -8},
    {0x1F59, 0x1F5F, 2, -8}, {0x1F68, 0x1F6F, 1, -8}, {0x1F88, 0x1F8F, 1, -8},
    {0x1F98, 0x1F9F, 1, -8}, {0x1FA8, 0x1FAF, 1, -8}, {0x1FB8, 0x1FB9, 1, -8},
    {0x1FD8, 0x1FD9, 1, -8}, {0x1FE8, 0x1FE9, 1, -8}, {0x24B6, 0x24CF, 1, 26},
    {0xFF21, 0xFF3A, 1, 32},
};

constexpr Run kUpperRuns[] = {
    {0x0061, 0x007A, 1, -32}, {0x00E0, 0x00F6, 1, -32}, {0x00F8, 0x00FE, 1, -32},
    {0x00FF, 0x00FF, 1, 121}, {0x0101, 0x012F, 2, -1}, {0x0131, 0x0131, 1, -232},
    {0x0133, 0x0137, 2, -1}, {0x013A, 0x0148, 2, -1}, {0x014B, 0x0177, 2, -1},
    {0x017A, 0x017E, 2, -1}, {0x0183, 0x0185, 2, -1}, {0x0188, 0x0188, 1, -1},
    {0x018C, 0x018C, 1, -1}, {0x0192, 0x0192, 1, -1}, {0x0199, 0x0199, 1, -1},
    {0x01A1, 0x01A5, 2, -1}, {0x01A8, 0x01A8, 1, -1}, {0x01AD, 0x01AD, 1, -1},
    {0x01B0, 0x01B0, 1, -1}, {0x01B4, 0x01B6, 2, -1}, {0x01B9, 0x01B9, 1, -1},
    {0x01BD, 0x01BD, 1, -1}, {0x01C6, 0x01C6, 1, -2}, {0x01C9, 0x01C9, 1, -2},
    {0x01CC, 0x01CC, 1, -2}, {0x01CE, 0x01DC, 2, -1}, {0x01DF, 0x01EF, 2, -1},
    {0x01F3, 0x01F3, 1, -2}, {0x01F5, 0x01F5, 1, -1}, {0x01FB, 0x0217, 2, -1},
    {0x0253, 0x0253, 1, -210}, {0x0254, 0x0254, 1, -206}, {0x0257, 0x0257, 1, -205},
    {0x0258, 0x0259, 1, -202}, {0x025B, 0x025B, 1, -203}, {0x0260, 0x0260, 1, -205},
    {0x0263, 0x0263, 1, -207}, {0x0268, 0x0268, 1, -209}, {0x0269, 0x0269, 1, -211},
    {0x026F, 0x026F, 1, -211}, {0x0272, 0x0272, 1, -213}, {0x0275, 0x0275, 1, -214},
    {0x0283, 0x0283, 1, -218}, {0x0288, 0x0288, 1, -218}, {0x028A, 0x028B, 1, -217},
    {0x0292, 0x0292, 1, -219}, {0x03AC, 0x03AC, 1, -38}, {0x03AD, 0x03AF, 1, -37},
    {0x03B1, 0x03C1, 1, -32}, {0x03C3, 0x03CB, 1, -32}, {0x03CC, 0x03CC, 1, -64},
    {0x03CD, 0x03CE, 1, -63}, {0x03E3, 0x03EF, 2, -1}, {0x0430, 0x044F, 1, -32},
    {0x0451, 0x045C, 1, -80}, {0x045E, 0x045F, 1, -80}, {0x0461, 0x0481, 2, -1},
    {0x0491, 0x04BF, 2, -1}, {0x04C2, 0x04C4, 2, -1}, {0x04C8, 0x04C8, 1, -1},
    {0x04CC, 0x04CC, 1, -1}, {0x04D1, 0x04EB, 2, -1}, {0x04EF, 0x04F5, 2, -1},
    {0x04F9, 0x04F9, 1, -1}, {0x0561, 0x0586, 1, -48}, {0x10D0, 0x10F5, 1, -48},
    {0x1E01, 0x1E95, 2, -1}, {0x1EA1, 0x1EF9, 2, -1}, {0x1F00, 0x1F07, 1, 8},
    {0x1F10, 0x1F15, 1, 8}, {0x1F20, 0x1F27, 1, 8}, {0x1F30, 0x1F37, 1, 8},
    {0x1F40, 0x1F45, 1, 8}, {0x1F51, 0x1F57, 2, 8}, {0x1F60, 0x1F67, 1, 8},
    {0x1F80, 0x1F87, 1, 8}, {0x1F90, 0x1F97, 1, 8}, {0x1FA0, 0x1FA7, 1, 8},
    {0x1FB0, 0x1FB1, 1, 8}, {0x1FD0, 0x1FD1, 1, 8}, {0x1FE0, 0x1FE1, 1, 8},
    {0x24D0, 0x24E9, 1, -26}, {0xFF41, 0xFF5A, 1, -32},
};

template <size_t N, size_t R>
constexpr std::array<Pair, N> expand(const Run (&runs)[R]) {
    std::array<Pair, N> pairs{};
    size_t n = 0;
    for (const Run &r : runs)
        for (uint32_t u = r.first; u <= r.last; u += r.step)
            pairs[n++] = {static_cast<char16_t>(u), static_cast<char16_t>(int32_t(u) + r.delta)};
    return pairs;
}

template <size_t R>
constexpr size_t count_of(const Run (&runs)[R]) {
    size_t n = 0;
    for (const Run &r : runs)
        n += (r.last - r.first) / r.step + 1;
    return n;
}

constexpr auto kLower = expand<count_of(kLowerRuns)>(kLowerRuns);
constexpr auto kUpper = expand<count_of(kUpperRuns)>(kUpperRuns);
static_assert(kLower.size() == 669 && kUpper.size() == 666);

// The search by halves needs the runs written in ascending order.
constexpr bool ascending(const auto &table) {
    return std::is_sorted(table.begin(), table.end(),
                          [](const Pair &a, const Pair &b) { return a.from < b.from; });
}
static_assert(ascending(kLower) && ascending(kUpper));

template <size_t N>
char16_t map(const std::array<Pair, N> &table, char16_t unit) {
    const auto it = std::lower_bound(table.begin(), table.end(), unit,
                                     [](const Pair &p, char16_t u) { return p.from < u; });
    return unit != 0 && it != table.end() && it->from == unit ? it->to : unit;
}

template <size_t N>
char16_t *map_string(const std::array<Pair, N> &table, char16_t *s) {
    for (char16_t *p = s; p != nullptr && *p != 0; ++p)
        *p = map(table, *p);
    return s;
}

}  // namespace

extern "C" {

VESK_API char16_t NuTowlower_c(char16_t unit) { return map(kLower, unit); }
VESK_API char16_t NuTowupper_c(char16_t unit) { return map(kUpper, unit); }
VESK_API char16_t *NuWcslwr_c(char16_t *string) { return map_string(kLower, string); }
VESK_API char16_t *NuWcsupr_c(char16_t *string) { return map_string(kUpper, string); }

}  // extern "C"
