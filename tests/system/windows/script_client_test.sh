#!/usr/bin/env bash
# script_client_test.sh BUILD: calls the double of the mail application by the scripting host, a late-bound client of
# another maker; in one process with it, and in a process of its own. Its caller sets the variables of Wine. Returns 1
# where a check failed, and 2 where a program did not end.
set -euo pipefail
: "${WINEPREFIX:?}"
build=$(cd "$1" && pwd)
root=$(realpath "$(dirname "$0")/../../..")
double=$build/tests/outlook_double
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

# run PROGRAM...: to a file: a server that COM starts inherits the output, and a pipe's reader would wait for it.
run() {
  local status=0
  timeout --kill-after=10 60 wine "$@" >"$results/output" 2>&1 </dev/null || status=$?
  if [ "$status" -ge 124 ]; then
    echo "script_client_test: this did not end: $*"
    cat "$results/output"
    exit 2
  fi
  return "$status"
}
# done_by PROGRAM...: one that has to succeed.
done_by() {
  run "$@" || {
    echo "script_client_test: FAILED: $*: status $?"
    cat "$results/output"
    exit 1
  }
}

# The file's name as Wine has it: a first "/" would be taken for an option.
windows_name() {
  local name=Z:$1
  echo "${name//\//\\}"
}
check() {
  rm -f "$results/$1.txt"
  run cscript /nologo "$(windows_name "$root/tests/outlook_double/outlook_double_test.vbs")" \
    "$(windows_name "$results/$1.txt")" || true
  [ "$(tr -d '\r' <"$results/$1.txt")" = "12 checks" ] || {
    echo "script_client_test: FAILED, $1:"
    cat "$results/output" "$results/$1.txt" || true
    exit 1
  }
}

done_by regsvr32 /s "$(windows_name "$double/outlook_double.dll")"
check in-process
done_by regsvr32 /s /u "$(windows_name "$double/outlook_double.dll")"
done_by "$double/outlook_double.exe" /regserver
check out-of-process
# Or it would go on for some seconds, and answer in place of the next test's.
run "$double/outlook_double_control.exe" die || true
done_by "$double/outlook_double.exe" /unregserver
echo "script_client_test: 24 passed"
