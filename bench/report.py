"""Measures everything and writes table.md, results.json, ratios.dat and lookup.dat.

    report.py BUILD-DIRECTORY [ROUNDS [SOAK-OPERATIONS]]
"""

import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys

import callgrind

LAYERS = ("bare", "tessary", "SQLiteCpp")
SIZES = (10, 200, 1000, 10000)
DISK_JOBS = "^(W1|W2|D1|classify/200|setData/200) "
LONG_RUN = 2000  # calls: enough for several checkpoints of the write-ahead log


def time_once(tool, directory, *options):
    """Returns {(job, layer): microseconds}, each layer timed right after the one before it."""
    command = [tool, "--benchmark_format=json", *options]
    printed = callgrind.output_of(command, env={**os.environ, "TMPDIR": directory})
    times = {}
    for result in json.loads(printed)["benchmarks"]:
        if result.get("error_occurred"):
            sys.exit(f'{result["name"]}: {result["error_message"]}')
        job, layer = result["name"].removesuffix("/manual_time").rsplit(" ", 1)
        times[job, layer] = result["real_time"]
    return times


def summarise_times(rounds):
    """Returns {job: {layer: {"microseconds", "ratio"}}}: medians, the ratios taken round by round."""
    table = {}
    for job, layer in rounds[0]:
        entry = {"microseconds": statistics.median(times[job, layer] for times in rounds)}
        if (job, "bare") in rounds[0]:
            entry["ratio"] = statistics.median(times[job, layer] / times[job, "bare"] for times in rounds)
        table.setdefault(job, {})[layer] = entry
    return table


def by_job(jobs):
    table = {}
    for job in jobs:
        table.setdefault(job["job"], {})[job["layer"]] = job
    return table


def markdown(heads, rows):
    lines = [heads, ["---"] + ["---:"] * (len(heads) - 1), *rows]
    return "\n".join("| " + " | ".join(str(cell) for cell in line) + " |" for line in lines) + "\n"


def store_table(results):
    rows = []
    for name, layers in by_job(results["store"]).items():
        bare, ours, other = (layers[layer] for layer in LAYERS)
        times = results["times"][name]
        goal = f'{ours["goal"]:.3f}' if ours["goal"] else ""
        rows.append([
            name, f'{bare["instructions"]:,.0f}', f'{other["instructions"] / bare["instructions"]:.3f}',
            f'{ours["instructions"] / bare["instructions"]:.3f}', goal, f'{ours["outside"]:,.0f}',
            f'{100 * ours["outside"] / ours["instructions"]:.1f} %', ours["allocations"]["median"],
            bare["allocations"]["median"], f'{times["tessary"]["ratio"]:.3f}', f'{times["SQLiteCpp"]["ratio"]:.3f}',
        ])
    return markdown(["job", "bare, instructions", "SQLiteCpp", "tessary", "goal", "outside SQLite", "share", "heap",
                     "heap, bare", "time, tessary", "time, SQLiteCpp"], rows)


def feature_table(results):
    times = results["times"]
    rows = []
    for name in dict.fromkeys(job["job"].split("/")[0] for job in results["feature"]):
        jobs = by_job(results["feature"])
        rows.append([name, *(f'{times[f"{name}/{size}"]["feature"]["microseconds"]:.0f}' for size in SIZES),
                     *(f'{jobs[f"{name}/{size}"]["feature"]["instructions"]:,.0f}' for size in (10, 10000)),
                     jobs[f"{name}/200"]["feature"]["allocations"]["median"]])
    return markdown(["operation", *(f"µs at {size}" for size in SIZES), "instructions at 10", "at 10000", "heap"], rows)


def flash_table(results):
    rows = []
    for job in results["longRun"]:
        name, size = job["job"].split("/")
        if int(size) == 200:
            rows.append([name, job["syncs"]["median"], f'{job["bytes"]["median"]:,}', f'{job["syncs"]["mean"]:.3f}',
                         f'{job["bytes"]["mean"]:,.0f}', job["syncs"]["most"], f'{job["bytes"]["most"]:,}'])
    return markdown(["operation", "fdatasync", "bytes", "fdatasync, mean", "bytes, mean", "fdatasync, most",
                     "bytes, most"], rows)


def disk_table(results):
    rows = [[name, *(f'{layers[layer]["microseconds"]:.0f}' if layer in layers else "" for layer in LAYERS),
             f'{layers["tessary"]["ratio"]:.3f}' if "tessary" in layers else "",
             f'{layers["feature"]["microseconds"]:.0f}' if "feature" in layers else ""]
            for name, layers in results["timesOnDisk"].items()]
    return markdown(["job", "bare, µs", "tessary, µs", "SQLiteCpp, µs", "tessary, ratio", "feature, µs"], rows)


def machine():
    cpu = next((line.partition(": ")[2] for line in open("/proc/cpuinfo") if line.startswith("model name")), "unknown")
    compiler = subprocess.run(["g++", "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout
    return {"cpu": cpu.strip(), "cores": os.cpu_count(), "kernel": platform.release(),
            "compiler": compiler.splitlines()[0], "allocator": " ".join(platform.libc_ver())}


def measure(build, rounds, operations):
    tools = build / "bin"
    counts = str(tools / "counts")
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else os.environ.get("TMPDIR", "/tmp")
    disk = str(build)
    os.environ["TMPDIR"] = memory
    soak = subprocess.run([str(tools / "soak"), str(operations)], stdout=subprocess.PIPE, text=True, check=True)
    return {
        "machine": machine(),
        "rounds": rounds,
        "store": callgrind.count(counts, "store"),
        "feature": callgrind.count(counts, "feature"),
        "longRun": callgrind.run(counts, "feature", str(LONG_RUN)),
        "times": summarise_times([time_once(str(tools / "times"), memory, "--benchmark_min_time=0.01")
                                  for _ in range(rounds)]),
        "timesOnDisk": summarise_times([time_once(str(tools / "times"), disk, "--benchmark_min_time=0.01",
                                                  f"--benchmark_filter={DISK_JOBS}") for _ in range(rounds)]),
        "soak": json.loads(soak.stdout),
    }


def write_charts(results, build):
    ratios = callgrind.ratios(results["store"])
    lines = [f'"{name}" {layers["SQLiteCpp"]:.4f} {layers["tessary"]:.4f}' for name, layers in ratios.items()]
    (build / "ratios.dat").write_text("\n".join(lines) + "\n")
    times = results["times"]
    lines = [f'{size} {times[f"getData/{size}"]["feature"]["microseconds"]:.2f}'
             f' {times[f"Q1/{size}"]["bare"]["microseconds"]:.2f}' for size in SIZES]
    (build / "lookup.dat").write_text("\n".join(lines) + "\n")


def main(build, rounds="25", operations="1000000"):
    build = pathlib.Path(build).resolve()
    results = measure(build, int(rounds), int(operations))
    (build / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    write_charts(results, build)
    soak = results["soak"]
    text = "\n".join([
        ", ".join(str(value) for value in results["machine"].values()) + "\n",
        store_table(results), feature_table(results), flash_table(results), disk_table(results),
        f'{soak["operations"]:,} mixed operations: resident memory {soak["residentKiB"]:,} KiB after the first tenth, '
        f'{soak["growthKiB"]:+} KiB at the end.\n'])
    (build / "table.md").write_text(text)
    print(text)


if __name__ == "__main__":
    main(*sys.argv[1:])
