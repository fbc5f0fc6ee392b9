/* SPDX-License-Identifier: MIT */
/*
 * lookup_records.h - the records that the lookup benchmark walks.
 *
 * A small plug-in written in plain C: one module "modules/lkbench" with one
 * class "objects/LkbTally" and the sets they bind. lkb_link() writes the
 * heads the way linking does, so that lookups see a linked chain
 * instance -> class -> module without the loader.
 */
#ifndef VESK_BENCH_LOOKUP_RECORDS_H
#define VESK_BENCH_LOOKUP_RECORDS_H

#include <stdint.h>

#include "vesk.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Families of the two keys: 3.1006 sits third on the class (depth 1, POD in
 * the instance); 3.1930 sits only on the module (depth 0, POD in the module). */
#define LKB_FAMILY_UCNTL  1006
#define LKB_FAMILY_CENSUS 1930
#define LKB_OP_VALUE      4 /* row 4 of both sets: retain_value / census value */

/* Row 4 of both sets: with value >= 0 store it; return the count. */
typedef int64_t (*LkbValueFn)(VeskClosure *cl, VeskErr *status, int64_t value);

/* An instance of "objects/LkbTally": the head, the retain count directly
 * behind it, then the tally. */
typedef struct LkbInstance {
    VeskInstance head;
    uint32_t retain; /* POD of "operations/ucntl/LkbUcntl" */
    uint32_t pad_;
    int64_t tally;   /* POD of "operations/tally/LkbTally" */
} LkbInstance;

/* Links the module and its class once; later calls do nothing. */
void lkb_link(void);

VeskClass *lkb_class(void);
VeskModule *lkb_module(void);
/* The sets that the two keys must reach. */
VeskOps *lkb_ucntl_ops(void);
VeskOps *lkb_census_ops(void);
/* Byte distance of the census POD from the module record. */
uint32_t lkb_census_podoff(void);

/* Makes `mem` an instance of the class, as plain memory: kind 4, flag
 * 0x0100, super the class, retain count 1. */
VeskInstance *lkb_instance_init(LkbInstance *mem);

#ifdef __cplusplus
}
#endif

#endif /* VESK_BENCH_LOOKUP_RECORDS_H */
