/*
 * tramp_caller.h - a call through __vesk_call_tramp made from plain C, the
 * way a module's expansion makes it, with more arguments than registers.
 */
#ifndef TRAMP_CALLER_H
#define TRAMP_CALLER_H

#include "vesk.h"

#ifdef __cplusplus
extern "C" {
#endif

#define TC_INTS 8 /* two more than x86-64 passes in registers */
#define TC_REAL_ARG 2.5
#define TC_WIDE_RESULT ((int64_t)0x80F0E0D0C0B0A091ull) /* bits in both halves, negative */

/* What the operation received. */
typedef struct TcSeen {
    VeskClosure *closure;
    VeskErr *status;
    int64_t ints[TC_INTS];
    double real;
} TcSeen;
extern TcSeen tc_seen;

/* The i-th integer argument tc_call_wide passes. */
int64_t tc_int_arg(int i);

/* Enters an operation (closure, status, eight int64_t, double) -> int64_t
 * through the variadic declaration of the trampoline. */
int64_t tc_call_wide(VeskFrame *frame, VeskErr *status);

#ifdef __cplusplus
}
#endif

#endif /* TRAMP_CALLER_H */
