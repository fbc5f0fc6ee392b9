// SPDX-License-Identifier: MIT
// Lists of modules, for the dependencies that linking connects.
#include "modlist.hpp"

#include <algorithm>
#include <cstring>

#include "report.hpp"

namespace vesk::rt {
namespace {

VeskModule **slot_of(const VeskModlist *list, const VeskModule *mod) {
    VeskModule **const end = list->storage + list->count;
    VeskModule **const at = std::find(list->storage, end, mod);
    return at != end ? at : nullptr;
}

}  // namespace

void modlist_init(VeskModlist *list) {
    if (list->ready)
        return;
    std::memset(static_cast<void *>(list), 0, sizeof *list);
    list->ready = 1;
}

void modlist_fini(VeskModlist *list) {
    if (!list->ready)
        return;
    NuMfree(list->storage);
    std::memset(static_cast<void *>(list), 0, sizeof *list);
}

int64_t modlist_append(VeskModlist *list, VeskModule *mod, VeskErr *status) {
    modlist_init(list);  // a module still static has never set its lists up
    if (list->count == list->capacity) {
        const uint32_t capacity = list->capacity + 1;
        void *grown = _NuMrealloc(list->storage, capacity * sizeof *list->storage, nullptr);
        if (grown == nullptr) {
            // Facility 0: the allocator's own code, told about this list.
            VeskMkerr(nullptr, status, 0, 0, 0, VESK_FAC_NONE, VESK_E_NOMEM, 0, 2, "@modlist.storage");
            return -1;
        }
        list->storage = static_cast<VeskModule **>(grown);
        list->capacity = capacity;
    }
    list->storage[list->count++] = mod;
    return 0;
}

VeskModule *modlist_find(const VeskModlist *list, const VeskModule *mod, VeskErr *status) {
    if (list->count != 0)
        if (VeskModule **at = slot_of(list, mod))
            return *at;
    report(status, VESK_E_NOMATCH, 0, 2, "@module");
    return nullptr;
}

VeskModule *modlist_remove(VeskModlist *list, const VeskModule *mod, VeskErr *status) {
    VeskModule **at = list->count != 0 ? slot_of(list, mod) : nullptr;
    if (at == nullptr) {
        report(status, VESK_E_NOMATCH, 0, 2, "@module");
        return nullptr;
    }
    VeskModule *found = *at;
    std::copy(at + 1, list->storage + list->count, at);
    --list->count;
    return found;
}

VeskModule *modlist_pop(VeskModlist *list) {
    return list->count != 0 ? list->storage[--list->count] : nullptr;
}

}  // namespace vesk::rt
