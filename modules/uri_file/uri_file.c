/* SPDX-License-Identifier: MIT */
/*
 * uri_file.c - a URI service as a plug-in module: the "file" scheme.
 *
 * This file is also the example of how to write a module. It is plain C11
 * against the public headers, built as a shared object "urifile.so" whose
 * file key is "urifile", and it exports one symbol, _G_vesk_module. Load it
 * with VeskMldLoad("urifile", NULL, 0, 0, &err); the library installs it in
 * ${libdir}/vesk/modules, which the loader searches by itself.
 *
 * What it holds:
 *   - the service class "objects/Nuurilib" (4.1090) with the set
 *     "operations/urilib/Urifile" (3.1090.1) of 19 rows. The class itself is
 *     the service object: the set's init_once puts it into
 *     _G_urilib_service_default when the module is linked, its fini_once takes
 *     it out when the module is unplugged. Its POD is the table of schemes.
 *   - the class of URI objects "objects/Nuurifile" (4.1092), creatable, with
 *     the stock reference count, constructor and descriptor imported from the
 *     library and the set "operations/uri/Fileuri" (3.1092.1) of its own,
 *     whose row 7 gives the object's path as 16-bit text.
 *
 * File URIs are read as RFC 8089 has them: "file:///abs/path",
 * "file://localhost/abs/path" and "file:/abs/path", with percent-decoding;
 * any other host, a query, a path that isn't absolute, an encoded NUL or a
 * broken escape is refused. A fragment is dropped.
 */
/* strdup and strnlen are POSIX, not C11: ask for them. */
#define _POSIX_C_SOURCE 200809L

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "vesk.h"

#define URIFILE_EXPORT __attribute__((visibility("default")))

/* Scheme numbers of this service. */
#define SCHEME_FILE 1

/* Sizes: a path is below the platform's limit, and so is its URI text. */
#define PATH_LIMIT 4096
#define TABLE_MAX 32

/* Reports of the module's own, in its own words (facility 1092 for URI
 * objects, 1090 for the service). */
static void refuse(VeskErr *err, int32_t facility, int32_t code, const char *what, const char *text) {
    VeskMkerr_u(err, 0, 0, 0, facility, code, 0, "urifile: %s: %s", what, text);
}

/* ---- URI objects ------------------------------------------------------------ */

struct uri_pod {
    char *path; /* the absolute file-system path, UTF-8, malloc'd */
};

struct uri_object {
    VeskInstance head;
    int32_t count; /* the stock reference count */
    struct uri_pod pod;
};

static struct uri_pod *pod_of(VeskClosure *cl) { return (struct uri_pod *)cl->pod; }

static int64_t uri_pod_init(VeskClosure *cl, VeskErr *err, uint32_t flags, void *param) {
    (void)err, (void)param;
    pod_of(cl)->path = NULL;
    if (flags & VESK_POD_CLONE) {
        const VeskCloneParam *clone = (const VeskCloneParam *)param;
        const struct uri_pod *src = (const struct uri_pod *)clone->source.pod;
        if (src->path != NULL && (pod_of(cl)->path = strdup(src->path)) == NULL)
            return -1;
    }
    return 0;
}

static int64_t uri_pod_fini(VeskClosure *cl, VeskErr *err, uint32_t flags) {
    (void)err, (void)flags;
    free(pod_of(cl)->path);
    pod_of(cl)->path = NULL;
    return 0;
}

/* Bytes a path character stands for in a URI as it is: unreserved characters,
 * "/" and the sub-delimiters that mean nothing in a path. */
static int plain_in_uri(unsigned char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return 1;
    return c != 0 && strchr("-._~/!$&'()*+,;=:@", c) != NULL;
}

/* Row 4: the URI text, "file:///..." percent-encoded; the length, or the
 * length it needs when `size` is too small (nothing is written then). */
