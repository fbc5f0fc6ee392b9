/* SPDX-License-Identifier: MIT */
/* The place of `fn` in a VeskFrame, for the call trampoline, which is written
 * in assembly and can't use offsetof. closure.cpp checks it against the C
 * layout, so that a change of VeskClosure breaks the build, not the call. */
#ifndef VESK_RUNTIME_FRAME_LAYOUT_H
#define VESK_RUNTIME_FRAME_LAYOUT_H

#define VESK_FRAME_FN_OFFSET 40 /* four pointers and the 32-bit opnum, padded */

#endif
