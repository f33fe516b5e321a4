"""Where the processor time goes: samples of perf, by program and by what it did."""

import os
import re
import shutil
import subprocess
import sys
from collections import Counter

from measure import Site, summary

# What a sample belongs to: the first group whose pattern fits the system call it was taken in, or, outside of
# one, the file whose code ran.
GROUPS = (("status queries", r"\w*stat\w*|faccessat\w*"),
          ("opens and closes", r"open\w*|close|task_work_run"),
          ("reads", r"read|pread64|lseek"),
          ("listings", r"getdents64"),
          ("links, files and directories made and removed", r"(?:sym|un)?link(?:at)?|mkdir\w*|rmdir|rename\w*"),
          ("starts, ends and memory of processes",
           r"exec\w*|exit\w*|do_exit|v?fork|clone\w*|ret_from_fork\w*|\w*m\w*map\w*|mprotect|brk|asm_exc_page_fault|"
           r"ld-linux\S*"),
          ("C and C++ libraries", r"libc[.]so\S*|libstdc\S*|libm[.]so\S*|libgcc\S*"),
          ("checksum library", r"libxxhash\S*"),
          ("checker and storage library", r"jorvck"),
          ("audit", r"jorvaudit"))
CALL = re.compile(r"(?:__(?:x64|do|se)_sys|ksys|vfs)_(\w+)|"
                  r"(asm_exc_page_fault|do_exit|ret_from_fork\w*|task_work_run|vm_mmap_pgoff)")


def group_of(frames):
    """The group of a sample from its frames, innermost first: pairs of a symbol and a file."""
    inside = [found[1] or found[2] for symbol, _ in frames if (found := CALL.match(symbol))]
    name = inside[-1] if inside else frames[0][1].rsplit("/", 1)[-1]
    return next((group for group, pattern in GROUPS if re.fullmatch(pattern, name)), "other")


def sampled(command, data):
    """One run: the share of its samples by program and group, those of all its processes."""
    subprocess.run(["perf", "record", "--quiet", "-e", "cpu-clock", "-F", "1999", "-g", "-o", data, "--",
                    *command.words], env=command.environment, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    script = subprocess.run(["perf", "script", "-i", data, "-F", "comm,ip,sym,dso"], check=True,
                            capture_output=True, text=True, errors="replace").stdout
    counts = Counter()
    for sample in filter(None, script.split("\n\n")):
        program, *lines = sample.strip("\n").splitlines()
        frames = [(words[1], words[-1].strip("()")) for line in lines if len(words := line.split()) > 2]
        if frames:
            counts[program.split()[0], group_of(frames)] += 1
    return {key: count / counts.total() for key, count in counts.items()}


def samples(report, args):
    """Each check a third of --runs times, three times at least."""
    # Root alone sees where in the kernel a sample was taken.
    refused = "not installed" if shutil.which("perf") is None else "not root" if os.geteuid() != 0 else None
    if refused:
        report.add("samples", "perf", None, {"missing": refused})
        return
    count = 100_000
    files, tables = Site(args.work, "files", count), Site(args.work, "tables", count, volumes=4)
    large = Site(args.work, "tables", 1, volumes=1, extents=1_000_000)
    for work, command in (("metadata, extent files", files.metadata()),
                          ("metadata, tables", tables.metadata()),
                          ("data, 4 volumes", tables.data()),
                          ("data, one file of 1,000,000 extents", large.data()),
                          ("audit, extent files", files.audit()),
                          ("audit, tables", tables.audit())):
        command.run()
        runs = [sampled(command, args.work / "perf.data") for _ in range(max(3, args.runs // 3))]
        for program, group in sorted({key for run in runs for key in run}):
            report.samples.append({"work": work, "program": program, "group": group, "runs": len(runs),
                                   "share": summary([run.get((program, group), 0) for run in runs])})
        print(f"samples, {work}: {len(runs)} runs", file=sys.stderr)
    for data in args.work.glob("perf.data*"):
        data.unlink()


def samples_table(rows):
    """The groups that have a hundredth of their work at least; the others are in the results file."""
    works = list(dict.fromkeys(row["work"] for row in rows))
    lines = ["| Work | Program | Part | % of the samples | Spread |", "|---|---|---|---|---|"]
    for row in sorted(rows, key=lambda row: (works.index(row["work"]), -row["share"]["median"])):
        share = {key: 100 * value for key, value in row["share"].items()}
        if share["median"] >= 1:
            lines.append(f"| {row['work']} | {row['program']} | {row['group']} | {share['median']:.0f} "
                         f"| {share['best']:.0f} to {share['worst']:.0f} |")
    return "\n".join(lines)
