#!/usr/bin/env bash
# Mutation campaign over real model files: zzuf flips bits in copies of small
# files of every format the viewer reads (STL, OBJ, PLY, glTF, 3MF, COLLADA,
# FBX, OFF, 3DS, DXF, VRML and UTF-16 OBJ from Debian's assimp-testmodels;
# STEP and IGES from occt-misc, and a STEP assembly with colours made by
# makestep), and each copy is loaded twice, each run in a process
# of its own:
#   guarded:   modelload_probe, as zulview and krviews load models (checks,
#              then the reader in its helper process): must never crash;
#   unguarded: zulreadmodel alone, the library's reader (VTK, OpenCASCADE or
#              Assimp) with nothing in front of it, to show what the guards
#              stand between.
#
#   fuzz/zzuf_models.sh [RUNS_PER_FILE] [BUILD_DIR]     (defaults: 200, build/default)
#
# Prints one line per reader and a total; exits 1 when a guarded run crashed.
set -uo pipefail
cd "$(dirname "$0")/.."
runs=${1:-200}
bin=${2:-build/default}/bin
models=/usr/share/assimp/models
command -v zzuf >/dev/null || { echo "zzuf_models: zzuf is not installed (scripts/setup installs it)"; exit 2; }
[ -d "$models" ] || { echo "zzuf_models: $models is missing (Debian package assimp-testmodels)"; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

seeds=(
  "$models/STL/triangle.stl" "$models/STL/Spider_binary.stl" "$models/STL/3DSMaxExport.STL"
  "$models/PLY/cube.ply" "$models/PLY/cube_binary.ply" "$models/PLY/float-color.ply" "$models/PLY/issue623.ply"
  "$models/OBJ/box.obj" "$models/OBJ/spider.obj" "$models/OBJ/cube_usemtl.obj"
  "$models/glTF2/BoxTextured-glTF-Binary/BoxTextured.glb" "$models/glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf"
  "$models/3MF/box.3mf" "$models/Collada/duck.dae" "$models/FBX/box.fbx" "$models/OFF/Cube.off"
  "$models/3DS/fels.3ds" "$models/DXF/wuson.dxf" "$models/WRL/Wuson.wrl" "$models/OBJ/box_UTF16BE.obj"
  "$models/PLY/Wuson.ply"
)
occt=/usr/share/opencascade/data
if [ -f "$occt/step/screw.step" ]; then
  seeds+=("$occt/step/screw.step" "$occt/iges/hammer.iges")
  [ -x "$bin/makestep" ] && "$bin/makestep" "$work/three.step" && seeds+=("$work/three.step")
else
  echo "zzuf_models: no STEP or IGES samples ($occt: Debian package occt-misc); those readers are not tried"
fi

# One mutated copy: prints "<ext> <guarded status> <unguarded status>".
one() {
  local seed=$1 n=$2 ext=${1##*.} work=$3 bin=$4
  ext=${ext,,}
  local copy="$work/m-$n-$BASHPID.$ext"
  zzuf -s "$n" -r 0.0001:0.01 < "$seed" > "$copy"
  local said
  said=$(timeout -s KILL 400 "$bin/modelload_probe" "$copy" 2>/dev/null); local g=$?
  # A reader that died in its helper process, reported as a message.
  [[ $said == *"failed on it (signal"* ]] && g=64
  mkdir -p "$copy.parts"
  ( ulimit -c 0; ulimit -v 8000000; timeout -s KILL 60 "$bin/zulreadmodel" "$copy" "$copy.parts" ) >/dev/null 2>&1; local u=$?
  rm -rf "$copy" "$copy.parts"
  echo "$ext $g $u"
}
export -f one

start=$SECONDS
for seed in "${seeds[@]}"; do
  for n in $(seq 1 "$runs"); do echo "$seed $n"; done
done | xargs -P "$(nproc)" -n 2 bash -c 'one "$0" "$1" "'"$work"'" "'"$bin"'"' > "$work/results" 2>/dev/null
# (standard error is dropped: it would hold only the shell's own line for
# each crash of an unguarded reader, which the results count)

awk -v secs=$((SECONDS - start)) '
  { n[$1]++; if ($2 >= 128) gc[$1]++; if ($2 == 0) ok[$1]++; if ($2 == 64) held[$1]++; if ($3 >= 128) uc[$1]++; total++ }
  END {
    for (e in n) { printf "%-4s %6d runs: %5d read, %5d refused (%d of them a reader dying in the helper); crashes: guarded %d, unguarded reader %d\n", e, n[e], ok[e], n[e]-ok[e]-gc[e], held[e]+0, gc[e]+0, uc[e]+0; g += gc[e]; u += uc[e]; h += held[e] }
    printf "total %d runs in %d s: guarded crashes %d; helper deaths reported as messages %d; unguarded reader crashes %d\n", total, secs, g, h, u
    exit g > 0
  }' "$work/results"
