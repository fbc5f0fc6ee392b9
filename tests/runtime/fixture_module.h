/* SPDX-License-Identifier: MIT */
// fixture_module.h - a small module for the runtime tests, written in plain
// C as a module author writes one, and linked through the exported steps.
//
// "modules/fixture" (5.900) carries 3.902.2 "LongProbe" (8 rows) with a POD
// in the module record. Its classes:
//
//   "objects/Widget" (4.900), SEs in this order:
//     FX_SE_CLASS      3.901.1  depth 0  POD in the class   WidgetCls (6 rows)
//     FX_SE_INSTANCE   3.905.6 depth 1  POD in the instance FxCounter (7 rows)
//     FX_SE_SHORT      3.902.1  depth 0  no POD             ShortProbe (5 rows)
//     FX_SE_FIRSTPICK  3.903.1  depth 0  no POD             FirstPick (5 rows)
//     FX_SE_LATERPICK  3.903.2  depth 0  no POD             LaterPick (9 rows)
//     FX_SE_WIDE9      3.904.1.2.3.9     no POD             FirstPick
//     FX_SE_WIDE4      3.904.1.2.3.4     no POD             LaterPick
//   "objects/Gadget" (4.901): 3.905.6 depth 1, POD behind a spare word.
//
// Rows from 4 on are placeholders: the tests look rows up, they never call them.
#ifndef FIXTURE_MODULE_H
#define FIXTURE_MODULE_H

#include "vesk.h"

#ifdef __cplusplus
extern "C" {
#endif

// The POD of every fixture service; the tests look at where it lies.
typedef struct FxPod {
    int64_t value;
} FxPod;

typedef struct FxWidget {
    VeskInstance head;
    FxPod pod; /* 3.905.6 */
} FxWidget;

typedef struct FxGadget {
    VeskInstance head;
    uint64_t spare;
    FxPod pod; /* 3.905.6 */
} FxGadget;

enum {
    FX_SE_CLASS,
    FX_SE_INSTANCE,
    FX_SE_SHORT,
    FX_SE_FIRSTPICK,
    FX_SE_LATERPICK,
    FX_SE_WIDE9,
    FX_SE_WIDE4,
    FX_WIDGET_SES
};

extern VeskModule *const fx_module;
extern VeskClass *const fx_widget;
extern VeskClass *const fx_gadget;

extern VeskOps *const fx_cls_ops;   /* 3.901.1 */
extern VeskOps *const fx_inst_ops;  /* 3.905.6 */
extern VeskOps *const fx_short_ops; /* 3.902.1 */
extern VeskOps *const fx_long_ops;  /* 3.902.2, on the module */
extern VeskOps *const fx_first_ops; /* 3.903.1 */
extern VeskOps *const fx_later_ops; /* 3.903.2 */

extern FxPod *const fx_widget_pod; /* the class POD of Widget */
extern FxPod *const fx_module_pod; /* the module POD of LongProbe */
extern VeskSeblock *const fx_widget_block;


// A fresh instance: kind 4, flag 0x0100, super the class, POD zero.
void fx_widget_init(FxWidget *w);
void fx_gadget_init(FxGadget *g);

#ifdef __cplusplus
}
#endif

#endif /* FIXTURE_MODULE_H */
