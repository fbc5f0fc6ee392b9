// SPDX-License-Identifier: MIT
// Mode strings: the fopen language ("r", "w+", "ab", with an optional prefix
// "libc:") and the unix language ("unix:rwc, 0644", "unix:wc,u=rw g=r")
// read into NU_O_* flags and a permission, and flags written back as either.
// One template over the unit type serves the 8-bit and the 16-bit forms; they
// differ only in the names their reports give.
//
// This lives with the text functions because it is a small parser and
// printer of strings with no platform call: the open calls take its flags
// and translate them at their own boundary (os/open_flags.hpp).
//
// Each function is one pass over the string without allocation, so the time
// is linear in the string's length whatever it holds, and a string is never
// read past its terminator.
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>

#include "nu.h"
#include "vesk.h"

namespace {

constexpr uint32_t kPermMask = 0xFFF;

// The names a unit type's readers give in their reports.
struct Names {
    const char *cmode;
    const char *unmode;
};
template <class Unit>
constexpr Names kNames{"NuMkcmode", "NuMkunmode"};
template <>
constexpr Names kNames<char16_t>{"NuWmkcmode", "NuWmkunmode"};

// The flag letters of the unix language, in the order the writer puts them.
struct Letter {
    char letter;
    int32_t flag;
};
constexpr std::array<Letter, 8> kLetters{{
    {'a', NU_O_APPEND},
    {'z', NU_O_TRUNC},
    {'c', NU_O_CREAT},
    {'x', NU_O_EXCL},  // written and kept only beside 'c'
    {'l', NU_O_SHLOCK},
    {'L', NU_O_EXLOCK},
    {'n', NU_O_CARRIED},
    {'d', NU_O_NOINHERIT},
}};

template <class Unit>
bool is_blank(Unit u) {
    return u == ' ' || u == '\t';
}

// Behind the five units of `prefix` if the mode begins with them (case
// counts), else the mode itself. The terminator never matches, so a shorter
// mode is not read past its end.
template <class Unit>
const Unit *after_prefix(const Unit *mode, const char (&prefix)[6]) {
    for (size_t i = 0; i < 5; ++i)
        if (mode[i] != static_cast<Unit>(prefix[i]))
            return mode;
    return mode + 5;
}

template <class Unit>
int32_t flag_of_letter(Unit u) {
    for (const Letter &l : kLetters)
        if (u == static_cast<Unit>(l.letter))
            return l.flag;
    return 0;
}

int64_t refuse(VeskErr *err, int32_t facility, int32_t code, int errnum, const char *function,
               const char *param) {
    VeskMkerr(nullptr, err, 0, 0, 0, facility, code, errnum, 2, function, param);
    return -1;
}

// ---- The C language ------------------------------------------------------

// The access letter comes once and first; "+", "b" and "t" only behind it;
// any other unit, blanks included, is passed over wherever it stands.
template <class Unit>
std::optional<int32_t> read_c_flags(const Unit *mode) {
    int32_t flags = NU_O_RDONLY;
    bool seen = false;
    for (const Unit *p = after_prefix(mode, "libc:"); *p != 0; ++p) {
        switch (*p) {
        case 'r':
        case 'w':
        case 'a':
            if (seen)
                return std::nullopt;
            seen = true;
            flags = *p == 'r'   ? NU_O_RDONLY
                    : *p == 'w' ? NU_O_WRONLY | NU_O_CREAT | NU_O_TRUNC
                                : NU_O_WRONLY | NU_O_APPEND | NU_O_CREAT;
            break;
        case '+':
        case 'b':
        case 't':
            if (!seen)
                return std::nullopt;
            flags = *p == '+'   ? (flags & ~NU_O_WRONLY) | NU_O_RDWR
                    : *p == 'b' ? flags | NU_O_BINARY
                                : flags | NU_O_TEXT;
            break;
        default:
            break;
        }
    }
    return flags;
}

template <class Unit>
int64_t make_cmode(const Unit *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    const char *name = kNames<Unit>.cmode;
    if (mode == nullptr)
        return refuse(err, VESK_FAC_CMODE, VESK_E_FAULT, EFAULT, name, "@mode");
    if (flags == nullptr)
        return refuse(err, VESK_FAC_CMODE, VESK_E_FAULT, EFAULT, name, "@flags");
    const std::optional<int32_t> read = read_c_flags(mode);
    if (!read)
        return refuse(err, VESK_FAC_CMODE, VESK_E_INVAL, EINVAL, name, "@mode");
    *flags = *read;
    if (perm != nullptr)
        *perm = NU_MODE_DEFAULT_PERM;
    return 0;
}

// ---- The unix language ---------------------------------------------------

// "0" and octal digits up to the end. The number is kept modulo 2^32, which
// leaves the twelve bits the permission keeps exact however long it runs.
template <class Unit>
std::optional<uint32_t> read_octal(const Unit *p) {
    uint32_t n = 0;
    for (; *p != 0; ++p) {
        if (*p < '0' || *p > '7')
            return std::nullopt;
        n = n * 8 + static_cast<uint32_t>(*p - '0');
    }
    return n;
}

// Clauses "who=letters", each who ("u", "g", "o") once, parted by exactly one
// blank; a single blank may also end the list.
template <class Unit>
std::optional<uint32_t> read_clauses(const Unit *p) {
    uint32_t perm = 0;
    uint32_t whos_seen = 0;
    for (;;) {
        const int shift = *p == 'u' ? 6 : *p == 'g' ? 3 : *p == 'o' ? 0 : -1;
        if (shift < 0 || (whos_seen & (1u << shift)) != 0 || p[1] != '=')
            return std::nullopt;
        whos_seen |= 1u << shift;
        uint32_t bits = 0;
        for (p += 2;; ++p) {
            const uint32_t bit = *p == 'r' ? 4 : *p == 'w' ? 2 : *p == 'x' ? 1 : 0;
            if (bit == 0)
                break;
            bits |= bit;
        }
        perm |= bits << shift;
        if (*p == 0)
            return perm;
        if (!is_blank(*p))
            return std::nullopt;
        if (*++p == 0)
            return perm;
    }
}

struct UnixMode {
    int32_t flags;
    uint32_t perm;
    const char *refused;  // the parameter a refusal names, or null
};

template <class Unit>
UnixMode read_unix(const Unit *mode) {
    const Unit *p = after_prefix(mode, "unix:");
    bool read = false, write = false;
    int32_t flags = 0;
    for (; *p != 0 && *p != ','; ++p) {
        if (*p == 'r')
            read = true;
        else if (*p == 'w')
            write = true;
        else if (const int32_t flag = flag_of_letter(*p))
            flags |= flag;
        else if (*p != 'b' && *p != 't' && !is_blank(*p))
            return {0, 0, "@flags"};
    }
    flags |= read && write ? NU_O_RDWR : write ? NU_O_WRONLY : NU_O_RDONLY;
    if ((flags & NU_O_CREAT) == 0)
        flags &= ~NU_O_EXCL;

    while (*p == ',' || is_blank(*p))
        ++p;
    const std::optional<uint32_t> perm = *p == 0     ? std::optional<uint32_t>(0)
                                         : *p == '0' ? read_octal(p + 1)
                                                     : read_clauses(p);
    if (!perm)
        return {0, 0, "@perm"};
    return {flags, *perm & kPermMask, nullptr};
}

template <class Unit>
int64_t make_unmode(const Unit *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    const char *name = kNames<Unit>.unmode;
    if (mode == nullptr)
        return refuse(err, VESK_FAC_OPEN, VESK_E_FAULT, EFAULT, name, "@mode");
    if (flags == nullptr)
        return refuse(err, VESK_FAC_OPEN, VESK_E_FAULT, EFAULT, name, "@flags");
    const UnixMode read = read_unix(mode);
    if (read.refused != nullptr)
        return refuse(err, VESK_FAC_OPEN, VESK_E_INVAL, EINVAL, name, read.refused);
    *flags = read.flags;
    if (perm != nullptr)
        *perm = static_cast<int32_t>(read.perm);
    return 0;
}

// The unix language behind its prefix, the C language otherwise (a null mode
// included, which the C reader reports).
template <class Unit>
int64_t make_cunmode(const Unit *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    if (mode != nullptr) {
        const Unit *rest = after_prefix(mode, "unix:");
        if (rest != mode)
            return make_unmode(rest, flags, perm, err);
    }
    return make_cmode(mode, flags, perm, err);
}

// ---- Writers -------------------------------------------------------------

// Puts units into the buffer, or only counts them when there is none.
template <class Unit>
class Writer {
public:
    explicit Writer(Unit *buffer) : buffer_(buffer) {}
    void put(char c) {
        if (buffer_ != nullptr)
            buffer_[length_] = static_cast<Unit>(c);
        ++length_;
    }
    void put(const char *s) {
        while (*s != 0)
            put(*s++);
    }
    int32_t finish() {
        if (buffer_ != nullptr)
            buffer_[length_] = 0;
        return length_;
    }

private:
    Unit *buffer_;
    int32_t length_ = 0;
};

const char *c_mode_of(int32_t flags) {
    const int32_t access = flags & NU_O_ACCMODE;
    if (access == NU_O_RDONLY)
        return "r";
    const bool append = (flags & NU_O_APPEND) != 0;
    const bool makes = (flags & (NU_O_CREAT | NU_O_TRUNC)) != 0;
    if (access == NU_O_RDWR)
        return append ? "a+" : makes ? "w+" : "r+";
    return append ? "a" : makes ? "w" : "r+";
}

template <class Unit>
int32_t write_cmode(Unit *buffer, int32_t flags) {
    Writer<Unit> out(buffer);
    out.put(c_mode_of(flags));
    return out.finish();
}

// The permission is shown with the create flag only, since only then does an
// open use it: three octal digits, the nine bits of owner, group and others.
// The reader keeps the three bits above them; this writer doesn't show them.
template <class Unit>
int32_t write_unmode(Unit *buffer, int32_t flags, int32_t perm) {
    Writer<Unit> out(buffer);
    out.put("unix: ");
    const int32_t access = flags & NU_O_ACCMODE;
    out.put(access == NU_O_RDWR ? "rw" : access == NU_O_WRONLY ? "w" : "r");
    const bool create = (flags & NU_O_CREAT) != 0;
    for (const Letter &l : kLetters)
        if ((flags & l.flag) != 0 && (l.flag != NU_O_EXCL || create))
            out.put(l.letter);
    if (create) {
        const auto bits = static_cast<uint32_t>(perm) & kPermMask;
        out.put(", 0");
        for (int shift = 6; shift >= 0; shift -= 3)
            out.put(static_cast<char>('0' + ((bits >> shift) & 7)));
    }
    return out.finish();
}

}  // namespace

