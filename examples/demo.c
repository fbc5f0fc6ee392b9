/* SPDX-License-Identifier: MIT */
/*
 * A tour of vesk in plain C: notices from a notifier to two listeners.
 *
 * 1. A module of our own with one class, a notifier that many listeners can
 *    attach to. It is written as static data and binds sets that the library
 *    already has: the notifier, the reference count and the constructor.
 * 2. Two callback listeners of the stock class "objects/Nucbmlsner", made
 *    with VeskAlloc and VeskInit, each with its own function and context.
 * 3. Links with filters, and notices posted through the notifier.
 * 4. Everything released: the last release of each object finalises it,
 *    unlinks it from its peers and frees it.
 * 5. A failing call, and the sentence the library gives its failure.
 * 6. A plug-in module loaded from its file: "urifile", the file-URI service
 *    shipped with the library (modules/uri_file/uri_file.c shows how such a
 *    module is written). The loader finds it in the install's module
 *    directory by itself; it becomes the default URI service.
 *
 * Every call to an object goes through a row of an operation set found by
 * identifier at run time, so the object decides what happens.
 */
#include <stddef.h>
#include <stdio.h>

#include "nu.h"
#include "vesk.h"

/* ---- 1. A module with a notifier class -------------------------------------- */

/* An instance: the head, then the POD of each service element that keeps its
 * data in the instance (depth 1): the reference count and the notifier. */
struct notifier {
    VeskInstance head;
    int32_t count;
    VeskMntfierPod notifier;
};

static int64_t notifier_class_on_link(VeskRecord *rec, VeskErr *status);

/* The class binds three sets by identifier; linking finds them in the
 * library's module "modules/kdv". */
static struct {
    VeskClass cls;
    VESK_SEBLOCK_T(3) block;
} notifier_class = {
    VESK_CLASS_INIT("objects/Tournotifier", "Tournotifier", "Tournotifier", VESK_OID2(4, 2001),
                    notifier_class_on_link, sizeof(struct notifier)),
    {VESK_SEBLOCK_HEAD(3),
     {VESK_SE_IMPORT(VESK_OID3(3, VESK_NOTIFIER_FAMILY, 20), 1, offsetof(struct notifier, notifier)),
      VESK_SE_IMPORT(VESK_OID3(3, 1006, 6), 1, offsetof(struct notifier, count)),
      VESK_SE_IMPORT(VESK_OID3(3, 1003, 3), 0, 0)}},
};

static int64_t notifier_class_on_link(VeskRecord *rec, VeskErr *status) {
    (void)rec;
    return _VeskSelistPushback_nlk(&notifier_class.cls.selist, VESK_SEBLOCK(&notifier_class.block),
                                   status);
}

static VeskClass *tour_classes[1];

static int64_t tour_module_on_link(VeskRecord *rec, VeskErr *status) {
    VeskModule *mod = (VeskModule *)rec;
    (void)status;
    tour_classes[0] = &notifier_class.cls;
    mod->clsv = tour_classes;
    mod->clsc = 1;
    return 0;
}

static VeskModule tour_module = VESK_MODULE_INIT("modules/tour", "tour", "tour",
                                                 VESK_OID2(5, 2001), tour_module_on_link, "tour",
                                                 VESK_VERSION(1, 0, 0), __DATE__);

/* A plug-in file is linked by the loader; a module inside the program links
 * itself through the same three steps. */
static int link_tour_module(void) {
    return _VeskModDescribe(&tour_module, NULL) >= 0 &&
           _VeskModRegister(&tour_module, NULL) > 0 && _VeskModPlug(&tour_module, NULL) > 0;
}

/* ---- 2. Callback listeners ---------------------------------------------------- */

/* A notice is any record whose first word is its code: a class in the high
 * half, a kind in the low half. */
struct notice {
    uint32_t code;
    const char *text;
};

#define NOTICE(cls, kind) (((uint32_t)(cls) << 16) | (uint32_t)(kind))

static int64_t hear(uintptr_t context, void *notifier, const void *notice, VeskErr *err) {
    const struct notice *n = notice;
    (void)notifier;
    (void)err;
    printf("  %-8s hears 0x%08x: %s\n", (const char *)context, (unsigned)n->code, n->text);
    return 0;
}

static void *new_listener(const char *who) {
    const VeskOid cbmlsner = VESK_OID2(4, 14);
    VeskCbListenerParam param = {VESK_OID3(3, VESK_LISTENER_FAMILY, 24), 1, hear, (uintptr_t)who};
    void *params[] = {&param};
    void *l = VeskAlloc(_VeskGetcobject(&cbmlsner, NULL), 0, NULL, 0, NULL);
    return VeskInitDeallocIfError(l, params, 1, NULL);
}

