// SPDX-License-Identifier: MIT
// Taking a path apart and putting one together, over a flavour. Every part
// of a path that these give is a stretch of the path itself, so they give
// spans and allocate nothing; the exported functions copy the result out.
#pragma once

#include "paths/flavour.hpp"
#include "paths/span.hpp"

namespace vesk::paths {

template <class F>
struct Parts {
    static inline const Span kSepText{&F::kSep, 1};
    static inline const Span kDot{".", 1};
    static inline const Span kHereDir{"./", 2};

    // The drive and the rest behind it.
    struct DriveSplit {
        Drive drive;
        Span text;
        Span rest;
    };
    static DriveSplit split_drive(Span path) {
        const Drive d = F::drive(path);
        return {d, path.head(d.length), path.tail_from(d.length)};
    }

    static bool has_trailing_sep(Span path) { return !path.empty() && F::is_sep(path.back()); }

    static bool is_drive(Span path) { return !path.empty() && F::drive(path).length == path.size; }

    // Directory part (up to and with the last separator behind the drive)
    // and name part; their sizes add up to the path's.
    struct NameSplit {
        Span directory;
        Span name;
    };
    static NameSplit split_name(Span path) {
        const size_t drive = F::drive(path).length;
        size_t cut = path.size;
        while (cut > drive && !F::is_sep(path.data[cut - 1]))
            --cut;
        return {path.head(cut), path.tail_from(cut)};
    }

    // Where the extension of the file name starts: at its last "." (`first`:
    // its first one), or the path's size when the name has none.
    static size_t extension_start(Span path, bool first) {
        const NameSplit parts = split_name(path);
        const size_t from = parts.directory.size;
        if (first) {
            for (size_t i = from; i < path.size; ++i)
                if (path.data[i] == '.')
                    return i;
        } else {
            for (size_t i = path.size; i > from; --i)
                if (path.data[i - 1] == '.')
                    return i - 1;
        }
        return path.size;
    }

    // The path without its last extension.
    static Span drop_extension(Span path) { return path.head(extension_start(path, false)); }

    // The path without trailing separators, unless it is a drive alone; one
    // byte stays if nothing else would.
    static Span drop_trailing_sep(Span path) {
        if (!has_trailing_sep(path) || is_drive(path))
            return path;
        size_t n = path.size;
        while (n > 0 && F::is_sep(path.data[n - 1]))
            --n;
        return path.head(n != 0 ? n : 1);
    }

    // The join rule: the two texts with a separator between them where
    // neither is empty and the first does not end in one.
    static Pieces join(Span first, const Pieces &second) {
        if (first.empty())
            return second;
        if (second.empty())
            return Pieces(first);
        Pieces out(first);
        if (!has_trailing_sep(first) && !F::glues_directly(first))
            out.add(kSepText);
        return out.add(second);
    }

    // A path that starts at a separator or at a drive stands on its own.
    static bool is_anchored(Span path) {
        return (!path.empty() && F::is_sep(path.data[0])) || F::drive(path).length != 0;
    }

    static Pieces combine(Span left, Span right) {
        return is_anchored(right) ? Pieces(right) : join(left, Pieces(right));
    }

    // The path with `extension` added: a "." goes in front of an extension
    // that has none, and the drive is joined back by the join rule.
    static Pieces add_extension(Span path, Span extension) {
        if (extension.empty())
            return Pieces(path);
        const DriveSplit parts = split_drive(path);
        Pieces rest(parts.rest);
        if (extension.data[0] != '.')
            rest.add(kDot);
        rest.add(extension);
        return join(parts.text, rest);
    }
};

}  // namespace vesk::paths
