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
#include <sys/time.h>
#include <time.h>

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

/* The element table of a tree: how to duplicate, release, compare and print
 * the element words that nodes hold. */
typedef struct NuBtninfo {
    /* element = dup(user-info, 0, 0, status); null (0) means failure, status filled */
    uintptr_t (*dup)(uintptr_t info, uintptr_t arg1, uintptr_t arg2, VeskErr *status);
    /* count = retain(element, status); for callers, the tree never calls it */
    int32_t (*retain)(uintptr_t element, VeskErr *status);
    /* release(element, 1, 0) when an element held by the tree goes away */
    int32_t (*release)(uintptr_t element, uint32_t flags, VeskErr *status);
    /* compare(node's data, request): only the sign counts */
    intptr_t (*compare)(uintptr_t a, uintptr_t b);
    /* dump(context, element, level), by NuRTBTDump only */
    void (*dump)(void *context, uintptr_t element, int32_t level);
} NuBtninfo;

/* Plain words: dup returns its argument, compare subtracts as unsigned words. */
VESK_API extern const NuBtninfo _G_default_btninfo_opv;
/* Runtime objects: dup takes a reference, release drops one. */
VESK_API extern NuBtninfo _G_ucntl_btninfo_opv;

/* Result of the NuRTBTRemove forms when nothing was removed. */
#define NU_RTBT_NOELEMENT UINTPTR_MAX

/* Orders of NuBTWalk. */
#define NU_BTWALK_PREORDER  1
#define NU_BTWALK_POSTORDER 2
#define NU_BTWALK_INORDER   0

/* Called at each node of a walk; 0 or below stops it. */
typedef int64_t (*NuBTWalkfn)(uintptr_t element, void *argument, void *context, VeskErr *status);

VESK_API NuRTBT *NuRTBTCreate(VeskErr *status);
VESK_API int64_t NuRTBTInit(NuRTBT *tree);
VESK_API int64_t NuRTBTInit_cp(NuRTBT *tree, const NuRTBT *source, const NuBtninfo *btninfo,
                               VeskErr *status);
VESK_API int64_t NuRTBTInit_mv(NuRTBT *tree, NuRTBT *source);
VESK_API void NuRTBTDestroy(NuRTBT *tree, const NuBtninfo *btninfo);
VESK_API void NuRTBTFree(NuRTBT *tree, const NuBtninfo *btninfo);

VESK_API NuRTBTNode *NuRTBTFind(const NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status);

/* Element level: the tree allocates the node and owns the element (dup). */
VESK_API NuRTBTNode *NuRTBTInsert(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                  int dups, VeskErr *status);
VESK_API NuRTBTNode *NuRTBTInsert_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t userinfo,
                                    int dups, VeskErr *status);
VESK_API int64_t NuRTBTDelete(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                              VeskErr *status);
VESK_API int64_t NuRTBTDelete_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status);
/* Frees the node and hands the element to the caller; NU_RTBT_NOELEMENT on failure. */
VESK_API uintptr_t NuRTBTRemove(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status);
VESK_API uintptr_t NuRTBTRemove_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status);

/* Node level: the caller owns node and element; `data` must be set. */
VESK_API NuRTBTNode *NuRTBTInsnode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, VeskErr *status);
VESK_API NuRTBTNode *NuRTBTInsnode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                     int dups, VeskErr *status);
VESK_API NuRTBTNode *NuRTBTRmnode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status);
VESK_API NuRTBTNode *NuRTBTRmnode_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                    VeskErr *status);

/* Link level: no count, no report; `first` and `last` (each may be null) are
 * written when the first or last node changes. */
VESK_API int64_t _NuRTBTLinknode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                 int dups, NuRTBTNode **first, NuRTBTNode **last);
VESK_API int64_t _NuRTBTLinknode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, NuRTBTNode **first, NuRTBTNode **last);
VESK_API NuRTBTNode *_NuRTBTUnlinknode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                       NuRTBTNode **first, NuRTBTNode **last);
VESK_API NuRTBTNode *_NuRTBTUnlinknode_b(NuRTBT *tree, const NuBtninfo *btninfo,
                                         uintptr_t request, NuRTBTNode **first,
                                         NuRTBTNode **last);

/* Calls fn(element, argument, context, status) at each node in `order`. An
 * empty tree gives 1; a stop gives 0; else the last result. */
VESK_API int64_t NuBTWalk(const NuRTBT *tree, void *argument, int order, NuBTWalkfn fn,
                          void *context, VeskErr *status);
VESK_API void NuRTBTDump(const NuRTBT *tree, const NuBtninfo *btninfo, void *context);

