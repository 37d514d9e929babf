# SPDX-License-Identifier: LicenseRef-Quillmount
"""The two drives that are measured, in homes of their own, and the local Google that both keep their files on."""
import contextlib
import json
import os
import signal
import subprocess
import time
from pathlib import Path

CLIENT = ("local-google-client", "local-google-secret")


def wait_until(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise SystemExit(f"gave up waiting: {what}")
        time.sleep(0.05)


def tree(top):
    """The files in a folder, or a single file, with their sizes; nothing where there is nothing."""
    found = {}
    for path in [top] if top.is_file() else top.rglob("*"):
        with contextlib.suppress(FileNotFoundError):  # what has just been moved is found the next time
            if path.is_file():
                found[str(path.relative_to(top))] = path.stat().st_size
    return found


class Processes:
    """What the measurement starts; everything is gone when the block ends."""

    def __init__(self, stack):
        self.stack = stack
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith(("XDG_", "RCLONE_"))}
        self.environment["QT_QPA_PLATFORM"] = "offscreen"

    def run(self, *command, home, **options):
        environment = self.environment | {"HOME": str(home)}
        process = subprocess.Popen(command, start_new_session=True, env=environment, **options)
        self.stack.callback(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
            process.wait(timeout=60)


class LocalGoogle:
    def __init__(self, processes, binaries, world):
        self.folder = world / "google" / "My Drive"
        self.processes, self.binaries, self.world = processes, binaries, world

    def start(self):
        secret, ready = self.world / "secret", self.world / "ready"
        secret.write_text(CLIENT[1])
        self.processes.run(self.binaries / "google-stand-in", "--directory", self.world / "google", "--ready-file", ready,
                           "--quota", "0", "--grant", CLIENT[0], "--client-secret-file", secret, home=self.world)
        wait_until(ready.exists, 60, "the local Google")
        facts = json.loads(ready.read_text())
        self.processes.environment |= {"HTTPS_PROXY": facts["proxy"], "SSL_CERT_FILE": facts["certificateAuthority"]}
        self.configuration = (f"[drive]\ntype = drive\nclient_id = {CLIENT[0]}\nclient_secret = {CLIENT[1]}\n"
                              f"scope = drive.file\ntoken = {json.dumps(facts['token'])}\n")


class Contestant:
    """A mounted drive whose files appear in a folder of the local Google."""

    def __init__(self, processes, google, home, folder):
        self.processes, self.home = processes, home
        self.uploaded = google.folder / folder
        self.mount_point = home / folder
        home.mkdir()

    def settle(self, name, seconds=600):
        """Waits until Google has what the drive shows below \a name."""
        wanted = tree(self.mount_point / name)
        wait_until(lambda: tree(self.uploaded / name) == wanted, seconds, f"the uploads of {name}")


class Quillmount(Contestant):
    label = "Quillmount"

    def __init__(self, processes, google, binaries, world):
        super().__init__(processes, google, world / "home", "Quillmount")
        self.binaries = binaries

    def add_account(self, configuration):
        file = self.home / ".local/share/Quillmount/engine.conf"
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(configuration)

    def start(self):
        self.application = self.processes.run(self.binaries / "quillmount", home=self.home, stdout=subprocess.PIPE,
                                              stderr=subprocess.DEVNULL, text=True)

    def await_live(self):
        line = self.application.stdout.readline()
        if not line.startswith("Drive: "):
            raise SystemExit("the drive did not become live")

    def pids(self):
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

    def engine_arguments(self):
        return Path(f"/proc/{self.pids()['engine']}/cmdline").read_bytes().decode().rstrip("\0").split("\0")[1:]

    def nfs_url(self, name):
        words = self.engine_arguments()
        port = words[words.index("--addr") + 1].rpartition(":")[2]
        return f"nfs://127.0.0.1/{name}?version=3&nfsport={port}&mountport={port}&auto-traverse-mounts=0"


class RcloneMount(Contestant):
    """Stock "rclone mount" of the engine's release, with the engine's own options for cache and Google."""
    label = "rclone mount"
    OF_THE_SERVER = ("--addr", "--nfs-cache-type", "--rc-addr", "--log-file", "--config", "--cache-dir")

    def __init__(self, processes, google, executable, world):
        super().__init__(processes, google, world / "peer", "Peer")
        self.executable = executable

    def start(self, configuration, engine_arguments):
        file = self.home / "rclone.conf"
        file.write_text(configuration)
        self.mount_point.mkdir()
        options, words = [], iter(engine_arguments[3:])
        for word in words:
            if word in self.OF_THE_SERVER:
                next(words)
            elif word == "--vfs-cache-max-size":
                options += [word, next(words) + "B"]  # a bare number would be KiB here
            elif word != "--rc":
                options.append(word)
        self.processes.run(self.executable, "mount", "drive:Peer", self.mount_point, "--config", file, "--cache-dir",
                           self.home / "cache", *options, home=self.home, stderr=subprocess.DEVNULL)
        wait_until(lambda: os.path.ismount(self.mount_point), 60, "rclone mount")
