// SPDX-License-Identifier: MIT
//
// The version of the library a program runs against. The library is built
// with the same generated header that programs compile against, so these
// answer with the numbers of the headers that were installed beside it.
#include "vesk.h"

extern "C" {

VESK_API uint32_t VeskLibraryVersion(void) {
    return VESK_VERSION_HEX;
}

VESK_API const char *VeskLibraryVersionString(void) {
    return VESK_VERSION_STRING;
}

}  // extern "C"
