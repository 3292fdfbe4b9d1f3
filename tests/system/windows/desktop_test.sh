#!/usr/bin/env bash
# desktop_test.sh BUILD DOUBLE SCRATCH: drives the windows of relaybird.exe, built in the folder BUILD, under Wine by keys
# and clicks, as a person does, and judges what is on the screen: titles of windows, pixels, and what the program left on
# the disk. The folder DOUBLE has the programs of the double of the mail application. The prefix and the pictures of each
# step are in the folder SCRATCH, which is made anew. Needs no display, but it starts an X server of its own, with a
# window manager: without one a window that has lost the focus to a menu never gets it back. Prints one line when all
# checks have passed.
set -euo pipefail
build=$(realpath "$1")
double=$(realpath "$2")
sources=$(dirname "$(realpath "$0")")
if [ -z "${DESKTOP_TEST_INSIDE:-}" ]; then
  export DESKTOP_TEST_INSIDE=1
  rm -rf "$3"
  mkdir -p "$3"
  # Wine's services keep the output open, and a reader of a pipe would wait for them.
  timeout --verbose 900 "$sources/../../support/own_display.sh" 1280x1024 \
    "$(realpath "$0")" "$@" >"$3/test.log" 2>&1 </dev/null || {
    tail -n 30 "$3/test.log"
    echo "desktop: FAILED; see $3"
    exit 1
  }
  # The window manager's last words may come after it.
  grep '^desktop: [0-9]* checks passed$' "$3/test.log"
  exit
fi
scratch=$(realpath "$3")
export WINEPREFIX=$scratch/wine WINEDEBUG=-all LC_ALL=C.UTF-8 TZ=UTC
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
trap 'wineserver --kill 2>/dev/null || true' EXIT
checks=0

picture() {
  import -window root "$scratch/$1.png"
}
say() {
  checks=$((checks + 1))
  echo "== $*"
}
fail() {
  picture failed
  xdotool search --onlyvisible --name '.' getwindowname %@ || true
  echo "desktop_test: $*" >&2
  exit 1
}
# eventually WORDS COMMAND...: tries the command for half a minute.
eventually() {
  local words=$1 left=300
  shift
  until "$@" >/dev/null 2>&1; do
    left=$((left - 1))
    [ "$left" -gt 0 ] || fail "$words"
    sleep 0.1
  done
}
# visible TITLE: the visible window of that whole title.
visible() {
  xdotool search --onlyvisible --name "^$1\$" | tail -n 1 | grep .
}
hidden() {
  ! visible "$1"
}
# shown TITLE: waits for the window, and gives it the focus.
shown() {
  eventually "the window '$1' does not appear" visible "$1"
  xdotool windowactivate --sync "$(visible "$1")"
  sleep 0.3
}
closed() {
  eventually "the window '$1' does not go" hidden "$1"
}
# pixels TITLE: a sum of what the window shows, without blinking carets.
pixels() {
  import -window "$(visible "$1")" rgb:- | sha256sum
}
# settled TITLE: waits until the window has stopped changing, and prints its sum.
settled() {
  local before='' now left=50
  now=$(pixels "$1")
  until [ "$now" = "$before" ] || [ "$left" -eq 0 ]; do
    left=$((left - 1))
    sleep 0.2
    before=$now
    now=$(pixels "$1")
  done
  echo "$now"
}
keys() {
  xdotool key --delay 60 "$@"
  sleep 0.2
}
# latin FILE: the Latin text of a settings file, which Windows writes as UTF-16.
latin() {
  tr -d '\000\r\376\377' <"$1"
}
# ended PROCESS: programs of the same name may run elsewhere on the machine.
ended() {
  ! kill -0 "$1"
}

wineboot --init >"$scratch/wineboot.log" 2>&1
wineserver --wait
openbox &
cp "$build/src/app/relaybird.exe" "$build/help/rbx.chm" "$scratch/"
cd "$scratch"
# compiled OUTPUT SOURCE OPTION...
compiled() {
  x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -O1 -static -o "$1" "$sources/$2" "${@:3}"
}
# Consoles without a window are known to the headers of Windows 10 alone.
compiled desktop_probe.exe desktop_probe.cpp -municode -D_WIN32_WINNT=0x0A00 -DNTDDI_VERSION=0x0A000006
compiled dwmapi.dll dwmapi_double.cpp -shared
probe() {
  timeout 60 wine desktop_probe.exe "$@" 2>"$scratch/probe-errors.txt"
}

