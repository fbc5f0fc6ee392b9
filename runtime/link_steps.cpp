// SPDX-License-Identifier: MIT
// The first two steps of linking and their undoing: describe (write the heads
// of the records, run on_link) and register (enter the records in opsreg,
// objreg and modreg).
//
// Each step that fails takes back what it did, last first, so that the
// loader only has to undo the steps that succeeded; undoing a step that
// rolled itself back changes nothing.
#include <atomic>
#include <cstddef>
#include <cstring>
#include <span>

#include "link.hpp"
#include "modlist.hpp"
#include "object.hpp"
#include "registry.hpp"
#include "report.hpp"

namespace vesk::rt {
namespace {

// Kind and flags in one store, before the record can be seen by anyone.
void write_head(VeskRecord *rec, uint32_t word, void *super) {
    const uint16_t kind_flags[2] = {static_cast<uint16_t>(word & 0xFFFFu),
                                    static_cast<uint16_t>(word >> 16)};
    static_assert(offsetof(VeskRecord, kind) == 0 && offsetof(VeskRecord, flags) == 2);
    std::memcpy(static_cast<void *>(rec), kind_flags, sizeof kind_flags);
    rec->super = super;
    rec->state = 0;
    std::atomic_ref<int32_t>(rec->holds).store(0, std::memory_order_relaxed);
    std::memset(&rec->lock, 0, sizeof rec->lock);
}

int64_t run_on_link(VeskRecord *rec, VeskErr *status) {
    return rec->on_link != nullptr ? rec->on_link(rec, status) : 1;
}

VeskRecord *as_record(VeskOps *set) { return &set->rec; }
VeskRecord *as_record(VeskClass *cls) { return &cls->rec; }

void finish_uses(VeskModule *mod) {
    // A dependency goes away with its last user, unless it is busy or was
    // requested itself; then its refusal is dropped and it stays.
    while (VeskModule *dep = modlist_pop(&mod->uses)) {
        modlist_remove(&dep->usedby, mod, nullptr);
        if (_VeskModUnload(dep, nullptr) >= 0)
            drop_module(dep);
    }
    modlist_fini(&mod->usedby);
    modlist_fini(&mod->uses);
}

void finish_record(VeskRecord *rec, VeskErr *status) {
    if (rec->state & VESK_ST_STARTED) {
        if (rec->on_stop != nullptr)
            rec->on_stop(rec, status);
        rec->state &= ~VESK_ST_STARTED;
    }
    if (rec->flags & VESK_F_MODULE)
        finish_uses(reinterpret_cast<VeskModule *>(rec));
    if (rec->flags & VESK_F_SELIST)
        _VeskSelistFini(selist_of(rec));
    std::memset(&rec->lock, 0, sizeof rec->lock);
}

template <class T>
void finish_last_first(std::span<T *> records, VeskErr *status) {
    for (size_t i = records.size(); i-- > 0;)
        finish_record(as_record(records[i]), status);
}

// Describes the sets, then the classes; on a failure undoes the records done
// and the module.
int64_t describe_members(VeskModule *mod, int64_t result, VeskErr *status) {
    const std::span<VeskOps *> sets = sets_of(mod);
    const std::span<VeskClass *> classes = classes_of(mod);
    size_t sets_done = 0, classes_done = 0;
    for (; sets_done < sets.size() && result >= 0; ++sets_done) {
        VeskRecord *rec = &sets[sets_done]->rec;
        write_head(rec, VESK_HEAD_OPS, mod);
        result = smaller(result, run_on_link(rec, status));
    }
    for (; classes_done < classes.size() && result >= 0; ++classes_done) {
        VeskClass *cls = classes[classes_done];
        write_head(&cls->rec, VESK_HEAD_CLASS, mod);
        _VeskSelistInit(&cls->selist);
        result = smaller(result, run_on_link(&cls->rec, status));
    }
    if (result >= 0)
        return result;
    // The record that failed counts as done: it has its head and is finished too.
    finish_last_first(classes.first(classes_done), nullptr);
    finish_last_first(sets.first(sets_done), nullptr);
    finish_record(&mod->rec, nullptr);
    return result;
}

template <class T>
int64_t enter_all(Idreg &reg, std::span<T *> records, size_t &entered, VeskErr *status) {
    for (entered = 0; entered < records.size(); ++entered)
        if (enter_by_id(reg, as_record(records[entered]), status) < 0)
            return -1;
    return 0;
}

// Takes a record out of its registry. A record that isn't in it is left
// alone: another record with the same identifier may stand there (the reason
// this one's registration failed), and it isn't this module's to remove.
int64_t leave(Idreg &reg, VeskRecord *rec, VeskErr *status) {
    if (rec->idowner != &reg)
        return 0;
    return remove_by_id(reg, &rec->oid, status) != nullptr ? 0 : -1;
}

template <class T>
int64_t leave_last_first(Idreg &reg, std::span<T *> records, VeskErr *status) {
    int64_t result = 0;
    for (size_t i = records.size(); i-- > 0;)
        result = smaller(result, leave(reg, as_record(records[i]), status));
    return result;
}

}  // namespace

int64_t start_record(VeskRecord *rec, VeskErr *status) {
    if ((rec->state & VESK_ST_STARTED) == 0) {
        if (rec->on_start != nullptr) {
            const int64_t r = rec->on_start(rec, status);
            if (r < 0)
                return r;
        }
        rec->state |= VESK_ST_STARTED;
    }
    return 1;
}

}  // namespace vesk::rt

using namespace vesk::rt;

extern "C" {

VESK_API int64_t _VeskModDescribe(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModDescribe", "@module"))
        return -1;
    write_head(&module->rec, VESK_HEAD_MODULE, nullptr);
    _VeskSelistInit(&module->selist);
    modlist_init(&module->uses);
    modlist_init(&module->usedby);
    // No on_link at all is a complete step; otherwise the smallest result.
    const int64_t result = run_on_link(&module->rec, status);
    if (result < 0) {
        finish_record(&module->rec, nullptr);
        return result;
    }
    return describe_members(module, result, status);
}

VESK_API int64_t _VeskModFinish(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModFinish", "@module"))
        return -1;
    finish_last_first(classes_of(module), status);
    finish_last_first(sets_of(module), status);
    finish_record(&module->rec, status);
    return 0;
}

VESK_API int64_t _VeskModRegister(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModRegister", "@module"))
        return -1;
    const std::span<VeskOps *> sets = sets_of(module);
    const std::span<VeskClass *> classes = classes_of(module);
    if (enter_by_id(modreg(), &module->rec, status) < 0)
        return -1;
    size_t sets_in = 0, classes_in = 0;
    if (enter_all(opsreg(), sets, sets_in, status) == 0 &&
        enter_all(objreg(), classes, classes_in, status) == 0)
        return 1;
    leave_last_first(objreg(), classes.first(classes_in), nullptr);
    leave_last_first(opsreg(), sets.first(sets_in), nullptr);
    leave(modreg(), &module->rec, nullptr);
    return -1;
}

VESK_API int64_t _VeskModUnregister(VeskModule *module, VeskErr *status) {
    if (!pointer_ok(module, status, "_VeskModUnregister", "@module"))
        return -1;
    int64_t result = leave_last_first(objreg(), classes_of(module), status);
    result = smaller(result, leave_last_first(opsreg(), sets_of(module), status));
    return smaller(result, leave(modreg(), &module->rec, status));
}

}  // extern "C"
