#!/usr/bin/env python3
"""Measures what the tests notice: plants small faults, one at a time, and runs the tests.

    scripts/plant_faults.py                        60 faults, seed 1, in build/release
    scripts/plant_faults.py -n 20 --seed 7 --build build/debug -j 1
    scripts/plant_faults.py --list faults.json     keeps the faults for a later comparison
    scripts/plant_faults.py --apply faults.json    plants those, in this or another checkout
    scripts/plant_faults.py --dry                  shows what would be planted, builds nothing

Wants a clean checkout and a configured build folder; every file is restored, on Ctrl-C as well.

A fault changes one line of one source or header of the library or of the tool. It is drawn in
turns from the folders of dev/src_lib and apps/zef, there from the kinds that the folder offers,
and then from all places of that kind:

    comparison   < to <=, == to !=, ...     constant   3 to 4 or 2, 0.5 to 1.0
    term         a && b to a, a + b to a    sign       + to -, += to -=
    boolean      true to false

Comments, strings, preprocessor lines, assertions, template arguments and what makes a message
(behind `throw`, showWarning(), ...) are left alone. So are statements that only decide how fast
something goes, where a fault would change no result: the words of `speed_words` below tell
them. A fault that does not compile, or after which every program is the same byte for byte, is
replaced by the next of its folder.

For each fault the test program of its own folder is built and run first, then the others from the
quickest to the slowest, until one fails, crashes or takes far more processor time than usual, or
more seconds than the limit (raise it on a busy machine): then the fault was noticed. Programs
that the fault leaves as they are do not run. Beside the programs, `--slow` runs the scripts
`install`, `same_bytes` and `gltf` of ctest.

A fault that nothing notices is a gap of the tests, or changes no result: look at it.
The file of --list holds for each fault the file's name without folder, the old line, which
occurrence of that line it is, and the new line; so it outlives files that move. What no longer
exists is told and left out.
"""

import argparse
import contextlib
import hashlib
import json
import os
import random
import re
import resource
import signal
import subprocess
import sys
from collections import namedtuple
from pathlib import Path

Site = namedtuple("Site", "path number old new kind")  # number: of the line, from 0

# Whole statements with one of these are left alone: they choose chunk sizes, numbers of threads,
# memory held ready, shares of the progress and how often it is told, set limits that only files
# of gigabytes reach, or are asserted and so checked already.
speed_words = re.compile(
    r"min\w*Chunk|minBlocks|[cC]hunkSize|\w*[rR]eserve|shrink_to_fit|parallelSize|\w*[cC]apacity|growth\b"
    r"|[nN]umThreads|[nN]otif\w*|\w*Progress|runPlanned|[tT]icks?\b|[tT]odo\b|__builtin|prefetch|hugePage|maxLeaf|fanOut"
    r"|maxVertices|maxTriangles|[mM]emoryLimit|ASSEX|static_assert|\bassert\b")
message_words = re.compile(r"\bthrow\b|\bshow[A-Z]\w*\(|std::c(out|err)\b|\bwhat\(|Exception\(")
slow_tests = ("install", "same_bytes", "gltf")
max_memory = 8 << 30  # bytes of address space that a faulty program may take
max_file = 8 << 30  # a test writes one of five gigabytes, mostly a hole


# ---------------------------------------------------------------- places for faults

def blank_out(text):
    """The text with comments, and what strings and characters hold, as blanks."""
    pattern = re.compile(
        r'//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'', re.S)

    def blanks(match):
        found = match.group()
        inner = re.sub(r"[^\n]", " ", found)
        return inner if found[0] == "/" else '"' + inner[1:-1] + '"'

    text = pattern.sub(blanks, text)
    text = re.sub(r"^[ \t]*#(?:.*\\\n)*.*$", lambda m: re.sub(r"[^\n]", " ", m.group()), text, flags=re.M)
    arguments = re.compile(r"(?<=[\w:])<(?![\s=<])[^<>;(){}]*>")
    while arguments.search(text):
        text = arguments.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)
    return text


def statements(code):
    """(first line, behind the last line) of each statement, roughly."""
    first = 0
    for number, line in enumerate(code):
        if re.search(r"[;{}:]\s*$", line) or not line.strip():
            yield first, number + 1
            first = number + 1


