// SPDX-License-Identifier: MIT
// The walks over an object's service elements that make and unmake its PODs.
//
// The chain of an instance: chain[0] is the instance, and each record above
// is its `super` up to the first that carries service elements (the class,
// at level 1), then on through the records above that (the module, level 2).
// An element of `depth` d on the record at level L has its POD in chain[L - d].
// pod_init runs top down (module elements ahead of class elements) in list
// order; pod_fini runs in exactly the reverse order and never stops early.
#include "lifecycle.hpp"
#include "object.hpp"
#include "selist.hpp"

namespace vesk::rt {
namespace {

// A linked chain has at most three records; the rest is room for deeper
// hierarchies of a module's own.
constexpr int kChainMax = 8;

enum StdRow : uint16_t { kPodInitRow = 2, kPodFiniRow = 3 };

using PodInitFn = int64_t (*)(VeskClosure *, VeskErr *, uint32_t, void *);
using PodFiniFn = int64_t (*)(VeskClosure *, VeskErr *, uint32_t);

struct Chain {
    void *rec[kChainMax] = {};
    int base = 0;  // level of the first record with service elements

    explicit Chain(void *object) {
        rec[0] = object;
        while (base + 1 < kChainMax && rec[base] != nullptr &&
               (head(rec[base])->flags & VESK_F_SELIST) == 0) {
            rec[base + 1] = head(rec[base])->super;
            ++base;
        }
    }
    // Puts the record above `level` in the chain; false at the top.
    bool climb(int level) {
        if (level + 1 >= kChainMax || rec[level] == nullptr || head(rec[level])->super == nullptr)
            return false;
        rec[level + 1] = head(rec[level])->super;
        return true;
    }
    bool has_elements(int level) const {
        return rec[level] != nullptr && (head(rec[level])->flags & VESK_F_SELIST) != 0;
    }
};

// The row's function, or null when the set has no such row or it is absent
// or still a placeholder of linking.
VeskOpfn row_fn(const VeskSe *se, uint16_t row) {
    const VeskOps *ops = se->ops;
    if (ops == nullptr || ops == VESK_OPS_IMPORT || row >= ops->opcount)
        return nullptr;
    const VeskOpfn fn = ops->rows[row].fn;
    return reinterpret_cast<uintptr_t>(fn) <= 2 ? nullptr : fn;
}

VeskClosure closure_for(void *self, const Chain &chain, int level, const VeskSe *se,
                        int32_t opnum) {
    void *holder = chain.rec[level - static_cast<int>(se->depth)];
    void *pod = se->podoff != 0 ? static_cast<char *>(holder) + se->podoff : nullptr;
    return {self, holder, pod, se->ops, opnum};
}

bool applies(const VeskSe *se, int level) { return static_cast<int>(se->depth) <= level; }

// A place in a record's list of service elements.
struct Place {
    VeskSelink *link;
    uint32_t index;
    VeskSe *se() const { return &block_of(link)->se[index]; }
};

// Calls fn(place) for each element in list order until it returns false;
// returns false if stopped.
template <class Fn>
bool each_forward(VeskSelist *list, Fn fn) {
    for (VeskSelink *link = list->ring.next; link != nullptr && link != &list->ring;
         link = link->next)
        for (uint32_t i = 0; i < block_of(link)->count; ++i)
            if (!fn(Place{link, i}))
                return false;
    return true;
}

// Calls fn for each element strictly before `from`, going backward: the rest
// of its block, then the whole blocks ahead of it.
template <class Fn>
void each_backward_before(VeskSelist *list, Place from, Fn fn) {
    for (uint32_t i = from.index; i-- > 0;)
        fn(Place{from.link, i});
    for (VeskSelink *link = from.link->prev; link != &list->ring; link = link->prev)
        for (uint32_t i = block_of(link)->count; i-- > 0;)
            fn(Place{link, i});
}

int64_t fini_from(void *self, Chain &chain, int level, uint32_t flags, VeskErr *status);

// Takes back what a walk did at `level` before `failed`, and everything it
// did above that level.
void roll_back(void *self, Chain &chain, int level, Place failed) {
    each_backward_before(selist_of(chain.rec[level]), failed, [&](Place p) {
        const VeskSe *se = p.se();
        const VeskOpfn fn = applies(se, level) ? row_fn(se, kPodFiniRow) : nullptr;
        if (fn == nullptr)
            return;
        VeskClosure cl = closure_for(self, chain, level, se, kPodFiniRow);
        reinterpret_cast<PodFiniFn>(fn)(&cl, nullptr, VESK_ROLLBACK);
    });
    if (chain.climb(level))
        fini_from(self, chain, level + 1, VESK_ROLLBACK, nullptr);
}

// pod_init at `level` and above; `param_for(se, place)` gives each element's
// flags and param. 1, or 0 if a level above gave 0; negative on failure.
template <class ParamFor>
int64_t init_from(void *self, Chain &chain, int level, uint32_t flags, ParamFor &param_for,
                  VeskErr *status) {
    int64_t result = 1;
    if (chain.climb(level)) {
        const int64_t r = init_from(self, chain, level + 1, flags, param_for, status);
        if (r < 0)
            return r;
        if (r == 0)
            result = 0;
    }
    if (!chain.has_elements(level))
        return result;
    int64_t failure = 0;
    each_forward(selist_of(chain.rec[level]), [&](Place p) {
        const VeskSe *se = p.se();
        const VeskOpfn fn = applies(se, level) ? row_fn(se, kPodInitRow) : nullptr;
        if (fn == nullptr)
            return true;
        VeskClosure cl = closure_for(self, chain, level, se, kPodInitRow);
        const int64_t r =
            reinterpret_cast<PodInitFn>(fn)(&cl, status, flags, param_for(se, level, p));
        if (r >= 0)
            return true;
        roll_back(self, chain, level, p);
        failure = r;
        return false;
    });
    return failure < 0 ? failure : result;
}

int64_t fini_from(void *self, Chain &chain, int level, uint32_t flags, VeskErr *status) {
    int64_t remembered = 0;
    if (chain.has_elements(level)) {
        VeskSelist *list = selist_of(chain.rec[level]);
        for (VeskSelink *link = list->ring.prev; link != nullptr && link != &list->ring;
             link = link->prev)
            for (uint32_t i = block_of(link)->count; i-- > 0;) {
                const VeskSe *se = &block_of(link)->se[i];
                const VeskOpfn fn = applies(se, level) ? row_fn(se, kPodFiniRow) : nullptr;
                if (fn == nullptr)
                    continue;
                VeskClosure cl = closure_for(self, chain, level, se, kPodFiniRow);
                const int64_t r = reinterpret_cast<PodFiniFn>(fn)(&cl, status, flags);
                if (r < 0)
                    remembered = r;
            }
    }
    if (chain.climb(level)) {
        const int64_t r = fini_from(self, chain, level + 1, flags, status);
        if (r < 0)
            return r;
    }
    return remembered;
}

// The params of VeskInit: each element takes the next entry whose identifier
// matches its own, searching round from where the last search stopped, so
// that params given in the order of the elements take one try each.
struct ParamCursor {
    void **params;
    uint32_t count;
    uint32_t at = 0;

