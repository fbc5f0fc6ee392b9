# SPDX-License-Identifier: MIT
#
# Doxygen's input filter for the public headers. The headers are written with
# plain C comments for C programmers; this turns them into the reference
# documentation's comments on the way into Doxygen, line for line, so that
# the headers need no markup of their own:
#
#   - the first comment of a header (after a licence line) describes the file;
#   - a comment on lines of its own, directly followed by code, documents
#     that code; when it stands at the left margin over several declarations
#     (a family such as the _nlk forms), it documents each of them;
#   - a comment after code on the same line documents that line's member;
#   - a comment followed by a blank line, a section banner and a licence line
#     stay plain comments;
#   - in comment text, the characters Doxygen would read as commands or markup
#     (\ @ < > & # %) are escaped, except inside `code`, "quotes" and indented
#     examples.
#
# Usage (Doxygen's INPUT_FILTER): awk -f doxygen_filter.awk HEADER

function escape_text(text,    out, k, c, in_code, in_quote) {
    # Backquoted spans are code, and Doxygen reads no commands in "quoted"
    # text: only what lies outside both is escaped.
    out = ""
    in_code = 0
    in_quote = 0
    for (k = 1; k <= length(text); k++) {
        c = substr(text, k, 1)
        if (c == "`" && !in_quote)
            in_code = !in_code
        else if (c == "\"" && !in_code)
            in_quote = !in_quote
        else if (!in_code && !in_quote) {
            if (c ~ /[\\@<>&#%]/)
                c = "\\" c
        }
        out = out c
    }
    return out
}

# A line inside a comment: the text after the leading " * " is escaped,
# unless it is an indented example (a code block).
function escape_comment_line(text,    lead) {
    if (match(text, /^[ \t]*\*     /))
        return text
    if (match(text, /^[ \t]*(\/\*|\*)?/)) {
        lead = substr(text, 1, RLENGTH)
        return lead escape_text(substr(text, RLENGTH + 1))
    }
    return escape_text(text)
}

function is_blank(text) { return text ~ /^[ \t]*$/ }
function starts_comment(text) { return text ~ /^[ \t]*\/\*/ }
function is_banner(text) { return text ~ /^\/\* ?-+ ?\*\/[ \t]*$/ }
function is_member(text) {
    return text ~ /^(VESK_API|#[ \t]*define|typedef|struct|union|enum|extern)/
}

{ line[NR] = $0 }

END {
    n = NR
    code_seen = 0
    file_done = 0
    continued = 0
    i = 1
    while (i <= n) {
        text = line[i]
        if (starts_comment(text) && !continued) {
            start = i
            end = i
            while (end <= n && index(substr(line[end], end == start ? index(line[end], "/*") + 2 : 1), "*/") == 0)
                end++
            if (end > n)
                end = n
            kind = "plain"
            if (is_banner(text) || text ~ /SPDX-License-Identifier/) {
                kind = "plain"
            } else if (!code_seen && !file_done) {
                kind = "file"
                file_done = 1
            } else if (end < n && !is_blank(line[end + 1]) && !starts_comment(line[end + 1])) {
                kind = "doc"
            }
            if (kind == "plain") {
                for (k = start; k <= end; k++)
                    out[k] = line[k]
            } else {
                for (k = start; k <= end; k++)
                    out[k] = escape_comment_line(line[k])
                if (kind == "file") {
                    sub(/\/\*/, "/** @file", out[start])
                } else {
                    sub(/\/\*/, "/**", out[start])
                    # One comment over several declarations at the margin:
                    # a member group, whose first member's text Doxygen
                    # gives to all (DISTRIBUTE_GROUP_DOC).
                    if (text ~ /^\/\*/) {
                        members = 0
                        last = end
                        for (k = end + 1; k <= n && !is_blank(line[k]) && !(line[k] ~ /^\/\*/); k++) {
                            if (is_member(line[k]))
                                members++
                            last = k
                        }
                        if (members > 1) {
                            out[start] = "/**@{*/ " out[start]
                            closing[last + 1] = 1
                        }
                    }
                }
            }
            i = end + 1
            continue
        }
        # A code line, perhaps with a comment on the member it declares.
        out[i] = text
        if (!is_blank(text) && text !~ /^[ \t]*\/\//)
            code_seen = 1
        if (!continued && text !~ /\\[ \t]*$/ && match(text, /[^ \t][ \t]*\/\*[^*]/) &&
            index(substr(text, RSTART), "*/") > 0) {
            opening = RSTART + RLENGTH - 3
            out[i] = substr(text, 1, opening - 1) "/**<" escape_text(substr(text, opening + 2))
        }
        continued = text ~ /\\[ \t]*$/
        i++
    }
    # A group closes at the head of the line after its last member (the
    # blank line that ends the run), not behind a macro, which would take
    # the comment in as part of its value.
    for (k = 1; k <= n; k++)
        print (closing[k] ? "/**@}*/ " : "") out[k]
    if (closing[n + 1])
        print "/**@}*/"
}
