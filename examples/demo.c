/*
 * A short tour of the object runtime, in plain C.
 *
 * 1. Identifiers: short lists of numbers, compared by prefix with wildcards.
 * 2. A module with one class and one operation set, written as static data.
 * 3. A lookup from an instance to its operation, and the call.
 * 4. A failed lookup and the status report it leaves.
 */
#include <stdio.h>
#include <string.h>

#include "vesk.h"

/* ---- 1. Identifiers ------------------------------------------------------ */

static void print_oid(const VeskOid *id) {
    for (unsigned i = 0; i < id->count; ++i)
        printf(i ? ".%u" : "%u", (unsigned)id->comp[i]);
}

static void compare(const VeskOid *a, const VeskOid *b) {
    print_oid(a);
    printf(" vs ");
    print_oid(b);
    printf(": prefix %d, total %d\n", (int)VeskOidcmp(a, b), (int)VeskOidlcmp(a, b));
}

/* ---- 2. Static records ---------------------------------------------------- */

/* What each greeter instance holds: its POD. */
struct greeter_pod {
    const char *name;
    int greeted;
};

/* Every operation takes the closure and the status record first. */
static int64_t greet(VeskClosure *cl, VeskErr *status, const char *greeting) {
    struct greeter_pod *pod = cl->pod;
    (void)status;
    pod->greeted++;
    printf("  %s, %s! (greeted %d time%s)\n", greeting, pod->name, pod->greeted,
           pod->greeted == 1 ? "" : "s");
    return 0;
}
typedef int64_t (*greet_fn)(VeskClosure *, VeskErr *, const char *);

#define GREETER_FAMILY 900
#define GREETER_OP_GREET 4

/* The operation set: four standard rows, then its own. */
static VESK_OPS_T(5) greeter_ops = {
    VESK_RECORD_INIT("operations/greeter/Hello", "greeter/Hello", "greeter",
                     VESK_OID3(VESK_CAT_OPS, GREETER_FAMILY, 1), NULL),
    sizeof(struct greeter_pod),
    5,
    {VESK_STDROWS_NONE, VESK_ROW(greet, "greeter::greet", greet)},
};

/* An instance: the head, then the POD of the instance service. */
struct greeter {
    VeskInstance head;
    struct greeter_pod pod;
};

/* The class: its record, then its static block with one instance service
 * (depth 1: the POD lies in the instance). */
static struct {
    VeskClass cls;
    VESK_SEBLOCK_T(1) block;
} greeter_class = {
    VESK_CLASS_INIT("objects/Greeter", "Greeter", "Greeter", VESK_OID2(VESK_CAT_CLASS, 900), NULL,
                    sizeof(struct greeter)),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, GREETER_FAMILY, 1), 1, offsetof(struct greeter, pod),
                  VESK_OPS(&greeter_ops))}},
};

static VeskModule demo_module = VESK_MODULE_INIT("modules/demo", "demo", "demo",
                                                 VESK_OID2(VESK_CAT_MODULE, 900), NULL, "demo",
                                                 VESK_VERSION(0, 1, 0), __DATE__);

/* The runtime's linker writes the heads and pushes the blocks; this tour
 * does those few stores itself. */
static void link_by_hand(void) {
    demo_module.rec.kind = VESK_KIND_MODULE;
    demo_module.rec.flags = VESK_HEAD_MODULE >> 16;
    greeter_ops.rec.kind = VESK_KIND_OPS;
    greeter_ops.rec.flags = VESK_HEAD_OPS >> 16;
    greeter_ops.rec.super = &demo_module;
    greeter_class.cls.rec.kind = VESK_KIND_CLASS;
    greeter_class.cls.rec.flags = VESK_HEAD_CLASS >> 16;
    greeter_class.cls.rec.super = &demo_module;
    _VeskSelistInit(&greeter_class.cls.selist);
    _VeskSelistPushback_nlk(&greeter_class.cls.selist, VESK_SEBLOCK(&greeter_class.block), NULL);
}

int main(void) {
    puts("Identifiers");
    {
        VeskOid family = {2, 0, {3, 1006}};
        VeskOid set = {3, 0, {3, 1006, 6}};
        VeskOid stub = {3, 0, {3, 1, 0}};
        VeskOid other = {3, 0, {3, 1, 7}};
        compare(&family, &set);
        compare(&set, &family);
        compare(&stub, &other);
    }

    link_by_hand();
    struct greeter alice = {{VESK_KIND_INSTANCE, VESK_F_SUPER, &greeter_class.cls}, {"Alice", 0}};

    puts("\nA lookup from an instance");
    {
        VeskOid key = {2, GREETER_OP_GREET, {VESK_CAT_OPS, GREETER_FAMILY}};
        VeskClosure cl;
        VeskOprow *row = VeskLookupop(&alice, &key, &cl, NULL);
        printf("  row \"%s\" of %s, found through %s\n", row->opname, VeskObjectLongkey(cl.ops),
               VeskObjectLongkey(VeskClassof(&alice)));
        ((greet_fn)row->fn)(&cl, NULL, "Hello");
        /* The same key built from arguments: opnum, then components, then -1. */
        row = VeskVlookupop(&alice, &cl, NULL, GREETER_OP_GREET, GREETER_FAMILY, -1);
        ((greet_fn)row->fn)(&cl, NULL, "Welcome back");
    }

    puts("\nA failed lookup");
    {
        char msg[128] = "";
        VeskErr err;
        VeskOid missing = {2, 9, {VESK_CAT_OPS, GREETER_FAMILY}};
        VeskClosure cl;
        memset(&err, 0, sizeof err);
        err.msg = msg;
        err.msgsize = sizeof msg;
        if (VeskLookupop(&alice, &missing, &cl, &err) == NULL)
            printf("  status 0x%08llx: facility %d, code %d, syserr %d, variant %u\n",
                   (unsigned long long)err.status, (int)VESK_STATUS_FACILITY(err.status),
                   (int)VESK_STATUS_CODE(err.status), (int)err.syserr, (unsigned)err.variant);
        /* A report with a message of the caller's own. */
        VeskMkerr_u(&err, 0, 0, 0, 1000, 1025, 0, "%d{%s}: no such greeting.", 9,
                    VeskObjectLongkey(&alice));
        printf("  %s\n", err.msg);
    }
    return 0;
}
