#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Every exported function and datum and every public record of the headers
# carries a comment: the comment on the lines right above it, or the one at
# the head of the run of declarations it belongs to (a family such as the
# _nlk forms shares one comment). A blank line ends a run. The reference
# documentation is built from these comments (see cmake/doxygen_filter.awk).
#
# Usage: check_docs.sh HEADER...
set -eu

awk '
function report(what) {
    printf "%s:%d: %s has no comment; write one above it (what it does, its result, what a failure reports)\n", FILENAME, FNR, what
    bad = 1
}
FNR == 1 { documented = 0; in_comment = 0; depth = 0 }
{
    line = $0
    if (in_comment) {
        if (index(line, "*/")) { in_comment = 0; documented = 1 }
        next
    }
    if (line ~ /^[ \t]*$/) { documented = 0; next }
    if (line ~ /^[ \t]*\/\*/) {
        # A banner or a licence line documents nothing.
        if (line ~ /^\/\* ?-+ ?\*\/[ \t]*$/ || line ~ /SPDX-License-Identifier/) { documented = 0; next }
        if (index(substr(line, index(line, "/*") + 2), "*/")) documented = 1
        else in_comment = 1
        next
    }
    if (depth == 0 && line ~ /^VESK_API/) {
        name = line
        sub(/\(.*/, "", name)
        sub(/;.*/, "", name)
        n = split(name, words, /[ \t*]+/)
        if (!documented) report(words[n])
    }
    if (depth == 0 && line ~ /^(typedef )?struct [A-Za-z_0-9]+ \{/) {
        name = line
        sub(/^(typedef )?struct /, "", name)
        sub(/ .*/, "", name)
        if (!documented) report("record " name)
    }
    if (line ~ /^extern "C"/) next
    opens = gsub(/\{/, "{", line)
    closes = gsub(/\}/, "}", line)
    depth += opens - closes
    if (depth < 0) depth = 0  # the closing brace of extern "C"
}
END { exit bad }
' "$@"

count=$(cat "$@" | grep -c '^VESK_API' || true)
if [ "$count" -eq 0 ]; then
    echo "no VESK_API declarations found in $*"
    exit 1
fi
echo "$count exported declarations, each with its comment"
