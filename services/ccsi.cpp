// SPDX-License-Identifier: MIT
// Charset identification: "modules/ccsi" with the class "objects/Nuccsi" and
// the set "operations/ccsi/Ccsi". It answers a charset's number for one of its
// aliases, and a charset's names and record for its number, out of tables of
// rows linked into two trees: primary rows by number, alias rows by name.
//
// Like the error service it allocates nothing: the trees' nodes are the rows'
// own. The mutex serialises table changes, and searches take it too, so that a
// module adding its table while other threads look names up can't make a
// search miss a charset that is there all along.
#include <cstddef>

#include "runtime/startup.hpp"
#include "runtime/static_module.hpp"
#include "services/ccsi_table.hpp"
#include "services/row_tree.hpp"
#include "services/service_default.hpp"

namespace vesk::svc {
namespace {

constexpr uint16_t kCcsiSub = 16;
constexpr uint16_t kCcsiClassId = 16;
constexpr uint16_t kCcsiModuleId = 9;

enum Row : uint16_t {
    kInitOnce = 0,
    kFiniOnce = 1,
    kStat = VESK_CCSI_OP_STAT,
    kIanaName = VESK_CCSI_OP_IANANAME,
    kMimeName = VESK_CCSI_OP_MIMENAME,
    kGetIdByName = VESK_CCSI_OP_GETIDBYNAME,
    kAddTab = VESK_CCSI_OP_ADDITAB,
    kAddTabNlk = VESK_CCSI_OP_ADDITAB_NLK,
    kRmTab = VESK_CCSI_OP_RMITAB,
    kRmTabNlk = VESK_CCSI_OP_RMITAB_NLK,
    kRowCount = 12,
};

using StatFn = intptr_t (*)(VeskClosure *, VeskErr *, int32_t);
using NameFn = intptr_t (*)(VeskClosure *, VeskErr *, const char *);
using TableFn = int64_t (*)(VeskClosure *, VeskErr *, uint32_t, VeskCcsiRow *);

VeskCcsiService *state_of(const VeskClosure *cl) { return static_cast<VeskCcsiService *>(cl->pod); }

// ---- Orders -------------------------------------------------------------------

// ASCII letters fold to lower case and nothing else does, whatever the
// locale: the same names must find the same charsets in every program.
unsigned fold(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; }

int compare_names(const char *a, const char *b) {
    for (;; ++a, ++b) {
        const unsigned x = fold(static_cast<unsigned char>(*a));
        const unsigned y = fold(static_cast<unsigned char>(*b));
        if (x != y || x == 0)
            return static_cast<int>(x) - static_cast<int>(y);
    }
}

const VeskCcsiRow *row_of(uintptr_t data) { return reinterpret_cast<const VeskCcsiRow *>(data); }
// Once a row is added its role is its name.
const char *name_of(const VeskCcsiRow *row) { return reinterpret_cast<const char *>(row->role); }

intptr_t by_id(uintptr_t row, uintptr_t id) {
    const int64_t a = row_of(row)->id;
    const int64_t b = static_cast<int32_t>(static_cast<uint32_t>(id));
    return a < b ? -1 : a > b ? 1 : 0;
}
intptr_t id_order(uintptr_t a, uintptr_t b) { return by_id(a, static_cast<uint32_t>(row_of(b)->id)); }

intptr_t by_name(uintptr_t row, uintptr_t name) {
    return compare_names(name_of(row_of(row)), reinterpret_cast<const char *>(name));
}
intptr_t name_order(uintptr_t a, uintptr_t b) { return by_name(a, row_of(b)->role); }

NuRTBTNode *idnode_of(uintptr_t row) { return &reinterpret_cast<VeskCcsiRow *>(row)->idnode; }
NuRTBTNode *namenode_of(uintptr_t row) { return &reinterpret_cast<VeskCcsiRow *>(row)->namenode; }

// ---- Walking a table ------------------------------------------------------------

uintptr_t address(const VeskCcsiRow &row) { return reinterpret_cast<uintptr_t>(&row); }

// A row at rest says what it is by its role; a row added before says it by
// the tree it is linked into; failing both, a role that is the record's very
// `iana` pointer marks a primary row.
bool is_primary(const VeskCcsiRow &row) {
    if (row.role == VESK_CCSI_PRIMARY || row_tree::is_linked(&row.idnode, address(row)))
        return true;
    if (row.role == VESK_CCSI_ALIAS || row_tree::is_linked(&row.namenode, address(row)))
        return false;
    return row.info != nullptr && row.role == reinterpret_cast<uintptr_t>(row.info->iana);
}

// Calls on_primary(row) or on_alias(row, alias index) for each row up to
// `count` or the end row. A row without a record is passed over.
template <class Primary, class Alias>
void walk_table(uint32_t count, VeskCcsiRow *table, Primary on_primary, Alias on_alias) {
    uint32_t alias = 0;
    for (uint32_t i = 0; i < count && table[i].id != VESK_CCSI_END; ++i) {
        VeskCcsiRow &row = table[i];
        if (is_primary(row)) {
            alias = 0;
            if (row.info != nullptr)
                on_primary(row);
        } else if (row.info != nullptr) {
            on_alias(row, alias++);
        }
    }
}

void add_rows(VeskCcsiService *svc, uint32_t count, VeskCcsiRow *table) {
    walk_table(
        count, table,
        [svc](VeskCcsiRow &row) {
            if (row_tree::is_linked(&row.idnode, address(row)))
                return;
            row.role = reinterpret_cast<uintptr_t>(row.info->iana);
            row_tree::link(&svc->idtree, id_order, &row.idnode, address(row));
        },
        [svc](VeskCcsiRow &row, uint32_t alias) {
            // An alias row beyond its record's list, or naming nothing, has no
            // name to be found by.
            if (row_tree::is_linked(&row.namenode, address(row)) || alias >= row.info->aliasc ||
                row.info->aliasv[alias] == nullptr)
                return;
            row.role = reinterpret_cast<uintptr_t>(row.info->aliasv[alias]);
            row_tree::link(&svc->nametree, name_order, &row.namenode, address(row));
        });
}

void remove_rows(VeskCcsiService *svc, uint32_t count, VeskCcsiRow *table) {
    const auto exact_id = row_tree::among_equals(&svc->idtree, id_order, idnode_of);
    const auto exact_name = row_tree::among_equals(&svc->nametree, name_order, namenode_of);
    walk_table(
        count, table,
        [&](VeskCcsiRow &row) { row_tree::unlink(&svc->idtree, exact_id, &row.idnode, address(row)); },
        [&](VeskCcsiRow &row, uint32_t) {
            row_tree::unlink(&svc->nametree, exact_name, &row.namenode, address(row));
        });
}

// ---- Rows of "operations/ccsi/Ccsi" ---------------------------------------------

// The record of charset `id`, or null after a report.
intptr_t stat(VeskClosure *cl, VeskErr *err, int32_t id) {
    VeskCcsiService *svc = state_of(cl);
    NuSMutexLock(&svc->mutex);
    const uintptr_t row = row_tree::find(&svc->idtree, by_id, static_cast<uint32_t>(id));
    NuSMutexUnlock(&svc->mutex);
    if (row == 0) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSI_FAMILY, VESK_E_NOMATCH, 2, 1, id);
        return 0;
    }
    return reinterpret_cast<intptr_t>(row_of(row)->info);
}

