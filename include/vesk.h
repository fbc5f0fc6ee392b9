/* SPDX-License-Identifier: MIT */
/*
 * vesk.h - the object runtime of libvesk and its services.
 *
 * Usable from C11 and C++20. Classes, operation sets and modules are static,
 * self-describing records named by short lists of 16-bit numbers (object
 * identifiers). An object reaches its behaviour by a walk up a chain of
 * records: instance -> class -> module. The record layouts below are the
 * format of a plug-in module, so the order and the width of every field are
 * fixed.
 *
 * Writing records as static data
 * ------------------------------
 * An operation set ends in its rows, and a service-element block in its
 * elements; ISO C cannot initialise such a flexible array statically. The
 * VESK_OPS_T(n) and VESK_SEBLOCK_T(n) macros name a struct type with the same
 * fields and exactly n trailing entries. Define the record with that type and
 * hand it to the runtime through VESK_OPS(p) / VESK_SEBLOCK(p):
 *
 *     static VESK_OPS_T(5) my_ops = {
 *         .rec = VESK_RECORD_INIT("operations/greeter/Hello", "greeter/Hello",
 *                                 "greeter", VESK_OID3(3, 900, 1), NULL),
 *         .podsize = sizeof(struct hello_pod), .opcount = 5,
 *         .rows = { VESK_STDROWS_NONE, VESK_ROW(greet, "greeter::greet", greet) },
 *     };
 *     ... VESK_OPS(&my_ops) ...
 *
 * A class or module record is VeskClass / VeskModule followed by its own data
 * and its SE block; write it as a struct of your own whose first member is
 * the VeskClass or VeskModule. examples/ and the tests show complete modules.
 */
#ifndef VESK_H
#define VESK_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "nu.h"
#include "vesk_version.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Records that end in a flexible array. ISO C++ has no such member; GCC and
 * Clang accept it as in C, and these marks keep a pedantic C++ build quiet. */
#if defined(__cplusplus) && (defined(__GNUC__) || defined(__clang__))
#define VESK_FLEXIBLE_BEGIN_ \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wpedantic\"")
#define VESK_FLEXIBLE_END_ _Pragma("GCC diagnostic pop")
#else
#define VESK_FLEXIBLE_BEGIN_
#define VESK_FLEXIBLE_END_
#endif

/* ------------------------------------------------------------------------ */
/* Library version                                                           */
/* ------------------------------------------------------------------------ */

/* The version of the library the program runs against, which may be newer
 * than the headers it was compiled with (VESK_VERSION_HEX, VESK_VERSION_STRING
 * in vesk_version.h): (major << 16) | (minor << 8) | patch. Never fails. */
VESK_API uint32_t VeskLibraryVersion(void);
/* The same version as text, "major.minor.patch", in static storage. */
VESK_API const char *VeskLibraryVersionString(void);

/* ------------------------------------------------------------------------ */
/* Identifiers                                                               */
/* ------------------------------------------------------------------------ */

#define VESK_OID_MAXCOMP 6

/* An object identifier: `count` components in use (1 to 6). A component of
 * 0 matches anything in a comparison. `opnum` is the row number when the
 * identifier is used as an operation key; no comparison looks at it. */
typedef struct VeskOid {
    uint16_t count;
    uint16_t opnum;
    uint16_t comp[VESK_OID_MAXCOMP];
} VeskOid;

/* Categories: comp[0] of an identifier. */
#define VESK_CAT_OPS    3 /* "operations/..." */
#define VESK_CAT_CLASS  4 /* "objects/..." */
#define VESK_CAT_MODULE 5 /* "modules/..." */

/* opnum of every identifier stored in a record. */
#define VESK_OPNUM_NONE 0xFFFFu

/* Identifier literals of 2, 3 and 4 components, as stored in records. */
#define VESK_OID2(c0, c1)         { 2, VESK_OPNUM_NONE, { (c0), (c1), 0, 0, 0, 0 } }
#define VESK_OID3(c0, c1, c2)     { 3, VESK_OPNUM_NONE, { (c0), (c1), (c2), 0, 0, 0 } }
#define VESK_OID4(c0, c1, c2, c3) { 4, VESK_OPNUM_NONE, { (c0), (c1), (c2), (c3), 0, 0 } }

/* Operation keys: row `op` of the first set matching the components. Also the
 * source of an imported row (row VESK_ROW_SAME: the importing row's index). */
#define VESK_OPKEY2(op, c0, c1)     { 2, (op), { (c0), (c1), 0, 0, 0, 0 } }
#define VESK_OPKEY3(op, c0, c1, c2) { 3, (op), { (c0), (c1), (c2), 0, 0, 0 } }

/* ------------------------------------------------------------------------ */
/* Kinds and flags                                                           */
/* ------------------------------------------------------------------------ */

#define VESK_KIND_STATIC   0 /* a static record not yet linked */
#define VESK_KIND_SEOBJ    3 /* VeskSeobj: an object bound to one service element */
#define VESK_KIND_INSTANCE 4
#define VESK_KIND_CLASS    5
#define VESK_KIND_OPS      6
#define VESK_KIND_MODULE   7
#define VESK_KIND_SE       8 /* tag of a VeskSe */
#define VESK_KIND_SEBLOCK  9 /* tag of a VeskSeblock */

#define VESK_F_EXTRASIZE 0x0001u /* instance: a size slot ahead of it holds its extra size */
#define VESK_F_CALLERMEM 0x0002u /* instance: memory given by the caller */
#define VESK_F_POOLED    0x0004u /* instance: comes from a zone pool */
#define VESK_F_INITED    0x0008u /* instance: init has run and fini has not */
#define VESK_F_LINKED    0x0080u /* class, ops, module: a linked static record */
#define VESK_F_SUPER     0x0100u /* all but kind 3: `super` is valid, walks go on */
#define VESK_F_IDENTITY  0x0200u /* class, ops, module: longkey..oid are present */
#define VESK_F_SELIST    0x0400u /* class, module: the record has a selist */
#define VESK_F_ROWS      0x0800u /* ops: the record has operation rows */
#define VESK_F_MODULE    0x1000u /* module: the record has the module fields */

/* The head words that linking writes: kind in the low half, flags in the high. */
#define VESK_HEAD_CLASS  0x07800005u
#define VESK_HEAD_OPS    0x0B800006u
#define VESK_HEAD_MODULE 0x17800007u

/* Format stamp carried by every static record. */
#define VESK_STAMP 0x02040000u

/* Progress bits of VeskRecord.state. */
#define VESK_ST_STARTED  0x1u /* on_start has run, or there is none */
#define VESK_ST_RESOLVED 0x2u /* everything the record imports is resolved */
#define VESK_ST_ONCE     0x4u /* init_once of all its service elements has run */
#define VESK_ST_LOADHELD 0x8u /* modules: a load request holds the module */

/* An instance with VESK_F_EXTRASIZE: its allocation starts one slot of this
 * size ahead of the instance, and the slot's first 32 bits hold the extra size. */
#define VESK_EXTRASIZE_SLOT sizeof(uintptr_t)

/* ------------------------------------------------------------------------ */
/* Records                                                                   */
/* ------------------------------------------------------------------------ */

typedef struct VeskRecord VeskRecord;
typedef struct VeskOps VeskOps;
typedef struct VeskOprow VeskOprow;
typedef struct VeskClass VeskClass;
typedef struct VeskModule VeskModule;
typedef struct VeskSe VeskSe;
typedef struct VeskSeblock VeskSeblock;
typedef struct VeskClosure VeskClosure;

/* A 16-byte spinning reader/writer lock, all zero when free. */
typedef struct VeskRwlock {
    uint32_t guard;   /* guards the two counters */
    uint32_t wgate;   /* held from the first waiting writer until a writer leaves */
    uint32_t hold;    /* held by the readers as a group, or by the one writer */
    uint16_t readers; /* read holders; 0xFFFF while a writer holds the lock */
    uint16_t writers; /* writers holding or waiting */
} VeskRwlock;

/* The two link words of the service-element ring. */
typedef struct VeskSelink {
    struct VeskSelink *next;
    struct VeskSelink *prev;
} VeskSelink;

/* The list of SE blocks that classes and modules carry. The list owns no
 * memory: blocks are static or belong to whoever pushed them. */
typedef struct VeskSelist {
    unsigned char ready;                          /* 1 between init and fini */
    unsigned char ready_pad_[sizeof(void *) - 1]; /* ready has a word of its own */
    VeskRwlock lock;                              /* guards the ring for the locking forms */
    VeskSelink ring;                              /* next, prev: the ring of blocks */
    uint32_t count;                               /* blocks on the ring */
} VeskSelist;

/* The record head shared by class, operation set and module. */
struct VeskRecord {
    uint16_t kind;
    uint16_t flags;
    void *super;       /* class and ops: their module, written at link. Module: null */
    uint32_t state;    /* VESK_ST_* */
    int32_t holds;     /* holders of the record; changed under `lock` */
    VeskRwlock lock;
    uint32_t stamp;    /* VESK_STAMP */
    const char *longkey;  /* "objects/Nucbmlsner" */
    const char *shortkey; /* "Nucbmlsner" */
    const char *name;     /* family name: "listener" for a set, else as shortkey */
    VeskOid oid;
    NuRTBTNode idnode;    /* node in the registry by identifier; data is the record */
    void *idowner;        /* registry list holding the record, or null */
    int64_t (*on_link)(VeskRecord *rec, VeskErr *status);
    void (*on_stop)(VeskRecord *rec, VeskErr *status);
    int64_t (*on_start)(VeskRecord *rec, VeskErr *status);
};

