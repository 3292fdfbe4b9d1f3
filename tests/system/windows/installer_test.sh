#!/usr/bin/env bash
# installer_test.sh SCRATCH [STAGE]: installs, upgrades and removes Relaybird under Wine, in a prefix of its own in the
# folder SCRATCH, which is made anew. STAGE has the files that are shipped. Without it stand-ins for the programs are
# installed, and more is tested: what the real ones do only by chance, and what does not depend on them. The real ones
# are installed for a user whose name has a blank and letters of other languages. Judged is what is in the prefix
# afterwards: Wine may return 0 for a program that did nothing. Starts an X server of its own.
set -euo pipefail
root=$(realpath "$(dirname "$0")/../../..")
if [ -z "${INSTALLER_TEST_INSIDE:-}" ]; then
  export INSTALLER_TEST_INSIDE=1
  rm -rf "$1"
  mkdir -p "$1"
  if [ -n "${2:-}" ]; then
    # Wine names the user, and the user's folders, as the system does.
    sed "s/^[^:]*\(:[^:]*:$(id -u):\)/Zoë Łuk\1/" /etc/passwd >"$1/passwd"
    export LD_PRELOAD=libnss_wrapper.so NSS_WRAPPER_GROUP=/etc/group
    NSS_WRAPPER_PASSWD=$(realpath "$1/passwd")
    export NSS_WRAPPER_PASSWD
    [ "$(id -un)" = 'Zoë Łuk' ] || {
      echo "installer_test: the user has another name: $(id -un)" >&2
      exit 1
    }
  fi
  # Wine's services keep the output open, and a reader of a pipe would wait for them.
  timeout --verbose 1200 "$(dirname "$(realpath "$0")")/../../support/own_display.sh" 1024x768 \
    "$(realpath "$0")" "$@" >"$1/test.log" 2>&1 </dev/null || {
    cat "$1/test.log"
    exit 1
  }
  # The program's own last words, with the number of its steps: Wine may return 0 for one that was ended early.
  grep '^installer_test: [1-9][0-9]* steps passed\( with the real programs\)\?$' "$1/test.log" || {
    cat "$1/test.log"
    echo "installer_test: FAILED: it did not come to its end"
    exit 1
  }
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
  echo "== $* ($SECONDS s)"
}
fail() {
  import -window root "$scratch/failed.png" || true
  echo "installer_test: $*" >&2
  exit 1
}
# until_true COMMAND...: it succeeds within a minute.
until_true() {
  for _ in $(seq 600); do
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  fail "this does not come true: $*; windows: $(xdotool search --onlyvisible --name '.' getwindowname %@ || true)"
}
# Wine starts its services with the first program and ends them with the last one, which takes seconds. So one
# program runs all the time. It is a Relaybird elsewhere too, which no installer may end.
keep_alive() {
  rm -f "$scratch/elsewhere"
  # The first window has to wait for Wine's desktop, and on a busy machine it may give up, and with it the program.
  for _ in 1 2 3; do
    RELAYBIRD_STAND_IN="Z:$scratch/elsewhere" wine "$scratch/stand-in.exe" >/dev/null 2>&1 </dev/null &
    keeper=$!
    until_true keeper_decided
    ! grep -q running "$scratch/elsewhere" || return 0
  done
  fail "nothing runs under Wine"
}
keeper_decided() {
  grep -q running "$scratch/elsewhere" || ! kill -0 "$keeper"
}
# Until all programs of the prefix have ended, and all is written.
settle() {
  grep -q running "$scratch/elsewhere" || fail "the program elsewhere was ended"
  kill $keeper
  wait $keeper || true
  timeout 60 wineserver --wait || fail "a program does not end"
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
# value KEY NAME: a registry value of the user, empty if there is none. By a file, since the screen has not all letters.
value() {
  rm -f "$scratch/value.reg"
  timeout 60 wine reg.exe export "HKCU\\$1" "Z:$scratch/value.reg" /y >/dev/null 2>&1 </dev/null || return 0
  iconv -f UTF-16 -t UTF-8 "$scratch/value.reg" | tr -d '\r' |
    sed -n "s/^\"$2\"=//p" | sed -e 's/^dword:/0x/' -e 's/^"\(.*\)"$/\1/' -e 's/\\\(["\\]\)/\1/g'
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
# The copy of the uninstaller has ended, in which it goes on when its caller has returned.
no_uninstaller() {
  local process
  for process in /proc/[0-9]*; do
    ! { grep -qF '~nsu' "$process/cmdline" && grep -qzxF "WINEPREFIX=$WINEPREFIX" "$process/environ"; } 2>/dev/null ||
      return 1
  done
}
# uninstall FOLDER [SWITCH]
uninstall() {
  status 0 "$1/uninstall.exe" /S "${@:2}"
  until_true no_uninstaller
}
is_active() {
  xdotool getactivewindow getwindowname | grep -q "$1"
}
# What the window shows that takes the keys. Without the name of a window the picture's program would wait for a click.
shown() {
  local window
  window=$(xdotool getactivewindow 2>/dev/null) || window=
  [ -z "$window" ] || timeout 10 import -window "$window" rgb:- 2>/dev/null | sha256sum || true
}
# It shows something else than $before.
changed() {
  [ "$(shown)" != "$before" ]
}
# It has shown the same for half a second.
still() {
  before=$(shown)
  sleep 0.5
  ! changed
}
# press TITLE KEY...: in the window, once it is there and drawn; each key after the one before has had its effect.
press() {
  local key
  until_true is_active "$1"
  until_true still
  for key in "${@:2}"; do
    before=$(shown)
    xdotool key "$key"
    until_true changed
  done
}
# two_windows TITLE: the window of that title has opened a box, which has the same one.
two_windows() {
  [ "$(xdotool search --onlyvisible --name "^$1" | wc -l)" -eq 2 ]
}
is_alone() {
  [ "$(xdotool search --onlyvisible --name "^$1" | wc -l)" -eq 1 ]
}
# answer TITLE KEY: in the box.
answer() {
  until_true two_windows "$1"
  press "$1" "$2"
}
# Keys go to the window that is active, which only a window manager makes one.
manage_windows() {
  openbox >/dev/null 2>&1 &
  manager=$!
  until_true sh -c 'xprop -root _NET_SUPPORTED | grep -q _NET_ACTIVE_WINDOW'
}
# The real program has started. No mail application is installed here, which it says first, in a box.
main_window_opens() {
  press '^Relaybird$' Return
  until_true xdotool search --onlyvisible --name '^Relaybird v'
}
# The window goes away by its button Close, which takes the key when everything is done.
leave() {
  if is_active "$1"; then
    xdotool key Return
    return 1
  fi
}
stand_in() {
  x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -O1 -static -s "-DRELAYBIRD_STAND_IN_VERSION=\"$1\"" \
    "$root/tests/system/windows/stand_in.cpp" "${@:2}"
}
# stage FOLDER VERSION: the files of a release; without a real one, of stand-ins.
stage() {
  mkdir -p "$1"
  if [ -n "$real" ]; then
    cp -r "$real/." "$1"
    return
  fi
  mkdir -p "$1/licences"
  stand_in "$2" -mwindows -o "$1/relaybird.exe"
  stand_in "$2" -mconsole -o "$1/relaybird-console.exe"
  echo "manual of $2" >"$1/rbx.chm"
  cp "$root/LICENSE" "$1/licences/relaybird.txt"
}

say "two versions are made, and the same files make the same installer"
version=$(sed -n 's/^project(relaybird VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
stand_in 0 -mwindows -o "$scratch/stand-in.exe"
stage "$scratch/old-stage" 0.0.9
stage "$scratch/new-stage" "$version"
mkdir -p "$scratch/old-stage/dropped/inner" "$scratch/new-stage/added"
echo "only the old one has this" | tee "$scratch/old-stage/dropped.txt" >"$scratch/old-stage/dropped/inner/a.txt"
echo "only the new one has this" >"$scratch/new-stage/added/b.txt"
make=$root/packaging/windows/make_setup.sh
# Five seconds instead of twenty, and fifteen instead of ten minutes.
[ -n "$real" ] || export SETUP_DEFINES='-DPATIENCE=25 -DLONG_PATIENCE=75'
"$make" "$scratch/old-stage" 0.0.9 "$scratch/old"
"$make" "$scratch/new-stage" "$version" "$scratch/new"
if [ -z "$real" ]; then
  find "$scratch/new-stage" -exec touch {} +
  "$make" "$scratch/new-stage" "$version" "$scratch/again"
  for file in relaybird-setup.exe relaybird-portable.zip; do
    cmp "$scratch/new/$file" "$scratch/again/$file" || fail "two runs make two different $file"
  done
fi

say "the archive holds the same files"
unzip -q "$scratch/new/relaybird-portable.zip" -d "$scratch/unpacked"
diff -r "$scratch/new-stage" "$scratch/unpacked/Relaybird" || fail "the archive differs from what was packed"

say "a prefix with settings"
wineboot --init >"$scratch/wineboot.log" 2>&1 </dev/null
timeout 60 wineserver --wait
keep_alive
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
if [ -n "$real" ]; then
  manage_windows
  wine "$scratch/old-stage/relaybird.exe" >/dev/null 2>&1 </dev/null &
  program=$!
  main_window_opens
  status 0 taskkill.exe /im relaybird.exe
  wait $program || fail "the program ended with $?"
fi
picture >"$scratch/before"
keep_alive

say "the old version is installed"
status 0 "$scratch/old/relaybird-setup.exe" /S
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
size=$((size))
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
[ "$(value "$run_key" Relaybird)" = "\"$native\\relaybird.exe\"" ] ||
  fail "the log-in starts '$(value "$run_key" Relaybird)'"

say "an upgrade replaces files, deletes those of the old version alone, and leaves what the user has"
echo "mine" >"$folder/mine.txt"
status 0 "$scratch/new/relaybird-setup.exe" /S
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
  program=$!
  until_true grep -q running "$scratch/state"
  rm "$scratch/state"
  status 0 "$scratch/old/relaybird-setup.exe" /S
  wait $program
  until_true grep -q running "$scratch/state"
  there "$folder/dropped.txt"
  rm "$scratch/state"
  status 0 "$scratch/new/relaybird-setup.exe" /S
  gone "$folder/dropped.txt"
  until_true grep -q running "$scratch/state"

  say "the uninstaller ends it too"
  uninstall "$folder"
  until_true grep -q closed "$scratch/state"
  gone "$folder" "$menu"
  status 0 "$scratch/new/relaybird-setup.exe" /S /autostart

  say "a silent upgrade waits for a program that is in a long call, and starts it again"
  # start [VARIABLE=VALUE...]: the program that is installed.
  start() {
    rm -f "$scratch/state"
    env "$@" wine "$folder/relaybird.exe" >/dev/null 2>&1 </dev/null &
    until_true grep -q running "$scratch/state"
  }
  touch "$scratch/call"
  start RELAYBIRD_STAND_IN_CALL="Z:$scratch/call"
  run "$scratch/old/relaybird-setup.exe" /S &
  installer=$!
  until_true grep -q asked "$scratch/state"
  sleep 7
  gone "$folder/dropped.txt"
  rm "$scratch/call"
  wait $installer || fail "the upgrade returned $?"
  there "$folder/dropped.txt"
  until_true grep -q running "$scratch/state"

  say "an upgrade that fails starts the program again which it has ended"
  rm "$folder/rbx.chm" "$scratch/state"
  mkdir "$folder/rbx.chm"
  status 2 "$scratch/new/relaybird-setup.exe" /S
  until_true grep -q running "$scratch/state"
  rmdir "$folder/rbx.chm"
  status 0 "$scratch/old/relaybird-setup.exe" /S
  until_true grep -q running "$scratch/state"
  status 0 taskkill.exe /f /im relaybird.exe

  say "a manual that is shown prevents an upgrade and a removal, and nothing is changed"
  # hold_manual: until let_go.
  hold_manual() {
    rm -f "$scratch/viewer"
    RELAYBIRD_STAND_IN="Z:$scratch/viewer" wine "$scratch/stand-in.exe" --hold "$native\\rbx.chm" >/dev/null 2>&1 </dev/null &
    viewer=$!
    until_true grep -q running "$scratch/viewer"
  }
  let_go() {
    kill "$viewer"
    wait "$viewer" || true
  }
  # The old version is still what it was.
  is_old() {
    there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,uninstall.exe,dropped.txt} "$menu/Relaybird.lnk"
    gone "$folder/added"
    [ "$(value "$uninstall_key" DisplayVersion)" = 0.0.9 ] || fail "another version is listed"
  }
  hold_manual
  status 2 "$scratch/new/relaybird-setup.exe" /S
  is_old
  uninstall "$folder"
  is_old

  say "nor does the program that runs then stay away"
  start
  status 2 "$scratch/new/relaybird-setup.exe" /S
  until_true grep -q running "$scratch/state"
  uninstall "$folder"
  until_true grep -q running "$scratch/state"
  is_old
  let_go
  status 0 "$scratch/new/relaybird-setup.exe" /S /autostart
  until_true grep -q running "$scratch/state"
  status 0 taskkill.exe /f /im relaybird.exe

  say "a console that runs prevents an upgrade and a removal; neither it nor the program is asked to end"
  start
  RELAYBIRD_STAND_IN="Z:$scratch/console" wine "$folder/relaybird-console.exe" >/dev/null 2>&1 </dev/null &
  until_true grep -q running "$scratch/console"
  status 2 "$scratch/old/relaybird-setup.exe" /S
  gone "$folder/dropped.txt"
  uninstall "$folder"
  there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,uninstall.exe} "$menu/Relaybird.lnk"
  grep -q running "$scratch/console" || fail "the console was ended"
  grep -q running "$scratch/state" || fail "the program was ended"
  status 0 taskkill.exe /f /im relaybird.exe /im relaybird-console.exe

  say "a program that stays prevents them too, and nothing is changed"
  start RELAYBIRD_STAND_IN_STAYS=1
  status 2 "$scratch/old/relaybird-setup.exe" /S
  gone "$folder/dropped.txt"
  cmp "$scratch/new-stage/rbx.chm" "$folder/rbx.chm" || fail "the manual was replaced beside a running program"
  uninstall "$folder"
  there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,uninstall.exe} "$menu/Relaybird.lnk"
  status 0 taskkill.exe /f /im relaybird.exe
  [ "$(value "$uninstall_key" DisplayVersion)" = "$version" ] || fail "the version that was not installed is listed"
