#!/usr/bin/env bash
# desktop_test.sh PROGRAM: the real program in real windows, on a screen and a session bus of its own.
# All input goes through the X server. Nothing here waits for a time: every step waits for a window, and
# the whole for at most two minutes.
set -euo pipefail
program=$1
if [ -z "${DESKTOP_TEST_INSIDE:-}" ]; then
  export DESKTOP_TEST_INSIDE=1
  exec timeout 120 xvfb-run --auto-servernum --server-args='-screen 0 1280x900x24' \
    dbus-run-session -- "$0" "$@"
fi

scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-desktop.XXXXXX")
export HOME=$scratch XDG_CONFIG_HOME=$scratch/config XDG_STATE_HOME=$scratch/state
export XDG_RUNTIME_DIR=$scratch/run LC_ALL=C.UTF-8
unset XDG_DATA_HOME XDG_CACHE_HOME GTK_THEME
mkdir -p "$scratch"/Maildir/{cur,new,tmp} "$scratch"/config/rbx "$scratch"/run
chmod 700 "$scratch"/run
openbox >/dev/null 2>&1 &
trap 'kill $(jobs -p) 2>/dev/null; wait 2>/dev/null; rm -rf "$scratch"' EXIT

fail() {
  echo "desktop_test: $*" >&2
  exit 1
}
# Waits for a visible window of that title and gives it the keys that follow.
to_window() {
  local window title=$1
  shift
  window=$(xdotool search --sync --onlyvisible --name "$title" | tail -n 1)
  xdotool windowactivate --sync "$window" key --clearmodifiers "$@"
}
gone() {
  while xdotool search --onlyvisible --name "$1" >/dev/null 2>&1; do :; done
}
outbox() {
  find "$scratch/state/rbx/outbox/new" -type f 2>/dev/null | wc -l
}
mail() {
  printf 'From: Bob <bob@example.com>\nTo: ann@example.org\nSubject: %s\n\ntext\n' "$1" \
    >"$scratch/Maildir/new/$2.test.example"
}
start() {
  "$program" >"$scratch/output" 2>&1 &
  running=$!
  xdotool search --sync --onlyvisible --name '^Relaybird v' >/dev/null
}
# Ends the program by its menu; its status must be 0.
leave() {
  to_window '^Relaybird v' alt+f
  xdotool key e
  wait "$running" || fail "the program ended with status $?: $(cat "$scratch/output")"
}

printf '[default]\nmstrFwdToAddress_num=1\nmstrFwdToAddress_1=5550100@sms.example.net\nmbolFwdUponStart=1\n' \
  >"$scratch/config/rbx/rbx_prefs.ini"

echo "a start with confirmation and a first check forwards"
mail first 1795000001
start
to_window '^Relaybird v' alt+f
xdotool key s
to_window '^Please Confirm:' alt+y
gone '^Please Confirm:'
while [ "$(outbox)" != 1 ]; do :; done

echo "a second start brings the first one's window to the front, and ends"
timeout 30 "$program" >"$scratch/second" 2>&1 || fail "the second start ended with status $?"
kill -0 "$running" || fail "the first one is gone"

echo "leaving while forwarding is on ends cleanly"
leave

echo "settings are changed and stored"
start
to_window '^Relaybird v' alt+e
xdotool key t
to_window '^Settings' Tab Tab ctrl+a
xdotool type 7
to_window '^Settings' Return
gone '^Settings'
grep -q '^mdblFwdToFrequency=7' "$scratch/config/rbx/rbx_prefs.ini" || fail "the minutes were not stored"

echo "a value that is refused is told, and the dialog closes"
to_window '^Relaybird v' alt+e
xdotool key t
to_window '^Settings' Tab Tab ctrl+a
xdotool type 1
to_window '^Settings' Return
to_window '^Relaybird$' Return
gone '^Settings'
grep -q '^mdblFwdToFrequency=7' "$scratch/config/rbx/rbx_prefs.ini" || fail "a refused value was stored"

echo "the about box opens and closes"
to_window '^Relaybird v' alt+h
xdotool key a
to_window '^About Relaybird' Escape
gone '^About Relaybird'
leave

echo "SIGTERM ends it cleanly"
start
kill -TERM "$running"
wait "$running" || fail "SIGTERM ended it with status $?"
echo "all passed"
