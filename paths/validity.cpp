// SPDX-License-Identifier: MIT
// Valid paths and how to make one, for both flavours from one body. A POSIX
// path is valid unless it is empty; the Windows flavour also refuses a server
// drive without a server, a long-path prefix without its separator, seven
// bytes behind the drive and the names of devices.
#include <array>

#include "nu.h"
#include "paths/normal.hpp"
#include "paths/parts.hpp"

namespace vesk::paths {

namespace {

constexpr std::array<const char *, 23> kDeviceNames = {
    "CON",  "PRN",  "AUX",  "NUL",  "COM1", "COM2", "COM3", "COM4", "COM5", "COM6", "COM7", "COM8",
    "COM9", "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9", "CLOCK$"};

bool same_ignoring_case(Span name, const char *upper) {
    size_t i = 0;
    for (; i < name.size; ++i)
        if (upper[i] == '\0' || ascii_upper(name.data[i]) != upper[i])
            return false;
    return upper[i] == '\0';
}

}  // namespace

bool WinFlavour::is_reserved(Span name) {
    if (name.size < 3 || name.size > 6)
        return false;
    for (const char *device : kDeviceNames)
        if (same_ignoring_case(name, device))
            return true;
    return false;
}

namespace {

template <class F>
struct Validity {
    using P = Parts<F>;

    // The name an element stands for: without its separators and all its
    // extensions.
    static Span stem_of(Span element) {
        const Span name = P::drop_trailing_sep(element);
        return name.head(P::extension_start(name, true));
    }

    static bool valid(Span path) {
        if (path.empty())
            return false;
        const auto parts = P::split_drive(path);
        if (F::names_no_server(parts.text, parts.drive) ||
            F::is_unfinished_prefix(parts.text, parts.drive))
            return false;
        const Span rest = parts.rest;
        for (size_t i = 0; i < rest.size; ++i)
            if (F::forbidden(rest.data[i]))
                return false;
        size_t i = 0;
        while (i < rest.size) {
            const size_t start = i;
            while (i < rest.size && !F::is_sep(rest.data[i]))
                ++i;
            while (i < rest.size && F::is_sep(rest.data[i]))
                ++i;
            if (F::is_reserved(stem_of(Span(rest.data + start, i - start))))
                return false;
        }
        return true;
    }

    // Writes the valid form of `path` (not empty, no unfinished prefix) to
    // `out`, which holds path.size * 2 + 8 bytes, and gives its size.
    static size_t write_valid(Span path, char *out) {
        const auto parts = P::split_drive(path);
        size_t n = 0;
        if (F::names_no_server(parts.text, parts.drive)) {
            std::memcpy(out, parts.text.data, 2);
            std::memcpy(out + 2, "drive", 5);
            return 7;
        }
        std::memcpy(out, parts.text.data, parts.text.size);
        n = parts.text.size;
        const Span rest = parts.rest;
        if (!rest.empty() && n != 0 && !P::has_trailing_sep(parts.text) &&
            !F::glues_directly(parts.text))
            out[n++] = F::kSep;
        size_t i = 0;
        while (i < rest.size) {
            const size_t start = i;
            while (i < rest.size && !F::is_sep(rest.data[i]))
                ++i;
            const Span name(rest.data + start, i - start);
            size_t stem = 0;
            while (stem < name.size && name.data[stem] != '.')
                ++stem;
            for (size_t k = 0; k < name.size; ++k)
                out[n++] = F::forbidden(name.data[k]) ? '_' : name.data[k];
            // "CON.txt" becomes "CON_.txt": the mark goes behind the stem.
            if (F::is_reserved(Span(out + n - name.size, stem))) {
                std::memmove(out + n - name.size + stem + 1, out + n - name.size + stem,
                             name.size - stem);
                out[n - name.size + stem] = '_';
                ++n;
            }
            while (i < rest.size && F::is_sep(rest.data[i]))
                out[n++] = rest.data[i++];
        }
        return n;
    }

    static NuSTR *make_valid(NuSTR *out, Span path) {
        if (path.empty())
            return store(out, Pieces(Span("_", 1)));
        const auto parts = P::split_drive(path);
        Span whole = path;
        // An unfinished prefix gets its separator, and the result is made
        // from that.
        Scratch finished(path.size + 2);
        if (F::is_unfinished_prefix(parts.text, parts.drive)) {
            if (!finished.ok())
                return out;
            std::memcpy(finished.data(), parts.text.data, parts.text.size);
            finished.data()[parts.text.size] = F::kSep;
            std::memcpy(finished.data() + parts.text.size + 1, parts.rest.data, parts.rest.size);
            whole = Span(finished.data(), path.size + 1);
        }
        Scratch made(whole.size * 2 + 8);
        if (!made.ok())
            return out;
        return store(out, Pieces(Span(made.data(), write_valid(whole, made.data()))));
    }
};

}  // namespace
}  // namespace vesk::paths

using vesk::paths::PosixFlavour;
using vesk::paths::Span;
using vesk::paths::Validity;
using vesk::paths::WinFlavour;

#define VESK_PATH_VALIDITY(Family, Flavour)                                                    \
    VESK_API int32_t Nu##Family##IsValidPath(const char *path) {                              \
        return Validity<Flavour>::valid(Span::of(path)) ? 1 : 0;                               \
    }                                                                                          \
    VESK_API NuSTR *Nu##Family##MakeValidPath(NuSTR *out, const char *path) {                 \
        if (out == nullptr)                                                                    \
            return nullptr;                                                                    \
        return Validity<Flavour>::make_valid(out, Span::of(path));                             \
    }

extern "C" {

VESK_PATH_VALIDITY(Posix, PosixFlavour)
VESK_PATH_VALIDITY(Win, WinFlavour)

}  // extern "C"
