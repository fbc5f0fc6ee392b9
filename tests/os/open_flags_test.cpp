// SPDX-License-Identifier: MIT
// The open-flag table: every one of the 32 bits of a flag set against the
// platform bit it must become (or the refusal of a bit outside the set), the
// way back, and a real open(2) with translated flags, so that a library
// number passed on raw (0x400 is O_APPEND on x86-64) shows in the file.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <string>

#include "nu.h"
#include "os/open_flags.hpp"

namespace {

using vesk::os::nu_open_flags;
using vesk::os::open_lock_of;
using vesk::os::OpenLock;
using vesk::os::platform_open_flags;

// What each bit of the set becomes, written out by name; 0 for a bit that is
// accepted and has no platform counterpart.
const std::map<int32_t, int> kExpected = {
    {NU_O_WRONLY, O_WRONLY},   {NU_O_RDWR, O_RDWR},       {NU_O_APPEND, O_APPEND},
    {NU_O_NOINHERIT, O_CLOEXEC}, {NU_O_CREAT, O_CREAT},   {NU_O_TRUNC, O_TRUNC},
    {NU_O_EXCL, O_EXCL},       {NU_O_TEXT, 0},            {NU_O_BINARY, 0},
    {NU_O_WTEXT, 0},           {NU_O_U16TEXT, 0},         {NU_O_U8TEXT, 0},
    {NU_O_SHLOCK, 0},          {NU_O_EXLOCK, 0},          {NU_O_CARRIED, 0},
};

TEST(OpenFlags, EveryBitBecomesItsPlatformBitOrIsRefused) {
    for (int bit = 0; bit < 32; ++bit) {
        const auto flag = static_cast<int32_t>(1u << bit);
        SCOPED_TRACE("bit " + std::to_string(bit));
        const auto got = platform_open_flags(flag);
        const auto want = kExpected.find(flag);
        if (want == kExpected.end()) {
            EXPECT_FALSE(got.has_value()) << "an unknown bit must not reach open(2)";
            continue;
        }
        ASSERT_TRUE(got.has_value());
        // Access bits stand alone; every other bit is read only plus itself.
        EXPECT_EQ(*got, want->second | ((flag & NU_O_ACCMODE) ? 0 : O_RDONLY));
        if (want->second != 0) {
            EXPECT_EQ(nu_open_flags(*got), flag) << "and back";
        }
    }
    EXPECT_EQ(platform_open_flags(NU_O_RDONLY), O_RDONLY);
    EXPECT_FALSE(platform_open_flags(NU_O_ACCMODE).has_value()) << "access 3 means nothing";
}

TEST(OpenFlags, CombinedSetsTranslateBothWaysAndPickTheirLock) {
    const int32_t all = NU_O_RDWR | NU_O_APPEND | NU_O_NOINHERIT | NU_O_CREAT | NU_O_TRUNC |
                        NU_O_EXCL | NU_O_TEXTMASK | NU_O_BINARY | NU_O_SHLOCK | NU_O_CARRIED;
    const int platform = O_RDWR | O_APPEND | O_CLOEXEC | O_CREAT | O_TRUNC | O_EXCL;
    EXPECT_EQ(platform_open_flags(all), platform);
    EXPECT_EQ(nu_open_flags(platform | O_NONBLOCK | O_NOCTTY),
              all & ~(NU_O_TEXTMASK | NU_O_BINARY | NU_O_SHLOCK | NU_O_CARRIED));
    EXPECT_EQ(open_lock_of(all), OpenLock::kShared);
    EXPECT_EQ(open_lock_of(all | NU_O_EXLOCK), OpenLock::kExclusive);
    EXPECT_EQ(open_lock_of(NU_O_RDWR), OpenLock::kNone);
}

// The flags of a mode string, opened for real.
int open_with(const std::string &path, const char *mode) {
    int32_t flags = 0, perm = 0;
    if (NuMkcunmode(mode, &flags, &perm, nullptr) != 0)
        return -2;
    const auto platform = platform_open_flags(flags);
    return platform ? open(path.c_str(), *platform, static_cast<mode_t>(perm)) : -2;
}

TEST(OpenFlags, ModeStringsOpenRealFilesAsTheySay) {
    char dir[] = "/tmp/vesk-open-flags-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string path = std::string(dir) + "/f";
    int fd = open_with(path, "unix:wcxd, 0600");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << "\"d\" is no-inherit";
    ASSERT_EQ(write(fd, "abc", 3), 3);
    close(fd);
    EXPECT_EQ(open_with(path, "unix:wcx, 0600"), -1) << "exclusive create of an existing file";
    EXPECT_EQ(errno, EEXIST);
    fd = open_with(path, "ab");  // append: the write lands behind "abc", not at 0
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    ASSERT_EQ(write(fd, "d", 1), 1);
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 4);
    close(fd);
    fd = open_with(path, "w");  // truncate
    EXPECT_EQ(lseek(fd, 0, SEEK_END), 0);
    close(fd);
    unlink(path.c_str());
    rmdir(dir);
}

}  // namespace
