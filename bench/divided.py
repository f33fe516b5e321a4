"""What dividing an audit costs."""

import json
import shutil
import subprocess
import sys
import time

from measure import SHARE_ID, Site, summary

# In a small process of its own: what a child inherits from this one would count as its memory.
TRACE = """
import json, resource, subprocess, sys
io = lambda: {key: int(value) for key, value in (line.split(": ") for line in open("/proc/self/io"))}
before = io()
status = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
after = io()
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
print(json.dumps({"status": status, "cpu": usage.ru_utime + usage.ru_stime, "memory": usage.ru_maxrss * 1024,
                  "bytes": after["rchar"] - before["rchar"], "calls": after["syscr"] - before["syscr"]}))
"""


def traced(command):
    """Seconds, peak memory, and bytes and calls of reads of one run, of all its processes."""
    begin = time.perf_counter()
    done = subprocess.run([sys.executable, "-c", TRACE, *command.words], env=command.environment,
                          check=True, capture_output=True)
    found = {**json.loads(done.stdout), "wall": time.perf_counter() - begin}
    if found["status"] not in command.statuses:
        raise RuntimeError(f"{' '.join(command.words)}: status {found['status']}")
    return found


def divided(report, args):
    """The parts of an audit one after the other, held against one run of the whole in the same round."""
    rounds = max(3, args.runs // 3)
    for layout in args.layouts:
        for count in args.sizes:
            site = Site(args.work, layout, count, distinct=10_000, volumes=4)
            inodes = sum(1 for _ in site.root.rglob("*"))
            found = {parts: [] for parts in (1, 2, 4, 8)}
            for _ in range(rounds):
                for parts, sums in found.items():
                    # A part alone is not complete: status 8.
                    took = [traced(site.audit("--share_id", SHARE_ID, "--part", f"{part}/{parts}",
                                              statuses=(0,) if parts == 1 else (8,)))
                            for part in range(1, parts + 1)]
                    sums.append({key: (max if key in ("wall", "memory") else sum)(one[key] for one in took)
                                 for key in ("cpu", "wall", "memory", "bytes", "calls")})
            for parts, sums in found.items():
                row = {"layout": layout, "files": count, "parts": parts, "inodes": inodes, "rounds": rounds,
                       **{key: summary([one[key] for one in sums]) for key in sums[0]},
                       "ratio": summary([one["cpu"] / whole["cpu"] for one, whole in zip(sums, found[1])])}
                report.divided.append(row)
                print(row, file=sys.stderr)
            if not args.keep:
                shutil.rmtree(site.root)


def divided_table(rows):
    lines = ["| Layout | Files | Parts | CPU s, sum | Spread | of one run | Spread | Slowest part, s | Peak MiB "
             "| Bytes read per file | Reads per file | Inodes per file |", "|---|" + "---|" * 11]
    for row in rows:
        cpu, ratio, files = row["cpu"], row["ratio"], row["files"]
        lines.append(f"| {row['layout']} | {files:,} | {row['parts']} "
                     f"| {cpu['median']:.1f} | {cpu['best']:.1f} to {cpu['worst']:.1f} "
                     f"| {ratio['median']:.2f} | {ratio['best']:.2f} to {ratio['worst']:.2f} "
                     f"| {row['wall']['median']:.1f} | {row['memory']['worst'] / 2**20:.0f} "
                     f"| {row['bytes']['median'] / files:.0f} | {row['calls']['median'] / files:.1f} "
                     f"| {row['inodes'] / files:.1f} |")
    return "\n".join(lines)
