#!/usr/bin/env bash
# installation_test.sh PREFIX: works with an installation that is not where it was built for: the console,
# the window, and what tells the desktop and the service manager of them.
set -euo pipefail
prefix=$(realpath "$1")
application=org.relaybird.Relaybird
if [ -z "${INSTALLATION_TEST_INSIDE:-}" ]; then
  export INSTALLATION_TEST_INSIDE=1
  exec timeout --verbose 120 xvfb-run --auto-servernum --server-args='-screen 0 1280x900x24' \
    dbus-run-session -- "$0" "$@"
fi

fail() {
  echo "installation_test: $*" >&2
  exit 1
}
entry() {
  sed -n "s/^$1=//p" "$prefix/share/applications/$application.desktop"
}
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-installation.XXXXXX")
export HOME=$scratch XDG_CONFIG_HOME=$scratch/config XDG_STATE_HOME=$scratch/state
export XDG_RUNTIME_DIR=$scratch/run LC_ALL=C.UTF-8
unset XDG_DATA_HOME XDG_CACHE_HOME
mkdir -p "$scratch"/Maildir/{cur,new,tmp} "$scratch"/{config,run}
chmod 700 "$scratch/run"
trap 'kill $(jobs -p) 2>/dev/null; wait 2>/dev/null; rm -rf "$scratch"' EXIT
export PATH=$prefix/bin:$PATH

echo "what is installed knows of each other"
unit=$prefix/lib/systemd/user/relaybird-console.service
[ -x "$prefix/bin/$(entry Exec)" ] || fail "the desktop entry starts a program that is not there"
for size in 16 22 24 32 48 64 128 256 512; do
  icon=$prefix/share/icons/hicolor/${size}x$size/apps/$(entry Icon).png
  [[ $(file --brief "$icon") == "PNG image data, $size x $size,"* ]] || fail "$icon: $(file "$icon")"
done
grep -q "<launchable type=\"desktop-id\">$application.desktop</launchable>" \
  "$prefix/share/metainfo/$application.metainfo.xml" || fail "the metainfo launches something else"
[ "$(sed -n 's/^ExecStart=//p' "$unit" | xargs basename)" = relaybird-console ] || fail "$(cat "$unit")"
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
relaybird >"$scratch/output" 2>&1 &
running=$!
window=$(xdotool search --sync --onlyvisible --name '^Relaybird v' | tail -n 1)
xprop -id "$window" WM_CLASS | grep -qF "\"$(entry StartupWMClass)\"" ||
  fail "the desktop entry names a window class other than $(xprop -id "$window" WM_CLASS)"
xdotool windowactivate --sync "$window" key alt+h
xdotool key h
help=$(xdotool search --sync --onlyvisible --name Help getwindowname)
[[ "$help" != *"not found"* ]] || fail "a box says: $help"
kill -TERM "$running"
wait "$running" || fail "the program ended with status $?: $(cat "$scratch/output")"
