// SPDX-License-Identifier: MIT
// Asking for a module by name, and unloading one: the name is a module's
// file name without directories or tail ("ab.ccsi" and "ccsi" both name the
// module of key "ccsi"), or, for _VeskMldUnload, the key itself.
#include <cerrno>
#include <cstring>

#include "link.hpp"
#include "loader.hpp"
#include "registry.hpp"
#include "report.hpp"
#include "rwlock.hpp"

namespace vesk::rt {
namespace {

// The key of a name as given, checked; false after a report.
bool key_of(const char *name, const char *function, char (&key)[kKeySize], VeskErr *status) {
    if (name == nullptr) {
        report(status, VESK_E_FAULT, EFAULT, 3, kScope, function, "@module-name");
        return false;
    }
    if (name[0] == '\0') {
        report(status, VESK_E_INVAL, EINVAL, 3, kScope, function, "@module-name");
        return false;
    }
    if (derive_key(name, std::strlen(name), key) < kKeySize)
        return true;
    report(status, VESK_E_BUFSMALL, EOVERFLOW, 3, kScope, function, name);
    return false;
}

}  // namespace
}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API int64_t VeskMldIsloaded(const char *name, VeskErr *status) {
    char key[kKeySize];
    if (!key_of(name, "VeskMldIsloaded", key, status))
        return -1;
    ReadLocked names(&namereg().lock);
    return find_by_name(namereg(), key, nullptr) != nullptr ? 1 : 0;
}

VESK_API int64_t VeskMldUnload(const char *name, VeskErr *status) {
    char key[kKeySize];
    if (!key_of(name, "VeskMldUnload", key, status))
        return -1;
    return _VeskMldUnload(key, status);
}

VESK_API int64_t _VeskMldUnload(const char *key, VeskErr *status) {
    if (key == nullptr) {
        report(status, VESK_E_FAULT, EFAULT, 3, kScope, "_VeskMldUnload", "@module-name");
        return -1;
    }
    WriteLocked names(&namereg().lock);
    VeskModule *mod = find_by_name(namereg(), key, status);
    if (mod == nullptr)
        return -1;
    // A module still requested refuses to go, so the request is given up
    // first, and taken again if the module stays.
    const uint32_t requested = mod->rec.state & VESK_ST_LOADHELD;
    mod->rec.state &= ~VESK_ST_LOADHELD;
    int64_t r;
    {
        LinkLocked registries;
        r = _VeskModUnload(mod, status);
    }
    if (r >= 0)
        drop_module(mod);
    else
        mod->rec.state |= requested;
    return r;
}

}  // extern "C"
