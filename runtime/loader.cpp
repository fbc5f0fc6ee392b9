// SPDX-License-Identifier: MIT
// Loading modules from files: VeskMldLoad follows the dependencies of the
// module it loads, gathers every module it had to open on a load list
// (dependencies ahead of their users) and takes them all through the three
// linking steps together, so that imports between them find each other;
// VeskMldLoad1 does the same for the one module asked for.
//
// The write lock of namereg is held throughout, file opening included; the
// other three registries are locked for the linking.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "link.hpp"
#include "loader.hpp"
#include "registry.hpp"
#include "report.hpp"
#include "rwlock.hpp"

namespace vesk::rt {
namespace {

// The modules one load opened, in the order they are to be linked. It grows
// one slot at a time from ten.
class LoadList {
public:
    bool make(VeskErr *status) {
        mods_ = static_cast<VeskModule **>(NuMalloc(kFirst * sizeof *mods_));
        if (mods_ == nullptr) {
            report(status, VESK_E_NOMEM, ENOMEM, 1, "VeskMldLoad");
            return false;
        }
        cap_ = kFirst;
        return true;
    }
    ~LoadList() { NuMfree(mods_); }

    void append(VeskModule *mod) {
        if (count_ == cap_) {
            auto *grown = static_cast<VeskModule **>(NuMrealloc(mods_, (cap_ + 1) * sizeof *mods_));
            // The modules opened so far would be left half loaded.
            if (grown == nullptr)
                std::abort();
            mods_ = grown;
            ++cap_;
        }
        mods_[count_++] = mod;
    }
    // Drops every module, last first, and empties the list.
    void drop_all() {
        while (count_ != 0)
            drop_module(mods_[--count_]);
    }
    size_t size() const { return count_; }
    VeskModule *operator[](size_t i) const { return mods_[i]; }

private:
    static constexpr size_t kFirst = 10;
    VeskModule **mods_ = nullptr;
    size_t cap_ = 0, count_ = 0;
};

bool name_ok(const char *name, const char *function, VeskErr *status) {
    if (name == nullptr) {
        report(status, VESK_E_FAULT, EFAULT, 3, kScope, function, "@module-name");
        return false;
    }
    if (name[0] == '\0') {
        report(status, VESK_E_INVAL, EINVAL, 3, kScope, function, "@module-name");
        return false;
    }
    return true;
}

bool load_args_ok(const char *name, const char *const *dirs, uint32_t ndirs, const char *function,
                  VeskErr *status) {
    if (!name_ok(name, function, status))
        return false;
    if (strnlen(name, kPathMax) >= kPathMax) {
        report(status, VESK_E_NAMETOOLONG, ENAMETOOLONG, 3, name);
        return false;
    }
    if (ndirs != 0 && dirs == nullptr) {
        report(status, VESK_E_FAULT, EFAULT, 3, kScope, function, "@dirs");
        return false;
    }
    return true;
}

struct Where {
    const char *const *dirs;
    uint32_t ndirs;
    bool nodefault;
};

// One request and what it depends on, depth first. A module found up already
// gives back the count finding took and is not visited again, which ends a
// dependency cycle.
VeskModule *load_tree(const char *name, const Where &where, LoadList &list, VeskErr *status);

bool load_dependency(const VeskDepEntry &entry, const Where &where, LoadList &list,
                     VeskErr *status) {
    if (entry.name != nullptr && load_tree(entry.name, where, list, status) != nullptr)
        return true;
    if (entry.alts != nullptr)
        for (const char *const *alt = entry.alts; *alt != nullptr; ++alt)
            if (load_tree(*alt, where, list, status) != nullptr)
                return true;
    return (entry.flags & VESK_DEP_OPTIONAL) != 0;
}

VeskModule *load_tree(const char *name, const Where &where, LoadList &list, VeskErr *status) {
    if (name[0] == '\0') {
        report(status, VESK_E_INVAL, EINVAL, 3, kScope, "VeskMldLoad", "@module-name");
        return nullptr;
    }
    bool already = false;
    VeskModule *mod = find_module(name, where.dirs, where.ndirs, where.nodefault, already, status);
    if (mod == nullptr)
        return nullptr;
    if (already) {
        drop_module(mod);  // only the count: it stays
        return mod;
    }
    const VeskDeptable *table = mod->deps != nullptr ? mod->deps(mod) : nullptr;
    if (table != nullptr) {
        for (const VeskDepEntry *entry = table->entries; entry->name != nullptr; ++entry) {
            if (!load_dependency(*entry, where, list, status)) {
                drop_module(mod);
                return nullptr;
            }
        }
    }
    list.append(mod);
    return mod;
}

// The three steps over the list, each over all modules before the next; a
// failure undoes the steps done, with no report, so that the first stands.
int64_t link_all(const LoadList &list, VeskErr *status) {
    const size_t n = list.size();
    for (size_t k = 0; k < n; ++k) {
        const int64_t r = _VeskModDescribe(list[k], status);
        if (r < 0) {
            for (size_t i = k; i-- > 0;)
                _VeskModFinish(list[i], nullptr);
            return r;
        }
    }
    size_t failed_at = n;
    int64_t r = 0;
    for (size_t k = 0; k < n && failed_at == n; ++k)
        if ((r = _VeskModRegister(list[k], status)) < 0)
            failed_at = k;
    if (failed_at != n) {
        for (size_t i = failed_at; i-- > 0;)
            _VeskModUnregister(list[i], nullptr);
    } else {
        for (size_t k = 0; k < n && failed_at == n; ++k)
            if ((r = _VeskModPlug(list[k], status)) < 0)
                failed_at = k;
        if (failed_at == n)
            return 1;
        for (size_t i = failed_at; i-- > 0;)
            _VeskModUnplug(list[i], nullptr);
        for (size_t i = n; i-- > 0;)
            _VeskModUnregister(list[i], nullptr);
    }
    for (size_t i = n; i-- > 0;)
        _VeskModFinish(list[i], nullptr);
    return r;
}

// While the list is linked or rolled back each of its modules carries one
// load more: finishing a module may unload the dependencies it used, and
// such a dependency, still on the list, must keep its file open until the
// list is done with it.
void pin(const LoadList &list) {
    for (size_t i = 0; i < list.size(); ++i)
        ++list[i]->loads;
}
void unpin(const LoadList &list) {
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i]->loads > 1)
            --list[i]->loads;
}

