"""Shares on disk, runs of programs over them, and what two programs' runs say of each other."""

import os
import platform
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BIN = ROOT / "build/release/bin"
SHARE_ID = "7"


class Site:
    """A share on disk, and the command lines that read it."""

    def __init__(self, work, layout, files, **numbers):
        self.layout, self.files = layout, files
        self.volumes = numbers.setdefault("volumes", 2)
        self.extent_bytes = numbers.get("extent_bytes", 1024)
        words = [f"{name}={number}" for name, number in sorted(numbers.items())]
        self.root = work / "-".join([layout, str(files), *words])
        if not (self.root / "whole").exists():
            shutil.rmtree(self.root, ignore_errors=True)
            subprocess.run([BIN / "bench_share", self.root, layout, str(files), *words], check=True)
            (self.root / "whole").touch()
            # A file that was changed a moment ago is not trusted to be the same when it is met
            # again; a share that does not change is what is measured.
            time.sleep(5)

    @property
    def share(self):
        return self.root / "meta/7" / SHARE_ID

    def metadata(self):
        return Command([BIN / "jorvck", "--share_path", self.share], self.root)

    def data(self):
        return data_check(self.root)

    def audit(self, *words, statuses=(0,)):
        """An audit of everything but the file data check, as the metadata check is."""
        return Command([BIN / "jorvaudit", "run", "--share_path", self.share, "--output",
                        self.root / "audit", *words], self.root, statuses=statuses)

    def metadata_floor(self):
        words = ["metadata", self.share, self.layout, self.extent_bytes]
        return Command([BIN / "bench_floor", *words], self.root)

    def data_floor(self):
        volumes = sorted((self.root / "volumes").iterdir())
        return Command([BIN / "bench_floor", "data", self.share, len(volumes), *volumes], self.root)

    def environments(self):
        """The same extents in LMDB, one environment per file."""
        made = self.root / "environments"
        if not (self.root / "environments-whole").exists():
            shutil.rmtree(made, ignore_errors=True)
            subprocess.run([BIN / "bench_lmdb", "make", self.share, made], check=True)
            (self.root / "environments-whole").touch()
        return made

    def lmdb(self):
        return Command([BIN / "bench_lmdb", "walk", self.environments(), self.volumes], self.root)

    def lmdb_floor(self):
        volumes = sorted((self.root / "volumes").iterdir())
        words = ["floor", self.share, self.environments(), len(volumes), *volumes]
        return Command([BIN / "bench_lmdb", *words], self.root)


def data_check(site):
    return Command([BIN / "jorvck", "--share_id", SHARE_ID, "--verify_data"], site)


class Command:
    """A command line with its environment."""

    def __init__(self, words, site=None, statuses=(0,), **environment):
        self.statuses = statuses
        self.words = [str(word) for word in words]
        self.environment = {**os.environ, **environment}
        if site is not None:
            self.environment["JORV_CONFIG"] = str(site / "jorv.toml")

    def run(self):
        """Wall seconds, user and system seconds, and peak memory in bytes of one run."""
        null = os.open(os.devnull, os.O_RDWR)
        actions = [(os.POSIX_SPAWN_DUP2, null, fd) for fd in (0, 1, 2)]
        begin = time.perf_counter()
        pid = os.posix_spawnp(self.words[0], self.words, self.environment, file_actions=actions)
        _, status, usage = os.wait4(pid, 0)
        wall = time.perf_counter() - begin
        os.close(null)
        if os.waitstatus_to_exitcode(status) not in self.statuses:
            raise RuntimeError(f"{' '.join(self.words)}: status {status}")
        return {"wall": wall, "cpu": usage.ru_utime + usage.ru_stime,
                "memory": usage.ru_maxrss * 1024}

    def output(self):
        done = subprocess.run(self.words, env=self.environment, check=True, capture_output=True)
        return (done.stdout + done.stderr).decode(errors="replace")


def summary(values):
    return {"median": statistics.median(values), "best": min(values), "worst": max(values)}


def compare(subject, other, runs):
    """Runs both in turns, once unmeasured to warm the page cache."""
    subject.run()
    other.run()
    pairs = []
    for number in range(runs):
        # Which one goes first changes from pair to pair.
        first, second = (subject, other) if number % 2 == 0 else (other, subject)
        a = first.run()
        b = second.run()
        pairs.append((a, b) if number % 2 == 0 else (b, a))
    return held_against(pairs)


def held_against(pairs):
    """Ratios and times of pairs of runs."""
    result = {"runs": len(pairs)}
    for measure in ("wall", "cpu", "memory"):
        result[measure] = {
            "ratio": summary([a[measure] / b[measure] for a, b in pairs]),
            "subject": summary([a[measure] for a, _ in pairs]),
            "other": summary([b[measure] for _, b in pairs])}
    return result


class Report:
    def __init__(self):
        self.rows = []
        self.divided = []
        self.samples = []
        self.memory = {}

    def add(self, work, against, limit, result, per=1, curve=None, x=None):
        """`curve` and `x` say where the row lies in a picture."""
        row = {"work": work, "against": against, "limit": limit, "per": per, "curve": curve, "x": x, **result}
        self.rows.append(row)
        if row.get("missing"):
            line = row["missing"]
        else:
            ratio = row["wall"]["ratio"]
            line = f"{ratio['median']:.2f} ({ratio['best']:.2f} to {ratio['worst']:.2f})"
        print(f"{work} / {against}: {line}, limit {limit}", file=sys.stderr)

    def table(self):
        lines = ["| Work | Against | µs per file | against | Ratio | spread | CPU ratio | Limit |",
                 "|---|---|---|---|---|---|---|---|"]
        for row in self.rows:
            head = f"| {row['work']} | {row['against']} |"
            if row.get("missing"):
                lines.append(f"{head} {row['missing']} | | | | | {row['limit']} |")
                continue
            wall, cpu = row["wall"], row["cpu"]["ratio"]
            limit = row["limit"]
            missed = limit is not None and wall["ratio"]["median"] > limit
            lines.append(
                f"{head} {wall['subject']['median'] / row['per'] * 1e6:.2f} "
                f"| {wall['other']['median'] / row['per_other'] * 1e6:.2f} "
                f"| {wall['ratio']['median']:.2f} "
                f"| {wall['ratio']['best']:.2f} to {wall['ratio']['worst']:.2f} "
                f"| {cpu['median']:.2f} | {'none' if limit is None else limit}"
                f"{' **missed**' if missed else ''} |")
        return "\n".join(lines)


def machine(work):
    processor = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo")
                      if line.startswith("model name")), platform.machine())
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    place = subprocess.run(["findmnt", "-fno", "FSTYPE,SOURCE", "-T", work],
                           capture_output=True, text=True).stdout
    commit = subprocess.run(["git", "describe", "--always", "--dirty"], cwd=ROOT,
                            capture_output=True, text=True).stdout
    return {"commit": commit.strip(), "processor": processor,
            "processors": os.cpu_count(), "memory GiB": round(memory, 1),
            "file system": " ".join(place.split()),
            "kernel": platform.release().split("-")[0]}