fi

say "removed, with the settings kept"
uninstall "$folder"
picture >"$scratch/after"
diff "$scratch/before" "$scratch/after" || fail "the prefix is not as it was before"
keep_alive

say "removed, with the settings deleted"
status 0 "$scratch/new/relaybird-setup.exe" /S
there "$folder/uninstall.exe"
uninstall "$folder" /settings
gone "$folder" "$menu" "$user"/AppData/{Roaming,Local}/rbx
[ -z "$(value "$uninstall_key" DisplayName)" ] || fail "the list of programs still names it"

if [ -n "$real" ]; then
  say "a silent upgrade ends the program that runs, and starts it again"
  status 0 "$scratch/old/relaybird-setup.exe" /S
  wine "$folder/relaybird.exe" >/dev/null 2>&1 </dev/null &
  program=$!
  main_window_opens
  status 0 "$scratch/new/relaybird-setup.exe" /S
  wait $program || fail "the program ended with $?"
  there "$folder/added/b.txt"
  main_window_opens
  uninstall "$folder" /settings
  gone "$folder" "$menu" "$user"/AppData/{Roaming,Local}/rbx
  # Nothing else is left either: files, the keys Run and Uninstall and all others, the Start menu.
  picture >"$scratch/after-real"
  grep -v '^\./users/[^/]*/AppData/\(Roaming\|Local\)/rbx\(/\|$\)' "$scratch/before" >"$scratch/before-real"
  diff "$scratch/before-real" "$scratch/after-real" || fail "the prefix is not as it was before"
  kill "$manager"
  echo "installer_test: $steps steps passed with the real programs"
  exit
