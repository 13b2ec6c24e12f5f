#!/usr/bin/env python3
"""Lets calls of the system fail under the tool, one at a time, and interrupts and kills it.

    scripts/faults.py build/release/apps/zef/zef build/release/tests/tool/libzef_faults.so [--quick] [--only WORD]

For each command and kind of call (allocations, reads, writes, opens, renames, syncs, threads, files that shrink while they are
read) the first, second, ... call fails; from the 40th on (allocations: the 400th) ever fewer of them are tried, up to the last. Then the
same with all later calls failing as well. Each run must end within a minute, with status 0 and the output that it has without
faults, or with status 1 and a line on standard error that begins with "zef: " and the file as it was before. Nothing else may lie in the folder.

LIBRARY "-": TOOL has faults of its own, as zef_faulty of a build with sanitizers has, which finds what is not freed (--kinds alloc).

Then signals (SIGINT, SIGTERM, SIGKILL) at --moments moments drawn from the time that a run takes: statuses 130, 0, or the signal; the output as it
was, or whole; nothing else in the folder, but for SIGKILL. At last a full disk (/dev/full), a pipe that nobody reads, and a folder
that cannot be written (not as root). --quick: a few of all that, for ctest. Status 1 if anything went wrong.
"""
import argparse
import math
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

COMMANDS = {
    "reconstruct": "scan.ply -o out.ply",
    "convert": "scan.ply -o out.xyz",
    "melt": "mesh.ply --spacing 1 -o out.ply",
    "mend": "mesh.ply -o out.ply",
    "reduce": "mesh.ply --error 0.01 -o out.ply",
    "flip": "mesh.ply -o out.obj",
    "check": "mesh.ply --deep",
    "compare": "mesh.ply scan.ply -o out.ply",
    "view": "mesh.ply --png out.png",
}
KINDS = ("alloc", "read", "shrink", "write", "open", "rename", "sync", "thread")
OLD = b"what was there before"


def sphere(number):
    for i in range(number):
        z, turn = 1.0 - 2.0 * (i + 0.5) / number, 2.399963 * i
        yield math.sqrt(1.0 - z * z) * math.cos(turn), math.sqrt(1.0 - z * z) * math.sin(turn), z


def bumps(side):
    """Vertices and triangles of a sheet with bumps."""
    vertices = [(x, y, 3.0 * ((7 * x + 3 * y) % 5 == 0)) for y in range(side) for x in range(side)]
    corners = [x + y * side for y in range(side - 1) for x in range(side - 1)]
    return vertices, [t for a in corners for t in ((a, a + 1, a + side), (a + 1, a + side + 1, a + side))]


def write_ply(path, vertices, faces=()):
    with open(path, "w", encoding="ascii") as out:
        out.write(f"ply\nformat ascii 1.0\nelement vertex {len(vertices)}\nproperty float x\nproperty float y\nproperty float z\n")
        out.write(f"element face {len(faces)}\nproperty list uchar int vertex_indices\n" if faces else "")
        out.write("end_header\n")
        out.writelines("%.6f %.6f %.6f\n" % tuple(v) for v in vertices)
        out.writelines("3 %d %d %d\n" % f for f in faces)


def default_signals():
    """Whatever the shell that started this ignores."""
    for kind in (signal.SIGINT, signal.SIGTERM, signal.SIGPIPE):
        signal.signal(kind, signal.SIG_DFL)


