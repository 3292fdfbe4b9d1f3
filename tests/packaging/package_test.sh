#!/usr/bin/env bash
# package_test.sh FOLDER: installs the Debian packages of FOLDER into a root of their own, compares what
# came with what is to come, has the programs work from there, and removes them again. It needs no rights
# and leaves the system alone: dpkg works under fakeroot, and maintainer scripts see DPKG_ROOT.
set -euo pipefail
export LC_ALL=C.UTF-8 PATH=$PATH:/usr/sbin:/sbin
here=$(dirname "$(realpath "$0")")
folder=$(realpath "$1")
scratch=$(mktemp -d "${TMPDIR:-/tmp}/relaybird-packages.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
root=$scratch/root

fail() {
  echo "package_test: $*" >&2
  exit 1
}
# Dependencies are the system's matter: the root holds nothing but our packages.
root_dpkg() {
  fakeroot dpkg --root="$root" --log="$scratch/dpkg.log" --force-not-root --force-script-chrootless \
    --force-depends "$@" >"$scratch/dpkg.out" 2>&1 || fail "dpkg $*: $(cat "$scratch/dpkg.out")"
}
# What is in the root but dpkg's own records.
files_in_root() {
  (cd "$root" && find . -path ./var/lib/dpkg -prune -o "$@" -printf '%P\n' | LC_ALL=C sort)
}

mkdir -p "$root"/var/lib/dpkg/{info,parts,triggers,updates}
touch "$root"/var/lib/dpkg/{available,status}
files_in_root >"$scratch/before"

echo "the packages bring what they are to bring"
for package in relaybird relaybird-common relaybird-console; do
  [ "$(find "$folder" -name "${package}_*.deb" | wc -l)" = 1 ] || fail "$folder holds not one $package"
  dpkg-deb --fsys-tarfile "$folder/$package"_*.deb | tar --list | sed -n 's,^\./\(.*[^/]\)$,\1,p' |
    LC_ALL=C sort | diff "$here/$package.files" - || fail "$package differs from $package.files"
done
root_dpkg --install "$folder"/relaybird_*.deb "$folder"/relaybird-{common,console}_*.deb
LC_ALL=C sort "$here"/*.files | diff - <(files_in_root ! -type d) ||
  fail "not every file came into the root"

echo "the programs are hardened"
for program in relaybird relaybird-console; do
  file=$root/usr/bin/$program
  marks=$(readelf --wide --file-header --program-headers --dynamic "$file")
  for mark in 'Type: *DYN' GNU_RELRO BIND_NOW 'Flags:.* PIE'; do
    grep -q "$mark" <<<"$marks" || fail "$program has no $mark"
  done
  calls=$(readelf --wide --dyn-syms "$file")
  grep -q '__stack_chk_fail@' <<<"$calls" || fail "$program has no stack protector"
  grep -q '[a-z]_chk@' <<<"$calls" || fail "$program calls no fortified function"
done
# Debian's start files have no CET mark, so the linker leaves it out: what each unit was compiled with tells.
mkdir "$scratch/symbols"
for package in relaybird relaybird-console; do
  dpkg-deb --extract "$folder/$package-dbgsym"_*.deb "$scratch/symbols"
done
found=0
while IFS= read -r symbols; do
  compilers=$(readelf --wide --debug-dump=info --dwarf-depth=1 "$symbols" | grep 'DW_AT_producer.*GNU C++')
  for flag in -fstack-clash-protection -fcf-protection -fstack-protector-strong; do
    ! grep -v -e "$flag" <<<"$compilers" | grep -q . || fail "a unit was compiled without $flag"
  done
  found=$((found + 1))
done < <(find "$scratch/symbols" -name '*.debug' -not -path '*/.dwz/*')
[ "$found" = 2 ] || fail "there are symbols of $found programs, not of 2"

"$here/installation_test.sh" "$root/usr"

echo "installing them again changes nothing"
files_in_root >"$scratch/installed"
root_dpkg --install "$folder"/relaybird_*.deb "$folder"/relaybird-{common,console}_*.deb
files_in_root | diff "$scratch/installed" - || fail "files came or went"

echo "the console works without the desktop program"
root_dpkg --remove relaybird
"$root/usr/bin/relaybird-console" --version >/dev/null || fail "relaybird-console needs relaybird"

echo "nothing remains"
root_dpkg --purge relaybird relaybird-console relaybird-common
files_in_root | diff "$scratch/before" - || fail "something remains"
echo "all passed"
