#!/usr/bin/env python3
"""Kills a job of tiles at random moments, goes on each time, and wants the same files in the end.

    scripts/tiles_kill.py [--kills 20] [--seed 1] COMMAND...

The word JOB in the command stands for the folder of the job, such as in

    scripts/tiles_kill.py build/release/apps/zef/zef tiles scan.las --job JOB --cuts 2x2x1 --workers 2
.
First the command runs undisturbed. Then, at any moment of the time that this took, one of its processes is killed, or all of
them, and where it has ended the same command comes again; where it has done its job another begins, until all kills are spent.
Whenever it says that it has done its job, the files must be those of the first run, but for the records under done/. What
killed processes leave besides is counted. Ends with 1 if a file differs, or if the command fails without having been killed.
"""
import argparse
import hashlib
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time


def files_of(job):
    """Digests of all files but the records, by name."""
    found = {}
    for folder, _, names in os.walk(job):
        for name in names:
            path = os.path.join(folder, name)
            if os.path.basename(folder) != "done":
                with open(path, "rb") as file:
                    found[os.path.relpath(path, job)] = hashlib.file_digest(file, "sha256").hexdigest()
    return found


def start(command, job, errors):
    words = [word.replace("JOB", job) for word in command]
    return subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors, start_new_session=True)


def session_of(pid):
    """The processes that a command has started, itself first."""
    found = []
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/stat", encoding="utf-8", errors="replace") as file:
                words = file.read().rsplit(")", 1)[1].split()
        except (FileNotFoundError, ProcessLookupError):
            continue
        if int(words[3]) == pid and words[0] != "Z":
            found.append(int(name))
    return sorted(found, key=lambda other: (other != pid, other))


def kill(pids):
    for pid in pids:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass  # it has ended meanwhile


def wait(process, seconds):
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None


class Trial:
    def __init__(self, command, folder):
        self.command, self.folder, self.number = command, folder, 0
        self.num_strays = self.num_faults = self.num_ends = 0
        self.job = os.path.join(folder, "job")
        self.errors = os.path.join(folder, "errors")
        begin = time.monotonic()
        if self.run().wait() != 0:
            sys.exit(f"tiles_kill: the command fails undisturbed:\n{self.told()}")
        self.seconds = time.monotonic() - begin
        self.wanted = files_of(self.job)

    def run(self):
        with open(self.errors, "w", encoding="utf-8") as errors:
            return start(self.command, self.job, errors)

    def told(self):
        with open(self.errors, encoding="utf-8", errors="replace") as file:
            return file.read()[-2000:]

    def fault(self, text):
        print("FAULT:", text)
        self.num_faults += 1

    def judge(self):
        """The command says that the job is done."""
        there = files_of(self.job)
        for name, digest in self.wanted.items():
            if there.get(name) != digest:
                self.fault(f"{name} {'differs' if name in there else 'is missing'}")
        self.num_strays += len(there.keys() - self.wanted.keys())
        self.num_ends += 1
        self.renew()

    def renew(self):
        """At the same place, since the name may stand in the files."""
        shutil.rmtree(self.job, ignore_errors=True)

    def disturb(self, draws, num_kills):
        """Runs the command again and again, until so many kills are spent and it has ended by itself."""
        self.renew()
        while num_kills or os.path.exists(self.job):
            process, was_killed = self.run(), False
            while process.poll() is None:
                if not num_kills:
                    process.wait()
                elif wait(process, draws.uniform(0.0, self.seconds)) is None:
                    pids = session_of(process.pid)
                    victims = [draws.choice(pids[1:])] if len(pids) > 1 and draws.random() < 0.5 else pids
                    print(f"{num_kills} left: killing {len(victims)} of {len(pids)}", flush=True)
                    kill(victims)
                    num_kills, was_killed = num_kills - 1, True
                    wait(process, 0.05)
            kill(session_of(process.pid))  # where the first process alone has ended
            if process.returncode == 0:
                self.judge()
            elif not was_killed:
                self.fault(f"it ends with {process.returncode}:\n{self.told()}")
                return


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kills", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    if not any("JOB" in word for word in options.command):
        parser.error("the word JOB must stand in the command, for the folder of the job")
    with tempfile.TemporaryDirectory() as folder:
        trial = Trial(options.command, folder)
        print(f"undisturbed: {trial.seconds:.1f} s, {len(trial.wanted)} files")
        trial.disturb(random.Random(options.seed), options.kills)
        print(f"{options.kills} kills, {trial.num_ends} jobs done, {trial.num_strays} files left by what was killed, "
              f"{trial.num_faults} faults")
    sys.exit(1 if trial.num_faults else 0)


if __name__ == "__main__":
    main()
