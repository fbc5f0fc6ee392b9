/* SPDX-License-Identifier: MIT */
// link_modules.c - the records of the linking tests' modules.
#include "link_modules.h"

#include <stddef.h>
#include <string.h>

// Distinct bodies, so that no linker folds two of them into one address.
static int64_t fa4(VeskClosure *c, VeskErr *e) { (void)c; (void)e; return 104; }
static int64_t fa9(VeskClosure *c, VeskErr *e) { (void)c; (void)e; return 109; }
static int64_t fb4(VeskClosure *c, VeskErr *e) { (void)c; (void)e; return 204; }
static int64_t fb5(VeskClosure *c, VeskErr *e) { (void)c; (void)e; return 205; }
const VeskOpfn lk_fa4 = VESK_FN(fa4), lk_fa9 = VESK_FN(fa9), lk_fb4 = VESK_FN(fb4),
               lk_fb5 = VESK_FN(fb5);

#define FN(n, f) VESK_ROW(n, "lk::" #n, f)
#define ALIAS(n, row) VESK_ROW_ALIAS(n, "lk::" #n, row)
#define IMPORT(n, row, fam, sub) \
    { #n, "lk::" #n, "P,P", VESK_FN_IMPORT, { 3, (row), { 3, (fam), (sub), 0, 0, 0 } }, NULL }
#define SET(var, n, key, fam, sub, ...)                                                     \
    static VESK_OPS_T(n) var = {                                                            \
        VESK_RECORD_INIT("operations/" key, key, "lk", VESK_OID3(3, fam, sub), NULL), 0, n, \
        { VESK_STDROWS_NONE, __VA_ARGS__ } }
#define SAME VESK_ROW_SAME

// A1: a function, imports from B1, aliases ahead (7 -> 4, pass 0) and behind
// (8 -> 9, pass 1), an alias cycle (10 <-> 11), an alias and an import beyond
// their sets.
SET(a1, 14, "lka/A1", 950, 1, FN(f4, fa4), IMPORT(i5, SAME, 951, 1), IMPORT(i6, 4, 951, 1),
    ALIAS(ahead7, 4), ALIAS(behind8, 9), FN(f9, fa9), ALIAS(cyc10, 11), ALIAS(cyc11, 10),
    ALIAS(far12, 99), IMPORT(far13, 40, 951, 1));
SET(b1, 7, "lkb/B1", 951, 1, FN(f4, fb4), FN(f5, fb5), ALIAS(a6, 4));
// B2 imports A1's rows: a function (9), imports of A1 that lead on to B1 (5;
// 6, whose origin is B1 row 4), an alias of A1 (7) and A1's alias cycle (10).
SET(b2, 9, "lkb/B2", 951, 2, IMPORT(i4, 9, 950, 1), IMPORT(i5, SAME, 950, 1),
    IMPORT(i6, SAME, 950, 1), IMPORT(i7, SAME, 950, 1), IMPORT(i8, 10, 950, 1));
SET(l1, 6, "lkl/L1", 952, 1, IMPORT(i4, SAME, 959, 1), FN(f5, fa4));
// L2 row 5 imports L1 row 4, which L1 itself lacks.
SET(l2, 6, "lkl/L2", 952, 2, IMPORT(i4, SAME, 959, 1), IMPORT(i5, 4, 952, 1));
// Two sets importing from each other: neither is complete while the other resolves.
SET(c1, 6, "lkc/C1", 956, 1, IMPORT(i4, 5, 956, 2), FN(f5, fb5));
SET(c2, 6, "lkc/C2", 956, 2, IMPORT(i4, 5, 956, 1), FN(f5, fb4));

int lk_bad_fail;
SET(twin, 5, "lkbad/Twin", 950, 1, FN(f4, fa4));

// ---- init_once and fini_once that log the id in their POD --------------------

char lk_once_log[64];
char lk_once_fail;

static void log_id(char sign, const VeskClosure *c) {
    const char entry[3] = {sign, *(const char *)c->pod, '\0'};
    strncat(lk_once_log, entry, sizeof lk_once_log - strlen(lk_once_log) - 1);
}
static int64_t once_up(VeskClosure *c, VeskErr *e) {
    (void)e;
    log_id('+', c);
    return *(const char *)c->pod == lk_once_fail ? -7 : 0;
}
static int64_t once_down(VeskClosure *c, VeskErr *e) {
    (void)e;
    log_id('-', c);
    return 0;
}
static VESK_OPS_T(4) o1 = {
    VESK_RECORD_INIT("operations/lko/O1", "lko/O1", "lko", VESK_OID3(3, 953, 1), NULL), 0, 4,
    {VESK_STDROWS(once_up, once_down, 0, 0)}};

// ---- Classes: the SE block right behind the class, class data behind it ------

static int64_t push_block(VeskRecord *rec, VeskErr *st) {
    VeskClass *cls = (VeskClass *)rec;
    return _VeskSelistPushback_nlk(&cls->selist, (VeskSeblock *)(cls + 1), st);
}
static int64_t push_block_unless_failing(VeskRecord *rec, VeskErr *st) {
    return lk_bad_fail ? -5 : push_block(rec, st);
}

#define CLASS(key, fam, on_link) \
    VESK_CLASS_INIT("objects/" key, key, key, VESK_OID2(4, fam), on_link, 0)
#define OWN(fam, sub, ops) VESK_SE_OWN(VESK_OID3(3, fam, sub), 0, 0, VESK_OPS(ops))

static struct { VeskClass cls; VESK_SEBLOCK_T(2) block; } alpha_cls = {
    CLASS("LkAlpha", 950, push_block),
    {VESK_SEBLOCK_HEAD(2), {OWN(950, 1, &a1), VESK_SE_IMPORT(VESK_OID3(3, 951, 1), 0, 0)}}};
static struct { VeskClass cls; VESK_SEBLOCK_T(3) block; } lone_cls = {
    CLASS("LkLone", 952, push_block),
    {VESK_SEBLOCK_HEAD(3),
     {OWN(952, 1, &l1), VESK_SE_IMPORT(VESK_OID3(3, 959, 1), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(3, 952, 1), 0, 0)}}};
static struct { VeskClass cls; VESK_SEBLOCK_T(1) block; } bad_cls1 = {
    CLASS("LkBad1", 955, push_block), {VESK_SEBLOCK_HEAD(1), {OWN(950, 1, &twin)}}};
static struct { VeskClass cls; VESK_SEBLOCK_T(1) block; } bad_cls2 = {
    CLASS("LkBad2", 956, push_block_unless_failing), {VESK_SEBLOCK_HEAD(1), {OWN(950, 1, &twin)}}};

#define ONCE_SE(sub)                                                                  \
    VESK_SE_OWN(VESK_OID4(3, 953, 1, sub), 0, offsetof(struct once_class, ids) + (sub) - 1, \
                VESK_OPS(&o1))
static struct once_class { VeskClass cls; VESK_SEBLOCK_T(3) block; char ids[3]; } once_cls = {
    CLASS("LkOnce", 953, push_block),
    {VESK_SEBLOCK_HEAD(3),
     {ONCE_SE(1), ONCE_SE(2), ONCE_SE(3)}},
    {'1', '2', '3'}};

// ---- Modules: on_link names the sets and classes and pushes the block --------

static int64_t fill(VeskRecord *rec, VeskErr *st, VeskOps **opsv, uint32_t opsc, VeskClass **clsv,
                    uint32_t clsc, void *block) {
    VeskModule *m = (VeskModule *)rec;
    m->opsv = opsv;
    m->opsc = opsc;
    m->clsv = clsv;
    m->clsc = clsc;
    return block != NULL ? _VeskSelistPushback_nlk(&m->selist, (VeskSeblock *)block, st) : 0;
}

#define MODULE(fam, key, on_link) \
    VESK_MODULE_INIT("modules/" key, key, key, VESK_OID2(5, fam), on_link, key, 0, __DATE__)

static int64_t alpha_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&a1)};
    static VeskClass *clsv[] = {&alpha_cls.cls};
    return fill(r, s, opsv, 1, clsv, 1, NULL);
}
static int64_t beta_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&b1), VESK_OPS(&b2)};
    return fill(r, s, opsv, 2, NULL, 0, NULL);
}
static int64_t cycle_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&c1), VESK_OPS(&c2)};
    return fill(r, s, opsv, 2, NULL, 0, NULL);
}
static int64_t bad_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&twin)};
    static VeskClass *clsv[] = {&bad_cls1.cls, &bad_cls2.cls};
    return fill(r, s, opsv, 1, clsv, 2, NULL);
}

