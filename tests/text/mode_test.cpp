// SPDX-License-Identifier: MIT
// Mode strings: both languages read into flags and a permission, the
// refusals with their exact reports, the writers, and every flag set the
// unix language can say written and read back. Each case runs through the
// 8-bit and the 16-bit form, which must agree. The fuzz target (fuzz/) holds
// arbitrary strings, and 16-bit units above 0xFF, to the same round trip.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <type_traits>

#include "nu.h"
#include "support/status.hpp"

namespace {

using vesk_test::Status;

constexpr int32_t kUntouched = -0x5EED;

struct Reader {
    const char *name;   // the narrow function's name in a report
    const char *wname;  // the wide one's
    int32_t facility;
    int64_t (*narrow)(const char *, int32_t *, int32_t *, VeskErr *);
    int64_t (*wide)(const char16_t *, int32_t *, int32_t *, VeskErr *);
};
const Reader kC{"NuMkcmode", "NuWmkcmode", VESK_FAC_CMODE, NuMkcmode, NuWmkcmode};
const Reader kUnix{"NuMkunmode", "NuWmkunmode", VESK_FAC_OPEN, NuMkunmode, NuWmkunmode};
const Reader kEither{nullptr, nullptr, 0, NuMkcunmode, NuWmkcunmode};

struct Case {
    const Reader &reader;
    const char *mode;
    int32_t flags;
    int32_t perm;
    const char *refused = nullptr;  // the parameter of a refusal
    const Reader *reporter = nullptr;  // who reports it, when not `reader`
};

std::u16string widen(const std::string &s) { return {s.begin(), s.end()}; }

const Case kCases[] = {
    // The C language.
    {kC, "r", NU_O_RDONLY, 0644},
    {kC, "w", NU_O_WRONLY | NU_O_CREAT | NU_O_TRUNC, 0644},
    {kC, "w+", 0x302, 0644},
    {kC, "a+b", 0x810A, 0644},
    {kC, "libc: rt", NU_O_TEXT, 0644},
    {kC, "r, c\tx", 0, 0644},
    {kC, "+", 0, 0, "@mode"},
    {kC, "rw", 0, 0, "@mode"},
    {kC, "Libc:r", 0, 0, "@mode"},  // case counts: the "b" of it comes first
    // The unix language.
    {kUnix, "unix:rwc, 0644", NU_O_RDWR | NU_O_CREAT, 0644},
    {kUnix, "wc,u=rw g=r o=r", NU_O_WRONLY | NU_O_CREAT, 0644},
    {kUnix, "cx", NU_O_CREAT | NU_O_EXCL, 0},
    {kUnix, "unix:r b\tt", 0, 0},
    {kUnix, "rwazcxlLnd",
     NU_O_RDWR | NU_O_APPEND | NU_O_TRUNC | NU_O_CREAT | NU_O_EXCL | NU_O_SHLOCK | NU_O_EXLOCK |
         NU_O_CARRIED | NU_O_NOINHERIT,
     0},
    {kUnix, "c, ,\t,0", NU_O_CREAT, 0},
    {kUnix, "c,0777777777777777777777777644", NU_O_CREAT, 07644},  // kept to 12 bits
    {kUnix, "c,u=rwxrwx ", NU_O_CREAT, 0700},
    {kUnix, "r,u=rw", 0, 0600},  // kept without "c"; only the writer leaves it out
    {kUnix, "q", 0, 0, "@flags"},
    {kUnix, "unix:unix:r", 0, 0, "@flags"},
    {kUnix, "r,644", 0, 0, "@perm"},
    {kUnix, "r,u=rw u=r", 0, 0, "@perm"},
    {kUnix, "r,u=rw  g=r", 0, 0, "@perm"},
    {kUnix, "r,u=rw,g=r", 0, 0, "@perm"},
    // Either language by its prefix.
    {kEither, "unix:rwc, 0644", NU_O_RDWR | NU_O_CREAT, 0644},
    {kEither, "unix", 0, 0644},
    {kEither, "unix:q", 0, 0, "@flags", &kUnix},
    {kEither, "Unix:rw", 0, 0, "@mode", &kC},
};

template <class Text, class Fn>
void check(const Case &c, Fn fn, const Text &mode, const char *name) {
    SCOPED_TRACE(name);
    Status s;
    int32_t flags = kUntouched, perm = kUntouched;
    const int64_t r = fn(mode.c_str(), &flags, &perm, &s.err);
    if (c.refused == nullptr) {
        ASSERT_EQ(r, 0) << s.buf;
        EXPECT_EQ(flags, c.flags);
        EXPECT_EQ(perm, c.perm);
        EXPECT_EQ(s.err.status, 0) << "a success reports nothing";
        return;
    }
    const Reader &who = c.reporter != nullptr ? *c.reporter : c.reader;
    const std::string function = std::is_same_v<Text, std::string> ? who.name : who.wname;
    EXPECT_EQ(r, -1);
    EXPECT_EQ(flags, kUntouched) << "nothing is stored on a failure";
    EXPECT_EQ(perm, kUntouched);
    vesk_test::expect_report(s.err, who.facility, VESK_E_INVAL, EINVAL, 2,
                             (function + "(" + c.refused + "): invalid argument.").c_str());
}

TEST(ModeStrings, ReadBothLanguagesWithTheirExactReports) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.mode);
        check(c, c.reader.narrow, std::string(c.mode), "8-bit");
        check(c, c.reader.wide, widen(c.mode), "16-bit");
    }
}

