#!/usr/bin/env bash
# installation_test.sh PREFIX: works with an installation that is not where it was built for: the console,
# the window, and what tells the desktop and the service manager of them.
set -euo pipefail
prefix=$(realpath "$1")
source=$(dirname "$(realpath "$0")")/../..
# The name as the programs have it.
application=$(sed -n 's/.*kApplicationId = "\(.*\)";/\1/p' "$source/src/platform/system/application_id.h")
if [ -z "${INSTALLATION_TEST_INSIDE:-}" ]; then
  export INSTALLATION_TEST_INSIDE=1
  exec timeout --verbose 120 "$source/tests/support/own_display.sh" 1280x900 \
    dbus-run-session -- "$0" "$@"
fi

fail() {
  echo "installation_test: $*" >&2
  exit 1
}
# Of the entry itself, which stands before its actions.
entry() {
  sed -n "/^\[Desktop Action/q; s/^$1=//p" "$prefix/share/applications/$application.desktop"
}
# The full path of the program that the unit starts, without its quotes and with one percent sign for two.
started() {
  sed -n 's/^ExecStart="\(.*\)"$/\1/p' "$1" | sed 's/%%/%/g'
}
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-installation.XXXXXX")
# There may be nothing left to end, which is no reason to leave the folder.
trap 'kill $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$scratch"' EXIT
export HOME=$scratch XDG_CONFIG_HOME=$scratch/config XDG_STATE_HOME=$scratch/state
export XDG_RUNTIME_DIR=$scratch/run LC_ALL=C.UTF-8
unset XDG_DATA_HOME XDG_CACHE_HOME
mkdir -p "$scratch"/Maildir/{cur,new,tmp} "$scratch"/{config,run}
chmod 700 "$scratch/run"
export PATH=$prefix/bin:$PATH

echo "what is installed knows of each other"
unit=$prefix/lib/systemd/user/relaybird-console.service
[ -f "$prefix/share/applications/$application.desktop" ] || fail "there is no $application.desktop"
[ "$(entry StartupWMClass)" = "$application" ] || fail "the desktop entry is of $(entry StartupWMClass)"
program=$prefix/bin/$(entry Exec)
if [ ! -f "$program" ] || [ ! -x "$program" ]; then
  fail "the desktop entry starts a program that is not there"
fi
service=$prefix/share/dbus-1/services/$application.service
grep -qxF "Name=$application" "$service" || fail "$(cat "$service")"
bus_starts=$(sed -n 's/^Exec="\(.*\)"$/\1/p' "$service")
# As a unit, a package's service names the place that the prefix will have on the system.
[[ "$bus_starts" == /*/relaybird && "$program" == *"$bus_starts" ]] || fail "$(cat "$service")"
[ "$(entry DBusActivatable)" = true ] || fail "the desktop entry does not tell of the service"
for size in 16 22 24 32 48 64 128 256 512; do
  icon=$prefix/share/icons/hicolor/${size}x$size/apps/$(entry Icon).png
  [[ $(file --brief "$icon") == "PNG image data, $size x $size,"* ]] || fail "$icon: $(file "$icon")"
done
grep -qF "<id>$application</id>" "$prefix/share/metainfo/$application.metainfo.xml" ||
  fail "the metainfo is of something else"
grep -qF "<launchable type=\"desktop-id\">$application.desktop</launchable>" \
  "$prefix/share/metainfo/$application.metainfo.xml" || fail "the metainfo launches something else"
# A package's unit names the place that the prefix will have on the system.
[[ "$(started "$unit")" == /*/relaybird-console && "$prefix/bin/relaybird-console" == *"$(started "$unit")" ]] ||
  fail "$(cat "$unit")"
for program in relaybird relaybird-console; do
  [ "$(command -v $program)" = "$prefix/bin/$program" ] || fail "$program is not in $prefix/bin"
  ls "$prefix/share/man/man1/$program.1"* >/dev/null
done

echo "both programs tell the version that the metainfo tells"
version=$(sed -n 's/.*<release version="\([^"]*\)".*/\1/p' \
  "$prefix/share/metainfo/$application.metainfo.xml" | head -n 1)
for program in relaybird relaybird-console; do
  [ "$($program --version)" = "Relaybird $version" ] || fail "$program says $($program --version)"
done

echo "the console knows where the manual is"
printf '%s\n' 'click frmRelaybird.mnuIndex' quit | relaybird-console >"$scratch/console"
grep -qF "the manual is in $prefix/share/relaybird/rbx.chm;" "$scratch/console" ||
  fail "$(cat "$scratch/console")"

echo "the window is the one of the desktop entry, and opens the manual"
openbox >/dev/null 2>&1 &
until xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; do
  sleep 0.1
done
relaybird >"$scratch/output" 2>&1 &
running=$!
window=$(xdotool search --sync --onlyvisible --name '^Relaybird v' | tail -n 1)
xprop -id "$window" WM_CLASS | grep -qF "\"$(entry StartupWMClass)\"" ||
  fail "the desktop entry names a window class other than $(xprop -id "$window" WM_CLASS)"
dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / \
  org.freedesktop.DBus.NameHasOwner "string:$application" | grep -q true ||
  fail "nobody has the name $application on the bus"
xdotool windowactivate --sync "$window" key alt+h
xdotool key h
help=$(xdotool search --sync --onlyvisible --name Help getwindowname)
[[ "$help" != *"not found"* ]] || fail "a box says: $help"
kill -TERM "$running"
wait "$running" || fail "the program ended with status $?: $(cat "$scratch/output")"
