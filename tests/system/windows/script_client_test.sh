#!/usr/bin/env bash
# script_client_test.sh BUILD: calls the double of the mail application by the scripting host, a late-bound client of
# another maker; in one process with it, and in a process of its own. Its caller sets the variables of Wine.
set -euo pipefail
: "${WINEPREFIX:?}"
build=$(cd "$1" && pwd)
root=$(realpath "$(dirname "$0")/../../..")
double=$build/tests/outlook_double
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

# To a file: a server that COM starts inherits the output, and a pipe's reader would wait for it.
quietly() { timeout 60 wine "$@" >"$results/output" 2>&1 </dev/null; }

# The file's name as Wine has it: a first "/" would be taken for an option.
windows_name() {
  local name=Z:$1
  echo "${name//\//\\}"
}
check() {
  rm -f "$results/$1.txt"
  quietly cscript /nologo "$(windows_name "$root/tests/outlook_double/outlook_double_test.vbs")" \
    "$(windows_name "$results/$1.txt")" || true
  [ "$(tr -d '\r' <"$results/$1.txt")" = "12 checks" ] || {
    echo "the scripting host and the double, $1:"
    cat "$results/output" "$results/$1.txt" || true
    exit 1
  }
}

quietly regsvr32 /s "$(windows_name "$double/outlook_double.dll")"
check in-process
quietly regsvr32 /s /u "$(windows_name "$double/outlook_double.dll")"
quietly "$double/outlook_double.exe" /regserver
check out-of-process
# Or it would go on for some seconds, and answer in place of the next test's.
quietly "$double/outlook_double_control.exe" die || true
quietly "$double/outlook_double.exe" /unregserver
echo "script_client_test: 24 passed"
