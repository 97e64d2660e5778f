#!/usr/bin/env python3
"""Open + first picture of big meshes, ours (`krviews render`) against f3d.

    bench/models_vs_peer.py [--build build/default] [--sizes 1000000,4000000]
                            [--runs 3] [--formats stl,ply,obj,glb] [--work DIR]
                            [FILE ...]

With --viewer, zulview's first frame is measured too (`zulview --first-frame`
on the same display: the time it reports, from its start to its first frame
on screen; the peak memory of its whole run), against the same runs of f3d.
With --thumbnailer, `zulview-thumbnailer FILE OUT 256` as a file manager
runs it (no display: it starts its own X server), against the same runs of
f3d (the target is under 10 s for a 1 M-triangle STL).

Makes a wavy torus of each size as binary STL, binary PLY, OBJ and GLB (in
--work, reused when already there), adds the FILEs given (a STEP file, say),
then for each file runs both programs interleaved, --runs times, each
writing an 800x600 PNG on one Xvfb display, and prints the median wall time
of each, their ratio, and the peak memory of each: the sum of the resident
memory of the program and its children (our reader helper) sampled every
10 ms while they run.
"""
import argparse
import array
import json
import math
import os
import re
import statistics
import struct
import subprocess
import sys
import tempfile
import time


def torus(triangles):
    """Points and triangles of a wavy torus of about `triangles` triangles."""
    around = max(3, int(math.sqrt(triangles / 2)) // 2)
    along = max(3, triangles // (2 * around))
    points = []
    for i in range(along):
        a = 2 * math.pi * i / along
        for j in range(around):
            b = 2 * math.pi * j / around
            r = 1 + 0.05 * math.sin(7 * a) * math.cos(5 * b)
            points.append(((3 + r * math.cos(b)) * math.cos(a),
                           (3 + r * math.cos(b)) * math.sin(a), r * math.sin(b)))
    tris = []
    for i in range(along):
        for j in range(around):
            p, q = i * around + j, ((i + 1) % along) * around + j
            p1, q1 = i * around + (j + 1) % around, ((i + 1) % along) * around + (j + 1) % around
            tris.append((p, q, q1))
            tris.append((p, q1, p1))
    return points, tris


def write_stl(path, points, tris):
    with open(path, "wb") as f:
        f.write(b"\0" * 80 + struct.pack("<I", len(tris)))
        buf = bytearray()
        for t in tris:
            buf += struct.pack("<12fH", 0, 0, 0, *points[t[0]], *points[t[1]], *points[t[2]], 0)
            if len(buf) > 1 << 24:
                f.write(buf)
                buf = bytearray()
        f.write(buf)


def write_ply(path, points, tris):
    with open(path, "wb") as f:
        f.write((f"ply\nformat binary_little_endian 1.0\nelement vertex {len(points)}\n"
                 "property float x\nproperty float y\nproperty float z\n"
                 f"element face {len(tris)}\nproperty list uchar int vertex_indices\n"
                 "end_header\n").encode())
        f.write(array.array("f", [c for p in points for c in p]).tobytes())
        f.write(b"".join(struct.pack("<B3i", 3, *t) for t in tris))


def write_obj(path, points, tris):
    with open(path, "w") as f:
        f.write("".join("v %.6f %.6f %.6f\n" % p for p in points))
        f.write("".join("f %d %d %d\n" % (t[0] + 1, t[1] + 1, t[2] + 1) for t in tris))


def write_glb(path, points, tris):
    coords = array.array("f", [c for p in points for c in p]).tobytes()
    indices = array.array("I", [i for t in tris for i in t]).tobytes()
    lo = [min(p[k] for p in points) for k in range(3)]
    hi = [max(p[k] for p in points) for k in range(3)]
    doc = {
        "asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}],
        "nodes": [{"mesh": 0}],
        "meshes": [{"primitives": [{"attributes": {"POSITION": 0}, "indices": 1}]}],
        "buffers": [{"byteLength": len(coords) + len(indices)}],
        "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": len(coords), "target": 34962},
                        {"buffer": 0, "byteOffset": len(coords), "byteLength": len(indices),
                         "target": 34963}],
        "accessors": [{"bufferView": 0, "componentType": 5126, "count": len(points),
                       "type": "VEC3", "min": lo, "max": hi},
                      {"bufferView": 1, "componentType": 5125, "count": len(tris) * 3,
                       "type": "SCALAR"}],
    }
    text = json.dumps(doc).encode()
    text += b" " * (-len(text) % 4)
    binary = coords + indices
    with open(path, "wb") as f:
        f.write(struct.pack("<III", 0x46546C67, 2, 12 + 8 + len(text) + 8 + len(binary)))
        f.write(struct.pack("<II", len(text), 0x4E4F534A) + text)
        f.write(struct.pack("<II", len(binary), 0x004E4942) + binary)


def tree_rss(root):
    """Resident kilobytes of `root` and all its descendants, plus the memory
    files they hold open (the parts our reader helper hands back live in one,
    and are memory whether or not a process maps them)."""
    children = {}
    for pid in os.listdir("/proc"):
        if not pid.isdigit():
            continue
        try:
            with open(f"/proc/{pid}/stat") as f:
                ppid = int(f.read().rsplit(")", 1)[1].split()[1])
            children.setdefault(ppid, []).append(int(pid))
        except (OSError, IndexError, ValueError):
            pass
    total, todo, memfds = 0, [root], {}
    while todo:
        pid = todo.pop()
        todo.extend(children.get(pid, []))
        try:
            with open(f"/proc/{pid}/statm") as f:
                total += int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") // 1024
            if pid != root:
                continue  # the memory file is the program's; its helper inherits it
            for fd in os.listdir(f"/proc/{pid}/fd"):
                link = f"/proc/{pid}/fd/{fd}"
                if os.readlink(link).startswith("/memfd:"):
                    st = os.stat(link)
                    memfds[st.st_ino] = st.st_blocks * 512 // 1024
        except (OSError, IndexError, ValueError):
            pass
    return total + sum(memfds.values())


