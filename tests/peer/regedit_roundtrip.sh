#!/usr/bin/env bash
# regedit_roundtrip.sh ZULREG AWKWARD WORKDIR
# Files travel both ways between zulreg and the registry editor (Wine's
# regedit): a file of awkward data imported by each, exported by each and
# imported by the other gives the same values. Exit 77: no Wine here.
set -u
zulreg=$1 awkward=$2 work=$3
if ! command -v wine >/dev/null || ! command -v iconv >/dev/null; then
  echo "skipped: Wine is not installed (scripts/setup installs it)"
  exit 77
fi
key='HKEY_CURRENT_USER\Software\ZulRoundTrip'
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export WINEPREFIX="$work/wineprefix" WINEDEBUG=-all
mkdir -p "$work"
# Both tools read the editor's UTF-16LE form.
{ printf '\xff\xfe'; iconv -f UTF-8 -t UTF-16LE "$awkward"; } > "$scratch/awkward.reg"

# A file's values as a sorted list of "section <tab> value line": the order
# of sections and of values within a section is each tool's own.
values() {
  iconv -f UTF-16LE -t UTF-8 "$1" | sed '1s/^\xef\xbb\xbf//' | tr -d '\r' |
    sed -e ':a' -e '/\\$/{N;s/\\\n  *//;ba' -e '}' |
    awk '/^\[/{section=$0; print section; next} /^$/ || /^Windows Registry/ {next} {print section "\t" $0}' |
    sort
}
ours() { ZUL_USER_HIVE="$scratch/$1.db" "$zulreg" "${@:2}"; }
wineReset() { wine reg delete "$key" /f >/dev/null 2>&1; true; }

status=0
# The awkward file straight into each tool, and out again.
ours a import "$scratch/awkward.reg" || { echo "zulreg cannot import the awkward file"; exit 1; }
ours a export "$key" "$scratch/ours1.reg" || exit 1
wineReset
wine regedit /S "$scratch/awkward.reg" 2>/dev/null
wine regedit /E "$scratch/wine1.reg" "$key" 2>/dev/null
[ -s "$scratch/wine1.reg" ] || { echo "the registry editor exported nothing"; exit 1; }

# The editor's export into zulreg: the same values as zulreg's own import.
ours b import "$scratch/wine1.reg" || { echo "zulreg cannot import the editor's export"; exit 1; }
ours b export "$key" "$scratch/ours2.reg" || exit 1
if ! diff <(values "$scratch/ours1.reg") <(values "$scratch/ours2.reg") > "$scratch/d1"; then
  echo "FROM THE EDITOR TO ZULREG the values differ (< zulreg's own import, > via the editor):"
  cat "$scratch/d1"; status=1
fi

# zulreg's export into the editor: the same values as the editor's own import.
wineReset
wine regedit /S "$scratch/ours1.reg" 2>/dev/null
wine regedit /E "$scratch/wine2.reg" "$key" 2>/dev/null
if ! diff <(values "$scratch/wine1.reg") <(values "$scratch/wine2.reg") > "$scratch/d2"; then
  echo "FROM ZULREG TO THE EDITOR the values differ (< the editor's own import, > via zulreg):"
  cat "$scratch/d2"; status=1
fi
# REGEDIT4 in Windows-1252 too (this file's characters outside it make
# zulreg refuse, naming them; the editor gets the rest).
ours a export --regedit4 "$key" "$scratch/ansi.reg" > "$scratch/ansi.out" 2>&1
if [ $? -eq 0 ] || ! grep -q "Windows-1252" "$scratch/ansi.out"; then
  echo "REGEDIT4: zulreg wrote characters Windows-1252 does not have:"; cat "$scratch/ansi.out"; status=1
fi
wineReset
[ $status -eq 0 ] && echo "$(values "$scratch/ours1.reg" | grep -c $'\t') values agree both ways"
exit $status
