#!/bin/sh
# Types whose size differs between systems (`long` has 64 bits on Linux, 32 on Windows)
# must not cross the boundary: the interface headers use fixed widths. `unsigned char`
# stands for bytes.
#
#     check_interface_types.sh HEADER...
set -eu
for header; do
    test -s "$header"
done
if sed -E 's|//.*||; s/unsigned char//g' "$@" |
    grep -nwE 'int|long|short|unsigned|size_t|ptrdiff_t|wchar_t|time_t|off_t'
then
    echo "a type without a fixed width crosses the boundary"
    exit 1
fi