/* The head of a static record: everything linking doesn't write. `oid_` is
 * a literal such as VESK_OID2(4, 900). */
#define VESK_RECORD_INIT(longkey_, shortkey_, name_, oid_, on_link_) \
    VESK_RECORD_INIT_(longkey_, shortkey_, name_, on_link_, oid_)
/* Internal: the identifier comes last so that its commas pass through. */
#define VESK_RECORD_INIT_(longkey_, shortkey_, name_, on_link_, ...)                       \
    {                                                                                      \
        0, 0, NULL, 0, 0, { 0, 0, 0, 0, 0 }, VESK_STAMP, (longkey_), (shortkey_), (name_),  \
            __VA_ARGS__, { NULL, NULL, 0, 0 }, NULL, (on_link_), NULL, NULL                \
    }

/* An empty selist, as it stands in static data until linking sets it up. */
#define VESK_SELIST_INIT { 0, { 0 }, { 0, 0, 0, 0, 0 }, { NULL, NULL }, 0 }

/* A row's function. Rows hold functions of many signatures; every one takes
 * (VeskClosure *, VeskErr *, ...) and callers cast `fn` to the row's real
 * type before the call. */
typedef void (*VeskOpfn)(void);

#define VESK_FN(f)      ((VeskOpfn)(f))
#define VESK_FN_ABSENT  ((VeskOpfn)0) /* nothing to do (standard rows only) */
#define VESK_FN_IMPORT  ((VeskOpfn)1) /* linking takes fn of the source row */
#define VESK_FN_ALIAS   ((VeskOpfn)2) /* linking takes fn of row source.opnum of this set */

/* Row number 0xFFFF in an import's source: "this row's own index". */
#define VESK_ROW_SAME 0xFFFFu

/* One row of an operation set: its names for messages, the function, and,
 * for a row that imports or aliases, where linking takes the function from. */
struct VeskOprow {
    const char *cname;     /* short name: "init_once", "notifierc" */
    const char *opname;    /* long name for messages: "listener::notifier-count" */
    const char *signature; /* "P,P" */
    VeskOpfn fn;
    VeskOid source;        /* import: the set and row; alias: opnum is the row, count 0 */
    VeskOps *owner;        /* null until linked */
};