struct Written {
    int32_t flags;
    int32_t perm;
    const char *c;
    const char *unix_mode;
};

const Written kWritten[] = {
    {0, 0644, "r", "unix: r"},
    {NU_O_WRONLY | NU_O_CREAT | NU_O_TRUNC, 0644, "w", "unix: wzc, 0644"},
    {NU_O_RDWR | NU_O_CREAT | NU_O_TRUNC, 0, "w+", "unix: rwzc, 0000"},
    {NU_O_WRONLY, 0644, "r+", "unix: w"},
    {NU_O_WRONLY | NU_O_APPEND | NU_O_CREAT, 0644, "a", "unix: wac, 0644"},
    {NU_O_RDWR | NU_O_APPEND, 0, "a+", "unix: rwa"},
    {NU_O_ACCMODE | NU_O_TRUNC, 0, "w", "unix: rz"},
    {NU_O_WRONLY | NU_O_CREAT, 0x7FFFF9ED, "w", "unix: wc, 0755"},
    {-1, -1, "a", "unix: razcxlLnd, 0777"},
};

TEST(ModeStrings, WritersGiveBothLanguagesAndMeasureWithoutABuffer) {
    for (const Written &w : kWritten) {
        SCOPED_TRACE(w.unix_mode);
        char c[8], u[33] = "################################";
        char16_t wc[8], wu[32];
        ASSERT_EQ(NuCcmode(c, w.flags), int32_t(strlen(w.c)));
        ASSERT_EQ(NuCunmode(u, w.flags, w.perm), int32_t(strlen(w.unix_mode)));
        EXPECT_STREQ(c, w.c);
        EXPECT_STREQ(u, w.unix_mode);
        EXPECT_EQ(u[strlen(w.unix_mode) + 1], '#') << "nothing past the terminator";
        NuWcmode(wc, w.flags);
        EXPECT_EQ(std::u16string(wc), widen(w.c));
        EXPECT_EQ(NuWunmode(wu, w.flags, w.perm), NuCunmode(nullptr, w.flags, w.perm));
        EXPECT_EQ(std::u16string(wu), widen(w.unix_mode));
    }
}

// Every flag set the unix language can say, with permissions touching each
// octal digit, reads back as written in both unit types and fits the size;
// the bits above 0777 are not written.
TEST(ModeStrings, EverySetTheUnixLanguageSaysReadsBackAsWritten) {
    const int32_t letters[] = {NU_O_APPEND, NU_O_TRUNC,  NU_O_CREAT,   NU_O_EXCL,
                               NU_O_SHLOCK, NU_O_EXLOCK, NU_O_CARRIED, NU_O_NOINHERIT};
    for (uint32_t pick = 0; pick < 3 * 256; ++pick) {
        int32_t flags = int32_t(pick >> 8);
        for (int i = 0; i < 8; ++i)
            flags |= pick & (1u << i) ? letters[i] : 0;
        flags &= flags & NU_O_CREAT ? ~0 : ~NU_O_EXCL;
        for (const int32_t perm : {0, 0644, 01000, 07777, 05421}) {
            char text[NU_UNMODE_SIZE];
            char16_t wide[NU_UNMODE_SIZE];
            ASSERT_LT(NuCunmode(text, flags, perm), NU_UNMODE_SIZE);
            NuWunmode(wide, flags, perm);
            int32_t got[4] = {};
            ASSERT_EQ(NuMkcunmode(text, &got[0], &got[1], nullptr), 0) << text;
            ASSERT_EQ(NuWmkcunmode(wide, &got[2], &got[3], nullptr), 0) << text;
            const int32_t p = flags & NU_O_CREAT ? perm & 0777 : 0;
            ASSERT_TRUE(got[0] == flags && got[1] == p && got[2] == flags && got[3] == p) << text;
        }
    }
}

}  // namespace
