#!/bin/sh
# SPDX-License-Identifier: MIT
# Instructions per operation on the runtime's hot paths, beside their peers,
# counted by callgrind: exact and repeatable, unlike timings on a shared VM.
#
#   scripts/callgrind_hotpaths.sh [iterations]
#
# Builds bench/hotpath_counts with the bench preset (Release), runs every
# path `iterations` times (default 100000) under callgrind with the loader's
# lazy binding off, and prints the inclusive instruction count of each path
# divided by the number of runs. Each figure includes the few instructions of
# calling the measuring function itself.
set -eu

iterations=${1:-100000}
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/bench
program=$build/bench/vesk_bench_hotpath_counts

cmake --preset bench >/dev/null
cmake --build --preset bench -j2 --target vesk_bench_hotpath_counts >/dev/null

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
LD_BIND_NOW=1 valgrind --tool=callgrind --callgrind-out-file="$out/cg" \
    "$program" "$iterations" >/dev/null 2>"$out/log" || {
    cat "$out/log" >&2
    exit 1
}

callgrind_annotate --inclusive=yes --threshold=100 "$out/cg" 2>/dev/null |
    awk -v n="$iterations" '
        /hp_[a-z_]+/ {
            match($0, /hp_[a-z_]+/)
            name = substr($0, RSTART, RLENGTH)
            ir = $1
            gsub(",", "", ir)
            if (!(name in seen)) {
                seen[name] = 1
                order[++count] = name
                per[name] = ir / n
            }
        }
        END {
            printf "%-36s %12s\n", "path", "instr/op"
            for (i = 1; i <= count; i++)
                printf "%-36s %12.1f\n", order[i], per[order[i]]
        }'
