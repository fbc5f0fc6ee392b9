/* SPDX-License-Identifier: MIT */
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

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

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
/* The status of a facility and a code: (facility << 16) | code as a signed
 * 32-bit number, sign-extended to 64 bits. */
#define VESK_STATUS(facility, code) \
    ((int64_t)(int32_t)(((uint32_t)(facility) << 16) | ((uint32_t)(code) & 0xFFFFu)))
/* Passes a nested failure on under the caller's own facility: the code,
 * syserr, variant and message stay. A null record is left alone. */
#define VESK_STATUS_RESTAMP(err, facility)                                          \
    do {                                                                            \
        VeskErr *vesk_restamped_ = (err);                                           \
        if (vesk_restamped_ != NULL)                                                \
            vesk_restamped_->status = VESK_STATUS((facility), vesk_restamped_->status); \
    } while (0)

/* ------------------------------------------------------------------------ */
/* Codes and facilities                                                      */
/* ------------------------------------------------------------------------ */

/* Every code a report can carry, with its number: the low half of a status.
 * The stock error service has one group of sentences for each of them. The
 * high byte is the class (0x01 arguments, 0x02 permission and resources,
 * 0x03 object state, 0x04 operations, 0x05 multibyte text and syntax, 0x06
 * authentication, 0x07 numeric range, 0x80 system and processes, 0x81
 * devices, 0x82 files, 0x83 sockets, 0xC0 names, attributes, entries and
 * services). Use it as VESK_CODE_MAP(XX) with XX(name, number). */
#define VESK_CODE_MAP(XX) \
    XX(2BIG,                 257) \
    XX(FAULT,                258) \
    XX(INVAL,                259) \
    XX(EMPTYSTR,             260) \
    XX(BUFSMALL,             261) \
    XX(PERM,                 513) \
    XX(ACCES,                514) \
    XX(DEADLK,               515) \
    XX(WOULDBLOCK,           516) \
    XX(BUSY,                 517) \
    XX(NOTREADY,             518) \
    XX(AGAIN,                519) \
    XX(BADSTATE,             769) \
    XX(OBJNOTREADY,          770) \
    XX(WRONGSTATE,           771) \
    XX(ALREADYSTATE,         772) \
    XX(DESTRUCTIVE,          773) \
    XX(INAPPROPRIATE,       1025) \
    XX(NOTIMPL,             1026) \
    XX(INAPPROPRIATE_IMPL,  1027) \
    XX(OPNOTSUPP,           1028) \
    XX(NOTSUP,              1029) \
    XX(INPROGRESS,          1030) \
    XX(ALREADY,             1031) \
    XX(CANCELED,            1032) \
    XX(INTR,                1033) \
    XX(TIMEDOUT,            1034) \
    XX(UNWILLING,           1035) \
    XX(INAPPROPRIATE_NOW,   1036) \
    XX(OPNOTSUPP_NOW,       1037) \
    XX(ILSEQ,               1281) \
    XX(INCOMPLETESEQ,       1282) \
    XX(BADUNICODE,          1283) \
    XX(MBBUFSMALL,          1284) \
    XX(TOKENTOOLONG,        1285) \
    XX(SYNTAX,              1286) \
    XX(SYNTAX_END,          1287) \
    XX(SYNTAX_UNMATCHED,    1288) \
    XX(SYNTAX_EMPTY,        1289) \
    XX(SYNTAX_UNEXPECTED,   1290) \
    XX(SYNTAX_MISSING,      1291) \
    XX(SYNTAX_BADTOKEN,     1292) \
    XX(AUTH,                1537) \
    XX(NEEDAUTH,            1538) \
    XX(DOM,                 1793) \
    XX(RANGE,               1794) \
    XX(SYSTEM,             32769) \
    XX(SRCH,               32770) \
    XX(NOEXEC,             32771) \
    XX(CHILD,              32772) \
    XX(NOMEM,              32773) \
    XX(PROCLIM,            32774) \
    XX(USERS,              32775) \
    XX(DQUOT,              32776) \
    XX(IO,                 33025) \
    XX(NXIO,               33026) \
    XX(NOTBLK,             33027) \
    XX(STREAMSEEK,         33028) \
    XX(NOTSUPDEV,          33029) \
    XX(NOPORTS,            33030) \
    XX(NOENT,              33281) \
    XX(BADF,               33282) \
    XX(MOUNTBUSY,          33283) \
    XX(EXIST,              33284) \
    XX(XDEV,               33285) \
    XX(NODEV,              33286) \
    XX(NOTDIR,             33287) \
    XX(ISDIR,              33288) \
    XX(NFILE,              33289) \
    XX(MFILE,              33290) \
    XX(NOTTY,              33291) \
    XX(TXTBSY,             33292) \
    XX(FBIG,               33293) \
    XX(NOSPC,              33294) \
    XX(SPIPE,              33295) \
    XX(ROFS,               33296) \
    XX(MLINK,              33297) \
    XX(LOOP,               33298) \
    XX(NAMETOOLONG,        33299) \
    XX(NOTEMPTY,           33300) \
    XX(NOLCK,              33301) \
    XX(NOTSOCK,            33537) \
    XX(DESTADDRREQ,        33538) \
    XX(MSGSIZE,            33539) \
    XX(PROTOTYPE,          33540) \
    XX(NOPROTOOPT,         33541) \
    XX(PROTONOSUPPORT,     33542) \
    XX(SOCKTNOSUPPORT,     33543) \
    XX(SOCKOPNOTSUPP,      33544) \
    XX(PFNOSUPPORT,        33545) \
    XX(AFNOSUPPORT,        33546) \
    XX(ADDRINUSE,          33547) \
    XX(ADDRNOTAVAIL,       33548) \
    XX(NETDOWN,            33549) \
    XX(NETUNREACH,         33550) \
    XX(NETRESET,           33551) \
    XX(CONNABORTED,        33552) \
    XX(CONNRESET,          33553) \
    XX(NOBUFS,             33554) \
    XX(ISCONN,             33555) \
    XX(NOTCONN,            33556) \
    XX(SHUTDOWN,           33557) \
    XX(CONNREFUSED,        33558) \
    XX(HOSTDOWN,           33559) \
    XX(HOSTUNREACH,        33560) \
    XX(PIPE,               33561) \
    XX(BADMSG,             33562) \
    XX(NAMESYNTAX,         49169) \
    XX(NOMATCH,            49170) \
    XX(ENTRYNAMELONG,      49171) \
    XX(ATTRSYNTAX,         49185) \
    XX(NOATTR,             49186) \
    XX(ATTREXISTS,         49187) \
    XX(ENTRYEXISTS,        49201) \
    XX(NOPARENT,           49202) \
    XX(NOTALLOWED,         49203) \
    XX(COMPOUND,           49204) \
    XX(NOTCOMPOUND,        49205) \
    XX(COMPOUNDEMPTY,      49206) \
    XX(COMPOUNDNOTEMPTY,   49207) \
    XX(COMPOUNDOVERFLOW,   49208) \
    XX(INSERTED,           49209) \
    XX(NOTINSERTED,        49210) \
    XX(MOUNTED,            49211) \
    XX(NOTMOUNTED,         49212) \
    XX(MULTIMOUNT,         49213) \
    XX(NOTMOUNTPOINT,      49214) \
    XX(NOTMOUNTABLE,       49215) \
    XX(SERVICE,            49217) \
    XX(TOOBUSY,            49218) \
    XX(TOODEEP,            49219)

/* The facility, the high half of a status, says who reported. The lower
 * layer uses fixed numbers; an operation set of the runtime reports under
 * its family, the second number of its identifier, and the two share one
 * number space. XX(name, number). */
#define VESK_FACILITY_MAP(XX) \
    XX(NONE,        0) /* no particular family: handle locks, threads, _NuMalloc... */ \
    XX(STUB,        1) /* "modules/stub" and its sets */ \
    XX(NOTHERE,   100) /* what this platform lacks */ \
    XX(STAT,      101) /* NuStat and its kin */ \
    XX(OPEN,      102) /* NuOpen, NuDup, NuFlock, NuMkunmode */ \
    XX(FDIO,      103) /* NuClose, NuRead, NuWrite, NuLseek, NuTell */ \
    XX(FSCALL,    104) /* NuChdir, NuGetcwd, NuRemove, NuRename, ... */ \
    XX(SPAWN,     105) /* NuSpawnv and its twins */ \
    XX(WAIT,      106) /* NuWait, NuWaitpid_rel */ \
    XX(TIME,      107) /* NuTime, NuGettimeofday, NuNanosleep, ... */ \
    XX(CMODE,     200) /* NuMkcmode */ \
    XX(URIOPEN,   201) /* NuFopen2_uri */ \
    XX(DIR,       202) /* directory streams */ \
    XX(WPATH,     203) /* NuFSpath2Wpath, NuWpath2FSpath */ \
    XX(SLEEP,     204) /* NuSleep, NuMsleep, NuUsleep */ \
    XX(TOKEN,     504) /* tokeniser and splitter */ \
    XX(RTBT,      506) /* balanced trees */ \
    XX(ZONE,      508) /* zone allocator */ \
    XX(RUNTIME,  1000) /* the object runtime proper */ \
    XX(CTOR,     1003) /* constructor sets and the VeskAlloc front end */ \
    XX(DUP,      1004) /* duplication sets */ \
    XX(DESTOR,   1005) /* destructor sets */ \
    XX(UCNTL,    1006) /* reference counts and descriptors */ \
    XX(ERR,      1008) /* the error service */ \
    XX(CCSI,     1009) /* charset identification */ \
    XX(CCSCONV,  1010) /* charset conversion */ \
    XX(CCSCVT,   1011) /* charset converters */ \
    XX(NOTIFIER, 1017) /* notifiers */ \
    XX(LISTENER, 1019) /* listeners */ \
    XX(URI,      1090) /* URI front ends */ \
    XX(LOGMSG,   1190) /* log messages */

