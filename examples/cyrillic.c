/* SPDX-License-Identifier: MIT */
/* Converts a line of Cyrillic from UTF-8 to KOI8-R and back, and prints the
 * line in both charsets (the KOI8-R bytes in hex, since a terminal shows
 * UTF-8). A charset is named by any of its aliases, in any case. */
#include <stdio.h>
#include <string.h>

#include <vesk/vesk.h>

int main(void) {
    const char *line = "Съешь же ещё этих мягких французских булок, да выпей чаю.";
    char koi8[256];
    char back[256];
    char msg[256];
    VeskErr err = {0};
    VeskCcscvtor to_koi8, to_utf8;

    err.msg = msg;
    err.msgsize = sizeof msg;
    if (VeskOpenCcscvtor_s(NULL, "utf8", "koi8-r", &to_koi8, &err) < 0 ||
        VeskOpenCcscvtor_s(NULL, "KOI8R", "UTF-8", &to_utf8, &err) < 0) {
        fprintf(stderr, "open: %s\n", msg);
        return 1;
    }
    /* A null destination asks for the length first. */
    int32_t need = VeskCcsconv_s(&to_koi8, line, NULL, &err);
    if (need < 0 || need >= (int32_t)sizeof koi8 || VeskCcsconv_s(&to_koi8, line, koi8, &err) != need) {
        fprintf(stderr, "to KOI8-R: %s\n", msg);
        return 1;
    }
    int32_t made = VeskCcsconv_b(&to_utf8, koi8, (uint32_t)need, back, sizeof back - 1, &err);
    if (made < 0) {
        fprintf(stderr, "to UTF-8: %s\n", msg);
        return 1;
    }
    back[made] = '\0';

    printf("UTF-8  (%3zu bytes): %s\n", strlen(line), line);
    printf("KOI8-R (%3d bytes):", need);
    for (int32_t i = 0; i < need; ++i)
        printf(" %02x", (unsigned char)koi8[i]);
    printf("\nback   (%3d bytes): %s\n", made, back);

    VeskCcscvtorClose(&to_koi8, &err);
    VeskCcscvtorClose(&to_utf8, &err);
    return strcmp(line, back) == 0 ? 0 : 1;
}
