#!/usr/bin/env python3
"""Runs a Windows test program under Wine and proves that it read nothing it was not meant to.

    fetch-watch.py --bait DIR --run RUNNER [ARGS...] PROGRAM [PROGRAM ARGS...]

Before the run: DIR is emptied and filled with bait files (each one's content a marker
that would show in a document that used it), an inotify watch is put on DIR for every
open and read, and an HTTP listener on 127.0.0.1 records every connection. The program
learns both through HOSTILE_BAIT_DIR and HOSTILE_BAIT_HTTP.

The program runs twice. First with every test but FetchControl: it must pass and the
watch must see no open or read of any bait file, the listener no connection. Then with
FetchControl alone, which reads control.txt and calls the listener once: the watch must
see exactly that, which shows that it sees what Wine does.
"""
import argparse
import ctypes
import http.server
import os
import shutil
import struct
import subprocess
import sys
import threading

IN_ACCESS = 0x00000001
IN_OPEN = 0x00000020
IN_ISDIR = 0x40000000
BAIT_FILES = ["entity.txt", "subset.dtd", "param.dtd", "unused.txt", "path.txt", "public.txt", "public.dtd",
              "path.dtd", "both.dtd", "unparsed.bin", "schema.xsd", "include.xml", "reference.bin", "cert.der",
              "base64.txt", "control.txt"]


class Inotify:
    """Opens and reads of files in one folder, as the kernel reports them."""

    def __init__(self, folder):
        self.libc = ctypes.CDLL("libc.so.6", use_errno=True)
        self.fd = self.libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self.fd < 0:
            raise OSError(ctypes.get_errno(), "inotify_init1")
        if self.libc.inotify_add_watch(self.fd, os.fsencode(folder), IN_OPEN | IN_ACCESS) < 0:
            raise OSError(ctypes.get_errno(), "inotify_add_watch")

    def drain(self):
        events = []
        while True:
            try:
                data = os.read(self.fd, 65536)
            except BlockingIOError:
                return events
            offset = 0
            while offset < len(data):
                _, mask, _, length = struct.unpack_from("iIII", data, offset)
                name = data[offset + 16:offset + 16 + length].rstrip(b"\0").decode()
                offset += 16 + length
                kind = "open" if mask & IN_OPEN else "read"
                events.append("%s %s%s" % (kind, name or ".", " (folder)" if mask & IN_ISDIR else ""))


class Listener(http.server.ThreadingHTTPServer):
    """Every connection, whether it sends a request or not."""

    daemon_threads = True

    def __init__(self):
        self.connections = []
        self.lock = threading.Lock()
        super().__init__(("127.0.0.1", 0), Handler)

    def verify_request(self, request, client_address):
        with self.lock:
            self.connections.append("connection from %s:%d" % client_address)
        return True

    def taken(self):
        with self.lock:
            taken, self.connections = self.connections, []
            return taken


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with self.server.lock:
            self.server.connections.append("GET " + self.path)
        body = b"<!ENTITY leaked 'LEAKED-FROM-THE-LISTENER'>"
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args):
        pass


def run(command, env):
    print("$ " + " ".join(command), flush=True)
    return subprocess.run(command, env=env).returncode


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bait", required=True)
    ap.add_argument("--run", nargs=argparse.REMAINDER, required=True)
    args = ap.parse_args()

    bait = os.path.abspath(args.bait)
    shutil.rmtree(bait, ignore_errors=True)
    os.makedirs(bait)
    for name in BAIT_FILES:
        with open(os.path.join(bait, name), "w") as f:
            f.write("LEAKED-FROM-%s\n" % name)

    watch = Inotify(bait)
    listener = Listener()
    threading.Thread(target=listener.serve_forever, daemon=True).start()
    env = dict(os.environ, HOSTILE_BAIT_DIR=bait, HOSTILE_BAIT_HTTP="http://127.0.0.1:%d" % listener.server_port)

    failures = []
    rc = run(args.run + ["--gtest_filter=-FetchControl.*"], env)
    if rc != 0:
        failures.append("the tests failed (exit code %d)" % rc)
    seen = watch.drain() + listener.taken()
    for event in seen:
        failures.append("read while parsing hostile documents: " + event)
    print("watch during the tests: %s" % (", ".join(seen) or "nothing read, no connection"))

    rc = run(args.run + ["--gtest_filter=FetchControl.*"], env)
    if rc != 0:
        failures.append("the control run failed (exit code %d)" % rc)
    control = watch.drain() + listener.taken()
    print("watch during the control: %s" % ", ".join(control))
    for expected in ("open control.txt", "read control.txt", "GET /control"):
        if expected not in control:
            failures.append("the watch missed the control's '%s'" % expected)
    stray = [e for e in control if "control" not in e and not e.startswith("connection from")]
    for event in stray:
        failures.append("read during the control: " + event)

    listener.shutdown()
    for failure in failures:
        print("FAILED: " + failure)
    print("fetch watch: " + ("FAILED" if failures else "passed"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
