/* SPDX-License-Identifier: MIT */
/*
 * lookup_records.c - a plug-in module written the way an author writes one,
 * for the lookup benchmark.
 *
 * "objects/LkbTally" carries four service elements, in this order:
 *   3.1003.41  constructor   depth 0, no POD
 *   3.1931     tally         depth 1, POD in the instance
 *   3.1006.43  ucntl         depth 1, the retain count behind the instance head
 *   3.1005.44  descriptor    depth 0, the class's descriptor POD
 * "modules/lkbench" carries two:
 *   3.1005.44  descriptor    depth 0, the module's descriptor POD
 *   3.1930.1   census        depth 0, POD in the module data
 *
 * So the key 3.1006 is answered by the class at the third element, and the
 * key 3.1930 misses all four elements of the class and is answered by the
 * module at its second.
 */
#include "lookup_records.h"

#include <errno.h>
#include <stddef.h>
#include <string.h>

/* ------------------------------------------------------------------------ */
/* Operations                                                                */
/* ------------------------------------------------------------------------ */

/* Rows the benchmark never calls: say so if someone does. */
static int64_t lkb_unsupported(VeskClosure *cl, VeskErr *status) {
    (void)cl;
    VeskMkerr(NULL, status, 0, 0, 0, VESK_FAC_RUNTIME, VESK_E_NOTIMPL, ENOSYS, 0);
    return -4;
}

/* ucntl: the retain count is one 32-bit word changed only atomically. The
 * instances of this benchmark live in the caller's memory, so a release to 0
 * has nothing to give back. */
static int64_t ucntl_pod_init(VeskClosure *cl, VeskErr *status) {
    (void)status;
    __atomic_store_n((uint32_t *)cl->pod, 1u, __ATOMIC_RELAXED);
    return 0;
}

static int64_t ucntl_retain_value(VeskClosure *cl, VeskErr *status, int64_t value) {
    uint32_t *count = (uint32_t *)cl->pod;
    (void)status;
    if (value >= 0)
        __atomic_store_n(count, (uint32_t)value, __ATOMIC_RELAXED);
    return __atomic_load_n(count, __ATOMIC_RELAXED);
}

static int64_t ucntl_retain(VeskClosure *cl, VeskErr *status) {
    (void)status;
    return __atomic_add_fetch((uint32_t *)cl->pod, 1u, __ATOMIC_ACQ_REL);
}

static int64_t ucntl_release(VeskClosure *cl, VeskErr *status, uint32_t flags) {
    (void)status;
    (void)flags;
    return __atomic_sub_fetch((uint32_t *)cl->pod, 1u, __ATOMIC_ACQ_REL);
}

/* tally: a 64-bit sum kept in the instance. */
static int64_t tally_add(VeskClosure *cl, VeskErr *status, int64_t amount) {
    (void)status;
    return *(int64_t *)cl->pod += amount;
}

static int64_t tally_value(VeskClosure *cl, VeskErr *status) {
    (void)status;
    return *(int64_t *)cl->pod;
}

/* census: how many tallies the module has seen, kept in the module data;
 * row 4 has the shape of ucntl's retain_value. */
static int64_t census_value(VeskClosure *cl, VeskErr *status, int64_t value) {
    uint32_t *count = (uint32_t *)cl->pod;
    (void)status;
    if (value >= 0)
        __atomic_store_n(count, (uint32_t)value, __ATOMIC_RELAXED);
    return __atomic_load_n(count, __ATOMIC_RELAXED);
}

static int64_t census_enter(VeskClosure *cl, VeskErr *status) {
    (void)status;
    return __atomic_add_fetch((uint32_t *)cl->pod, 1u, __ATOMIC_ACQ_REL);
}

/* ------------------------------------------------------------------------ */
/* Operation sets                                                            */
/* ------------------------------------------------------------------------ */

static VESK_OPS_T(8) lkb_ctor = {
    .rec = VESK_RECORD_INIT("operations/constructor/LkbCtor", "constructor/LkbCtor",
                            "constructor", VESK_OID3(3, 1003, 41), NULL),
    .podsize = 0, .opcount = 8,
    .rows = { VESK_STDROWS_NONE,
              VESK_ROW(alloc, "constructor::allocate-object-memory", lkb_unsupported),
              VESK_ROW(init, "constructor::initialize-object", lkb_unsupported),
              VESK_ROW(fini, "constructor::finalize-object", lkb_unsupported),
              VESK_ROW(dealloc, "constructor::deallocate-object-memory", lkb_unsupported) },
};

