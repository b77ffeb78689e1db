#!/bin/sh
# Sources built for more than the baseline must not define anything that the linker may
# share with other sources (inline functions, templates). It could keep a copy that older
# processors cannot run. So they show one name to the linker: the table of their kernels.
#
#     check_wide_objects.sh libtalvora_dsp.a
set -eu
nm --print-file-name --defined-only "$1" | awk '
    !/lane_kernels_/ || /lane_kernels_baseline/ || $(NF - 1) !~ /^[A-Zu]$/ { next }
    $NF ~ /LANE_KERNELSE$/ { ++tables; next }
    { print; bad = 1 }
    END {
        if (!tables) print "no tables of wide kernels found"
        exit bad || !tables
    }'
