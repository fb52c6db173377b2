"""Fails unless the row store keeps its limits: instructions, heap allocations, syncs and bytes written.

    goals.py COUNTS-TOOL
"""

import sys

import callgrind

WAL_FRAME = 4096 + 24  # a page and its header
ALLOCATIONS_OF_A_QUERY = 5

# Syncs and bytes of one call, when each commit changes one page.
DISK = {
    "Q1/10": (0, 0), "Q1/200": (0, 0), "Q2/10000": (0, 0),
    "W1": (1, WAL_FRAME), "W2": (1, WAL_FRAME), "D1": (1, WAL_FRAME),
    "getData/10": (0, 0), "classify/10": (1, WAL_FRAME), "retype/10": (1, WAL_FRAME), "weight/10": (1, WAL_FRAME),
    "setData/10": (2, 2 * WAL_FRAME), "setData again/10": (0, 0), "remove/10": (2, 2 * WAL_FRAME),
}


def instruction_failures(jobs):
    limits = {job["job"]: (job["goal"], job["limit"]) for job in jobs}
    for name, ratio in callgrind.ratios(jobs).items():
        goal, limit = limits[name]
        print(f'{name:10} {ratio["tessary"]:.4f}' + (f"  goal {goal:.3f}  limit {limit:.3f}" if limit else ""))
        if limit and ratio["tessary"] > limit:
            yield f'{name}: {ratio["tessary"]:.4f} times the instructions of the plain C API, limit {limit:.3f}'


def missing_failures(jobs):
    measured = {job["job"] for job in jobs}
    for name in DISK:
        if name not in measured:
            yield f"{name}: not measured"


def disk_failures(jobs):
    for job in jobs:
        expected = DISK.get(job["job"])
        counted = [(job["syncs"][kind], job["bytes"][kind]) for kind in ("median", "most")]
        if expected and any(count != expected for count in counted):
            yield f'{job["job"]} by {job["layer"]}: syncs and bytes {counted}, not {expected}'


def heap_failures(jobs):
    for job in jobs:
        most = job["allocations"]["most"]
        ours = job["layer"] in ("tessary", "feature")
        if ours and job["job"].startswith(("Q1", "getData")) and most > ALLOCATIONS_OF_A_QUERY:
            yield f'{job["job"]}: {most} heap allocations, not {ALLOCATIONS_OF_A_QUERY} at most'


def main(tool):
    store = callgrind.count(tool, "store")
    feature = callgrind.run(tool, "feature")
    failures = [*instruction_failures(store)]
    for check in (missing_failures, disk_failures, heap_failures):
        failures += check(store + feature)
    for failure in failures:
        print("FAILED", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