static int64_t uri_tostring(VeskClosure *cl, VeskErr *err, char *buf, uint32_t size) {
    static const char hex[] = "0123456789ABCDEF";
    const char *p = pod_of(cl)->path;
    size_t need = 7; /* "file://" */
    for (const unsigned char *s = (const unsigned char *)p; *s; ++s)
        need += plain_in_uri(*s) ? 1 : 3;
    if (buf == NULL || need >= size) {
        if (buf != NULL)
            refuse(err, VESK_URIOBJ_FAMILY, VESK_E_BUFSMALL, "@buffer", "the buffer is too small.");
        return (int64_t)need;
    }
    char *o = buf;
    memcpy(o, "file://", 7), o += 7;
    for (const unsigned char *s = (const unsigned char *)p; *s; ++s) {
        if (plain_in_uri(*s)) {
            *o++ = (char)*s;
        } else {
            *o++ = '%', *o++ = hex[*s >> 4], *o++ = hex[*s & 15];
        }
    }
    *o = '\0';
    return (int64_t)need;
}

/* Row 5: the path as UTF-8; the length, as row 4 answers. */
static int64_t uri_fspath(VeskClosure *cl, VeskErr *err, char *buf, uint32_t size) {
    const size_t len = strlen(pod_of(cl)->path);
    if (buf == NULL || len >= size) {
        if (buf != NULL)
            refuse(err, VESK_URIOBJ_FAMILY, VESK_E_BUFSMALL, "@buffer", "the buffer is too small.");
        return (int64_t)len;
    }
    memcpy(buf, pod_of(cl)->path, len + 1);
    return (int64_t)len;
}

/* Row 6: the scheme number. */
static int64_t uri_scheme(VeskClosure *cl, VeskErr *err) {
    (void)cl, (void)err;
    return SCHEME_FILE;
}

/* UTF-8 to UTF-16 with surrogate pairs; the units written (the NUL not
 * counted), or -1 for text that isn't UTF-8 or doesn't fit `size` units. */
static int64_t utf8_to_utf16(const char *in, char16_t *out, size_t size) {
    const unsigned char *s = (const unsigned char *)in;
    size_t n = 0;
    while (*s) {
        uint32_t c = *s++;
        int more = c < 0x80 ? 0 : (c & 0xE0) == 0xC0 ? 1 : (c & 0xF0) == 0xE0 ? 2 : (c & 0xF8) == 0xF0 ? 3 : -1;
        if (more < 0)
            return -1;
        c &= more == 0 ? 0x7F : more == 1 ? 0x1F : more == 2 ? 0x0F : 0x07;
        for (int i = 0; i < more; ++i, ++s) {
            if ((*s & 0xC0) != 0x80)
                return -1;
            c = (c << 6) | (*s & 0x3F);
        }
        static const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
        if (c < least[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return -1;
        const size_t units = c >= 0x10000 ? 2 : 1;
        if (n + units >= size)
            return -1;
        if (units == 2) {
            c -= 0x10000;
            out[n++] = (char16_t)(0xD800 | (c >> 10));
            out[n++] = (char16_t)(0xDC00 | (c & 0x3FF));
        } else {
            out[n++] = (char16_t)c;
        }
    }
    out[n] = 0;
    return (int64_t)n;
}

/* UTF-16 to UTF-8 into a new block; null for a lone surrogate, an overlong
 * text or no memory. */
static char *utf16_to_utf8(const char16_t *in) {
    size_t len = 0;
    while (in[len] != 0 && len < PATH_LIMIT * 2)
        ++len;
    if (in[len] != 0)
        return NULL;
    char *out = malloc(len * 3 + 1);
    if (out == NULL)
        return NULL;
    char *o = out;
    for (size_t i = 0; i < len; ++i) {
        uint32_t c = in[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < len && in[i + 1] >= 0xDC00 && in[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (uint32_t)(in[++i] - 0xDC00);
        else if (c >= 0xD800 && c <= 0xDFFF) {
            free(out);
            return NULL;
        }
        if (c < 0x80) {
            *o++ = (char)c;
        } else if (c < 0x800) {
            *o++ = (char)(0xC0 | (c >> 6)), *o++ = (char)(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            *o++ = (char)(0xE0 | (c >> 12)), *o++ = (char)(0x80 | ((c >> 6) & 0x3F));
            *o++ = (char)(0x80 | (c & 0x3F));
        } else {
            *o++ = (char)(0xF0 | (c >> 18)), *o++ = (char)(0x80 | ((c >> 12) & 0x3F));
            *o++ = (char)(0x80 | ((c >> 6) & 0x3F)), *o++ = (char)(0x80 | (c & 0x3F));
        }
    }
    *o = '\0';
    return out;
}

/* Row 7: the path as 16-bit text, what a caller hands to the file system. */
static int64_t uri_fswpath(VeskClosure *cl, VeskErr *err, char16_t *buf, uint32_t size, uint32_t flags) {
    (void)flags;
    if (buf == NULL || size == 0) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_FAULT, "@buffer", "no buffer.");
        return -1;
    }
    const int64_t n = utf8_to_utf16(pod_of(cl)->path, buf, size);
    if (n < 0) {
        buf[0] = 0;
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_ILSEQ, pod_of(cl)->path,
               "not UTF-8, or too long for the buffer.");
    }
    return n;
}

static VESK_OPS_T(8) uriobj_ops = {
    VESK_RECORD_INIT("operations/uri/Fileuri", "uri/Fileuri", "uri",
                     VESK_OID3(VESK_CAT_OPS, VESK_URIOBJ_FAMILY, 1), NULL),
    sizeof(struct uri_pod),
    8,
    {VESK_STDROWS(0, 0, uri_pod_init, uri_pod_fini),
     VESK_ROW(tostring, "uri::to-string", uri_tostring),
     VESK_ROW(fspath, "uri::file-system-path", uri_fspath),
     VESK_ROW(scheme, "uri::scheme", uri_scheme),
     VESK_ROW(fswpath, "uri::file-system-wpath", uri_fswpath)},
};

static int64_t push_block_behind(VeskRecord *rec, VeskErr *status) {
    VeskClass *cls = (VeskClass *)rec;
    return _VeskSelistPushback_nlk(&cls->selist, (VeskSeblock *)(cls + 1), status);
}

static struct uri_class {
    VeskClass cls;
    VESK_SEBLOCK_T(4) block;
    VeskDescriptor descriptor;
} uri_class = {
    VESK_CLASS_INIT("objects/Nuurifile", "Nuurifile", "Nuurifile",
                    VESK_OID2(VESK_CAT_CLASS, VESK_URIOBJ_FAMILY), push_block_behind,
                    sizeof(struct uri_object)),
    {VESK_SEBLOCK_HEAD(4),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_URIOBJ_FAMILY, 1), 1,
                  offsetof(struct uri_object, pod), VESK_OPS(&uriobj_ops)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 6), 1, offsetof(struct uri_object, count)),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_CTOR, 3), 0, 0),
      VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0,
                     offsetof(struct uri_class, descriptor))}},
    {VESK_VERSION(1, 0, 0), __DATE__},
};

