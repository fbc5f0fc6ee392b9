// SPDX-License-Identifier: MIT
// Both public headers, alone, under pedantic C++20, and the layout facts that
// callers and modules compiled elsewhere rely on.
#include "nu.h"
#include "vesk.h"

#include <cstddef>

static_assert(sizeof(VeskOid) == 16);
static_assert(sizeof(VeskRwlock) == 16);
static_assert(sizeof(NuRTBTNode) == 4 * sizeof(void *));
static_assert(sizeof(NuRTBT) == sizeof(NuRTBTNode), "a tree head is laid out like a node");
static_assert(offsetof(NuRTBT, count) == offsetof(NuRTBTNode, data));

// The status record: three 32-bit words, then status on its alignment.
static_assert(offsetof(VeskErr, status) == 16 && offsetof(VeskErr, msg) == 40);

// Kind and flags form the head word that linking writes as one.
static_assert(offsetof(VeskRecord, flags) == 2 && offsetof(VeskRecord, super) == sizeof(void *));
static_assert(offsetof(VeskSeobj, cl) == offsetof(VeskRecord, super),
              "a reference's self stands where super stands");
static_assert(offsetof(VeskInstance, super) == offsetof(VeskRecord, super));

// Classes and modules carry their selist right behind the record head.
static_assert(offsetof(VeskClass, selist) == sizeof(VeskRecord));
static_assert(offsetof(VeskModule, selist) == sizeof(VeskRecord));
static_assert(offsetof(VeskSelist, lock) == sizeof(void *), "ready has a word of its own");

// The fixed-size declaration types match the flexible records they stand for.
using Ops3 = VESK_OPS_T(3);
using Block2 = VESK_SEBLOCK_T(2);
static_assert(offsetof(Ops3, rows) == offsetof(VeskOps, rows));
static_assert(sizeof(Ops3) == sizeof(VeskOps) + 3 * sizeof(VeskOprow));
static_assert(offsetof(Block2, se) == offsetof(VeskSeblock, se));
static_assert(offsetof(Block2, links) == offsetof(VeskSeblock, links));

static_assert(VESK_HEAD_CLASS == (VESK_KIND_CLASS | (VESK_F_LINKED | VESK_F_SUPER | VESK_F_IDENTITY |
                                                     VESK_F_SELIST) << 16));
static_assert(VESK_HEAD_OPS == (VESK_KIND_OPS | (VESK_F_LINKED | VESK_F_SUPER | VESK_F_IDENTITY |
                                                 VESK_F_ROWS) << 16));
static_assert(VESK_HEAD_MODULE == (VESK_KIND_MODULE | (VESK_F_LINKED | VESK_F_SUPER |
                                                       VESK_F_IDENTITY | VESK_F_SELIST |
                                                       VESK_F_MODULE) << 16));