static VESK_OPS_T(6) lkb_tally = {
    .rec = VESK_RECORD_INIT("operations/tally/LkbTally", "tally/LkbTally", "tally",
                            VESK_OID3(3, 1931, 1), NULL),
    .podsize = sizeof(int64_t), .opcount = 6,
    .rows = { VESK_STDROWS_NONE,
              VESK_ROW(add, "tally::add", tally_add),
              VESK_ROW(value, "tally::value", tally_value) },
};

static VESK_OPS_T(9) lkb_ucntl = {
    .rec = VESK_RECORD_INIT("operations/ucntl/LkbUcntl", "ucntl/LkbUcntl", "ucntl",
                            VESK_OID3(3, 1006, 43), NULL),
    .podsize = sizeof(uint32_t), .opcount = 9,
    .rows = { VESK_STDROWS(0, 0, ucntl_pod_init, 0),
              VESK_ROW(retain_value, "ucntl::get-retain-value-of-object", ucntl_retain_value),
              VESK_ROW(retain, "ucntl::retain-object", ucntl_retain),
              VESK_ROW(release, "ucntl::release-object", ucntl_release),
              VESK_ROW(hash, "ucntl::get-hash-value-of-object", lkb_unsupported),
              VESK_ROW(compare, "ucntl::compare-objects", lkb_unsupported) },
};

static VESK_OPS_T(6) lkb_destor = {
    .rec = VESK_RECORD_INIT("operations/descriptor/LkbDestor", "descriptor/LkbDestor",
                            "descriptor", VESK_OID3(3, 1005, 44), NULL),
    .podsize = sizeof(VeskDescriptor), .opcount = 6,
    .rows = { VESK_STDROWS_NONE,
              VESK_ROW(get, "get-descriptor", lkb_unsupported),
              VESK_ROW(get_l, "get-localized-descriptor", lkb_unsupported) },
};

static VESK_OPS_T(6) lkb_census = {
    .rec = VESK_RECORD_INIT("operations/census/LkbCensus", "census/LkbCensus", "census",
                            VESK_OID3(3, 1930, 1), NULL),
    .podsize = sizeof(uint32_t), .opcount = 6,
    .rows = { VESK_STDROWS_NONE,
              VESK_ROW(value, "census::value", census_value),
              VESK_ROW(enter, "census::enter", census_enter) },
};

/* ------------------------------------------------------------------------ */
/* The class                                                                 */
/* ------------------------------------------------------------------------ */

static int64_t class_on_link(VeskRecord *rec, VeskErr *status);

struct lkb_class_rec {
    VeskClass cls;
    VeskDescriptor descriptor;
    VESK_SEBLOCK_T(4) ses;
};

static struct lkb_class_rec lkb_tally_class = {
    .cls = {
        .rec = VESK_RECORD_INIT("objects/LkbTally", "LkbTally", "LkbTally",
                                VESK_OID2(4, 1932), class_on_link),
        .instsize = sizeof(LkbInstance),
    },
    .descriptor = { VESK_VERSION(1, 0, 0), __DATE__ },
    .ses = { VESK_SEBLOCK_HEAD(4), {
        VESK_SE_OWN(VESK_OID3(3, 1003, 41), 0, 0, VESK_OPS(&lkb_ctor)),
        VESK_SE_OWN(VESK_OID2(3, 1931), 1, offsetof(LkbInstance, tally), VESK_OPS(&lkb_tally)),
        VESK_SE_OWN(VESK_OID3(3, 1006, 43), 1, offsetof(LkbInstance, retain),
                    VESK_OPS(&lkb_ucntl)),
        VESK_SE_OWN(VESK_OID3(3, 1005, 44), 0, offsetof(struct lkb_class_rec, descriptor),
                    VESK_OPS(&lkb_destor)),
    } },
};

static int64_t class_on_link(VeskRecord *rec, VeskErr *status) {
    struct lkb_class_rec *c = (struct lkb_class_rec *)(void *)rec;
    return _VeskSelistPushback_nlk(&c->cls.selist, VESK_SEBLOCK(&c->ses), status);
}

/* ------------------------------------------------------------------------ */
/* The module                                                                */
/* ------------------------------------------------------------------------ */

static int64_t module_on_link(VeskRecord *rec, VeskErr *status);

