// SPDX-License-Identifier: MIT
// The four registries and their primitives.
//
// Each list is a balanced tree whose nodes lie in the records themselves
// (`idnode`, or `namenode` of a module), so entering and removing allocate
// nothing. The tree's link-level operations do the work. Their comparison
// always sees two records: a node's, and either the record being linked or a
// probe that carries the searched key where a record carries its own. So one
// comparison serves linking and searching, and a node's `data` is its record.
#include <atomic>
#include <cstring>
#include <thread>

#include "registry.hpp"
#include "report.hpp"

namespace vesk::rt {
namespace {

constinit Idreg g_namereg{};
constinit Idreg g_opsreg{};
constinit Idreg g_objreg{};
constinit Idreg g_modreg{};

// `ready` goes 0 -> kStarting -> kReady once; only the thread that moved it
// off 0 sets the tree up, so a first use racing the bootstrap is harmless.
constexpr unsigned char kStarting = 2;
constexpr unsigned char kReady = 1;

const VeskRecord *as_record(uintptr_t word) { return reinterpret_cast<const VeskRecord *>(word); }
const VeskModule *as_module(uintptr_t word) { return reinterpret_cast<const VeskModule *>(word); }

intptr_t compare_ids(uintptr_t rec, uintptr_t probe) {
    return VeskOidlcmp(&as_record(rec)->oid, &as_record(probe)->oid);
}

// The bytes of the C string comparison, unsigned and case-sensitive.
intptr_t compare_names(uintptr_t mod, uintptr_t probe) {
    return std::strcmp(as_module(mod)->modname, as_module(probe)->modname);
}

// Only the comparison is ever called: link-level operations neither dup nor
// release, and nobody dumps a registry.
constexpr NuBtninfo kIdInfo{nullptr, nullptr, nullptr, compare_ids, nullptr};
constexpr NuBtninfo kNameInfo{nullptr, nullptr, nullptr, compare_names, nullptr};

// What tells the two kinds of list apart: the record type, the node and
// owner fields, the comparison, and the string a report names the record by.
struct ById {
    using Record = VeskRecord;
    static constexpr const NuBtninfo *kInfo = &kIdInfo;
    static NuRTBTNode &node(Record *r) { return r->idnode; }
    static void *&owner(Record *r) { return r->idowner; }
    static const char *label(const Record *r) { return printable(r->longkey); }
};

struct ByName {
    using Record = VeskModule;
    static constexpr const NuBtninfo *kInfo = &kNameInfo;
    static NuRTBTNode &node(Record *m) { return m->namenode; }
    static void *&owner(Record *m) { return m->nameowner; }
    static const char *label(const Record *m) { return printable(m->modname); }
};

// A record that stands for a key in a search: only the compared field is set.
struct IdProbe {
    VeskRecord rec;
    explicit IdProbe(const VeskOid *key) {
        // A key built on the stack may be only `count` components long.
        const unsigned n = key->count < VESK_OID_MAXCOMP ? key->count : VESK_OID_MAXCOMP;
        rec.oid = VeskOid{key->count, key->opnum, {}};
        std::memcpy(rec.oid.comp, key->comp, n * sizeof key->comp[0]);
    }
    uintptr_t word() const { return reinterpret_cast<uintptr_t>(&rec); }
};

struct NameProbe {
    VeskModule mod;
    explicit NameProbe(const char *name) { mod.modname = name; }
    uintptr_t word() const { return reinterpret_cast<uintptr_t>(&mod); }
};

template <class By>
int64_t enter(Idreg &reg, typename By::Record *rec, VeskErr *status) {
    idreg_init(reg);
    void *&owner = By::owner(rec);
    if (owner == nullptr) {
        NuRTBTNode &node = By::node(rec);
        node.data = reinterpret_cast<uintptr_t>(rec);
        if (_NuRTBTLinknode_b(&reg.tree, By::kInfo, &node, 0, nullptr, nullptr) == 0) {
            ++reg.tree.count;
            owner = &reg;
            return 0;
        }
        node.data = 0;  // still in no list
    } else if (owner != &reg) {
        report(status, VESK_E_INSERTED, 0, 1, By::label(rec));
        return -1;
    }
    // A duplicate, the depth limit, or a second entry into this very list.
    report(status, VESK_E_ENTRYEXISTS, 0, 1, By::label(rec));
    return -1;
}

template <class By>
typename By::Record *remove(Idreg &reg, uintptr_t probe) {
    idreg_init(reg);
    NuRTBTNode *node = _NuRTBTUnlinknode_b(&reg.tree, By::kInfo, probe, nullptr, nullptr);
    if (node == nullptr)
        return nullptr;
    --reg.tree.count;
    auto *rec = reinterpret_cast<typename By::Record *>(node->data);
    node->data = 0;
    By::owner(rec) = nullptr;
    return rec;
}

template <class By>
typename By::Record *find(Idreg &reg, uintptr_t probe) {
    idreg_init(reg);
    const NuRTBTNode *node = NuRTBTFind(&reg.tree, By::kInfo, probe, nullptr);
    return node != nullptr ? reinterpret_cast<typename By::Record *>(node->data) : nullptr;
}

}  // namespace

Idreg &namereg() { return g_namereg; }
Idreg &opsreg() { return g_opsreg; }
Idreg &objreg() { return g_objreg; }
Idreg &modreg() { return g_modreg; }

void idreg_init(Idreg &reg) {
    std::atomic_ref<unsigned char> ready(reg.ready);
    if (ready.load(std::memory_order_acquire) == kReady) [[likely]]
        return;
    unsigned char expected = 0;
    if (ready.compare_exchange_strong(expected, kStarting, std::memory_order_acquire)) {
        NuRTBTInit(&reg.tree);
        ready.store(kReady, std::memory_order_release);
        return;
    }
    while (ready.load(std::memory_order_acquire) != kReady)
        std::this_thread::yield();
}

// Records enter under their identifier, and one that no key could name as a
// whole (no component, or more than a record holds) would match every search
// or be compared past its end: it is refused as a key would be.
int64_t enter_by_id(Idreg &reg, VeskRecord *rec, VeskErr *status) {
    if (!key_ok(&rec->oid, status, "_VeskModRegister"))
        return -1;
    return enter<ById>(reg, rec, status);
}

int64_t enter_by_name(Idreg &reg, VeskModule *mod, VeskErr *status) {
    return enter<ByName>(reg, mod, status);
}

VeskRecord *remove_by_id(Idreg &reg, const VeskOid *key, VeskErr *status) {
    VeskRecord *rec = remove<ById>(reg, IdProbe(key).word());
    if (rec == nullptr)
        report(status, VESK_E_NOMATCH, 0, 1, int{key->comp[1]});
    return rec;
}

VeskModule *remove_by_name(Idreg &reg, const char *name, VeskErr *status) {
    VeskModule *mod = remove<ByName>(reg, NameProbe(name).word());
    if (mod == nullptr)
        report(status, VESK_E_NOMATCH, 0, 2, name);
    return mod;
}

VeskRecord *find_by_id(Idreg &reg, const VeskOid *key, VeskErr *status) {
    VeskRecord *rec = find<ById>(reg, IdProbe(key).word());
    if (rec == nullptr)
        report(status, VESK_E_NOTREADY, 0, 4, int{key->comp[1]});
    return rec;
}

VeskModule *find_by_name(Idreg &reg, const char *name, VeskErr *status) {
    VeskModule *mod = find<ByName>(reg, NameProbe(name).word());
    if (mod == nullptr)
        report(status, VESK_E_NOTREADY, 0, 1, name);
    return mod;
}

}  // namespace vesk::rt
