#!/usr/bin/env bash
# installer_test.sh SCRATCH [STAGE]: installs, upgrades and removes Relaybird under Wine, in a prefix of its own in the
# folder SCRATCH, which is made anew. STAGE has the files that are shipped; without it stand-ins for the programs
# are installed. Judged is what is in the prefix afterwards: Wine may return 0 for a program that did nothing.
# Needs no display, but it starts an X server of its own, since the programs have windows.
set -euo pipefail
root=$(realpath "$(dirname "$0")/../../..")
if [ -z "${INSTALLER_TEST_INSIDE:-}" ]; then
  export INSTALLER_TEST_INSIDE=1
  rm -rf "$1"
  mkdir -p "$1"
  # Wine's services keep the output open, and a reader of a pipe would wait for them.
  timeout --verbose 900 xvfb-run --auto-servernum --server-args='-screen 0 1024x768x24' \
    "$(realpath "$0")" "$@" >"$1/test.log" 2>&1 </dev/null || {
    cat "$1/test.log"
    exit 1
  }
  tail -n 1 "$1/test.log"
  exit
fi
scratch=$(realpath "$1")
real=${2:-}
export WINEPREFIX=$scratch/wine WINEDEBUG=-all LC_ALL=C.UTF-8 TZ=UTC
# No Linux menu entries for the links in the Start menu.
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
trap 'wineserver --kill 2>/dev/null || true' EXIT
steps=0

