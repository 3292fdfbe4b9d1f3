#!/usr/bin/env bash
# manual_test.sh CMAKE CHMCMD PERL: compiles the manual in two folders and finds the same bytes, with no time
# in them.
set -euo pipefail
source=$(dirname "$(realpath "$0")")/../..
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-manual.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
fail() {
  echo "manual_test: $*" >&2
  exit 1
}

# Where the system puts the memory of the compiler is another place each time.
for folder in one "a longer name/below"; do
  mkdir -p "$scratch/$folder"
  "$1" -DCHMCMD="$2" -DPERL="$3" -DHELP_DIR="$source/help" -DPICTURES="$source/docs/pictures" \
    -DOUTPUT="$scratch/$folder/rbx.chm" -P "$source/help/compile_help.cmake"
done
file=$scratch/one/rbx.chm
[ "$(od -An -tx1 -j16 -N4 "$file")" = " 00 00 00 00" ] || fail "the header holds a time"
"$3" -0777 -ne 'exit !/\x0a\0\x04\0\0\0\0\0\x09\0..HHA Version /s' "$file" || fail "#SYSTEM holds a time"
! grep -aqF WWKeywordLinks "$file" || fail "there is a binary index, with bytes that were never set"
cmp "$file" "$scratch/a longer name/below/rbx.chm" || fail "two builds differ"