main='Relaybird v[0-9.]+'
start() {
  wine relaybird.exe >"$scratch/relaybird.log" 2>&1 &
  first=$!
  # No mail application is installed here, which the program says first.
  shown 'Relaybird'
  keys Return
  closed 'Relaybird'
  shown "$main"
}
end() {
  keys alt+f e
  eventually "the program does not end" ended "$first"
}

say "nothing but Windows' own libraries is needed"
for program in relaybird relaybird-console; do
  imports=$(x86_64-w64-mingw32-objdump -p "$build/src/app/$program.exe" | sed -n 's/.*DLL Name: //p' | tr '[:upper:]' '[:lower:]')
  [ -n "$imports" ] || fail "$program.exe imports nothing"
  for library in $imports; do
    [ -e "$WINEPREFIX/drive_c/windows/system32/$library" ] || fail "$program.exe needs $library"
  done
done

say "the main window appears"
start
picture main
import -window "$(visible "$main")" "$scratch/main-window.png"
[ "$(identify -format '%k' "$scratch/main.png")" -gt 50 ] || fail "the main window is empty"

say "the settings have five tabs, which turn by the keyboard"
keys alt+g
shown Settings
declare -a seen=()
for tab in 1 2 3 4 5; do
  now=$(settled Settings)
  picture "settings-$tab"
  for before in "${seen[@]}"; do
    [ "$before" != "$now" ] || fail "tab $tab looks like one before it"
  done
  seen+=("$now")
  keys ctrl+Next
done

say "the main window takes no input behind the settings"
before=$(xdotool search --onlyvisible --class relaybird | wc -l)
# Its menu, the first word of which is in sight.
xdotool mousemove --window "$(visible "$main")" 13 10 click 1
sleep 1
[ "$(xdotool search --onlyvisible --class relaybird | wc -l)" -eq "$before" ] || fail "a menu opened behind the settings"

say "a setting is kept in the file"
shown Settings
keys Tab Tab ctrl+a 4 2
keys Return
closed Settings
prefs=$(find "$WINEPREFIX/drive_c/users" -name rbx_prefs.ini)
latin "$prefs" | grep -q '^mdblFwdToFrequency=42' || fail "42 minutes are not in '$prefs'"

say "the start with the desktop names the program that is there"
run_value() {
  timeout 20 wine reg query 'HKCU\Software\Microsoft\Windows\CurrentVersion\Run' /v Relaybird >"$scratch/run.txt" 2>&1
  grep -qF 'relaybird.exe"' "$scratch/run.txt"
}
no_run_value() {
  ! run_value
}
shown "$main"
keys alt+f d
eventually "the Run key does not name relaybird.exe" run_value
# The second choice takes it back, which shows that the first one is ticked.
keys alt+f d
eventually "the Run key still names relaybird.exe" no_run_value

say "the log has its chord, scrolls sideways and goes to the clipboard"
shown "$main"
keys alt+d v
shown 'Activity Log'
plain=$(settled 'Activity Log')
keys ctrl+shift+alt+v
chord=$(settled 'Activity Log')
[ "$plain" != "$chord" ] || fail "the chord shows nothing"
keys Right Right Right
[ "$(settled 'Activity Log')" != "$chord" ] || fail "the list does not scroll sideways"
picture log
keys alt+c
eventually "the log is not on the clipboard" sh -c "timeout 5 xclip -o -selection clipboard | grep -q 'Redemption'"
keys Escape
closed 'Activity Log'

