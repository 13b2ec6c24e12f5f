#!/usr/bin/env python3
"""Runs every command of the tool with too little memory.

    scripts/little_memory.py build/release/apps/zef/zef [--step 10] [--only COMMAND] [--threads 8]

The address space is limited to 10, 10 + step, ... 320 megabytes. Each run must end with status 0, or with 1 and one line
on standard error; with anything else, or after a minute, it is at fault, and so is one that fails and leaves its output.
A line for each command: from which size on it succeeds, and its faults. Sizes in which not even the version can be
printed do not count.
"""
import argparse
import math
import os
import resource
import subprocess
import sys
import tempfile

COMMANDS = {
    "info": "scan.ply",
    "spacing": "scan.ply",
    "convert": "scan.ply -o out.xyz",
    "reconstruct": "scan.ply -o out.ply",
    "tiles": "scan.ply --job job --step plan",
    "recipe": "",
    "formats": "",
    "melt": "mesh.ply -o out.ply",
    "resample": "mesh.ply -o out.ply",
    "refit": "mesh.ply scan.ply -o out.ply",
    "mend": "mesh.ply -o out.ply",
    "flip": "mesh.ply -o out.ply",
    "anneal": "mesh.ply -o out.ply",
    "reduce": "mesh.ply --error 0.01 -o out.ply",
    "smooth": "mesh.ply -o out.ply",
    "colour": "mesh.ply --fill -o out.ply",
    "holes": "mesh.ply",
    "check": "mesh.ply --deep",
    "compare": "mesh.ply scan.ply",
    "view": "mesh.ply --png out.png",
}


def points_of_sphere(number):
    turn = math.pi * (3.0 - math.sqrt(5.0))
    for i in range(number):
        z = 1.0 - 2.0 * (i + 0.5) / number
        radius = math.sqrt(1.0 - z * z)
        yield radius * math.cos(turn * i), radius * math.sin(turn * i), z


def run(tool, arguments, folder, megabytes=None):
    """Status and the lines on standard error that tell why; warnings and hints do not."""

    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if megabytes:
            resource.setrlimit(resource.RLIMIT_AS, (megabytes << 20, megabytes << 20))

    try:
        ended = subprocess.run([tool] + arguments, cwd=folder, preexec_fn=limit, capture_output=True, timeout=60, check=False)
    except subprocess.TimeoutExpired:
        return "no end", []
    lines = ended.stderr.decode(errors="replace").splitlines()
    return ended.returncode, [line for line in lines if not line.startswith(("zef: warning:", "zef: hint:"))]


def fault_of(status, lines, output):
    if status == 0:
        return ""
    if status != 1 or len(lines) != 1 or not lines[0].startswith("zef: "):
        return f"status {status}, {lines}"
    return f"left {output} behind" if os.path.exists(output) else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tool")
    parser.add_argument("--step", type=int, default=10, help="megabytes")
    parser.add_argument("--only", choices=COMMANDS)
    parser.add_argument("--threads", default="8")
    options = parser.parse_args()
    tool = os.path.abspath(options.tool)
    num_runs = num_faults = 0
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "scan.xyz"), "w", encoding="ascii") as out:
            out.writelines("%.6f %.6f %.6f\n" % p for p in points_of_sphere(30_000))
        run(tool, ["convert", "scan.xyz", "scan.ply"], folder)
        run(tool, ["reconstruct", "scan.ply", "-o", "mesh.ply"], folder)
        for command, rest in COMMANDS.items():
            if options.only not in (None, command):
                continue
            arguments = rest.split()
            output = os.path.join(folder, next((a for a in arguments if a.startswith("out.")), "none"))
            talk = [] if command in ("recipe", "formats") else ["-q", "--threads", options.threads]
            enough, faults = None, []
            for megabytes in range(10, 321, options.step):
                if run(tool, ["--version"], folder, megabytes)[0] != 0:
                    continue
                status, lines = run(tool, [command] + arguments + talk, folder, megabytes)
                fault = fault_of(0 if command == "check" and status == 1 and not lines else status, lines, output)
                num_runs += 1
                if fault:
                    faults.append(f"  {megabytes} MB: {fault}")
                if status == 0 and enough is None:
                    enough = megabytes
                if os.path.exists(output):
                    os.remove(output)
            num_faults += len(faults)
            print(f"{command:12} from {enough} MB", *faults, sep="\n" if faults else "")
    print(f"{num_runs} runs, {num_faults} faults")
    sys.exit(1 if num_faults else 0)


if __name__ == "__main__":
    main()
