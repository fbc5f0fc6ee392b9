/* SPDX-License-Identifier: MIT */
/*
 * __vesk_call_tramp(frame, ...): enter frame->fn as if the caller had called
 * fn(frame, ...) itself.
 *
 * One load and one indirect jump. The argument registers, the stack and the
 * return address stay as the caller left them (on x86-64 that includes %al,
 * the vector-register count of a variadic call), so fn receives exactly what
 * the caller passed, whatever its number and types, and returns straight to
 * the caller with its result in the result registers. Nothing here knows the
 * row's signature; the caller and fn must agree on it.
 */
#include "frame_layout.h"

#if defined(__x86_64__)

        .text
        .globl  __vesk_call_tramp
        .type   __vesk_call_tramp, @function
        .p2align 4
__vesk_call_tramp:
        .cfi_startproc
        endbr64                         /* an indirect-branch target under CET */
        jmp     *VESK_FRAME_FN_OFFSET(%rdi)
        .cfi_endproc
        .size   __vesk_call_tramp, .-__vesk_call_tramp

        .section .note.GNU-stack,"",@progbits

#if defined(__CET__)
/* Without this note the linker would mark the whole library as lacking
 * IBT and shadow-stack support. The tail jump keeps the shadow stack
 * balanced: fn's return pops the entry of the caller's call. */
        .section .note.gnu.property,"a"
        .p2align 3
        .long   4                       /* name size */
        .long   16                      /* descriptor size */
        .long   5                       /* NT_GNU_PROPERTY_TYPE_0 */
        .asciz  "GNU"
        .long   0xc0000002              /* GNU_PROPERTY_X86_FEATURE_1_AND */
        .long   4
        .long   __CET__                 /* 1: IBT, 2: shadow stack */
        .p2align 3
#endif

#elif defined(__aarch64__)

        .text
        .globl  __vesk_call_tramp
        .type   __vesk_call_tramp, %function
        .p2align 2
__vesk_call_tramp:
        .cfi_startproc
#if defined(__ARM_FEATURE_BTI_DEFAULT)
        bti     c                       /* a call target under BTI */
#endif
        ldr     x16, [x0, #VESK_FRAME_FN_OFFSET]
        br      x16                     /* x16: fn's own "bti c" accepts this branch */
        .cfi_endproc
        .size   __vesk_call_tramp, .-__vesk_call_tramp

        .section .note.GNU-stack,"",%progbits

#if defined(__ARM_FEATURE_BTI_DEFAULT) || defined(__ARM_FEATURE_PAC_DEFAULT)
/* Keeps the library marked for BTI and return-address signing; the
 * trampoline neither saves nor signs the link register. */
#if defined(__ARM_FEATURE_BTI_DEFAULT)
#define VESK_AARCH64_BTI 1
#else
#define VESK_AARCH64_BTI 0
#endif
#if defined(__ARM_FEATURE_PAC_DEFAULT)
#define VESK_AARCH64_PAC 2
#else
#define VESK_AARCH64_PAC 0
#endif
        .section .note.gnu.property,"a"
        .p2align 3
        .long   4
        .long   16
        .long   5
        .asciz  "GNU"
        .long   0xc0000000              /* GNU_PROPERTY_AARCH64_FEATURE_1_AND */
        .long   4
        .long   VESK_AARCH64_BTI | VESK_AARCH64_PAC
        .p2align 3
#endif

#else
#error "__vesk_call_tramp has no implementation for this architecture"
#endif
