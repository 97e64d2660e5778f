#!/usr/bin/env bash
# Runs every model file of Debian's assimp-testmodels and occt-misc through
# `krviews render` and through f3d, and lists what each draws, what only one
# draws, and why we refused what we refused.
#
#   bench/models_sweep.sh [BUILD_DIR] [REPORT]
#
# BUILD_DIR defaults to build/default; REPORT (a tab-separated line per file:
# path, ours, f3d, our message) to models_sweep.tsv in the current folder.
# "Drawn" for f3d means it exited 0 and its picture differs from the picture
# it makes of an empty scene; for us, krviews exited 0 (a picture of at least
# one part). Each program gets 120 s per file. Takes about half an hour.
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
report=${2:-models_sweep.tsv}
krviews=$build/bin/krviews
[ -x "$krviews" ] || { echo "no $krviews: build first (cmake --build --preset default)" >&2; exit 2; }
command -v f3d >/dev/null || { echo "f3d is not installed (scripts/setup installs it)" >&2; exit 2; }

roots=()
for r in /usr/share/assimp/models /usr/share/opencascade/data; do [ -d "$r" ] && roots+=("$r"); done
[ ${#roots[@]} -gt 0 ] || { echo "neither assimp-testmodels nor occt-misc is installed" >&2; exit 2; }

scratch=$(mktemp -d)
trap 'kill $xvfb 2>/dev/null; rm -rf "$scratch"' EXIT
export ZUL_USER_HIVE=$scratch/user.db ZUL_MACHINE_HIVE=$scratch/machine.db ZUL_TRACE=off
export KRAV_MODULE=$PWD/$build/bin/KRAdvancedViews.so
# One display for the whole sweep.
for n in $(seq 90 120); do [ -e /tmp/.X$n-lock ] || break; done
Xvfb :$n -screen 0 1280x1024x24 >/dev/null 2>&1 &
xvfb=$!
export DISPLAY=:$n
sleep 1

# The picture f3d makes when it draws nothing.
: >"$scratch/empty.ply"
f3d --output "$scratch/blank.png" --resolution 400,300 "$scratch/empty.ply" >/dev/null 2>&1
blank=$(md5sum <"$scratch/blank.png" 2>/dev/null | cut -d' ' -f1)

# Pictures, textures, materials, shaders and documents are not models.
not_model='png|jpg|jpeg|gif|bmp|tga|tif|tiff|dds|rle|pcx|hdr|txt|md|bin|mtl|glsl|xml|json|html|pdf|cmake|license|readme|ini|cfg|skin|shader|material|program|pk3|mat|anim|h|cpp|py|sh'
: >"$report"
ours_n=0 f3d_n=0 both=0 only_ours=0 only_f3d=0 total=0
while IFS= read -r -d '' file; do
    ext=${file##*.}
    ext=${ext,,}
    [[ "$ext" =~ ^($not_model)$ ]] && continue
    [[ "$file" == */ReferenceImages/* ]] && continue
    total=$((total + 1))
    rm -f "$scratch/ours.png" "$scratch/f3d.png"
    said=$(timeout 120 "$krviews" render "$file" --view +Isometric --size 400x300 \
        -o "$scratch/ours.png" 2>&1 >/dev/null)
    status=$?
    ours=no
    [ $status -eq 0 ] && [ -s "$scratch/ours.png" ] && ours=yes
    [ $status -eq 124 ] && said="(no answer within 120 s)"
    timeout 120 f3d --output "$scratch/f3d.png" --resolution 400,300 "$file" >/dev/null 2>&1
    f3d_status=$?
    peer=no
    if [ $f3d_status -eq 0 ] && [ -s "$scratch/f3d.png" ] &&
        [ "$(md5sum <"$scratch/f3d.png" | cut -d' ' -f1)" != "$blank" ]; then peer=yes; fi
    [ $ours = yes ] && ours_n=$((ours_n + 1))
    [ $peer = yes ] && f3d_n=$((f3d_n + 1))
    [ $ours = yes ] && [ $peer = yes ] && both=$((both + 1))
    [ $ours = yes ] && [ $peer = no ] && only_ours=$((only_ours + 1))
    [ $ours = no ] && [ $peer = yes ] && only_f3d=$((only_f3d + 1))
    printf '%s\t%s\t%s\t%s\n' "${file}" "$ours" "$peer" "$(tr '\n\t' '  ' <<<"$said")" >>"$report"
done < <(find "${roots[@]}" -type f -print0 | sort -z)

echo "model files: $total; we draw $ours_n, f3d draws $f3d_n; both $both, only we $only_ours, only f3d $only_f3d"
echo
echo "Drawn by f3d, not by us (with our message):"
awk -F'\t' '$2 == "no" && $3 == "yes" { print "  " $1 ": " $4 }' "$report"
echo
echo "Drawn by us, not by f3d:"
awk -F'\t' '$2 == "yes" && $3 == "no" { print "  " $1 }' "$report"
