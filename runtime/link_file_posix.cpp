// SPDX-License-Identifier: MIT
// Closing the file of a module that linking dropped.
#include <dlfcn.h>

#include "link.hpp"
#include "registry.hpp"

namespace vesk::rt {

void drop_module(VeskModule *mod) {
    if (mod->loads != 0)
        --mod->loads;
    void *const handle = mod->handle;
    if (handle == nullptr || mod->loads != 0)
        return;
    remove_by_name(namereg(), mod->modname, nullptr);
    mod->handle = nullptr;
    dlclose(handle);  // the record lives in the file: not touched after this
}

}  // namespace vesk::rt
