/*
 * tramp_caller.c - a call through __vesk_call_tramp from plain C.
 */
#include "tramp_caller.h"

TcSeen tc_seen;

int64_t tc_int_arg(int i) {
    /* Distinct in both halves, so that a lost or swapped word shows. */
    return (int64_t)(0x0101010100000000ull * (uint64_t)(i + 1)) + 0x10 * (i + 1);
}

static int64_t wide_op(VeskClosure *closure, VeskErr *status, int64_t a1, int64_t a2, int64_t a3,
                       int64_t a4, int64_t a5, int64_t a6, int64_t a7, int64_t a8, double real) {
    const int64_t ints[TC_INTS] = {a1, a2, a3, a4, a5, a6, a7, a8};
    int i;
    tc_seen.closure = closure;
    tc_seen.status = status;
    for (i = 0; i < TC_INTS; ++i)
        tc_seen.ints[i] = ints[i];
    tc_seen.real = real;
    return TC_WIDE_RESULT;
}

int64_t tc_call_wide(VeskFrame *frame, VeskErr *status) {
    frame->fn = VESK_FN(wide_op);
    return __vesk_call_tramp(frame, status, tc_int_arg(0), tc_int_arg(1), tc_int_arg(2),
                             tc_int_arg(3), tc_int_arg(4), tc_int_arg(5), tc_int_arg(6),
                             tc_int_arg(7), TC_REAL_ARG);
}
