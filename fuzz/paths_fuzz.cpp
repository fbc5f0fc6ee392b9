// SPDX-License-Identifier: MIT
// Fuzzing of the path algebra's fixed points. Built three times, once for
// each property (PATHS_FUZZ_PROPERTY):
//   1 NuPosixNormalisePath: a normal form normalises to itself and is equal
//     to the path it came from;
//   2 NuWinNormalisePath: the same in the Windows flavour;
//   3 NuWinMakeValidPath: the result is valid, and a valid path is kept as
//     it is.
// The input up to its first NUL byte is the path. The path sources are
// compiled into the target; their allocator is the C heap here.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "nu.h"

extern "C" {
void *NuMalloc(size_t size) { return std::malloc(size != 0 ? size : 1); }
void NuMfree(void *block) { std::free(block); }
void *_NuMrealloc(void *block, size_t size, VeskErr *) {
    return std::realloc(block, size != 0 ? size : 1);
}
}

namespace {

void check(bool holds, const char *what, const std::string &path, const char *a, const char *b) {
    if (holds)
        return;
    std::fprintf(stderr, "%s\n  path: \"%s\"\n  first: \"%s\"\n  then: \"%s\"\n", what,
                 path.c_str(), a != nullptr ? a : "(null)", b != nullptr ? b : "(null)");
    std::abort();
}

using Normalise = NuSTR *(*)(NuSTR *, const char *);
using Equal = int32_t (*)(const char *, const char *);

void normal_form_is_fixed(const std::string &path, Normalise normalise, Equal equal) {
    NuSTR once = nullptr;
    NuSTR twice = nullptr;
    normalise(&once, path.c_str());
    normalise(&twice, once);
    check(once != nullptr && twice != nullptr && std::strcmp(once, twice) == 0,
          "the normal form of a normal form differs", path, once, twice);
    check(equal(path.c_str(), once) == 1, "a path is not equal to its normal form", path, once,
          nullptr);
    NuMfree(once);
    NuMfree(twice);
}

void made_valid_is_valid(const std::string &path) {
    NuSTR made = nullptr;
    NuWinMakeValidPath(&made, path.c_str());
    check(made != nullptr && NuWinIsValidPath(made) == 1, "a made-valid path is not valid", path,
          made, nullptr);
    if (NuWinIsValidPath(path.c_str()) == 1)
        check(std::strcmp(made, path.c_str()) == 0, "a valid path was changed", path, made,
              nullptr);
    NuMfree(made);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const char *text = reinterpret_cast<const char *>(data);
    const std::string path(text, strnlen(text, size));
#if PATHS_FUZZ_PROPERTY == 1
    normal_form_is_fixed(path, NuPosixNormalisePath, NuPosixEqualFilePath);
#elif PATHS_FUZZ_PROPERTY == 2
    normal_form_is_fixed(path, NuWinNormalisePath, NuWinEqualFilePath);
#else
    made_valid_is_valid(path);
#endif
    return 0;
}
