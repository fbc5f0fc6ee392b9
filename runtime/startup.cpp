// Start-up records and the bootstrap of the runtime.
//
// The library has no initialisation call: load-time constructors register
// the records of its parts, and a last constructor starts them by order. The
// runtime itself is record 100, which sets up the registries and links the
// built-in modules. At unload or exit the started records stop in reverse.
//
// Load and unload run on the loader's thread with no other thread in the
// library, so none of this state has a lock.
#include <cstdio>
#include <cstdlib>

#include "registry.hpp"
#include "rwlock.hpp"
#include "startup.hpp"
#include "services/error_table.hpp"
#include "services/kdv.hpp"
#include "stub.hpp"

using namespace vesk::rt;

extern "C" {
VESK_API int32_t _G_mld_load_debug_only = 1;
}

namespace {

// Zero-initialised state, set up by its first use: no constructor may assume
// that another ran before it.
struct StartState {
    NuRTBT order_tree;        // records by order, equal orders in registration order
    bool tree_ready;
    VeskStartRec started;     // ring head of the started records, last started first
    bool started_ready;
    bool running;
};
StartState state;

intptr_t compare_order(uintptr_t a, uintptr_t b) {
    const int32_t x = reinterpret_cast<const VeskStartRec *>(a)->order;
    const int32_t y = reinterpret_cast<const VeskStartRec *>(b)->order;
    return intptr_t{x} - intptr_t{y};
}
constexpr NuBtninfo kOrderInfo = {nullptr, nullptr, nullptr, compare_order, nullptr};

NuRTBT &order_tree() {
    if (!state.tree_ready) {
        NuRTBTInit(&state.order_tree);
        state.tree_ready = true;
    }
    return state.order_tree;
}

VeskStartRec &started() {
    if (!state.started_ready) {
        state.started.next = state.started.prev = &state.started;
        state.started_ready = true;
    }
    return state.started;
}

void push_started(VeskStartRec *rec) {
    VeskStartRec &head = started();
    rec->prev = &head;
    rec->next = head.next;
    head.next->prev = rec;
    head.next = rec;
}

NuRTBTNode *leftmost(NuRTBTNode *node) {
    while (node != nullptr && node->left != nullptr)
        node = node->left;
    return node;
}

// In-order successor along the right thread or down the right subtree.
NuRTBTNode *successor(NuRTBTNode *node) {
    if (node->flags & NU_RTBT_RTHREAD)
        return node->right;
    return leftmost(node->right);
}

// ---------------------------------------------------------------------------
// Built-in modules

using ModuleFn = VeskModule *(*)();

// In the order they come up: each may import from those before it.
constexpr ModuleFn kBuiltinModules[] = {stub_module, vesk::svc::kdv_module,
                                        vesk::svc::error_module};

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

VESK_REGISTER_START_RECORD(register_bootstrap, &bootstrap_record)

// The last constructor: start everything, and stop it again at unload or exit.
__attribute__((constructor(VESK_PRIORITY_RUN))) static void run_start_chain() {
    if (VeskStartRun() < 0)
        std::abort();
}

__attribute__((destructor(VESK_PRIORITY_RUN))) static void run_stop_chain() { VeskStartStop(); }

extern "C" {

VESK_API int64_t VeskStartAdd(VeskStartRec *record) {
    if (record == nullptr)
        return -1;
    record->node.data = reinterpret_cast<uintptr_t>(record);
    NuRTBT &tree = order_tree();
    // Duplicates allowed: an equal order goes right of those already there.
    if (_NuRTBTLinknode_b(&tree, &kOrderInfo, &record->node, 1, nullptr, nullptr) == 0)
        ++tree.count;
    return 0;
}

VESK_API int64_t VeskStartRun(void) {
    if (state.running)
        return 0;
    state.running = true;
    // A run after a stop starts a new list; the records of the last one were
    // stopped already.
    VeskStartRec &head = started();
    head.next = head.prev = &head;
    NuRTBT &tree = order_tree();
    int64_t result = 0;
    NuRTBTNode *node = leftmost(tree.root);
    for (uintptr_t i = 0; i < tree.count && node != nullptr; ++i, node = successor(node)) {
        auto *rec = reinterpret_cast<VeskStartRec *>(node->data);
        if (rec->start == nullptr)
            continue;
        const int32_t r = rec->start(rec->start_arg);
        result = r;
        if (r < 0)
            return result;
        push_started(rec);
    }
    return result;
}

VESK_API void VeskStartStop(void) {
    if (!state.running)
        return;
    state.running = false;
    VeskStartRec &head = started();
    for (VeskStartRec *rec = head.next; rec != &head; rec = rec->next)
        if (rec->stop != nullptr)
            rec->stop(rec->stop_arg);
}

VESK_API int32_t VeskBootstrap(uintptr_t) {
    idreg_init(namereg());
    idreg_init(opsreg());
    idreg_init(objreg());
    idreg_init(modreg());
    for (ModuleFn module : kBuiltinModules)
        bring_up(module());
    return 0;
}

}  // extern "C"
