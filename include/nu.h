/*
 * nu.h - the lower layer of libvesk: operating-system calls, allocators,
 * containers, text and paths.
 *
 * Usable from C11 and C++20. Every record declared here is part of the
 * interface: the order and the width of its fields are fixed.
 *
 * The status record VeskErr lives here, at the bottom, because both layers
 * take it as their last argument; the functions that fill it are in vesk.h.
 */
#ifndef NU_H
#define NU_H

#include <stddef.h>
#include <stdint.h>

/* The one export macro. The library is built with -fvisibility=hidden, so a
 * function or datum is part of the binary interface only if it carries this. */
#if defined(__GNUC__) || defined(__clang__)
#define VESK_API __attribute__((visibility("default")))
#else
#define VESK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* The status record                                                         */
/* ------------------------------------------------------------------------ */

/* The caller owns the record and its buffer. A failing function fills the
 * fields through VeskMkerr and then returns its own failure value. Nothing
 * clears the record: a field keeps its value until the next report. */
typedef struct VeskErr {
    uint32_t info0, info1, info2; /* copied from the reporter; the library passes 0 */
    int64_t status;               /* (facility << 16) | code, sign-extended from 32 bits */
    int32_t syserr;               /* errno slot, as the reporter gave it */
    uint32_t variant;             /* index of the format within the code's group */
    uint32_t msgsize;             /* capacity of msg in bytes, NUL included; set by the owner */
    char *msg;                    /* message buffer or null; set by the owner */
} VeskErr;

/* Facility and code halves of a status value. */
#define VESK_STATUS_FACILITY(st) ((int32_t)(((uint64_t)(st) >> 16) & 0xFFFFu))
#define VESK_STATUS_CODE(st)     ((int32_t)((uint64_t)(st) & 0xFFFFu))

/* ------------------------------------------------------------------------ */
/* Right-threaded balanced tree: the shapes that records embed               */
/* ------------------------------------------------------------------------ */

/* One node. Callers that own nodes embed or allocate it and read it
 * directly. `data` is the element, or the key by which the node sorts. */
typedef struct NuRTBTNode {
    struct NuRTBTNode *left;  /* left child, or null */
    struct NuRTBTNode *right; /* right child, or with NU_RTBT_RTHREAD the in-order successor */
    uint16_t flags;           /* NU_RTBT_* bits below */
    uintptr_t data;           /* the element word */
} NuRTBTNode;

#define NU_RTBT_LTHREAD   0x0001u /* left is a thread; honoured by walks, never set by the tree */
#define NU_RTBT_RTHREAD   0x0002u /* right is a thread to the successor (the head for the last node) */
#define NU_RTBT_FIRST     0x0004u /* first node in order */
#define NU_RTBT_LAST      0x0008u /* last node in order */
#define NU_RTBT_SEQ       0x0010u /* reserved for the sequenced tree */
#define NU_RTBT_BALANCE   0x00E0u /* signed 3-bit balance factor, right height minus left */
#define NU_RTBT_NEWROOT   0x000Eu /* flags of a new root: right thread, first and last */

/* Maximum depth of a descent, and the size of the path stack of removals. */
#define NU_RTBT_MAXDEPTH  48

/* The tree head, laid out like a node so that a descent can start at the
 * head and treat the root as its left child. It cannot be moved with a plain
 * copy: the last node's thread points at `self`. */
typedef struct NuRTBT {
    NuRTBTNode *root; /* in the position of `left` */
    void *self;       /* always the head's own address, in the position of `right` */
    uintptr_t reserved;
    uintptr_t count;  /* nodes entered through the counted operations */
} NuRTBT;

#ifdef __cplusplus
}
#endif

#endif /* NU_H */
