#!/usr/bin/env bash
# prefix_test.sh CMAKE BUILD: installs what is built into a prefix whose name means something to shells and
# to the service manager, and works there.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
cmake=$1
build=$2
unset DESTDIR
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-prefix.XXXXXX")
# Another installation from the same folder may want its list to be removed by.
manifest=$build/install_manifest.txt
[ ! -f "$manifest" ] || cp "$manifest" "$scratch/manifest"
tidy() {
  rm -f "$manifest"
  [ ! -f "$scratch/manifest" ] || cp "$scratch/manifest" "$manifest"
  rm -rf "$scratch"
}
trap tidy EXIT
fail() {
  echo "prefix_test: $*" >&2
  exit 1
}

prefix="$scratch/own programs, 100%h \$HOME"
"$cmake" --install "$build" --prefix "$prefix" >"$scratch/installed" || fail "$(cat "$scratch/installed")"
mkdir "$scratch/temporary" "$scratch/nothing"
export TMPDIR=$scratch/temporary
"$here/installation_test.sh" "$prefix"

echo "an installation of nothing fails"
if "$here/installation_test.sh" "$scratch/nothing" >"$scratch/output" 2>&1; then
  fail "it passes"
fi
grep -qF 'installation_test: ' "$scratch/output" || fail "$(cat "$scratch/output")"
[ -z "$(ls -A "$TMPDIR")" ] || fail "the tests leave behind: $(ls -A "$TMPDIR")"
