#!/usr/bin/env python3
# SPDX-License-Identifier: LicenseRef-Quillmount
"""Runs public file system suites on a live drive, or on "rclone mount" to compare with, and prints what fails.

The suites' own words go to standard error.

Usage: suites.py BIN-DIRECTORY RCLONE PJDFSTEST POSIXTEST quillmount|rclone [TEST-PATTERN…]
"""
import contextlib
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from contestants import LocalGoogle, Processes, Quillmount, RcloneMount

CONFIGURATION = """[features]
posix_fallocate = {}
[settings]
naptime = 0.01
allow_remount = false
[dummy_auth]
entries = [["nobody", "nogroup"], ["daemon", "daemon"]]
"""


def report(suite, passed, failed):
    print(f"{suite}: {passed} of {passed + len(failed)}")
    for name in sorted(failed):
        print(f"  {name}")
    sys.stdout.flush()


def main():
    binaries, rclone, pjdfstest, posixtest = (Path(argument).resolve() for argument in sys.argv[1:5])
    which, patterns = sys.argv[5], sys.argv[6:]
    with contextlib.ExitStack() as stack:
        world = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="quillmount-suites-")))
        processes = Processes(stack)
        google = LocalGoogle(processes, binaries, world)
        drive = Quillmount(processes, google, binaries, world)
        google.start()
        drive.add_account(google.configuration)
        drive.start()
        drive.await_live()
        if which == "rclone":
            drive_for_options, drive = drive, RcloneMount(processes, google, rclone, world)
            drive.start(google.configuration, drive_for_options.engine_arguments())
        configuration = world / "pjdfstest.toml"
        configuration.write_text(CONFIGURATION)
        for name in ("pjdfstest", "posixtest"):
            (drive.mount_point / name).mkdir()
        result = subprocess.run([pjdfstest, "-c", configuration, "-p", drive.mount_point / "pjdfstest", *patterns],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        print(result.stdout, file=sys.stderr)
        lines = re.findall(r"^(\S+::\S+)\s+.*?(ok|FAILED|success|failed|skipped)\s*$", result.stdout, re.MULTILINE)
        report("pjdfstest", sum(word in ("ok", "success") for _, word in lines),
               [name for name, word in lines if word in ("FAILED", "failed")])
        if patterns:
            return
        result = subprocess.run([posixtest, "-test.v"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                env=os.environ | {"POSIXTEST_DIRECTORY": str(drive.mount_point / "posixtest")})
        lines = re.findall(r"^\s+--- (PASS|FAIL|SKIP): TestPosix/(\S+)", result.stdout, re.MULTILINE)
        report("posixtest", sum(word == "PASS" for word, _ in lines), [name for word, name in lines if word == "FAIL"])


if __name__ == "__main__":
    os.umask(0o022)
    main()
