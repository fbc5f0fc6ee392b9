/* Both public headers, alone, as pedantic C11. */
#include "nu.h"
#include "vesk.h"

/* A record of each flexible form, declared the way a module author does. */
static VESK_OPS_T(4) abi_ops = {
    VESK_RECORD_INIT("operations/abi/Check", "abi/Check", "abi", VESK_OID3(3, 4000, 1), NULL),
    0, 4, { VESK_STDROWS_NONE } };
static VESK_SEBLOCK_T(1) abi_block = {
    VESK_SEBLOCK_HEAD(1), { VESK_SE_OWN(VESK_OID3(3, 4000, 1), 0, 0, VESK_OPS(&abi_ops)) } };

VeskSeblock *abi_headers_block(void);
VeskSeblock *abi_headers_block(void) { return VESK_SEBLOCK(&abi_block); }
