// SPDX-License-Identifier: MIT
// Once-init and once-fini: the service elements of a class or module are put
// on their sets, and each set's init_once runs once per element.
//
// An element names its set directly, or asks for it by identifier
// (`importoid`); until the import is found it stands on the stub set, whose
// rows answer with reports. An element imported once keeps its set on later
// runs, so an import holds its set exactly once until once-fini gives the
// hold back: plugging and unplugging again and again leaves holds as they
// were.
#include "link.hpp"
#include "object.hpp"
#include "registry.hpp"
#include "rwlock.hpp"
#include "selist.hpp"
#include "stub.hpp"

namespace vesk::rt {
namespace {

using Stdrowfn = int64_t (*)(VeskClosure *, VeskErr *);

// Elements from the last of the last block back to the first.
template <class Fn>
void each_se_backward(VeskSelist *list, Fn fn) {
    for (VeskSelink *link = list->ring.prev; link != nullptr && link != &list->ring;
         link = link->prev) {
        VeskSeblock *block = block_of(link);
        for (uint32_t i = block->count; i-- > 0;)
            fn(block->se[i]);
    }
}

// Runs standard row `opnum` (init_once or fini_once) for one element. A row
// without a function has nothing to run; neither has a row still on a marker,
// whose import is missing: a missing import is never a failure of the load.
int64_t run_standard_row(VeskRecord *self, VeskRecord *holder, const VeskSe &se, int32_t opnum,
                         VeskErr *status) {
    VeskOps *ops = se.ops;
    if (static_cast<uint32_t>(opnum) >= ops->opcount)
        return 0;
    const VeskOpfn fn = ops->rows[opnum].fn;
    if (!is_function(fn) || fn == notconfigured_fn() || fn == notsupported_fn())
        return 0;
    void *pod = se.podoff != 0 ? reinterpret_cast<char *>(holder) + se.podoff : nullptr;
    VeskClosure closure{self, holder, pod, ops, opnum};
    return reinterpret_cast<Stdrowfn>(fn)(&closure, status);
}

// Puts an element on its set. False when the set to import isn't registered:
// the element stays on the stub set and the registry's report stands.
bool attach(VeskSe &se, VeskErr *status) {
    VeskOps *stub = stub_ops();
    if (se.ops == VESK_OPS_IMPORT || se.ops == nullptr)
        se.ops = stub;
    else if (se.ops != stub)
        return true;  // named directly, or imported by an earlier run
    if (se.importoid.count == 0)
        return true;
    VeskRecord *found = find_by_id(opsreg(), &se.importoid, status);
    if (found == nullptr)
        return false;
    holds_add(found, 1);
    se.opsref = reinterpret_cast<VeskOps *>(found);
    se.ops = se.opsref;
    return true;
}

void detach(VeskSe &se) {
    if (se.opsref == nullptr)
        return;
    se.ops = stub_ops();
    holds_add(&se.opsref->rec, -1);
    se.opsref = nullptr;
}

}  // namespace

int64_t once_init(VeskRecord *self, VeskRecord *rec, VeskErr *status) {
    int64_t result = 1;
    if (rec->super != nullptr) {
        const int64_t above = once_init(self, static_cast<VeskRecord *>(rec->super), status);
        if (above < 0)
            return above;
        result = smaller(result, above);
    }
    if ((rec->flags & VESK_F_SELIST) == 0 || (rec->state & VESK_ST_ONCE) != 0)
        return result;
    int64_t failure = 0;
    selist_find_if(selist_of(rec), [&](VeskSe *se) {
        if (!attach(*se, status)) {
            result = smaller(result, 0);  // the elements behind it still get their init_once
            return false;
        }
        if (se->once)
            return false;
        failure = run_standard_row(self, rec, *se, VESK_OP_INIT_ONCE, status);
        se->once = failure >= 0;
        return failure < 0;
    });
    if (failure < 0) {
        // Undo what ran on this record, last first; the first report stands.
        once_fini(self, rec, nullptr);
        return failure;
    }
    if (result > 0)
        rec->state |= VESK_ST_ONCE;
    return result;
}

int64_t once_fini(VeskRecord *self, VeskRecord *rec, VeskErr *status) {
    int64_t failure = 0;
    if (rec->flags & VESK_F_SELIST) {
        each_se_backward(selist_of(rec), [&](VeskSe &se) {
            if (se.once) {
                const int64_t r = run_standard_row(self, rec, se, VESK_OP_FINI_ONCE, status);
                if (r < 0 && failure == 0)
                    failure = r;
                se.once = 0;
            }
            detach(se);
        });
    }
    rec->state &= ~VESK_ST_ONCE;
    return failure;
}

}  // namespace vesk::rt
