#!/usr/bin/env bash
# check_completion.bash TALVORA_HOST COMPLETION: drives the completion as bash does.
set -euo pipefail

PATH=$(dirname "$1"):$PATH
# shellcheck source=/dev/null
source "$2"
failed=0

# What completes the line, of which the cursor is at the end; bash parts words at blanks, '='
# and ':'.
complete_line() {
  COMP_LINE=$1
  COMP_POINT=${#COMP_LINE}
  mapfile -t COMP_WORDS < <(grep -oE '[=:]+|[^=:[:space:]]+' <<<"$COMP_LINE")
  [[ $COMP_LINE != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _talvora_host
}

# expect LINE [WORD ...]: exactly these words.
expect() {
  complete_line "$1"
  shift
  local wanted="$*" got=${COMPREPLY[*]}
  if [[ $got != "$wanted" ]]; then
    echo "'$COMP_LINE': expected '$wanted', got '$got'"
    failed=1
  fi
}

# expect_among LINE WORD
expect_among() {
  complete_line "$1"
  [[ " ${COMPREPLY[*]} " == *" $2 "* ]] || { echo "'$1': no '$2' in '${COMPREPLY[*]}'"; failed=1; }
}

expect 'talvora-host des' describe design
expect_among 'talvora-host ' run
expect 'talvora-host recipe ' run check extract
expect 'talvora-host recipe check --s' --set
expect 'talvora-host run apply-set-f' apply-set-fill-gap
expect 'talvora-host --plugin x.so run apply-set-f' # no such library, no units
expect 'talvora-host --memory 64 run apply-set-f' apply-set-fill-gap
expect 'talvora-host run --ou' --output --out-dir
expect 'talvora-host run --plu' --plugin
expect_among 'talvora-host run apply-set-butterworth ' CutoffFrequency=
expect 'talvora-host run apply-set-butterworth Order=4 Band' Bandform= BandWidth=
expect 'talvora-host run apply-set-butterworth Bandform=' \
  ZeroLagLowPass ZeroLagHighPass ZeroLagBandPass ZeroLagBandStop
expect 'talvora-host run apply-set-butterworth Bandform=ZeroLagB' ZeroLagBandPass ZeroLagBandStop
expect 'talvora-host run apply-set-rectify ScanRecursive=t' true
expect 'talvora-host design ZeroLagL' ZeroLagLowPass
# Where files are meant, nothing is told, and readline offers them.
expect 'talvora-host tree wal'
expect 'talvora-host run apply-set-rectify walk.h5 -o '
expect 'talvora-host run no-such-unit '
# What a file holds.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
file=$folder/walk.h5
printf 'A,B\n1,2\n3,4\n' >"$folder/walk.csv"
talvora-host import "$folder/walk.csv" -o "$file" --rate 10 --quiet
expect "talvora-host run apply-set-rectify $file SourceGroup=" Signals
expect "talvora-host run apply-set-rectify $file SourceSets=Signals/" Signals/A Signals/B
expect "talvora-host tree $file::Signals/B" Signals/B
exit $failed
