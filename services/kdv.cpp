// "modules/kdv": the module that holds the stock operation sets. It comes up
// at start-up right after "modules/stub", and the modules after it import
// their reference counting and descriptors from it.
#include <cstddef>

#include "runtime/object.hpp"
#include "services/kdv.hpp"

namespace vesk::svc {
namespace {

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

// The module's own descriptor element points at its Destor directly.
struct KdvModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} kdv = {
    VESK_MODULE_INIT("modules/kdv", "kdv", "kdv", VESK_OID2(5, 4), module_on_link, "kdv",
                     VESK_VERSION(2, 4, 1), __DATE__),
    {VESK_SEBLOCK_HEAD(1), {VESK_SE_OWN(VESK_OID3(3, 1005, 5), 0, offsetof(VeskModule, descriptor),
                                        nullptr)}},
};

// The sets in the module's order. The notifier and listener sets take their
// places between Cucntl and PoolCtor, and their three classes fill clsv.
VeskOps *kdv_opsv[8];

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    auto *m = reinterpret_cast<KdvModule *>(rec);
    VeskOps *const sets[] = {ctor_ops(),   dup_ops(),    destor_ops(),   xucntl_ops(),
                             zucntl_ops(), cucntl_ops(), pool_ctor_ops(), pool_ucntl_ops()};
    static_assert(sizeof sets / sizeof sets[0] == sizeof kdv_opsv / sizeof kdv_opsv[0]);
    for (size_t i = 0; i < sizeof sets / sizeof sets[0]; ++i)
        kdv_opsv[i] = sets[i];
    m->block.se[0].ops = destor_ops();
    m->mod.opsv = kdv_opsv;
    m->mod.opsc = sizeof kdv_opsv / sizeof kdv_opsv[0];
    m->mod.clsv = nullptr;
    m->mod.clsc = 0;
    return _VeskSelistPushback_nlk(&m->mod.selist, VESK_SEBLOCK(&m->block), status);
}

}  // namespace

VeskModule *kdv_module() { return &kdv.mod; }

const char *longkey_of(const void *object) {
    const void *o = rt::deref(object);
    if (o == nullptr)
        return "(null)";
    if (rt::head(o)->kind == VESK_KIND_INSTANCE)
        o = rt::head(o)->super;
    return static_cast<const VeskRecord *>(o)->longkey;
}

}  // namespace vesk::svc
