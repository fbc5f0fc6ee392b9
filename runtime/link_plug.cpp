// SPDX-License-Identifier: MIT
// The third step of linking and its undoing: plug (start the records,
// resolve the sets, run init_once of every service element, connect the
// module to the modules it depends on) and unplug, which refuses while
// anything holds the module and otherwise takes it all back in reverse.
#include <cstdlib>

#include "link.hpp"
#include "modlist.hpp"
#include "registry.hpp"
#include "report.hpp"
#include "rwlock.hpp"

namespace vesk::rt {
namespace {

int64_t plug_class(VeskClass *cls, VeskErr *status) {
    const int64_t started = start_record(&cls->rec, status);
    if (started < 0 || (cls->rec.state & VESK_ST_RESOLVED) != 0)
        return started;
    const int64_t r = once_init(&cls->rec, &cls->rec, status);
    if (r < 0)
        return r;
    if (r > 0)
        cls->rec.state |= VESK_ST_RESOLVED;
    return smaller(r, started);
}

// Only the class's own elements: the module's go last, after all its
// classes, so that fini_once runs in the reverse order of init_once.
int64_t unplug_class(VeskClass *cls, VeskErr *status) {
    const int64_t r = once_fini(&cls->rec, &cls->rec, status);
    cls->rec.state &= ~VESK_ST_RESOLVED;
    return r;
}

// Takes back the classes and sets given (all plugged), last first.
int64_t unplug_members(std::span<VeskClass *> classes, std::span<VeskOps *> sets,
                       VeskErr *status) {
    int64_t result = 0;
    for (size_t i = classes.size(); i-- > 0;) {
        const int64_t r = unplug_class(classes[i], status);
        if (r < 0)
            result = r;
    }
    for (size_t i = sets.size(); i-- > 0;)
        unresolve_set(sets[i]);
    return result;
}

VeskModule *find_dependency(const VeskDepEntry &entry) {
    if (VeskModule *dep = find_by_name(namereg(), entry.name, nullptr))
        return dep;
    if (entry.alts != nullptr)
        for (const char *const *alt = entry.alts; *alt != nullptr; ++alt)
            if (VeskModule *dep = find_by_name(namereg(), *alt, nullptr))
                return dep;
    return nullptr;
}

// Only modules already in namereg are connected; the loader loads the others
// first, and the built-in modules find theirs up already or not at all.
void connect_dependencies(VeskModule *mod) {
    const VeskDeptable *table = mod->deps != nullptr ? mod->deps(mod) : nullptr;
    if (table == nullptr)
        return;
    for (const VeskDepEntry *entry = table->entries; entry->name != nullptr; ++entry) {
        VeskModule *dep = find_dependency(*entry);
        // A module naming itself would pin itself for good.
        if (dep == nullptr || dep == mod || modlist_find(&mod->uses, dep, nullptr) != nullptr)
            continue;
        // A module half connected to its dependencies could be unloaded under
        // its users; there is no way back from here but to stop.
        if (modlist_append(&mod->uses, dep, nullptr) < 0 ||
            modlist_append(&dep->usedby, mod, nullptr) < 0)
            std::abort();
    }
}

void report_busy(VeskErr *status, const VeskRecord *rec) {
    report(status, VESK_E_TOOBUSY, 0, 3, "_VeskModUnplug", printable(rec->longkey));
}

}  // namespace
}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API int64_t _VeskModPlug(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModPlug", "@module"))
        return -1;
    const int64_t started = start_record(&module->rec, status);
    if (started < 0 || (module->rec.state & VESK_ST_RESOLVED) != 0)
        return started;
    int64_t r = once_init(&module->rec, &module->rec, status);
    if (r < 0)
        return r;
    const std::span<VeskOps *> sets = sets_of(module);
    const std::span<VeskClass *> classes = classes_of(module);
    size_t sets_done = 0, classes_done = 0;
    for (; sets_done < sets.size() && r >= 0; ++sets_done)
        r = smaller(r, resolve_set(sets[sets_done], status));
    for (; classes_done < classes.size() && r >= 0; ++classes_done) {
        const int64_t c = plug_class(classes[classes_done], status);
        if (c < 0) {
            r = c;  // the class has taken back what it did
            break;
        }
        r = smaller(r, c);
    }
    if (r < 0) {
        unplug_members(classes.first(classes_done), sets.first(sets_done), nullptr);
        once_fini(&module->rec, &module->rec, nullptr);
        return r;
    }
    connect_dependencies(module);
    if (r > 0)
        module->rec.state |= VESK_ST_RESOLVED;
    return smaller(r, started);
}

VESK_API int64_t _VeskModUnplug(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModUnplug", "@module"))
        return -1;
    if (module->handle == nullptr) {  // a module of the library itself
        report(status, VESK_E_WRONGSTATE, EINVAL, 2, "_VeskModUnplug",
               printable(module->rec.longkey));
        return -1;
    }
    if (modlist_size(&module->usedby) != 0 || holds_of(&module->rec) != 0 ||
        (module->rec.state & VESK_ST_LOADHELD) != 0) {
        report_busy(status, &module->rec);
        return -1;
    }
    const std::span<VeskClass *> classes = classes_of(module);
    for (size_t i = classes.size(); i-- > 0;) {
        if (holds_of(&classes[i]->rec) != 0) {
            report_busy(status, &classes[i]->rec);
            return -1;
        }
    }
    const int64_t members = unplug_members(classes, sets_of(module), status);
    const int64_t own = once_fini(&module->rec, &module->rec, status);
    module->rec.state &= ~VESK_ST_RESOLVED;
    return own < 0 ? own : members;
}

VESK_API int64_t _VeskModUnload(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModUnload", "@module"))
        return -1;
    const int64_t r = _VeskModUnplug(module, status);
    if (r < 0)
        return r;
    _VeskModUnregister(module, nullptr);
    _VeskModFinish(module, nullptr);
    return r;
}

}  // extern "C"
