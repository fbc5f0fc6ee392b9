// SPDX-License-Identifier: MIT
// A load request and its file key: the name behind the directories, the
// module tail, and the key derived from the bare name ("ab.ccsi" -> "ccsi",
// "zekab.ccsi" -> "zekccsi").
#include <cerrno>
#include <cstring>

#include "loader.hpp"
#include "report.hpp"

namespace vesk::rt {
namespace {

const char *behind_directories(const char *name) {
    const char *part = std::strrchr(name, '/');
    if (part == nullptr)
        part = std::strrchr(name, '\\');
    part = part != nullptr ? part + 1 : name;
    while (*part == '/' || *part == '\\')
        ++part;
    return part;
}

bool starts_with_zek(const char *s, size_t len) { return len >= 3 && std::memcmp(s, "zek", 3) == 0; }

// prefix + text[0 .. len) into the key, cut to fit; the uncut length.
size_t copy_cut(char (&key)[kKeySize], const char *prefix, const char *text, size_t len) {
    const size_t plen = std::strlen(prefix);
    const size_t room = kKeySize - 1 - plen;
    std::memcpy(key, prefix, plen);
    const size_t n = len < room ? len : room;
    std::memcpy(key + plen, text, n);
    key[plen + n] = '\0';
    return plen + len;
}

}  // namespace

bool split_request(const char *name, Request &req, VeskErr *status) {
    req.name = name;
    req.part = behind_directories(name);
    const size_t len = std::strlen(req.part);
    // Only the exact, case-sensitive tail at the very end counts: "x.SO" is a
    // bare name whose file is "x.SO.so".
    req.has_ext = len >= kModuleExtLen &&
                  std::memcmp(req.part + len - kModuleExtLen, kModuleExt, kModuleExtLen) == 0;
    req.bare_len = req.has_ext ? len - kModuleExtLen : len;
    if (req.bare_len + (req.has_ext ? kModuleExtLen : 0) < kKeySize)
        return true;
    report(status, VESK_E_NAMETOOLONG, ENAMETOOLONG, 1, req.part);
    return false;
}

size_t derive_key(const char *bare, size_t len, char (&key)[kKeySize]) {
    const char *dot = static_cast<const char *>(memrchr(bare, '.', len));
    if (dot == nullptr)
        return copy_cut(key, "", bare, len);
    const char *tail = dot + 1;
    const size_t tail_len = len - size_t(tail - bare);
    // The prefix "zek" of a bare name carries over to a tail without it.
    const char *prefix = starts_with_zek(bare, len) && !starts_with_zek(tail, tail_len) ? "zek" : "";
    return copy_cut(key, prefix, tail, tail_len);
}

}  // namespace vesk::rt
