// SPDX-License-Identifier: MIT
// The pieces of the module loader shared by its files: the request and its
// file key, the search for a module's file along the directories, and the
// platform's calls that open and close a module file.
//
// Everything below runs with the write lock of namereg held by the caller
// (the two environment caches rely on it), except key derivation, which is
// pure.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

#include "vesk.h"

namespace vesk::rt {

// A file key fits 256 bytes, its NUL included.
inline constexpr size_t kKeySize = 256;
// The tail a module file carries, and the separator put between a directory
// and a file.
inline constexpr const char kModuleExt[] = ".so";
inline constexpr size_t kModuleExtLen = sizeof kModuleExt - 1;
// Requests and assembled paths stay below the platform's path limit.
inline constexpr size_t kPathMax = PATH_MAX;

// A request taken apart: the part behind the directories, whether it ends in
// the module tail, and the bare name ahead of that tail.
struct Request {
    const char *name;   // as the caller gave it
    const char *part;   // behind the last separator
    size_t bare_len;    // the bare name is part[0 .. bare_len)
    bool has_ext;
};

// Splits `name` (not null). False, after a report (33299, variant 1, the
// part), when the bare name and the tail don't fit a file key.
bool split_request(const char *name, Request &req, VeskErr *status);

// The file key of a bare name of `len` characters, written into `key` (cut to
// kKeySize - 1 characters and ended by a NUL). The full length the key would
// have, as snprintf counts it.
size_t derive_key(const char *bare, size_t len, char (&key)[kKeySize]);

// Finds the module of a request: in namereg by key (then `already` is set and
// its load count raised), or else as a file along the search order, opened,
// checked and entered in namereg. Null after a report.
VeskModule *find_module(const char *name, const char *const *dirs, uint32_t ndirs,
                        bool nodefault, bool &already, VeskErr *status);

// Opens the module file at `path` and checks that it holds the module of
// `key`; enters it in namereg with one load. Null after a report (a failed
// attempt with a null status leaves none).
VeskModule *open_module_file(const char *path, const char *key, VeskErr *status);

// Closes a module file the loader opened.
void close_module_file(void *handle);

// The install's own module directories, first in the table of the system's
// directories: beside the library file as it was loaded, then where the
// build meant to install it. Fills `out` and returns how many (0 to 2).
size_t own_module_dirs(const char *(&out)[2]);

}  // namespace vesk::rt