#define VESK_CODE_ENUM_(name, number) VESK_E_##name = (number),
#define VESK_FACILITY_ENUM_(name, number) VESK_FAC_##name = (number),
/* VESK_E_INVAL, VESK_E_NOMEM, VESK_E_NOMATCH, ... */
enum VeskCode { VESK_CODE_MAP(VESK_CODE_ENUM_) VESK_E_END_ = 0x10000 };
/* VESK_FAC_NONE, VESK_FAC_ZONE, VESK_FAC_RUNTIME, ... */
enum VeskFacility { VESK_FACILITY_MAP(VESK_FACILITY_ENUM_) VESK_FAC_END_ = 0x10000 };
#undef VESK_CODE_ENUM_
#undef VESK_FACILITY_ENUM_

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

/* A tree's head. NuRTBTCreate allocates an empty one through the allocator
 * table: null after a report of the failed allocation (facility 506).
 * NuRTBTInit makes `tree` an empty head where it stands; always 0. */
VESK_API NuRTBT *NuRTBTCreate(VeskErr *status);
VESK_API int64_t NuRTBTInit(NuRTBT *tree);
/* Fills the head `tree` with a copy of `source`: a new node for each node,
 * its element made by `btninfo`'s dup, in the same shape and order. 1 when
 * something was copied, 0 for an empty source; -1 after a failed dup or
 * allocation (reported), with what was copied released again. */
VESK_API int64_t NuRTBTInit_cp(NuRTBT *tree, const NuRTBT *source, const NuBtninfo *btninfo,
                               VeskErr *status);
/* Moves the nodes of `source` to the head `tree` (a head cannot be moved by
 * a plain copy: the last node's thread points at it) and leaves `source` all
 * zeros; always 0. */
VESK_API int64_t NuRTBTInit_mv(NuRTBT *tree, NuRTBT *source);
/* NuRTBTDestroy frees the tree's counted nodes, releasing each element
 * through `btninfo` when it is given, and leaves the head all zeros until it
 * is initialised again; nodes the caller linked stay the caller's.
 * NuRTBTFree does the same and then frees a head made by NuRTBTCreate. */
VESK_API void NuRTBTDestroy(NuRTBT *tree, const NuBtninfo *btninfo);
VESK_API void NuRTBTFree(NuRTBT *tree, const NuBtninfo *btninfo);

/* A node whose element compares equal to `request` under `btninfo`'s
 * compare; null when there is none, reported with code 49170 ("@request"),
 * facility 506. */
VESK_API NuRTBTNode *NuRTBTFind(const NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                VeskErr *status);

/* Element level: the tree allocates the node and owns the element (dup).
 * The _b forms keep the tree balanced; the others neither rebalance nor need
 * a balanced tree. With `dups` 0 an element equal to one in the tree is
 * refused (code 49201); a descent deeper than NU_RTBT_MAXDEPTH is refused
 * (49219) and a request that matches nothing is reported with 49170, all
 * with facility 506. Insert gives the new node, or null with the tree as it
 * was; Delete releases the element and frees the node: 0, or -1. */
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

/* Node level: the caller owns node and element; `data` must be set. The
 * nodes are counted, and refusals reported, as at the element level; Insnode
 * gives `node` and Rmnode the node taken out, or null. */
VESK_API NuRTBTNode *NuRTBTInsnode(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                   int dups, VeskErr *status);
VESK_API NuRTBTNode *NuRTBTInsnode_b(NuRTBT *tree, const NuBtninfo *btninfo, NuRTBTNode *node,
                                     int dups, VeskErr *status);
VESK_API NuRTBTNode *NuRTBTRmnode(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                  VeskErr *status);
VESK_API NuRTBTNode *NuRTBTRmnode_b(NuRTBT *tree, const NuBtninfo *btninfo, uintptr_t request,
                                    VeskErr *status);

/* Link level: no count, no report; `first` and `last` (each may be null) are
 * written when the first or last node changes. Linknode gives 0, or -1 when
 * refused; Unlinknode gives the node taken out, or null. */
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
/* Zones: fixed-size objects with reference counts                           */
/* ------------------------------------------------------------------------ */

typedef struct NuZmalloc NuZmalloc;

/* A zone hook: (user data, object); its result is not looked at. */
typedef int64_t (*NuZmallocHook)(void *user_data, void *object);

/* The hooks of a zone. */
typedef struct NuZmallocUctx {
    NuZmallocHook once_init;    /* first hand-out of a granule */
    NuZmallocHook once_fini;    /* zone destroyed: each granule ever handed out */
    NuZmallocHook get_init;     /* every hand-out, behind once_init */
    NuZmallocHook release_fini; /* count reaches 0; zone destroyed with the object out */
    void *user_data;            /* first argument of every hook */
} NuZmallocUctx;

/* The hooks as _NuZmallocOpen_v2 takes them: `user_data_size` bytes of
 * `user_data` are copied behind the zone record, and the hooks get the copy. */
typedef struct NuZmallocUctx_v2 {
    NuZmallocHook once_init;
    NuZmallocHook once_fini;
    NuZmallocHook get_init;
    NuZmallocHook release_fini;
    void *user_data;
    size_t user_data_size;
} NuZmallocUctx_v2;

/* A link-list head: first and last element, or the head itself when empty. */
typedef struct NuZmallocList {
    void *first;
    void *last;
} NuZmallocList;

/* The zone record. Callers may replace `destroy` after opening (calling
 * _NuZmallocDestroyDefault from theirs) and read `object_size`. */
struct NuZmalloc {
    uintptr_t version;          /* 1: _NuZmallocOpen, 2: _NuZmallocOpen_v2 */
    int64_t (*destroy)(NuZmalloc *zone, uint32_t flags, VeskErr *status);
    uintptr_t lock;             /* spin word: 0 free, 1 held */
    intptr_t refs;              /* -1: caller's memory, uncounted; else opener + objects out */
    NuMallocOpv allocator;      /* private copy */
    NuZmallocUctx uctx;
    uintptr_t granularity;      /* granules per chunk */
    uintptr_t object_size;      /* usable bytes of a granule */
    NuZmallocList chunks;
    uintptr_t chunk_count;
    NuZmallocList free;         /* free granules, a stack */
    uintptr_t free_count;
};

#define NU_ZMALLOC_GRANULARITY 64 /* granules per chunk when 0 is given */
#define NU_ZMALLOC_DESTROY_NOW 0x1u

/* Opens a zone of objects of `object_size` bytes, made `granularity` to a
 * chunk (0: NU_ZMALLOC_GRANULARITY) through `allocator` (null: the library's
 * table), with the hooks of `uctx` (may be null). With `zone` null the record
 * is allocated and counted as a reference of the opener; else `zone` is the
 * caller's memory and is not counted. The zone, or null after a report
 * (facility 508): code 259 for a size of 0 or an allocator without mm_alloc
 * or mm_free, 32773 when the record cannot be allocated. */
VESK_API NuZmalloc *_NuZmallocOpen(NuZmalloc *zone, const NuMallocOpv *allocator,
                                   const NuZmallocUctx *uctx, uintptr_t granularity,
                                   uintptr_t object_size, VeskErr *status);
VESK_API NuZmalloc *_NuZmallocOpen_v2(NuZmalloc *zone, const NuMallocOpv *allocator,
                                      const NuZmallocUctx_v2 *uctx, uintptr_t granularity,
                                      uintptr_t object_size, VeskErr *status);
/* The count left while the zone lives on, else 0. */
VESK_API int64_t _NuZmallocClose(NuZmalloc *zone, uint32_t flags, VeskErr *status);
/* The stock destructor: hooks for the granules, then the chunks go; 0.
 * `flags` and `status` are not used. */
VESK_API int64_t _NuZmallocDestroyDefault(NuZmalloc *zone, uint32_t flags, VeskErr *status);
VESK_API void *_NuZmallocGet(NuZmalloc *zone, VeskErr *status);
/* As _NuZmallocGet, but grows only a zone that has no chunk yet. */
VESK_API void *_NuZmallocGet0(NuZmalloc *zone, VeskErr *status);
VESK_API uintptr_t _NuZmallocGranularity(const NuZmalloc *zone);
VESK_API int64_t _NuZmallocHasfreeg(NuZmalloc *zone);
VESK_API NuZmallocUctx *_NuZmallocUctx(NuZmalloc *zone);