say "the program hides behind an icon"
tray='Wine System Tray'
# hide: behind an icon, which the program asks about first.
hide() {
  shown "$main"
  keys alt+y
  shown 'Minimize to System Tray'
  keys alt+y
  closed "$main"
  eventually "there is no icon" visible "$tray"
}
shown "$main"
title=$(xdotool getwindowname "$(visible "$main")")
hide
stopped_icon=$(settled "$tray")
[ "$(import -window "$(visible "$tray")" png:- | identify -format '%k' -)" -gt 8 ] || fail "the icon is empty"
picture tray
on_icon() {
  xdotool mousemove --window "$(visible "$tray")" 8 10 click "$1"
}
# The only visible window of a hidden program is its menu.
menu() {
  xdotool search --onlyvisible --class relaybird | tail -n 1 | grep .
}
on_icon 1
sleep 1
hidden "$main" || fail "a left click brought the window back"
! menu || fail "a left click opened the menu"

say "the icon comes back when the task bar was made anew"
probe lose-icon "$title" || fail "the icon cannot be taken away"
closed "$tray"
sleep 2
hidden "$tray" || fail "the icon comes back before the task bar is there"
probe task-bar || fail "the new task bar is not announced"
eventually "the icon does not come back" visible "$tray"

say "the icon stays when the task bar is announced while it is there, as with another scale of the screen"
probe task-bar || fail "the task bar is not announced"
announced=$SECONDS

say "the command line is answered where its user looks"
wine relaybird.exe --version >"$scratch/version.txt" 2>"$scratch/version-errors.txt" || fail "--version ends with status $?"
grep -q '^Relaybird [0-9.]*' "$scratch/version.txt" || fail "--version prints nothing"
status=0
wine relaybird.exe --wrong >"$scratch/wrong.txt" 2>"$scratch/wrong-errors.txt" || status=$?
[ "$status" -eq 2 ] || fail "a wrong option ends with status $status"
grep -q -e '--wrong' "$scratch/wrong-errors.txt" || fail "a wrong option is not named"
[ ! -s "$scratch/wrong.txt" ] || fail "an error is printed to standard output"
# Started so, it has neither a console nor an output.
wine cmd /c start '' relaybird.exe --version >"$scratch/boxed.txt" 2>&1
shown 'Relaybird'
picture version
keys Return
closed 'Relaybird'

say "the command line is answered on the console that the program was started from"
wine relaybird.exe --help >"$scratch/help.txt" 2>"$scratch/help-errors.txt" || fail "--help ends with status $?"
probe in-console relaybird.exe --help >"$scratch/help-console.txt" || fail "--help does not end in a console"
[ -s "$scratch/help.txt" ] || fail "--help prints nothing"
while read -r line; do
  grep -qF "$line" "$scratch/help-console.txt" || fail "the console does not show '$line'"
done < <(tr -d '\r' <"$scratch/help.txt")
! probe in-console relaybird.exe --wrong >"$scratch/wrong-console.txt" || fail "a wrong option is no error in a console"
grep -qF -e '"--wrong"' "$scratch/wrong-console.txt" || fail "a wrong option is not named in a console"

say "the window has not come back, as it does after ten seconds without an icon"
later() {
  [ "$SECONDS" -gt "$((announced + 12))" ]
}
eventually "the time does not pass" later
hidden "$main" || fail "the icon counts as lost"
visible "$tray" || fail "the icon is gone"

say "the icon's menu brings the program back"
on_icon 3
eventually "the icon has no menu" menu
picture tray-menu
xdotool mousemove --window "$(menu)" 20 10
sleep 0.3
xdotool click 1
eventually "Restore does not show the window" visible "$main"
closed "$tray"

say "a second start brings the first to the front"
xdotool windowminimize "$(visible "$main")"
closed "$main"
timeout 60 wine relaybird.exe >"$scratch/second.log" 2>&1 || fail "the second start ends with status $?"
shown "$main"
kill -0 "$first" || fail "the first program has ended"

say "the about box"
keys alt+h a
shown 'About Relaybird'
picture about
keys Escape
closed 'About Relaybird'

say "the manual"
shown "$main"
keys F1
shown 'Relaybird Help'
picture help
keys alt+F4
closed 'Relaybird Help'

say "the program ends, and has kept where its window was"
shown "$main"
end
wait "$first" || fail "the program ended with status $?"
places=$(find "$WINEPREFIX/drive_c/users" -path '*rbx/windows.ini')
latin "$places" | grep -q frmRelaybird || fail "no place of the main window in '$places'"

