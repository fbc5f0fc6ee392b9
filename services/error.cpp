// SPDX-License-Identifier: MIT
// The error service: "modules/error" with the class "objects/Nuerr" and the
// set "operations/error/Err". It turns a code into a sentence by finding the
// code's group of formats in a tree of table rows and formatting the variant
// the reporter chose into the reporter's buffer.
//
// Nothing here allocates: the tree's nodes are the rows' own links, and the
// message goes to the caller's buffer. The service's mutex serialises table
// changes, and a search takes it too: a module may add or remove its table
// while other threads report, and a search that met a rotation half done
// could miss a code that is there all along. The formatting runs outside the
// mutex: a row stays valid for as long as its table is added.
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "runtime/startup.hpp"
#include "runtime/static_module.hpp"
#include "services/error_table.hpp"
#include "services/row_tree.hpp"
#include "services/service_default.hpp"
#include "services/status.hpp"

namespace vesk::svc {
namespace {

constexpr uint16_t kErrSub = 15;
constexpr uint16_t kErrClassId = 15;
constexpr uint16_t kErrModuleId = 8;

enum Row : uint16_t {
    kInitOnce = 0,
    kFiniOnce = 1,
    kMake = 4,
    kMakeL = 5,
    kS2unix = 6,
    kAddetab = 7,
    kAddetabNlk = 8,
    kRmetab = 9,
    kRmetabNlk = 10,
    kRowCount = 11,
};

using TableFn = int64_t (*)(VeskClosure *, VeskErr *, uint32_t, VeskErrEntry *);
using S2unixFn = int64_t (*)(VeskClosure *, VeskErr *, int64_t);

VeskErrService *state_of(const VeskClosure *cl) { return static_cast<VeskErrService *>(cl->pod); }

// ---- The tree of head rows ---------------------------------------------------
//
// Rows are ordered by code as a signed 32-bit number and, among rows with the
// same code, by address. A lookup compares the code alone and so finds the
// matching row nearest the root; a removal compares both and so takes out
// exactly the row of the table being removed, never another table's row with
// the same code.

const VeskErrEntry *row_of(uintptr_t data) { return reinterpret_cast<const VeskErrEntry *>(data); }

intptr_t by_code(uintptr_t node, uintptr_t code) {
    const auto a = static_cast<int32_t>(row_of(node)->code);
    const auto b = static_cast<int32_t>(static_cast<uint32_t>(code));
    return a < b ? -1 : a > b ? 1 : 0;
}

intptr_t by_row(uintptr_t node, uintptr_t row) {
    const intptr_t c = by_code(node, row_of(row)->code);
    if (c != 0)
        return c;
    return node < row ? -1 : node > row ? 1 : 0;
}

const VeskErrEntry *find_code(VeskErrService *svc, uint32_t code) {
    NuSMutexLock(&svc->mutex);
    const uintptr_t row = row_tree::find(&svc->tree, by_code, code);
    NuSMutexUnlock(&svc->mutex);
    return row_of(row);
}

// Calls `each` for every head row among the first `count` rows, stopping at
// the end row.
template <class Fn>
void for_heads(uint32_t count, VeskErrEntry *table, Fn each) {
    for (uint32_t i = 0; i < count && table[i].code != VESK_ERR_TABLE_END; ++i)
        if (table[i].count != 0)
            each(table[i]);
}

// The order by code and address is total, so it leads a removal to the very
// row of the table being removed.
void add_rows(VeskErrService *svc, uint32_t count, VeskErrEntry *table) {
    for_heads(count, table, [svc](VeskErrEntry &row) {
        row_tree::link(&svc->tree, by_row, &row.node, reinterpret_cast<uintptr_t>(&row));
    });
}

void remove_rows(VeskErrService *svc, uint32_t count, VeskErrEntry *table) {
    for_heads(count, table, [svc](VeskErrEntry &row) {
        row_tree::unlink(&svc->tree, by_row, &row.node, reinterpret_cast<uintptr_t>(&row));
    });
}

// ---- Rows of "operations/error/Err" --------------------------------------------

int64_t make_message(VeskClosure *cl, VeskErr *err, uint32_t info0, uint32_t info1,
                     uint32_t info2, int32_t facility, int32_t code, int32_t syserr,
                     uint32_t variant, va_list args) {
    if (err == nullptr)
        return 0;
    err->info0 = info0;
    err->info1 = info1;
    err->info2 = info2;
    err->status = static_cast<int32_t>((static_cast<uint32_t>(facility) << 16) |
                                       (static_cast<uint32_t>(code) & 0xFFFFu));
    err->syserr = syserr;
    err->variant = variant;
    if (err->msg == nullptr || err->msgsize == 0)
        return 0;
    err->msg[0] = '\0';
    const VeskErrEntry *head = find_code(state_of(cl), static_cast<uint32_t>(code));
    if (head == nullptr)
        return -1;
    if (variant >= head->count || head[variant].format == nullptr)
        return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::vsnprintf(err->msg, err->msgsize, head[variant].format, args);
#pragma GCC diagnostic pop
    err->msg[err->msgsize - 1] = '\0';
    return 0;
}

// The stock service has one language: the locale is not looked at.
int64_t make_localized(VeskClosure *cl, VeskErr *err, const char * /*locale*/, uint32_t info0,
                       uint32_t info1, uint32_t info2, int32_t facility, int32_t code,
                       int32_t syserr, uint32_t variant, va_list args) {
    return make_message(cl, err, info0, info1, info2, facility, code, syserr, variant, args);
}

// The status comes as one 64-bit word here; only its code half counts.
int64_t status_to_unix(VeskClosure *cl, VeskErr *, int64_t status) {
    const VeskErrEntry *head = find_code(state_of(cl), static_cast<uint32_t>(status) & 0xFFFFu);
    return head == nullptr ? -1 : head->unixerr;
}

int64_t add_table_nlk(VeskClosure *cl, VeskErr *, uint32_t count, VeskErrEntry *table) {
    add_rows(state_of(cl), count, table);
    return 0;
}

int64_t remove_table_nlk(VeskClosure *cl, VeskErr *, uint32_t count, VeskErrEntry *table) {
    remove_rows(state_of(cl), count, table);
    return 0;
}

// The locking rows call their _nlk row through the set, so that a set that
// replaces the _nlk row is locked the same way.
template <Row kNlk>
int64_t locked_table_change(VeskClosure *cl, VeskErr *err, uint32_t count, VeskErrEntry *table) {
    NuSMutex *mutex = &state_of(cl)->mutex;
    NuSMutexLock(mutex);
    const int64_t r = reinterpret_cast<TableFn>(cl->ops->rows[kNlk].fn)(cl, err, count, table);
    NuSMutexUnlock(mutex);
    return r;
}

int64_t init_once(VeskClosure *cl, VeskErr *err) {
    VeskErrService *svc = state_of(cl);
    NuSMutexInit(&svc->mutex);
    NuRTBTInit(&svc->tree);
    // A fresh tree: rows that a former link of the service left linked start
    // over.
    for (VeskErrEntry &row : stock_error_table)
        row.node = {};
    // No other thread can reach the service yet: the table goes in unlocked.
    return add_table_nlk(cl, err, kStockErrorRows + 1, stock_error_table.data());
}

int64_t fini_once(VeskClosure *cl, VeskErr *err) {
    NuSMutexDestroy(&state_of(cl)->mutex, err);
    return 0;
}

// ---- The records -------------------------------------------------------------

VESK_OPS_T(kRowCount) err_ops = {
    VESK_RECORD_INIT("operations/error/Err", "error/Err", "error",
                     VESK_OID3(VESK_CAT_OPS, VESK_ERR_FAMILY, kErrSub), nullptr),
    sizeof(VeskErrService),
    kRowCount,
    {
        VESK_ROW(init_once, "init-once", init_once),
        VESK_ROW(fini_once, "fini-once", fini_once),
        VESK_ROW_ABSENT(pod_init, "pod-init"),
        VESK_ROW_ABSENT(pod_fini, "pod-fini"),
        VESK_ROW(make, "make-error", make_message),
        VESK_ROW(make_l, "make-localized-error", make_localized),
        VESK_ROW(s2unix, "convert-status-to-unix-error", status_to_unix),
        VESK_ROW(addetab, "add-error-table", locked_table_change<kAddetabNlk>),
        VESK_ROW(addetab_nlk, "add-error-table-nolock", add_table_nlk),
        VESK_ROW(rmetab, "remove-error-table", locked_table_change<kRmetabNlk>),
        VESK_ROW(rmetab_nlk, "remove-error-table-nolock", remove_table_nlk),
    },
};

// Not creatable (instsize 0). The service's state is class data behind the
// class record, then the class's descriptor.
struct ErrClass {
    VeskClass cls;
    VeskErrService state;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(3) block;
};

ErrClass err_class = {
    VESK_CLASS_INIT("objects/Nuerr", "Nuerr", "Nuerr", VESK_OID2(VESK_CAT_CLASS, kErrClassId),
                    rt::push_own_block<ErrClass>,
                    0),
    {},
    {rt::kStockVersion, __DATE__},
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_ERR_FAMILY, kErrSub), 0, offsetof(ErrClass, state),
                  VESK_OPS(&err_ops)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 8), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(ErrClass, descriptor))}},
};

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