/* By the object alone, through the two words in front of it. */
VESK_API NuZmalloc *_NuZmPtrOwner(const void *object);
VESK_API intptr_t _NuZmPtrRetain(void *object);
VESK_API intptr_t _NuZmPtrRetainValue(const void *object);
VESK_API intptr_t _NuZmPtrRelease(void *object);

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

/* The wall clock. NuGettimeofday fills `tv`: 0, or -1 after a report
 * (facility 107: code 258 for a null `tv`, 32769 when the clock fails).
 * NuTime gives the time in microseconds since 1970 and stores it in `out`
 * when given; -1 after the same reports. */
VESK_API int64_t NuGettimeofday(struct timeval *tv, VeskErr *err);
VESK_API NuTimevalue NuTime(NuTimevalue *out, VeskErr *err);
/* The C text of the time with ":uuuuuu" behind the seconds; 33 bytes. */
#define NU_CTIME_BUFSIZE 33
/* Calendar forms of a time value (null: now). NuCtime writes the local
 * time's text into `buffer` (NU_CTIME_BUFSIZE bytes; null: a buffer of the
 * calling thread's, valid until its next such call) and gives it; NuGmtime
 * and NuLocaltime fill `record` (null: one of the thread's) with the UTC or
 * local fields and give it. NuMkgmtime and NuMklocaltime give the time value
 * of a record's UTC or local fields, normalising them. A refusal of the C
 * library's calendar gives null or -1 and reports code 32769 with its errno
 * in the message; a null record reports code 258. */
VESK_API char *NuCtime(const NuTimevalue *time, char *buffer, VeskErr *err);
VESK_API NuTm *NuGmtime(const NuTimevalue *time, NuTm *record, VeskErr *err);
VESK_API NuTm *NuLocaltime(const NuTimevalue *time, NuTm *record, VeskErr *err);
VESK_API NuTimevalue NuMkgmtime(NuTm *record, VeskErr *err);
VESK_API NuTimevalue NuMklocaltime(NuTm *record, VeskErr *err);

/* The high-resolution counter. NuTick gives the ticks since the library's
 * time base was calibrated, on CLOCK_MONOTONIC, which setting the wall clock
 * does not move; the Tickper forms give the ticks in a second, a millisecond
 * and a microsecond (nanoseconds here: 1000000000, 1000000 and 1000). */
VESK_API uint64_t NuTick(void);
VESK_API uint64_t NuTickpersec(void);
VESK_API uint64_t NuTickpermsec(void);
VESK_API uint64_t NuTickperusec(void);

/* A timeval to and from a Windows file time (100 ns units since 1601) and a
 * Windows calendar record. The file-time forms give 0, or -1 with errno
 * EFAULT and no report for a null pointer; their third argument is not used,
 * and times outside the file time's range wrap. The system-time forms give
 * 0, or -1 after a report of code 259 (facility 107) for a null pointer or a
 * time or record out of range. */
VESK_API int64_t NuTimevalFromW32FileTime(struct timeval *tv, const uint64_t *filetime,
                                          void *unused);
VESK_API int64_t NuTimevalToW32FileTime(const struct timeval *tv, uint64_t *filetime,
                                        void *unused);
VESK_API int64_t NuTimevalFromW32SytemTime(struct timeval *tv, const NuW32SystemTime *systime,
                                           VeskErr *err);
VESK_API int64_t NuTimevalToW32SytemTime(const struct timeval *tv, NuW32SystemTime *systime,
                                         VeskErr *err);

/* Sleeps on the monotonic clock: NuSleep for seconds, NuMsleep
 * milliseconds, NuUsleep microseconds (in whole milliseconds, at least one),
 * NuNanosleep a timespec (in milliseconds modulo 2^32, at least one). 0
 * milliseconds gives the processor up; 0xFFFFFFFF sleeps until a signal
 * handler runs. 0 after the sleep; -1 with errno EINTR and no report when a
 * signal handler cut it short (NuNanosleep then stores what was left in
 * `remainder`). A longer or negative request is refused with -1 and code 259,
 * facility 204; a null `request` with code 258, facility 107. */
VESK_API int64_t NuSleep(uint64_t seconds, VeskErr *err);
VESK_API int64_t NuMsleep(uint64_t milliseconds, VeskErr *err);
VESK_API int64_t NuUsleep(int64_t microseconds, VeskErr *err);
VESK_API int64_t NuNanosleep(const struct timespec *request, struct timespec *remainder,
                             VeskErr *err);
/* NuMsleep without a status record. The C library lacks this twin;
 * gettimeofday, sleep, usleep and nanosleep are the C library's own. */
VESK_API int32_t msleep(uint32_t milliseconds);

/* ------------------------------------------------------------------------ */
/* Hashes, edit distance, shell patterns, case tables                        */
/* ------------------------------------------------------------------------ */

/* The ELF hash, from 0; 0 for null or empty input, and for a span that would
 * run past the end of the address space. */
VESK_API uint32_t NuBhash(const void *data, size_t length);
VESK_API uint32_t NuStrhash(const char *string);
VESK_API uint32_t NuStrnhash(const char *string, size_t maximum);
VESK_API uint32_t NuWcshash(const char16_t *string);

/* Weighted edit distance; a length of -1 means "up to the terminator", one
 * below -1 counts as 0, and a null string with -1 or 0 is empty. The distance
 * is 0 to INT32_MAX. -1 when it can't be given, with errno set: EINVAL for a
 * negative cost, a null string with a length above 0 or a length whose span
 * runs past the end of the address space; EOVERFLOW for a distance above
 * INT32_MAX; ENOMEM when the rows (8 bytes per unit of s2, past 511 units
 * from the C heap) can't be had. There is no status record to report to. */
VESK_API int32_t NuLevenshtein(const char *s1, int64_t n1, const char *s2, int64_t n2,
                               int32_t insert_cost, int32_t replace_cost, int32_t delete_cost);
VESK_API int32_t NuWLevenshtein(const char16_t *s1, int64_t n1, const char16_t *s2, int64_t n2,
                                int32_t insert_cost, int32_t replace_cost, int32_t delete_cost);

/* Shell pattern compare with "*", "?" (one character or none) and "{a,b}":
 * 0 on a match, else the result of the failing comparison (text unit minus
 * pattern unit, or the text unit a trailing wildcard stopped at); a
 * malformed list gives NU_SHELLCMP_MALFORMED. With `dots` set, wildcards
 * don't match a period. A null text or pattern reads as empty. Time is at
 * most text length x pattern length, the stack is fixed. A run of "?" behind
 * another wildcard, or a list between a wildcard and a later star, over a
 * text of 4096 units or more takes a block of a quarter of the text's length
 * in bytes from the C heap; if it can't be had, the answer is
 * NU_SHELLCMP_MALFORMED. */
#define NU_SHELLCMP_MALFORMED ((int32_t)0x8FFFFFFF)
VESK_API int32_t strshellcmp3(const char *text, const char *pattern, int32_t dots);
VESK_API int32_t wcsshellcmp3(const char16_t *text, const char16_t *pattern, int32_t dots);

/* Case mapping of 16-bit units independent of any locale: a unit, or a
 * NUL-ended string mapped in place (the string forms give `string`). */
VESK_API char16_t NuTowlower_c(char16_t unit);
VESK_API char16_t NuTowupper_c(char16_t unit);
VESK_API char16_t *NuWcslwr_c(char16_t *string);
VESK_API char16_t *NuWcsupr_c(char16_t *string);

/* ------------------------------------------------------------------------ */
/* Open flags and mode strings                                               */
/* ------------------------------------------------------------------------ */

/* The library's open flags. The mode strings produce them and the open calls
 * take them; their numbers are the library's own and differ from the
 * platform's O_* values, to which the open call translates them. */
#define NU_O_RDONLY    0x00000000 /* read only: access bits 0 */
#define NU_O_WRONLY    0x00000001 /* write only: access bits 1 */
#define NU_O_RDWR      0x00000002 /* read and write: access bits 2 */
#define NU_O_ACCMODE   0x00000003 /* the access bits */
#define NU_O_APPEND    0x00000008 /* every write goes to the end */
#define NU_O_NOINHERIT 0x00000080 /* not inherited by programs the process runs (O_CLOEXEC) */
#define NU_O_CREAT     0x00000100 /* create the file if it is missing, with the permission given */
#define NU_O_TRUNC     0x00000200 /* cut an existing file to length 0 */
#define NU_O_EXCL      0x00000400 /* with NU_O_CREAT: fail if the file exists */
#define NU_O_TEXT      0x00004000 /* text: accepted, no effect on this platform */
#define NU_O_BINARY    0x00008000 /* binary: accepted, no effect on this platform */
#define NU_O_WTEXT     0x00010000 /* 16-bit text: accepted, no effect */
#define NU_O_U16TEXT   0x00020000 /* UTF-16 text: accepted, no effect */
#define NU_O_U8TEXT    0x00040000 /* UTF-8 text: accepted, no effect */
#define NU_O_TEXTMASK  0x00074000 /* every text bit */
#define NU_O_SHLOCK    0x01000000 /* shared lock: others may read, nobody else may write */
#define NU_O_EXLOCK    0x02000000 /* exclusive lock: nobody else may open the file */
#define NU_O_CARRIED   0x10000000 /* carried through the mode strings; no call acts on it */

