// SPDX-License-Identifier: MIT
// The bootstrap, start record 100: the registries come up, then the built-in
// modules are linked by rank, the way the loader links a module from a file.
#include <cstdio>
#include <cstdlib>

#include "registry.hpp"
#include "rwlock.hpp"
#include "startup.hpp"

using namespace vesk::rt;

extern "C" {
VESK_API int32_t _G_mld_load_debug_only = 1;
}

namespace {

// Filled by the modules' load-time constructors, read by the bootstrap; both
// run on the loader's thread.
VeskModule *builtin_modules[kBuiltinRanks];

void bring_up(VeskModule *mod) {
    WriteLocked names(&namereg().lock);
    // A module that is up already (the chain run a second time after a stop)
    // is not linked twice.
    if (mod->nameowner != nullptr)
        return;
    if (enter_by_name(namereg(), mod, nullptr) < 0)
        std::abort();
    mod->loads = 1;
    mod->handle = nullptr;
    LinkLocked registries;
    char msg[256] = "";
    VeskErr err{};
    err.msg = msg;
    err.msgsize = sizeof msg;
    const char *step = _VeskModDescribe(mod, &err) < 0   ? "describe"
                       : _VeskModRegister(mod, &err) < 0 ? "register"
                       : _VeskModPlug(mod, &err) < 0     ? "plug"
                                                         : nullptr;
    if (step == nullptr)
        return;
    // The library can't run without its own modules: say which and why.
    std::fprintf(stderr, "vesk: the built-in module %s failed to %s: status 0x%08llx %s\n",
                 mod->modname, step, static_cast<unsigned long long>(err.status), msg);
    std::abort();
}

VeskStartRec bootstrap_record = {
    VESK_START_MAGIC, 100, VeskBootstrap, 0, nullptr, 0, {}, nullptr, nullptr};

}  // namespace

VESK_START_AT_LOAD(register_bootstrap, &bootstrap_record)

void vesk::rt::builtin_module_add(int rank, VeskModule *module) {
    // A rank out of range or taken twice is a fault of the library's own
    // build: say so before the first call could find a module missing.
    if (rank < 0 || rank >= kBuiltinRanks || builtin_modules[rank] != nullptr) {
        std::fprintf(stderr, "vesk: the built-in module %s has a bad rank %d\n",
                     module->modname, rank);
        std::abort();
    }
    builtin_modules[rank] = module;
}

extern "C" VESK_API int32_t VeskBootstrap(uintptr_t) {
    idreg_init(namereg());
    idreg_init(opsreg());
    idreg_init(objreg());
    idreg_init(modreg());
    for (VeskModule *module : builtin_modules)
        if (module != nullptr)
            bring_up(module);
    return 0;
}