void set_requested(VeskModule *mod) { mod->rec.state |= VESK_ST_LOADHELD; }

int64_t load(const char *name, const char *const *dirs, uint32_t ndirs, int nodefault,
             bool follow_deps, const char *function, VeskErr *status) {
    if (!load_args_ok(name, dirs, ndirs, function, status))
        return -1;
    LoadList list;
    if (!list.make(status))
        return -1;
    WriteLocked names(&namereg().lock);
    const Where where{dirs, ndirs, nodefault != 0};
    VeskModule *mod;
    if (follow_deps) {
        mod = load_tree(name, where, list, status);
    } else {
        bool already = false;
        mod = find_module(name, dirs, ndirs, where.nodefault, already, status);
        if (mod != nullptr && already)
            drop_module(mod);
        else if (mod != nullptr)
            list.append(mod);
    }
    if (mod == nullptr) {
        list.drop_all();
        return -1;
    }
    if (list.size() == 0) {  // it was up already
        set_requested(mod);
        return 0;
    }
    int64_t r;
    {
        LinkLocked registries;
        pin(list);
        r = link_all(list, status);
        unpin(list);
    }
    if (r < 0) {
        list.drop_all();
        return r;
    }
    set_requested(mod);
    return 1;
}

}  // namespace
}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API int64_t VeskMldLoad(const char *name, const char *const *dirs, uint32_t ndirs,
                             int32_t nodefault, VeskErr *status) {
    return load(name, dirs, ndirs, nodefault, true, "VeskMldLoad", status);
}

VESK_API int64_t VeskMldLoad1(const char *name, const char *const *dirs, uint32_t ndirs,
                              int32_t nodefault, VeskErr *status) {
    return load(name, dirs, ndirs, nodefault, false, "VeskMldLoad1", status);
}

}  // extern "C"
