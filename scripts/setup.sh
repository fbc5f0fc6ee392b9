#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks what the build needs and installs what is missing from Debian's
# packages, after saying what it will install and why. Safe to run again: it
# does nothing when everything is there.
#
#   scripts/setup.sh          the build: make, CMake (3.25 or newer), Ninja, g++
#   scripts/setup.sh test     and what the tests use: GoogleTest, pkg-config, Doxygen
#   scripts/setup.sh bench    and what the benchmarks use: Google Benchmark, GLib, ICU
#   scripts/setup.sh docs     and Doxygen, for the HTML reference
#   scripts/setup.sh valgrind and valgrind, which runs the tests in `make valgrind`
#   scripts/setup.sh fuzz     and clang with libFuzzer, for the fuzz targets
set -eu

cmake_minimum=3.25

need_packages=""
reasons=""

want() { # debian-package reason
    case " $need_packages " in *" $1 "*) return ;; esac
    need_packages="$need_packages $1"
    reasons="$reasons
  $1: $2"
}
need_command() { # command debian-package reason
    command -v "$1" >/dev/null 2>&1 || want "$2" "$3"
}
need_file() { # path debian-package reason
    [ -e "$1" ] || want "$2" "$3"
}

need_command make make "runs the Makefile's targets"
need_command cmake cmake "configures and builds (version $cmake_minimum or newer)"
need_command ninja ninja-build "the build tool of the CMake presets"
need_command g++ g++ "the C and C++ compilers"
need_command readelf binutils "nm and readelf, used by the checks of the exports"
for what in "$@"; do
    case $what in
        test)
            need_file /usr/include/gtest/gtest.h libgtest-dev "GoogleTest, the test framework"
            need_command pkg-config pkg-config "the install check builds a program through vesk.pc"
            need_command doxygen doxygen "the reference documentation is built as a test"
            ;;
        bench)
            need_file /usr/include/benchmark/benchmark.h libbenchmark-dev "Google Benchmark"
            need_command pkg-config pkg-config "finds GLib for the benchmarks"
            need_file /usr/include/glib-2.0/glib.h libglib2.0-dev "GLib, an alternative the benchmarks compare with"
            need_file /usr/include/unicode/ucnv.h libicu-dev "ICU, an alternative the charset benchmarks compare with"
            ;;
        docs)
            need_command doxygen doxygen "builds the HTML reference from the headers"
            ;;
        valgrind)
            need_file /usr/include/gtest/gtest.h libgtest-dev "GoogleTest, the test framework"
            need_command valgrind valgrind "runs every test program in make valgrind"
            ;;
        fuzz)
            need_command clang++ clang "compiles the fuzz targets with libFuzzer"
            # Debian 12's clang is version 14; its libFuzzer is a package of its own.
            ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a >/dev/null 2>&1 ||
                want libclang-rt-14-dev "libFuzzer, the fuzzing engine the targets link"
            ;;
        *)
            echo "setup: unknown argument '$what' (test, bench, docs, valgrind or fuzz)" >&2
            exit 2
            ;;
    esac
done

if [ -n "$need_packages" ]; then
    echo "setup: installing from Debian's packages:$reasons"
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
fi

# The CMake version the project needs; an older one is not replaced here.
version=$(cmake --version | sed -n 's/^cmake version \([0-9][0-9.]*\).*/\1/p')
lowest=$(printf '%s\n%s\n' "$cmake_minimum" "$version" | sort -t. -k1,1n -k2,2n -k3,3n | head -n1)
if [ "$lowest" != "$cmake_minimum" ]; then
    echo "setup: CMake $version is too old; vesk needs CMake $cmake_minimum or newer" >&2
    echo "setup: (Debian 12 has 3.25; older systems can take it from their backports)" >&2
    exit 1
fi