fi

say "an installation that fails can be removed"
mkdir -p "$folder/rbx.chm"
status 2 "$scratch/old/relaybird-setup.exe" /S
there "$folder/uninstall.exe"
[ "$(value "$uninstall_key" DisplayName)" = Relaybird ] || fail "what is there cannot be removed in the list of programs"
rmdir "$folder/rbx.chm"
uninstall "$folder"
gone "$folder" "$menu"

say "an upgrade that fails leaves the programs, and can be removed"
status 0 "$scratch/old/relaybird-setup.exe" /S
rm "$folder/rbx.chm"
mkdir "$folder/rbx.chm"
status 2 "$scratch/new/relaybird-setup.exe" /S
there "$folder"/{relaybird.exe,relaybird-console.exe,dropped.txt,added/b.txt} "$menu/Relaybird.lnk"
[ "$(value "$uninstall_key" DisplayVersion)" = 0.0.9 ] || fail "a version is listed that was not installed"
rmdir "$folder/rbx.chm"
uninstall "$folder"
gone "$folder" "$menu"

say "a folder with blanks and letters of other languages"
# Installers take the rest of the line for the folder. Wine puts quotes around a word with blanks, so that the words
# are handed over one by one.
odd="$WINEPREFIX/drive_c/Programs of Zoë Ł"
status 0 "$scratch/old/relaybird-setup.exe" /S '/D=C:\Programs' of Zoë Ł
there "$odd/relaybird.exe"
gone "$folder"
[ "$(value "$uninstall_key" DisplayVersion)" = 0.0.9 ] || fail "it is not in the list of programs"
rm "$scratch/state"
wine "$odd/relaybird.exe" >/dev/null 2>&1 </dev/null &
until_true grep -q running "$scratch/state"
# An upgrade finds the folder by itself.
status 0 "$scratch/new/relaybird-setup.exe" /S
gone "$folder" "$odd/dropped.txt"
there "$odd/added/b.txt"
uninstall "$odd"
gone "$odd" "$menu"

