// SPDX-License-Identifier: MIT
// Finding a module: by its key among the modules that are up, or as a file
// along the search order: the caller's directories, VESK_MODULE_PATH, the
// directories under HOME, and the system's directories with the install's
// own first. A failed attempt leaves no report; a search that runs out makes
// the one report "not found" with the request.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "loader.hpp"
#include "registry.hpp"
#include "report.hpp"

namespace vesk::rt {
namespace {

// Appended to $HOME (to nothing when it isn't set).
constexpr const char *kHomeDirs[] = {
    "/lib/vesk/modules",
    "/libexec/vesk/modules",
    "/Library/vesk/modules",
    "/opt/lib/vesk/modules",
    "/opt/libexec/vesk/modules",
    "/opt/vesk/modules",
    "/devel/opt/lib/vesk/modules",
    "/devel/opt/libexec/vesk/modules",
    "/devel/projects/opt/lib/vesk/modules",
    "/devel/projects/opt/libexec/vesk/modules",
};

// Behind the install's own directory.
constexpr const char *kSystemDirs[] = {
    "/usr/local/lib/vesk/modules",
    "/usr/local/libexec/vesk/modules",
    "/usr/lib/vesk/modules",
    "/usr/libexec/vesk/modules",
    "/opt/vesk/modules",
};

// The environment, read once per process at the first search that needs it,
// and never again; written and read under namereg's write lock only.
constexpr size_t kModulePathSize = 41000;
struct EnvCache {
    bool read;
    size_t len;
};
char module_path[kModulePathSize];
EnvCache module_path_cache;
char home[kPathMax];
EnvCache home_cache;

const char *cached_env(const char *name, char *buf, size_t size, EnvCache &cache) {
    if (!cache.read) {
        cache.read = true;
        const char *value = std::getenv(name);
        if (value != nullptr) {
            cache.len = strnlen(value, size - 1);
            std::memcpy(buf, value, cache.len);
            buf[cache.len] = '\0';
        }
    }
    return cache.len != 0 ? buf : nullptr;  // empty counts as unset
}

// One search: the key and the file name to look for.
struct Search {
    const char *key;
    const char *file;   // the request with the tail
    size_t file_len;
};

// prefix + dir + "/" + file, opened silently. A path at the platform's limit is
// not tried. A path without any "/" would send dlopen through the dynamic
// linker's own search: an empty directory means the current one.
VeskModule *try_dir(const Search &s, const char *prefix, const char *dir, size_t dir_len) {
    const size_t prefix_len = std::strlen(prefix);
    if (prefix_len + dir_len + s.file_len + 2 >= kPathMax)
        return nullptr;
    char path[kPathMax];
    const char *sep = "";
    if (prefix_len + dir_len == 0)
        sep = "./";
    else if (dir_len == 0 ? prefix[prefix_len - 1] != '/' : dir[dir_len - 1] != '/')
        sep = "/";
    std::snprintf(path, sizeof path, "%s%.*s%s%s", prefix, int(dir_len), dir, sep, s.file);
    return open_module_file(path, s.key, nullptr);
}

VeskModule *try_caller_dirs(const Search &s, const char *const *dirs, uint32_t ndirs) {
    for (uint32_t i = 0; i < ndirs; ++i)
        if (dirs[i] != nullptr)
            if (VeskModule *mod = try_dir(s, "", dirs[i], std::strlen(dirs[i])))
                return mod;
    return nullptr;
}

// Entries split at ";" and ":"; an entry in double quotes loses them.
VeskModule *try_module_path(const Search &s) {
    const char *value = cached_env("VESK_MODULE_PATH", module_path, sizeof module_path,
                                   module_path_cache);
    if (value == nullptr)
        return nullptr;
    char *copy = static_cast<char *>(_NuMalloc(module_path_cache.len + 1, nullptr));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, value, module_path_cache.len + 1);
    char delimit[] = ";:";
    NuSTRTOK tok;
    VeskModule *mod = nullptr;
    int64_t r = NuStrtok(copy, delimit,
                         NU_TOK_SQUOTE | NU_TOK_DQUOTE | NU_TOK_NOESC, &tok, nullptr);
    for (; r == 1 && mod == nullptr; r = NuStrtok(nullptr, nullptr,
                                                 NU_TOK_SQUOTE | NU_TOK_DQUOTE | NU_TOK_NOESC,
                                                 &tok, nullptr)) {
        const char *dir = tok.tok_text;
        size_t len = tok.tok_len;
        if (len >= 2 && dir[0] == '"')
            ++dir, len -= 2;
        if (len + s.file_len + 1 >= kPathMax)
            continue;
        mod = try_dir(s, "", dir, len);
    }
    _NuMfree(copy);
    return mod;
}

VeskModule *try_home_dirs(const Search &s) {
    const char *prefix = cached_env("HOME", home, sizeof home, home_cache);
    for (const char *dir : kHomeDirs)
        if (VeskModule *mod = try_dir(s, prefix != nullptr ? prefix : "", dir, std::strlen(dir)))
            return mod;
    return nullptr;
}

VeskModule *try_system_dirs(const Search &s) {
    const char *own[2];
    const size_t nown = own_module_dirs(own);
    for (size_t i = 0; i < nown; ++i)
        if (VeskModule *mod = try_dir(s, "", own[i], std::strlen(own[i])))
            return mod;
    for (const char *dir : kSystemDirs)
        if (VeskModule *mod = try_dir(s, "", dir, std::strlen(dir)))
            return mod;
    return nullptr;
}

void report_not_found(VeskErr *status, const char *name) {
    report(status, VESK_E_NOENT, ENOENT, 2, name);
}

}  // namespace

VeskModule *find_module(const char *name, const char *const *dirs, uint32_t ndirs,
                        bool nodefault, bool &already, VeskErr *status) {
    already = false;
    Request req;
    if (!split_request(name, req, status))
        return nullptr;
    char key[kKeySize];
    derive_key(req.part, req.bare_len, key);
    if (VeskModule *mod = find_by_name(namereg(), key, nullptr)) {
        ++mod->loads;
        already = true;
        return mod;
    }
    // The request with the tail; the request is below the path limit, and so
    // is this.
    char file[kPathMax + kModuleExtLen];
    const int n = std::snprintf(file, sizeof file, "%s%s", name, req.has_ext ? "" : kModuleExt);
    const Search s{key, file, size_t(n)};
    if (name[0] == '/')
        return open_module_file(file, key, status);
    VeskModule *mod = try_caller_dirs(s, dirs, ndirs);
    if (mod == nullptr && !nodefault) {
        mod = try_module_path(s);
        if (mod == nullptr)
            mod = try_home_dirs(s);
        if (mod == nullptr)
            mod = try_system_dirs(s);
    }
    if (mod == nullptr)
        report_not_found(status, name);
    return mod;
}

}  // namespace vesk::rt
