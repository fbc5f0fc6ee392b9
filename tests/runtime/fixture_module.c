/* SPDX-License-Identifier: MIT */
// fixture_module.c - the records of "modules/fixture", static data in plain
// C11, linked through the exported steps as a loader links a plug-in.
#include "fixture_module.h"

#include <stddef.h>

static int64_t fx_op(VeskClosure *cl, VeskErr *status) {
    (void)cl;
    (void)status;
    return 0;
}

// ---- Operation sets --------------------------------------------------------

#define FX_OPROW(cname) VESK_ROW(cname, "probe::" #cname, fx_op)
#define FX_ROWS_5 VESK_STDROWS_NONE, FX_OPROW(op4)
#define FX_ROWS_6 FX_ROWS_5, FX_OPROW(op5)
#define FX_ROWS_7 FX_ROWS_6, FX_OPROW(op6)
#define FX_ROWS_8 FX_ROWS_7, FX_OPROW(op7)
#define FX_ROWS_9 FX_ROWS_8, FX_OPROW(op8)
// A set of n rows named "operations/<key>" of family <fam>, with a POD of podsize.
#define FX_SET(var, n, key, name, fam, sub, podsize)                                       \
    static VESK_OPS_T(n) var = {                                                           \
        VESK_RECORD_INIT("operations/" key, key, name, VESK_OID3(3, fam, sub), NULL), podsize, \
        n, {FX_ROWS_##n}}

FX_SET(cls_ops, 6, "widget/WidgetCls", "widget", 901, 1, sizeof(FxPod));
// The instance service: elements of depth 1, their POD in the instance.
FX_SET(inst_ops, 7, "ucntl/FxCounter", "ucntl", 905, 6, sizeof(FxPod));
FX_SET(short_ops, 5, "probe/ShortProbe", "probe", 902, 1, 0);
FX_SET(long_ops, 8, "probe/LongProbe", "probe", 902, 2, sizeof(FxPod));
FX_SET(first_ops, 5, "pick/FirstPick", "pick", 903, 1, 0);
FX_SET(later_ops, 9, "pick/LaterPick", "pick", 903, 2, 0);

// ---- Classes: the element block right behind the class, class data after it --

static int64_t push_block_behind(VeskRecord *rec, VeskErr *status) {
    VeskClass *cls = (VeskClass *)rec;
    return _VeskSelistPushback_nlk(&cls->selist, (VeskSeblock *)(cls + 1), status);
}

#define FX_OID6(c0, c1, c2, c3, c4, c5) \
    { 6, VESK_OPNUM_NONE, { (c0), (c1), (c2), (c3), (c4), (c5) } }

static struct widget_class {
    VeskClass cls;
    VESK_SEBLOCK_T(FX_WIDGET_SES) block;
    FxPod pod; // 3.901.1, depth 0
} widget = {
    VESK_CLASS_INIT("objects/Widget", "Widget", "Widget", VESK_OID2(4, 900), push_block_behind,
                    sizeof(FxWidget)),
    {VESK_SEBLOCK_HEAD(FX_WIDGET_SES),
     {VESK_SE_OWN(VESK_OID3(3, 901, 1), 0, offsetof(struct widget_class, pod),
                  VESK_OPS(&cls_ops)),
      VESK_SE_OWN(VESK_OID3(3, 905, 6), 1, offsetof(FxWidget, pod), VESK_OPS(&inst_ops)),
      VESK_SE_OWN(VESK_OID3(3, 902, 1), 0, 0, VESK_OPS(&short_ops)),
      VESK_SE_OWN(VESK_OID3(3, 903, 1), 0, 0, VESK_OPS(&first_ops)),
      VESK_SE_OWN(VESK_OID3(3, 903, 2), 0, 0, VESK_OPS(&later_ops)),
      VESK_SE_OWN(FX_OID6(3, 904, 1, 2, 3, 9), 0, 0, VESK_OPS(&first_ops)),
      VESK_SE_OWN(FX_OID6(3, 904, 1, 2, 3, 4), 0, 0, VESK_OPS(&later_ops))}},
    {0},
};

static struct {
    VeskClass cls;
    VESK_SEBLOCK_T(1) block;
} gadget = {
    VESK_CLASS_INIT("objects/Gadget", "Gadget", "Gadget", VESK_OID2(4, 901), push_block_behind,
                    sizeof(FxGadget)),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(3, 905, 6), 1, offsetof(FxGadget, pod), VESK_OPS(&inst_ops))}},
};

// ---- The module: on_link names the sets and classes and pushes its block ------

static int64_t module_link(VeskRecord *rec, VeskErr *status);

static struct fixture_module {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
    FxPod pod; // 3.902.2, depth 0
} module = {
    VESK_MODULE_INIT("modules/fixture", "fixture", "fixture", VESK_OID2(5, 900), module_link,
                     "fixture", VESK_VERSION(1, 0, 0), __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(3, 902, 2), 0, offsetof(struct fixture_module, pod),
                  VESK_OPS(&long_ops))}},
    {0},
};

static int64_t module_link(VeskRecord *rec, VeskErr *status) {
    static VeskOps *opsv[] = {VESK_OPS(&cls_ops),   VESK_OPS(&inst_ops),  VESK_OPS(&short_ops),
                              VESK_OPS(&long_ops),  VESK_OPS(&first_ops), VESK_OPS(&later_ops)};
    static VeskClass *clsv[] = {&widget.cls, &gadget.cls};
    VeskModule *m = (VeskModule *)rec;
    m->opsv = opsv;
    m->opsc = sizeof opsv / sizeof opsv[0];
    m->clsv = clsv;
    m->clsc = sizeof clsv / sizeof clsv[0];
    return _VeskSelistPushback_nlk(&m->selist, VESK_SEBLOCK(&module.block), status);
}

VeskModule *const fx_module = &module.mod;
VeskClass *const fx_widget = &widget.cls;
VeskClass *const fx_gadget = &gadget.cls;
VeskOps *const fx_cls_ops = VESK_OPS(&cls_ops);
VeskOps *const fx_inst_ops = VESK_OPS(&inst_ops);
VeskOps *const fx_short_ops = VESK_OPS(&short_ops);
VeskOps *const fx_long_ops = VESK_OPS(&long_ops);
VeskOps *const fx_first_ops = VESK_OPS(&first_ops);
VeskOps *const fx_later_ops = VESK_OPS(&later_ops);
FxPod *const fx_widget_pod = &widget.pod;
FxPod *const fx_module_pod = &module.pod;
VeskSeblock *const fx_widget_block = VESK_SEBLOCK(&widget.block);

static void instance_init(VeskInstance *head, VeskClass *cls) {
    head->kind = VESK_KIND_INSTANCE;
    head->flags = VESK_F_SUPER;
    head->super = cls;
}

void fx_widget_init(FxWidget *w) {
    instance_init(&w->head, &widget.cls);
    w->pod.value = 0;
}

void fx_gadget_init(FxGadget *g) {
    instance_init(&g->head, &gadget.cls);
    g->spare = 0;
    g->pod.value = 0;
}
