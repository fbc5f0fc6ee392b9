/* SPDX-License-Identifier: MIT */
/*
 * test_plugin.c - one source for the loader's test modules, each a shared
 * object of its own, told apart by macros:
 *   PLUGIN_ID       the module 5.ID, its creatable class 4.ID and the set
 *                   3.ID.1, whose row 4 answers ID
 *   PLUGIN_MODNAME  the key the record claims (the file's key, or not)
 *   PLUGIN_DEPS     dependency entries, if any
 *   PLUGIN_NO_SYMBOL  export no module record at all
 */
#include <stddef.h>

#include "vesk.h"

#define EXPORT __attribute__((visibility("default")))

struct instance {
    VeskInstance head;
    int32_t count;
};

static int64_t answer(VeskClosure *cl, VeskErr *err) {
    (void)cl, (void)err;
    return PLUGIN_ID;
}

static VESK_OPS_T(5) ops = {
    VESK_RECORD_INIT("operations/probe/Answer", "probe/Answer", "probe", VESK_OID3(3, PLUGIN_ID, 1), NULL),
    0,
    5,
    {VESK_STDROWS_NONE, VESK_ROW(answer, "probe::answer", answer)},
};

static int64_t push_block_behind(VeskRecord *rec, VeskErr *status) {
    VeskClass *cls = (VeskClass *)rec;
    return _VeskSelistPushback_nlk(&cls->selist, (VeskSeblock *)(cls + 1), status);
}

static struct {
    VeskClass cls;
    VESK_SEBLOCK_T(3) block;
} cls = {
    VESK_CLASS_INIT("objects/Probe", "Probe", "Probe", VESK_OID2(4, PLUGIN_ID), push_block_behind,
                    sizeof(struct instance)),
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_OWN(VESK_OID3(3, PLUGIN_ID, 1), 0, 0, VESK_OPS(&ops)),
      VESK_SE_IMPORT(VESK_OID3(3, VESK_FAC_UCNTL, 6), 1, offsetof(struct instance, count)),
      VESK_SE_IMPORT(VESK_OID3(3, VESK_FAC_CTOR, 3), 0, 0)}},
};

#ifdef PLUGIN_DEPS
static const char *const no_alts[] = {NULL};
static const char *const plain_alts[] = {"ldnothere", "ldplain", NULL};
static const struct {
    uint32_t head;
    VeskDepEntry entries[4];
} deps_table = {0, {PLUGIN_DEPS, {NULL, 0, 0, NULL}}};
static const VeskDeptable *deps_fn(VeskModule *mod) {
    (void)mod, (void)no_alts, (void)plain_alts;
    return (const VeskDeptable *)(const void *)&deps_table;
}
#else
#define deps_fn NULL
#endif

static int64_t module_link(VeskRecord *rec, VeskErr *status);

static VeskModule module = VESK_MODULE_INIT_DEPS("modules/probe", "probe", "probe", VESK_OID2(5, PLUGIN_ID),
                                                 module_link, PLUGIN_MODNAME, deps_fn, VESK_VERSION(1, 0, 0),
                                                 __DATE__);

static int64_t module_link(VeskRecord *rec, VeskErr *status) {
    static VeskOps *opsv[] = {VESK_OPS(&ops)};
    static VeskClass *clsv[] = {&cls.cls};
    VeskModule *m = (VeskModule *)rec;
    (void)status;
    m->opsv = opsv, m->opsc = 1;
    m->clsv = clsv, m->clsc = 1;
    return 0;
}

#ifndef PLUGIN_NO_SYMBOL
EXPORT VeskModule *_G_vesk_module = &module;
#else
EXPORT VeskModule *_G_something_else = &module;
#endif
