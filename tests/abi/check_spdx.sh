#!/bin/sh
# SPDX-License-Identifier: MIT
# Every source file, header, script and build file of the tree names its
# licence in its first lines.
set -eu
top=$1
missing=0
for f in $(find "$top" -path "$top/build" -prune -o -path "$top/.git" -prune -o -type f \
               \( -name '*.c' -o -name '*.h' -o -name '*.cpp' -o -name '*.hpp' -o -name '*.S' \
                  -o -name '*.sh' -o -name '*.cmake' -o -name '*.in' -o -name '*.awk' \
                  -o -name CMakeLists.txt -o -name Makefile \) -print); do
    head -n 3 "$f" | grep -q 'SPDX-License-Identifier: MIT' ||
        { echo "no SPDX-License-Identifier line at the head of ${f#"$top"/}"; missing=1; }
done
exit $missing
