#!/usr/bin/env bash
# check_needed_test.sh CMAKE SCRIPT: what the check of the core's libraries lets pass on each architecture
# that Debian has, and what it does not.
set -euo pipefail
cmake=$1
check=$2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-needed.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

cat >"$scratch/readelf" <<'SH'
#!/bin/sh
cat "$3"
SH
chmod +x "$scratch/readelf"
# passes LIBRARY...: whether a library that needs these passes.
passes() {
  echo "Dynamic section at offset 0x2dd8 contains 28 entries:" >"$scratch/library"
  printf ' 0x0000000000000001 (NEEDED)             Shared library: [%s]\n' "$@" >>"$scratch/library"
  "$cmake" -DLIBRARY="$scratch/library" -DREADELF="$scratch/readelf" -P "$check" >"$scratch/output" 2>&1
}

for linker in ld-linux-x86-64.so.2 ld-linux-aarch64.so.1 ld-linux-armhf.so.3 ld-linux-riscv64-lp64d.so.1 \
  ld-linux.so.2 ld64.so.1 ld64.so.2 ld.so.1; do
  passes libstdc++.so.6 libm.so.6 libatomic.so.1 libgcc_s.so.1 libc.so.6 "$linker" || {
    echo "check_needed_test: $linker does not pass: $(cat "$scratch/output")" >&2
    exit 1
  }
done
for library in libgtk-3.so.0 libcurl.so.4 libmd.so.0 libldap.so.2 ldap.so.1; do
  if passes libstdc++.so.6 libc.so.6 "$library"; then
    echo "check_needed_test: $library passes" >&2
    exit 1
  fi
  grep -qF "the core needs" "$scratch/output"
done
