"""Measures everything and prints the tables of docs/performance.md, or checks the limits.

    report.py PROGRAM [ROUNDS]     ROUNDS: how many times to measure the time (default 9)
    report.py PROGRAM check
"""

import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile

# Instructions of the row store in proportion to the plain C API, as measured. The limit is 1.5 times the measured extra
# and at least 1.5 %, because the state of the heap alone moves the ratio by 1 %.
RATIOS = {
    "lookup/10": 1.016, "lookup/200": 1.008, "lookup/1000": 1.005, "lookup/10000": 1.000, "read all/10000": 1.004,
    "insert/1": 1.021, "update/1": 1.021, "delete/1": 1.024, "insert/100": 1.115, "insert/10000": 1.133,
}

FRAME = 4096 + 24  # a page in the write-ahead log, with its header

# Syncs and bytes that a call usually takes.
DISK = {
    "getData/200": (0, 0), "classify, new/200": (1, FRAME), "classify, known/200": (1, FRAME), "weight/200": (1, FRAME),
    "setData/200": (2, 2 * FRAME), "setData, nothing new/200": (0, 0), "remove/200": (2, 2 * FRAME),
}
HEAP_OF_A_QUERY = 5

SIZES = (10, 200, 1000, 10000)
COSTS = ("syncs", "bytes", "syncs mean", "bytes mean", "syncs most", "bytes most")


def limit(ratio):
    return 1 + 1.5 * max(ratio - 1, 0.01)


def run(program, files, *options, under=()):
    """Returns {(job, layer): what Google Benchmark tells of it}. The files lie in the directory `files`.

    A call that fails is only logged and would pass for a fast one, so a line in the log ends the program."""
    command = [*under, program, "--benchmark_format=json", *options]
    done = subprocess.run(command, capture_output=True, text=True, env={**os.environ, "TMPDIR": files})
    if done.returncode != 0 or "ANDR-PERF-VEL" in done.stderr:
        sys.exit(f"{program} failed:\n{done.stderr[-2000:]}")
    results = {}
    for job in json.loads(done.stdout)["benchmarks"]:
        if job.get("error_occurred"):
            sys.exit(f'{job["name"]}: {job["error_message"]}')
        results[tuple(job["name"].split("/iterations")[0].rsplit("/", 1))] = job
    return results


def read_profile(path):
    """Returns the job's name, all its instructions, and those outside SQLite. Whatever SQLite calls, such as memory and
    file functions, counts as SQLite."""
    name, total, sqlite = "", 0, 0
    here = called = ""
    after_calls = False
    for line in path.read_text().splitlines():
        key, _, value = line.partition("=")
        if line.startswith("desc: Trigger: Client Request: "):
            name = line.rpartition(": ")[2]
        elif line.startswith("summary: "):
            total = int(line.split()[1])
        elif key == "ob":
            here = called = value
        elif key == "cob":
            called = value
        elif key == "calls":
            after_calls = True
        elif re.match(r"[0-9+*-]", line):
            # "???" are the stubs through which SQLite calls itself.
            if after_calls and "libsqlite3" in called and "libsqlite3" not in here and here != "???":
                sqlite += int(line.split()[1])
            after_calls, called = False, here
    return name, total, total - sqlite


def count_instructions(program, files, jobs=""):
    """Adds "instructions" and "outside" to the results of `run`, for one call each."""
    with tempfile.TemporaryDirectory() as directory:
        valgrind = ["valgrind", "--quiet", "--tool=callgrind", "--collect-atstart=no", "--compress-strings=no",
                    f"--callgrind-out-file={directory}/profile"]
        results = run(program, files, f"--benchmark_filter={jobs}", under=valgrind)
        for name, total, outside in map(read_profile, pathlib.Path(directory).iterdir()):
            if name:
                job = results[tuple(name.rsplit("/", 1))]
                job["instructions"] = total / job["iterations"]
                job["outside"] = outside / job["iterations"]
    return results


def ratio(results, job, layer, figure="instructions"):
    return results[job, layer][figure] / results[job, "bare"][figure]