def term_end(code, begin, in_condition):
    """Where the operand that begins there ends, or None if it goes on in the next line."""
    behind = r" (&&|\|\||\?|:)( |$)" if in_condition else r" (&&|\|\||[-+<>?:=|&^]|[<>=!]=|<<|>>)( |$)"
    depth = 0
    for place in range(begin, len(code)):
        char = code[place]
        if char in "([{":
            depth += 1
        elif char in ")]}":
            if depth == 0:
                return place
            depth -= 1
        elif depth == 0:
            if char in ",;":
                return place
            if re.match(behind, code[place:]):
                return place
    return len(code) if depth == 0 else None


def shift_constant(number, suffix, rng):
    digits = number.replace("'", "")
    if digits.lower().startswith("0x"):
        return f"0x{int(digits, 16) + 1:x}{suffix}"
    if re.search(r"[.eE]", digits) or suffix in ("f", "F"):
        return (repr(float(digits) * 2) if float(digits) else "1.0") + suffix
    value = int(digits, 8 if re.fullmatch("0[0-7]+", digits) else 10)
    return str(value + (rng.choice((1, -1)) if value else 1)) + suffix


def changes_of_line(code, rng):
    """Yields (kind, begin, end, text instead) for the blanked line."""
    flipped = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
    for m in re.finditer(r"(?<=\s)([<>=!]=|[<>])(?=\s|$)", code):
        yield "comparison", m.start(), m.end(), flipped[m.group()]
    declares_array = re.search(r"(?<!return)(?<!delete)[\w>*&] [\w]+\[\d+\]", code)
    if not declares_array and not re.search(r"\)[\w ]*= 0;", code):
        number = r"(?<![\w.'])(0[xX][\da-fA-F']+|\d[\d']*(?:\.\d*)?(?:[eE][-+]?\d+)?)([uUlLfF]*)(?![\w.'])"
        for m in re.finditer(number, code):
            yield "constant", m.start(), m.end(), shift_constant(m.group(1), m.group(2), rng)
    for m in re.finditer(r" (&&|\|\||[-+]) (?=\S)", code):
        if m.group(1) in "+-" and '"' in code:
            continue  # text is put together
        if m.group(1) in "+-":
            yield "sign", m.start(1), m.end(1), "+-"[m.group(1) == "+"]
        end = term_end(code, m.end(), m.group(1) not in "+-")
        if end is not None:
            yield "term", m.start(), end, ""
    for m in re.finditer(r" ([-+])= ", code):
        if '"' not in code:
            yield "sign", m.start(1), m.end(1), "+-"[m.group(1) == "+"]
    for m in re.finditer(r"\b(true|false)\b", code):
        yield "boolean", m.start(), m.end(), "false" if m.group() == "true" else "true"


def sites_of_file(path, rng):
    text = path.read_text()
    lines, code = text.split("\n"), blank_out(text).split("\n")
    for first, end in statements(code):
        if speed_words.search(" ".join(code[first:end])):
            continue
        for number in range(first, end):
            message = message_words.search(code[number])
            for kind, begin, behind, instead in changes_of_line(code[number], rng):
                if message and begin > message.start():
                    continue
                old = lines[number]
                yield Site(path, number, old, old[:begin] + instead + old[behind:], kind)
            if message:
                break


def is_source(path):
    return path.suffix in (".cpp", ".h")


def draw(root, seed):
    """Endless list of sites, folder after folder in turns, as long as they last."""
    folders = sorted(p for p in (root / "dev/src_lib").iterdir() if p.is_dir()) + [root / "apps/zef"]
    draws = []
    for folder in folders:
        rng = random.Random(f"{seed} {folder.name}")
        kinds = {}
        for path in sorted(filter(is_source, folder.rglob("*"))):
            for site in sites_of_file(path, rng):
                kinds.setdefault(site.kind, []).append(site)
        draws.append(draw_in_folder(kinds, rng))
    random.Random(seed).shuffle(draws)
    while draws:
        for in_folder in list(draws):
            site = next(in_folder, None)
            if site:
                yield [site, in_folder]
            else:
                draws.remove(in_folder)


def draw_in_folder(kinds, rng):
    lines = set()
    while kinds:
        kind = rng.choice(sorted(kinds))
        site = kinds[kind].pop(rng.randrange(len(kinds[kind])))
        if not kinds[kind]:
            del kinds[kind]
        if (site.path, site.number) not in lines:
            lines.add((site.path, site.number))
            yield site


# ---------------------------------------------------------------- lists of faults

def to_entry(site):
    lines = site.path.read_text().split("\n")
    return {"file": site.path.name, "old": site.old, "occurrence": lines[:site.number].count(site.old) + 1,
            "new": site.new, "kind": site.kind}


