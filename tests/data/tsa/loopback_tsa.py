#!/usr/bin/env python3
"""A timestamp authority for tests, on 127.0.0.1 and an ephemeral port.

Usage: loopback_tsa.py WORKDIR

WORKDIR holds openssl.cnf (with the [tsa_config] and [tsa_sha512only] sections),
tsa.key and tsa.pem. The chosen port is printed on the first line of standard
output. The server stops by itself when the process that started it goes away.

Paths:
  /              answers an application/timestamp-query with `openssl ts -reply`
  /sha512only    the same under a policy that accepts SHA-512 imprints only
  /otherdata     a granted reply to a different request (imprint and nonce differ)
  /garbage       status 200 with a body that is not a TimeStampResp
  /status500     status 500
  /echo          the request body back, with the request's Content-Type
  /big           5 MiB of zeros
  /slow          answers after 3 seconds
"""
import http.server
import os
import subprocess
import sys
import tempfile
import threading
import time

WORK = sys.argv[1]
PARENT = os.getppid()


def openssl_reply(query, section):
    with tempfile.TemporaryDirectory(dir=WORK) as tmp:
        qfile = os.path.join(tmp, "q.tsq")
        rfile = os.path.join(tmp, "r.tsr")
        with open(qfile, "wb") as f:
            f.write(query)
        subprocess.run(
            ["openssl", "ts", "-reply", "-config", os.path.join(WORK, "openssl.cnf"),
             "-section", section, "-queryfile", qfile,
             "-inkey", os.path.join(WORK, "tsa.key"),
             "-signer", os.path.join(WORK, "tsa.pem"), "-out", rfile],
            check=True, capture_output=True, cwd=WORK)
        with open(rfile, "rb") as f:
            return f.read()


def other_query():
    with tempfile.TemporaryDirectory(dir=WORK) as tmp:
        data = os.path.join(tmp, "other.txt")
        with open(data, "wb") as f:
            f.write(b"some other data")
        return subprocess.run(
            ["openssl", "ts", "-query", "-data", data, "-sha256", "-cert"],
            check=True, capture_output=True).stdout


class Handler(http.server.BaseHTTPRequestHandler):
    def send(self, status, body, content_type):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        ctype = self.headers.get("Content-Type", "")
        path = self.path
        if path == "/echo":
            return self.send(200, body, ctype or "application/octet-stream")
        if path == "/status500":
            return self.send(500, b"broken", "text/plain")
        if path == "/garbage":
            return self.send(200, b"this is not a reply", "application/timestamp-reply")
        if path == "/big":
            return self.send(200, bytes(5 << 20), "application/octet-stream")
        if path == "/slow":
            time.sleep(3)
            return self.send(200, b"late", "application/octet-stream")
        if ctype != "application/timestamp-query":
            return self.send(415, b"expected application/timestamp-query", "text/plain")
        try:
            if path == "/sha512only":
                reply = openssl_reply(body, "tsa_sha512only")
            elif path == "/otherdata":
                reply = openssl_reply(other_query(), "tsa_config")
            else:
                reply = openssl_reply(body, "tsa_config")
        except subprocess.CalledProcessError as e:
            return self.send(500, e.stderr or b"openssl failed", "text/plain")
        self.send(200, reply, "application/timestamp-reply")

    def log_message(self, *args):
        pass


def watch_parent():
    while os.getppid() == PARENT:
        time.sleep(0.5)
    os._exit(0)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # a client that gave up early (the timeout tests) is expected


server = Server(("127.0.0.1", 0), Handler)
print(server.server_address[1], flush=True)
threading.Thread(target=watch_parent, daemon=True).start()
server.serve_forever()
