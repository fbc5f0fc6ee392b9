// SPDX-License-Identifier: MIT
// Separators, drives, file names, extensions, trailing separators and joins,
// for both flavours from one body.
#include "paths/parts.hpp"

#include "nu.h"

namespace vesk::paths {
namespace {

int32_t flag(bool b) { return b ? 1 : 0; }

// A character as the C library's classifiers take it: a byte value.
template <class F>
bool is_byte_sep(int c) {
    return c >= 0 && c <= 255 && F::is_sep(static_cast<char>(c));
}

template <class F>
struct PartsApi {
    using P = Parts<F>;

    static void split_drive(NuSTR *drive, NuSTR *rest, const char *path) {
        if (path == nullptr) {
            store_two(drive, Pieces::none(), rest, Pieces::none());
            return;
        }
        const auto parts = P::split_drive(Span::of(path));
        const bool no_drive = parts.drive.kind == DriveKind::none && F::kNoDriveIsNull;
        store_two(drive, no_drive ? Pieces::none() : Pieces(parts.text), rest, Pieces(parts.rest));
    }

    static void split_file_name(NuSTR *directory, NuSTR *name, const char *path) {
        const auto parts = P::split_name(Span::of(path));
        const Span dir = parts.directory.empty() ? P::kHereDir : parts.directory;
        store_two(directory, Pieces(dir), name, Pieces(parts.name));
    }

    static void split_extension(NuSTR *base, NuSTR *extension, const char *text, bool first) {
        const Span path = Span::of(text);
        const size_t at = P::extension_start(path, first);
        Pieces ext = Pieces(path.tail_from(at));
        if (at == path.size && !first)
            ext = Pieces::none();
        store_two(base, Pieces(path.head(at)), extension, ext);
    }

    static NuSTR *take_directory(NuSTR *out, const char *path) {
        Span dir = P::split_name(Span::of(path)).directory;
        if (dir.empty())
            dir = P::kHereDir;
        return store(out, P::drop_trailing_sep(dir));
    }

    static NuSTR *replace_base_name(NuSTR *out, const char *text, const char *base) {
        const Span path = Span::of(text);
        const auto parts = P::split_name(path);
        const Span extension = path.tail_from(P::extension_start(path, false));
        return store(out, P::join(parts.directory, P::add_extension(Span::of(base), extension)));
    }

    static NuSTR *add_trailing_sep(NuSTR *out, const char *text) {
        const Span path = Span::of(text);
        Pieces result(path);
        if (!P::has_trailing_sep(path))
            result.add(P::kSepText);
        return store(out, result);
    }

    // Folds from the right: the last item that stands on its own cuts off
    // everything before it, and the items from there on are joined in order.
    static NuSTR *join_path(NuSTR *out, const char *const *items, int32_t count) {
        if (out == nullptr)
            return nullptr;
        if (items == nullptr || count <= 0)
            return store(out, Pieces::none());
        int32_t first = 0;
        for (int32_t i = count - 1; i >= 0; --i)
            if (P::is_anchored(Span::of(items[i]))) {
                first = i;
                break;
            }
        size_t size = 0;
        for (int32_t i = first; i < count; ++i)
            size += Span::of(items[i]).size + 1;
        char *block = static_cast<char *>(NuMalloc(size + 1));
        if (block == nullptr)
            return out;
        size_t at = 0;
        Span previous;
        for (int32_t i = first; i < count; ++i) {
            const Span item = Span::of(items[i]);
            if (item.empty())
                continue;
            if (at != 0 && !P::has_trailing_sep(previous) && !F::glues_directly(previous))
                block[at++] = F::kSep;
            std::memcpy(block + at, item.data, item.size);
            at += item.size;
            previous = item;
        }
        block[at] = '\0';
        replace(out, block);
        return out;
    }
};

}  // namespace
}  // namespace vesk::paths

