#!/usr/bin/env bash
# windows_icon.sh OUTPUT [NAME]: draws the program's icon for Windows, or the one of that name, in all sizes that its
# screens use.
set -euo pipefail
drawing=$(dirname "$0")/${2:-relaybird}.svg
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-icon.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
images=()
for size in 16 20 24 32 40 48 64; do
  rsvg-convert --width $size --height $size --output "$scratch/$size.png" "$drawing"
  images+=("$scratch/$size.png")
done
# The largest one stays compressed, which Windows wants of this size alone.
rsvg-convert --width 256 --height 256 --output "$scratch/256.png" "$drawing"
icotool --create --output "$1" "${images[@]}" --raw "$scratch/256.png"
