#!/bin/sh
# Sources built for more than the baseline must not define anything that the linker may
# share with other sources: weak symbols (W, V) and unique ones (u). It could keep a copy
# that older processors cannot run.
#
#     check_wide_objects.sh libtalvora_dsp.a
set -eu
nm --print-file-name "$1" | awk '
    /lane_kernels_avx/ { seen = 1 }
    /lane_kernels_avx/ && $(NF - 1) ~ /^[WVu]$/ { print; bad = 1 }
    END {
        if (!seen) print "no objects of wide instruction sets found"
        exit bad || !seen
    }'