#define VESK_PATH_PARTS(Family, Flavour)                                                       \
    VESK_API int32_t Nu##Family##IsPathSep(int c) { return flag(is_byte_sep<Flavour>(c)); }   \
    VESK_API int32_t Nu##Family##IsSearchPathSep(int c) { return flag(c == Flavour::kSearchSep); } \
    VESK_API void Nu##Family##SplitDrive(NuSTR *drive, NuSTR *rest, const char *path) {       \
        PartsApi<Flavour>::split_drive(drive, rest, path);                                     \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeDrive(NuSTR *out, const char *path) {                     \
        PartsApi<Flavour>::split_drive(out, nullptr, path);                                    \
        return out;                                                                            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##DropDrive(NuSTR *out, const char *path) {                     \
        PartsApi<Flavour>::split_drive(nullptr, out, path);                                    \
        return out;                                                                            \
    }                                                                                          \
    VESK_API int32_t Nu##Family##HasDrive(const char *path) {                                 \
        return flag(Flavour::drive(Span::of(path)).length != 0);                               \
    }                                                                                          \
    VESK_API int32_t Nu##Family##IsDrive(const char *path) {                                  \
        return flag(Parts<Flavour>::is_drive(Span::of(path)));                                 \
    }                                                                                          \
    VESK_API int32_t Nu##Family##IsRelativePath(const char *path) {                           \
        const Drive d = Flavour::drive(Span::of(path));                                        \
        return flag(d.length == 0 || Flavour::drive_relative(d));                              \
    }                                                                                          \
    VESK_API int32_t Nu##Family##IsAbsolutePath(const char *path) {                           \
        return flag(Nu##Family##IsRelativePath(path) == 0);                                    \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##JoinDrive(NuSTR *out, const char *drive, const char *path) {  \
        return store(out, Parts<Flavour>::join(Span::of(drive), Pieces(Span::of(path))));      \
    }                                                                                          \
    VESK_API void Nu##Family##SplitFileName(NuSTR *directory, NuSTR *name, const char *path) { \
        PartsApi<Flavour>::split_file_name(directory, name, path);                             \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeFileName(NuSTR *out, const char *path) {                  \
        PartsApi<Flavour>::split_file_name(nullptr, out, path);                                \
        return out;                                                                            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##DropFileName(NuSTR *out, const char *path) {                  \
        PartsApi<Flavour>::split_file_name(out, nullptr, path);                                \
        return out;                                                                            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##ReplaceFileName(NuSTR *out, const char *path,                 \
                                                const char *name) {                            \
        const Span dir = Parts<Flavour>::split_name(Span::of(path)).directory;                 \
        return store(out, Parts<Flavour>::combine(dir, Span::of(name)));                       \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeDirectory(NuSTR *out, const char *path) {                 \
        return PartsApi<Flavour>::take_directory(out, path);                                   \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##ReplaceDirectory(NuSTR *out, const char *path,                \
                                                 const char *directory) {                      \
        const Span name = Parts<Flavour>::split_name(Span::of(path)).name;                     \
        return store(out, Parts<Flavour>::join(Span::of(directory), Pieces(name)));            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeBaseName(NuSTR *out, const char *path) {                  \
        const Span name = Parts<Flavour>::split_name(Span::of(path)).name;                     \
        return store(out, Parts<Flavour>::drop_extension(name));                               \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##ReplaceBaseName(NuSTR *out, const char *path,                 \
                                                const char *base) {                            \
        return PartsApi<Flavour>::replace_base_name(out, path, base);                          \
    }                                                                                          \
    VESK_API void Nu##Family##SplitExtension(NuSTR *base, NuSTR *extension, const char *path) { \
        PartsApi<Flavour>::split_extension(base, extension, path, false);                      \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeExtension(NuSTR *out, const char *path) {                 \
        PartsApi<Flavour>::split_extension(nullptr, out, path, false);                         \
        return out;                                                                            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##DropExtension(NuSTR *out, const char *path) {                 \
        PartsApi<Flavour>::split_extension(out, nullptr, path, false);                         \
        return out;                                                                            \
    }                                                                                          \
    VESK_API int32_t Nu##Family##HasExtension(const char *path) {                             \
        const Span s = Span::of(path);                                                         \
        return flag(Parts<Flavour>::extension_start(s, false) != s.size);                      \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##AddExtension(NuSTR *out, const char *path,                    \
                                             const char *extension) {                          \
        return store(out, Parts<Flavour>::add_extension(Span::of(path), Span::of(extension))); \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##ReplaceExtension(NuSTR *out, const char *path,                \
                                                 const char *extension) {                      \
        const Span base = Parts<Flavour>::drop_extension(Span::of(path));                      \
        return store(out, Parts<Flavour>::add_extension(base, Span::of(extension)));           \
    }                                                                                          \
    VESK_API void Nu##Family##SplitExtensions(NuSTR *base, NuSTR *extensions,                 \
                                              const char *path) {                              \
        PartsApi<Flavour>::split_extension(base, extensions, path, true);                      \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##TakeExtensions(NuSTR *out, const char *path) {                \
        PartsApi<Flavour>::split_extension(nullptr, out, path, true);                          \
        return out;                                                                            \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##DropExtensions(NuSTR *out, const char *path) {                \
        PartsApi<Flavour>::split_extension(out, nullptr, path, true);                          \
        return out;                                                                            \
    }                                                                                          \
    VESK_API int32_t Nu##Family##HasTrailingPathSep(const char *path) {                       \
        return flag(Parts<Flavour>::has_trailing_sep(Span::of(path)));                         \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##AddTrailingPathSep(NuSTR *out, const char *path) {            \
        return PartsApi<Flavour>::add_trailing_sep(out, path);                                 \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##DropTrailingPathSep(NuSTR *out, const char *path) {           \
        return store(out, Parts<Flavour>::drop_trailing_sep(Span::of(path)));                  \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##CombinePaths(NuSTR *out, const char *left, const char *right) { \
        return store(out, Parts<Flavour>::combine(Span::of(left), Span::of(right)));           \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##JoinPath(NuSTR *out, const char *const *items, int32_t count) { \
        return PartsApi<Flavour>::join_path(out, items, count);                                \
    }

using vesk::paths::Drive;
using vesk::paths::DriveKind;
using vesk::paths::Parts;
using vesk::paths::PartsApi;
using vesk::paths::Pieces;
using vesk::paths::PosixFlavour;
using vesk::paths::Span;
using vesk::paths::WinFlavour;
using vesk::paths::flag;
using vesk::paths::is_byte_sep;
using vesk::paths::store;

extern "C" {

VESK_PATH_PARTS(Posix, PosixFlavour)
VESK_PATH_PARTS(Win, WinFlavour)

VESK_API int32_t NuPosixIsExtSep(int c) { return flag(c == '.'); }

}  // extern "C"

// One operation under two names. GCC wants the alias to carry its target's
// nothrow; clang reads it as a no-throw promise the header does not make.
#if defined(__clang__)
extern "C" VESK_API int32_t NuWinIsExtSep(int c) __attribute__((alias("NuPosixIsExtSep")));
#else
extern "C" VESK_API int32_t NuWinIsExtSep(int c) __attribute__((alias("NuPosixIsExtSep"), nothrow));
#endif
