// SPDX-License-Identifier: MIT
// Log messages: a reference-counted bag of string attributes. The ten
// standard ones have fixed places in the record; the others live in a
// string dictionary behind them.
//
// A standard value is null (unset), the one shared empty string, or a
// private copy; only a copy is ever released, so an empty value costs no
// allocation. The copies are the C library's strdup blocks, released with
// free, beside the table's blocks of the message and its dictionary.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "memory/lstrdic.hpp"
#include "services/logmsg.hpp"

namespace {

using namespace vesk::svc::logmsg;

constexpr const char kEmpty[] = "";
constexpr int32_t kRetainLimit = 0x7fffffff;

// ---- Reports -----------------------------------------------------------------

[[gnu::cold]] void report(VeskErr *err, int32_t code, int32_t syserr, uint32_t variant,
                          const char *a, const char *b = nullptr, const char *c = nullptr) {
    VeskMkerr(nullptr, err, 0, 0, 0, VESK_FAC_LOGMSG, code, syserr, variant, a, b, c);
}

[[gnu::cold]] int64_t refuse_null(VeskErr *err, const char *verb, const char *param) {
    report(err, VESK_E_FAULT, EFAULT, 3, "msglog", verb, param);
    return -1;
}

// ---- Standard values -----------------------------------------------------------

// A copy that can't be made is left unset; the caller's result doesn't change.
const char *own_copy(const char *value) {
    if (value == nullptr)
        return nullptr;
    if (value[0] == '\0')
        return kEmpty;
    return strdup(value);
}

void release_value(const char *value) {
    if (value != nullptr && value != kEmpty)
        std::free(const_cast<char *>(value));
}

// Puts `value` (null meaning "") in place `i`, releasing what was there; the
// copy is made first, so that `value` may be the old value itself.
void set_std(VeskLogmsg &msg, int i, const char *value) {
    const char *old = msg.std[i].value;
    msg.std[i].value = own_copy(value != nullptr ? value : kEmpty);
    release_value(old);
}

void unset_std(VeskLogmsg &msg, int i) {
    const char *old = msg.std[i].value;
    msg.std[i].value = nullptr;
    release_value(old);
}

void write_keys(VeskLogmsg &msg) {
    for (int i = 0; i < VESK_LOGMSG_NSTD; ++i)
        msg.std[i].key = kStdKeys[i];
}

// ---- The whole message -----------------------------------------------------------

void clear(VeskLogmsg &msg) {
    for (int i = 0; i < VESK_LOGMSG_NSTD; ++i)
        unset_std(msg, i);
    NuLstrdic_Clear(&msg.dic);
}

// Everything the message holds, and then the message.
void release_all(VeskLogmsg *msg) {
    clear(*msg);
    NuLstrdic_Destroy(&msg->dic);
    _NuMfree(msg);
}

// Copies the source's entries into the destination's dictionary, reusing the
// array it has; false when memory ran out, with what was made still entered.
bool copy_entries(const NuLstrdic &from, NuLstrdic &to) {
    to.count = 0;
    if (from.count == 0)
        return true;
    NuLstrdicEntry *entries = vesk::memory::resize_entries(to.entries, from.count);
    if (entries == nullptr)
        return false;
    to.entries = entries;
    to.capacity = from.count;
    for (size_t i = 0; i < from.count; ++i) {
        const NuLstrdicEntry entry = vesk::memory::make_entry(from.entries[i].key, from.entries[i].value);
        if (entry.key == nullptr)
            return false;
        to.entries[to.count++] = entry;
    }
    return true;
}

bool copy_into(const VeskLogmsg &src, VeskLogmsg &dst) {
    write_keys(dst);
    for (int i = 0; i < VESK_LOGMSG_NSTD; ++i)
        dst.std[i].value = own_copy(src.std[i].value);
    if (!copy_entries(src.dic, dst.dic)) {
        clear(dst);
        return false;
    }
    return true;
}

std::atomic_ref<int32_t> count_of(VeskLogmsg *msg) { return std::atomic_ref<int32_t>(msg->retain); }

// The place of a list index, or -1 after the report for one outside.
int64_t checked_index(const VeskLogmsg *msg, int32_t index, VeskErr *err, const char *verb) {
    if (msg == nullptr)
        return refuse_null(err, verb, "@message");
    if (index < 0 || index >= VeskLogmsgCount(msg)) {
        report(err, VESK_E_INVAL, 0, 3, "msglog", verb, "@index");
        return -1;
    }
    return index;
}

const NuLstrdicEntry &entry_at(const VeskLogmsg &msg, int32_t index) {
    return index < VESK_LOGMSG_NSTD ? msg.std[index] : msg.dic.entries[index - VESK_LOGMSG_NSTD];
}

}  // namespace