class Bench:
    """A folder with inputs, where each run finds the old output."""

    def __init__(self, tool, library, folder):
        self.tool, self.library, self.folder = os.path.abspath(tool), library, os.path.join(folder, "work")
        self.hit = os.path.join(folder, "hit")
        os.mkdir(self.folder)
        write_ply(os.path.join(self.folder, "scan.ply"), list(sphere(3_000)))
        write_ply(os.path.join(self.folder, "mesh.ply"), *bumps(40))
        self.kept = {name: open(os.path.join(self.folder, name), "rb").read() for name in os.listdir(self.folder)}
        self.whole = {}
        for command in COMMANDS:
            ended = self.start(command).wait()
            if ended not in (0, 1 if command == "check" else 0):
                sys.exit(f"{command} does not work without faults")
            self.whole[command] = self.output(command)
            self.reset(command)

    def name(self, command):
        words = COMMANDS[command].split()
        return next((word for word in words if word.startswith("out.")), None)

    def output(self, command):
        path = os.path.join(self.folder, self.name(command) or "none")
        return open(path, "rb").read() if os.path.exists(path) else None

    def reset(self, command):
        for name in os.listdir(self.folder):
            if name not in self.kept:
                os.remove(os.path.join(self.folder, name))
        for name, data in self.kept.items():
            with open(os.path.join(self.folder, name), "wb") as out:
                out.write(data)
        if self.name(command):
            with open(os.path.join(self.folder, self.name(command)), "wb") as out:
                out.write(OLD)
        if os.path.exists(self.hit):
            os.remove(self.hit)

    def start(self, command, fault=None, errors=subprocess.DEVNULL, output=subprocess.DEVNULL):
        words = COMMANDS[command].split() + ["-q", "--threads", "4"] + (["--force"] if self.name(command) else [])
        environment = dict(os.environ)
        if fault:
            environment.update(ZEF_FAULT=fault, ZEF_FAULT_HIT=self.hit)
            if self.library != "-":
                environment["LD_PRELOAD"] = os.path.abspath(self.library)
        return subprocess.Popen([self.tool, command] + words, cwd=self.folder, env=environment, stdout=output, stderr=errors,
                                preexec_fn=default_signals)

    def left(self, command):
        """What is wrong in the folder."""
        strange = [n for n in os.listdir(self.folder) if n not in self.kept and n != self.name(command)]
        if strange:
            return f"left {strange}"
        if self.output(command) not in (OLD, self.whole[command], None if not self.name(command) else OLD):
            return "output is neither old nor whole"
        return ""

    def judge(self, command, status, errors):
        lines = [line for line in errors.decode(errors="replace").splitlines() if line.strip()]
        told = [line for line in lines if line.startswith("zef: ") and not line.startswith(("zef: warning:", "zef: hint:"))]
        says_no = command == "check" and status == 1
        if status not in (0, 1):
            return f"status {status} {lines[-1:]}"
        if status == 1 and not told and not says_no:
            return "status 1 without a word"
        if status == 0 and self.name(command) and self.output(command) != self.whole[command]:
            return "status 0, but the output is another one"
        if status == 1 and self.name(command) and self.output(command) != OLD:
            return "status 1, but the output has changed"
        return self.left(command)


def calls(kind, quick):
    """1, 2, ... and ever fewer."""
    dense = (4 if quick else 400) if kind == "alloc" else (3 if quick else 40)
    number = 1
    while True:
        yield number
        number = number + 1 if number < dense else int(number * (3.0 if quick else 1.15)) + 1


def sweep(bench, command, kind, later, quick):
    faults, num, tell = [], 0, ""
    for number in calls(kind, quick):
        bench.reset(command)
        fault = f"{kind}:{number}" + ("+" if later else "")
        child = bench.start(command, fault, subprocess.PIPE)
        try:
            errors = child.communicate(timeout=60)[1]
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
            faults.append(f"{fault}: no end")
            continue
        if not os.path.exists(bench.hit):
            break
        num += 1
        tell = bench.judge(command, child.returncode, errors)
        if tell:
            faults.append(f"{fault}: {tell}")
    return num, faults