say "a missing mail application is told, and what to do"
printf '[default]\r\nmstrFwdToAddress_num=1\r\nmstrFwdToAddress_1=cell@phone.example\r\n' >"$prefs"
start
keys alt+d t
for box in 'Test Explanation:' 'Please Confirm:'; do
  shown "$box"
  keys Return
  closed "$box"
done
shown Error
probe texts Error >missing.txt || fail "there is no box"
# The box breaks its lines where they fit.
tr '\r\n' ' ' <missing.txt | tr -s ' ' | grep -qF \
  'Could not start up Microsoft Outlook (please verify that MS-Outlook is installed and configured correctly on this PC).' ||
  fail "the box says something else"
keys Return
closed Error
shown "$main"
keys alt+d v
shown 'Activity Log'
keys alt+c
for words in 'No Outlook was found that other programs can use' 'Install classic Outlook' \
  'It is not installed on this computer'; do
  eventually "the log does not say '$words'" sh -c "timeout 5 xclip -o -selection clipboard | grep -q '$words'"
done
keys Escape
closed 'Activity Log'
shown "$main"
end
wait "$first" || fail "the program ended with status $?"

say "mail is forwarded through the mail application, and the windows go on meanwhile"
g++ -std=c++20 -Wall -Wextra -O1 -shared -fPIC -o still_clock.so "$sources/still_clock.cpp"
mkdir mailbox
mailbox='Z:'"${scratch//\//\\}"'\mailbox'
# told COMMAND [FIELD=VALUE...]: whether the mail application carries it out. One whose event is not taken does not answer.
told() {
  timeout 60 wine "$double/outlook_double_control.exe" "$@" >told.txt 2>&1
}
tell() {
  told "$@" || fail "the mail application does not do this: $*"
}
deliver() {
  tell deliver "id=$1" "subject=$1" "body=text of $1" sender=Bob address=bob@example.com
}
# What it has kept on the disk.
is_forwarded() {
  grep -q $'^sent\tsubject=FW: '"$1"$'\t' mailbox/mailbox.txt &&
    grep -q $'^mark\tid='"$1"$'\tunread=0' mailbox/mailbox.txt
}
# synchronises COUNT: in the synchronisation of that number, which ends when it is told to.
synchronises() {
  told state && grep -q $'\tstarts='"$1"$'\t.*\trunning=1' told.txt
}
in_no_synchronisation() {
  told state && grep -q $'\trunning=0' told.txt
}
in_log() {
  keys alt+c
  timeout 5 xclip -o -selection clipboard | grep -q "$1"
}
printf '[default]\r\nmstrFwdToAddress_num=1\r\nmstrFwdToAddress_1=cell@phone.example\r\nmbolFwdUponStart=1\r\n' >"$prefs"
timeout 60 wine "$double/outlook_double.exe" /regserver "$mailbox" >double.log 2>&1 || fail "there is no mail application"
wine "$double/outlook_double.exe" /stay "$mailbox" >double.log 2>&1 &
application=$!
eventually "the mail application does not start" test -e mailbox/ready
tell syncs end=told
deliver one
LD_PRELOAD=$scratch/still_clock.so STILL_CLOCK=$scratch/clock-stands wine relaybird.exe >"$scratch/relaybird.log" 2>&1 &
first=$!
shown "$main"
keys alt+f s
shown 'Please Confirm:'
keys Return
closed 'Please Confirm:'
eventually "Start forwards nothing" is_forwarded one
eventually "the forward is not sent" synchronises 1
shown "$main"
keys alt+d v
shown 'Activity Log'
eventually "the log does not tell of the forward" in_log '^forwarded one at '
picture forwarded
keys Escape
closed 'Activity Log'
tell end
eventually "the end of the synchronisation is not heard" in_no_synchronisation
shown "$main"
keys alt+f t
deliver two
# The pause at the end of this check lasts until the file is deleted.
touch clock-stands
keys alt+d t
for box in 'Test Explanation:' 'Please Confirm:'; do
  shown "$box"
  keys Return
  closed "$box"
