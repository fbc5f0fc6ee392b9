// SPDX-License-Identifier: MIT
// Resolving the rows of an operation set.
//
// Beside its functions a static set has imports (fn 1: the function of row
// `source.opnum` of the set `source`, 0xFFFF meaning the same row number) and
// aliases (fn 2: the function of row `source.opnum` of this set). Resolving
// gives every import the function of the row it stands for, following a chain
// of imports to the set that really has the function, its origin: the row
// then names the origin in `owner` and holds it. Aliases take the function of
// their row, in two passes so that an alias may point either way; an alias
// that has nothing to point at after the second pass (a cycle) becomes
// _VeskOpNotsupported.
//
// A connected row is final, since it names an origin whose function is there.
// So another run over a set that stayed incomplete leaves connected rows
// alone and tries again only the imports still on _VeskOpNotconfigured: each
// connected row holds its origin once, and unresolve gives that hold back.
//
// `source` keeps naming the set and row the author wrote (0xFFFF is made
// explicit), never the origin's row, so that unresolve can give the row back
// as it came and a later resolve follows the same chain again.
//
// Resolving recurses over the sets an import leads through. An import cycle
// among incomplete sets would recurse forever: a set met again while it is
// still being resolved is not entered, the row that led to it stays on
// _VeskOpNotconfigured, the result is 0, and code 771 names the set.
#include "link.hpp"
#include "registry.hpp"
#include "report.hpp"
#include "rwlock.hpp"

namespace vesk::rt {
namespace {

// The sets being resolved, innermost first: a chain on the C stack.
struct Resolving {
    const VeskOps *set;
    const Resolving *outer;

    bool contains(const VeskOps *s) const {
        for (const Resolving *r = this; r != nullptr; r = r->outer)
            if (r->set == s)
                return true;
        return false;
    }
};

bool is_alias(const VeskOps *set, const VeskOprow &row) {
    return row.source.count == 0 && (row.fn == VESK_FN_ALIAS || row.owner == set);
}

// An import not connected yet: still static, or left on the marker by an
// earlier run. A marker in a row without a source is the author's own
// function and stays.
bool is_open_import(const VeskOprow &row) {
    return row.fn == VESK_FN_IMPORT ||
           (row.source.count != 0 && row.owner == nullptr && row.fn == notconfigured_fn());
}

// One run over one set.
struct Run {
    VeskOps *set;
    Resolving path;
    VeskErr *status;
    int64_t res = 1;
    VeskOps *last = nullptr;  // the source set found last: neighbouring rows often share it

    void incomplete(int64_t r) { res = smaller(res, r); }
};

int64_t resolve(VeskOps *set, const Resolving *outer, VeskErr *status);

// An alias takes the function of its row. True when the row isn't there yet
// and pass 0 needs a second pass.
bool resolve_alias(VeskOps *set, VeskOprow &row, int pass) {
    row.owner = set;
    const uint32_t target = row.source.opnum;
    if (target >= set->opcount) {
        row.fn = notsupported_fn();
        return false;
    }
    const VeskOpfn fn = set->rows[target].fn;
    if (fn == VESK_FN_ALIAS || fn == VESK_FN_IMPORT) {
        row.fn = pass == 0 ? VESK_FN_ALIAS : notsupported_fn();
        return pass == 0;
    }
    row.fn = fn;
    return false;
}

void connect(VeskOprow &row, VeskOps *origin, VeskOpfn fn, uint32_t j) {
    holds_add(&origin->rec, 1);
    row.owner = origin;
    row.fn = fn;
    row.source.opnum = static_cast<uint16_t>(j);
}

// Connects `row` to row j of `source`, or to where that row leads.
void follow(Run &run, VeskOprow &row, VeskOps *source, uint32_t j) {
    if (j >= source->opcount) {
        row.fn = notsupported_fn();
        return;
    }
    if (run.path.contains(source)) {
        report(run.status, VESK_E_WRONGSTATE, EINVAL, 2, "_VeskModPlug",
               printable(source->rec.longkey));
        run.incomplete(0);
        return;
    }
    const int64_t r = resolve(source, &run.path, run.status);
    if (r < run.res) {
        run.res = r;
        return;
    }
    // The source's aliases lead to other rows of it; more hops than rows is a cycle.
    const VeskOprow *at = &source->rows[j];
    for (uint32_t hops = 0; at->owner == source && at->source.count == 0; ++hops) {
        if (hops == source->opcount || at->source.opnum >= source->opcount) {
            row.fn = notsupported_fn();
            return;
        }
        at = &source->rows[at->source.opnum];
    }
    if (at->owner != nullptr)  // a connected import names its origin already
        connect(row, at->owner, at->fn, j);
    else if (at->fn == VESK_FN_ALIAS || is_open_import(*at))
        run.incomplete(0);  // the source lacks this row itself
    else
        connect(row, source, at->fn, j);  // the origin; a 0 there is copied as it is
}

void resolve_import(Run &run, uint32_t i) {
    VeskOprow &row = run.set->rows[i];
    row.owner = nullptr;
    row.fn = notconfigured_fn();
    // Exact, as the registry searches: a cached set must be the one it would find.
    if (run.last == nullptr || VeskOidlcmp(&run.last->rec.oid, &row.source) != 0)
        run.last = reinterpret_cast<VeskOps *>(find_by_id(opsreg(), &row.source, run.status));
    if (run.last == nullptr) {
        run.incomplete(0);
        return;
    }
    follow(run, row, run.last, row.source.opnum == VESK_ROW_SAME ? i : row.source.opnum);
}

int64_t resolve(VeskOps *set, const Resolving *outer, VeskErr *status) {
    const int64_t started = start_record(&set->rec, status);
    if (started < 0 || (set->rec.state & VESK_ST_RESOLVED) != 0)
        return started;
    Run run{set, {set, outer}, status};
    bool again = false;
    for (int pass = 0; pass == 0 || (pass == 1 && again); ++pass) {
        again = false;
        for (uint32_t i = 0; i < set->opcount; ++i) {
            VeskOprow &row = set->rows[i];
            if (is_alias(set, row))
                again |= resolve_alias(set, row, pass);
            else if (pass == 0 && is_open_import(row))
                resolve_import(run, i);
        }
    }
    if (run.res > 0)
        set->rec.state |= VESK_ST_RESOLVED;
    return smaller(run.res, started);
}

}  // namespace

int64_t resolve_set(VeskOps *set, VeskErr *status) { return resolve(set, nullptr, status); }

void unresolve_set(VeskOps *set) {
    for (uint32_t i = 0; i < set->opcount; ++i) {
        VeskOprow &row = set->rows[i];
        if (row.source.count == 0) {
            if (row.owner != nullptr) {  // an alias
                row.owner = nullptr;
                row.fn = VESK_FN_ALIAS;
            }
        } else if (row.owner != nullptr) {  // a connected import
            if (row.source.opnum == i)
                row.source.opnum = VESK_ROW_SAME;
            holds_add(&row.owner->rec, -1);
            row.owner = nullptr;
            row.fn = VESK_FN_IMPORT;
        } else if (row.fn == notconfigured_fn() || row.fn == notsupported_fn()) {
            row.fn = VESK_FN_IMPORT;  // an import that found nothing
        }
    }
    set->rec.state &= ~VESK_ST_RESOLVED;
}

}  // namespace vesk::rt