// Row 4 through the set, so that a set replacing it answers here too; -10 to
// 0 are failures of that row.
template <const char *VeskCcsInfo::*kField>
intptr_t name_by_id(VeskClosure *cl, VeskErr *err, int32_t id) {
    const intptr_t r = reinterpret_cast<StatFn>(cl->ops->rows[kStat].fn)(cl, err, id);
    if (r >= -10 && r <= 0)
        return 0;
    return reinterpret_cast<intptr_t>(reinterpret_cast<const VeskCcsInfo *>(r)->*kField);
}

intptr_t get_id_by_name(VeskClosure *cl, VeskErr *err, const char *name) {
    if (name == nullptr) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSI_FAMILY, VESK_E_EMPTYSTR, 0, 1, "@name");
        return -1;
    }
    VeskCcsiService *svc = state_of(cl);
    NuSMutexLock(&svc->mutex);
    const uintptr_t row = row_tree::find(&svc->nametree, by_name, reinterpret_cast<uintptr_t>(name));
    NuSMutexUnlock(&svc->mutex);
    if (row == 0) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSI_FAMILY, VESK_E_NOMATCH, 0, 2, name);
        return VESK_CCS_UNKNOWN;
    }
    return row_of(row)->id;
}

int64_t add_table_nlk(VeskClosure *cl, VeskErr *, uint32_t count, VeskCcsiRow *table) {
    if (count != 0 && table != nullptr)
        add_rows(state_of(cl), count, table);
    return 0;
}