def interrupt(bench, command, kind, moments, draw):
    start = time.monotonic()
    bench.reset(command)
    bench.start(command).wait()
    whole = time.monotonic() - start
    faults, ends = [], {}
    for _ in range(moments):
        bench.reset(command)
        child = bench.start(command)
        time.sleep(draw.random() * whole)
        child.send_signal(kind)
        status = child.wait(timeout=60)
        ends[status] = ends.get(status, 0) + 1
        allowed = (0, 1, -9) if kind == signal.SIGKILL else (0, 1 if command == "check" else 0, 130, -kind)
        tell = "" if status in allowed else f"status {status}"
        if not tell:
            tell = bench.left(command)
            if kind == signal.SIGKILL and tell.startswith("left"):
                tell = ""
        if not tell and status == 130 and bench.name(command) and bench.output(command) != OLD:
            tell = "status 130, but the output has changed"
        if tell:
            faults.append(f"{kind.name}: {tell}")
    return ends, faults


def special(bench):
    """Full disk, closed pipe, read-only folder."""
    faults = []
    with open("/dev/full", "wb") as disk:
        full = subprocess.run([bench.tool, "convert", "scan.ply", "-o", "-", "-q"], cwd=bench.folder, stdout=disk,
                              stderr=subprocess.PIPE, check=False)
    if full.returncode != 1 or not full.stderr.startswith(b"zef: "):
        faults.append(f"full disk: status {full.returncode} {full.stderr}")
    reader, writer = os.pipe()
    os.close(reader)
    piped = subprocess.run([bench.tool, "convert", "scan.ply", "-o", "-", "-q"], cwd=bench.folder, stdout=writer,
                           stderr=subprocess.PIPE, check=False)
    os.close(writer)
    if piped.returncode != 1 or not piped.stderr.startswith(b"zef: "):
        faults.append(f"closed pipe: status {piped.returncode} {piped.stderr}")
    if os.geteuid() != 0:
        bench.reset("convert")
        os.remove(os.path.join(bench.folder, "out.xyz"))
        os.chmod(bench.folder, 0o500)
        locked = subprocess.run([bench.tool, "convert", "scan.ply", "-o", "out.xyz", "-q"], cwd=bench.folder, capture_output=True,
                                check=False)
        os.chmod(bench.folder, 0o700)
        if locked.returncode != 1 or b"ermission" not in locked.stderr:
            faults.append(f"read-only folder: status {locked.returncode} {locked.stderr}")
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tool")
    parser.add_argument("library")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", default="", help="commands with that in their name")
    parser.add_argument("--kinds", nargs="*", default=KINDS)
    parser.add_argument("--moments", type=int, default=200)
    options = parser.parse_args()
    commands = [c for c in COMMANDS if options.only in c]
    if options.quick:
        commands = [c for c in commands if c in ("reconstruct", "convert")]
    draw, total, faults = random.Random(1), 0, []
    moments = 5 if options.quick else options.moments
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(options.tool, options.library, folder)
        for command in commands:
            for kind in options.kinds:
                num = 0
                for later in (False, True):
                    done, bad = sweep(bench, command, kind, later, options.quick)
                    num += done
                    faults += [f"{command}, {f}" for f in bad]
                total += num
                print(f"{command:12} {kind:7} {num:5} runs with a fault", flush=True)
        if total == 0 and options.kinds:
            faults.append("no call has failed: is the library the right one?")
        for kind in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            share = {c: moments // len(commands) + (i < moments % len(commands)) for i, c in enumerate(commands)}
            ends = {}
            for command in commands:
                met, bad = interrupt(bench, command, kind, share[command], draw)
                ends = {s: ends.get(s, 0) + met.get(s, 0) for s in ends.keys() | met.keys()}
                faults += [f"{command}, {f}" for f in bad]
            total += moments
            print(f"{kind.name:12} {moments} moments, ends by status: {dict(sorted(ends.items()))}", flush=True)
        faults += special(bench)
        for command in commands:  # the next run works
            bench.reset(command)
            if bench.start(command).wait() not in (0, 1 if command == "check" else 0) or bench.output(command) != bench.whole[command]:
                faults.append(f"{command}: no longer works")
    print(f"{total} runs, {len(faults)} at fault", *faults, sep="\n")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