/* Calls a row of the listener or notifier family on an object, the way the
 * library's own front ends call: a closure frame, the lookup, the call. */
static int64_t attach(void *listener, void *notifier, const uint32_t *filter) {
    const VeskOid key = VESK_OPKEY2(VESK_LSN_ATTACH, 3, VESK_LISTENER_FAMILY);
    VeskFrame *frame = __vesk_closure_tramp_att();
    int64_t r;
    frame->fn = VeskLookupoporstub(listener, &key, &frame->cl)->fn;
    r = ((int64_t(*)(VeskClosure *, VeskErr *, void *, const uint32_t *))frame->fn)(
        &frame->cl, NULL, notifier, filter);
    __vesk_closure_tramp_det();
    return r;
}

static void post(void *notifier, const struct notice *n) {
    const VeskOid key = VESK_OPKEY2(VESK_NTF_POSTNOTICE, 3, VESK_NOTIFIER_FAMILY);
    VeskFrame *frame = __vesk_closure_tramp_att();
    printf("post 0x%08x\n", (unsigned)n->code);
    frame->fn = VeskLookupoporstub(notifier, &key, &frame->cl)->fn;
    ((int64_t(*)(VeskClosure *, VeskErr *, const void *))frame->fn)(&frame->cl, NULL, n);
    __vesk_closure_tramp_det();
}

int main(void) {
    /* 1 */
    if (!link_tour_module()) {
        fprintf(stderr, "the tour module did not link\n");
        return 1;
    }
    void *notifier = VeskAlloc(&notifier_class.cls, 0, NULL, 0, NULL);
    if (VeskInitDeallocIfError(notifier, NULL, 0, NULL) == NULL)
        return 1;

    /* 2 */
    void *logger = new_listener("logger"), *auditor = new_listener("auditor");
    if (logger == NULL || auditor == NULL)
        return 1;

    /* 3: the logger hears everything; the auditor only class 2, any kind. */
    static const uint32_t class_two[] = {NOTICE(2, 0), 0};
    attach(logger, notifier, NULL);
    attach(auditor, notifier, class_two);
    const struct notice notices[] = {
        {NOTICE(1, 1), "a file was opened"},
        {NOTICE(2, 1), "a user logged in"},
        {NOTICE(2, 7), "a user changed a password"},
    };
    for (size_t i = 0; i < sizeof notices / sizeof notices[0]; ++i)
        post(notifier, &notices[i]);

    /* 4: each object starts with one reference; its last release ends it. */
    VeskRelease(auditor, 0, NULL);
    printf("the auditor is gone; the notifier forgot it\n");
    post(notifier, &notices[2]);
    VeskRelease(logger, 0, NULL);
    VeskRelease(notifier, 0, NULL);
    /* A module linked inside the program stays until the program ends; one
     * loaded from a file can be unloaded again. */

    /* 5: a status record with a message buffer gets the sentence. */
    char msg[128];
    VeskErr err = {0};
    err.msg = msg;
    err.msgsize = sizeof msg;
    if (NuMsleep(0x100000000ull, &err) < 0)
        printf("a refused sleep says: \"%s\" (errno %d)\n", msg, (int)VeskStatus2unix(NULL,
                                                                                        err.status));

    /* 6: load the module by its name, turn a URI into a path, unload it. */
    if (VeskMldLoad("urifile", NULL, 0, 0, &err) < 0) {
        fprintf(stderr, "no URI module: %s\n", msg);
        return 1;
    }
    void *uri = VeskACreateUriWithString(NULL, "file://localhost/tmp/a%20report%20%C3%A9t%C3%A9.txt", 0,
                                         &err);
    if (uri == NULL) {
        fprintf(stderr, "the URI was refused: %s\n", msg);
        return 1;
    }
    char16_t wide[VESK_URIOBJ_WPATH_SIZE];
    VeskClosure cl;
    const VeskOid fswpath = {2, VESK_URIOBJ_OP_FSWPATH, {VESK_CAT_OPS, VESK_URIOBJ_FAMILY, 0, 0, 0, 0}};
    VeskOprow *row = VeskLookupop(uri, &fswpath, &cl, &err);
    const int64_t units = row != NULL ? ((VeskUriFswpathfn)row->fn)(&cl, &err, wide, VESK_URIOBJ_WPATH_SIZE, 0) : -1;
    printf("the URI names a path of %lld UTF-16 units, starting \"", (long long)units);
    for (int64_t i = 0; i < units && i < 14; ++i)
        putchar(wide[i] < 0x80 ? (char)wide[i] : '?');
    printf("...\"\n");
    VeskRelease(uri, 0, NULL);
    if (VeskMldUnload("urifile", &err) < 0) {
        fprintf(stderr, "the URI module stays: %s\n", msg);
        return 1;
    }
    printf("the URI module is unloaded again\n");
    return 0;
}