/* ---- Reading and making paths ------------------------------------------------ */

static int hexval(unsigned char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

static int ieq(const char *a, const char *b, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        unsigned char x = (unsigned char)a[i], y = (unsigned char)b[i];
        if (x >= 'A' && x <= 'Z')
            x = (unsigned char)(x + 32);
        if (y >= 'A' && y <= 'Z')
            y = (unsigned char)(y + 32);
        if (x != y)
            return 0;
    }
    return 1;
}

/* The length of the scheme at the start of `text` (ahead of its ":"), or 0. */
static size_t scheme_length(const char *text, size_t len) {
    size_t i = 0;
    if (len == 0 || !((text[0] | 32) >= 'a' && (text[0] | 32) <= 'z'))
        return 0;
    for (i = 1; i < len && text[i] != ':'; ++i) {
        const char c = text[i];
        if (!((c | 32) >= 'a' && (c | 32) <= 'z') && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.')
            return 0;
    }
    return i < len ? i : 0;
}

/* A file URI to its path, in a new block; null after a report. */
static char *path_of_uri(const char *uri, VeskErr *err) {
    const size_t len = strnlen(uri, PATH_LIMIT * 3 + 64);
    if (len > PATH_LIMIT * 3 + 32) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NAMETOOLONG, "@uri", "too long.");
        return NULL;
    }
    const size_t slen = scheme_length(uri, len);
    if (slen != 4 || !ieq(uri, "file", 4)) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NOTSUP, uri, "not a file URI.");
        return NULL;
    }
    const char *p = uri + 5;
    if (p[0] == '/' && p[1] == '/') { /* an authority: empty or localhost */
        const char *host = p + 2;
        const char *end = strchr(host, '/');
        const size_t hlen = end != NULL ? (size_t)(end - host) : strlen(host);
        if (!(hlen == 0 || (hlen == 9 && ieq(host, "localhost", 9)))) {
            refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NOTSUP, uri, "the host is not this machine.");
            return NULL;
        }
        p = host + hlen;
    }
    if (*p != '/') {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_INVAL, uri, "the path is not absolute.");
        return NULL;
    }
    char *out = malloc(strlen(p) + 1);
    if (out == NULL) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NOMEM, uri, "no memory.");
        return NULL;
    }
    size_t n = 0;
    for (; *p != '\0' && *p != '#'; ++p) {
        const unsigned char c = (unsigned char)*p;
        if (c == '?') {
            free(out);
            refuse(err, VESK_URIOBJ_FAMILY, VESK_E_INVAL, uri, "a file URI has no query.");
            return NULL;
        }
        if (c != '%') {
            out[n++] = (char)c;
            continue;
        }
        const int hi = hexval((unsigned char)p[1]), lo = hi < 0 ? -1 : hexval((unsigned char)p[2]);
        if (lo < 0 || (hi | lo) == 0) {
            free(out);
            refuse(err, VESK_URIOBJ_FAMILY, VESK_E_INVAL, uri, "a broken or NUL escape.");
            return NULL;
        }
        out[n++] = (char)(hi << 4 | lo);
        p += 2;
    }
    out[n] = '\0';
    if (n >= PATH_LIMIT) {
        free(out);
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NAMETOOLONG, "@uri", "the path is too long.");
        return NULL;
    }
    return out;
}

