#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The guard of the library's binary interface. cmake/vesk.exports is the one
# list of exported names (the version script is generated from it); this
# fails when the code, the list and the built library disagree:
#   - a function or datum marked VESK_API that the list does not name (the
#     version script hides it, so a caller would not find it);
#   - a listed name that the code no longer defines (a program linked
#     against it would fail to load);
#   - an export without its version node, or anything else exported;
#   - a listed name that no public header declares, or exported data that
#     is not _G_ data.
#
# Usage: check_exports.sh LIBRARY EXPORTS-LIST INCLUDE-DIR OBJECT...
set -eu
lib=$1 list=$2 incdir=$3
shift 3

# Symbols the toolchain defines: sanitizer instrumentation, linker markers.
toolchain='^(_init|_fini|_edata|_end|__bss_start|__odr_asan[._].*|___?asan_.*|__ubsan_.*|__tsan_.*|__sancov_.*|__gcov_.*)$'

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The list: comments and blank lines out, "[VESK_x.y]" opens a node.
sed -e 's/#.*//' -e 's/[[:space:]]//g' "$list" | grep -v '^$' >"$work/raw"
grep '^\[' "$work/raw" | tr -d '[]' >"$work/nodes"
grep -v '^\[' "$work/raw" | LC_ALL=C sort >"$work/listed"

# What the code exports: default-visibility global definitions in the objects.
for obj in "$@"; do
    readelf -sW "$obj"
done | awk '($5 == "GLOBAL" || $5 == "WEAK") && $6 == "DEFAULT" && $7 != "UND" && $8 != "" { print $8 }' |
    grep -Ev "$toolchain" | LC_ALL=C sort -u >"$work/marked"

# What the library exports, with the version of each name.
nm -D --defined-only --format=posix "$lib" | awk '{ print $1, $2 }' >"$work/dynamic"
awk '$2 != "A" { sub(/@.*/, "", $1); print $1 }' "$work/dynamic" |
    grep -Ev "$toolchain" | LC_ALL=C sort -u >"$work/exported"

bad=0
say() { echo "$*"; bad=1; }

for sym in $(LC_ALL=C comm -23 "$work/marked" "$work/listed"); do
    say "new export $sym is not in $list: add it there (in order, under the newest [VESK_x.y] node); the version script is generated from that list"
done
for sym in $(LC_ALL=C comm -13 "$work/marked" "$work/listed"); do
    say "$sym is listed in $list but the library no longer defines it: programs linked against it would not load; bring it back, or, if the break is meant, remove it from the list with a new major version"
done
for sym in $(LC_ALL=C comm -23 "$work/exported" "$work/listed"); do
    say "$sym is exported by $lib but not listed in $list"
done
for sym in $(LC_ALL=C comm -13 "$work/exported" "$work/listed"); do
    grep -qx "$sym" "$work/marked" || continue  # reported above
    say "$sym is listed and defined but not exported: reconfigure, so that the version script is written again from $list"
done

# Every export carries one of the list's version nodes.
while read -r sym type; do
    name=${sym%%@*}
    echo "$name" | grep -Eq "$toolchain" && continue
    [ "$type" = A ] && grep -Fxq "$name" "$work/nodes" && continue
    node=${sym#*@}
    node=${node#@}
    if [ "$node" = "$sym" ] || ! grep -Fxq "$node" "$work/nodes"; then
        say "$sym has no version node of $list: is the library linked with the generated version script?"
    fi
    case $type in
        D|d|B|b|R|r|V|v|G|g|S|s)
            echo "$name" | grep -q '^_G_' || say "exported data that is not _G_ data: $name" ;;
    esac
done <"$work/dynamic"

# Every listed name is declared in a public header.
while read -r sym; do
    grep -qw -- "$sym" "$incdir"/*.h || say "$sym is exported but declared in no public header"
done <"$work/listed"

count=$(wc -l <"$work/listed")
if [ "$count" -eq 0 ]; then
    say "no exports listed in $list"
fi
echo "$count exports checked against $list"
exit $bad