done
eventually "the test forwards nothing" is_forwarded two
shown "$main"
keys alt+d v
shown 'Activity Log'
keys Escape
closed 'Activity Log'
tell event name=OnError code=1 text=busy
tell state
grep -q $'\tstarts=1\t' told.txt || fail "the pause was over too early"
rm clock-stands
eventually "the second forward is not sent" synchronises 2
tell end
shown 'Test Complete'
probe texts 'Test Complete' >complete.txt || fail "there is no box"
tr '\r\n' ' ' <complete.txt | tr -s ' ' | grep -qF \
  '1 unread message was looked at and 1 was forwarded. No problems were found.' ||
  fail "the box says something else"
keys Return
closed 'Test Complete'

say "the icon is a warning sign as long as the last check has failed"
tell raise call=Items.Restrict code=80040115 'text=The server is not available.'
keys alt+d t
for box in 'Test Explanation:' 'Please Confirm:' 'Test Complete'; do
  shown "$box"
  keys Return
  closed "$box"
done
hide
picture tray-warning
[ "$(settled "$tray")" != "$stopped_icon" ] || fail "the icon looks as always"
on_icon 3
eventually "the icon has no menu" menu
xdotool mousemove --window "$(menu)" 20 10
sleep 0.3
xdotool click 1
eventually "Restore does not show the window" visible "$main"
closed "$tray"
shown "$main"
end
wait "$first" || fail "the program ended with status $?"
told die || true  # without an answer
eventually "the mail application does not end" ended "$application"
timeout 60 wine "$double/outlook_double.exe" /unregserver >double.log 2>&1 || fail "the mail application stays registered"

say "title bars are light, and dark where the user has chosen dark programs"
cp dwmapi.dll "$WINEPREFIX/drive_c/windows/system32/"
# title_bars: what the program asks for its windows.
title_bars() {
  rm -f title-bars.txt
  export DWMAPI_DOUBLE='Z:'"${scratch//\//\\}"'\title-bars.txt'
  WINEDLLOVERRIDES="$WINEDLLOVERRIDES;dwmapi=n" start
  end
  wait "$first" || fail "the program ended with status $?"
  [ -s title-bars.txt ] || fail "the program asks for no title bars"
  tr -d '\r' <title-bars.txt | sort -u
}
personal='HKCU\Software\Microsoft\Windows\CurrentVersion\Themes\Personalize'
[ "$(title_bars)" = 'attribute 20 is 0' ] || fail "without a choice: $(cat title-bars.txt)"
wine reg add "$personal" /v AppsUseLightTheme /t REG_DWORD /d 0 /f >"$scratch/reg.log" 2>&1
[ "$(title_bars)" = 'attribute 20 is 1' ] || fail "dark programs: $(cat title-bars.txt)"
wine reg add "$personal" /v AppsUseLightTheme /t REG_DWORD /d 1 /f >"$scratch/reg.log" 2>&1

say "the program ends with the session"
start
timeout 60 wine wineboot --end-session >"$scratch/end.log" 2>&1 || fail "the session does not end"
eventually "the program stays" ended "$first"
wait "$first" || fail "the program ended with status $?"
timeout 60 wineserver --wait

say "the console ends with the session"
mkfifo "$scratch/commands"
wine "$build/src/app/relaybird-console.exe" <"$scratch/commands" >"$scratch/console.log" 2>&1 &
console=$!
exec 7>"$scratch/commands"
echo status >&7
eventually "the console does not start" grep -q '^automation: ' "$scratch/console.log"
timeout 60 wine wineboot --end-session >"$scratch/end.log" 2>&1 || fail "the session does not end"
eventually "the console stays" ended "$console"
wait "$console" || fail "the console ended with status $?"
exec 7>&-
timeout 60 wineserver --wait

say "the windows grow with the resolution of the screen"
rm "$places"
wine reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d 144 /f >"$scratch/reg.log" 2>&1
timeout 60 wineserver --wait
before=$(identify -format '%w' "$scratch/main-window.png")
start
import -window "$(visible "$main")" "$scratch/main-144.png"
after=$(identify -format '%w' "$scratch/main-144.png")
[ "$((after * 100))" -gt "$((before * 130))" ] || fail "at 144 dots per inch the window has $after pixels, at 96 $before"
end

echo "desktop: $checks checks passed"