    void *operator()(const VeskSe *se, int, Place) {
        for (uint32_t tries = 0; tries < count; ++tries) {
            if (at == count)
                at = 0;
            void *entry = params[at++];
            if (entry != nullptr && VeskOidcmp(&se->oid, static_cast<const VeskOid *>(entry)) == 0)
                return entry;
        }
        return nullptr;
    }
};

}  // namespace

int64_t pod_init_walk(void *object, void **params, uint32_t nparams, VeskErr *status) {
    Chain chain(object);
    ParamCursor cursor{params, params != nullptr ? nparams : 0};
    return init_from(object, chain, chain.base, 0, cursor, status);
}

int64_t pod_fini_walk(void *object, uint32_t flags, VeskErr *status) {
    Chain chain(object);
    return fini_from(object, chain, chain.base, flags, status);
}

// The new instance's elements and the source's are the same list (both are
// of one class): each element's param describes the same element on the
// source.
int64_t clone_walk(void *fresh, void *source, void *dupself, void **params, void *pred,
                   VeskErr *status) {
    Chain chain(fresh);
    Chain source_chain(deref(source));
    VeskCloneParam param{};
    param.dupself = reinterpret_cast<uintptr_t>(dupself);
    param.params = reinterpret_cast<uintptr_t>(params);
    param.pred = reinterpret_cast<uintptr_t>(pred);
    auto describe_source = [&](const VeskSe *se, int level, Place) -> void * {
        for (int l = source_chain.base; l < level; ++l)
            source_chain.climb(l);
        param.source = closure_for(source_chain.rec[0], source_chain, level, se, kPodInitRow);
        return &param;
    };
    return init_from(fresh, chain, chain.base, VESK_POD_CLONE, describe_source, status);
}

}  // namespace vesk::rt
