/* SPDX-License-Identifier: MIT */
// link_modules.h - modules for the linking tests, static C records as a
// module author writes them, linked through the exported _VeskMod* steps.
//
//   lkalpha (5.950): set A1 3.950.1, class LkAlpha (4.950: A1 own, B1 imported)
//   lkbeta  (5.951): sets B1 3.951.1 and B2 3.951.2; A1 and B2 import from each
//                    other's module, row by row (see the .c file for each row)
//   lklone  (5.952): sets L1 3.952.1 and L2 importing from 3.959.1, which never
//                    comes, L2 also L1's missing row; class LkLone imports
//                    3.959.1 and L1; depends on "stub" (found as an alt)
//   lkonce  (5.953): class LkOnce with three elements on O1 (ids '1' '2' '3'),
//                    the module with one (id 'm'); init_once/fini_once log ids
//   lkempty (5.954): no on_link, no sets, no classes
//   lkbad   (5.955): a set with A1's identifier; its second class fails on_link
//                    while lk_bad_fail is set
//   lkcycle (5.956): sets C1 and C2, each importing a row of the other
#ifndef LINK_MODULES_H
#define LINK_MODULES_H

#include "vesk.h"

#ifdef __cplusplus
extern "C" {
#endif

extern VeskModule *const lk_alpha, *const lk_beta, *const lk_lone, *const lk_once,
    *const lk_empty, *const lk_bad, *const lk_cycle;
extern VeskOps *const lk_a1, *const lk_b1, *const lk_b2, *const lk_l1, *const lk_l2,
    *const lk_c1, *const lk_c2;
extern VeskClass *const lk_alpha_cls, *const lk_lone_cls, *const lk_once_cls, *const lk_bad_cls1;

// The functions standing in the static rows: A1 rows 4 and 9, B1 rows 4 and 5.
extern const VeskOpfn lk_fa4, lk_fa9, lk_fb4, lk_fb5;

extern char lk_once_log[64]; /* "+1" init_once of id 1 ran, "-1" its fini_once */
extern char lk_once_fail;    /* the id whose init_once returns -7; 0: none */
extern int lk_bad_fail;      /* non-zero: the second class of lkbad fails on_link with -5 */

#ifdef __cplusplus
}
#endif

#endif /* LINK_MODULES_H */