static const char *const lone_alts[] = {"lk-nowhere-either", "stub", NULL};
static const struct { uint32_t head; VeskDepEntry entries[2]; } lone_table = {
    0, {{"lk-nowhere", 0, 0, lone_alts}, {NULL, 0, 0, NULL}}};
static const VeskDeptable *lone_deps(VeskModule *m) {
    (void)m;
    return (const VeskDeptable *)(const void *)&lone_table;
}

static int64_t lone_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&l1), VESK_OPS(&l2)};
    static VeskClass *clsv[] = {&lone_cls.cls};
    ((VeskModule *)r)->deps = lone_deps;
    return fill(r, s, opsv, 2, clsv, 1, NULL);
}

static VeskModule alpha = MODULE(950, "lkalpha", alpha_link);
static VeskModule beta = MODULE(951, "lkbeta", beta_link);
static VeskModule lone = MODULE(952, "lklone", lone_link);
static VeskModule empty = MODULE(954, "lkempty", NULL);
static VeskModule bad = MODULE(955, "lkbad", bad_link);
static VeskModule cycle = MODULE(956, "lkcycle", cycle_link);

static int64_t once_link(VeskRecord *r, VeskErr *s);
static struct once_module { VeskModule mod; VESK_SEBLOCK_T(1) block; char id; } once = {
    MODULE(953, "lkonce", once_link),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(3, 953, 1), 0, offsetof(struct once_module, id), VESK_OPS(&o1))}},
    'm'};
static int64_t once_link(VeskRecord *r, VeskErr *s) {
    static VeskOps *opsv[] = {VESK_OPS(&o1)};
    static VeskClass *clsv[] = {&once_cls.cls};
    return fill(r, s, opsv, 1, clsv, 1, &once.block);
}

VeskModule *const lk_alpha = &alpha, *const lk_beta = &beta, *const lk_lone = &lone,
                  *const lk_once = &once.mod, *const lk_empty = &empty, *const lk_bad = &bad,
                  *const lk_cycle = &cycle;
VeskOps *const lk_a1 = VESK_OPS(&a1), *const lk_b1 = VESK_OPS(&b1), *const lk_b2 = VESK_OPS(&b2),
               *const lk_l1 = VESK_OPS(&l1), *const lk_l2 = VESK_OPS(&l2),
               *const lk_c1 = VESK_OPS(&c1),
               *const lk_c2 = VESK_OPS(&c2);
VeskClass *const lk_alpha_cls = &alpha_cls.cls, *const lk_lone_cls = &lone_cls.cls,
                 *const lk_once_cls = &once_cls.cls, *const lk_bad_cls1 = &bad_cls1.cls;
