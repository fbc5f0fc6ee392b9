/* SPDX-License-Identifier: MIT */
/*
 * A C program outside the tree, built with nothing but
 *     cc hello.c $(pkg-config --cflags --libs vesk)
 * It checks that the headers and the library it runs against are the same
 * release, and that a failing call comes back with its sentence.
 */
#include <stdio.h>
#include <string.h>

#include "vesk.h"

int main(void) {
    if (VeskLibraryVersion() != VESK_VERSION_HEX ||
        strcmp(VeskLibraryVersionString(), VESK_VERSION_STRING) != 0) {
        fprintf(stderr, "headers %s, library %s\n", VESK_VERSION_STRING,
                VeskLibraryVersionString());
        return 1;
    }

    char msg[128] = "";
    VeskErr err = {0};
    err.msg = msg;
    err.msgsize = sizeof msg;
    const VeskOid nowhere = VESK_OID2(VESK_CAT_CLASS, 65000);
    if (VeskGetcobject(&nowhere, &err) != NULL || VESK_STATUS_CODE(err.status) == 0 ||
        msg[0] == '\0') {
        fprintf(stderr, "a class that is nowhere was found, or its report is empty\n");
        return 1;
    }
    printf("vesk %s from C: \"%s\"\n", VeskLibraryVersionString(), msg);
    return 0;
}