extern "C" {

VESK_API int64_t NuMkcmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    return make_cmode(mode, flags, perm, err);
}
VESK_API int64_t NuWmkcmode(const char16_t *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    return make_cmode(mode, flags, perm, err);
}
VESK_API int64_t NuMkunmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    return make_unmode(mode, flags, perm, err);
}
VESK_API int64_t NuWmkunmode(const char16_t *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    return make_unmode(mode, flags, perm, err);
}
VESK_API int64_t NuMkcunmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err) {
    return make_cunmode(mode, flags, perm, err);
}
VESK_API int64_t NuWmkcunmode(const char16_t *mode, int32_t *flags, int32_t *perm,
                              VeskErr *err) {
    return make_cunmode(mode, flags, perm, err);
}

VESK_API int32_t NuCcmode(char *buffer, int32_t flags) { return write_cmode(buffer, flags); }
VESK_API int32_t NuWcmode(char16_t *buffer, int32_t flags) { return write_cmode(buffer, flags); }
VESK_API int32_t NuCunmode(char *buffer, int32_t flags, int32_t perm) {
    return write_unmode(buffer, flags, perm);
}
VESK_API int32_t NuWunmode(char16_t *buffer, int32_t flags, int32_t perm) {
    return write_unmode(buffer, flags, perm);
}

}  // extern "C"
