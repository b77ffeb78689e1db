#!/bin/sh
# No product and sum may be rounded at once, or the bits would depend on the processor.
#
#     check_fused.sh OBJDUMP FILE ...
set -eu
objdump=$1
shift
"$objdump" --disassemble --no-show-raw-insn "$@" | awk '
    $2 ~ /^(vfn?m(add|sub|addsub|subadd)[1-3p]|fn?m(add|sub)$|fml[as]|bfml)/ { print; bad = 1 }
    $1 ~ /:$/ && NF > 1 { ++instructions }
    END {
        if (instructions < 1000) print "no instructions found"
        exit bad || instructions < 1000
    }'