/* An absolute path, copied; null after a report. */
static char *path_copy(const char *path, VeskErr *err) {
    if (path == NULL) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_FAULT, "@path", "null.");
        return NULL;
    }
    const size_t len = strnlen(path, PATH_LIMIT);
    if (len >= PATH_LIMIT || path[0] != '/') {
        refuse(err, VESK_URIOBJ_FAMILY, len >= PATH_LIMIT ? VESK_E_NAMETOOLONG : VESK_E_INVAL, "@path",
               "not an absolute path below the limit.");
        return NULL;
    }
    char *out = malloc(len + 1);
    if (out == NULL)
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_NOMEM, "@path", "no memory.");
    else
        memcpy(out, path, len + 1);
    return out;
}

/* A new URI object holding `path` (taken over); -1 as a word after a report. */
static intptr_t make_object(char *path, void *mem, uint32_t retain, VeskErr *err) {
    if (path == NULL)
        return -1;
    struct uri_object *obj = VeskAlloc(&uri_class.cls, 0, mem, 0, err);
    if (obj == NULL) {
        free(path);
        return -1;
    }
    VeskXucntlParam count = {VESK_OID3(VESK_CAT_OPS, VESK_FAC_UCNTL, 6), retain != 0 ? retain : 1};
    void *params[] = {&count};
    if (VeskInitDeallocIfError(obj, params, 1, err) == NULL) {
        free(path);
        return -1;
    }
    obj->pod.path = path;
    return (intptr_t)obj;
}

static char *text_of_wide(const char16_t *w, VeskErr *err) {
    if (w == NULL) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_FAULT, "@string", "null.");
        return NULL;
    }
    char *s = utf16_to_utf8(w);
    if (s == NULL)
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_ILSEQ, "@string", "not UTF-16 text of a path.");
    return s;
}

/* ---- The service -------------------------------------------------------------- */

struct service_pod {
    pthread_mutex_t lock;
    uint32_t count;
    const VeskUriSchemeInfo *schemes[TABLE_MAX];
};

static const VeskUriSchemeInfo file_scheme = {SCHEME_FILE, "file", 0, "RFC 8089 file URIs on this host"};

static struct service_pod *svc_of(VeskClosure *cl) { return (struct service_pod *)cl->pod; }

static int64_t svc_init_once(VeskClosure *cl, VeskErr *err) {
    (void)err;
    struct service_pod *svc = svc_of(cl);
    svc->count = 1;
    svc->schemes[0] = &file_scheme;
    /* The first URI service linked becomes the default one. */
    void *expected = NULL;
    __atomic_compare_exchange_n(&_G_urilib_service_default, &expected, cl->holder, 0,
                                __ATOMIC_RELEASE, __ATOMIC_RELAXED);
    return 0;
}