say() {
  steps=$((steps + 1))
  echo "== $*"
}
fail() {
  echo "installer_test: $*" >&2
  exit 1
}
# Until all programs of the prefix have ended; an uninstaller goes on when its caller has returned.
settle() {
  timeout 60 wineserver --wait || fail "a program does not end: $(pgrep -af '\.exe' || true)"
}
# there and gone FILE...: in the prefix.
there() {
  for file in "$@"; do
    [ -e "$file" ] || fail "there is no $file"
  done
}
gone() {
  for file in "$@"; do
    [ ! -e "$file" ] || fail "$file is still there"
  done
}
# value KEY NAME: a registry value of the user, empty if there is none. Wine writes its registry when all have ended.
value() {
  local key=${1//\\/\\\\\\\\}
  tr -d '\r' <"$WINEPREFIX/user.reg" |
    sed -n "/^\[$key\]/,/^\$/s/^\"$2\"=//p" | sed -e 's/^"\(.*\)"$/\1/' -e 's/\\\(["\\]\)/\1/g'
}
# What a prefix holds: files, the user's registry, and what programs keep in the machine's. Without times, and
# without the copy of itself that an uninstaller leaves in the folder for temporary files, which Windows deletes at
# its next start.
picture() {
  settle
  (cd "$WINEPREFIX/drive_c" && find . ! -path '*/Temp/*' | sort)
  sed -e '/^#time=/d' -e 's/^\(\[.*\]\) [0-9]*$/\1/' "$WINEPREFIX/user.reg"
  sed -n -e '/^#time=/d' -e 's/^\(\[.*\]\) [0-9]*$/\1/' -e '/^\[Software/,/^$/p' "$WINEPREFIX/system.reg"
}
run() {
  timeout 120 wine "$@" >"$scratch/run.log" 2>&1 </dev/null
}
# status N PROGRAM...: the program runs and returns N.
status() {
  local expected=$1 result=0
  shift
  run "$@" || result=$?
  [ "$result" -eq "$expected" ] || fail "$* returned $result, not $expected: $(cat "$scratch/run.log")"
}
# until_true COMMAND...: it succeeds within half a minute.
until_true() {
  for _ in $(seq 300); do
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  fail "this does not come true: $*; windows: $(xdotool search --onlyvisible --name '.' getwindowname %@ || true)"
}
# press TITLE KEY...: in the window, once it is there and takes them.
press() {
  local title=$1
  shift
  until_true xdotool search --onlyvisible --name "$title"
  xdotool search --onlyvisible --name "$title" windowactivate --sync
  xdotool key --delay 300 "$@"
}
# stage FOLDER VERSION: the files of a release; without a real one, of stand-ins.
stage() {
  mkdir -p "$1"
  if [ -n "$real" ]; then
    cp -r "$real/." "$1"
    return
  fi
  mkdir -p "$1/licences"
  local compile=(x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -O1 -static -s
    "-DRELAYBIRD_STAND_IN_VERSION=\"$2\"" "$root/tests/system/windows/stand_in.cpp")
  "${compile[@]}" -mwindows -o "$1/relaybird.exe"
  "${compile[@]}" -mconsole -o "$1/relaybird-console.exe"
  echo "manual of $2" >"$1/rbx.chm"
  cp "$root/LICENSE" "$1/licences/relaybird.txt"
}

say "two versions are made, and the same files make the same installer"
version=$(sed -n 's/^project(relaybird VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
stage "$scratch/old-stage" 0.0.9
stage "$scratch/new-stage" "$version"
mkdir -p "$scratch/old-stage/dropped/inner" "$scratch/new-stage/added"
echo "only the old one has this" | tee "$scratch/old-stage/dropped.txt" >"$scratch/old-stage/dropped/inner/a.txt"
echo "only the new one has this" >"$scratch/new-stage/added/b.txt"
make=$root/packaging/windows/make_setup.sh
"$make" "$scratch/old-stage" 0.0.9 "$scratch/old"
"$make" "$scratch/new-stage" "$version" "$scratch/new"
find "$scratch/new-stage" -exec touch {} +
"$make" "$scratch/new-stage" "$version" "$scratch/again"
for file in relaybird-setup.exe relaybird-portable.zip; do
  cmp "$scratch/new/$file" "$scratch/again/$file" || fail "two runs make two different $file"
done

say "the archive holds the same files"
unzip -q "$scratch/new/relaybird-portable.zip" -d "$scratch/unpacked"
diff -r "$scratch/new-stage" "$scratch/unpacked/Relaybird" || fail "the archive differs from what was packed"

say "a prefix with settings"
wineboot --init >"$scratch/wineboot.log" 2>&1 </dev/null
settle
user=$WINEPREFIX/drive_c/users/$(id -un)
folder=$user/AppData/Local/Programs/Relaybird
menu="$user/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Relaybird"
approved_key='Software\Microsoft\Windows\CurrentVersion\Explorer\StartupApproved\Run'
run_key='Software\Microsoft\Windows\CurrentVersion\Run'
uninstall_key='Software\Microsoft\Windows\CurrentVersion\Uninstall\Relaybird'
native="C:\\users\\$(id -un)\\AppData\\Local\\Programs\\Relaybird"
mkdir -p "$user/AppData/Roaming/rbx" "$user/AppData/Local/rbx" "$user/AppData/Local/Programs"
echo '[default]' >"$user/AppData/Roaming/rbx/rbx_prefs.ini"
echo 'windows' >"$user/AppData/Local/rbx/windows.ini"
# Also what starting a program changes in a prefix.
status 0 reg.exe add "HKCU\\$run_key" /v Other /d other.exe /f
status 0 "$scratch/old-stage/relaybird-console.exe" --version
picture >"$scratch/before"

say "the old version is installed"
status 0 "$scratch/old/relaybird-setup.exe" /S
settle
there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,uninstall.exe,dropped.txt,dropped/inner/a.txt}
there "$menu"/{Relaybird,"Relaybird Console","Relaybird Manual"}.lnk
grep -aqF 'relaybird.exe' "$menu/Relaybird.lnk" || fail "the link in the Start menu starts something else"
(cd "$folder" && find . -type f ! -name uninstall.exe ! -name installed-files.txt | sort) >"$scratch/installed"
(cd "$scratch/old-stage" && find . -type f | sort) | diff - "$scratch/installed" || fail "other files are installed"
while read -r file; do
  cmp "$scratch/old-stage/$file" "$folder/$file" || fail "$file is not what was packed"
done <"$scratch/installed"
[ "$(value "$uninstall_key" DisplayName)" = Relaybird ] || fail "the list of programs does not name it"
[ "$(value "$uninstall_key" DisplayVersion)" = 0.0.9 ] || fail "the list of programs names another version"
[ "$(value "$uninstall_key" Publisher)" = 'The Relaybird maintainers' ] || fail "there is no publisher"
[ "$(value "$uninstall_key" UninstallString)" = "\"$native\\uninstall.exe\"" ] ||
  fail "the list of programs removes with $(value "$uninstall_key" UninstallString)"
size=$(value "$uninstall_key" EstimatedSize)
size=$((16#${size#dword:}))
really=$(($(du --summarize --apparent-size --block-size=1 "$scratch/old-stage" | cut -f1) / 1024))
if [ "$size" -eq 0 ] || [ "$size" -gt $((really + 1)) ]; then
  fail "$size KB are announced, $really KB are installed"
fi
[ -z "$(value "$run_key" Relaybird)" ] || fail "it starts with the log-in without having been asked to"

say "the installed console starts"
run "$folder/relaybird-console.exe" --version || true
[[ "$(tr -d '\r' <"$scratch/run.log")" =~ ^Relaybird\ [0-9.]+$ ]] || fail "it says $(cat "$scratch/run.log")"

say "the start with the log-in can be chosen"
status 0 "$scratch/old/relaybird-setup.exe" /S /autostart
settle
[ "$(value "$run_key" Relaybird)" = "\"$native\\relaybird.exe\"" ] ||
  fail "the log-in starts '$(value "$run_key" Relaybird)'"

say "an upgrade replaces files, deletes those of the old version alone, and leaves what the user has"
echo "mine" >"$folder/mine.txt"
status 0 "$scratch/new/relaybird-setup.exe" /S
settle
gone "$folder"/{dropped.txt,dropped}
there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,mine.txt,added/b.txt,licences}
cmp "$scratch/new-stage/rbx.chm" "$folder/rbx.chm" || fail "the upgrade left the old manual"
cmp "$scratch/new-stage/relaybird.exe" "$folder/relaybird.exe" || fail "the upgrade left the old program"
[ "$(value "$uninstall_key" DisplayVersion)" = "$version" ] || fail "the list of programs names the old version"
[ -n "$(value "$run_key" Relaybird)" ] || fail "the upgrade ends the start with the log-in"
there "$user/AppData/Roaming/rbx/rbx_prefs.ini" "$user/AppData/Local/rbx/windows.ini"
rm "$folder/mine.txt"

if [ -z "$real" ]; then
  export RELAYBIRD_STAND_IN="Z:$scratch/state"
  say "a silent upgrade ends the program that runs, and starts it again"
  wine "$folder/relaybird.exe" >/dev/null 2>&1 </dev/null &
  until_true grep -q running "$scratch/state"
  rm "$scratch/state"
  status 0 "$scratch/old/relaybird-setup.exe" /S
  wait
  until_true grep -q running "$scratch/state"
  there "$folder/dropped.txt"
  rm "$scratch/state"
  status 0 "$scratch/new/relaybird-setup.exe" /S
  gone "$folder/dropped.txt"
  until_true grep -q running "$scratch/state"

  say "the uninstaller ends it too"
  status 0 "$folder/uninstall.exe" /S
  until_true grep -q closed "$scratch/state"
  settle
  gone "$folder" "$menu"
  status 0 "$scratch/new/relaybird-setup.exe" /S /autostart
  settle

  say "a program that stays prevents an upgrade, and nothing is changed"
  rm "$scratch/state"
  RELAYBIRD_STAND_IN_STAYS=1 wine "$folder/relaybird.exe" >/dev/null 2>&1 </dev/null &
  until_true grep -q running "$scratch/state"
  status 2 "$scratch/old/relaybird-setup.exe" /S
  gone "$folder/dropped.txt"
  cmp "$scratch/new-stage/rbx.chm" "$folder/rbx.chm" || fail "the manual was replaced beside a running program"
  wineserver --kill
  wait
  settle
  [ "$(value "$uninstall_key" DisplayVersion)" = "$version" ] || fail "the version that was not installed is listed"
fi

say "removed, with the settings kept"
status 0 "$folder/uninstall.exe" /S
picture >"$scratch/after"
diff "$scratch/before" "$scratch/after" || fail "the prefix is not as it was before"

say "removed, with the settings deleted"
status 0 "$scratch/new/relaybird-setup.exe" /S
settle
there "$folder/uninstall.exe"
status 0 "$folder/uninstall.exe" /S /settings
settle
gone "$folder" "$menu" "$user"/AppData/{Roaming,Local}/rbx
[ -z "$(value "$uninstall_key" DisplayName)" ] || fail "the list of programs still names it"

say "the start of another copy with the log-in is left alone"
status 0 "$scratch/new/relaybird-setup.exe" /S
status 0 reg.exe add "HKCU\\$run_key" /v Relaybird /d 'D:\portable\relaybird.exe' /f
settle
status 0 "$folder/uninstall.exe" /S
settle
gone "$folder"
[ "$(value "$run_key" Relaybird)" = 'D:\portable\relaybird.exe' ] || fail "another copy does not start any more"
status 0 reg.exe delete "HKCU\\$run_key" /v Relaybird /f

say "an upgrade leaves the start off that the user has switched off in the Task Manager"
status 0 "$scratch/old/relaybird-setup.exe" /S /autostart
status 0 reg.exe add "HKCU\\$approved_key" /v Relaybird /t REG_BINARY /d 030000000000000000000000 /f
status 0 "$scratch/new/relaybird-setup.exe" /S
settle
[ -n "$(value "$approved_key" Relaybird)" ] || fail "the upgrade has switched the start on again"
status 0 "$scratch/new/relaybird-setup.exe" /S /autostart
settle
[ -z "$(value "$approved_key" Relaybird)" ] || fail "the start cannot be switched on again"
status 0 "$scratch/new/relaybird-setup.exe" /S /noautostart
settle
[ -z "$(value "$run_key" Relaybird)" ] || fail "the start cannot be switched off"
status 0 "$folder/uninstall.exe" /S
settle
gone "$folder"

say "a person chooses in the pages: the start with the log-in, not to start now, and later to delete the settings"
mkdir -p "$user/AppData/Roaming/rbx"
openbox >/dev/null 2>&1 &
manager=$!
wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
press 'Relaybird Setup' Down space Down space Return
until_true test -e "$folder/uninstall.exe"
press 'Relaybird Setup' Return
wait $!
# The program would not let the prefix settle.
settle
there "$folder/uninstall.exe" "$menu/Relaybird.lnk"
[ -n "$(value "$run_key" Relaybird)" ] || fail "the start with the log-in was not switched on"
wine "$folder/uninstall.exe" >/dev/null 2>&1 </dev/null
press 'Relaybird Uninstall' Down space Return
until_true test ! -e "$user/AppData/Roaming/rbx"
press 'Relaybird Uninstall' Return
settle
gone "$folder" "$menu" "$user/AppData/Roaming/rbx"
kill $manager

echo "installer_test: $steps steps passed"