/* Permission a C-language mode string gives a new file: octal 0644. */
#define NU_MODE_DEFAULT_PERM 0644
/* Units that hold every string NuCcmode / NuCunmode can make, NUL included. */
#define NU_CMODE_SIZE  3
#define NU_UNMODE_SIZE 24

/* Mode strings to open flags. The C language is that of fopen ("r", "w+",
 * "ab"), with an optional prefix "libc:"; the unix language, with the prefix
 * "unix:", names the access, NU_O_* letters and the permission of a new file
 * ("unix:rwc, 0644", "unix:wc,u=rw g=r o=r"). NuMkcmode reads the C language,
 * NuMkunmode the unix language (the prefix optional), NuMkcunmode the unix
 * language behind "unix:" and the C language otherwise. On success the
 * flags go to `flags` and the permission (0644 for the C language, masked
 * to 0xFFF) to `perm` unless it is null; 0. A refused mode gives -1 with
 * nothing stored, after a report of code 259 with variant 2: facility 200
 * and "@mode" from the C reader, facility 102 and "@flags" or "@perm" from
 * the unix reader. A null `mode` or `flags` is code 258 under the same
 * facility ("@mode", "@flags"). The W forms read 16-bit units and give
 * their own names in reports. */
VESK_API int64_t NuMkcmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err);
VESK_API int64_t NuMkunmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err);
VESK_API int64_t NuMkcunmode(const char *mode, int32_t *flags, int32_t *perm, VeskErr *err);
VESK_API int64_t NuWmkcmode(const char16_t *mode, int32_t *flags, int32_t *perm, VeskErr *err);
VESK_API int64_t NuWmkunmode(const char16_t *mode, int32_t *flags, int32_t *perm, VeskErr *err);
VESK_API int64_t NuWmkcunmode(const char16_t *mode, int32_t *flags, int32_t *perm, VeskErr *err);

/* Open flags to mode strings. NuCcmode writes the C-language string of
 * `flags` ("r", "r+", "w", "w+", "a", "a+"; at most NU_CMODE_SIZE units with
 * the NUL), NuCunmode the unix-language string with the permission shown
 * when NU_O_CREAT is set ("unix: rwc, 0644"; at most NU_UNMODE_SIZE units).
 * The result is the length in units without the NUL; a null `buffer` only
 * measures. They never fail; `buffer` must hold the size above. The readers
 * read back what they write, text and binary bits aside; the permission is
 * written as three octal digits, without the bits above 0777. */
VESK_API int32_t NuCcmode(char *buffer, int32_t flags);
VESK_API int32_t NuCunmode(char *buffer, int32_t flags, int32_t perm);
VESK_API int32_t NuWcmode(char16_t *buffer, int32_t flags);
VESK_API int32_t NuWunmode(char16_t *buffer, int32_t flags, int32_t perm);

/* ------------------------------------------------------------------------ */
/* Growable strings                                                          */
/* ------------------------------------------------------------------------ */

/* A growable string is an ordinary pointer variable holding a NUL-terminated
 * block from NuMalloc, exactly length + 1 units long; a null variable reads
 * as empty. The operations take the variable's address, replace the block it
 * holds and give that address back, so that calls nest. Any text argument may
 * point into the variable's own string. They take no status record: when
 * the block can't be had (an installed allocator that gives null, or a length
 * past what an address can count) or a format can't be formatted, the
 * variable keeps the string it had and errno says why (ENOMEM, EOVERFLOW,
 * EILSEQ, EINVAL). A null variable address does nothing and gives null. */
typedef char *NuSTR;
/* The 16-bit twin: the same, counted in 16-bit units. */
typedef char16_t *NuWCS;

#if defined(__GNUC__) || defined(__clang__)
#define NU_PRINTF_LIKE(f, a) __attribute__((format(printf, f, a)))
#else
#define NU_PRINTF_LIKE(f, a)
#endif

/* `*s` becomes a copy of `text` (Ncpy: exactly `n` units of it, with no
 * search for a terminator, so `n` must not pass its end). A null `text`
 * gives an empty string, not null. The old block goes last, so `text` may
 * lie inside it. */
VESK_API NuSTR *NuSTRcpy(NuSTR *s, const char *text);
VESK_API NuSTR *NuSTRncpy(NuSTR *s, const char *text, size_t n);
VESK_API NuWCS *NuWCScpy(NuWCS *s, const char16_t *text);
VESK_API NuWCS *NuWCSncpy(NuWCS *s, const char16_t *text, size_t n);

/* Appends `text` (Ncat: exactly `n` units of it). A null `text` appends
 * nothing; after a cat the variable is never null. `text` may be the
 * string itself or any part of it: NuSTRcat(&s, s) doubles it. */
VESK_API NuSTR *NuSTRcat(NuSTR *s, const char *text);
VESK_API NuSTR *NuSTRncat(NuSTR *s, const char *text, size_t n);
VESK_API NuWCS *NuWCScat(NuWCS *s, const char16_t *text);
VESK_API NuWCS *NuWCSncat(NuWCS *s, const char16_t *text, size_t n);

/* `*s` becomes the formatted text (Catprintf: has it appended). The 8-bit
 * forms take the C library's printf formats; the 16-bit forms take a 16-bit
 * format in which %s and %c are 16-bit text, %hs, %hc, %S and %C 8-bit
 * (UTF-8) text, %ls and %lc 16-bit, and everything else as in printf,
 * positional parameters (%1$s) included. A null format reads as empty. The
 * format and its arguments may point into the old string. */
VESK_API NuSTR *NuSTRprintf(NuSTR *s, const char *format, ...) NU_PRINTF_LIKE(2, 3);
VESK_API NuSTR *NuSTRvprintf(NuSTR *s, const char *format, va_list arguments) NU_PRINTF_LIKE(2, 0);
VESK_API NuSTR *NuSTRcatprintf(NuSTR *s, const char *format, ...) NU_PRINTF_LIKE(2, 3);
VESK_API NuSTR *NuSTRcatvprintf(NuSTR *s, const char *format, va_list arguments)
    NU_PRINTF_LIKE(2, 0);
VESK_API NuWCS *NuWCSprintf(NuWCS *s, const char16_t *format, ...);
VESK_API NuWCS *NuWCSvprintf(NuWCS *s, const char16_t *format, va_list arguments);
VESK_API NuWCS *NuWCScatprintf(NuWCS *s, const char16_t *format, ...);
VESK_API NuWCS *NuWCScatvprintf(NuWCS *s, const char16_t *format, va_list arguments);

/* `*s` becomes the `count` strings (variadic `const char *`, a va_list of
 * them, or an array) with `separator` between them; a null string or
 * separator adds nothing, and a null array holds `count` null strings. A
 * count of 0 frees `*s` and leaves it null; a negative count changes
 * nothing (errno EINVAL). The result is built apart, so the old string may
 * be among the sources. Note the order of array and count in the N form. */
VESK_API NuSTR *NuSTRintercalate(NuSTR *s, const char *separator, int32_t count, ...);
VESK_API NuSTR *NuSTRvintercalate(NuSTR *s, const char *separator, int32_t count,
                                  va_list strings);
VESK_API NuSTR *NuSTRnintercalate(NuSTR *s, const char *separator, const char *const *array,
                                  int32_t count);
VESK_API NuWCS *NuWCSintercalate(NuWCS *s, const char16_t *separator, int32_t count, ...);
VESK_API NuWCS *NuWCSvintercalate(NuWCS *s, const char16_t *separator, int32_t count,
                                  va_list strings);
VESK_API NuWCS *NuWCSnintercalate(NuWCS *s, const char16_t *separator,
                                  const char16_t *const *array, int32_t count);

/* NuMfree(*s), then `*s` becomes null; a null `s` is left alone. The two
 * names are one entry point. */
VESK_API void NuSTRfree(NuSTR *s);
VESK_API void NuWCSfree(NuWCS *s);

/* 1 when the string is null or starts with its terminator, else 0. */
VESK_API int32_t NuSTRempty(const char *string);
VESK_API int32_t NuWCSempty(const char16_t *string);
/* The length in units; 0 for null. */
VESK_API size_t NuSTRlen(const char *string);
VESK_API size_t NuWCSlen(const char16_t *string);

/* The C library's asprintf and vasprintf under the library's names: `*result`
 * becomes a block from the C heap (free it with free or nu_free) holding the
 * formatted text, and the result is its length; -1 with `*result` null when
 * the text can't be formatted or the block can't be had (errno says which).
 * A null `result` gives -1 (EINVAL); a null format reads as empty. */
VESK_API int NuAsprintf(char **result, const char *format, ...) NU_PRINTF_LIKE(2, 3);
VESK_API int NuVasprintf(char **result, const char *format, va_list arguments)
    NU_PRINTF_LIKE(2, 0);
/* The 16-bit twins, with the 16-bit formats of NuWCSprintf: the length is in
 * 16-bit units. The C library has no such function, so the plain names are
 * the library's. */