say "the start of another copy with the log-in is left alone"
status 0 "$scratch/new/relaybird-setup.exe" /S
status 0 reg.exe add "HKCU\\$run_key" /v Relaybird /d 'D:\portable\relaybird.exe' /f
uninstall "$folder"
gone "$folder"
[ "$(value "$run_key" Relaybird)" = 'D:\portable\relaybird.exe' ] || fail "another copy does not start any more"
status 0 reg.exe delete "HKCU\\$run_key" /v Relaybird /f

say "an upgrade leaves the start off that the user has switched off in the Task Manager"
status 0 "$scratch/old/relaybird-setup.exe" /S /autostart
status 0 reg.exe add "HKCU\\$approved_key" /v Relaybird /t REG_BINARY /d 030000000000000000000000 /f
status 0 "$scratch/new/relaybird-setup.exe" /S
[ -n "$(value "$approved_key" Relaybird)" ] || fail "the upgrade has switched the start on again"
status 0 "$scratch/new/relaybird-setup.exe" /S /autostart
[ -z "$(value "$approved_key" Relaybird)" ] || fail "the start cannot be switched on again"
status 0 "$scratch/new/relaybird-setup.exe" /S /noautostart
[ -z "$(value "$run_key" Relaybird)" ] || fail "the start cannot be switched off"
uninstall "$folder"
gone "$folder"

