// SPDX-License-Identifier: MIT
// The loader's request splitting and key derivation on random requests,
// against a plain reference written with std::string: the part behind the
// directories, the ".so" tail, the length limit and its report, the key (the
// part behind the bare name's last ".", with the "zek" rule), cut to 255
// characters; and the front ends that take names must answer without a
// crash (no file is ever found: the search is limited to no directory).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/loader.hpp"
#include "vesk.h"

namespace {

struct Reference {
    std::string part, bare, key;
    bool ok;
};

Reference reference(const std::string &name) {
    Reference r;
    size_t cut = name.rfind('/');
    if (cut == std::string::npos)
        cut = name.rfind('\\');
    r.part = cut == std::string::npos ? name : name.substr(cut + 1);
    r.part.erase(0, r.part.find_first_not_of("/\\") == std::string::npos
                        ? r.part.size()
                        : r.part.find_first_not_of("/\\"));
    const bool ext = r.part.size() >= 3 && r.part.compare(r.part.size() - 3, 3, ".so") == 0;
    r.bare = ext ? r.part.substr(0, r.part.size() - 3) : r.part;
    r.ok = r.part.size() < 256;
    const size_t dot = r.bare.rfind('.');
    if (dot == std::string::npos) {
        r.key = r.bare;
    } else {
        const std::string tail = r.bare.substr(dot + 1);
        const bool zek = r.bare.rfind("zek", 0) == 0 && tail.rfind("zek", 0) != 0;
        r.key = (zek ? "zek" : "") + tail;
    }
    if (r.key.size() > 255)
        r.key.resize(255);
    return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string name(reinterpret_cast<const char *>(data), strnlen(reinterpret_cast<const char *>(data), size));
    const Reference ref = reference(name);
    vesk::rt::Request req;
    char msg[128];
    VeskErr err{};
    err.msg = msg;
    err.msgsize = sizeof msg;
    const bool ok = vesk::rt::split_request(name.c_str(), req, &err);
    if (ok != ref.ok || std::string(req.part) != ref.part)
        std::abort();
    if (!ok) {
        if (err.status != VESK_STATUS(VESK_FAC_RUNTIME, VESK_E_NAMETOOLONG) || err.variant != 1)
            std::abort();
        return 0;
    }
    if (std::string(req.part, req.bare_len) != ref.bare)
        std::abort();
    char key[vesk::rt::kKeySize];
    vesk::rt::derive_key(req.part, req.bare_len, key);
    if (ref.key != key)
        std::abort();
    // Through the exported entries: nothing is found, nothing crashes.
    if (VeskMldIsloaded(name.c_str(), nullptr) == 1 && name.empty())
        std::abort();
    const char *none[] = {"/nonexistent"};
    if (VeskMldLoad(name.c_str(), none, 1, 1, nullptr) == 1 && VeskMldIsloaded(key, nullptr) == 1)
        VeskMldUnload(key, nullptr);
    return 0;
}