static int64_t svc_fini_once(VeskClosure *cl, VeskErr *err) {
    (void)err;
    void *expected = cl->holder;
    __atomic_compare_exchange_n(&_G_urilib_service_default, &expected, NULL, 0, __ATOMIC_RELEASE,
                                __ATOMIC_RELAXED);
    svc_of(cl)->count = 0;
    return 0;
}

static intptr_t svc_create_string(VeskClosure *cl, VeskErr *err, void *mem, const char *s,
                                  uint32_t retain, uint32_t flags, uintptr_t r, uintptr_t ctx) {
    (void)cl, (void)flags, (void)r, (void)ctx;
    if (s == NULL) {
        refuse(err, VESK_URIOBJ_FAMILY, VESK_E_FAULT, "@string", "null.");
        return -1;
    }
    return make_object(path_of_uri(s, err), mem, retain, err);
}

static intptr_t svc_create_wstring(VeskClosure *cl, VeskErr *err, void *mem, const char16_t *s,
                                   uint32_t retain, uint32_t flags, uintptr_t r, uintptr_t ctx) {
    char *text = text_of_wide(s, err);
    if (text == NULL)
        return -1;
    const intptr_t obj = svc_create_string(cl, err, mem, text, retain, flags, r, ctx);
    free(text);
    return obj;
}

static intptr_t svc_create_path(VeskClosure *cl, VeskErr *err, void *mem, const char *path,
                                uint32_t retain, uint32_t flags, uintptr_t r, uintptr_t ctx) {
    (void)cl, (void)flags, (void)r, (void)ctx;
    return make_object(path_copy(path, err), mem, retain, err);
}

static intptr_t svc_create_wpath(VeskClosure *cl, VeskErr *err, void *mem, const char16_t *path,
                                 uint32_t retain, uint32_t flags, uintptr_t r, uintptr_t ctx) {
    (void)cl, (void)flags, (void)r, (void)ctx;
    char *text = text_of_wide(path, err);
    if (text == NULL)
        return -1;
    const intptr_t obj = make_object(path_copy(text, err), mem, retain, err);
    free(text);
    return obj;
}

static const VeskUriSchemeInfo *find_by_name(struct service_pod *svc, const char *name, size_t len) {
    if (name == NULL)
        return NULL;
    if (len == VESK_URI_TONUL)
        len = strnlen(name, 64);
    for (uint32_t i = 0; i < svc->count; ++i)
        if (strlen(svc->schemes[i]->name) == len && ieq(svc->schemes[i]->name, name, len))
            return svc->schemes[i];
    return NULL;
}

static const VeskUriSchemeInfo *find_by_id(struct service_pod *svc, int32_t id) {
    for (uint32_t i = 0; i < svc->count; ++i)
        if (svc->schemes[i]->id == id)
            return svc->schemes[i];
    return NULL;
}

static const VeskUriSchemeInfo *locked_by_name(VeskClosure *cl, const char *name, size_t len) {
    pthread_mutex_lock(&svc_of(cl)->lock);
    const VeskUriSchemeInfo *info = find_by_name(svc_of(cl), name, len);
    pthread_mutex_unlock(&svc_of(cl)->lock);
    return info;
}

static const VeskUriSchemeInfo *locked_by_id(VeskClosure *cl, int32_t id, VeskErr *err) {
    pthread_mutex_lock(&svc_of(cl)->lock);
    const VeskUriSchemeInfo *info = find_by_id(svc_of(cl), id);
    pthread_mutex_unlock(&svc_of(cl)->lock);
    if (info == NULL)
        VeskMkerr(NULL, err, 0, 0, 0, VESK_URI_FAMILY, VESK_E_NOMATCH, 0, 1, id);
    return info;
}

static int64_t svc_support(VeskClosure *cl, VeskErr *err, const char *name, size_t len) {
    (void)err;
    return locked_by_name(cl, name, len) != NULL ? 1 : 0;
}

