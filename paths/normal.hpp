// SPDX-License-Identifier: MIT
// The normal form of a path, and the comparisons built on it: equality and
// the path relative to a root.
#pragma once

#include "paths/parts.hpp"

namespace vesk::paths {

// Room for a short text on the stack, a long one on the heap.
class Scratch {
public:
    explicit Scratch(size_t size)
        : data_(size <= sizeof local_ ? local_ : static_cast<char *>(NuMalloc(size))) {}
    ~Scratch() {
        if (data_ != local_)
            NuMfree(data_);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    char *data() const { return data_; }
    bool ok() const { return data_ != nullptr; }

private:
    char local_[256];
    char *data_;
};

template <class F>
struct Normal {
    using P = Parts<F>;

    // A normal form is never more than two bytes longer than its path ("" gives
    // ".", a separator may come between a drive and the rest, and one at the
    // end); two more to spare.
    static size_t bound(Span path) { return path.size + 4; }

    // Writes the normal form of `path` to `out`, which holds bound(path)
    // bytes, and gives its size: single separators of the flavour's own, no
    // "." element (".." stays where it is), the drive in its normal form, and
    // a trailing separator where the path had one or ended in a separator and
    // ".". One pass, whatever the number of elements.
    //
    // Dropping the "." elements in front of the first name could make that
    // name part of a drive ("./c:" would read as the drive "c:", "\\?\./C:"
    // as a long-path prefix). Where the drive would change so, one "." stays
    // in front of the name, and the normal form of a normal form is itself.
    static size_t write(Span path, char *out, bool keep_dot = false) {
        const Drive drive = F::drive(path);
        const Span rest = path.tail_from(drive.length);
        const size_t r = rest.size;
        const bool trailing = P::has_trailing_sep(rest) ||
                              (r >= 2 && rest.data[r - 1] == '.' && F::is_sep(rest.data[r - 2]));
        size_t n = drive.length != 0 ? F::write_normal_drive(P::split_drive(path).text, drive, out)
                                     : 0;
        bool sep_before_next = n != 0 && !F::is_sep(out[n - 1]) && !F::glues_directly(Span(out, n));

        size_t i = 0;
        // Only a flavour whose drives start with two separators has a rest
        // that starts with one: it stands for the root, as one separator.
        if (r != 0 && F::is_sep(rest.data[0])) {
            out[n++] = F::kSep;
            sep_before_next = false;
            while (i < r && F::is_sep(rest.data[i]))
                ++i;
        }
        bool dots_in_front = false;
        bool named = false;
        while (i < r) {
            const size_t start = i;
            while (i < r && !F::is_sep(rest.data[i]))
                ++i;
            const Span name(rest.data + start, i - start);
            while (i < r && F::is_sep(rest.data[i]))
                ++i;
            if (name.size == 1 && name.data[0] == '.') {
                dots_in_front = dots_in_front || !named;
                continue;
            }
            if (!named && dots_in_front && keep_dot) {
                if (sep_before_next)
                    out[n++] = F::kSep;
                out[n++] = '.';
                sep_before_next = true;
            }
            if (sep_before_next)
                out[n++] = F::kSep;
            std::memcpy(out + n, name.data, name.size);
            n += name.size;
            sep_before_next = true;
            named = true;
        }
        if (n == 0)
            out[n++] = '.';
        if (trailing && !F::drive_relative(drive) && !F::is_sep(out[n - 1]))
            out[n++] = F::kSep;
        if (named && dots_in_front && !keep_dot && F::drive(Span(out, n)).kind != drive.kind)
            return write(path, out, true);
        return n;
    }

    // Both normalised, folded to lower case where the flavour ignores case,
    // without trailing separators, byte for byte. False if scratch memory for
    // long paths can't be had.
    static bool equal(Span a, Span b) {
        Scratch first(bound(a));
        Scratch second(bound(b));
        if (!first.ok() || !second.ok())
            return false;
        Span x(first.data(), write(a, first.data()));
        Span y(second.data(), write(b, second.data()));
        if constexpr (F::kFoldsCase) {
            fold_case(first.data(), x.size);
            fold_case(second.data(), y.size);
        }
        return P::drop_trailing_sep(x).equals(P::drop_trailing_sep(y));
    }

    static void fold_case(char *text, size_t size) {
        for (size_t i = 0; i < size; ++i)
            text[i] = ascii_lower(text[i]);
    }

    // The drive as the relative path compares it, and the rest behind it. A
    // path that starts with a separator and has no drive has the root as its
    // drive and the text behind that separator as its rest.
    struct Anchor {
        Span drive;
        Span rest;
    };
    static Anchor anchor_of(Span path) {
        const size_t d = F::drive(path).length;
        if (d == 0 && !path.empty() && F::is_sep(path.data[0]))
            return {P::kSepText, path.tail_from(1)};
        return {path.head(d), path.tail_from(d)};
    }

    // Drives compare with every separator as the flavour's own and every
    // other byte in lower case.
    static bool same_drive(Span a, Span b) {
        if (a.size != b.size)
            return false;
        for (size_t i = 0; i < a.size; ++i) {
            const char x = F::is_sep(a.data[i]) ? F::kSep : ascii_lower(a.data[i]);
            const char y = F::is_sep(b.data[i]) ? F::kSep : ascii_lower(b.data[i]);
            if (x != y)
                return false;
        }
        return true;
    }

    static Span skip_seps(Span s) {
        size_t i = 0;
        while (i < s.size && F::is_sep(s.data[i]))
            ++i;
        return s.tail_from(i);
    }

    // The first element of `s` (which starts at no separator) and what comes
    // after it and the separators behind it.
    static Span take_element(Span *s) {
        size_t i = 0;
        while (i < s->size && !F::is_sep(s->data[i]))
            ++i;
        const Span element = s->head(i);
        *s = skip_seps(s->tail_from(i));
        return element;
    }

    // `path` relative to `root`: "." for the same path, the part of `path`
    // behind the root's elements when it lies under the root, and the path as
    // given otherwise. Elements compare one by one, nothing is resolved.
    static Pieces relative(Span root, Span path) {
        if (equal(root, path))
            return Pieces(P::kDot);
        const Anchor r = anchor_of(root);
        const Anchor p = anchor_of(path);
        if (!same_drive(r.drive, p.drive))
            return Pieces(path);
        if (r.rest.empty())
            return Pieces(skip_seps(p.rest));
        if (p.rest.empty())
            return Pieces(path);
        Span rest_of_root = r.rest;
        Span rest_of_path = p.rest;
        while (!rest_of_root.empty()) {
            rest_of_root = skip_seps(rest_of_root);
            rest_of_path = skip_seps(rest_of_path);
            const Span a = take_element(&rest_of_root);
            const Span b = take_element(&rest_of_path);
            if (!a.equals(b) && !equal(a, b))
                return Pieces(path);
        }
        return Pieces(skip_seps(rest_of_path));
    }
};

}  // namespace vesk::paths