def from_entry(entry, root):
    """The site in this checkout, or None."""
    tracked = subprocess.run(["git", "ls-files", "*/" + entry["file"]], cwd=root, text=True, capture_output=True)
    for name in tracked.stdout.split():
        if name.split("/")[0] in ("tests", "bench", "examples"):
            continue
        numbers = [i for i, line in enumerate((root / name).read_text().split("\n")) if line == entry["old"]]
        if len(numbers) >= entry["occurrence"]:
            return Site(root / name, numbers[entry["occurrence"] - 1], entry["old"], entry["new"], entry["kind"])
    return None


# ---------------------------------------------------------------- building and running

@contextlib.contextmanager
def fault(site):
    """Plants it as long as it is open."""
    text = site.path.read_text()
    lines = text.split("\n")
    assert lines[site.number] == site.old
    lines[site.number] = site.new
    try:
        site.path.write_text("\n".join(lines))
        yield
    finally:
        site.path.write_text(text)  # newer than what was built with the fault


class Broken(Exception):
    """The build fails."""


class Tests:
    """The test programs of a build folder, quickest first."""

    def __init__(self, build, jobs, limit, slow):
        self.build, self.jobs, self.limit = build, jobs, limit
        self.compile("all" if slow else None)
        self.programs = sorted(p for p in (build / "tests").rglob("test_*")
                               if p.is_file() and os.access(p, os.X_OK) and p.suffix == "")
        self.tools = [p for folder in ("apps", "examples") for p in (build / folder).rglob("*")
                      if p.is_file() and os.access(p, os.X_OK) and b"\x7fELF" == p.read_bytes()[:4]]
        self.slow = slow_tests if slow else ()
        self.prints = {p: self.print_of(p) for p in self.programs}
        self.seconds = {}  # of the processor
        for program in self.programs:
            begin = processor_seconds()
            failure = self.run_program(program, 600)
            if failure:
                sys.exit(f"{program.name} fails without any fault: {failure}")
            self.seconds[program] = processor_seconds() - begin
        self.programs.sort(key=self.seconds.get)

    def compile(self, target):
        command = ["cmake", "--build", self.build, "-j", str(self.jobs)]
        command += ["--target", target] if target else []
        if subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode:
            raise Broken

    def print_of(self, program):
        """Of the program's bytes, and of the tools that it starts."""
        data = program.read_bytes()
        digest = hashlib.sha256(data)
        for tool in self.tools:
            if bytes(tool) in data:
                digest.update(tool.read_bytes())
        return digest.digest()

    def run_program(self, program, seconds):
        """What failed, or None; seconds: of the processor that it may take."""
        command = [program, "--gtest_fail_fast", "--gtest_color=no"]
        failure, output = run_limited(command, program.parent, self.limit, seconds)
        if failure:
            cases = re.findall(r"^\[  FAILED  \] (\S+?)[,\s]", output, re.M)
            running = re.findall(r"^\[ RUN      \] (\S+)", output, re.M)
            failure = f"{cases[0]}" if cases else f"{(running or ['?'])[-1]} ({failure})"
        return failure

    def first_failure(self, folder):
        """(what noticed, or None; whether any program changed)"""
        own = "test_" + {"zef": "tool"}.get(folder, folder)
        changed = False
        for program in sorted(self.programs, key=lambda p: p.name != own):
            self.compile(program.name)
            if self.print_of(program) == self.prints[program]:
                continue
            changed = True
            failure = self.run_program(program, 10 + 10 * self.seconds[program])
            if failure:
                return f"{program.name} {failure}", True
        if self.slow and changed:
            self.compile("all")
            for test in self.slow:
                command = ["ctest", "--test-dir", self.build, "-R", f"^{test}$", "--timeout", "600"]
                failure, _ = run_limited(command, self.build, 900)
                if failure:
                    return test, True
        return None, changed


def processor_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run_limited(command, folder, limit, seconds=None):
    """(why it failed or None, what it printed); kills all that it started. With seconds of the
    processor, its memory and files are limited as well."""
    def set_limits():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if seconds:
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 6))
            resource.setrlimit(resource.RLIMIT_AS, (max_memory, max_memory))
            resource.setrlimit(resource.RLIMIT_FSIZE, (max_file, max_file))

    process = subprocess.Popen(command, cwd=folder, text=True, errors="replace", stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                               preexec_fn=set_limits)
    try:
        output, _ = process.communicate(timeout=limit)
    except subprocess.TimeoutExpired as late:
        return f"after {limit:.0f} s", (late.stdout or b"").decode(errors="replace")
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
    code = process.returncode
    if code == -signal.SIGXCPU:
        return f"after {seconds:.0f} s of the processor", output
    return (None if code == 0 else f"signal {-code}" if code < 0 else f"status {code}"), output


