// "modules/stub": the records that every orstub form falls back on.
//
// The module is written as static records, the way any module author writes
// one, and comes up first at start-up. Its set's functions stand in the static
// rows, so the stub answers work before (and without) linking: the orstub
// forms only hand out these addresses.
#include <cstddef>

#include "stub.hpp"

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

int64_t class_on_link(VeskRecord *rec, VeskErr *status);

// Not creatable (instsize 0). Its own set answers 3.1; the ucntl element
// makes the stub class retainable and releasable like any class once the
// stock ucntl set is there, and leaves it on the stub set until then.
struct StubClass {
    VeskClass cls;
    VESK_SEBLOCK_T(2) block;
} stub_class_record = {
    VESK_CLASS_INIT("objects/Nustub", "Nustub", "Nustub", VESK_OID2(VESK_CAT_CLASS, VESK_FAC_STUB), class_on_link, 0),
    {VESK_SEBLOCK_HEAD(2),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_FAC_STUB, 0), 0, 0, VESK_OPS(&stub_null)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 8), 0, 0)}},
};

int64_t class_on_link(VeskRecord *rec, VeskErr *status) {
    auto *c = reinterpret_cast<StubClass *>(rec);
    return _VeskSelistPushback_nlk(&c->cls.selist, VESK_SEBLOCK(&c->block), status);
}

// ---- The module "modules/stub" -------------------------------------------------

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

// The module's one element is the stock descriptor, on its own descriptor POD.
struct StubModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} stub_module_record = {
    VESK_MODULE_INIT("modules/stub", "stub", "stub", VESK_OID2(VESK_CAT_MODULE, VESK_FAC_STUB), module_on_link, "stub",
                     VESK_VERSION(2, 4, 1), __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor))}},
};

VeskOps *stub_opsv[1];
VeskClass *stub_clsv[1];

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    auto *m = reinterpret_cast<StubModule *>(rec);
    stub_opsv[0] = VESK_OPS(&stub_null);
    stub_clsv[0] = &stub_class_record.cls;
    m->mod.opsv = stub_opsv;
    m->mod.opsc = 1;
    m->mod.clsv = stub_clsv;
    m->mod.clsc = 1;
    return _VeskSelistPushback_nlk(&m->mod.selist, VESK_SEBLOCK(&m->block), status);
}

}  // namespace

namespace vesk::rt {

VeskModule *stub_module() { return &stub_module_record.mod; }
VeskClass *stub_class() { return &stub_class_record.cls; }
VeskOps *stub_ops() { return VESK_OPS(&stub_null); }

}  // namespace vesk::rt
