#!/bin/sh
# SPDX-License-Identifier: MIT
#
# A C program can load the library without the C++ runtime: the library's
# NEEDED entries are the C library and what it brings (libm, the dynamic
# loader), plus, in a sanitizer build, the sanitizer's own runtime.
#
# Usage: check_needed.sh LIBRARY [SANITIZERS]
set -eu
lib=$1
sanitize=${2:-}

allowed='^(libc\.so\.6|libm\.so\.6|ld-linux[-a-z0-9_]*\.so\.[0-9]+)$'
if [ -n "$sanitize" ]; then
    allowed="$allowed|^lib(asan|ubsan|tsan|lsan)\.so\.[0-9]+$"
fi

needed=$(readelf -dW "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if [ -z "$needed" ]; then
    echo "no NEEDED entries in $lib: not a dynamic library?"
    exit 1
fi
bad=0
for lib_needed in $needed; do
    if ! echo "$lib_needed" | grep -Eq "$allowed"; then
        echo "$lib needs $lib_needed; a C program would have to carry it."
        bad=1
    fi
done
if [ $bad -ne 0 ]; then
    echo "The symbols it is needed for (nm -D --undefined-only, not from the C library):"
    nm -D --undefined-only "$lib" | grep -v '@GLIBC_' || true
    exit 1
fi
echo "NEEDED:" $needed