struct lkb_module_rec {
    VeskModule mod;
    uint32_t census; /* POD of "operations/census/LkbCensus" */
    VESK_SEBLOCK_T(2) ses;
};

static struct lkb_module_rec lkb_module_record = {
    .mod = {
        .rec = VESK_RECORD_INIT("modules/lkbench", "lkbench", "lkbench", VESK_OID2(5, 1933),
                                module_on_link),
        .modname = "lkbench",
        .descriptor = { VESK_VERSION(1, 0, 0), __DATE__ },
    },
    .ses = { VESK_SEBLOCK_HEAD(2), {
        VESK_SE_OWN(VESK_OID3(3, 1005, 44), 0, offsetof(VeskModule, descriptor),
                    VESK_OPS(&lkb_destor)),
        VESK_SE_OWN(VESK_OID3(3, 1930, 1), 0, offsetof(struct lkb_module_rec, census),
                    VESK_OPS(&lkb_census)),
    } },
};

static VeskOps *lkb_opsv[5];
static VeskClass *lkb_clsv[1];

static int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    struct lkb_module_rec *m = (struct lkb_module_rec *)(void *)rec;
    lkb_opsv[0] = VESK_OPS(&lkb_ctor);
    lkb_opsv[1] = VESK_OPS(&lkb_tally);
    lkb_opsv[2] = VESK_OPS(&lkb_ucntl);
    lkb_opsv[3] = VESK_OPS(&lkb_destor);
    lkb_opsv[4] = VESK_OPS(&lkb_census);
    lkb_clsv[0] = &lkb_tally_class.cls;
    m->mod.opsv = lkb_opsv;
    m->mod.opsc = 5;
    m->mod.clsv = lkb_clsv;
    m->mod.clsc = 1;
    return _VeskSelistPushback_nlk(&m->mod.selist, VESK_SEBLOCK(&m->ses), status);
}

/* ------------------------------------------------------------------------ */
/* Linking, as far as a lookup can see it                                    */
/* ------------------------------------------------------------------------ */

/* The head word holds the kind in its low half and the flags in its high. */
static void write_head(VeskRecord *rec, uint32_t head_word, void *super) {
    rec->kind = (uint16_t)(head_word & 0xFFFFu);
    rec->flags = (uint16_t)(head_word >> 16);
    rec->super = super;
    rec->state = 0;
    rec->holds = 0;
    memset(&rec->lock, 0, sizeof rec->lock);
}

/* All rows are the module's own and no init_once exists, so resolving and
 * once-init have nothing to do beyond marking the records done. */
static const uint32_t lkb_plugged = VESK_ST_STARTED | VESK_ST_RESOLVED | VESK_ST_ONCE;

void lkb_link(void) {
    VeskModule *mod = &lkb_module_record.mod;
    if (mod->rec.kind == VESK_KIND_MODULE)
        return;
    write_head(&mod->rec, VESK_HEAD_MODULE, NULL);
    _VeskSelistInit(&mod->selist);
    mod->rec.on_link(&mod->rec, NULL);
    for (uint32_t i = 0; i < mod->opsc; ++i) {
        write_head(&mod->opsv[i]->rec, VESK_HEAD_OPS, mod);
        mod->opsv[i]->rec.state = lkb_plugged;
    }
    for (uint32_t i = 0; i < mod->clsc; ++i) {
        VeskClass *cls = mod->clsv[i];
        write_head(&cls->rec, VESK_HEAD_CLASS, mod);
        _VeskSelistInit(&cls->selist);
        cls->rec.on_link(&cls->rec, NULL);
        cls->rec.state = lkb_plugged;
    }
    mod->rec.state = lkb_plugged;
    mod->loads = 1;
}

VeskClass *lkb_class(void) { return &lkb_tally_class.cls; }
VeskModule *lkb_module(void) { return &lkb_module_record.mod; }
VeskOps *lkb_ucntl_ops(void) { return VESK_OPS(&lkb_ucntl); }
VeskOps *lkb_census_ops(void) { return VESK_OPS(&lkb_census); }
uint32_t lkb_census_podoff(void) { return offsetof(struct lkb_module_rec, census); }

VeskInstance *lkb_instance_init(LkbInstance *mem) {
    memset(mem, 0, sizeof *mem);
    mem->head.kind = VESK_KIND_INSTANCE;
    mem->head.flags = VESK_F_SUPER;
    mem->head.super = lkb_class();
    mem->retain = 1;
    return &mem->head;
}