# ---------------------------------------------------------------- the table

def folder_of(site, root):
    names = site.path.relative_to(root).parts
    return "zef" if names[0] == "apps" else names[-2]


def describe(site):
    """What changed: the differing part of both lines, with the word around it."""
    old, new = site.old.strip(), site.new.strip()
    begin = len(os.path.commonprefix([old, new]))
    tail = len(os.path.commonprefix([old[begin:][::-1], new[begin:][::-1]]))
    begin = max(begin - 12, 0)
    tail = max(tail - 12, 0)
    return f"{old[begin:len(old) - tail]}  ->  {new[begin:len(new) - tail]}"


def print_row(site, root, answer):
    place = f"{site.path.name}:{site.number + 1}"
    print(f"{folder_of(site, root):10} {place:28} {site.kind:10} {describe(site):60} {answer}", flush=True)


def print_totals(rows, root):
    """rows: (site, answer or None)"""
    print("\nfolder     noticed  of them by its own tests")
    for folder in sorted({folder_of(site, root) for site, _ in rows}):
        answers = [answer for site, answer in rows if folder_of(site, root) == folder]
        own = "test_" + {"zef": "tool"}.get(folder, folder) + " "
        noticed = [a for a in answers if a]
        print(f"{folder:10} {len(noticed):2} of {len(answers):2}  {sum(a.startswith(own) for a in noticed):2}")
    noticed = sum(bool(answer) for _, answer in rows)
    print(f"\n{noticed} of {len(rows)} noticed, {len(rows) - noticed} not")


# ---------------------------------------------------------------- main

def planted(tests, site, root):
    """(whether it counts, answer or None); prints its row."""
    try:
        with fault(site):
            answer, changed = tests.first_failure(folder_of(site, root))
    except Broken:
        print_row(site, root, "(does not compile)")
        return False, None
    if not changed:
        print_row(site, root, "(changes no program)")
        return False, None
    print_row(site, root, answer or "NOT NOTICED")
    return True, answer


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("-n", "--number", type=int, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--build", default="build/release", help="configured build folder")
    parser.add_argument("-j", "--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--limit", type=float, default=120, help="seconds for a test program")
    parser.add_argument("--slow", action="store_true", help="also " + ", ".join(slow_tests))
    parser.add_argument("--list", metavar="FILE", help="write the faults there")
    parser.add_argument("--apply", metavar="FILE", help="plant these faults instead")
    parser.add_argument("--dry", action="store_true", help="only show the faults")
    options = parser.parse_args()
    root = Path(__file__).resolve().parent.parent

    if options.apply:
        sites = []
        for entry in json.loads(Path(options.apply).read_text()):
            site = from_entry(entry, root)
            if site:
                sites.append([site, iter(())])
            else:
                print(f"{entry['file']}: no longer there: {entry['old'].strip()}")
    else:
        sites = draw(root, options.seed)
    if options.dry:
        for (site, _), _ in zip(sites, range(options.number)):
            print_row(site, root, "")
        return

    changes = subprocess.run(["git", "status", "--porcelain", "--untracked-files=no"], cwd=root, text=True,
                             capture_output=True, check=True).stdout
    if changes:
        sys.exit("the checkout is not clean:\n" + changes)
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    signal.signal(signal.SIGHUP, signal.default_int_handler)
    rows, entries = [], []
    try:
        tests = Tests((root / options.build).resolve(), options.jobs, options.limit, options.slow)
        for site, others in sites:
            if not options.apply and len(rows) == options.number:
                break
            counts, answer = planted(tests, site, root)
            while not counts and (site := next(others, None)):
                counts, answer = planted(tests, site, root)
            if counts:
                rows.append((site, answer))
                entries.append(to_entry(site))
                if options.list:
                    Path(options.list).write_text(json.dumps(entries, indent=1) + "\n")
    except Broken:
        sys.exit("the checkout does not build without any fault")
    except KeyboardInterrupt:
        print("stopped")
    print_totals(rows, root)


if __name__ == "__main__":
    main()
