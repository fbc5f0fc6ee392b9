/* SPDX-License-Identifier: MIT */
/* Run from an install with no VESK_MODULE_PATH and no HOME: the shipped URI
 * module is found in the install's own module directory. */
#include <stdio.h>

#include <vesk/vesk.h>

int main(void) {
    char msg[256] = "";
    VeskErr err = {0};
    err.msg = msg;
    err.msgsize = sizeof msg;
    if (VeskMldLoad("urifile", NULL, 0, 0, &err) != 1) {
        fprintf(stderr, "load: %s\n", msg);
        return 1;
    }
    void *uri = VeskACreateUriWithString(NULL, "file:///x%20y", 0, &err);
    if (uri == NULL || VeskSupportUriScheme(NULL, "file", VESK_URI_TONUL) != 1) {
        fprintf(stderr, "uri: %s\n", msg);
        return 1;
    }
    VeskRelease(uri, 0, NULL);
    return VeskMldUnload("urifile", &err) >= 0 ? 0 : 1;
}
