// SPDX-License-Identifier: MIT
// The library's open flags (NU_O_* in nu.h) against the platform's O_*: the
// one table the open calls read where a flag set meets open(2), and back
// where a descriptor's flags are shown as the library's. The library's
// numbers never reach open(2) raw: on x86-64 its 0x100 would be O_NOCTTY and
// its 0x400 O_APPEND, and other architectures differ again.
//
// All of it is constexpr data and folds to constants in the open calls; the
// checks below hold the table together at compile time.
#pragma once

#include <fcntl.h>

#include <array>
#include <cstdint>
#include <optional>

#include "nu.h"

namespace vesk::os {

// What the open call does with a flag.
enum class OpenFlagUse : uint8_t {
    kPlatform,  // becomes the platform bit of its row
    kNoEffect,  // accepted and dropped: text, binary, the carried bit
    kLock,      // not an open(2) flag: the open call takes a lock after it
};

struct OpenFlagRow {
    int32_t nu;
    int platform;  // 0 unless the use is kPlatform
    OpenFlagUse use;
};

// The access field is a number in the low two bits, not a set of bits; 3 has
// no meaning.
struct AccessRow {
    int32_t nu;
    int platform;
};

inline constexpr std::array<AccessRow, 3> kAccessRows{{
    {NU_O_RDONLY, O_RDONLY},
    {NU_O_WRONLY, O_WRONLY},
    {NU_O_RDWR, O_RDWR},
}};

inline constexpr std::array<OpenFlagRow, 13> kOpenFlagRows{{
    {NU_O_APPEND, O_APPEND, OpenFlagUse::kPlatform},
    {NU_O_NOINHERIT, O_CLOEXEC, OpenFlagUse::kPlatform},
    {NU_O_CREAT, O_CREAT, OpenFlagUse::kPlatform},
    {NU_O_TRUNC, O_TRUNC, OpenFlagUse::kPlatform},
    {NU_O_EXCL, O_EXCL, OpenFlagUse::kPlatform},
    {NU_O_TEXT, 0, OpenFlagUse::kNoEffect},
    {NU_O_BINARY, 0, OpenFlagUse::kNoEffect},
    {NU_O_WTEXT, 0, OpenFlagUse::kNoEffect},
    {NU_O_U16TEXT, 0, OpenFlagUse::kNoEffect},
    {NU_O_U8TEXT, 0, OpenFlagUse::kNoEffect},
    {NU_O_SHLOCK, 0, OpenFlagUse::kLock},
    {NU_O_EXLOCK, 0, OpenFlagUse::kLock},
    {NU_O_CARRIED, 0, OpenFlagUse::kNoEffect},
}};

constexpr int32_t known_open_flags() {
    int32_t known = NU_O_ACCMODE;
    for (const OpenFlagRow &row : kOpenFlagRows)
        known |= row.nu;
    return known;
}
inline constexpr int32_t kKnownOpenFlags = known_open_flags();

// Every row is one bit of its own, above the access field.
constexpr bool rows_are_single_distinct_bits() {
    int32_t seen = NU_O_ACCMODE;
    for (const OpenFlagRow &row : kOpenFlagRows) {
        const auto bit = static_cast<uint32_t>(row.nu);
        if (bit == 0 || (bit & (bit - 1)) != 0 || (seen & row.nu) != 0)
            return false;
        seen |= row.nu;
    }
    return true;
}
static_assert(rows_are_single_distinct_bits());
static_assert((kKnownOpenFlags & NU_O_TEXTMASK) == NU_O_TEXTMASK);

// The flags for open(2), or nothing when `flags` has a bit outside the set or
// the access field 3: an open must not pass on what it does not understand.
// Locks, text and carried bits give no platform bit.
constexpr std::optional<int> platform_open_flags(int32_t flags) {
    if ((flags & ~kKnownOpenFlags) != 0)
        return std::nullopt;
    std::optional<int> out;
    for (const AccessRow &row : kAccessRows)
        if ((flags & NU_O_ACCMODE) == row.nu)
            out = row.platform;
    if (!out)
        return std::nullopt;
    for (const OpenFlagRow &row : kOpenFlagRows)
        if ((flags & row.nu) != 0)
            *out |= row.platform;
    return out;
}

// The library's flags of the platform's (the status flags of a descriptor,
// with O_CLOEXEC for FD_CLOEXEC). Platform bits without a row are dropped; an
// access field other than the three gives read only.
constexpr int32_t nu_open_flags(int platform) {
    int32_t out = NU_O_RDONLY;
    for (const AccessRow &row : kAccessRows)
        if ((platform & O_ACCMODE) == row.platform)
            out = row.nu;
    for (const OpenFlagRow &row : kOpenFlagRows)
        if (row.use == OpenFlagUse::kPlatform && (platform & row.platform) != 0)
            out |= row.nu;
    return out;
}

// The lock an open takes right after open(2): exclusive keeps every other
// open out, shared keeps out writers; exclusive wins when both are asked.
enum class OpenLock : uint8_t { kNone, kShared, kExclusive };

constexpr OpenLock open_lock_of(int32_t flags) {
    return (flags & NU_O_EXLOCK) != 0   ? OpenLock::kExclusive
           : (flags & NU_O_SHLOCK) != 0 ? OpenLock::kShared
                                        : OpenLock::kNone;
}

}  // namespace vesk::os