struct ErrModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} err_module = {
    VESK_MODULE_INIT("modules/error", "error", "error", VESK_OID2(VESK_CAT_MODULE, kErrModuleId),
                     module_on_link, "error", rt::kStockVersion, __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor))}},
};

VeskOps *err_opsv[] = {VESK_OPS(&err_ops)};
VeskClass *err_clsv[] = {&err_class.cls};

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    return rt::link_module<ErrModule>(rec, err_opsv, err_clsv, status);
}

// ---- The default service -----------------------------------------------------

std::atomic_ref<void *> default_service() {
    return std::atomic_ref<void *>(_G_error_service_default);
}

int32_t fetch_default(uintptr_t) { return fetch_default_service(_G_error_service_default, kErrClassId); }

// Gives the service back through its reference count and stops formatting.
int32_t drop_default(uintptr_t) { return drop_default_service(_G_error_service_default); }

VeskStartRec default_service_record = {
    VESK_START_MAGIC, 101, fetch_default, 0, drop_default, 0, {}, nullptr,
    nullptr};

VESK_START_AT_LOAD(register_default_service, &default_service_record)

int64_t table_front(void *service, uint16_t opnum, uint32_t count, VeskErrEntry *table) {
    if (count == 0 || table == nullptr)
        return 0;
    if (service == nullptr && default_service().load(std::memory_order_acquire) == nullptr)
        return 0;
    VeskClosure cl;
    VeskOprow *row = vesk::error_service_row(service, opnum, &cl);
    if (row == nullptr)
        return -1;
    return reinterpret_cast<TableFn>(row->fn)(&cl, nullptr, count, table);
}

}  // namespace

// After "modules/kdv", whose reference counts and descriptors it imports.
VESK_BUILTIN_MODULE(announce_error, 2, &err_module.mod)

}  // namespace vesk::svc

using namespace vesk::svc;

extern "C" {

VESK_API int32_t VeskStatus2unix(void *service, int64_t status) {
    VeskClosure cl;
    VeskOprow *row = vesk::error_service_row(service, kS2unix, &cl);
    if (row == nullptr)
        return -1;
    return static_cast<int32_t>(reinterpret_cast<S2unixFn>(row->fn)(&cl, nullptr, status));
}

VESK_API int64_t _VeskAddetab(void *service, uint32_t count, VeskErrEntry *table) {
    return table_front(service, kAddetab, count, table);
}

VESK_API int64_t _VeskAddetab_nlk(void *service, uint32_t count, VeskErrEntry *table) {
    return table_front(service, kAddetabNlk, count, table);
}

VESK_API int64_t _VeskRmetab(void *service, uint32_t count, VeskErrEntry *table) {
    return table_front(service, kRmetab, count, table);
}

VESK_API int64_t _VeskRmetab_nlk(void *service, uint32_t count, VeskErrEntry *table) {
    return table_front(service, kRmetabNlk, count, table);
}

}  // extern "C"