static int64_t svc_scheme_byname(VeskClosure *cl, VeskErr *err, const char *name, size_t len) {
    const VeskUriSchemeInfo *info = locked_by_name(cl, name, len);
    if (info != NULL)
        return info->id;
    VeskMkerr(NULL, err, 0, 0, 0, VESK_URI_FAMILY, VESK_E_NOMATCH, 0, 2, name != NULL ? name : "(null)");
    return VESK_URI_SCHEME_UNKNOWN;
}

static intptr_t svc_scheme_name(VeskClosure *cl, VeskErr *err, int32_t id) {
    const VeskUriSchemeInfo *info = locked_by_id(cl, id, err);
    return info != NULL ? (intptr_t)info->name : -1;
}

static intptr_t svc_info_byname(VeskClosure *cl, VeskErr *err, const char *name, size_t len) {
    const VeskUriSchemeInfo *info = locked_by_name(cl, name, len);
    if (info == NULL)
        VeskMkerr(NULL, err, 0, 0, 0, VESK_URI_FAMILY, VESK_E_NOMATCH, 0, 2, name != NULL ? name : "(null)");
    return info != NULL ? (intptr_t)info : -1;
}

static intptr_t svc_info_byid(VeskClosure *cl, VeskErr *err, int32_t id) {
    const VeskUriSchemeInfo *info = locked_by_id(cl, id, err);
    return info != NULL ? (intptr_t)info : -1;
}

static int64_t add_nlk(VeskClosure *cl, VeskErr *err, uint32_t count, const VeskUriSchemeInfo *table) {
    struct service_pod *svc = svc_of(cl);
    (void)err;
    if (table == NULL && count != 0)
        return -1;
    for (uint32_t i = 0; i < count; ++i) {
        if (table[i].name == NULL || find_by_name(svc, table[i].name, VESK_URI_TONUL) != NULL ||
            find_by_id(svc, table[i].id) != NULL)
            continue;
        if (svc->count == TABLE_MAX)
            return -1;
        svc->schemes[svc->count++] = &table[i];
    }
    return 0;
}

static int64_t rem_nlk(VeskClosure *cl, VeskErr *err, uint32_t count, const VeskUriSchemeInfo *table) {
    struct service_pod *svc = svc_of(cl);
    (void)err;
    if (table == NULL && count != 0)
        return -1;
    for (uint32_t i = 0; i < count; ++i)
        for (uint32_t j = 0; j < svc->count; ++j)
            if (svc->schemes[j] == &table[i]) {
                memmove(&svc->schemes[j], &svc->schemes[j + 1], (svc->count - j - 1) * sizeof svc->schemes[0]);
                --svc->count;
                break;
            }
    return 0;
}

static int64_t svc_add(VeskClosure *cl, VeskErr *err, uint32_t count, const VeskUriSchemeInfo *table) {
    pthread_mutex_lock(&svc_of(cl)->lock);
    const int64_t r = add_nlk(cl, err, count, table);
    pthread_mutex_unlock(&svc_of(cl)->lock);
    return r;
}

static int64_t svc_rem(VeskClosure *cl, VeskErr *err, uint32_t count, const VeskUriSchemeInfo *table) {
    pthread_mutex_lock(&svc_of(cl)->lock);
    const int64_t r = rem_nlk(cl, err, count, table);
    pthread_mutex_unlock(&svc_of(cl)->lock);
    return r;
}

static int64_t parse_scheme(VeskClosure *cl, VeskErr *err, const char *text, size_t len, int32_t *id) {
    if (text == NULL) {
        refuse(err, VESK_URI_FAMILY, VESK_E_FAULT, "@text", "null.");
        return -1;
    }
    if (len == VESK_URI_TONUL)
        len = strlen(text);
    const size_t n = scheme_length(text, len);
    if (id != NULL) {
        const VeskUriSchemeInfo *info = n != 0 ? locked_by_name(cl, text, n) : NULL;
        *id = info != NULL ? info->id : VESK_URI_SCHEME_UNKNOWN;
    }
    return (int64_t)n;
}

static int64_t svc_parse(VeskClosure *cl, VeskErr *err, const char *text, size_t len, int32_t *id,
                         uint32_t flags) {
    (void)flags;
    return parse_scheme(cl, err, text, len, id);
}

