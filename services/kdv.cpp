// SPDX-License-Identifier: MIT
// "modules/kdv": the module that holds the stock operation sets. It comes up
// at start-up right after "modules/stub", and the modules after it import
// their reference counting and descriptors from it.
#include <cstddef>

#include "runtime/object.hpp"
#include "runtime/startup.hpp"
#include "runtime/static_module.hpp"
#include "services/kdv.hpp"
#include "services/notice.hpp"

namespace vesk::svc {
namespace {

int64_t module_on_link(VeskRecord *rec, VeskErr *status);

// The module's own descriptor element points at its Destor directly.
struct KdvModule {
    VeskModule mod;
    VESK_SEBLOCK_T(1) block;
} kdv = {
    VESK_MODULE_INIT("modules/kdv", "kdv", "kdv", VESK_OID2(VESK_CAT_MODULE, 4), module_on_link, "kdv",
                     rt::kStockVersion, __DATE__),
    {VESK_SEBLOCK_HEAD(1), {VESK_SE_OWN(VESK_OID3(VESK_CAT_OPS, VESK_FAC_DESTOR, 5), 0, offsetof(VeskModule, descriptor),
                                        nullptr)}},
};

// The sets and classes in the module's order.
VeskOps *kdv_opsv[14];
VeskClass *kdv_clsv[3];

int64_t module_on_link(VeskRecord *rec, VeskErr *status) {
    auto *m = reinterpret_cast<KdvModule *>(rec);
    VeskOps *const sets[] = {ctor_ops(),     dup_ops(),      destor_ops(),   xucntl_ops(),
                             zucntl_ops(),   cucntl_ops(),   untfier_ops(),  mntfier_ops(),
                             ulstner_ops(),  mlstner_ops(),  pool_ctor_ops(), pool_ucntl_ops(),
                             cbulsner_ops(), cbmlsner_ops()};
    VeskClass *const classes[] = {cbulsner_class(), cbmlsner_class(), untfier_class()};
    static_assert(sizeof sets == sizeof kdv_opsv && sizeof classes == sizeof kdv_clsv);
    for (size_t i = 0; i < sizeof sets / sizeof sets[0]; ++i)
        kdv_opsv[i] = sets[i];
    for (size_t i = 0; i < sizeof classes / sizeof classes[0]; ++i)
        kdv_clsv[i] = classes[i];
    m->block.se[0].ops = destor_ops();
    return rt::link_module<KdvModule>(rec, kdv_opsv, kdv_clsv, status);
}

}  // namespace

// Right after the stub: the modules after it import from this one.
VESK_BUILTIN_MODULE(announce_kdv, 1, &kdv.mod)

const char *longkey_of(const void *object) {
    const void *o = rt::deref(object);
    if (o == nullptr)
        return "(null)";
    if (rt::head(o)->kind == VESK_KIND_INSTANCE)
        o = rt::head(o)->super;
    return static_cast<const VeskRecord *>(o)->longkey;
}

}  // namespace vesk::svc
