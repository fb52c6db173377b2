"""Runs the counting tool, alone or under callgrind, and reads the profiles."""

import collections
import json
import pathlib
import subprocess
import sys
import tempfile

SQLITE = "libsqlite3.so"
UNKNOWN = "???"  # the linkage stubs by which SQLite calls itself


def run(tool, subject, *arguments, under=()):
    """Returns what the tool prints for each job."""
    return [json.loads(line) for line in output_of([*under, tool, subject, *arguments]).splitlines()]


def output_of(command, **options):
    """Runs it and returns what it printed. A call that fails is only logged, and would be measured as one that works:
    so a line in the log ends the program."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)
    if done.returncode != 0 or "ANDR-PERF-VEL" in done.stderr:
        sys.exit(f"{command[0]} failed:\n{done.stderr[-2000:]}")
    return done.stdout


def read_profile(path):
    """Returns the job's label, the instructions of all its runs, and how many of them SQLite's calls took.

    A call into SQLite counts with all that it calls in turn: its memory and its files are part of what it costs.
    """
    label, total, inside = None, 0, 0
    here = called = ""
    after_calls = False
    for line in path.read_text().splitlines():
        key, _, value = line.partition("=")
        if line.startswith("desc: Trigger: Client Request: "):
            label = line.rpartition(": ")[2]
        elif line.startswith("summary: "):
            total = int(line.split()[1])
        elif key == "ob":
            here = called = value
        elif key == "cob":
            called = value
        elif key == "calls":
            after_calls = True
        elif line[:1] in set("0123456789+-*"):
            if after_calls and SQLITE in called and SQLITE not in here and here != UNKNOWN:
                inside += int(line.split()[1])
            after_calls, called = False, here
    return label, total, inside


def count(tool, subject):
    """Returns what the tool prints for each job, with "instructions" and "outside" (SQLite) of one run added."""
    with tempfile.TemporaryDirectory() as directory:
        valgrind = ["valgrind", "--quiet", "--tool=callgrind", "--collect-atstart=no", "--compress-strings=no"]
        jobs = run(tool, subject, under=[*valgrind, f"--callgrind-out-file={directory}/profile"])
        profiles = {label: costs for label, *costs in map(read_profile, pathlib.Path(directory).iterdir())}
    for job in jobs:
        total, inside = profiles[f'{job["job"]} {job["layer"]}']
        job["instructions"] = total / job["rounds"]
        job["outside"] = (total - inside) / job["rounds"]
    return jobs


def ratios(jobs):
    """Returns {job: {layer: instructions in proportion to those of the layer "bare"}}."""
    table = collections.defaultdict(dict)
    for job in jobs:
        table[job["job"]][job["layer"]] = job["instructions"]
    return {name: {layer: cost / costs["bare"] for layer, cost in costs.items()} for name, costs in table.items()}