say "a person chooses in the pages: the start with the log-in, not to start now, and later to delete the settings"
mkdir -p "$user/AppData/Roaming/rbx"
manage_windows
wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
press 'Relaybird Setup' Down space Down space Return
until_true test -e "$menu/Relaybird.lnk"
until_true leave 'Relaybird Setup'
there "$folder/uninstall.exe" "$menu/Relaybird.lnk"
[ -n "$(value "$run_key" Relaybird)" ] || fail "the start with the log-in was not switched on"

say "an upgrade says what the user has to end: the manual, and a console"
# Consoles without a window are known to the headers of Windows 10 alone.
x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -O1 -static -municode -D_WIN32_WINNT=0x0A00 \
  -DNTDDI_VERSION=0x0A000006 -o "$scratch/probe.exe" "$root/tests/system/windows/desktop_probe.cpp"
# asks_for WORDS: the box has them; the upgrade is cancelled by it.
asks_for() {
  local result=0
  wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
  installer=$!
  press 'Relaybird Setup' Return
  until_true two_windows 'Relaybird Setup'
  run "$scratch/probe.exe" texts 'Relaybird Setup' || fail "the box cannot be read"
  # It breaks its lines where they fit.
  tr '\r\n' ' ' <"$scratch/run.log" | tr -s ' ' | grep -qF "$1" || fail "the box says $(cat "$scratch/run.log")"
  press 'Relaybird Setup' Escape
  wait $installer || result=$?
  [ "$result" -eq 1 ] || fail "the installer that was told to stop returned $result"
}
status 0 "$scratch/old/relaybird-setup.exe" /S
hold_manual
asks_for 'The manual of Relaybird is open (rbx.chm). Close it, then press OK.'
let_go
rm "$scratch/console"
RELAYBIRD_STAND_IN="Z:$scratch/console" wine "$folder/relaybird-console.exe" >/dev/null 2>&1 </dev/null &
until_true grep -q running "$scratch/console"
asks_for 'It has to end first. Type quit there, then press OK.'
grep -q running "$scratch/console" || fail "the console was ended"
is_old
status 0 taskkill.exe /f /im relaybird-console.exe

