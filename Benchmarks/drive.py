#!/usr/bin/env python3
# SPDX-License-Identifier: LicenseRef-Quillmount
"""Measures the drive in a home of its own, against the local Google, and prints a table.

Transfers through the mount are set against the same transfers by libnfs's own copy tool from the same engine, taken in
turns, so that a slow machine slows both. Source and destination lie in memory. Usage: drive.py BIN-DIRECTORY
"""
import contextlib
import json
import os
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

GIB = 1 << 30
ROUNDS = 2
CLIENT = ("local-google-client", "local-google-secret")


def wait_until(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise SystemExit(f"gave up waiting: {what}")
        time.sleep(0.02)


class Drive:
    """A live drive; everything it started is gone when the block ends."""

    def __init__(self, binaries, world, stack):
        self.binaries, self.world = binaries, world
        self.google = world / "google"
        self.home = world / "home"
        self.mount_point = self.home / "Quillmount"
        self.home.mkdir()
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith(("XDG_", "RCLONE_"))}
        self.environment |= {"HOME": str(self.home), "QT_QPA_PLATFORM": "offscreen"}
        self.stack = stack

    def run(self, *command, **options):
        process = subprocess.Popen(command, start_new_session=True, env=self.environment, **options)
        self.stack.callback(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
            process.wait(timeout=30)

    def start_google(self):
        secret, ready = self.world / "secret", self.world / "ready"
        secret.write_text(CLIENT[1])
        self.run(self.binaries / "google-stand-in", "--directory", self.google, "--ready-file", ready, "--quota", "0",
                 "--grant", CLIENT[0], "--client-secret-file", secret)
        wait_until(ready.exists, 20, "the local Google")
        facts = json.loads(ready.read_text())
        self.environment |= {"HTTPS_PROXY": facts["proxy"], "SSL_CERT_FILE": facts["certificateAuthority"]}
        return json.dumps(facts["token"])

    def add_account(self, token):
        configuration = self.home / ".local/share/Quillmount/engine.conf"
        configuration.parent.mkdir(parents=True, exist_ok=True)
        configuration.write_text(f"[drive]\ntype = drive\nclient_id = {CLIENT[0]}\nclient_secret = {CLIENT[1]}\n"
                                 f"scope = drive.file\ntoken = {token}\n")

    def start_application(self, *options):
        self.application = self.run(self.binaries / "quillmount", *options, stdout=subprocess.PIPE,
                                    stderr=subprocess.DEVNULL, text=True)

    def await_live(self):
        line = self.application.stdout.readline()
        if not line.startswith("Drive: "):
            raise SystemExit("the drive did not become live")

    def processes(self):
        """The pids of application, mount and engine; those that do not run are missing."""
        found = {"application": self.application.pid}
        for entry in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                words = (entry / "cmdline").read_bytes().split(b"\0")
                if words[0].endswith(b"/QuillmountEngine") and str(self.home).encode() in b" ".join(words):
                    found["engine"] = int(entry.name)
                if words[0].endswith(b"/quillmount-mount") and str(self.mount_point).encode() in words:
                    found["mount"] = int(entry.name)
        return found

    def nfs_url(self, name):
        words = Path(f"/proc/{self.processes()['engine']}/cmdline").read_bytes().decode().split("\0")
        port = words[words.index("--addr") + 1].rpartition(":")[2]
        return f"nfs://127.0.0.1/{name}?version=3&nfsport={port}&mountport={port}&auto-traverse-mounts=0"

    def await_uploads(self, name, size):
        uploaded = self.google / "My Drive" / "Quillmount" / name
        wait_until(lambda: uploaded.exists() and uploaded.stat().st_size == size, 300, f"the upload of {name}")


def timed(action):
    begin = time.monotonic()
    action()
    return time.monotonic() - begin


def copy(source, destination):
    subprocess.run(["dd", f"if={source}", f"of={destination}", "bs=1M", "conv=fsync", "status=none"], check=True)


def nfs_copy(source, destination):
    subprocess.run(["nfs-cp", source, destination], check=True, stdout=subprocess.DEVNULL)


def forget_pages(path):
    with open(path, "rb") as file:
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def transfers(drive, memory):
    """Sequential write and read of 1 GiB: MiB/s through the mount, by nfs-cp, and the ratio of the two."""
    source = memory / "source"
    with open(source, "wb") as file:
        for _ in range(64):
            file.write(os.urandom(GIB // 64))
    rates = {kind: [] for kind in ("write", "nfs write", "read", "nfs read")}
    for turn in range(ROUNDS):
        name, peer = f"mount-{turn}.bin", f"nfs-{turn}.bin"
        rates["write"].append(1024 / timed(lambda: copy(source, drive.mount_point / name)))
        drive.await_uploads(name, GIB)
        rates["nfs write"].append(1024 / timed(lambda: nfs_copy(source, drive.nfs_url(peer))))
        drive.await_uploads(peer, GIB)
        forget_pages(drive.mount_point / name)
        target = memory / "target"
        rates["read"].append(1024 / timed(lambda: copy(drive.mount_point / name, target)))
        if subprocess.run(["cmp", source, target]).returncode:
            raise SystemExit("what was read is not what was written")
        target.unlink()
        rates["nfs read"].append(1024 / timed(lambda: nfs_copy(drive.nfs_url(name), target)))
        target.unlink()
    for kind in ("write", "read"):
        mine, peer = (statistics.median(rates[key]) for key in (kind, f"nfs {kind}"))
        yield f"sequential {kind} of 1 GiB", f"{mine:.0f} MiB/s", f"{peer:.0f} MiB/s by nfs-cp: {mine / peer:.2f}"


def random_reads(drive):
    path, count = drive.mount_point / "mount-0.bin", 5000
    forget_pages(path)
    descriptor = os.open(path, os.O_RDONLY)
    os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_RANDOM)
    chance = random.Random(1)
    offsets = [chance.randrange(GIB // 4096) * 4096 for _ in range(count)]
    seconds = timed(lambda: [os.pread(descriptor, 4096, offset) for offset in offsets])
    os.close(descriptor)
    yield "random reads of 4 KiB", f"{count / seconds:.0f} a second", f"{1000 * seconds / count:.2f} ms each"


def small_files(drive):
    folder, count = drive.mount_point / "small", 1000
    folder.mkdir()

    def create():
        for number in range(count):
            (folder / f"{number}.txt").write_bytes(b"x" * 1024)
    seconds = timed(create)
    yield f"creating {count:,} files of 1 KiB", f"{seconds:.1f} s", f"{1000 * seconds / count:.1f} ms each"


def listings(drive):
    def look():
        with os.scandir(drive.mount_point / "many") as entries:
            if sum(entry.stat().st_size for entry in entries) != 10_000:
                raise SystemExit("the listing is not complete")
    first, again = timed(look), timed(look)
    yield "listing 10,000 entries with their sizes", f"{again * 1000:.0f} ms", f"{first:.1f} s the first time, from Google"


def load(drive, label, seconds):
    """CPU seconds per minute and resident memory of each process over a quiet stretch."""
    def ticks(pid):
        fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
    pids = drive.processes()
    before = {name: ticks(pid) for name, pid in pids.items()}
    time.sleep(seconds)
    for name, pid in pids.items():
        minute = (ticks(pid) - before[name]) * 60 / seconds
        resident = re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{pid}/status").read_text())
        yield f"{name}, {label}", f"{minute:.2f} CPU s a minute", f"{int(resident[1]) / 1024:.0f} MiB resident"


def main():
    binaries = Path(sys.argv[1]).resolve()
    rows = []
    with contextlib.ExitStack() as stack:
        world = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="quillmount-bench-")))
        memory = Path(stack.enter_context(tempfile.TemporaryDirectory(dir="/dev/shm")))
        drive = Drive(binaries, world, stack)

        def measure(part):
            for row in part:
                print(*row, sep=" | ", file=sys.stderr, flush=True)
                rows.append(row)
        many = drive.google / "My Drive" / "Quillmount" / "many"
        many.mkdir(parents=True)
        for number in range(10_000):
            (many / f"{number:05}.txt").write_bytes(b"x")
        token = drive.start_google()
        drive.start_application()
        time.sleep(1)
        measure(load(drive, "without an account", 10))
        drive.end(drive.application)
        drive.add_account(token)
        seconds = timed(lambda: (drive.start_application(), drive.await_live()))
        rows.append(("from the start of the application to live", f"{seconds:.2f} s", ""))
        measure(load(drive, "live and idle", 30))
        measure(listings(drive))
        measure(transfers(drive, memory))
        measure(random_reads(drive))
        # Last, because Google is asked for at most ten files a second: their uploads would hold up all others.
        measure(small_files(drive))
        measure(load(drive, "live, while it uploads", 20))
        drive.end(drive.application)
    print("| what | figure | beside it |", "|---|---|---|", sep="\n")
    for row in rows:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    os.umask(0o077)
    shutil.which("nfs-cp") or sys.exit("nfs-cp is missing (libnfs-utils)")
    main()
