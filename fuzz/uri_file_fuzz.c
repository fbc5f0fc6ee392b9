/* SPDX-License-Identifier: MIT */
/*
 * The file-URI module's reader on random text, compiled in whole: a URI it
 * accepts gives an absolute path without NUL; the path written back as a URI
 * reads again to the same path; any path written as a URI reads back to
 * itself; UTF-8 to UTF-16 and back is the identity wherever it succeeds.
 */
#include "../modules/uri_file/uri_file.c"

#include <stdio.h>

static char *write_uri(const char *path) {
    struct uri_pod pod = {(char *)path};
    VeskClosure cl = {NULL, NULL, &pod, NULL, 4};
    const int64_t need = uri_tostring(&cl, NULL, NULL, 0);
    char *buf = malloc((size_t)need + 1);
    if (buf == NULL || uri_tostring(&cl, NULL, buf, (uint32_t)need + 1) != need)
        abort();
    return buf;
}

static void check_round_trip(const char *path) {
    char *uri = write_uri(path);
    char *again = path_of_uri(uri, NULL);
    if (again == NULL || strcmp(again, path) != 0)
        abort();
    free(again);
    free(uri);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    char *text = malloc(size + 1);
    if (text == NULL)
        return 0;
    memcpy(text, data, size);
    text[size] = '\0';
    char *path = path_of_uri(text, NULL);
    if (path != NULL) {
        if (path[0] != '/' || strlen(path) >= PATH_LIMIT)
            abort();
        check_round_trip(path);
        free(path);
    }
    /* The text taken as a path (made absolute). */
    if (size < PATH_LIMIT - 1) {
        char *abs = malloc(size + 2);
        abs[0] = '/';
        memcpy(abs + 1, text, strlen(text) + 1);
        check_round_trip(abs);
        char16_t *wide = malloc((size + 2) * sizeof *wide);
        if (utf8_to_utf16(abs, wide, size + 2) >= 0) {
            char *back = utf16_to_utf8(wide);
            if (back == NULL || strcmp(back, abs) != 0)
                abort();
            free(back);
        }
        free(wide);
        free(abs);
    }
    free(text);
    return 0;
}
