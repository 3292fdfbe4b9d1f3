#!/usr/bin/env bash
# own_screen.sh COMMAND...: runs the command on a screen, a session bus and a home of its own, with a
# window manager, as a user who has used every program before.
set -euo pipefail
if [ -z "${OWN_SCREEN_INSIDE:-}" ]; then
  export OWN_SCREEN_INSIDE=1
  exec "$(dirname "$0")/../../tests/support/own_display.sh" 1280x900 \
    dbus-run-session -- "$0" "$@" 2> >(grep -v '^dbus-daemon' >&2)
fi

scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-bench.XXXXXX")
export HOME=$scratch XDG_CONFIG_HOME=$scratch/config XDG_STATE_HOME=$scratch/state
export XDG_RUNTIME_DIR=$scratch/run LC_ALL=C.UTF-8
unset XDG_DATA_HOME XDG_CACHE_HOME GTK_THEME GTK_MODULES
mkdir -p "$scratch"/Maildir/{cur,new,tmp} "$scratch"/config/transmission "$scratch"/run
chmod 700 "$scratch"/run
# Otherwise it asks once whether its user knows the law.
echo '{"user-has-given-informed-consent": true}' >"$scratch"/config/transmission/settings.json
openbox --sm-disable >/dev/null 2>&1 &
trap 'kill $! 2>/dev/null; wait 2>/dev/null; rm -rf "$scratch"' EXIT
"$@"