extern "C" {

VESK_API VeskLogmsg *VeskLogmsgOpen(VeskErr *err) {
    auto *msg = static_cast<VeskLogmsg *>(_NuMalloc(sizeof(VeskLogmsg), err));
    if (msg == nullptr)
        return nullptr;
    *msg = {};
    msg->retain = 1;
    write_keys(*msg);
    return msg;
}

VESK_API VeskLogmsg *VeskLogmsgDup(const VeskLogmsg *msg, VeskErr *err) {
    if (msg == nullptr) {
        refuse_null(err, "dup", "@message");
        return nullptr;
    }
    auto *copy = static_cast<VeskLogmsg *>(_NuMalloc(sizeof(VeskLogmsg), err));
    if (copy == nullptr)
        return nullptr;
    *copy = {};
    copy->retain = 1;
    if (!copy_into(*msg, *copy)) {
        release_all(copy);
        return nullptr;
    }
    return copy;
}

VESK_API int64_t VeskLogmsgCopy(const VeskLogmsg *src, VeskLogmsg *dst, VeskErr *err) {
    if (src == nullptr)
        return refuse_null(err, "copy", "@source");
    if (dst == nullptr)
        return refuse_null(err, "copy", "@destination");
    if (src == dst) {
        // Written as fresh, it would lose what it is copied from.
        report(err, VESK_E_INVAL, EINVAL, 3, "msglog", "copy", "@destination");
        return -1;
    }
    return copy_into(*src, *dst) ? 0 : -1;
}

VESK_API int32_t VeskLogmsgRetain(VeskLogmsg *msg) {
    if (msg == nullptr)
        return -1;
    // Compare and swap rather than add and take back: two threads at the
    // limit can't carry the count past it.
    auto count = count_of(msg);
    int32_t now = count.load(std::memory_order_relaxed);
    do {
        if (now >= kRetainLimit - 1)
            return -1;
    } while (!count.compare_exchange_weak(now, now + 1, std::memory_order_relaxed));
    return now + 1;
}

VESK_API int32_t VeskLogmsgRelease(VeskLogmsg *msg, uintptr_t, VeskErr *) {
    if (msg == nullptr)
        return -1;
    auto count = count_of(msg);
    int32_t now = count.load(std::memory_order_relaxed);
    do {
        if (now == INT32_MIN)
            return -1;  // a count that low can't go lower
    } while (!count.compare_exchange_weak(now, now - 1, std::memory_order_acq_rel,
                                          std::memory_order_relaxed));
    const int32_t left = now - 1;
    if (left < 0)
        return -1;
    if (left == 0)
        release_all(msg);
    return left;
}

VESK_API int64_t VeskLogmsgClose(VeskLogmsg *msg, VeskErr *err) {
    if (msg != nullptr)
        VeskLogmsgRelease(msg, 0, err);
    return 0;
}

VESK_API int64_t VeskLogmsgClear(VeskLogmsg *msg) {
    if (msg == nullptr)
        return -1;
    clear(*msg);
    return 0;
}

VESK_API int64_t VeskLogmsgAdd(VeskLogmsg *msg, const char *key, const char *value, VeskErr *err) {
    if (msg == nullptr)
        return refuse_null(err, "add", "@message");
    if (key == nullptr)
        return refuse_null(err, "add", "@key");
    const int place = std_place(key);
    if (place < 0)
        return NuLstrdic_Add2(&msg->dic, key, value != nullptr ? value : kEmpty, err);
    if (msg->std[place].value != nullptr) {
        report(err, VESK_E_ENTRYEXISTS, 0, 1, key);
        return -1;
    }
    set_std(*msg, place, value);
    return 0;
}

VESK_API int64_t VeskLogmsgReplace(VeskLogmsg *msg, const char *key, const char *value,
                                   VeskErr *err) {
    if (msg == nullptr)
        return refuse_null(err, "replace", "@message");
    if (key == nullptr)
        return refuse_null(err, "replace", "@key");
    const int place = std_place(key);
    if (place < 0)
        return NuLstrdic_Replace2(&msg->dic, key, value != nullptr ? value : kEmpty, err);
    set_std(*msg, place, value);
    return 0;
}

VESK_API int64_t VeskLogmsgRemove(VeskLogmsg *msg, const char *key, VeskErr *err) {
    if (msg == nullptr)
        return refuse_null(err, "remove", "@message");
    if (key == nullptr)
        return refuse_null(err, "remove", "@key");
    const int place = std_place(key);
    if (place < 0)
        return NuLstrdic_Delete(&msg->dic, key, err);
    unset_std(*msg, place);
    return 0;
}

VESK_API const char *VeskLogmsgValue(const VeskLogmsg *msg, const char *key, VeskErr *err) {
    if (msg == nullptr || key == nullptr) {
        refuse_null(err, "value", msg == nullptr ? "@message" : "@key");
        return nullptr;
    }
    const int place = std_place(key);
    if (place >= 0)
        return msg->std[place].value;
    const NuLstrdicEntry *entry = NuLstrdic_Findbykey(&msg->dic, key, err);
    return entry != nullptr ? entry->value : nullptr;
}

VESK_API int32_t VeskLogmsgCount(const VeskLogmsg *msg) {
    if (msg == nullptr)
        return -1;
    constexpr size_t kMost = INT32_MAX - VESK_LOGMSG_NSTD;
    return VESK_LOGMSG_NSTD + static_cast<int32_t>(msg->dic.count < kMost ? msg->dic.count : kMost);
}

VESK_API int64_t VeskLogmsgGet(const VeskLogmsg *msg, int32_t index, const char **key,
                               const char **value, VeskErr *err) {
    if (checked_index(msg, index, err, "get") < 0)
        return -1;
    const NuLstrdicEntry &entry = entry_at(*msg, index);
    if (key != nullptr)
        *key = entry.key;
    if (value != nullptr)
        *value = entry.value;
    return 0;
}

VESK_API const char *VeskLogmsgKey(const VeskLogmsg *msg, int32_t index, VeskErr *err) {
    if (checked_index(msg, index, err, "key") < 0)
        return nullptr;
    return entry_at(*msg, index).key;
}

}  // extern "C"