def measure(command, env):
    start = time.monotonic()
    proc = subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    peak = 0
    while proc.poll() is None:
        peak = max(peak, tree_rss(proc.pid))
        time.sleep(0.01)
    elapsed = time.monotonic() - start
    out = proc.stdout.read().decode(errors="replace")
    err = proc.stderr.read().decode(errors="replace").strip()
    # zulview --first-frame says when its first frame was on screen; the
    # rest of its run is the window closing.
    said = re.search(r"first frame: ([0-9.]+) ms", out)
    if said:
        elapsed = float(said.group(1)) / 1000
    return elapsed, peak, proc.returncode, err


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/default")
    parser.add_argument("--sizes", default="1000000,4000000")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--formats", default="stl,ply,obj,glb")
    parser.add_argument("--viewer", action="store_true",
                        help="also zulview's first frame (--first-frame) of each file")
    parser.add_argument("--thumbnailer", action="store_true",
                        help="also the thumbnailer, without a display, at 256 pixels")
    parser.add_argument("--work", default=os.path.join(tempfile.gettempdir(), "zul-models-vs-peer"))
    parser.add_argument("files", nargs="*")
    args = parser.parse_args()
    krviews = os.path.abspath(os.path.join(args.build, "bin", "krviews"))
    if not os.access(krviews, os.X_OK):
        sys.exit(f"no {krviews}: build first (cmake --build --preset default)")
    if subprocess.run(["which", "f3d"], stdout=subprocess.DEVNULL).returncode != 0:
        sys.exit("f3d is not installed (scripts/setup installs it)")
    os.makedirs(args.work, exist_ok=True)
    files = []
    for size in [int(s) for s in args.sizes.split(",")]:
        mesh = None
        for ext, writer in (("stl", write_stl), ("ply", write_ply), ("obj", write_obj),
                            ("glb", write_glb)):
            if ext not in args.formats.split(","):
                continue
            path = os.path.join(args.work, f"torus-{size}.{ext}")
            if not os.path.exists(path):
                mesh = mesh or torus(size)
                writer(path + ".part", *mesh)
                os.replace(path + ".part", path)
            files.append(path)
    files += args.files

    env = dict(os.environ, ZUL_TRACE="off")
    scratch = tempfile.mkdtemp()
    env["ZUL_USER_HIVE"] = os.path.join(scratch, "user.db")
    env["ZUL_MACHINE_HIVE"] = os.path.join(scratch, "machine.db")
    env["KRAV_MODULE"] = os.path.join(os.path.dirname(krviews), "KRAdvancedViews.so")
    display = next(n for n in range(90, 200) if not os.path.exists(f"/tmp/.X{n}-lock"))
    xvfb = subprocess.Popen(["Xvfb", f":{display}", "-screen", "0", "1280x1024x24"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    env["DISPLAY"] = f":{display}"
    time.sleep(1)
    out = os.path.join(scratch, "picture.png")
    try:
        print(f"{'file':32} {'ours s':>7} {'f3d s':>7} {'ratio':>6} {'ours MB':>8} {'f3d MB':>8} "
              f"{'ratio':>6}")
        programs = [("", lambda path: [krviews, "render", path, "--view", "+Isometric", "--size",
                                       "800x600", "-o", out], env)]
        if args.viewer:
            zulview = os.path.join(os.path.dirname(krviews), "zulview")
            programs.append((" (zulview)", lambda path: [zulview, "--first-frame", path], env))
        if args.thumbnailer:
            thumbnailer = os.path.join(os.path.dirname(krviews), "zulview-thumbnailer")
            sandbox = {"PATH": os.environ.get("PATH", "/usr/bin:/bin")}
            programs.append((" (thumbnailer)", lambda path: [thumbnailer, path, out, "256"],
                             sandbox))
        for path in files:
            runs = {label: [] for label, _, _ in programs}
            peer = []
            for _ in range(args.runs):
                for label, command, program_env in programs:
                    runs[label].append(measure(command(path), program_env))
                peer.append(measure(["f3d", "--output", out, "--resolution", "800,600", path],
                                    env))
            t_peer = statistics.median(r[0] for r in peer)
            m_peer = statistics.median(r[1] for r in peer) / 1024
            for label, ours in runs.items():
                name = (os.path.basename(path) + label)[:32]
                failed = [r[3] for r in ours if r[2] != 0]
                if failed:
                    print(f"{name:32} ours failed: {failed[0]}")
                    continue
                t_ours = statistics.median(r[0] for r in ours)
                m_ours = statistics.median(r[1] for r in ours) / 1024
                print(f"{name:32} {t_ours:7.2f} {t_peer:7.2f} {t_ours / t_peer:6.2f} "
                      f"{m_ours:8.0f} {m_peer:8.0f} {m_ours / max(m_peer, 1):6.2f}", flush=True)
    finally:
        xvfb.terminate()


if __name__ == "__main__":
    main()
