// SPDX-License-Identifier: MIT
// The two flavours of path text. Everything the path algebra does is written
// once over a flavour; a flavour says only what separates, what anchors a path
// (its drive), how a drive is written in a normal form, how two texts are
// glued, whether case counts and what makes a path valid.
#pragma once

#include <cstddef>
#include <cstdint>

#include "paths/span.hpp"

namespace vesk::paths {

// What kind of anchor a path starts with.
enum class DriveKind : uint8_t {
    none,         // nothing anchors the path
    root,         // POSIX: a run of "/"
    letter,       // "C:", with or without a run of separators behind it
    long_letter,  // "\\?\" then a letter drive
    long_unc,     // "\\?\UNC\" then a server element and its separators
    server,       // two separators, an element and its separators
};

struct Drive {
    size_t length = 0;
    DriveKind kind = DriveKind::none;
};

// Byte classes in the C locale, whatever locale the program set: a path is
// bytes, and its meaning must not change with the caller's locale.
inline bool ascii_alpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
inline char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
inline char ascii_upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

struct PosixFlavour {
    static constexpr char kSep = '/';
    static constexpr char kSearchSep = ':';
    static constexpr bool kFoldsCase = false;
    // A path without a drive splits into an empty drive.
    static constexpr bool kNoDriveIsNull = false;
    // Search paths: an empty element is the current directory; no quotes.
    static constexpr bool kEmptySearchIsHere = true;
    static constexpr bool kSearchQuotes = false;

    static bool is_sep(char c) { return c == '/'; }

    // The run of leading "/".
    static Drive drive(Span path) {
        size_t n = 0;
        while (n < path.size && path.data[n] == '/')
            ++n;
        return {n, n != 0 ? DriveKind::root : DriveKind::none};
    }

    // A text that is glued to what follows it with nothing in between.
    static bool glues_directly(Span) { return false; }
    static bool drive_relative(Drive) { return false; }

    // Validity: any path but the empty one.
    static bool forbidden(char) { return false; }
    static bool is_reserved(Span) { return false; }
    static bool names_no_server(Span, Drive) { return false; }
    static bool is_unfinished_prefix(Span, Drive) { return false; }

    // A drive in a normal form is one "/".
    static size_t write_normal_drive(Span, Drive, char *out) {
        out[0] = '/';
        return 1;
    }
};

struct WinFlavour {
    static constexpr char kSep = '\\';
    static constexpr char kSearchSep = ';';
    static constexpr bool kFoldsCase = true;
    // A path without a drive splits into no drive string at all, as there are
    // several kinds of drive and none of them is the empty one.
    static constexpr bool kNoDriveIsNull = true;
    // Search paths: empty elements are skipped; double quotes protect ";".
    static constexpr bool kEmptySearchIsHere = false;
    static constexpr bool kSearchQuotes = true;

    static bool is_sep(char c) { return c == '\\' || c == '/'; }

    // "C:" and the run of separators behind it, or 0.
    static size_t letter_drive(Span s, size_t from) {
        if (s.size - from < 2 || !ascii_alpha(s.data[from]) || s.data[from + 1] != ':')
            return 0;
        size_t n = from + 2;
        while (n < s.size && is_sep(s.data[n]))
            ++n;
        return n - from;
    }

    // From `from` up to the next separator, then over the run of them.
    static size_t element_and_separators(Span s, size_t from) {
        size_t n = from;
        while (n < s.size && !is_sep(s.data[n]))
            ++n;
        while (n < s.size && is_sep(s.data[n]))
            ++n;
        return n;
    }

    static bool is_unc_word(Span s) {
        return s.size >= 8 && ascii_lower(s.data[4]) == 'u' && ascii_lower(s.data[5]) == 'n' &&
               ascii_lower(s.data[6]) == 'c' && is_sep(s.data[7]);
    }

    // The kinds are tried in order and the first that fits decides.
    static Drive drive(Span path) {
        if (const size_t n = letter_drive(path, 0))
            return {n, DriveKind::letter};
        const bool two_seps = path.size >= 2 && is_sep(path.data[0]) && is_sep(path.data[1]);
        if (two_seps && path.size >= 4 && path.data[2] == '?' && is_sep(path.data[3])) {
            if (is_unc_word(path))
                return {element_and_separators(path, 8), DriveKind::long_unc};
            if (const size_t n = letter_drive(path, 4))
                return {4 + n, DriveKind::long_letter};
        }
        if (two_seps)
            return {element_and_separators(path, 2), DriveKind::server};
        return {};
    }

    // "C:" and "a" give "C:a".
    static bool glues_directly(Span first) {
        return first.size == 2 && ascii_alpha(first.data[0]) && first.data[1] == ':';
    }

    // "C:a" is relative to the current directory of drive C.
    static bool drive_relative(Drive d) { return d.kind == DriveKind::letter && d.length == 2; }

    // Validity. Bytes that no name behind the drive may hold.
    static bool forbidden(char c) {
        switch (c) {
        case ':': case '*': case '?': case '>': case '<': case '|': case '"':
            return true;
        default:
            return false;
        }
    }
    // Device names, whatever their case (validity.cpp holds the table).
    static bool is_reserved(Span name);
    // Two separators and nothing else: no server is named.
    static bool names_no_server(Span text, Drive d) {
        if (d.kind != DriveKind::server)
            return false;
        for (size_t i = 0; i < text.size; ++i)
            if (!is_sep(text.data[i]))
                return false;
        return true;
    }
    // A long-path prefix has to end in a separator.
    static bool is_unfinished_prefix(Span text, Drive d) {
        return (d.kind == DriveKind::long_letter || d.kind == DriveKind::long_unc) &&
               !is_sep(text.data[text.size - 1]);
    }

    // A drive in a normal form writes "\" for each separator. A letter drive
    // is written in upper case with one separator at most, as a normal form
    // has single separators; the other kinds keep their case and their runs
    // of separators, which are part of the server's or the prefix's name.
    static size_t write_normal_drive(Span text, Drive d, char *out) {
        if (d.kind == DriveKind::letter) {
            out[0] = ascii_upper(text.data[0]);
            out[1] = ':';
            if (d.length == 2)
                return 2;
            out[2] = kSep;
            return 3;
        }
        for (size_t i = 0; i < text.size; ++i)
            out[i] = is_sep(text.data[i]) ? kSep : text.data[i];
        return text.size;
    }
};

}  // namespace vesk::paths
