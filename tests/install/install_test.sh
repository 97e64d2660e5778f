#!/usr/bin/env bash
# install_test.sh BUILD_DIR
# Installs the build into a scratch prefix and uses it as a new user would:
# nothing installed may point into the build tree (RPATHs, compiled-in
# paths); the installed krviews lists the views and renders a STEP file with
# an empty home while the build tree is hidden (a private mount namespace
# when run as root); the desktop entry and MIME types are accepted by the
# desktop's own tools; the thumbnailer draws a STEP and an STL file as a
# file manager runs it; cpack makes a Debian package that depends on the
# libraries and carries the desktop files. Exit 77: a tool it needs is absent.
set -u
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
failed=0
fail() { echo "FAILED: $*"; failed=1; }

for tool in desktop-file-validate update-mime-database dpkg-deb dpkg-shlibdeps xvfb-run python3; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed (scripts/setup installs it)"; exit 77; }
done
step=/usr/share/opencascade/data/step/linkrods.step
stl=/usr/share/opencascade/data/stl/propeller.stl
[ -f "$step" ] && [ -f "$stl" ] || { echo "skipped: install occt-misc"; exit 77; }

cmake --install "$build" --prefix "$prefix" >/dev/null || { echo "FAILED: cmake --install"; exit 1; }

# Nothing installed names the build tree.
while IFS= read -r -d '' f; do
  if readelf -h "$f" >/dev/null 2>&1; then
    rpath=$(readelf -d "$f" | grep -E 'RPATH|RUNPATH')
    case $rpath in *"$build"*) fail "$f has the build tree in its RPATH: $rpath" ;; esac
    [[ $rpath == *'$ORIGIN'* ]] || fail "$f has no \$ORIGIN-relative RPATH"
  fi
  grep -qF "$build" "$f" && fail "$f names the build tree"
done < <(find "$prefix" -type f -print0)

# A new user: an empty home, no module registered, the build tree hidden.
home=$work/home
mkdir -p "$home"
user() { env -i PATH=/usr/bin:/bin HOME="$home" "$@"; }
run_hidden() {
  if [ "$(id -u)" = 0 ] && command -v unshare >/dev/null; then
    unshare -m sh -c 'mount -t tmpfs tmpfs "$0" && exec "$@"' "$build" "$@"
  else
    echo "note: not root, so the build tree stays visible (the RPATH checks above still hold)"
    "$@"
  fi
}
out=$(run_hidden env -i PATH=/usr/bin:/bin HOME="$home" "$prefix/bin/krviews" list 2>&1)
[ "$(echo "$out" | head -1)" = "1	+X" ] || fail "the installed krviews does not list the views: $out"
out=$(run_hidden env -i PATH=/usr/bin:/bin HOME="$home" xvfb-run -a "$prefix/bin/krviews" render "$step" -o "$work/render.png" --size 200x150 2>&1)
[ -s "$work/render.png" ] || fail "the installed krviews does not render a STEP file: $out"
# The first run registered the installed module for the user; a user who
# unregisters it keeps it unregistered.
user CURRENT_USER_INSTALL=1 "$prefix/bin/zulreg" regsvr -u "$prefix/lib/zul/KRAdvancedViews.so" >/dev/null ||
  fail "zulreg regsvr -u of the installed module"
out=$(user "$prefix/bin/krviews" list 2>&1)
[[ $out == *"no module is registered"* ]] || fail "an unregistered module came back: $out"
user CURRENT_USER_INSTALL=1 "$prefix/bin/zulreg" regsvr "$prefix/lib/zul/KRAdvancedViews.so" >/dev/null
for p in zulview krviews zulreg zulview-thumbnailer; do
  user "$prefix/bin/$p" --version 2>/dev/null | grep -q "^$p " || fail "$p --version"
done
[ -f "$prefix/share/man/man1/krviews.1" ] || fail "no man page for krviews"

# The desktop's tools take what is installed.
out=$(desktop-file-validate "$prefix/share/applications/zulview.desktop" 2>&1) || fail "desktop-file-validate: $out"
[ -z "$out" ] || fail "desktop-file-validate: $out"
out=$(update-mime-database "$prefix/share/mime" 2>&1 | grep -i 'fail\|error')
[ -z "$out" ] || fail "update-mime-database: $out"
for type in model/step model/x-ply model/x-off model/vnd.collada+xml model/x-fbx application/x-zul-views; do
  [ -f "$prefix/share/mime/$type.xml" ] || fail "the MIME database has no $type"
done
grep -q '^Exec=zulview-thumbnailer %i %o %s$' "$prefix/share/thumbnailers/zulview.thumbnailer" || fail "the thumbnailer entry"

# The thumbnailer as a file manager runs it: the input copied under /tmp,
# no display, no home, size 256.
size_of() { python3 -c 'import struct,sys; d=open(sys.argv[1],"rb").read(24); assert d[:8]==b"\x89PNG\r\n\x1a\n"; print(*struct.unpack(">II", d[16:24]))' "$1"; }
for model in "$step" "$stl"; do
  copy=$work/input.${model##*.}
  cp "$model" "$copy"
  env -i PATH=/usr/bin:/bin "$prefix/bin/zulview-thumbnailer" "$copy" "$work/thumb.png" 256 || fail "the thumbnailer on $model"
  [ "$(size_of "$work/thumb.png" 2>/dev/null)" = "256 256" ] || fail "the thumbnail of $model is not 256 x 256"
  rm -f "$work/thumb.png"
done

# The Debian package.
(cd "$build" && cpack -G DEB -B "$work/package" >/dev/null) || fail "cpack -G DEB"
deb=$(ls "$work"/package/*.deb 2>/dev/null | head -1)
if [ -n "$deb" ]; then
  depends=$(dpkg-deb -f "$deb" Depends)
  for lib in libvtk9 libocct-data-exchange libassimp5 libqt5widgets5 libsqlite3-0 xvfb; do
    [[ $depends == *"$lib"* ]] || fail "the package does not depend on $lib: $depends"
  done
  [ "$(dpkg-deb -f "$deb" Section)" = graphics ] || fail "the package's section"
  contents=$(dpkg-deb -c "$deb")
  for f in ./usr/share/applications/zulview.desktop ./usr/share/thumbnailers/zulview.thumbnailer \
           ./usr/share/mime/packages/zulview.xml ./usr/lib/zul/KRAdvancedViews.so ./usr/bin/zulview; do
    [[ $contents == *" $f"* ]] || fail "the package does not hold $f"
  done
else
  fail "cpack made no package"
fi
[ $failed = 0 ] && echo "installed, used, validated and packaged"
exit $failed
