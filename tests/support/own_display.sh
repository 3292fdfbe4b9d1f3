#!/usr/bin/env bash
# own_display.sh WIDTHxHEIGHT COMMAND...: runs a command with an X server of its own, and ends with its status. The
# server itself chooses a display that is free: xvfb-run looks for one first, and two of them that start at the same
# moment find the same.
set -euo pipefail
screen=$1
shift
coproc SERVER {
  exec Xvfb -displayfd 1 -screen 0 "${screen}x24" -nolisten tcp -noreset 2>/dev/null
}
server=$SERVER_PID
trap 'kill "$server" 2>/dev/null; wait "$server" 2>/dev/null || true' EXIT
read -r -t 60 -u "${SERVER[0]}" display || {
  echo "own_display: Xvfb does not start" >&2
  exit 1
}
status=0
DISPLAY=:$display "$@" || status=$?
exit "$status"
