// SPDX-License-Identifier: MIT
// "modules/stub": the records that every orstub form falls back on.
//
// The module is written as static records, the way any module author writes
// one, and comes up first at start-up. Its set's functions stand in the static
// rows, so the stub answers work before (and without) linking: the orstub
// forms only hand out these addresses.
#include <cstddef>

#include "startup.hpp"
#include "static_module.hpp"
#include "stub.hpp"

using namespace vesk::rt;

namespace {

// ---- The set "operations/stub/null" ----------------------------------------

// The rows keep the numbers of the set an unresolved service element stands
// for, so that a call of row n ends in row n here.
VESK_OPS_T(10) stub_null = {
    VESK_RECORD_INIT("operations/stub/null", "stub/null", "stub", VESK_OID3(VESK_CAT_OPS, VESK_FAC_STUB, 0), nullptr),
    0,
    10,
    {
        VESK_ROW_ABSENT(init_once, "init-once"),
        VESK_ROW_ABSENT(fini_once, "fini-once"),
        VESK_ROW_ABSENT(pod_init, "pod-init"),
        VESK_ROW_ABSENT(pod_fini, "pod-fini"),
        VESK_ROW(notconfigured, "return-error-notconfigured", VeskOpStubNotconfigured),
        VESK_ROW(inappropriate, "return-error-inappropriate", _VeskOpInappropriate),
        VESK_ROW(notimplemented, "return-error-notimplemented", _VeskOpNotimplemented),
        VESK_ROW(notavailable, "return-error-notavailable", _VeskOpNotavailable),
        VESK_ROW(notsupported, "return-error-notsupported", _VeskOpNotsupported),
        VESK_ROW(notallowed, "return-error-notallowed", _VeskOpNotallowed),
    },
};

// ---- The class "objects/Nustub" ----------------------------------------------

// Not creatable (instsize 0). Its own set answers 3.1; the ucntl element
// makes the stub class retainable and releasable like any class once the
// stock ucntl set is there, and leaves it on the stub set until then.
struct StubClass {
    VeskClass cls;
    VESK_SEBLOCK_T(2) block;
} stub_class_record = {
    VESK_CLASS_INIT("objects/Nustub", "Nustub", "Nustub", VESK_OID2(VESK_CAT_CLASS, VESK_FAC_STUB), push_own_block<StubClass>, 0),
    {VESK_SEBLOCK_HEAD(2),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_FAC_STUB, 0), 0, 0, VESK_OPS(&stub_null)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 8), 0, 0)}},
};

// ---- The module "modules/stub" -------------------------------------------------

VeskOps *stub_opsv[] = {VESK_OPS(&stub_null)};
VeskClass *stub_clsv[] = {&stub_class_record.cls};

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

// The module's one element is the stock descriptor, on its own descriptor POD.
struct StubModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} stub_module_record = {
    VESK_MODULE_INIT("modules/stub", "stub", "stub", VESK_OID2(VESK_CAT_MODULE, VESK_FAC_STUB), module_on_link, "stub",
                     kStockVersion, __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor))}},
};

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    return link_module<StubModule>(rec, stub_opsv, stub_clsv, status);
}

}  // namespace

// First of all: everything after it falls back on its records.
VESK_BUILTIN_MODULE(announce_stub, 0, &stub_module_record.mod)

namespace vesk::rt {

VeskClass *stub_class() { return &stub_class_record.cls; }
VeskOps *stub_ops() { return VESK_OPS(&stub_null); }

}  // namespace vesk::rt