int64_t remove_table_nlk(VeskClosure *cl, VeskErr *, uint32_t count, VeskCcsiRow *table) {
    if (count != 0 && table != nullptr)
        remove_rows(state_of(cl), count, table);
    return 0;
}

// The locking rows call their _nlk row through the set.
template <Row kNlk>
int64_t locked_table_change(VeskClosure *cl, VeskErr *err, uint32_t count, VeskCcsiRow *table) {
    NuSMutex *mutex = &state_of(cl)->mutex;
    NuSMutexLock(mutex);
    const int64_t r = reinterpret_cast<TableFn>(cl->ops->rows[kNlk].fn)(cl, err, count, table);
    NuSMutexUnlock(mutex);
    return r;
}

int64_t init_once(VeskClosure *cl, VeskErr *err) {
    VeskCcsiService *svc = state_of(cl);
    NuSMutexInit(&svc->mutex);
    NuRTBTInit(&svc->idtree);
    NuRTBTInit(&svc->nametree);
    // A fresh start: rows that a former link of the service left linked or
    // named start over. No other thread can reach the service yet.
    reset_stock_ccsi_table();
    return reinterpret_cast<TableFn>(cl->ops->rows[kAddTabNlk].fn)(
        cl, err, kStockCcsiRows + 1, stock_ccsi_table.data());
}

int64_t fini_once(VeskClosure *cl, VeskErr *err) {
    NuSMutexDestroy(&state_of(cl)->mutex, err);
    return 0;
}

// ---- The records ------------------------------------------------------------------

VESK_OPS_T(kRowCount) ccsi_ops = {
    VESK_RECORD_INIT("operations/ccsi/Ccsi", "ccsi/Ccsi", "ccsi",
                     VESK_OID3(VESK_CAT_OPS, VESK_CCSI_FAMILY, kCcsiSub), nullptr),
    sizeof(VeskCcsiService),
    kRowCount,
    {
        VESK_ROW(init_once, "init-once", init_once),
        VESK_ROW(fini_once, "fini-once", fini_once),
        VESK_ROW_ABSENT(pod_init, "pod-init"),
        VESK_ROW_ABSENT(pod_fini, "pod-fini"),
        VESK_ROW(stat, "ccsi::get-charset-stat", stat),
        VESK_ROW(iananame, "ccsi::get-charset-iana-name", name_by_id<&VeskCcsInfo::iana>),
        VESK_ROW(mimename, "ccsi::get-charset-mime-name", name_by_id<&VeskCcsInfo::mime>),
        VESK_ROW(getidbyname, "ccsi::get-charset-id-by-name", get_id_by_name),
        VESK_ROW(additab, "ccsi::add-table", locked_table_change<kAddTabNlk>),
        VESK_ROW(additab_nlk, "ccsi::add-table-nolock", add_table_nlk),
        VESK_ROW(rmitab, "ccsi::remove-table", locked_table_change<kRmTabNlk>),
        VESK_ROW(rmitab_nlk, "ccsi::remove-table-nolock", remove_table_nlk),
    },
};

// Not creatable (instsize 0): the service's state is class data behind the
// class record, then the class's descriptor.
struct CcsiClass {
    VeskClass cls;
    VeskCcsiService state;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(3) block;
};

CcsiClass ccsi_class = {
    VESK_CLASS_INIT("objects/Nuccsi", "Nuccsi", "Nuccsi", VESK_OID2(VESK_CAT_CLASS, kCcsiClassId),
                    rt::push_own_block<CcsiClass>, 0),
    {},
    {rt::kStockVersion, __DATE__},
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_CCSI_FAMILY, kCcsiSub), 0,
                  offsetof(CcsiClass, state), VESK_OPS(&ccsi_ops)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 8), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0,
                     offsetof(CcsiClass, descriptor))}},
};

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

struct CcsiModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} ccsi_module = {
    VESK_MODULE_INIT("modules/ccsi", "ccsi", "ccsi", VESK_OID2(VESK_CAT_MODULE, kCcsiModuleId),
                     module_on_link, "ccsi", rt::kStockVersion, __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor))}},
};