VESK_API int aswprintf(char16_t **result, const char16_t *format, ...);
VESK_API int vaswprintf(char16_t **result, const char16_t *format, va_list arguments);

/* Compares `n` bytes as unsigned values and gives the order: -1, 0 or 1
 * (the C library's bcmp only tells equal from unequal). A null span sorts
 * before any other; two null spans are equal. */
VESK_API int32_t NuBcmp(const void *a, const void *b, size_t n);
/* Copies `n` bytes from `source` to `destination` (source first); the two may
 * overlap. A null pointer copies nothing. */
VESK_API void NuBcopy(const void *source, void *destination, size_t n);
/* Sets `n` bytes at `destination` to 0; null does nothing. */
VESK_API void NuBzero(void *destination, size_t n);

/* ------------------------------------------------------------------------ */
/* Paths                                                                     */
/* ------------------------------------------------------------------------ */

/* Path algebra: pure text, no file system, nothing reported. Two families
 * with the same names and arguments: NuPosix (separator "/", search-path
 * separator ":", the drive is the run of leading "/") and NuWin (separators
 * "\" and "/", writing "\"; search-path separator ";"; drives "C:", "C:\",
 * "\\?\C:\", "\\?\UNC\server\" and "\\server\"; case does not count in
 * comparisons). Both are there on every platform. Bytes are bytes, and
 * letters are those of the C locale whatever locale the program set.
 *
 * Inputs are NUL-terminated texts, null reading as empty. An output is the
 * address of a NuSTR variable, whose block is replaced (free the last one
 * with NuSTRfree); the variable's own text may be an input of the same call.
 * A null output address does nothing. When no block can be had for the
 * result (an installed allocator that gives null), the output keeps what it
 * held. The file name is what follows the last separator behind the drive; an
 * extension starts at its last "." (the plural forms: its first) and includes
 * it; a base name is the file name without its last extension. */

/* A growable array of paths, each owned by the list. Starts all zero; grows
 * to twice its capacity (2 from 0) when full; an element that no memory
 * holds is dropped, and the list goes on with the next one. */
typedef struct NuPathList {
    uint32_t capacity; /* slots in items */
    uint32_t count;    /* slots in use */
    NuSTR *items;      /* the paths */
} NuPathList;

/* Frees every element and zeroes the slots and the count; the array and the
 * capacity stay. Gives `list` (null: nothing done). */
VESK_API NuPathList *NuClearPathList(NuPathList *list);
/* Frees every element and the array and zeroes all three fields. Gives
 * `list` (null: nothing done). */
VESK_API NuPathList *NuDestroyPathList(NuPathList *list);

/* Character tests, 1 or 0: a path separator, a search-path separator, the
 * extension separator "." (NuPosixIsExtSep and NuWinIsExtSep are one
 * function). A value outside 0..255 is none of them. */
VESK_API int32_t NuPosixIsPathSep(int c);
VESK_API int32_t NuPosixIsSearchPathSep(int c);
VESK_API int32_t NuPosixIsExtSep(int c);
VESK_API int32_t NuWinIsPathSep(int c);
VESK_API int32_t NuWinIsSearchPathSep(int c);
VESK_API int32_t NuWinIsExtSep(int c);

/* Split the drive off: `drive` and `rest` (either may be null) get the two
 * parts. A null path makes both outputs null; NuWin gives a null drive for
 * a path without one, NuPosix an empty one. TakeDrive and DropDrive give one
 * part each and return `out`. */
