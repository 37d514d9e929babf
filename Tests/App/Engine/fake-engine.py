#!/usr/bin/python3 -IS
# SPDX-License-Identifier: LicenseRef-Quillmount
"""A program that stands where the engine stands and does what a test's script says. In the folder "fake-engine" beside
its configuration file it reads the script, again before each answer, and records what happens to it:
  script.json    {"silent": true (it does not listen until that is gone), "ignoreTerminate": true,
                  "exit": line (it logs that and ends at once),
                  "answers": {"vfs/stats": {"body": any | "raw": text, "status": n, "silent": true}, …}}
  record.jsonl   one object a line: {"event": "start" | "ready" | "request" | "signal", "pid": n, …}
It ends by itself when that folder disappears, and after two minutes at the latest."""
import base64
import http.server
import json
import os
import signal
import socketserver
import sys
import threading
import time
from pathlib import Path

CAUGHT = {signal.SIGHUP, signal.SIGINT, signal.SIGTERM}
# An idle drive.
DEFAULTS = {"vfs/stats": {"diskCache": {"uploadsQueued": 0, "uploadsInProgress": 0, "bytesUsed": 0}},
            "operations/about": {"total": 1000, "used": 400, "free": 600}}


def argument(name):
    return sys.argv[sys.argv.index(name) + 1]


FOLDER = Path(argument("--config")).parent / "fake-engine"


def script():
    file = FOLDER / "script.json"
    return json.loads(file.read_text()) if file.exists() else {}


def record(event, **details):
    with open(FOLDER / "record.jsonl", "a", encoding="utf-8") as file:
        file.write(json.dumps({"event": event, "pid": os.getpid(), **details}) + "\n")


def record_start(blocked):
    """With all that it has inherited beside its standard input and outputs."""
    ignored = [number for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGUSR1,
                                     signal.SIGCHLD)
               if number in blocked or signal.getsignal(number) == signal.SIG_IGN]
    descriptors = [os.readlink(f"/proc/self/fd/{number}") for number in os.listdir("/proc/self/fd")
                   if int(number) > 2 and os.path.exists(f"/proc/self/fd/{number}") and os.get_inheritable(int(number))]
    record("start", arguments=sys.argv[1:], environment=dict(os.environ), ignoredSignals=ignored,
           descriptors=descriptors, directory=os.getcwd(), leadsSession=os.getsid(0) == os.getpid())


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    wbufsize = -1  # an answer leaves in one piece

    def do_POST(self):
        command = self.path[1:]
        credentials = os.environ["RCLONE_RC_USER"] + ":" + os.environ["RCLONE_RC_PASS"]
        authorized = self.headers["Authorization"] == "Basic " + base64.b64encode(credentials.encode()).decode()
        body = self.rfile.read(int(self.headers["Content-Length"])).decode()
        record("request", command=command, body=body, authorized=authorized)
        reply = script().get("answers", {}).get(command, {})
        if reply.get("silent"):
            threading.Event().wait()
        text = reply.get("raw", json.dumps(reply.get("body", DEFAULTS.get(command, {})))).encode()
        self.send_response(reply.get("status", 200) if authorized else 401, "Scripted")
        self.send_header("Content-Type", "application/json")
        if not authorized:
            self.send_header("WWW-Authenticate", 'Basic realm="engine"')
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text)

    def log_message(self, *_):
        pass


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


def listen():
    """A server, unless the script forbids it."""
    if script().get("silent"):
        return None
    server = Server(("127.0.0.1", int(argument("--rc-addr").rpartition(":")[2])), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def main():
    record_start(signal.pthread_sigmask(signal.SIG_BLOCK, CAUGHT))
    if "exit" in script():
        with open(argument("--log-file"), "a", encoding="utf-8") as log:
            log.write(script()["exit"] + "\n")
        sys.exit(1)
    server = listen()
    record("ready")
    deadline = time.monotonic() + 120
    while FOLDER.is_dir() and time.monotonic() < deadline:
        server = server or listen()
        caught = signal.sigtimedwait(CAUGHT, 0.02)
        if caught:
            record("signal", signal=caught.si_signo)
            if not script().get("ignoreTerminate"):
                sys.exit(0)
    sys.exit(1)


main()
