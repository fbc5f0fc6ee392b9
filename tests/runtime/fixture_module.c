// fixture_module.c - the records of "modules/fixture", static data in plain
// C11, and the few stores with which linking brings them to life.
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

static VESK_OPS_T(6) cls_ops = {
    VESK_RECORD_INIT("operations/widget/WidgetCls", "widget/WidgetCls", "widget",
                     VESK_OID3(3, 901, 1), NULL),
    sizeof(FxPod), 6, {FX_ROWS_6},
};
static VESK_OPS_T(7) inst_ops = {
    VESK_RECORD_INIT("operations/ucntl/FxCounter", "ucntl/FxCounter", "ucntl",
                     VESK_OID3(3, 1006, 6), NULL),
    sizeof(FxPod), 7, {FX_ROWS_7},
};
static VESK_OPS_T(5) short_ops = {
    VESK_RECORD_INIT("operations/probe/ShortProbe", "probe/ShortProbe", "probe",
                     VESK_OID3(3, 902, 1), NULL),
    0, 5, {FX_ROWS_5},
};
static VESK_OPS_T(8) long_ops = {
    VESK_RECORD_INIT("operations/probe/LongProbe", "probe/LongProbe", "probe",
                     VESK_OID3(3, 902, 2), NULL),
    sizeof(FxPod), 8, {FX_ROWS_8},
};
static VESK_OPS_T(5) first_ops = {
    VESK_RECORD_INIT("operations/pick/FirstPick", "pick/FirstPick", "pick",
                     VESK_OID3(3, 903, 1), NULL),
    0, 5, {FX_ROWS_5},
};
static VESK_OPS_T(9) later_ops = {
    VESK_RECORD_INIT("operations/pick/LaterPick", "pick/LaterPick", "pick",
                     VESK_OID3(3, 903, 2), NULL),
    0, 9, {FX_ROWS_9},
};

// ---- Classes -----------------------------------------------------------------

#define FX_OID6(c0, c1, c2, c3, c4, c5) \
    { 6, VESK_OPNUM_NONE, { (c0), (c1), (c2), (c3), (c4), (c5) } }

static struct widget_class {
    VeskClass cls;
    FxPod pod; /* 3.901.1, depth 0 */
    VESK_SEBLOCK_T(FX_WIDGET_SES) block;
} widget = {
    VESK_CLASS_INIT("objects/Widget", "Widget", "Widget", VESK_OID2(4, 900), NULL,
                    sizeof(FxWidget)),
    {0},
    {VESK_SEBLOCK_HEAD(FX_WIDGET_SES),
     {VESK_SE_OWN(VESK_OID3(3, 901, 1), 0, offsetof(struct widget_class, pod),
                  VESK_OPS(&cls_ops)),
      VESK_SE_OWN(VESK_OID3(3, 1006, 6), 1, offsetof(FxWidget, pod), VESK_OPS(&inst_ops)),
      VESK_SE_OWN(VESK_OID3(3, 902, 1), 0, 0, VESK_OPS(&short_ops)),
      VESK_SE_OWN(VESK_OID3(3, 903, 1), 0, 0, VESK_OPS(&first_ops)),
      VESK_SE_OWN(VESK_OID3(3, 903, 2), 0, 0, VESK_OPS(&later_ops)),
      VESK_SE_OWN(FX_OID6(3, 904, 1, 2, 3, 9), 0, 0, VESK_OPS(&first_ops)),
      VESK_SE_OWN(FX_OID6(3, 904, 1, 2, 3, 4), 0, 0, VESK_OPS(&later_ops))}},
};

static struct {
    VeskClass cls;
    VESK_SEBLOCK_T(1) block;
} gadget = {
    VESK_CLASS_INIT("objects/Gadget", "Gadget", "Gadget", VESK_OID2(4, 901), NULL,
                    sizeof(FxGadget)),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(3, 1006, 6), 1, offsetof(FxGadget, pod), VESK_OPS(&inst_ops))}},
};

// ---- The module --------------------------------------------------------------

static struct fixture_module {
    VeskModule mod;
    FxPod pod; /* 3.902.2, depth 0 */
    VESK_SEBLOCK_T(1) block;
} module = {
    VESK_MODULE_INIT("modules/fixture", "fixture", "fixture", VESK_OID2(5, 900), NULL, "fixture",
                     VESK_VERSION(1, 0, 0), __DATE__),
    {0},
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(3, 902, 2), 0, offsetof(struct fixture_module, pod),
                  VESK_OPS(&long_ops))}},
};

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

// ---- Linking by hand ----------------------------------------------------------

static VeskOps *const all_ops[] = {
    VESK_OPS(&cls_ops),   VESK_OPS(&inst_ops),  VESK_OPS(&short_ops), VESK_OPS(&long_ops),
    VESK_OPS(&first_ops), VESK_OPS(&later_ops),
};

static const struct {
    VeskClass *cls;
    VeskSeblock *block;
} all_classes[] = {
    {&widget.cls, VESK_SEBLOCK(&widget.block)},
    {&gadget.cls, VESK_SEBLOCK(&gadget.block)},
};

#define FX_COUNT(a) (sizeof(a) / sizeof((a)[0]))

// Linking writes kind and flags together from one head word: kind in the
// low half, flags in the high half.
static void write_head(VeskRecord *rec, uint32_t word, void *super) {
    rec->kind = (uint16_t)(word & 0xFFFFu);
    rec->flags = (uint16_t)(word >> 16);
    rec->super = super;
}

int64_t fx_link(void) {
    size_t i;
    int64_t r = 0;
    write_head(&module.mod.rec, VESK_HEAD_MODULE, NULL);
    _VeskSelistInit(&module.mod.selist);
    r |= _VeskSelistPushback_nlk(&module.mod.selist, VESK_SEBLOCK(&module.block), NULL);
    for (i = 0; i < FX_COUNT(all_ops); ++i)
        write_head(&all_ops[i]->rec, VESK_HEAD_OPS, &module.mod);
    for (i = 0; i < FX_COUNT(all_classes); ++i) {
        VeskClass *cls = all_classes[i].cls;
        write_head(&cls->rec, VESK_HEAD_CLASS, &module.mod);
        _VeskSelistInit(&cls->selist);
        r |= _VeskSelistPushback_nlk(&cls->selist, all_classes[i].block, NULL);
    }
    return r;
}

void fx_unlink(void) {
    size_t i;
    for (i = 0; i < FX_COUNT(all_classes); ++i) {
        _VeskSelistFini(&all_classes[i].cls->selist);
        write_head(&all_classes[i].cls->rec, 0, NULL);
    }
    for (i = 0; i < FX_COUNT(all_ops); ++i)
        write_head(&all_ops[i]->rec, 0, NULL);
    _VeskSelistFini(&module.mod.selist);
    write_head(&module.mod.rec, 0, NULL);
}

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
