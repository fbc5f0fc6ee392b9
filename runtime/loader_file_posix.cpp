// SPDX-License-Identifier: MIT
// Module files on this platform: dlopen, the exported record, dlclose; and
// where the library itself was loaded from, for its own module directory.
#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "loader.hpp"
#include "registry.hpp"
#include "report.hpp"

#ifndef VESK_MODULE_DIR
#define VESK_MODULE_DIR "/usr/local/lib/vesk/modules"
#endif

namespace vesk::rt {
namespace {

// The record a file exports, checked against the key it was asked for. A
// record that is in namereg already belongs to a module that is up: a second
// file can't bring it again.
VeskModule *exported_module(void *handle, const char *key) {
    auto *slot = static_cast<VeskModule **>(dlsym(handle, "_G_vesk_module"));
    if (slot == nullptr)
        return nullptr;
    VeskModule *mod = *slot;
    if (mod == nullptr || mod->modname == nullptr || std::strcmp(mod->modname, key) != 0 ||
        mod->nameowner != nullptr)
        return nullptr;
    return mod;
}

// Filled once, under namereg's write lock like every use of the loader's
// caches: the directory of the file the library was loaded from.
char beside_library[kPathMax];
bool beside_library_known;

void find_beside_library() {
    beside_library_known = true;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&VeskMldLoad), &info) == 0 || info.dli_fname == nullptr)
        return;
    const char *slash = std::strrchr(info.dli_fname, '/');
    if (slash == nullptr)
        return;
    const int n = std::snprintf(beside_library, sizeof beside_library, "%.*s/vesk/modules",
                                int(slash - info.dli_fname), info.dli_fname);
    if (n < 0 || size_t(n) >= sizeof beside_library)
        beside_library[0] = '\0';
}

}  // namespace

VeskModule *open_module_file(const char *path, const char *key, VeskErr *status) {
    void *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        report(status, VESK_E_NOENT, ENOENT, 1, path);
        return nullptr;
    }
    VeskModule *mod = exported_module(handle, key);
    if (mod == nullptr) {
        dlclose(handle);
        report(status, VESK_E_NOEXEC, ENOEXEC, 1, path);
        return nullptr;
    }
    // The key was seen free under the write lock: a failure here is a broken
    // registry, and nothing could be trusted after it.
    if (enter_by_name(namereg(), mod, nullptr) < 0)
        std::abort();
    mod->loads = 1;
    mod->handle = handle;
    return mod;
}

void close_module_file(void *handle) { dlclose(handle); }

size_t own_module_dirs(const char *(&out)[2]) {
    if (!beside_library_known)
        find_beside_library();
    size_t n = 0;
    if (beside_library[0] != '\0')
        out[n++] = beside_library;
    if (n == 0 || std::strcmp(beside_library, VESK_MODULE_DIR) != 0)
        out[n++] = VESK_MODULE_DIR;
    return n;
}

}  // namespace vesk::rt
