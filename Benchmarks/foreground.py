#!/usr/bin/env python3
# SPDX-License-Identifier: LicenseRef-Quillmount
"""Measures what the user waits for while 1,000 files upload, against a local Google that takes its time.

Each call takes 100 ms and an insert 200 ms more; above 200 calls or 3 inserts a second Google refuses. Usage:
foreground.py BIN-DIRECTORY [SECONDS]
"""
import collections
import contextlib
import json
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

from contestants import LocalGoogle, Processes, Quillmount

FILES = 1000
PERIOD = 2.5  # seconds between two rounds of what the user does
MANNERS = {"latency": 100, "insertLatency": 200, "callsPerSecond": 200, "insertsPerSecond": 3, "burst": 5}


class Control:
    """The control port of the local Google."""

    def __init__(self, world):
        self.facts = json.loads((world / "ready").read_text())

    def __call__(self, method, path, body=None):
        request = urllib.request.Request(self.facts["control"] + path, method=method,
                                         data=json.dumps(body).encode() if body is not None else None,
                                         headers={"Authorization": "Bearer " + self.facts["controlToken"]})
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request) as answer:
            return json.loads(answer.read())


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def prepare(top, rounds):
    """Puts onto Google what no listing has seen yet."""
    for name in ("lists", "renames", "opens"):
        (top / name).mkdir(parents=True)
    for number in range(rounds):
        (top / "lists" / f"{number}").mkdir()
        for entry in range(20):
            (top / "lists" / f"{number}" / f"entry {entry}").write_text("text")
        (top / "renames" / f"{number}").write_text("text")
        (top / "opens" / f"{number}").write_bytes(b"x" * 65536)


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 60
    with contextlib.ExitStack() as stack:
        world = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="foreground-", ignore_cleanup_errors=True)))
        processes, binaries = Processes(stack), Path(sys.argv[1]).resolve()
        google = LocalGoogle(processes, binaries, world)
        drive = Quillmount(processes, google, binaries, world)
        prepare(drive.uploaded, 200)
        google.start()
        drive.add_account(google.configuration)
        drive.start()
        drive.await_live()
        control = Control(world)
        top = drive.mount_point
        for name in ("lists", "renames", "opens"):
            list((top / name).iterdir())
        control("POST", "manners", MANNERS)

        begin = time.monotonic()
        (top / "many").mkdir()
        for number in range(FILES):
            (top / "many" / f"{number}").write_text("x" * 1024)
        print(f"{FILES} files saved in {time.monotonic() - begin:.1f} s")
        time.sleep(10)  # the first of them have been waiting for long enough by then
        times = collections.defaultdict(list)
        before, begin = control("GET", "statistics"), time.monotonic()
        actions = {
            "listing": lambda number: list((top / "lists" / f"{number}").iterdir()),
            "rename": lambda number: (top / "renames" / f"{number}").rename(top / "renames" / f"{number} renamed"),
            "mkdir": lambda number: (top / "lists" / f"new {number}").mkdir(),
            "open": lambda number: (top / "opens" / f"{number}").read_bytes(),
        }
        for number in range(200):
            if time.monotonic() - begin > seconds:
                break
            for name, action in actions.items():
                start = time.monotonic()
                action(number)
                times[name].append(time.monotonic() - start)
            time.sleep(max(0, begin + PERIOD * (number + 1) - time.monotonic()))
        took, after = time.monotonic() - begin, control("GET", "statistics")
        for name, values in times.items():
            print(f"{name}: {len(values)} times, median {percentile(values, 0.5):.2f} s, "
                  f"95th percentile {percentile(values, 0.95):.2f} s, longest {max(values):.2f} s")
        stored = len(list((drive.uploaded / "many").iterdir()))
        refused = after["byStatus"].get("403", 0)
        calls = (after["total"] - before["total"]) / took
        print(f"{stored} files uploaded in {took + 10:.0f} s, {refused} calls refused, {calls:.1f} calls a second: "
              f"{ {kind: count - before['byKind'].get(kind, 0) for kind, count in after['byKind'].items()} }")
        control("POST", "manners", {})


main()