/* ------------------------------------------------------------------------ */
/* Memory                                                                    */
/* ------------------------------------------------------------------------ */

/* The allocator table through which every allocation of the library goes. */
typedef struct NuMallocOpv {
    void *(*mm_alloc)(size_t size);
    void *(*mm_calloc)(size_t count, size_t size);
    void *(*mm_realloc)(void *block, size_t size);
    void (*mm_free)(void *block);
} NuMallocOpv;

/* Silent tier: the table's result, nothing reported. */
VESK_API void *NuMalloc(size_t size);
VESK_API void *NuMcalloc(size_t count, size_t size);
VESK_API void *NuMrealloc(void *block, size_t size);
VESK_API void NuMfree(void *block);

/* Reporting tier: a null result is reported (code 32773, variant 1). */
VESK_API void *_NuMalloc(size_t size, VeskErr *status);
VESK_API void *_NuMcalloc(size_t count, size_t size, VeskErr *status);
VESK_API void *_NuMrealloc(void *block, size_t size, VeskErr *status);
VESK_API void _NuMfree(void *block);

/* Copies the table to `old` (if given); installs the non-null slots of
 * `newopv` while no allocation has been made yet (0), else -1. */
VESK_API int64_t _NuMallocOpv(const NuMallocOpv *newopv, NuMallocOpv *old);

/* The C heap itself, for blocks shared with the default allocators. */
VESK_API void *nu_malloc(size_t size);
VESK_API void *nu_calloc(size_t count, size_t size);
VESK_API void *nu_realloc(void *block, size_t size);
VESK_API void nu_free(void *block);

/* Non-zero: the live-block bookkeeping prints its "test malloc" lines. */
VESK_API extern int32_t _G_NuMalloc_verbose;

/* ------------------------------------------------------------------------ */
/* Time and sleeping                                                         */
/* ------------------------------------------------------------------------ */

/* The library's time value: microseconds since 1970-01-01 00:00:00 UTC. */
typedef int64_t NuTimevalue;

/* Broken-down time with the microseconds. */
typedef struct NuTm {
    int32_t tm_usec;
    struct tm tm;
} NuTm;

/* Calendar record of the Windows file-time conversions. */
typedef struct NuW32SystemTime {
    uint16_t wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} NuW32SystemTime;

VESK_API int64_t NuGettimeofday(struct timeval *tv, VeskErr *err);
VESK_API NuTimevalue NuTime(NuTimevalue *out, VeskErr *err);
/* The C text of the time with ":uuuuuu" behind the seconds; 33 bytes. */
#define NU_CTIME_BUFSIZE 33
VESK_API char *NuCtime(const NuTimevalue *time, char *buffer, VeskErr *err);
VESK_API NuTm *NuGmtime(const NuTimevalue *time, NuTm *record, VeskErr *err);
VESK_API NuTm *NuLocaltime(const NuTimevalue *time, NuTm *record, VeskErr *err);
VESK_API NuTimevalue NuMkgmtime(NuTm *record, VeskErr *err);
VESK_API NuTimevalue NuMklocaltime(NuTm *record, VeskErr *err);

VESK_API uint64_t NuTick(void);
VESK_API uint64_t NuTickpersec(void);
VESK_API uint64_t NuTickpermsec(void);
VESK_API uint64_t NuTickperusec(void);

VESK_API int64_t NuTimevalFromW32FileTime(struct timeval *tv, const uint64_t *filetime,
                                          void *unused);
VESK_API int64_t NuTimevalToW32FileTime(const struct timeval *tv, uint64_t *filetime,
                                        void *unused);
VESK_API int64_t NuTimevalFromW32SytemTime(struct timeval *tv, const NuW32SystemTime *systime,
                                           VeskErr *err);
VESK_API int64_t NuTimevalToW32SytemTime(const struct timeval *tv, NuW32SystemTime *systime,
                                         VeskErr *err);

VESK_API int64_t NuSleep(uint64_t seconds, VeskErr *err);
VESK_API int64_t NuMsleep(uint64_t milliseconds, VeskErr *err);
VESK_API int64_t NuUsleep(int64_t microseconds, VeskErr *err);
VESK_API int64_t NuNanosleep(const struct timespec *request, struct timespec *remainder,
                             VeskErr *err);
/* The C library lacks this twin; gettimeofday, sleep, usleep and nanosleep
 * are the C library's own. */
VESK_API int32_t msleep(uint32_t milliseconds);

#ifdef __cplusplus
}
#endif

#endif /* NU_H */