def check(program, files):
    counts = count_instructions(program, files, "/(bare|tessary)")
    calls = run(program, files, "--benchmark_filter=/feature")
    failures = []
    for job, measured in RATIOS.items():
        now = ratio(counts, job, "tessary")
        print(f"{job:20} {now:.4f} times the instructions of the plain C API, limit {limit(measured):.4f}")
        if now > limit(measured):
            failures.append(f"{job}: {now:.4f} times the instructions of the plain C API")
    for job, expected in DISK.items():
        counted = (calls[job, "feature"]["syncs"], calls[job, "feature"]["bytes"])
        if counted != expected:
            failures.append(f"{job}: syncs and bytes {counted}, not {expected}")
    heap = calls["getData/200", "feature"]["heap most"]
    if heap > HEAP_OF_A_QUERY:
        failures.append(f"getData: {heap} allocations, not {HEAP_OF_A_QUERY}")
    for failure in failures:
        print("FAILED", failure)
    return 1 if failures else 0


def table(heads, rows):
    lines = [heads, ["---"] + ["---:"] * (len(heads) - 1), *rows]
    print("\n".join("| " + " | ".join(str(cell) for cell in line) + " |" for line in lines) + "\n")


def number(value):
    return f"{value:,.0f}" if value == int(value) else f"{value:,.3f}" if value < 100 else f"{value:,.0f}"


def time(rounds, job, layer):
    return statistics.median(results[job, layer]["real_time"] for results in rounds)


def report(program, files, disk, times):
    counts = count_instructions(program, files)
    rounds = [run(program, files) for _ in range(times)]
    calls = rounds[0]
    on_disk = [run(program, disk, "--benchmark_filter=/200/feature")]
    jobs = [job for job, layer in counts if layer == "feature"]

    cpu = next((line.partition(": ")[2] for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
    print(f'{cpu.strip()}, {os.cpu_count()} cores, {platform.machine()}, Linux {platform.release()}, '
          f'{" ".join(platform.libc_ver())}\n')

    table(["call, 200 applications", "instructions", "heap", "µs in memory", "µs on disk", *COSTS],
          [[job.split("/")[0], number(round(counts[job, "feature"]["instructions"])),
            number(calls[job, "feature"]["heap"]), f'{time(rounds, job, "feature"):.0f}', f'{time(on_disk, job, "feature"):.0f}',
            *(number(calls[job, "feature"][cost]) for cost in COSTS)] for job in jobs if job.endswith("/200")])

    names = [job.removesuffix("/10") for job in jobs if job.endswith("/10")]
    table(["call", *(f"µs at {size:,}" for size in SIZES), *(f"instructions at {size:,}" for size in SIZES)],
          [[name, *(f'{time(rounds, f"{name}/{size}", layer):.0f}' for size in SIZES),
            *(number(round(counts[f"{name}/{size}", layer]["instructions"])) for size in SIZES)]
           for name, layer in [*((name, "feature") for name in names), ("lookup", "bare")]])

    rows = []
    for job in RATIOS:
        bare, ours = counts[job, "bare"], counts[job, "tessary"]
        taken = [statistics.median(ratio(results, job, layer, "real_time") for results in rounds)
                 for layer in ("tessary", "SQLiteCpp")]
        rows.append([job, number(round(bare["instructions"])), f'{ratio(counts, job, "tessary"):.3f}',
                     f"{limit(RATIOS[job]):.3f}", f'{ratio(counts, job, "SQLiteCpp"):.3f}',
                     number(round(ours["outside"])), f'{100 * ours["outside"] / ours["instructions"]:.1f} %',
                     number(ours["heap"]), number(bare["heap"]), *(f"{value:.3f}" for value in taken)])
    table(["job", "bare, instructions", "tessary", "limit", "SQLiteCpp", "outside SQLite", "share", "heap",
           "heap, bare", "time, tessary", "time, SQLiteCpp"], rows)

    return 0


def main(program, mode="9"):
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else tempfile.gettempdir()
    if mode == "check":
        return check(program, memory)
    return report(program, memory, os.path.dirname(os.path.abspath(program)), int(mode))


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