/* Rows of a static set. */
#define VESK_ROW(cname_, opname_, fn_) \
    { #cname_, (opname_), "P,P", VESK_FN(fn_), { 0, 0, { 0, 0, 0, 0, 0, 0 } }, NULL }
#define VESK_ROW_ABSENT(cname_, opname_) \
    { #cname_, (opname_), "P,P", VESK_FN_ABSENT, { 0, 0, { 0, 0, 0, 0, 0, 0 } }, NULL }
#define VESK_ROW_IMPORT(cname_, opname_, source_) \
    { #cname_, (opname_), "P,P", VESK_FN_IMPORT, source_, NULL }
#define VESK_ROW_ALIAS(cname_, opname_, row_) \
    { #cname_, (opname_), "P,P", VESK_FN_ALIAS, { 0, (row_), { 0, 0, 0, 0, 0, 0 } }, NULL }

/* The four standard rows that begin every operation set. */
#define VESK_OP_INIT_ONCE 0
#define VESK_OP_FINI_ONCE 1
#define VESK_OP_POD_INIT  2
#define VESK_OP_POD_FINI  3
#define VESK_STDROWS(init_once_, fini_once_, pod_init_, pod_fini_) \
    VESK_ROW(init_once, "init-once", init_once_),                  \
    VESK_ROW(fini_once, "fini-once", fini_once_),                  \
    VESK_ROW(pod_init, "pod-init", pod_init_),                     \
    VESK_ROW(pod_fini, "pod-fini", pod_fini_)
#define VESK_STDROWS_NONE VESK_STDROWS(0, 0, 0, 0)

/* Operation set: the record head, then `opcount` rows. */
#define VESK_OPS_FIELDS_ \
    VeskRecord rec;      \
    uint32_t podsize;    \
    uint32_t opcount;
VESK_FLEXIBLE_BEGIN_
struct VeskOps {
    VESK_OPS_FIELDS_
    VeskOprow rows[];
};
VESK_FLEXIBLE_END_
#define VESK_OPS_T(n) struct { VESK_OPS_FIELDS_ VeskOprow rows[n]; }
#define VESK_OPS(p)   ((VeskOps *)(void *)(p))

/* Value of VeskSe.ops that asks linking to import the set by `importoid`. */
#define VESK_OPS_IMPORT ((VeskOps *)1)

/* A service element: binds an identifier to an operation set and says where
 * its POD lies in the holder, `depth` levels below the carrying record. */
struct VeskSe {
    uint32_t kind;      /* VESK_KIND_SE */
    VeskOid oid;        /* what lookups match */
    uint32_t depth;     /* 0: the carrying record holds the POD; 1: an instance of it */
    uint32_t podoff;    /* byte distance from the holder to the POD; 0: no POD */
    unsigned char once; /* 1 while init_once has run and fini_once has not */
    VeskOps *ops;       /* the set, or VESK_OPS_IMPORT */
    VeskOid importoid;  /* the set to import; count 0 when ops is given */
    VeskOps *opsref;    /* the set an import resolved to */
};

/* A service element literal: own set, or one imported by its identifier. */
#define VESK_SE_OWN(oid_, depth_, podoff_, ops_) \
    { VESK_KIND_SE, oid_, (depth_), (podoff_), 0, (ops_), { 0, 0, { 0, 0, 0, 0, 0, 0 } }, NULL }
#define VESK_SE_IMPORT(oid_, depth_, podoff_) \
    { VESK_KIND_SE, oid_, (depth_), (podoff_), 0, VESK_OPS_IMPORT, oid_, NULL }

/* A block of service elements, what on_link pushes on a selist. */
#define VESK_SEBLOCK_FIELDS_               \
    uint32_t tag; /* VESK_KIND_SEBLOCK */  \
    uintptr_t reserved[3];                 \
    void (*on_drop)(VeskSeblock *block);   \
    VeskSelink links;                      \
    uint32_t count;
VESK_FLEXIBLE_BEGIN_
struct VeskSeblock {
    VESK_SEBLOCK_FIELDS_
    VeskSe se[];
};
VESK_FLEXIBLE_END_
#define VESK_SEBLOCK_T(n) struct { VESK_SEBLOCK_FIELDS_ VeskSe se[n]; }
#define VESK_SEBLOCK(p)   ((VeskSeblock *)(void *)(p))
/* The fields of a static block ahead of its elements. */
#define VESK_SEBLOCK_HEAD(n) VESK_KIND_SEBLOCK, { 0, 0, 0 }, NULL, { NULL, NULL }, (n)

/* A class: the head, the SE list and the instance size. Class data (PODs of
 * depth-0 elements, the descriptor POD) and the static SE block follow in the
 * author's own struct. */
struct VeskClass {
    VeskRecord rec;
    VeskSelist selist;
    uint32_t instsize; /* bytes of an instance, head included; 0: not creatable */
};
#define VESK_CLASS_INIT(longkey_, shortkey_, name_, oid_, on_link_, instsize_) \
    { VESK_RECORD_INIT_(longkey_, shortkey_, name_, on_link_, oid_), VESK_SELIST_INIT, (instsize_) }

/* The descriptor POD of classes and modules. */
typedef struct VeskDescriptor {
    uint32_t version; /* major | minor << 8 | patch << 16 */
    const char *date; /* build date, "Aug  5 2020" */
} VeskDescriptor;
#define VESK_VERSION(major, minor, patch) \
    ((uint32_t)(major) | ((uint32_t)(minor) << 8) | ((uint32_t)(patch) << 16))

/* A list of modules: `uses` and `usedby`. */
typedef struct VeskModlist {
    unsigned char ready;
    unsigned char ready_pad_[sizeof(void *) - 1];
    unsigned char unused_[16];
    uint32_t capacity;
    uint32_t count;
    VeskModule **storage;
} VeskModlist;

/* A module's dependency table, ended by an entry whose name is null. */
#define VESK_DEP_OPTIONAL 0x1u
typedef struct VeskDepEntry {
    const char *name;         /* the module wanted, as a load request */
    uint32_t flags;           /* VESK_DEP_OPTIONAL */
    uintptr_t reserved;
    const char *const *alts;  /* null-ended further names to try, or null */
} VeskDepEntry;
VESK_FLEXIBLE_BEGIN_
typedef struct VeskDeptable {
    uint32_t head; /* not read */
    VeskDepEntry entries[];
} VeskDeptable;
VESK_FLEXIBLE_END_

/* A module: the head, then the module fields. The static SE block follows in
 * the author's own struct. */
struct VeskModule {
    VeskRecord rec;
    VeskSelist selist;
    uint32_t reserved;
    uint32_t loads;      /* 1 while loaded */
    void *handle;        /* the loaded file; null for the library's own modules */
    VeskModlist uses;    /* modules this one depends on */
    VeskModlist usedby;  /* modules that depend on this one */
    const char *modname; /* the file key */
    NuRTBTNode namenode; /* node in the registry by file key */
    void *nameowner;
    const VeskDeptable *(*deps)(VeskModule *mod);
    uint32_t opsc;
    VeskOps **opsv;
    uint32_t clsc;
    VeskClass **clsv;
    VeskDescriptor descriptor;
};
#define VESK_MODLIST_INIT { 0, { 0 }, { 0 }, 0, 0, NULL }
#define VESK_MODULE_INIT(longkey_, shortkey_, name_, oid_, on_link_, modname_, version_, date_) \
    VESK_MODULE_INIT_(longkey_, shortkey_, name_, on_link_, modname_, NULL, version_, date_, oid_)
/* As VESK_MODULE_INIT for a module with a dependency table: the loader asks
 * `deps_` for it before the module is linked, so it stands in the static
 * record and not in on_link. */
#define VESK_MODULE_INIT_DEPS(longkey_, shortkey_, name_, oid_, on_link_, modname_, deps_, \
                              version_, date_)                                            \
    VESK_MODULE_INIT_(longkey_, shortkey_, name_, on_link_, modname_, deps_, version_, date_, oid_)
/* Internal: the identifier comes last so that its commas pass through. */
#define VESK_MODULE_INIT_(longkey_, shortkey_, name_, on_link_, modname_, deps_, version_, date_, \
                          ...)                                                                 \
    {                                                                                          \
        VESK_RECORD_INIT_(longkey_, shortkey_, name_, on_link_, __VA_ARGS__), VESK_SELIST_INIT,  \
            0, 0, NULL, VESK_MODLIST_INIT, VESK_MODLIST_INIT, (modname_), { NULL, NULL, 0, 0 },  \
            NULL, (deps_), 0, NULL, 0, NULL, { (version_), (date_) }                          \
    }

/* The operation context: what every operation receives first. */
struct VeskClosure {
    void *self;   /* the object the caller addressed */
    void *holder; /* the record in which the POD lies */
    void *pod;    /* holder + podoff, or null */
    VeskOps *ops; /* the set found */
    int32_t opnum; /* the row; -1 when bound to a set and not to a row */
};

/* An instance: kind 4, flags, its class, then the PODs of depth-1 elements. */
typedef struct VeskInstance {
    uint16_t kind;
    uint16_t flags;
    VeskClass *super;
} VeskInstance;

/* A reference to an object bound to one of its service elements. `cl.self`
 * stands where `super` stands in every other record. */
typedef struct VeskSeobj {
    uint16_t kind;  /* VESK_KIND_SEOBJ */
    uint16_t flags; /* 0 */
    VeskClosure cl;
} VeskSeobj;

/* ------------------------------------------------------------------------ */
/* Start-up records                                                          */
/* ------------------------------------------------------------------------ */

/* A part of the library that must start at load registers one of these; a
 * last load-time initialiser runs them by `order`, lowest first, and their
 * stop functions run in reverse at unload. */
typedef struct VeskStartRec {
    char magic[4];            /* "nuit" */
    int32_t order;
    int32_t (*start)(uintptr_t arg); /* negative stops the chain */
    uintptr_t start_arg;
    int32_t (*stop)(uintptr_t arg);  /* result ignored */
    uintptr_t stop_arg;
    NuRTBTNode node;          /* in the order tree; data is the record */
    struct VeskStartRec *next, *prev;
} VeskStartRec;

#define VESK_START_MAGIC { 'n', 'u', 'i', 't' }

/* Load-time constructor priorities inside libvesk: every part registers its
 * record at VESK_START_PRIORITY_REGISTER, and the chain runs at
 * VESK_START_PRIORITY_RUN, after all of them. A record registered once the
 * chain has run is never started. */
#define VESK_START_PRIORITY_REGISTER 1000
#define VESK_START_PRIORITY_RUN      2000

/* Registers `record` (a VeskStartRec *) from a load-time constructor `name`. */
#define VESK_START_AT_LOAD(name, record)                                             \
    __attribute__((constructor(VESK_START_PRIORITY_REGISTER))) static void name(void) { \
        VeskStartAdd(record);                                                         \
    }

/* ------------------------------------------------------------------------ */
/* Identifiers and accessors                                                 */
/* ------------------------------------------------------------------------ */

/* Prefix comparison with wildcards: the shorter identifier matches every
 * longer one that starts with it, and a component of 0 matches anything.
 * 0 for a match; else negative or positive as `a` sorts before or after `b`. */
VESK_API int32_t VeskOidcmp(const VeskOid *a, const VeskOid *b);
/* Total order: as VeskOidcmp, then by length. The order of the registries. */
VESK_API int32_t VeskOidlcmp(const VeskOid *a, const VeskOid *b);

/* Accessors take any object and first follow a kind-3 reference to what it
 * refers to. They take no lock. Classof and Moduleof give the nearest class
 * or module on the object's chain (the X forms start above the object
 * itself), or null; Instsize, Instcount and Extrainstsz give 0, the key and
 * name getters null, Category and PrimID -1 when the object has no such
 * thing. Nothing is reported. */
VESK_API VeskClass *VeskClassof(const void *obj);
VESK_API VeskClass *VeskXclassof(const void *obj);
VESK_API VeskModule *VeskModuleof(const void *obj);
VESK_API VeskModule *VeskXmoduleof(const void *obj);
VESK_API uint32_t VeskInstsize(const void *obj);
VESK_API int32_t VeskInstcount(const void *obj);
VESK_API uint32_t VeskExtrainstsz(const void *obj);
VESK_API const char *VeskObjectLongkey(const void *obj);
VESK_API const char *VeskObjectShortkey(const void *obj);
VESK_API const char *VeskObjectName(const void *obj);
VESK_API int32_t VeskObjectCategory(const void *obj);
VESK_API int32_t VeskObjectPrimID(const void *obj);
/* Copies count, opnum and `count` components into `buffer`; returns it. */
VESK_API VeskOid *VeskObjectOID(const void *obj, VeskOid *buffer);
/* Orders objects by what they are, never by which instance they are. */
VESK_API int32_t VeskObjectCompare(const void *a, const void *b);

/* ------------------------------------------------------------------------ */
/* Service-element lists (no lock taken)                                     */
/* ------------------------------------------------------------------------ */

/* Init makes `list` an empty list unless it is one already; Fini takes each
 * block off (calling its on_drop) and leaves the list uninitialised; both
 * give 0. The pushes put `block` at the back or the front of the ring (a list
 * never initialised is initialised first): 0, or -1 for a null list or block
 * (code 258) or a block that is on a list already (code 772). The lookups
 * give the first element that matches `key`, or the element `se` itself
 * when one of the blocks holds it: null after a report of code 49170 when
 * there is none. _VeskSelistSize gives the number of blocks. Facility 1000. */
VESK_API int64_t _VeskSelistInit(VeskSelist *list);
VESK_API int64_t _VeskSelistFini(VeskSelist *list);
VESK_API int64_t _VeskSelistPushback_nlk(VeskSelist *list, VeskSeblock *block, VeskErr *status);
VESK_API int64_t _VeskSelistPushfront_nlk(VeskSelist *list, VeskSeblock *block, VeskErr *status);
VESK_API VeskSe *_VeskSelistLookup_nlk(VeskSelist *list, const VeskOid *key, VeskErr *status);
VESK_API VeskSe *_VeskSelistLookup_ptr_nlk(VeskSelist *list, const VeskSe *se, VeskErr *status);
VESK_API uint32_t _VeskSelistSize(const VeskSelist *list);

/* ------------------------------------------------------------------------ */
/* Lookup                                                                    */
/* ------------------------------------------------------------------------ */

/* Finds row key->opnum of the first set on the object's chain whose element
 * matches key; fills `closure`. Null after a report (facility 1000, code 1025).
 * The V forms build the key from arguments: opnum, then the primary
 * identifier c1 and up to four further components, ended by -1; the category
 * is 3. The underscore forms treat a kind-3 reference like any record. */
VESK_API VeskOprow *VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                 VeskErr *status);
VESK_API VeskOprow *VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                  int c1, ...);
VESK_API VeskOprow *_VeskLookupop(void *object, const VeskOid *key, VeskClosure *closure,
                                  VeskErr *status);
VESK_API VeskOprow *_VeskVlookupop(void *object, VeskClosure *closure, VeskErr *status, int opnum,
                                   int c1, ...);

/* Finds the service element and the record holding its POD. */
VESK_API VeskSe *VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status);
VESK_API VeskSe *_VeskLookupSE(void *object, const VeskOid *key, void **holder, VeskErr *status);
/* The POD, or null (after a report if no element matches; silently if the
 * element has no POD). */
VESK_API void *VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status);
VESK_API void *_VeskLookupPOD(void *object, const VeskOid *key, VeskErr *status);
/* Binds the object to the matching element: fills `out`, returns it. */
VESK_API VeskSeobj *VeskSeobject(void *object, const VeskOid *key, VeskSeobj *out,
                                 VeskErr *status);
