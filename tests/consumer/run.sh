#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Installs the built library into a temporary prefix and uses it from outside
# the tree, as its users do: a C program through pkg-config and a C++ project
# through find_package(vesk). In a sanitizer build the sanitizer flags are
# added to both, since the installed library needs their runtime.
#
# Usage: run.sh BUILD-DIR LIBDIR C-COMPILER PKG-CONFIG CMAKE GENERATOR [SANITIZE-FLAGS]
set -eu
build=$1 libdir=$2 cc=$3 pkgconfig=$4 cmake=$5 generator=$6
sanflags=${7:-}
here=$(cd "$(dirname "$0")" && pwd)

prefix=$(mktemp -d "${TMPDIR:-/tmp}/vesk-consumer.XXXXXX")
trap 'rm -rf "$prefix"' EXIT

fail() { echo "consumer: $*" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$prefix" >"$prefix/install.log" ||
    { cat "$prefix/install.log"; fail "cmake --install failed"; }

# The layout users and packagers rely on.
for f in include/vesk/vesk.h include/vesk/nu.h include/vesk/vesk_version.h \
         "$libdir/libvesk.so" "$libdir/pkgconfig/vesk.pc" \
         "$libdir/cmake/vesk/veskConfig.cmake" "$libdir/cmake/vesk/veskConfigVersion.cmake"; do
    [ -e "$prefix/$f" ] || fail "$f is not installed"
done
[ -d "$prefix/$libdir/vesk/modules" ] || fail "$libdir/vesk/modules is not created"
soname=$(readelf -dW "$prefix/$libdir/libvesk.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ -n "$soname" ] && [ -L "$prefix/$libdir/$soname" ] || fail "no link for the soname '$soname'"

# C: nothing but the flags pkg-config gives (and the build's sanitizers).
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
flags=$("$pkgconfig" --cflags --libs vesk) || fail "pkg-config does not know vesk"
# shellcheck disable=SC2086
"$cc" -std=c11 -Wall -Wextra -Werror $sanflags "$here/hello.c" $flags -o "$prefix/hello_c" ||
    fail "the C program does not build with: $flags"
LD_LIBRARY_PATH="$prefix/$libdir" "$prefix/hello_c" || fail "the C program failed"

# The shipped modules are installed and found with no search variables set.
[ -e "$prefix/$libdir/vesk/modules/urifile.so" ] || fail "the URI module is not installed"
# shellcheck disable=SC2086
"$cc" -std=c11 -Wall -Wextra -Werror $sanflags "$here/load_module.c" $flags -o "$prefix/load_module" ||
    fail "the module loader program does not build"
env -u VESK_MODULE_PATH -u HOME LD_LIBRARY_PATH="$prefix/$libdir" "$prefix/load_module" ||
    fail "the installed URI module does not load"

# C++: find_package(vesk) and the imported target vesk::vesk.
"$cmake" -S "$here/cmake" -B "$prefix/cxx-build" -G "$generator" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS="$sanflags" -DCMAKE_EXE_LINKER_FLAGS="$sanflags" \
    >"$prefix/configure.log" 2>&1 || { cat "$prefix/configure.log"; fail "find_package(vesk) failed"; }
"$cmake" --build "$prefix/cxx-build" >"$prefix/build.log" 2>&1 ||
    { cat "$prefix/build.log"; fail "the C++ project does not build"; }
"$prefix/cxx-build/hello" || fail "the C++ program failed"
