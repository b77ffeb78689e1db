#!/bin/sh
# On 64-bit Windows the stack is aligned to 16 bytes, and this compiler does not align it
# further for the wider registers that it puts there. That is safe as long as no move of
# a wide register asks for an aligned address: an aligned one faults, by chance.
#
#     check_wide_moves.sh OBJDUMP LIBRARY
set -eu
"$1" -d --no-show-raw-insn "$2" | awk '
    !/%[yz]mm/ || !/\(/ { next }
    /[ \t]vmov(ap|dqa|nt)/ { print; bad = 1 }
    /[ \t]vmov(up|dqu)/ { ++unaligned }
    END {
        printf "%d unaligned moves of wide registers\n", unaligned
        exit bad || !unaligned
    }'
