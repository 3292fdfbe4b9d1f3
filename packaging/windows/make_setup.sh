#!/usr/bin/env bash
# make_setup.sh STAGE VERSION FOLDER: makes relaybird-setup.exe and relaybird-portable.zip in FOLDER, which install
# and hold the files of STAGE. The same files and the same SOURCE_DATE_EPOCH (1 January 2026 if it is not set) give
# the same bytes. Gives the files of STAGE that time, and the access rights of programs and texts. SETUP_DEFINES may
# have definitions for relaybird.nsi, as in '-DPATIENCE=25', so that a test need not wait as long as users may.
# shellcheck disable=SC2016  # The variables in single quotes are the installer's own.
set -euo pipefail
root=$(realpath "$(dirname "$0")/../..")
stage=$(realpath "$1")
version=$2
mkdir -p "$3"
folder=$(realpath "$3")
# The installer and the archive store times, the archive local ones. It stores access rights too.
export TZ=UTC LC_ALL=C
epoch=${SOURCE_DATE_EPOCH:-1767225600}

lists=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-setup.XXXXXX")
trap 'rm -rf "$lists"' EXIT
find "$stage" '(' -type d -o -name '*.exe' ')' -exec chmod 755 {} + -o -exec chmod 644 {} +
find "$stage" -exec touch --no-dereference --date="@$epoch" {} +
mapfile -t files < <(cd "$stage" && find . -type f -printf '%P\n' | sort)
mapfile -t folders < <(cd "$stage" && find . -mindepth 1 -type d -printf '%P\n' | sort --reverse)
for name in relaybird.exe relaybird-console.exe rbx.chm; do
  [ -f "$stage/$name" ] || {
    echo "make_setup.sh: there is no $name in $stage" >&2
    exit 1
  }
done
# The script of the installer would take other characters for its own syntax.
for name in "${files[@]}" "${folders[@]}"; do
  [[ "$name" =~ ^[A-Za-z0-9._/+-]+$ ]] || {
    echo "make_setup.sh: the installer cannot hold a file named '$name'" >&2
    exit 1
  }
done

# Names with the separator of Windows; the installer's list has folders at its end, the inner ones first.
output=''
for name in "${files[@]}"; do
  native=${name//\//\\}
  inner=''
  [[ "$native" != *\\* ]] || inner="\\${native%\\*}"
  if [ "$inner" != "$output" ] || [ ! -s "$lists/install.nsh" ]; then
    printf 'SetOutPath "$INSTDIR%s"\n' "$inner" >>"$lists/install.nsh"
    output=$inner
  fi
  printf 'File "%s"\n' "$stage/$name" >>"$lists/install.nsh"
  printf 'StrCmp $0 "%s" next\n' "$native" >>"$lists/keep.nsh"
  printf '%s\r\n' "$native" >>"$lists/installed-files.txt"
done
for name in "${folders[@]}"; do
  native=${name//\//\\}\\
  printf 'StrCmp $0 "%s" next\n' "$native" >>"$lists/keep.nsh"
  printf '%s\r\n' "$native" >>"$lists/installed-files.txt"
done
touch --date="@$epoch" "$lists/installed-files.txt"

"$root/art/windows_icon.sh" "$lists/relaybird.ico"
run_value=$(sed -n 's/.*kRunValue = "\(.*\)";/\1/p' "$root/src/platform/win32/run_key_autostart.h")
size=$(find "$stage" -type f -printf '%s\n' | awk '{ sum += $1 } END { print int((sum + 1023) / 1024) }')
read -r -a defines <<<"${SETUP_DEFINES:-}"
rm -f "$folder/relaybird-setup.exe" "$folder/relaybird-portable.zip"
makensis -WX -V2 -INPUTCHARSET UTF8 "-DVERSION=$version" "-DOUTPUT=$folder/relaybird-setup.exe" \
  "-DICON=$lists/relaybird.ico" "-DRUN_VALUE=${run_value:?}" "-DSIZE_KB=$size" "-DFILES=$lists" "${defines[@]}" \
  "$root/packaging/windows/relaybird.nsi"

# The archive has one folder, so that unpacking it does not scatter its files.
ln -s "$stage" "$lists/Relaybird"
(cd "$lists" && printf 'Relaybird/%s\n' "${files[@]}" | zip -X -9 --quiet -@ "$folder/relaybird-portable.zip")
