// SPDX-License-Identifier: MIT
// Service-element lists, the forms that take no lock.
#include <cstring>

#include "report.hpp"
#include "selist.hpp"

using namespace vesk::rt;

namespace {

void make_empty(VeskSelist *list) {
    std::memset(&list->lock, 0, sizeof list->lock);
    list->ring.next = list->ring.prev = &list->ring;
    list->count = 0;
    list->ready = 1;
}

void unlink(VeskSelink *link) {
    link->prev->next = link->next;
    link->next->prev = link->prev;
    link->next = link->prev = nullptr;
}

// Checks shared by both pushes; a block is on one list at most.
bool can_push(VeskSelist *list, VeskSeblock *block, VeskErr *status, const char *function) {
    if (list == nullptr || block == nullptr) {
        report_null_arg(status, function, list == nullptr ? "@list" : "@block");
        return false;
    }
    if (block->links.next != nullptr || block->links.prev != nullptr) {
        // 772: the object already in the state.
        report(status, VESK_E_ALREADYSTATE, 0, 1, "@block");
        return false;
    }
    if (!list->ready)
        make_empty(list);
    return true;
}

void insert_between(VeskSelink *link, VeskSelink *prev, VeskSelink *next) {
    link->prev = prev;
    link->next = next;
    prev->next = link;
    next->prev = link;
}

}  // namespace

extern "C" {

// Init, fini and size have no status record: a null list is refused with -1
// (a size of 0) and nothing else.
VESK_API int64_t _VeskSelistInit(VeskSelist *list) {
    if (list == nullptr)
        return -1;
    if (!list->ready)
        make_empty(list);
    return 0;
}

VESK_API int64_t _VeskSelistFini(VeskSelist *list) {
    if (list == nullptr)
        return -1;
    if (!list->ready)
        return 0;
    while (list->ring.next != &list->ring) {
        VeskSelink *link = list->ring.next;
        unlink(link);
        --list->count;
        VeskSeblock *block = block_of(link);
        if (block->on_drop != nullptr)
            block->on_drop(block);
    }
    std::memset(&list->lock, 0, sizeof list->lock);
    list->ready = 0;
    return 0;
}

VESK_API int64_t _VeskSelistPushback_nlk(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    if (!can_push(list, block, status, "_VeskSelistPushback_nlk"))
        return -1;
    insert_between(&block->links, list->ring.prev, &list->ring);
    ++list->count;
    return 0;
}

VESK_API int64_t _VeskSelistPushfront_nlk(VeskSelist *list, VeskSeblock *block, VeskErr *status) {
    if (!can_push(list, block, status, "_VeskSelistPushfront_nlk"))
        return -1;
    insert_between(&block->links, &list->ring, list->ring.next);
    ++list->count;
    return 0;
}

VESK_API VeskSe *_VeskSelistLookup_nlk(VeskSelist *list, const VeskOid *key, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistLookup_nlk", "@list") ||
        !key_ok(key, status, "_VeskSelistLookup_nlk"))
        return nullptr;
    if (VeskSe *se = selist_find(list, key))
        return se;
    report(status, VESK_E_NOMATCH, 0, 1, int{key->comp[1]});
    return nullptr;
}

VESK_API VeskSe *_VeskSelistLookup_ptr_nlk(VeskSelist *list, const VeskSe *se, VeskErr *status) {
    if (!pointer_ok(list, status, "_VeskSelistLookup_ptr_nlk", "@list"))
        return nullptr;
    if (VeskSe *found = selist_find_if(list, [se](const VeskSe *e) { return e == se; }))
        return found;
    report(status, VESK_E_NOMATCH, 0, 2, "@service-element");
    return nullptr;
}

VESK_API uint32_t _VeskSelistSize(const VeskSelist *list) {
    return list != nullptr ? list->count : 0;
}

}  // extern "C"
