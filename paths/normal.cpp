// SPDX-License-Identifier: MIT
// Normalising, equality and relative paths, for both flavours from one body.
#include "paths/normal.hpp"

#include "nu.h"

namespace vesk::paths {
namespace {

template <class F>
NuSTR *normalise(NuSTR *out, const char *text) {
    if (out == nullptr)
        return nullptr;
    const Span path = Span::of(text);
    Scratch scratch(Normal<F>::bound(path));
    if (!scratch.ok())
        return out;
    const size_t size = Normal<F>::write(path, scratch.data());
    return store(out, Pieces(Span(scratch.data(), size)));
}

}  // namespace
}  // namespace vesk::paths

using vesk::paths::Normal;
using vesk::paths::PosixFlavour;
using vesk::paths::Span;
using vesk::paths::WinFlavour;
using vesk::paths::normalise;
using vesk::paths::store;

#define VESK_PATH_NORMAL(Family, Flavour)                                                      \
    VESK_API NuSTR *Nu##Family##NormalisePath(NuSTR *out, const char *path) {                 \
        return normalise<Flavour>(out, path);                                                  \
    }                                                                                          \
    VESK_API int32_t Nu##Family##EqualFilePath(const char *first, const char *second) {       \
        return Normal<Flavour>::equal(Span::of(first), Span::of(second)) ? 1 : 0;              \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##MakeRelativePath(NuSTR *out, const char *root,                \
                                                 const char *path) {                           \
        if (out == nullptr)                                                                    \
            return nullptr;                                                                    \
        return store(out, Normal<Flavour>::relative(Span::of(root), Span::of(path)));          \
    }

extern "C" {

VESK_PATH_NORMAL(Posix, PosixFlavour)
VESK_PATH_NORMAL(Win, WinFlavour)

}  // extern "C"