static int64_t svc_wparse(VeskClosure *cl, VeskErr *err, const char16_t *text, size_t len, int32_t *id,
                          uint32_t flags) {
    (void)flags;
    if (text == NULL)
        return parse_scheme(cl, err, NULL, 0, id);
    char narrow[64]; /* a scheme is ASCII and short: only its first units matter */
    size_t n = 0;
    for (; n < sizeof narrow - 1 && (len == VESK_URI_TONUL ? text[n] != 0 : n < len); ++n)
        narrow[n] = text[n] < 0x80 ? (char)text[n] : '\x7f';
    narrow[n] = '\0';
    return parse_scheme(cl, err, narrow, n, id);
}

static VESK_OPS_T(VESK_URI_OP_COUNT) service_ops = {
    VESK_RECORD_INIT("operations/urilib/Urifile", "urilib/Urifile", "urilib",
                     VESK_OID3(VESK_CAT_OPS, VESK_URI_FAMILY, 1), NULL),
    sizeof(struct service_pod),
    VESK_URI_OP_COUNT,
    {VESK_STDROWS(svc_init_once, svc_fini_once, 0, 0),
     VESK_ROW(create_string, "urilib::create-with-string", svc_create_string),
     VESK_ROW(create_wstring, "urilib::create-with-wstring", svc_create_wstring),
     VESK_ROW(create_path, "urilib::create-with-file-system-path", svc_create_path),
     VESK_ROW(create_wpath, "urilib::create-with-file-system-wpath", svc_create_wpath),
     VESK_ROW(support, "urilib::support-scheme", svc_support),
     VESK_ROW(scheme_byname, "urilib::scheme-by-name", svc_scheme_byname),
     VESK_ROW(scheme_name, "urilib::scheme-name", svc_scheme_name),
     VESK_ROW(info_byname, "urilib::scheme-info-by-name", svc_info_byname),
     VESK_ROW(info_byid, "urilib::scheme-info-by-id", svc_info_byid),
     VESK_ROW(add, "urilib::add-scheme-info", svc_add),
     VESK_ROW(add_nlk, "urilib::add-scheme-info-nlk", add_nlk),
     VESK_ROW(rem, "urilib::remove-scheme-info", svc_rem),
     VESK_ROW(rem_nlk, "urilib::remove-scheme-info-nlk", rem_nlk),
     VESK_ROW(parse, "urilib::parse-scheme", svc_parse),
     VESK_ROW(wparse, "urilib::wparse-scheme", svc_wparse)},
};

static struct service_class {
    VeskClass cls;
    VESK_SEBLOCK_T(1) block;
    struct service_pod pod;
} service_class = {
    VESK_CLASS_INIT("objects/Nuurilib", "Nuurilib", "Nuurilib",
                    VESK_OID2(VESK_CAT_CLASS, VESK_URI_FAMILY), push_block_behind, 0),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_URI_FAMILY, 1), 0,
                  offsetof(struct service_class, pod), VESK_OPS(&service_ops))}},
    {PTHREAD_MUTEX_INITIALIZER, 0, {NULL}},
};

/* ---- The module ------------------------------------------------------------------ */

static int64_t module_link(VeskRecord *rec, VeskErr *status);

static struct {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} module = {
    VESK_MODULE_INIT("modules/urifile", "urifile", "urifile", VESK_OID2(VESK_CAT_MODULE, VESK_URI_FAMILY),
                     module_link, "urifile", VESK_VERSION(1, 0, 0), __DATE__),
    {VESK_SEBLOCK_HEAD(1),
     {VESK_SE_IMPORT(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0,
                     offsetof(VeskModule, descriptor))}},
};

static int64_t module_link(VeskRecord *rec, VeskErr *status) {
    static VeskOps *opsv[] = {VESK_OPS(&service_ops), VESK_OPS(&uriobj_ops)};
    static VeskClass *clsv[] = {&service_class.cls, &uri_class.cls};
    VeskModule *m = (VeskModule *)rec;
    m->opsv = opsv;
    m->opsc = sizeof opsv / sizeof opsv[0];
    m->clsv = clsv;
    m->clsc = sizeof clsv / sizeof clsv[0];
    return _VeskSelistPushback_nlk(&m->selist, VESK_SEBLOCK(&module.block), status);
}

/* What the loader looks for. */
URIFILE_EXPORT VeskModule *_G_vesk_module = &module.mod;
