#!/bin/sh
# Fails on any dynamic symbol of the library that is not one of its named
# functions or _G_ data: every exported name must be declared in a public
# header, functions must carry a library prefix and data must be _G_ data.
# Symbols that the toolchain defines (sanitizer instrumentation, linker
# markers) are not the library's own and are skipped.
set -eu
lib=$1
incdir=$2

toolchain='^(_init|_fini|_edata|_end|__bss_start|__odr_asan[._].*|__asan_.*|__ubsan_.*|__tsan_.*|__sancov_.*)$'
library_prefix='^(_?_?[Vv]esk|_?[Nn]u|_?nu_)'
# POSIX-named twins that the C library lacks, exported under their own names.
posix_twins='^(msleep|strshellcmp3|wcsshellcmp3)$'

symbols=$(mktemp)
trap 'rm -f "$symbols"' EXIT
nm -D --defined-only --format=posix "$lib" >"$symbols"

bad=0
checked=0
while read -r sym type _rest; do
    sym=${sym%%@*}
    echo "$sym" | grep -Eq "$toolchain" && continue
    checked=$((checked + 1))
    case $type in
        T|t|W|w|i)
            echo "$sym" | grep -Eq "$library_prefix|$posix_twins" ||
                { echo "exported function without a library name: $sym"; bad=1; continue; } ;;
        D|d|B|b|R|r|V|v|G|g|S|s)
            echo "$sym" | grep -Eq '^_G_' ||
                { echo "exported data that is not _G_ data: $sym"; bad=1; continue; } ;;
        *)
            echo "exported symbol of unexpected type $type: $sym"; bad=1; continue ;;
    esac
    grep -qw -- "$sym" "$incdir"/*.h ||
        { echo "exported but declared in no public header: $sym"; bad=1; }
done <"$symbols"

if [ "$checked" -eq 0 ]; then
    echo "no exported symbols found in $lib"
    exit 1
fi
echo "$checked exported symbols checked"
exit $bad
