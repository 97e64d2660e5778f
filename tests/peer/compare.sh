#!/usr/bin/env bash
# compare.sh NATIVE_PROBE WINDOWS_PROBE DECLARED WORKDIR
# Runs the probe on this platform's registry (a scratch hive) and on the
# peer's (Wine, a prefix kept in WORKDIR), and compares their answers; a line
# listed in DECLARED (by its question) may differ. Exit 77: no peer here.
set -u
native=$1 windows=$2 declared=$3 work=$4
if [ -z "$windows" ] || ! command -v wine >/dev/null; then
  echo "skipped: Wine or mingw-w64 is not installed (scripts/setup installs them)"
  exit 77
fi
mkdir -p "$work"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
ZUL_USER_HIVE="$scratch/user.db" ZUL_MACHINE_HIVE="$scratch/machine.db" "$native" > "$scratch/ours.txt" || exit 1
export WINEPREFIX="$work/wineprefix" WINEDEBUG=-all
wine "$windows" 2>/dev/null | tr -d '\r' > "$scratch/peer.txt" || exit 1
if [ ! -s "$scratch/peer.txt" ]; then echo "the peer gave no answer"; exit 1; fi
status=0
agreed=0
while IFS= read -r peer && IFS= read -r ours <&3; do
  question=${peer%%:*}
  if [ "$peer" = "$ours" ]; then
    agreed=$((agreed + 1))
  elif grep -qxF "$question" "$declared"; then
    echo "declared difference: $question"
    echo "  peer: ${peer#*: }"
    echo "  ours: ${ours#*: }"
  else
    echo "DIFFERS: $question"
    echo "  peer: ${peer#*: }"
    echo "  ours: ${ours#*: }"
    status=1
  fi
done < "$scratch/peer.txt" 3< "$scratch/ours.txt"
if [ "$(wc -l < "$scratch/peer.txt")" != "$(wc -l < "$scratch/ours.txt")" ]; then
  echo "the answers have different lengths"; status=1
fi
echo "$agreed answers agree"
exit $status