VESK_API void NuPosixSplitDrive(NuSTR *drive, NuSTR *rest, const char *path);
VESK_API NuSTR *NuPosixTakeDrive(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixDropDrive(NuSTR *out, const char *path);
VESK_API void NuWinSplitDrive(NuSTR *drive, NuSTR *rest, const char *path);
VESK_API NuSTR *NuWinTakeDrive(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinDropDrive(NuSTR *out, const char *path);

/* Tests, 1 or 0: the drive is not empty; the path is not empty and is a drive
 * alone; relative (no drive, or for NuWin a letter drive with no separator
 * behind it: "C:a"); absolute (not relative). */
VESK_API int32_t NuPosixHasDrive(const char *path);
VESK_API int32_t NuPosixIsDrive(const char *path);
VESK_API int32_t NuPosixIsRelativePath(const char *path);
VESK_API int32_t NuPosixIsAbsolutePath(const char *path);
VESK_API int32_t NuWinHasDrive(const char *path);
VESK_API int32_t NuWinIsDrive(const char *path);
VESK_API int32_t NuWinIsRelativePath(const char *path);
VESK_API int32_t NuWinIsAbsolutePath(const char *path);

/* The join rule: an empty side gives the other, a first text that ends in a
 * separator is followed directly by the second, NuWin glues "C:" and "a" into
 * "C:a", and otherwise a separator goes between them. Gives `out`. */
VESK_API NuSTR *NuPosixJoinDrive(NuSTR *out, const char *drive, const char *path);
VESK_API NuSTR *NuWinJoinDrive(NuSTR *out, const char *drive, const char *path);

/* Directory part (up to and with the last separator, "./" when there is
 * none) and file name. SplitFileName fills either output that is not null;
 * the others give `out`. TakeDirectory is DropFileName without the trailing
 * separators ("a" gives ".", "a/b/" gives "a/b"). ReplaceFileName combines
 * the raw directory part (no "./") with `name` as CombinePaths does;
 * ReplaceDirectory joins `directory` and the file name by the join rule. */
VESK_API void NuPosixSplitFileName(NuSTR *directory, NuSTR *name, const char *path);
VESK_API NuSTR *NuPosixTakeFileName(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixDropFileName(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixReplaceFileName(NuSTR *out, const char *path, const char *name);
VESK_API NuSTR *NuPosixTakeDirectory(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixReplaceDirectory(NuSTR *out, const char *path, const char *directory);
VESK_API void NuWinSplitFileName(NuSTR *directory, NuSTR *name, const char *path);
VESK_API NuSTR *NuWinTakeFileName(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinDropFileName(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinReplaceFileName(NuSTR *out, const char *path, const char *name);
VESK_API NuSTR *NuWinTakeDirectory(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinReplaceDirectory(NuSTR *out, const char *path, const char *directory);

/* The base name, and the path with another one: ReplaceBaseName keeps the
 * raw directory part and the file name's extension ("a/b.c" and "d" give
 * "a/d.c"). Give `out`. */
VESK_API NuSTR *NuPosixTakeBaseName(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixReplaceBaseName(NuSTR *out, const char *path, const char *base);
VESK_API NuSTR *NuWinTakeBaseName(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinReplaceBaseName(NuSTR *out, const char *path, const char *base);

/* The last extension: SplitExtension gives the path before it and the
 * extension with its "." ("a/b.c.d": "a/b.c" and ".d"; ".x": "" and ".x"); a
 * file name without "." gives the whole path and a null extension.
 * HasExtension: 1 if the file name holds a ".". AddExtension puts a "." in
 * front of an extension without one ("a" and "b": "a.b"; an empty extension
 * gives a copy); ReplaceExtension drops the last extension, then adds. */
VESK_API void NuPosixSplitExtension(NuSTR *base, NuSTR *extension, const char *path);
VESK_API NuSTR *NuPosixTakeExtension(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixDropExtension(NuSTR *out, const char *path);
VESK_API int32_t NuPosixHasExtension(const char *path);
VESK_API NuSTR *NuPosixAddExtension(NuSTR *out, const char *path, const char *extension);
VESK_API NuSTR *NuPosixReplaceExtension(NuSTR *out, const char *path, const char *extension);
VESK_API void NuWinSplitExtension(NuSTR *base, NuSTR *extension, const char *path);
VESK_API NuSTR *NuWinTakeExtension(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinDropExtension(NuSTR *out, const char *path);
VESK_API int32_t NuWinHasExtension(const char *path);
VESK_API NuSTR *NuWinAddExtension(NuSTR *out, const char *path, const char *extension);
VESK_API NuSTR *NuWinReplaceExtension(NuSTR *out, const char *path, const char *extension);

/* All the extensions, from the first "." of the file name: "a/b.c.d" gives
 * "a/b" and ".c.d"; without "." the whole path and an empty text. */
VESK_API void NuPosixSplitExtensions(NuSTR *base, NuSTR *extensions, const char *path);
VESK_API NuSTR *NuPosixTakeExtensions(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixDropExtensions(NuSTR *out, const char *path);
VESK_API void NuWinSplitExtensions(NuSTR *base, NuSTR *extensions, const char *path);
VESK_API NuSTR *NuWinTakeExtensions(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinDropExtensions(NuSTR *out, const char *path);

/* Trailing separators. Has: 1 if the last byte is one (0 for ""). Add: a
 * separator unless there is one ("" gives one). Drop: all of them unless the
 * path is a drive alone, one byte staying if nothing else would ("a/b//"
 * gives "a/b"; "/" stays). Add and Drop give `out`. */
VESK_API int32_t NuPosixHasTrailingPathSep(const char *path);
VESK_API NuSTR *NuPosixAddTrailingPathSep(NuSTR *out, const char *path);
VESK_API NuSTR *NuPosixDropTrailingPathSep(NuSTR *out, const char *path);
VESK_API int32_t NuWinHasTrailingPathSep(const char *path);
VESK_API NuSTR *NuWinAddTrailingPathSep(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinDropTrailingPathSep(NuSTR *out, const char *path);

/* CombinePaths: `right` alone if it starts with a separator or has a drive,
 * else the two by the join rule. JoinPath combines `count` items folding
 * from the right, so that a later absolute item cuts off what stands before
 * it ("a", "/b", "c" give "/b/c"); a count of 0 or below, or null items, give
 * null. The items may hold the output's own text. Give `out`. */
VESK_API NuSTR *NuPosixCombinePaths(NuSTR *out, const char *left, const char *right);
VESK_API NuSTR *NuPosixJoinPath(NuSTR *out, const char *const *items, int32_t count);
VESK_API NuSTR *NuWinCombinePaths(NuSTR *out, const char *left, const char *right);
VESK_API NuSTR *NuWinJoinPath(NuSTR *out, const char *const *items, int32_t count);

/* The path's elements into `list` (cleared first): the drive if any, then
 * each element with the separators behind it ("/a//b/c": "/", "a//", "b/",
 * "c"). SplitDirectories drops the trailing separators of each ("/", "a",
 * "b", "c"). Give `list` (null: nothing done). */
VESK_API NuPathList *NuPosixSplitPath(NuPathList *list, const char *path);
VESK_API NuPathList *NuPosixSplitDirectories(NuPathList *list, const char *path);
VESK_API NuPathList *NuWinSplitPath(NuPathList *list, const char *path);
VESK_API NuPathList *NuWinSplitDirectories(NuPathList *list, const char *path);

/* The normal form: single separators (NuWin writes "\"), no "." elements,
 * ".." left where it is, a trailing separator kept (and added after a final
 * "/."), "" and "." give ".". NuPosix writes its drive as one "/"; NuWin
 * writes a letter drive in upper case with one separator at most and keeps
 * other drives with their case, and a drive-relative path ("C:a\") gets no
 * trailing separator. Where dropping "." elements would leave a name that
 * reads as a letter drive in front ("./c:"), one ".\" stays before it, so
 * that the normal form of a normal form is itself. Gives `out`. */
VESK_API NuSTR *NuPosixNormalisePath(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinNormalisePath(NuSTR *out, const char *path);

/* 1 if the two normal forms are equal once trailing separators are dropped
 * (NuWin: also once folded to lower case), else 0; also 0 when scratch memory
 * for very long paths can't be had. */
VESK_API int32_t NuPosixEqualFilePath(const char *first, const char *second);
VESK_API int32_t NuWinEqualFilePath(const char *first, const char *second);

/* `path` relative to `root`: "." when the two are equal paths; the part of
 * `path` behind the root's elements when its drive is the root's and its
 * elements start with the root's (compared one by one, each as
 * EqualFilePath does, nothing resolved); otherwise `path` as given. A path
 * that starts with one separator and has no drive has the root "\" as its
 * drive. Gives `out`. */
VESK_API NuSTR *NuPosixMakeRelativePath(NuSTR *out, const char *root, const char *path);
VESK_API NuSTR *NuWinMakeRelativePath(NuSTR *out, const char *root, const char *path);

/* Validity, 1 or 0. NuPosix: any path but the empty one. NuWin also refuses
 * a server drive that names no server (`\\`), a long-path prefix without its
 * trailing separator (`\\?\C:`), a colon, star, question mark, angle
 * bracket, bar or double quote behind the drive, and an element whose
 * name before its first "." is a device name (CON, PRN, AUX, NUL, COM1 to
 * COM9, LPT1 to LPT9, CLOCK$, in any case). */
VESK_API int32_t NuPosixIsValidPath(const char *path);
VESK_API int32_t NuWinIsValidPath(const char *path);
/* A valid path made of `path`: "" gives "_"; NuWin turns a drive without a
 * server into "\\drive", finishes a long-path prefix with "\", writes "_" for
 * each forbidden byte and puts "_" behind a device name ("CON.txt" gives
 * "CON_.txt"). Gives `out`. */
VESK_API NuSTR *NuPosixMakeValidPath(NuSTR *out, const char *path);
VESK_API NuSTR *NuWinMakeValidPath(NuSTR *out, const char *path);

/* The elements of a search path into `list` (cleared first). NuPosix splits
 * at ":" and an empty element is "." ("a::b": "a", ".", "b"; a final ":" adds
 * nothing). NuWin splits at ";", skips empty elements and lets double quotes
 * protect a ";": a quote closes only where a ";" or the end follows it, an
 * empty quoted element adds nothing, and an element still open at the end is
 * taken from its opening quote on. A null text gives an empty list. Give
 * `list` (null: nothing done). */
VESK_API NuPathList *NuPosixSplitSearchPath(NuPathList *list, const char *text);
VESK_API NuPathList *NuWinSplitSearchPath(NuPathList *list, const char *text);
/* The same, of the environment variable PATH; an empty list when it is not
 * set. */
VESK_API NuPathList *NuPosixGetSearchPath(NuPathList *list);
VESK_API NuPathList *NuWinGetSearchPath(NuPathList *list);

/* ------------------------------------------------------------------------ */
/* Tokeniser                                                                 */
/* ------------------------------------------------------------------------ */

/* The scanner state of NuStrtok, owned by the caller; nothing in it needs to
 * be released. The first four fields are the results of a call, the others
 * belong to the scanner. It points into the text and into the compiled
 * delimit-string, which must both stay in place while it is in use. */
typedef struct NuSTRTOK {
    char *tok_text;      /* first character of the token */
    size_t tok_len;      /* its length in characters */
    int32_t tok_type;    /* NU_TOK_WORD, a single character (1..255), an atom (< 0); 0: none yet */
    int32_t tok_end;     /* the character that followed the token (a NUL may stand there now); 0 at the end */
    char *start;         /* start of the text */
    char *cursor;        /* where scanning goes on; null once the text is done */
    char *atoms;         /* compiled atom table, or null */
    char *singles;       /* single-character tokens, or null */
    char *wordset;       /* word characters, or null */
    char *delims;        /* plain delimiters */
    char *open;          /* open marker of the atom last matched */
    char *close;         /* its close marker, or null */
    int32_t atom_type;   /* type of the atom last matched */
    char quote[2];       /* a quote character and a NUL: both markers of a quoted atom */
    char pending_single; /* a single-character token reached but not yet returned */
    char pending_atom;   /* first character of an atom reached but not yet returned */
    size_t pending_len;  /* length of that atom */
} NuSTRTOK;

/* The scanner state of NuWcstok: NuSTRTOK over 16-bit units. */
typedef struct NuWCSTOK {
    char16_t *tok_text;      /* first unit of the token */
    size_t tok_len;          /* its length in units */
    int32_t tok_type;        /* as in NuSTRTOK; a single-unit token's type is the unit */
    int32_t tok_end;         /* the unit that followed the token; 0 at the end */
    char16_t *start;         /* start of the text */
    char16_t *cursor;        /* where scanning goes on; null once the text is done */
    char16_t *atoms;         /* compiled atom table, or null */
    char16_t *singles;       /* single-unit tokens, or null */
    char16_t *wordset;       /* word units, or null */
    char16_t *delims;        /* plain delimiters */
    char16_t *open;          /* open marker of the atom last matched */
    char16_t *close;         /* its close marker, or null */
    int32_t atom_type;       /* type of the atom last matched */
    char16_t quote[2];       /* a quote unit and a NUL */
    char16_t pending_single; /* a single-unit token reached but not yet returned */
    char16_t pending_atom;   /* first unit of an atom reached but not yet returned */
    size_t pending_len;      /* length of that atom */
} NuWCSTOK;

/* Token types (tok_type). A single-character token has the character's value
 * (1..255); an atom of the delimit-string's table has -1 for its first entry,
 * -2 for the second, and so on. */
#define NU_TOK_WORD     257  /* a word, or a fixed-length take */
#define NU_TOK_SQUOTED  (-256) /* an atom between single quotes */
#define NU_TOK_DQUOTED  (-257) /* an atom between double quotes */

/* Flags of NuStrtok and NuWcstok. NOCUT, KEEPLF and KEEPCR must stay the same
 * throughout one text: the next call has to know what the last one did. */
#define NU_TOK_NOCUT     0x0001u /* never change the text: no NUL written, nothing restored or unescaped */
#define NU_TOK_KEEPLF    0x0002u /* a line feed that ends a token stays in the text */
#define NU_TOK_KEEPCR    0x0004u /* a carriage return that ends a token stays in the text */
#define NU_TOK_SQUOTE    0x0010u /* a single quote opens an atom */
#define NU_TOK_DQUOTE    0x0020u /* a double quote opens an atom */
#define NU_TOK_NOQUOTE   0x0040u /* no quote opens an atom: beats the two above and quote entries of the table */
#define NU_TOK_NOESC     0x0080u /* a backslash is an ordinary character in words */
#define NU_TOK_NOATOMESC 0x0100u /* a backslash is an ordinary character inside atoms */
#define NU_TOK_UNESC     0x0200u /* remove escaping backslashes from the token, in place */
#define NU_TOK_SKIP      0x0400u /* stop in front of the next token without taking it */
#define NU_TOK_SETDELIM  0x0800u /* install the delimit-string and return, taking no token */
#define NU_TOK_FIXED     0x1000u /* take *(size_t *)delimit characters as they come */

/* A restartable strtok with a small language in its delimit-string:
 *   "[!chars]"  single-character tokens: each ends a word and is a token;
 *   "[^chars]"  word characters: only these form words, all others delimit;
 *   "[@e||e]"   atoms: an entry "open*close" is a bracketed stretch that nests
 *               and comes back as one token; "open" alone (two characters or
 *               more) is a multi-character operator; a backslash escapes a
 *               marker's "*", "|" or "]";
 * groups in any order, each kind once, then the plain delimiters (the whole
 * rest of the string; empty means none).
 *
 * `string` and `delimit` given: a new scan (`state` cleared, the
 * delimit-string compiled in place: it must be writable and is spent).
 * `string` alone: a new text with the tables already in `state`. `delimit`
 * alone: new delimiters from the current place on; the character that ended
 * the last token is scanned again. Neither: the next token. With
 * NU_TOK_FIXED, `delimit` points at a size_t count instead.
 *
 * The token is `tok_text`/`tok_len`, NUL-ended in the text unless NOCUT,
 * KEEPLF or KEEPCR kept it whole. 1 for a token (or the asked step), 0 when
 * the text has no further token, -1 after a report (facility 504, syserr
 * EINVAL): 1286, variant 1 (the delimit-string, "@delimit-string") for a
 * refused delimit-string; 1288, variant 1 (the text from the open marker's
 * last character, "atom-expression", its first character) for an atom the
 * text doesn't close. A null `state` is reported as 258 (variant 2,
 * "@state"). Nothing is allocated. A call costs the units it scans and one
 * walk of the atom table; a unit that can open an atom costs a walk of the
 * table more (the first entry that matches wins). */
VESK_API int64_t NuStrtok(char *string, char *delimit, uint32_t flags, NuSTRTOK *state,
                          VeskErr *status);
/* NuStrtok over 16-bit units; the text of either report is "???". */
VESK_API int64_t NuWcstok(char16_t *string, char16_t *delimit, uint32_t flags, NuWCSTOK *state,
                          VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Mutexes and conditions                                                    */
/* ------------------------------------------------------------------------ */

/* The in-process lock, inline in its owner's record; its owner may take it
 * again and must give it back as often. */
typedef struct NuSMutex {
    pthread_mutex_t mutex;
} NuSMutex;

/* The in-process condition, used under one NuSMutex. */
typedef struct NuSCond {
    pthread_cond_t cond;
} NuSCond;

/* Handles of the process-wide family: one word each, 0 when not initialised.
 * A named one is reached by every process that names it. */
typedef uintptr_t NuPMutex;
typedef uintptr_t NuPCond;

/* Attributes of both handle kinds. The first three fields are kept for their
 * place in the record and not used on this platform. `name` is stored by the
 * caller; null makes the object anonymous. */
typedef struct NuPMutexattr {
    uint32_t nLength;             /* 12 after init */
    void *lpSecurityDescriptor;   /* null after init */
    int32_t bInheritHandle;       /* 0 after init */
    const char *name;             /* null after init */
    uint32_t reserved;            /* 0, never read */
    uint32_t access;              /* 0xF0000 after init, never read */
} NuPMutexattr;
typedef NuPMutexattr NuPCondattr;

/* A deadline or duration argument that means "no limit". */
#define NU_TIMESPEC_INFINITE ((const struct timespec *)UINTPTR_MAX)

/* The in-process lock. Init makes a recursive lock (Init2 ignores the
 * attributes, which are the handle family's), Destroy ends it and Lock waits
 * for it; each gives 0 and reports nothing. */
VESK_API int64_t NuSMutexInit(NuSMutex *mutex);
VESK_API int64_t NuSMutexInit2(NuSMutex *mutex, const NuPMutexattr *attr, VeskErr *err);
VESK_API int64_t NuSMutexDestroy(NuSMutex *mutex, VeskErr *err);
VESK_API int64_t NuSMutexLock(NuSMutex *mutex);
/* 1 when taken, 0 when another thread holds it (reported: code 517,
 * "@mutex"). */
VESK_API int64_t NuSMutexTrylock(NuSMutex *mutex, VeskErr *err);
/* Gives one hold back; 0. */
VESK_API int64_t NuSMutexUnlock(NuSMutex *mutex);

/* The in-process condition, on the monotonic clock; Init2 ignores the
 * attributes. Signal wakes one waiter and Broadcast all of them; a signal
 * with nobody waiting is lost. A wait gives the mutex (taken once) up while
 * it waits and holds it again when it returns. Timedwait and Timedwait2 take
 * a wall-clock deadline (against `now` in Timedwait2; null or
 * NU_TIMESPEC_INFINITE: no limit), Timedwait_rel a span (null: a poll),
 * Timedwait_ms milliseconds (0 or less: no limit; above 0xFFFFFFFF refused
 * with -1, code 259). 0; -6 when the time ran out (code 1034); -1 when the
 * platform call failed (code 32769, its errno in the message). */
VESK_API int64_t NuSCondInit(NuSCond *cond, VeskErr *err);
VESK_API int64_t NuSCondInit2(NuSCond *cond, const NuPCondattr *attr, VeskErr *err);
VESK_API int64_t NuSCondDestroy(NuSCond *cond, VeskErr *err);
VESK_API int64_t NuSCondSignal(NuSCond *cond, VeskErr *err);
VESK_API int64_t NuSCondBroadcast(NuSCond *cond, VeskErr *err);
VESK_API int64_t NuSCondWait(NuSCond *cond, NuSMutex *mutex, VeskErr *err);
VESK_API int64_t NuSCondTimedwait(NuSCond *cond, NuSMutex *mutex, const struct timespec *deadline,
                                  VeskErr *err);
VESK_API int64_t NuSCondTimedwait_rel(NuSCond *cond, NuSMutex *mutex,
                                      const struct timespec *duration, VeskErr *err);
VESK_API int64_t NuSCondTimedwait2(NuSCond *cond, NuSMutex *mutex, const struct timespec *deadline,
                                   const struct timespec *now, VeskErr *err);
VESK_API int64_t NuSCondTimedwait_ms(NuSCond *cond, NuSMutex *mutex, int64_t milliseconds,
                                     VeskErr *err);

/* Handle mutexes: recursive and robust; named in the attributes, one mutex
 * for every process that opens the name. Init and Init2 make the handle: 0,
 * or -1 after a report of code 32769 with the errno of the failure. Destroy
 * closes it (0). Lock waits for it: 0; a holder that died leaves it to the
 * next taker, consistent. A handle of 0 is refused with -1 (code 32769,
 * EINVAL). */
VESK_API int64_t NuPMutexInit(NuPMutex *mutex, VeskErr *err);
VESK_API int64_t NuPMutexInit2(NuPMutex *mutex, const NuPMutexattr *attr, VeskErr *err);
VESK_API int64_t NuPMutexDestroy(NuPMutex *mutex, VeskErr *err);
VESK_API int64_t NuPMutexLock(NuPMutex mutex, VeskErr *err);
/* 1 when taken, 0 when another holds it (reported: code 517), -1 on failure. */
VESK_API int64_t NuPMutexTrylock(NuPMutex mutex, VeskErr *err);
/* Gives one hold back: 0, or -1 when the caller holds none (code 513). */
VESK_API int64_t NuPMutexUnlock(NuPMutex mutex, VeskErr *err);

/* Handle conditions: an event that a signal sets and a waiter's wake-up
 * clears. Signal, and Broadcast alike, releases exactly one waiter, or stays
 * set until the next wait when nobody waits. A wait gives `mutex` up and
 * starts waiting in one step, and holds it again when it returns. Limits and
 * results as for NuSCond: 0; -6 on time-out (code 1034); -1 on failure (code
 * 32769: EINVAL for a handle of 0, EPERM for a mutex the caller does not
 * hold). Init, Init2 and Destroy as for NuPMutex. */
VESK_API int64_t NuPCondInit(NuPCond *cond, VeskErr *err);
VESK_API int64_t NuPCondInit2(NuPCond *cond, const NuPCondattr *attr, VeskErr *err);
VESK_API int64_t NuPCondDestroy(NuPCond *cond, VeskErr *err);
VESK_API int64_t NuPCondSignal(NuPCond cond, VeskErr *err);
VESK_API int64_t NuPCondBroadcast(NuPCond cond, VeskErr *err);
VESK_API int64_t NuPCondWait(NuPCond cond, NuPMutex mutex, VeskErr *err);
VESK_API int64_t NuPCondTimedwait(NuPCond cond, NuPMutex mutex, const struct timespec *deadline,
                                  VeskErr *err);
VESK_API int64_t NuPCondTimedwait2(NuPCond cond, NuPMutex mutex, const struct timespec *deadline,
                                   const struct timespec *now, VeskErr *err);
VESK_API int64_t NuPCondTimedwait_ms(NuPCond cond, NuPMutex mutex, int64_t milliseconds,
                                     VeskErr *err);
VESK_API int64_t NuPCondTimedwait_rel(NuPCond cond, NuPMutex mutex,
                                      const struct timespec *duration, VeskErr *err);

/* Attributes of the handle family. Init fills the record with its defaults,
 * Destroy does nothing; both give 0. Only `name` reaches the platform: every
 * handle mutex is recursive (Gettype gives 2; Settype changes nothing), and
 * the protocol and priority-ceiling calls keep nothing and leave their
 * output as it was (0), except that Setprioceiling refuses a ceiling outside
 * -4 to 4 (-1, code 259). */
VESK_API int64_t NuPMutexattrInit(NuPMutexattr *attr);
VESK_API int64_t NuPCondattrInit(NuPCondattr *attr);
VESK_API int64_t NuPMutexattrDestroy(NuPMutexattr *attr);
VESK_API int64_t NuPCondattrDestroy(NuPCondattr *attr);
VESK_API int64_t NuPMutexattrGettype(const NuPMutexattr *attr, int32_t *type);
VESK_API int64_t NuPMutexattrSettype(NuPMutexattr *attr, int32_t type);
VESK_API int64_t NuPMutexattrGetprotocol(const NuPMutexattr *attr, int32_t *protocol);
VESK_API int64_t NuPMutexattrSetprotocol(NuPMutexattr *attr, int32_t protocol);
VESK_API int64_t NuPMutexattrGetprioceiling(const NuPMutexattr *attr, int32_t *ceiling);
VESK_API int64_t NuPMutexattrSetprioceiling(NuPMutexattr *attr, int32_t ceiling, VeskErr *err);

/* ------------------------------------------------------------------------ */
/* Threads                                                                   */
/* ------------------------------------------------------------------------ */

/* A thread's handle, from create until join; 0 when creation failed. */
typedef uintptr_t NuPThread;
/* A thread's start routine; its result is the exit code that join delivers. */
typedef uint32_t (*NuPThreadStart)(void *arg);

/* Thread attributes. The first three fields keep their place; the third is
 * also the scheduling-inheritance flag. `stackaddr`, after the fixed fields,
 * is the caller-supplied stack (null: the platform's). */
typedef struct NuPThrattr {
    uint32_t nLength;           /* 12 after init */
    void *lpSecurityDescriptor; /* null after init */
    int32_t bInheritHandle;     /* 1: inherit scheduling */
    const char *name;           /* never read */
    uint32_t flags;             /* NU_PTHREAD_* bits; 0xF0000 after init */
    uint32_t stacksize;         /* bytes; 0 is the platform's default */
    uint32_t reserved;          /* never read */
    int32_t priority;           /* on the scale -15 .. 15 */
    int32_t policy;             /* 2 after init, never read */
    void *stackaddr;            /* lowest address of a caller-supplied stack, or null */
} NuPThrattr;

#define NU_PTHREAD_CANCELABLE 0x00000001u
#define NU_PTHREAD_JOINABLE   0x00100000u

/* Cancellation types. */
#define NU_PTHREAD_CANCEL_DEFERRED     0
#define NU_PTHREAD_CANCEL_ASYNCHRONOUS 1

/* Starts `start(arg)` on a new thread: Create with the platform's
 * attributes, Create2 with `attr` (stack size, a caller's stack, the priority
 * unless it inherits the creator's), Create2_suspended holding it back before
 * `start` until NuPThreadResume. 0 with the handle in `thread`; -1 after a
 * report of code 32769 with the errno of the failure, the handle then 0. */
VESK_API int64_t NuPThreadCreate(NuPThread *thread, NuPThreadStart start, void *arg,
                                 VeskErr *err);
VESK_API int64_t NuPThreadCreate2(NuPThread *thread, const NuPThrattr *attr, NuPThreadStart start,
                                  void *arg, VeskErr *err);
VESK_API int64_t NuPThreadCreate2_suspended(NuPThread *thread, const NuPThrattr *attr,
                                            NuPThreadStart start, void *arg, VeskErr *err);
/* Waits for the thread to end, stores its start routine's result in
 * `exitcode` (if given) and ends the handle. 0, or -1 after a report of code
 * 32769 (ESRCH for a handle of 0). */
VESK_API int64_t NuPThreadJoin(NuPThread thread, uint32_t *exitcode, VeskErr *err);
/* Lets a thread created suspended run; 0, or -1 for a handle of 0 (code
 * 32769, ESRCH). */
VESK_API int64_t NuPThreadResume(NuPThread thread, VeskErr *err);
/* Linux cannot stop another thread where it stands: -3, code 1026 with
 * facility 100 and errno ENOSYS. */
VESK_API int64_t NuPThreadSuspend(NuPThread thread, VeskErr *err);
/* A thread's priority on the library's scale from -4 to 4, kept as its nice
 * value; raising it needs privilege. 0; -4 for a priority outside the scale
 * (code 1029); -1 after a report of code 32769 (ESRCH for a handle of 0).
 * The scheduling policy is always 2, and setting it changes nothing. */
VESK_API int64_t NuPThreadGetpriority(NuPThread thread, int32_t *priority, VeskErr *err);
VESK_API int64_t NuPThreadSetpriority(NuPThread thread, int32_t priority, VeskErr *err);
VESK_API int64_t NuPThreadGetschedpolicy(NuPThread thread, int32_t *policy);
VESK_API int64_t NuPThreadSetschedpolicy(NuPThread thread, int32_t policy);
/* Ends the handle of a thread (Detachself: of the calling thread) and lets
 * it run on; nobody joins it. 0, or -1 after a report of code 32769. */
VESK_API int64_t NuPThreadDetach(NuPThread thread, VeskErr *err);
VESK_API int64_t NuPThreadDetachself(VeskErr *err);
/* Cancellation of the calling thread. Disable- and Enablecancel set whether
 * it can be cancelled, Iscancelable tells (1 or 0); Get- and Setcanceltype
 * read and set NU_PTHREAD_CANCEL_DEFERRED or _ASYNCHRONOUS. 0, or -1: code
 * 259 ("@type") for another type, 32769 when the platform call fails. */
VESK_API int64_t NuPThreadDisablecancel(VeskErr *err);
VESK_API int64_t NuPThreadEnablecancel(VeskErr *err);
VESK_API int64_t NuPThreadIscancelable(VeskErr *err);
VESK_API int64_t NuPThreadGetcanceltype(int32_t *type, VeskErr *err);
VESK_API int64_t NuPThreadSetcanceltype(int32_t type, VeskErr *err);

/* Thread attributes. Init fills the record with the values its fields'
 * comments give, and Destroy does nothing. The flag calls set,
 * clear and test NU_PTHREAD_CANCELABLE and NU_PTHREAD_JOINABLE; Inheritsched
 * and Explicitsched choose between the creator's scheduling and `priority`.
 * 0, or for the Is forms 1 or 0. */
VESK_API int64_t NuPThrattrInit(NuPThrattr *attr);
VESK_API int64_t NuPThrattrDestroy(NuPThrattr *attr);
VESK_API int64_t NuPThrattrEnablecancel(NuPThrattr *attr);
VESK_API int64_t NuPThrattrDisablecancel(NuPThrattr *attr);
VESK_API int64_t NuPThrattrIscancelable(const NuPThrattr *attr);
VESK_API int64_t NuPThrattrEnablejoin(NuPThrattr *attr);
VESK_API int64_t NuPThrattrDisablejoin(NuPThrattr *attr);
VESK_API int64_t NuPThrattrIsjoinable(const NuPThrattr *attr);
VESK_API int64_t NuPThrattrInheritsched(NuPThrattr *attr);
VESK_API int64_t NuPThrattrExplicitsched(NuPThrattr *attr);
VESK_API int64_t NuPThrattrIsinheritsched(const NuPThrattr *attr);
/* The priority on the library's scale from -4 to 4 (the record keeps it on the
 * platform's scale from -15 to 15): a value outside is refused with -4, code 1029.
 * A stack size below 1 MiB is refused with -1, code 259 ("@stacksize"), and
 * so is a caller's stack while the size is below that. The policy is always
 * 2. 0 otherwise. */
VESK_API int64_t NuPThrattrGetpriority(const NuPThrattr *attr, int32_t *priority);
VESK_API int64_t NuPThrattrSetpriority(NuPThrattr *attr, int32_t priority, VeskErr *err);
VESK_API int64_t NuPThrattrGetstacksize(const NuPThrattr *attr, uint32_t *size);
VESK_API int64_t NuPThrattrSetstacksize(NuPThrattr *attr, uint32_t size, VeskErr *err);
VESK_API int64_t NuPThrattrGetschedpolicy(const NuPThrattr *attr, int32_t *policy);
VESK_API int64_t NuPThrattrSetschedpolicy(NuPThrattr *attr, int32_t policy);
VESK_API int64_t NuPThrattrGetstackaddr(const NuPThrattr *attr, void **address, VeskErr *err);
VESK_API int64_t NuPThrattrSetstackaddr(NuPThrattr *attr, void *address, VeskErr *err);

#ifdef __cplusplus
}
#endif

#endif /* NU_H */