say "an upgrade that is cancelled at its first page returns 1"
# cancelled: the installer has returned that, and changed nothing.
cancelled() {
  local result=0
  wait $installer || result=$?
  [ "$result" -eq 1 ] || fail "the installer that was cancelled returned $result"
  is_old
}
wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
installer=$!
press 'Relaybird Setup' Escape
cancelled

say "one that is cancelled because the program does not end returns 1 too, once it has started it again"
start RELAYBIRD_STAND_IN_STAYS=1
wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
installer=$!
press 'Relaybird Setup' Return
answer 'Relaybird Setup' Return
until_true is_alone 'Relaybird Setup'
answer 'Relaybird Setup' Escape
grep -q running "$scratch/state" || fail "the program was ended by force"
kill -0 $installer || fail "the installer does not wait for the program that it has told to end"
rm "$scratch/state"
status 0 taskkill.exe /f /im relaybird.exe
until_true grep -q running "$scratch/state"
cancelled
status 0 taskkill.exe /f /im relaybird.exe

say "an upgrade asks before it ends the program, and changes nothing if the answer is no"
status 0 "$scratch/old/relaybird-setup.exe" /S
rm -f "$scratch/state"
wine "$folder/relaybird.exe" >/dev/null 2>&1 </dev/null &
program=$!
until_true grep -q running "$scratch/state"
wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
installer=$!
press 'Relaybird Setup' Return
answer 'Relaybird Setup' Escape
result=0
wait $installer || result=$?
[ "$result" -eq 1 ] || fail "the installer that was told to stop returned $result"
grep -q running "$scratch/state" || fail "the program was ended against the answer"
there "$folder/dropped.txt"
gone "$folder/added"
cmp "$scratch/old-stage/rbx.chm" "$folder/rbx.chm" || fail "the manual was replaced"
[ "$(value "$uninstall_key" DisplayVersion)" = 0.0.9 ] || fail "a version is listed that was not installed"

say "with a yes it ends the program, goes on and starts it again; the choice of the log-in is shown, and taken back"
RELAYBIRD_STAND_IN_STAYS=1 wine "$scratch/new/relaybird-setup.exe" >/dev/null 2>&1 </dev/null &
installer=$!
press 'Relaybird Setup' Down space Return
answer 'Relaybird Setup' Return
wait $program
until_true test -e "$folder/added/b.txt"
until_true leave 'Relaybird Setup'
wait $installer || fail "the installer returned $?"
until_true grep -q running "$scratch/state"
gone "$folder/dropped.txt"
[ "$(value "$uninstall_key" DisplayVersion)" = "$version" ] || fail "the new version is not listed"
[ -z "$(value "$run_key" Relaybird)" ] || fail "the start with the log-in was not switched off"

say "the uninstaller asks too; it waits for a program that does not end, and deletes the settings if told to"
wine "$folder/uninstall.exe" >/dev/null 2>&1 </dev/null
press 'Relaybird Uninstall' Return
answer 'Relaybird Uninstall' Escape
until_true no_uninstaller
grep -q running "$scratch/state" || fail "the program was ended against the answer"
there "$folder"/{relaybird.exe,relaybird-console.exe,rbx.chm,uninstall.exe} "$menu/Relaybird.lnk"
wine "$folder/uninstall.exe" >/dev/null 2>&1 </dev/null
press 'Relaybird Uninstall' Down space Return
answer 'Relaybird Uninstall' Return
until_true is_alone 'Relaybird Uninstall'
until_true two_windows 'Relaybird Uninstall'
there "$folder"/{relaybird.exe,rbx.chm} "$user/AppData/Roaming/rbx"
status 0 taskkill.exe /f /im relaybird.exe
answer 'Relaybird Uninstall' Return
until_true test ! -e "$user/AppData/Roaming/rbx"
until_true leave 'Relaybird Uninstall'
until_true no_uninstaller
gone "$folder" "$menu" "$user/AppData/Roaming/rbx"
kill $manager
# Nothing but the one program runs still.
settle

echo "installer_test: $steps steps passed"