VeskOps *ccsi_opsv[] = {VESK_OPS(&ccsi_ops)};
VeskClass *ccsi_clsv[] = {&ccsi_class.cls};

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    return rt::link_module<CcsiModule>(rec, ccsi_opsv, ccsi_clsv, status);
}

// ---- The default service and the front ends ------------------------------------

int32_t fetch_default(uintptr_t) { return fetch_default_service(_G_ccsi_service_default, kCcsiClassId); }
int32_t drop_default(uintptr_t) { return drop_default_service(_G_ccsi_service_default); }

VeskStartRec default_service_record = {
    VESK_START_MAGIC, 201, fetch_default, 0, drop_default, 0, {}, nullptr, nullptr};

VESK_START_AT_LOAD(register_default_service, &default_service_record)

// Calls row `opnum` of the service (null: the default one) through a frame
// and the trampoline; a service without the row answers through the stub
// set. Without any service, reports and gives `none`.
template <class Result, class... Args>
Result call_row(void *service, uint16_t opnum, Result none, VeskErr *err, Args... args) {
    service = service_or_default(service, _G_ccsi_service_default);
    if (service == nullptr) {
        VeskMkerr(nullptr, err, 0, 0, 0, VESK_CCSI_FAMILY, VESK_E_NOTREADY, 0, 1, "ccsi");
        return none;
    }
    const VeskOid key = {2, opnum, {VESK_CAT_OPS, VESK_CCSI_FAMILY, 0, 0, 0, 0}};
    VeskFrame *frame = __vesk_closure_tramp_att();
    frame->fn = VeskLookupoporstub(service, &key, &frame->cl)->fn;
    const Result r =
        reinterpret_cast<Result (*)(VeskFrame *, VeskErr *, Args...)>(__vesk_call_tramp)(frame, err,
                                                                                         args...);
    __vesk_closure_tramp_det();
    return r;
}

// A pointer answer: failures of the row (-10 to -1, from the stub set) are
// no pointer and give null.
template <class T>
T *pointer_answer(intptr_t r) {
    return r >= -10 && r <= 0 ? nullptr : reinterpret_cast<T *>(r);
}

int64_t table_front(void *service, uint16_t opnum, uint32_t count, VeskCcsiRow *table, VeskErr *err) {
    if (count == 0 || table == nullptr)
        return 0;
    return call_row<int64_t>(service, opnum, -1, err, count, table);
}

}  // namespace

// After "modules/error", whose reports it makes.
VESK_BUILTIN_MODULE(announce_ccsi, 3, &ccsi_module.mod)

}  // namespace vesk::svc

using namespace vesk::svc;

extern "C" {

VESK_API void *_G_ccsi_service_default = nullptr;

VESK_API int32_t VeskCcsiGetidbyname(void *service, const char *name, VeskErr *err) {
    const intptr_t r = call_row<intptr_t>(service, kGetIdByName, VESK_CCS_UNKNOWN, err, name);
    return r < 0 ? -1 : static_cast<int32_t>(r);
}

VESK_API const char *VeskCcsiIANAName(void *service, int32_t id, VeskErr *err) {
    return pointer_answer<const char>(call_row<intptr_t>(service, kIanaName, 0, err, id));
}

VESK_API const char *VeskCcsiMIMEName(void *service, int32_t id, VeskErr *err) {
    return pointer_answer<const char>(call_row<intptr_t>(service, kMimeName, 0, err, id));
}

VESK_API const VeskCcsInfo *VeskCcsiStat(void *service, int32_t id, VeskErr *err) {
    return pointer_answer<const VeskCcsInfo>(call_row<intptr_t>(service, kStat, 0, err, id));
}

VESK_API int64_t _VeskCcsiAddtab(void *service, uint32_t count, VeskCcsiRow *table, VeskErr *err) {
    return table_front(service, kAddTab, count, table, err);
}

VESK_API int64_t _VeskCcsiAddtab_nlk(void *service, uint32_t count, VeskCcsiRow *table,
                                     VeskErr *err) {
    return table_front(service, kAddTabNlk, count, table, err);
}

VESK_API int64_t _VeskCcsiRmtab(void *service, uint32_t count, VeskCcsiRow *table, VeskErr *err) {
    return table_front(service, kRmTab, count, table, err);
}

VESK_API int64_t _VeskCcsiRmtab_nlk(void *service, uint32_t count, VeskCcsiRow *table,
                                    VeskErr *err) {
    return table_front(service, kRmTabNlk, count, table, err);
}

}  // extern "C"
