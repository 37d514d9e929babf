#!/usr/bin/env python3
# SPDX-License-Identifier: LicenseRef-Quillmount
"""Measures the drive beside stock "rclone mount", in turns and against one local Google, and prints a table.

Transfers are also set against libnfs's own copy tool at the same engine. Source and destination lie in memory. What a
row needs to be on Google, or not in the cache, is waited for or made before. Usage: drive.py BIN-DIRECTORY RCLONE
"""
import contextlib
import os
import random
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from contestants import LocalGoogle, Processes, Quillmount, RcloneMount, tree, wait_until

LARGE = 512 << 20
TURNS = 2
SMALL = 400
MANY = 10_000
LONGEST_TRUST = 6  # seconds after which no kernel answers from what it was told before


def timed(action, *arguments):
    begin = time.monotonic()
    action(*arguments)
    return time.monotonic() - begin


def run(*command, **options):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, **options)


def copy(source, destination):
    """Without fsync: "rclone mount" answers that without doing anything, here it reaches the disk."""
    run("dd", f"if={source}", f"of={destination}", "bs=1M", "status=none")


def forget_pages(path):
    with open(path, "rb") as file:
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def make_tree(folder):
    """152 files of 1 to 256 KiB in 19 folders, the same each time."""
    chance = random.Random(1)
    for number in range(152):
        file = folder / f"folder {number % 19}" / f"document {number}.bin"
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(chance.randbytes(int(1024 * 2 ** chance.uniform(0, 8))))


def make_repository(folder):
    make_tree(folder)
    identity = ("-c", "user.name=A", "-c", "user.email=a@localhost")
    for command in (("init",), ("add", "."), (*identity, "commit", "-m", "all")):
        run("git", "-C", folder, *command, stderr=subprocess.DEVNULL)


def rounded(seconds):
    return f"{seconds * 1000:.0f} ms" if seconds < 1 else f"{seconds:.1f} s"


