#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs every fuzz target of the fuzz preset for SECONDS each (10 by default),
# each on a fresh corpus with its dictionary and input limit. `make test` runs
# it briefly, so that the targets keep building and their references keep
# agreeing; a real campaign gives 600 or more. A failing input is kept as
# build/fuzz/crash-* (or leak-*, timeout-*), and the target's log is shown.
#
#   scripts/fuzz_run.sh [SECONDS]      after: cmake --build --preset fuzz
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-10}
bin=build/fuzz/fuzz
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run() { # target [libFuzzer options]
    name=$1
    shift
    mkdir -p "$work/$name"
    printf 'fuzz: %-20s %ss ... ' "$name" "$seconds"
    if "$bin/vesk_fuzz_$name" "$@" -max_total_time="$seconds" -artifact_prefix=build/fuzz/ \
        "$work/$name" >"$work/$name.log" 2>&1; then
        grep -o 'Done [0-9]* runs' "$work/$name.log" || echo done
    else
        echo FAILED
        tail -n 40 "$work/$name.log"
        exit 1
    fi
}

run shellcmp -dict=fuzz/shellcmp.dict -max_len=8192
run levenshtein
run mode -dict=fuzz/mode.dict -max_len=256
run strtok -dict=fuzz/strtok.dict -max_len=512
run strsplit -dict=fuzz/strtok.dict -max_len=512
run paths_posix_normal -dict=fuzz/paths.dict -max_len=4096
run paths_win_normal -dict=fuzz/paths.dict -max_len=4096
run paths_win_valid -dict=fuzz/paths.dict -max_len=4096
run ccsconv -max_len=4096
run loader_key
run uri_file
run wformat -max_len=512