/* Fills `closure` for the matching element with opnum -1, returns it. */
VESK_API VeskClosure *_VeskClosure(void *object, const VeskOid *key, VeskClosure *closure,
                                   VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Locks                                                                     */
/* ------------------------------------------------------------------------ */

/* The spinning reader/writer lock of lists and records. Writers have
 * precedence; neither kind is reentrant. The lock functions always give 0
 * (the try forms 1 when they got the lock, 0 when not). */
VESK_API int64_t _VeskSelistRdlock(VeskSelist *list, VeskErr *status);
VESK_API int64_t _VeskSelistWrlock(VeskSelist *list, VeskErr *status);
VESK_API int64_t _VeskSelistUnlock(VeskSelist *list, VeskErr *status);
VESK_API int64_t _VeskSelistTryrdlock(VeskSelist *list);
VESK_API int64_t _VeskSelistTrywrlock(VeskSelist *list);
/* The no-lock list operations under the list's own lock. */
VESK_API int64_t _VeskSelistPushback(VeskSelist *list, VeskSeblock *block, VeskErr *status);
VESK_API int64_t _VeskSelistPushfront(VeskSelist *list, VeskSeblock *block, VeskErr *status);
VESK_API VeskSe *_VeskSelistLookup(VeskSelist *list, const VeskOid *key, VeskErr *status);
VESK_API VeskSe *_VeskSelistLookup_ptr(VeskSelist *list, const VeskSe *se, VeskErr *status);

/* The same lock in the head of a class, operation set or module record. */
VESK_API int64_t _VeskObjRdlock(void *record, VeskErr *status);
VESK_API int64_t _VeskObjWrlock(void *record, VeskErr *status);
VESK_API int64_t _VeskObjUnlock(void *record, VeskErr *status);
VESK_API int64_t _VeskObjTryrdlock(void *record);
VESK_API int64_t _VeskObjTrywrlock(void *record);

/* ------------------------------------------------------------------------ */
/* Registry                                                                  */
/* ------------------------------------------------------------------------ */

/* Classes (category 4) and modules (5) by exact identifier. The plain forms
 * take a hold that VeskEndcobject gives back; a held class or module can't
 * be unloaded. The _nlk forms are for callers that hold the registry's lock
 * (a VeskForeach callback). Null after a report. */
VESK_API void *VeskGetcobject(const VeskOid *key, VeskErr *status);
VESK_API void *VeskGetcobject_nlk(const VeskOid *key, VeskErr *status);
VESK_API void *_VeskGetcobject(const VeskOid *key, VeskErr *status);
VESK_API void *_VeskGetcobject_nlk(const VeskOid *key, VeskErr *status);
VESK_API int64_t VeskEndcobject(void *record, VeskErr *status);
VESK_API int64_t VeskEndcobject_nlk(void *record, VeskErr *status);
/* Operation sets (category 3). */
VESK_API VeskOps *VeskGetops(const VeskOid *key, VeskErr *status);
VESK_API VeskOps *_VeskGetops(const VeskOid *key, VeskErr *status);
VESK_API int64_t VeskEndops(VeskOps *ops, VeskErr *status);
/* The module 5.c1... (components ended by -1), no hold, no report. */
VESK_API VeskModule *_VeskVgetmodule(int c1, ...);

/* The caller's callback record of VeskForeach; anything of the caller's may
 * follow it, reached through the second argument of fn. */
typedef struct VeskForeachFn {
    uint32_t tag; /* not read */
    int64_t (*fn)(void *record, struct VeskForeachFn *callback);
} VeskForeachFn;
/* Calls fn for each class (key category 4) or module (5) matching the key by
 * prefix, in identifier order, holding each record during its call. fn goes
 * on with a positive result; 0 stops without error, a negative value with
 * one. The last result; 0 when nothing matches; -1 after a report. */
VESK_API int64_t VeskForeach(const VeskOid *key, VeskForeachFn *callback, VeskErr *status);
VESK_API int64_t VeskForeach_nlk(const VeskOid *key, VeskForeachFn *callback, VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Closure frames and the call trampoline                                    */
/* ------------------------------------------------------------------------ */

/* A closure with the function to enter. A frame is taken from the calling
 * thread's stack of 512 and given back in last-in, first-out order. */
typedef struct VeskFrame {
    VeskClosure cl;
    VeskOpfn fn;
} VeskFrame;
#define VESK_FRAMES_PER_THREAD 512

/* Takes the calling thread's next frame (the stack is made at the thread's
 * first take) and gives the last one taken back. No memory for the stack,
 * or a 513th nested take, ends the process with a line on stderr; a give with
 * nothing taken does nothing. */
VESK_API VeskFrame *__vesk_closure_tramp_att(void);
VESK_API void __vesk_closure_tramp_det(void);
/* Enters frame->fn with the frame and the caller's own arguments, as if the
 * caller had called fn(frame, ...) itself; the result is fn's. Declared with
 * a 64-bit result; a caller expecting another result type converts the
 * address of __vesk_call_tramp to a function pointer of that type. */
VESK_API int64_t __vesk_call_tramp(VeskFrame *frame, ...);

/* ------------------------------------------------------------------------ */
/* Stubs: lookups and getters that can't fail                                */
/* ------------------------------------------------------------------------ */

/* As VeskLookupop and its sisters with no report; a miss answers with row 5
 * ("inappropriate") of the stub set, which reports the failure when called. */
VESK_API VeskOprow *VeskLookupoporstub(void *object, const VeskOid *key, VeskClosure *closure);
VESK_API VeskOprow *VeskVlookupoporstub(void *object, VeskClosure *closure, int opnum, int c1,
                                        ...);
VESK_API VeskOprow *_VeskLookupoporstub(void *object, const VeskOid *key, VeskClosure *closure);
VESK_API VeskOprow *_VeskVlookupoporstub(void *object, VeskClosure *closure, int opnum, int c1,
                                         ...);
/* The record, or the stub class / stub set (with a hold in the forms that
 * take one). The V forms build the key 4.c1... or 3.c1..., ended by -1. */
VESK_API void *VeskGetclsorstub(const VeskOid *key);
VESK_API void *_VeskGetclsorstub(const VeskOid *key);
VESK_API VeskOps *VeskGetopsorstub(const VeskOid *key);
VESK_API VeskOps *_VeskGetopsorstub(const VeskOid *key);
VESK_API void *VeskVgetclsorstub(int c1, ...);
VESK_API void *_VeskVgetclsorstub(int c1, ...);
VESK_API VeskOps *VeskVgetopsorstub(int c1, ...);
VESK_API VeskOps *_VeskVgetopsorstub(int c1, ...);

/* Rows that fail when called: each reports with the family of closure->ops
 * as facility and returns a negative status. Modules may put them in their
 * own rows. _VeskOpNotconfigured and _VeskOpNotsupported are also what
 * linking writes into rows it can't resolve. */
VESK_API int64_t VeskOpStubNotconfigured(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpNotconfigured(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpInappropriate(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpNotimplemented(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpNotavailable(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpNotsupported(VeskClosure *closure, VeskErr *status);
VESK_API int64_t _VeskOpNotallowed(VeskClosure *closure, VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Linking                                                                   */
/* ------------------------------------------------------------------------ */

/* The three steps that make a module's static records live, and their
 * undoing. Loaders take several modules through each step together. The
 * caller holds the write locks of the registries. Negative: failed (and what
 * the step did is undone); 0: done, but something imported is not there;
 * positive: complete. */
VESK_API int64_t _VeskModDescribe(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModRegister(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModPlug(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModUnplug(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModUnregister(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModFinish(VeskModule *module, VeskErr *status);
VESK_API int64_t _VeskModUnload(VeskModule *module, VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Module loader                                                             */
/* ------------------------------------------------------------------------ */

/* Loads the module of the request `name` and, with VeskMldLoad, the modules
 * it depends on, then links them all together. A module is known by its file
 * key: the name behind the directories, without the tail ".so", and of that
 * the part behind its last "." ("ab.uri" and "ab.uri.so" give "uri"; a bare
 * name starting with "zek" keeps that prefix: "zekab.uri" gives "zekuri").
 * A module already loaded under the key is found without touching a file.
 * Otherwise the file is the request plus ".so" unless it ends in ".so"; a
 * request starting with "/" is opened as it stands, any other is looked for
 * in the `ndirs` directories of `dirs`, then (unless `nodefault` is
 * non-zero) in VESK_MODULE_PATH (entries split at ";" and ":"), in ten
 * directories under HOME, and in the system's module directories, the
 * install's own first. The file must export `_G_vesk_module`, a pointer to a
 * VeskModule whose `modname` is the key. 1 loaded, 0 loaded already (the
 * module is now requested either way: state bit VESK_ST_LOADHELD), -1 after a
 * report (facility 1000: 258/259 for a null or empty name, 33299 for one too
 * long, 33281 for a file not found, 32771 for a file that isn't the module),
 * or the negative result of a linking step. */
VESK_API int64_t VeskMldLoad(const char *name, const char *const *dirs, uint32_t ndirs,
                             int32_t nodefault, VeskErr *status);
/* As VeskMldLoad without loading the module's dependencies: those that are
 * loaded already are connected to it. */
VESK_API int64_t VeskMldLoad1(const char *name, const char *const *dirs, uint32_t ndirs,
                              int32_t nodefault, VeskErr *status);
/* 1 if the module of `name` (a file name without directories or ".so", or a
 * key) is loaded, 0 if not; -1 after a report (258, 259, or 261 for a key
 * over 255 characters). */
VESK_API int64_t VeskMldIsloaded(const char *name, VeskErr *status);
/* Unloads the module of `name` (as for VeskMldIsloaded): it is unplugged,
 * unregistered, finished and its file closed, with the dependencies that only
 * it used. 0 or more when done; -1 after a report: 518 if no such module is
 * loaded, 771 for a module of the library itself, 49218 while it is busy
 * (a live instance or hold, or a module using it), and then nothing changes. */
VESK_API int64_t VeskMldUnload(const char *name, VeskErr *status);
/* As VeskMldUnload, with the key as it stands. */
VESK_API int64_t _VeskMldUnload(const char *key, VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Start-up                                                                  */
/* ------------------------------------------------------------------------ */

/* Registers a start-up record (before the library's start chain runs); 0. */
VESK_API int64_t VeskStartAdd(VeskStartRec *record);
/* Starts the records by order, once; 0 if done before or nothing started. */
VESK_API int64_t VeskStartRun(void);
/* Stops the started records in reverse, once. */
VESK_API void VeskStartStop(void);
/* The start function of the runtime: registries up, built-in modules linked. */
VESK_API int32_t VeskBootstrap(uintptr_t arg);
/* Left to debugging builds; the library neither reads nor writes it. */
VESK_API extern int32_t _G_mld_load_debug_only;

/* ------------------------------------------------------------------------ */
/* Status reports                                                            */
/* ------------------------------------------------------------------------ */

/* The object whose operation 4 (make) of 3.1008 formats reports; null until
 * the error service is up. */
VESK_API extern void *_G_error_service_default;

/* Fills `err` with (facility << 16) | code, syserr and variant; with a
 * message buffer and a service, the service formats variant `variant` of the
 * code with the remaining arguments. 0, or -1 if the service was asked and
 * doesn't know the code. A null `err` does nothing. `service` null means
 * _G_error_service_default. */
VESK_API int64_t VeskMkerr(void *service, VeskErr *err, uint32_t info0, uint32_t info1,
                           uint32_t info2, int32_t facility, int32_t code, int32_t syserr,
                           uint32_t variant, ...);
/* As VeskMkerr, through the localised row; `locale` is passed to the service. */
VESK_API int64_t VeskMkerr_l(void *service, VeskErr *err, const char *locale, uint32_t info0,
                             uint32_t info1, uint32_t info2, int32_t facility, int32_t code,
                             int32_t syserr, uint32_t variant, ...);
/* Fills `err` with variant 0 and formats the caller's own printf format
 * (positional parameters accepted) into msg, cut to msgsize and ended by a
 * NUL. Always 0. */
VESK_API int64_t VeskMkerr_u(VeskErr *err, uint32_t info0, uint32_t info1, uint32_t info2,
                             int32_t facility, int32_t code, int32_t syserr, const char *format,
                             ...);

/* Rows 4 and 5 of "operations/error/Err", as VeskMkerr calls them. */
#define VESK_ERR_FAMILY  VESK_FAC_ERR
#define VESK_ERR_OP_MAKE   4
#define VESK_ERR_OP_MAKE_L 5
typedef int64_t (*VeskErrMakefn)(VeskClosure *cl, VeskErr *err, uint32_t info0, uint32_t info1,
                                 uint32_t info2, int32_t facility, int32_t code, int32_t syserr,
                                 uint32_t variant, va_list args);
typedef int64_t (*VeskErrMakeLfn)(VeskClosure *cl, VeskErr *err, const char *locale,
                                  uint32_t info0, uint32_t info1, uint32_t info2,
                                  int32_t facility, int32_t code, int32_t syserr,
                                  uint32_t variant, va_list args);

/* ------------------------------------------------------------------------ */
/* Error service                                                             */
/* ------------------------------------------------------------------------ */

/* One row of an error table. A code's group is `count` consecutive rows with
 * the same code and unixerr, the head row first; only the head enters the
 * service's tree, through its own `node`, so the rows must stay valid and
 * writable while the table is added. A code of 0xffffffff ends a table. */
typedef struct VeskErrEntry {
    uint32_t code;
    int32_t unixerr;     /* errno number of the code */
    const char *format;  /* printf format of this variant */
    uint32_t count;      /* rows of the group in the head row, else 0 */
    NuRTBTNode node;     /* zero at rest; written while the table is added */
} VeskErrEntry;

#define VESK_ERR_TABLE_END 0xffffffffu

/* The state of an error service object: a lock for table changes and the
 * tree of head rows ordered by code. */
typedef struct VeskErrService {
    NuSMutex mutex;
    NuRTBT tree;
} VeskErrService;

/* The errno number of a status's code (the facility plays no part), or -1.
 * `service` null means _G_error_service_default. */
VESK_API int32_t VeskStatus2unix(void *service, int64_t status);
/* Add or remove `count` rows of `table` (stopping at the end row). 0; 0 also
 * when there is nothing to do or no service; -1 when the service has no
 * such operation. The _nlk forms leave locking to the caller. */
VESK_API int64_t _VeskAddetab(void *service, uint32_t count, VeskErrEntry *table);
VESK_API int64_t _VeskAddetab_nlk(void *service, uint32_t count, VeskErrEntry *table);
VESK_API int64_t _VeskRmetab(void *service, uint32_t count, VeskErrEntry *table);
VESK_API int64_t _VeskRmetab_nlk(void *service, uint32_t count, VeskErrEntry *table);

/* ------------------------------------------------------------------------ */
/* Charset identification                                                    */
/* ------------------------------------------------------------------------ */

/* Numbers that no table row holds: an unknown charset (what a failed name
 * lookup gives) and the 16-bit wide form itself. Charsets are numbered by
 * their IANA MIBenum. */
#define VESK_CCS_UNKNOWN 2
#define VESK_CCS_WIDE    1000

/* What is known about a charset. `mbmax` is the most bytes of a character (0:
 * not stated); `aliasv` holds `aliasc` names inline. */
VESK_FLEXIBLE_BEGIN_
typedef struct VeskCcsInfo {
    int32_t id;         /* the MIBenum */
    const char *iana;   /* the registered name */
    const char *mime;   /* the preferred MIME name */
    uint32_t codepage;  /* the Windows code page of the same set, or 0 */
    uint16_t mbmax;
    uint16_t reserved;  /* 0 */
    uint32_t aliasc;
    const char *aliasv[];
} VeskCcsInfo;
VESK_FLEXIBLE_END_
/* A VeskCcsInfo with exactly n aliases, for static data; pass its address
 * as (VeskCcsInfo *). */
#define VESK_CCSINFO_T(n)                                                         \
    struct {                                                                     \
        int32_t id;                                                              \
        const char *iana;                                                        \
        const char *mime;                                                        \
        uint32_t codepage;                                                       \
        uint16_t mbmax;                                                          \
        uint16_t reserved;                                                       \
        uint32_t aliasc;                                                         \
        const char *aliasv[n];                                                   \
    }

/* One row of an identification table. A charset is a primary row (`role`
 * VESK_CCSI_PRIMARY) followed by one alias row (VESK_CCSI_ALIAS) for each of
 * its aliases, in order; an `id` of VESK_CCSI_END ends a table. Adding the
 * table writes the rows: `role` becomes the row's name (the record's `iana`
 * for a primary row, its alias for an alias row) and the nodes are linked, so
 * the rows and records must stay valid and writable while the table is in
 * use. Primary rows are found by number only, alias rows by name only. */
typedef struct VeskCcsiRow {
    int32_t id;
    uintptr_t role;
    VeskCcsInfo *info;
    NuRTBTNode idnode;   /* primary rows: in the tree by number */
    NuRTBTNode namenode; /* alias rows: in the tree by name */
} VeskCcsiRow;
#define VESK_CCSI_PRIMARY 1u
#define VESK_CCSI_ALIAS   2u
#define VESK_CCSI_END     (-1)

/* The state of an identification service object: a lock for table changes
 * and the two trees. */
typedef struct VeskCcsiService {
    NuSMutex mutex;
    NuRTBT idtree;
    NuRTBT nametree;
} VeskCcsiService;

/* The identification object the front ends use when given a null
 * `service`; null until the library is up. */
VESK_API extern void *_G_ccsi_service_default;

/* The number of the charset with the alias `name` (ASCII letters compared
 * without case, whatever the locale); VESK_CCS_UNKNOWN (2), reported with
 * code 49170, when no table knows the name; -1 after another failure (a
 * null name: code 260). Without a service: 2, reported with code 518. Names
 * are aliases only: "CP1251" is one, "windows-1251" is not. */
VESK_API int32_t VeskCcsiGetidbyname(void *service, const char *name, VeskErr *err);
/* The registered name of charset `id`, or null (code 49170 for an unknown
 * number, 518 without a service). */
VESK_API const char *VeskCcsiIANAName(void *service, int32_t id, VeskErr *err);
/* The preferred MIME name of charset `id`, or null as VeskCcsiIANAName. */
VESK_API const char *VeskCcsiMIMEName(void *service, int32_t id, VeskErr *err);
/* The record of charset `id`, or null as VeskCcsiIANAName. */
VESK_API const VeskCcsInfo *VeskCcsiStat(void *service, int32_t id, VeskErr *err);
/* Add or remove up to `count` rows of `table` (stopping at the end row): 0,
 * also when `count` is 0 or `table` null; -1 without a service (code 518).
 * A name or number already present is kept beside the new one, and lookups
 * find the one nearer to the root of its tree. A row linked already is passed
 * over when added, one not linked when removed. The _nlk forms leave the
 * service's lock to the caller. */
VESK_API int64_t _VeskCcsiAddtab(void *service, uint32_t count, VeskCcsiRow *table,
                                 VeskErr *err);
VESK_API int64_t _VeskCcsiAddtab_nlk(void *service, uint32_t count, VeskCcsiRow *table,
                                     VeskErr *err);
VESK_API int64_t _VeskCcsiRmtab(void *service, uint32_t count, VeskCcsiRow *table,
                                VeskErr *err);
VESK_API int64_t _VeskCcsiRmtab_nlk(void *service, uint32_t count, VeskCcsiRow *table,
                                    VeskErr *err);

/* Rows of "operations/ccsi/Ccsi" (family 1009). */
#define VESK_CCSI_FAMILY VESK_FAC_CCSI
#define VESK_CCSI_OP_STAT        4
#define VESK_CCSI_OP_IANANAME    5
#define VESK_CCSI_OP_MIMENAME    6
#define VESK_CCSI_OP_GETIDBYNAME 7
#define VESK_CCSI_OP_ADDITAB     8
#define VESK_CCSI_OP_ADDITAB_NLK 9
#define VESK_CCSI_OP_RMITAB      10
#define VESK_CCSI_OP_RMITAB_NLK  11

/* ------------------------------------------------------------------------ */
/* Charset conversion                                                        */
/* ------------------------------------------------------------------------ */

/* A convertor: the caller's memory, filled by VeskOpenCcscvtor_i/_s and
 * given back by VeskCcscvtorClose. Conversion goes through one 16-bit wide
 * character (a UTF-16 code unit): the source set makes it, the destination
 * set makes bytes of it. */
typedef struct VeskCcscvtor {
    uint16_t srcmax;          /* most bytes of a source character */
    uint16_t dstmax;          /* most bytes of a destination character */
    VeskClosure cl;           /* passed to the converters; opnum -1 */
    VeskOps *srcops;          /* the set that makes wide characters */
    VeskOps *dstops;          /* the set that makes bytes; srcops when the charsets agree */
    char magic[4];            /* "CCSC" once open */
    unsigned char reserved[32]; /* cleared at open; no stock converter uses it */
} VeskCcscvtor;

/* The conversion object the front ends use when given a null `service`. */
VESK_API extern void *_G_ccsconv_service_default;

/* Opens `cvtor` from charset `src` to charset `dst`. A number of 2 (unknown)
 * or 1000 (wide) on one side takes the other side's number, so a convertor
 * between one charset and the wide form is a convertor of that charset with
 * itself. The convertor holds each set it uses until closed. 0, or -1 after
 * a report (code 518 naming the charset that has no converter). */
VESK_API int64_t VeskOpenCcscvtor_i(void *service, int32_t src, int32_t dst, VeskCcscvtor *cvtor,
                                    VeskErr *err);
/* As VeskOpenCcscvtor_i with charset names (aliases, any case). An unknown
 * name counts as 2: the convertor opens on the other side's charset, and
 * the record keeps the 49170 of the failed lookup. */
VESK_API int64_t VeskOpenCcscvtor_s(void *service, const char *src, const char *dst,
                                    VeskCcscvtor *cvtor, VeskErr *err);
/* Gives the convertor's sets back; 0 for a null `cvtor`. A record that is not
 * open (its magic is gone) is reported with code 259 and gives nothing back:
 * -1. Only a record that was once opened may be passed. */
VESK_API int64_t VeskCcscvtorClose(VeskCcscvtor *cvtor, VeskErr *err);

/* The run forms. Each returns -1 after a report and stops at the first
 * failure: 1281 illegal sequence, 1282 incomplete sequence, 1283 a wide
 * character the destination can't represent, 1284 no room (facility 1011).
 * No replacement character is ever made.
 *
 * One character: the source (`*src`, `*srcleft` bytes; or one wide character
 * at `*wsrc`) advances only on success, as does the destination when both
 * `dst` and `dstleft` are given; without them nothing is written and the
 * result says how many bytes the character needs. An empty source is
 * reported as incomplete (1282). VeskCcsconv and VeskCcsconv_2mb give the
 * bytes made, VeskCcsconv_2wc gives 1. */
VESK_API int32_t VeskCcsconv(VeskCcscvtor *cvtor, const char **src, uint32_t *srcleft, char **dst,
                             uint32_t *dstleft, VeskErr *err);
VESK_API int32_t VeskCcsconv_2mb(VeskCcscvtor *cvtor, const char16_t **wsrc, uint32_t *wleft,
                                 char **dst, uint32_t *dstleft, VeskErr *err);
VESK_API int32_t VeskCcsconv_2wc(VeskCcscvtor *cvtor, const char **src, uint32_t *srcleft,
                                 char16_t **wdst, uint32_t *wleft, VeskErr *err);

/* Buffers. A length of VESK_CCS_TONUL (0xffffffff) runs to the NUL. A null
 * destination (or, in the two forms that write to a size, a size of 0) counts
 * and writes nothing. What was written before a failure stays.
 * VeskCcsconv_b: `srclen` bytes; the NUL of the TONUL form is not converted
 * and nothing ends the output; the bytes made.
 * VeskCcsconv_b_2mb: `wlen` wide characters; in the TONUL form the NUL is
 * converted and written but not counted; the bytes made.
 * VeskCcsconv_b_2wc: `srclen` counts characters, not bytes, and a character
 * may read up to `srcmax` bytes, so the buffer must hold whole characters;
 * in the TONUL form the wide NUL is stored but not counted; the wide
 * characters made. */
#define VESK_CCS_TONUL 0xffffffffu
VESK_API int32_t VeskCcsconv_b(VeskCcscvtor *cvtor, const char *src, uint32_t srclen, char *dst,
                               uint32_t dstsize, VeskErr *err);
VESK_API int32_t VeskCcsconv_b_2mb(VeskCcscvtor *cvtor, const char16_t *wsrc, uint32_t wlen,
                                   char *dst, uint32_t dstsize, VeskErr *err);
VESK_API int32_t VeskCcsconv_b_2wc(VeskCcscvtor *cvtor, const char *src, uint32_t srclen,
                                   char16_t *wdst, uint32_t wsize, VeskErr *err);

/* NUL-ended strings: the output ends with the destination's NUL, which the
 * result doesn't count, and its room is not checked: ask for the length with
 * a null destination first, or provide enough. */
VESK_API int32_t VeskCcsconv_s(VeskCcscvtor *cvtor, const char *src, char *dst, VeskErr *err);
VESK_API int32_t VeskCcsconv_s_2mb(VeskCcscvtor *cvtor, const char16_t *wsrc, char *dst,
                                   VeskErr *err);
VESK_API int32_t VeskCcsconv_s_2wc(VeskCcscvtor *cvtor, const char *src, char16_t *wdst,
                                   VeskErr *err);

/* Rows of "operations/ccsconv/Ccsconv" (family 1010) and of a converter set
 * 3.1011.18.N of charset N (family 1011): a module adds a charset with
 * nothing more than such a set. */
#define VESK_CCSCONV_FAMILY VESK_FAC_CCSCONV
#define VESK_CCSCONV_OP_OPEN  4
#define VESK_CCSCONV_OP_CLOSE 5
#define VESK_CCSCVT_FAMILY VESK_FAC_CCSCVT
#define VESK_CCSCVT_SUB       18
#define VESK_CCSCVT_OP_MB2WC  4
#define VESK_CCSCVT_OP_WC2MB  5
/* Bytes to one wide character, reading at most `avail` bytes; bytes used. */
typedef int64_t (*VeskCcsMb2wcfn)(VeskClosure *cl, VeskErr *err, VeskCcscvtor *cvtor,
                                  const unsigned char *mb, char16_t *wc, uint32_t avail);
/* One wide character to bytes, writing at most `avail`; bytes made. */
typedef int64_t (*VeskCcsWc2mbfn)(VeskClosure *cl, VeskErr *err, VeskCcscvtor *cvtor,
                                  const char16_t *wc, unsigned char *mb, uint32_t avail);

/* ------------------------------------------------------------------------ */
/* URI schemes                                                               */
/* ------------------------------------------------------------------------ */

/* The library names URI handling but holds no implementation: a module binds
 * the family 1090 on an object of its own and stores that object here while
 * it is linked. Null until then; the front ends below then report 518
 * (facility 1090, "urilib") and give their "no service" answer. */
VESK_API extern void *_G_urilib_service_default;

/* What a service knows of one scheme. */
typedef struct VeskUriSchemeInfo {
    int32_t id;         /* the service's number of the scheme */
    const char *name;   /* "file", lower case */
    uint32_t flags;     /* the service's own */
    const char *description;
} VeskUriSchemeInfo;

/* A scheme number no service gives to a scheme: what a failed lookup by name
 * answers, as charset identification does. */
#define VESK_URI_SCHEME_UNKNOWN 2
/* A length that runs to the NUL. */
#define VESK_URI_TONUL ((size_t)-1)

/* Make a URI object (an instance of the service's URI class, with the
 * reference count `retain`) from text: a URI, a 16-bit URI, a file-system
 * path or a 16-bit one. `mem` is memory for the object or null; `flags` and
 * `reserved` are the service's; `context` is passed along. The object, or -1
 * as a pointer after a report (also without a service). The A forms pass a
 * null `mem`, `retain` 1 and zero `flags` and `reserved`; VeskACreateUriWithString
 * alone gives null, not -1, for a failure. */
VESK_API void *VeskCreateUriWithString(void *service, void *mem, const char *string,
                                       uint32_t retain, uint32_t flags, uintptr_t reserved,
                                       uintptr_t context, VeskErr *err);
/* As VeskCreateUriWithString with a 16-bit URI. */
VESK_API void *VeskCreateUriWithWstring(void *service, void *mem, const char16_t *string,
                                        uint32_t retain, uint32_t flags, uintptr_t reserved,
                                        uintptr_t context, VeskErr *err);
/* As VeskCreateUriWithString with a file-system path. */
VESK_API void *VeskCreateUriWithFileSystemPath(void *service, void *mem, const char *path,
                                               uint32_t retain, uint32_t flags,
                                               uintptr_t reserved, uintptr_t context,
                                               VeskErr *err);
/* As VeskCreateUriWithString with a 16-bit file-system path. */
VESK_API void *VeskCreateUriWithFileSystemWpath(void *service, void *mem, const char16_t *path,
                                                uint32_t retain, uint32_t flags,
                                                uintptr_t reserved, uintptr_t context,
                                                VeskErr *err);
/* The short form of VeskCreateUriWithString: null after a failure. */
VESK_API void *VeskACreateUriWithString(void *service, const char *string, uintptr_t context,
                                        VeskErr *err);
/* The short form of VeskCreateUriWithWstring: -1 as a pointer after a failure. */
VESK_API void *VeskACreateUriWithWstring(void *service, const char16_t *string,
                                         uintptr_t context, VeskErr *err);
/* The short form of VeskCreateUriWithFileSystemPath. */
VESK_API void *VeskACreateUriWithFileSystemPath(void *service, const char *path,
                                                uintptr_t context, VeskErr *err);
/* The short form of VeskCreateUriWithFileSystemWpath. */
VESK_API void *VeskACreateUriWithFileSystemWpath(void *service, const char16_t *path,
                                                 uintptr_t context, VeskErr *err);
/* 1 if the service knows the scheme `name` (`len` characters, or
 * VESK_URI_TONUL), else 0; nothing is reported. */
VESK_API int32_t VeskSupportUriScheme(void *service, const char *name, size_t len);
/* The number of the scheme `name`; -1 after a report; 2 without a service. */
VESK_API int32_t VeskGetUriSchemeByName(void *service, const char *name, size_t len,
                                        VeskErr *err);
/* The name of scheme `id`; -1 as a pointer after a report; null without a
 * service. */
VESK_API const char *VeskGetUriSchemeName(void *service, int32_t id, VeskErr *err);
/* The record of the scheme `name`, as VeskGetUriSchemeName answers. */
VESK_API const VeskUriSchemeInfo *VeskGetUriSchemeInfoByName(void *service, const char *name,
                                                             size_t len, VeskErr *err);
/* The record of scheme `id`, as VeskGetUriSchemeName answers. */
VESK_API const VeskUriSchemeInfo *VeskGetUriSchemeInfoByID(void *service, int32_t id,
                                                           VeskErr *err);
/* Adds `count` records of `table` to the service's schemes: the service's
 * status, -1 without a service. The records must stay while they are added. */
VESK_API int64_t VeskAddUriSchemeInfo(void *service, uint32_t count,
                                      const VeskUriSchemeInfo *table);
/* As VeskAddUriSchemeInfo for a caller that holds the service's lock. */
VESK_API int64_t VeskAddUriSchemeInfo_nlk(void *service, uint32_t count,
                                          const VeskUriSchemeInfo *table);
/* Takes `count` records of `table` out of the service's schemes. */
VESK_API int64_t VeskRemUriSchemeInfo(void *service, uint32_t count,
                                      const VeskUriSchemeInfo *table);
/* As VeskRemUriSchemeInfo for a caller that holds the service's lock. */
VESK_API int64_t VeskRemUriSchemeInfo_nlk(void *service, uint32_t count,
                                          const VeskUriSchemeInfo *table);
/* Reads the scheme at the start of `text` (`len` characters or
 * VESK_URI_TONUL): the length of the scheme name ahead of its ":", 0 if the
 * text has none; -1 after a report or without a service. `*id` (if not null)
 * gets the scheme's number, or VESK_URI_SCHEME_UNKNOWN. `flags` are the
 * service's. */
VESK_API int32_t _VeskParseUriScheme(void *service, const char *text, size_t len, int32_t *id,
                                     uint32_t flags, VeskErr *err);
/* As _VeskParseUriScheme over 16-bit text. */
VESK_API int32_t _VeskWparseUriScheme(void *service, const char16_t *text, size_t len,
                                      int32_t *id, uint32_t flags, VeskErr *err);

/* Rows of a URI service's set (family 1090): each receives the closure, the
 * status record and the front end's arguments behind `service`. */
#define VESK_URI_FAMILY VESK_FAC_URI
#define VESK_URI_OP_CREATE_STRING   4
#define VESK_URI_OP_CREATE_WSTRING  5
#define VESK_URI_OP_CREATE_PATH     6
#define VESK_URI_OP_CREATE_WPATH    7
#define VESK_URI_OP_SUPPORT         8
#define VESK_URI_OP_SCHEME_BYNAME   9
#define VESK_URI_OP_SCHEME_NAME     10
#define VESK_URI_OP_INFO_BYNAME     11
#define VESK_URI_OP_INFO_BYID       12
#define VESK_URI_OP_ADD             13
#define VESK_URI_OP_ADD_NLK         14
#define VESK_URI_OP_REM             15
#define VESK_URI_OP_REM_NLK         16
#define VESK_URI_OP_PARSE           17
#define VESK_URI_OP_WPARSE          18
#define VESK_URI_OP_COUNT           19

/* The family of URI objects, and its row that gives an object's file-system
 * path as 16-bit text: (closure, err, buffer, size in units, flags 0) -> the
 * length written (1 to size - 1, NUL-ended), or negative after a report. */
#define VESK_URIOBJ_FAMILY 1092
#define VESK_URIOBJ_OP_FSWPATH 7
#define VESK_URIOBJ_WPATH_SIZE 1025
typedef int64_t (*VeskUriFswpathfn)(VeskClosure *cl, VeskErr *err, char16_t *buffer,
                                    uint32_t size, uint32_t flags);

/* ------------------------------------------------------------------------ */
/* Object life cycle                                                         */
/* ------------------------------------------------------------------------ */

/* Flags of VeskAlloc (and of the dup forms, which allocate the clone). */
#define VESK_ALLOC_POOL    0x10000u /* `mem` is a zone pool to take the instance from */
#define VESK_ALLOC_NOCLEAR 0x40000u /* don't clear the memory */
#define VESK_ALLOC_GIVEMEM 0x80000u /* memory in `mem` passes to the instance */
/* Flags that pod_init, pod_fini, fini and dealloc receive. */
#define VESK_POD_CLONE     0x200000u /* pod_init of a duplication: the param is a VeskCloneParam */
#define VESK_FINI_POOLED   0x20000u  /* fini from a pool's release hook */
#define VESK_ROLLBACK      0x1u      /* pod_fini in a roll-back; dealloc after a failed init */

/* What a pod_init receives as param in a duplication. */
typedef struct VeskCloneParam {
    VeskClosure source; /* the same service element on the source instance, opnum 2 */
    uintptr_t dupself;  /* `self` of the running dup operation */
    uintptr_t params;   /* the params of VeskDup5, or 0 */
    uintptr_t pred;     /* the predicate of VeskDupf, or 0 */
} VeskCloneParam;

/* What VeskGetdescriptor fills; the caller sets dsc_dtyp. */
#define VESK_DESCRIPTOR_TYPE 4
typedef struct VeskDescriptorInfo {
    uint32_t dsc_dtyp;
    uint8_t major;
    uint8_t minor;
    uint16_t patch;
    char date[64];
} VeskDescriptorInfo;

/* Param record of "operations/ucntl/Xucntl": the starting reference count. */
typedef struct VeskXucntlParam {
    VeskOid oid; /* the service element it is for: 3.1006.6 */
    uint32_t retain;
} VeskXucntlParam;

/* Right sides of VeskCompare that are not objects: a 16-bit hint, 16 bits of
 * zero, then what the hint says (words are pointer-sized where they carry an
 * address). Hints 71, 87, 94: a hash. 30: a string, 31: a 16-bit string.
 * 88, 91: string and hash; 90, 93: 16-bit string and hash (a hash of 0 means
 * "hash the string"). 89, 92: length, bytes and hash. 99: an object. */
typedef struct VeskHintHash {
    uint16_t hint, zero;
    uint32_t hash;
} VeskHintHash;
typedef struct VeskHintText {
    uint16_t hint, zero;
    const void *text; /* char or char16_t text, or the object of hint 99 */
    uint32_t hash;
} VeskHintText;
typedef struct VeskHintBytes {
    uint16_t hint, zero;
    uint32_t length;
    const void *bytes;
    uint32_t hash;
} VeskHintBytes;
#define VESK_COMPARE_REFUSED ((int32_t)0x8fffffff)

/* The front ends: each looks its row up on the object (or the class) and
 * calls it. A pointer result is null after a failure; the dup forms give -1
 * (as a pointer) when the object has no duplicator. */
VESK_API void *VeskAlloc(void *cls, uint32_t flags, void *mem, uint32_t extra, VeskErr *status);
VESK_API int64_t VeskInit(void *object, void **params, uint32_t nparams, VeskErr *status);
VESK_API int64_t _VeskInit(void *cls, void *object, void **params, uint32_t nparams,
                           VeskErr *status);
VESK_API void *VeskInitDeallocIfError(void *object, void **params, uint32_t nparams,
                                      VeskErr *status);
VESK_API int64_t VeskFini(void *object, uint32_t flags, VeskErr *status);
VESK_API int64_t _VeskFini(void *cls, void *object, uint32_t flags, VeskErr *status);
VESK_API int64_t VeskDealloc(void *object, uint32_t flags, VeskErr *status);
VESK_API int64_t _VeskDealloc(void *cls, void *object, uint32_t flags, VeskErr *status);
VESK_API void *VeskDup4(void *source, uint32_t flags, void *mem, uint32_t extra, VeskErr *status);
VESK_API void *VeskDup5(void *source, uint32_t flags, void *mem, uint32_t extra, void **params,
                        VeskErr *status);
VESK_API void *VeskDupf(void *source, uint32_t flags, void *mem, uint32_t extra, void *pred,
                        VeskErr *status);
VESK_API void *VeskDups(void *source, uint32_t flags, VeskErr *status);
VESK_API void *VeskDups2(void *source, uint32_t flags, uintptr_t unused, VeskErr *status);
VESK_API int64_t VeskGetdescriptor(void *object, VeskDescriptorInfo *descriptor, VeskErr *status);
VESK_API int64_t VeskGetdescriptor_l(void *object, VeskDescriptorInfo *descriptor,
                                     const char *locale, VeskErr *status);
VESK_API int32_t VeskRetain(void *object, VeskErr *status);
VESK_API int32_t VeskRelease(void *object, uint32_t flags, VeskErr *status);
VESK_API int32_t _VeskRetainvalue(void *object, int32_t value, VeskErr *status);
VESK_API int32_t VeskCompare(void *left, const void *right);
VESK_API int32_t VeskHash(void *object, VeskErr *status);
/* One more reference, as a tree's dup: the object, or null. */
VESK_API void *VeskLazydup(void *object, uintptr_t unused1, uintptr_t unused2, VeskErr *status);

/* Zone pools of instances of one class; an instance comes out of one with
 * VeskAlloc(class, VESK_ALLOC_POOL, pool, 0, status). */
VESK_API NuZmalloc *VeskPoolOpen(const VeskOid *key, uintptr_t granularity, VeskErr *status);
VESK_API NuZmalloc *VeskPoolOpen_ooi(const VeskOid *key, uintptr_t granularity, VeskErr *status);
VESK_API NuZmalloc *_VeskPoolOpen(VeskClass *cls, uintptr_t granularity, VeskErr *status);

/* ------------------------------------------------------------------------ */
/* Log messages                                                              */
/* ------------------------------------------------------------------------ */

/* The masks by which VeskLogStdattrname knows the ten standard attributes;
 * 4 and 8 are free. */
#define VESK_LOGATTR_IDENT    0x0001u
#define VESK_LOGATTR_FACILITY 0x0002u
#define VESK_LOGATTR_TIME     0x0010u
#define VESK_LOGATTR_HOST     0x0020u
#define VESK_LOGATTR_SENDER   0x0040u
#define VESK_LOGATTR_PID      0x0080u
#define VESK_LOGATTR_UID      0x0100u
#define VESK_LOGATTR_GID      0x0200u
#define VESK_LOGATTR_LEVEL    0x0400u
#define VESK_LOGATTR_MESSAGE  0x0800u
/* Number of standard attributes, at the head of every message. */
#define VESK_LOGMSG_NSTD 10

/* A log message: a reference-counted bag of string attributes for a logging
 * system to pass around. The ten standard attributes have fixed places, in
 * the order "Ident", "Facility", "Time", "Host", "Sender", "PID", "UID",
 * "GID", "Level", "Message"; their keys point into a static table and a
 * value is null while unset, the one shared empty string, or a private copy
 * (a strdup block, released with free).
 * Other attributes live in `dic`, in the order of their adding. Only `retain`
 * is atomic: a message that several threads hold is read-only. */
typedef struct VeskLogmsg {
    int32_t retain;                     /* reference count, changed atomically */
    NuLstrdicEntry std[VESK_LOGMSG_NSTD]; /* the standard attributes */
    NuLstrdic dic;                      /* the others */
} VeskLogmsg;

/* The name of a syslog level, 0 "Emergency" to 7 "Debug"; "" outside. */
VESK_API const char *VeskLogLevelname(int32_t level);
/* The key of the standard attribute with this VESK_LOGATTR_ mask; "" for any
 * other value. */
VESK_API const char *VeskLogStdattrname(uint16_t mask);

/* A new empty message with a count of 1, or null after the report of the
 * failed allocation (32773, "_S_malloc.mm_alloc"). */
VESK_API VeskLogmsg *VeskLogmsgOpen(VeskErr *err);
/* A new message with a count of 1 and copies of all the attributes of
 * `msg`, or null (nothing is left behind). */
VESK_API VeskLogmsg *VeskLogmsgDup(const VeskLogmsg *msg, VeskErr *err);
/* Writes `dst` as a copy of `src`, without releasing what `dst` held and
 * without touching its count: give new zero-filled memory or a cleared
 * message, whose dictionary array is reused. 0, or -1 when memory ran out,
 * with `dst` cleared and nothing reported. A null message or `dst` equal to
 * `src` is refused (258, 259). */
VESK_API int64_t VeskLogmsgCopy(const VeskLogmsg *src, VeskLogmsg *dst, VeskErr *err);
/* Adds 1 to the count and returns the new count; -1, with nothing changed,
 * at the limit 0x7ffffffe or for a null message. */
VESK_API int32_t VeskLogmsgRetain(VeskLogmsg *msg);
/* Takes 1 from the count and returns the new count. At 0 the message is
 * released with everything it holds; below 0 the result is -1 and nothing
 * else happens. `reserved` is not used. */
VESK_API int32_t VeskLogmsgRelease(VeskLogmsg *msg, uintptr_t reserved, VeskErr *err);
/* VeskLogmsgRelease of a message that may be null; always 0. */
VESK_API int64_t VeskLogmsgClose(VeskLogmsg *msg, VeskErr *err);
/* Unsets the standard attributes and releases the others; the dictionary
 * keeps its room and the count stays. 0, or -1 for a null message. */
VESK_API int64_t VeskLogmsgClear(VeskLogmsg *msg);

/* The attribute calls compare `key` byte by byte with the ten standard keys
 * first ("Level" is standard, "level" is not), then go to the dictionary,
 * whose reports (facility 0) they pass on. A null value counts as "".
 * VeskLogmsgAdd refuses a standard key that is set (1190, 49201, variant 1,
 * the key) and a dictionary key that exists; VeskLogmsgReplace sets or
 * replaces; VeskLogmsgRemove unsets a standard attribute (set or not, 0) or
 * deletes a dictionary one (reported when missing). 0 or negative. A copy of
 * a standard value that can't be made leaves the value unset, with 0. */
VESK_API int64_t VeskLogmsgAdd(VeskLogmsg *msg, const char *key, const char *value, VeskErr *err);
VESK_API int64_t VeskLogmsgReplace(VeskLogmsg *msg, const char *key, const char *value,
                                   VeskErr *err);
VESK_API int64_t VeskLogmsgRemove(VeskLogmsg *msg, const char *key, VeskErr *err);
/* The value of `key`: null for an unset standard attribute, and null after
 * the dictionary's report (49170) for a key that is nowhere. */
VESK_API const char *VeskLogmsgValue(const VeskLogmsg *msg, const char *key, VeskErr *err);

/* The attributes as one list: 0 to 9 the standard ones, set or not, then the
 * dictionary's entries. VeskLogmsgCount is 10 plus the dictionary's entries
 * (-1 for a null message). VeskLogmsgGet stores the key and value of entry
 * `index` where asked (an unset standard one has a null value); 0 or -1.
 * VeskLogmsgKey gives its key, or null. An index outside the list reports
 * 1190, 259, variant 3, "msglog", "get" or "key", "@index". */
VESK_API int32_t VeskLogmsgCount(const VeskLogmsg *msg);
VESK_API int64_t VeskLogmsgGet(const VeskLogmsg *msg, int32_t index, const char **key,
                               const char **value, VeskErr *err);
VESK_API const char *VeskLogmsgKey(const VeskLogmsg *msg, int32_t index, VeskErr *err);

/* ------------------------------------------------------------------------ */
/* Notifiers and listeners                                                   */
/* ------------------------------------------------------------------------ */

/* A notice begins with its code: class in the high half, kind in the low
 * half, 0 in either half a wildcard. A filter is an array of such codes ended
 * by a 0 word; a null filter admits everything. */
typedef int64_t (*VeskNoticeCallback)(uintptr_t context, void *notifier, const void *notice,
                                      VeskErr *err);

/* Param records of the listener sets (VeskInit). */
typedef struct VeskListenerParam {
    VeskOid oid; /* 3.1019.22 (Mlstner) or 3.1019.21 (Ulstner) */
    uint8_t aware;
} VeskListenerParam;
typedef struct VeskCbListenerParam {
    VeskOid oid; /* 3.1019.24 ("objects/Nucbmlsner") or 3.1019.23 ("objects/Nucbulsner") */
    uint8_t aware;
    VeskNoticeCallback callback;
    uintptr_t context;
} VeskCbListenerParam;

/* The POD of "operations/notifier/Mntfier", which no stock class binds: a
 * class of a module's own that imports it keeps this much room for it in its
 * instances, at the element's podoff. */
typedef struct VeskMntfierPod {
    NuSMutex lock;
    uint32_t capacity;
    uint32_t length;
    void *links;
} VeskMntfierPod;

#define VESK_LISTENER_FAMILY VESK_FAC_LISTENER
#define VESK_NOTIFIER_FAMILY VESK_FAC_NOTIFIER
/* Rows of the listener family. */
#define VESK_LSN_NOTIFIERC      4
#define VESK_LSN_CLEARNOTIFIERS 5
#define VESK_LSN_LISTEN         6
#define VESK_LSN_ATTACH         7
#define VESK_LSN_DETACH         8
#define VESK_LSN_UNLINK         9
#define VESK_LSN_UNLINK_NLK     10
#define VESK_LSN_BECOMEDEAF     11
#define VESK_LSN_BECOMEAWARE    12
#define VESK_LSN_ISAWARE        13
/* Rows of the notifier family. */
#define VESK_NTF_LISTENERC      4
#define VESK_NTF_CLEARLISTENERS 5
#define VESK_NTF_POSTNOTICE     6
#define VESK_NTF_ADDLISTENER    7
#define VESK_NTF_RMLISTENER     8
#define VESK_NTF_UNLINK         9
#define VESK_NTF_UNLINK_NLK     10

#ifdef __cplusplus
}
#endif

#endif /* VESK_H */
