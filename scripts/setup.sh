#!/bin/sh
# Checks what the build needs and installs what is missing from Debian's
# packages. Safe to run again: it does nothing when everything is there.
# With the argument "bench", also what the benchmarks compare against; with
# "valgrind", valgrind.
set -eu

need_packages=""

need_command() { # command debian-package
    command -v "$1" >/dev/null 2>&1 || need_packages="$need_packages $2"
}
need_file() { # path debian-package
    [ -e "$1" ] || need_packages="$need_packages $2"
}

need_command cmake cmake
need_command ninja ninja-build
need_command g++ g++
need_command nm binutils
need_file /usr/include/gtest/gtest.h libgtest-dev
need_file /usr/include/benchmark/benchmark.h libbenchmark-dev
if [ "${1:-}" = valgrind ]; then
    need_command valgrind valgrind
fi
if [ "${1:-}" = bench ]; then
    need_command pkg-config pkg-config
    need_file /usr/include/glib-2.0/glib.h libglib2.0-dev
fi

if [ -z "$need_packages" ]; then
    exit 0
fi

echo "setup: installing$need_packages"
if [ "$(id -u)" -eq 0 ]; then
    sudo=""
elif command -v sudo >/dev/null 2>&1; then
    sudo="sudo"
else
    echo "setup: missing packages:$need_packages (run as root or install them)" >&2
    exit 1
fi
$sudo apt-get update -q
# shellcheck disable=SC2086
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q $need_packages