class Bench:
    def __init__(self, ours, peer):
        self.ours, self.peer = ours, peer
        self.rows = []

    def add(self, *row):
        row = (*row, "", "", "")[:4]
        print(*row, sep=" | ", file=sys.stderr, flush=True)
        self.rows.append(row)

    def both(self, turn=0):
        return (self.ours, self.peer) if turn % 2 == 0 else (self.peer, self.ours)

    def compare(self, what, seconds, unit=rounded):
        """Adds a row from the times of both; more than one in the last column means that ours is faster."""
        mine, other = (statistics.median(seconds[drive]) for drive in (self.ours, self.peer))
        self.add(what, unit(mine), unit(other), f"{other / mine:.2f}")

    def measure(self, what, action, turns=TURNS, before=None, settle=None):
        """Times \a action(drive, turn) for both in turns; \a settle names what is to be on Google afterwards."""
        seconds = {self.ours: [], self.peer: []}
        for turn in range(turns):
            for drive in self.both(turn):
                if before:
                    before(drive, turn)
                seconds[drive].append(timed(action, drive, turn))
            for drive in self.both(turn) if settle else ():
                drive.settle(settle(turn))
        self.compare(what, seconds)

    def transfers(self, memory):
        source, target = memory / "source", memory / "target"
        with open(source, "wb") as file:
            for _ in range(32):
                file.write(os.urandom(LARGE // 32))
        seconds = {kind: {key: [] for key in (self.ours, self.peer, "nfs-cp")} for kind in ("write", "read")}
        for turn in range(TURNS):
            name = f"large {turn}.bin"
            for drive in self.both(turn):
                seconds["write"][drive].append(timed(copy, source, drive.mount_point / name))
                drive.settle(name)
            tool = f"tool {turn}.bin"
            seconds["write"]["nfs-cp"].append(timed(run, "nfs-cp", source, self.ours.nfs_url(tool)))
            wait_until(lambda: tree(self.ours.uploaded / tool) == {".": LARGE}, 300, f"the upload of {tool}")
            for drive in self.both(turn):
                forget_pages(drive.mount_point / name)
                seconds["read"][drive].append(timed(copy, drive.mount_point / name, target))
                if subprocess.run(["cmp", source, target]).returncode:
                    raise SystemExit("what was read is not what was written")
                target.unlink()
            seconds["read"]["nfs-cp"].append(timed(run, "nfs-cp", self.ours.nfs_url(name), target))
            target.unlink()
        for kind, by in seconds.items():
            def rate(time_taken):
                return f"{LARGE / (1 << 20) / time_taken:.0f} MiB/s"
            self.compare(f"sequential {kind} of 512 MiB", by, rate)
            mine, tool = (statistics.median(by[key]) for key in (self.ours, "nfs-cp"))
            self.add(f"sequential {kind} of 512 MiB, beside `nfs-cp`", rate(mine), rate(tool), f"{tool / mine:.2f}")

    def random_reads(self):
        def read(drive, _):
            descriptor = os.open(drive.mount_point / "large 0.bin", os.O_RDONLY)
            os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_RANDOM)
            chance = random.Random(1)
            for _ in range(2000):
                os.pread(descriptor, 4096, chance.randrange(LARGE // 4096) * 4096)
            os.close(descriptor)
        self.measure("2,000 random reads of 4 KiB", read,
                     before=lambda drive, _: forget_pages(drive.mount_point / "large 0.bin"))

    def trees(self, source):
        self.measure("`ls -lR` of 152 files, first time", lambda d, turn: run("ls", "-lR", d.mount_point / f"cold {turn}"))
        self.measure("`ls -lR` of 152 files, again", lambda d, _: run("ls", "-lR", d.mount_point / "cold 0"),
                     before=lambda *_: time.sleep(LONGEST_TRUST))
        self.measure("`cat` of 152 files that are not in the cache",
                     lambda d, turn: run("sh", "-c", "cat */*", cwd=d.mount_point / f"cold {turn}"))
        self.measure("`cp -r` of 152 files", lambda d, turn: run("cp", "-r", source, d.mount_point / f"copy {turn}"),
                     settle=lambda turn: f"copy {turn}")

    def listing(self):
        def look(drive, _):
            with os.scandir(drive.mount_point / "many") as entries:
                if sum(entry.stat().st_size for entry in entries) != MANY:
                    raise SystemExit("the listing is not complete")
        self.measure(f"listing {MANY:,} entries with their sizes, first time", look, turns=1)
        self.measure(f"listing {MANY:,} entries with their sizes, again", look,
                     before=lambda *_: time.sleep(LONGEST_TRUST))

    def small_files(self):
        def create(drive, turn):
            folder = drive.mount_point / f"small {turn}"
            folder.mkdir()
            for number in range(SMALL):
                (folder / f"{number}.txt").write_bytes(b"x" * 1024)

        def look(drive, _):
            for number in range(SMALL):
                (drive.mount_point / last / f"{number}.txt").stat()

        def rename(drive, _):
            for number in range(SMALL):
                (drive.mount_point / last / f"{number}.txt").rename(drive.mount_point / last / f"{number}.text")

        def make_room(_, turn):
            for drive in (self.ours, self.peer) if turn > 0 else ():
                shutil.rmtree(drive.mount_point / f"small {turn - 1}", ignore_errors=True)
        turns = 3
        last = f"small {turns - 1}"
        self.measure(f"making {SMALL} files of 1 KiB", create, turns, before=make_room)
        for drive in self.both():
            drive.settle(last)
        self.measure(f"`stat` of {SMALL} files", look, before=lambda *_: time.sleep(LONGEST_TRUST))
        self.measure(f"renaming {SMALL} uploaded files", rename, turns=1)
        for drive in self.both():
            drive.settle(last)
        self.measure(f"`rm -r` of {SMALL} uploaded files", lambda d, _: run("rm", "-r", d.mount_point / last), turns=1)

    def git(self, repository):
        clone, status = ({self.ours: [], self.peer: []} for _ in range(2))
        for drive in self.both():
            work = drive.mount_point / "clone"
            clone[drive].append(timed(run, "git", "clone", "-q", "--no-local", repository, work))
            status[drive].append(timed(run, "git", "-C", work, "status"))
            if drive is self.ours:
                drive.settle("clone")  # or its uploads would slow the other one down
        self.compare("`git clone` of 152 files", clone)
        self.compare("`git status` right after it", status)

    def load(self, label, seconds):
        """CPU seconds a minute and resident memory of each process of ours over a stretch."""
        def ticks(pid):
            fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
            return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
        pids = self.ours.pids()
        before = {name: ticks(pid) for name, pid in pids.items()}
        time.sleep(seconds)
        for name, pid in pids.items():
            minute = (ticks(pid) - before[name]) * 60 / seconds
            resident = re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{pid}/status").read_text())
            self.add(f"{name}, {label}", f"{minute:.2f} CPU s a minute, {int(resident[1]) / 1024:.0f} MiB resident")


def main():
    binaries, rclone = (Path(argument).resolve() for argument in sys.argv[1:3])
    only = sys.argv[3:]
    with contextlib.ExitStack() as stack:
        world = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="quillmount-bench-")))
        memory = Path(stack.enter_context(tempfile.TemporaryDirectory(dir="/dev/shm")))
        processes = Processes(stack)
        google = LocalGoogle(processes, binaries, world)
        ours = Quillmount(processes, google, binaries, world)
        peer = RcloneMount(processes, google, rclone, world)
        bench = Bench(ours, peer)
        for drive in (ours, peer):
            for turn in range(TURNS):
                make_tree(drive.uploaded / f"cold {turn}")
            (drive.uploaded / "many").mkdir()
            for number in range(MANY):
                (drive.uploaded / "many" / f"{number:05}.txt").write_bytes(b"x")
        make_tree(memory / "tree")
        make_repository(memory / "repository")
        google.start()
        ours.start()
        time.sleep(1)
        bench.load("without an account", 5)
        processes.end(ours.application)
        ours.add_account(google.configuration)
        bench.add("from the start of the application to live", f"{timed(lambda: (ours.start(), ours.await_live())):.2f} s")
        peer.start(google.configuration, ours.engine_arguments())
        bench.load("live and idle", 15)
        parts = {"listing": bench.listing, "trees": lambda: bench.trees(memory / "tree"),
                 "transfers": lambda: bench.transfers(memory), "random": bench.random_reads,
                 "small": bench.small_files, "git": lambda: bench.git(memory / "repository")}
        for name, part in parts.items():
            if not only or name in only:
                part()
        processes.end(ours.application)
    print("| what | Quillmount | `rclone mount` | its time ÷ ours |", "|---|---|---|---|", sep="\n")
    for row in bench.rows:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    os.umask(0o077)
    shutil.which("nfs-cp") or sys.exit("nfs-cp is missing (libnfs-utils)")
    main()
