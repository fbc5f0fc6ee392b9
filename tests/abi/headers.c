/* SPDX-License-Identifier: MIT */
/* Both public headers, alone, as pedantic C11, with a complete module
 * written as static data: an operation set with its rows inline, a class with
 * a descriptor POD and an SE block, and a module with its descriptor and SE
 * block. */
#include "nu.h"
#include "vesk.h"

static int64_t check_pod_init(VeskClosure *cl, VeskErr *status) {
    (void)cl;
    (void)status;
    return 0;
}

static VESK_OPS_T(6) abi_ops = {
    VESK_RECORD_INIT("operations/abi/Check", "abi/Check", "abi", VESK_OID3(3, 4000, 1), NULL),
    0,
    6,
    {VESK_STDROWS(0, 0, check_pod_init, 0), VESK_ROW_ALIAS(again, "abi::again", 2),
     VESK_ROW_IMPORT(release, "abi::release", VESK_OPKEY3(6, 3, 1006, 6))},
};

struct abi_class {
    VeskClass cls;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(2) block;
};
static struct abi_class abi_class = {
    VESK_CLASS_INIT("objects/Abicheck", "Abicheck", "Abicheck", VESK_OID2(4, 4000), NULL, 0),
    {VESK_VERSION(1, 2, 3), __DATE__},
    {VESK_SEBLOCK_HEAD(2),
     {VESK_SE_OWN(VESK_OID3(3, 4000, 1), 0, 0, VESK_OPS(&abi_ops)),
      VESK_SE_IMPORT(VESK_OID3(3, 1005, 5), 0, offsetof(struct abi_class, descriptor))}},
};

static struct {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} abi_module = {
    VESK_MODULE_INIT("modules/abi", "abi", "abi", VESK_OID2(5, 4000), NULL, "abi",
                     VESK_VERSION(2, 4, 1), __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(3, 1005, 5), 0, offsetof(VeskModule, descriptor))}},
};

static VeskOps *abi_opsv[] = {VESK_OPS(&abi_ops)};
static VeskClass *abi_clsv[] = {&abi_class.cls};

VeskModule *abi_headers_module(void);
VeskModule *abi_headers_module(void) {
    abi_module.mod.opsc = 1;
    abi_module.mod.opsv = abi_opsv;
    abi_module.mod.clsc = 1;
    abi_module.mod.clsv = abi_clsv;
    return &abi_module.mod;
}
