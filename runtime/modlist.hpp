// SPDX-License-Identifier: MIT
// Lists of modules: the `uses` and `usedby` of a module record.
//
// A list grows one slot at a time: modules have few neighbours, and the list
// is touched only while linking, under the registries' write locks.
#pragma once

#include "vesk.h"

namespace vesk::rt {

void modlist_init(VeskModlist *list);  // a list already ready is left alone
void modlist_fini(VeskModlist *list);  // frees the storage; a list not ready is left alone

// 0, or -1 after a report (facility 0, 32773, variant 2, "@modlist.storage").
int64_t modlist_append(VeskModlist *list, VeskModule *mod, VeskErr *status);

// The module, or null after a report (49170, variant 2, "@module").
VeskModule *modlist_find(const VeskModlist *list, const VeskModule *mod, VeskErr *status);

// Takes the module out and closes the gap, keeping the order of the others;
// the module, or null after the report of modlist_find.
VeskModule *modlist_remove(VeskModlist *list, const VeskModule *mod, VeskErr *status);

VeskModule *modlist_pop(VeskModlist *list);  // the last entry; null when empty

inline uint32_t modlist_size(const VeskModlist *list) { return list->count; }

}  // namespace vesk::rt
