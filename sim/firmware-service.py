#!/usr/bin/env python3
"""A local firmware service for the emulated mesh and the tests: HTTPS on a
loopback address, answering POST /v4/version with the firmware records of
the serial numbers asked for.

    firmware-service.py DIR [--address A.B.C.D] [--port N] [--host NAME]
                            [--firmware FILE] [--certs-only]

DIR holds everything the service makes and keeps:
  ca.pem, ca.key          a test CA, made with the openssl tool when missing
  server.pem, server.key  the service's certificate, for NAME and the address
  port                    the port listened on, written once ready (--port 0:
                          the kernel's choice)
  requests.log            one JSON line per request received: "method",
                          "path", "headers" ([name, value] in arrival order)
                          and "body" (bytes as code points 0-255)
  answers/NAME            answers served verbatim by the "answer-NAME" step
--certs-only makes the certificates and exits. Nothing is installed in the
host's trust store: callers hand ca.pem to the emulated roots.

FILE (default: firmware-service.json beside this script) is a JSON object
of firmware records keyed by model, the first two characters of a serial
number ("01", "02"). The answer holds, in order of
first appearance, one record per model asked for, with "sns" set to the
serial numbers of that model in request order; unknown models are left out.

Steps in front of "/v4/version" change the answer, read left to right:
  redirect-NNN      answer NNN (301, 302, 303, 307, 308) to the same URL
                    without this step
  loop              answer 302 to the very same URL, for ever
  away              answer 302 to the same path without this step on the
                    host "elsewhere.vespin.test" (same port)
  status-NNN        answer NNN with a small JSON body
  broken            answer 200 with a body that is not JSON
  answer-NAME       answer 200 with the file answers/NAME
  stall-first-TAG   hold the first request of this TAG until the client
                    gives up (30 s at most), go on for later ones
"""
import argparse
import json
import os
import select
import ssl
import subprocess
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

DEFAULT_FIRMWARE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "firmware-service.json")
STALL_LIMIT_SECONDS = 30


def run_openssl(*args, cwd):
    subprocess.run(["openssl", *args], cwd=cwd, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def make_certificates(directory, host, address):
    """A CA and a server certificate signed by it, both P-256, 30 days."""
    if all(os.path.exists(os.path.join(directory, f)) for f in ("ca.pem", "server.pem", "server.key")):
        return
    ec = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
    run_openssl("req", "-x509", *ec, "-keyout", "ca.key", "-out", "ca.pem", "-days", "30",
                "-subj", "/CN=Vespin test firmware CA",
                "-addext", "basicConstraints=critical,CA:TRUE",
                "-addext", "keyUsage=critical,keyCertSign,cRLSign", cwd=directory)
    run_openssl("req", *ec, "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=" + host, cwd=directory)
    with open(os.path.join(directory, "server.ext"), "w") as ext:
        ext.write("subjectAltName=DNS:%s,IP:%s\nbasicConstraints=CA:FALSE\n"
                  "keyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n" % (host, address))
    run_openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                "-out", "server.pem", "-days", "30", "-extfile", "server.ext", cwd=directory)


class FirmwareService(ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, address, directory, firmware):
        super().__init__(address, RequestHandler)
        self.directory = directory
        self.firmware = firmware
        self.lock = threading.Lock()
        self.stalled_tags = set()

    def handle_error(self, request, client_address):
        pass  # refused handshakes (the tests' untrusted clients) are expected

    def record(self, entry):
        with self.lock, open(os.path.join(self.directory, "requests.log"), "a") as log:
            log.write(json.dumps(entry) + "\n")

    def first_stall(self, tag):
        with self.lock:
            first = tag not in self.stalled_tags
            self.stalled_tags.add(tag)
            return first


class RequestHandler(BaseHTTPRequestHandler):
    server_version = "VespinFirmware/1.0"

    def setup(self):
        self.request.settimeout(STALL_LIMIT_SECONDS)
        self.request.do_handshake()
        super().setup()

    def log_message(self, format, *args):
        pass

    def do_GET(self):
        self.handle_request(b"")

    def do_POST(self):
        length = int(self.headers.get("Content-Length") or 0)
        self.handle_request(self.rfile.read(length) if length > 0 else b"")

    def handle_request(self, body):
        self.server.record({"method": self.command, "path": self.path,
                            "headers": [[k, v] for k, v in self.headers.items()],
                            "body": body.decode("latin-1")})
        steps = [s for s in self.path.split("?")[0].split("/") if s]
        for i, step in enumerate(steps):
            rest = "/" + "/".join(steps[i + 1:])
            if steps[i:] == ["v4", "version"]:
                return self.answer_firmware(body)
            if step.startswith("redirect-"):
                return self.redirect(int(step[9:]), rest)
            if step == "loop":
                return self.redirect(302, self.path)
            if step == "away":
                port = self.server.server_address[1]
                return self.redirect(302, rest, "elsewhere.vespin.test:%d" % port)
            if step.startswith("status-"):
                return self.send(int(step[7:]), json.dumps({"error": "status " + step[7:]}).encode())
            if step == "broken":
                return self.send(200, b'[{"model": {"id": "1", "version": ')
            if step.startswith("answer-"):
                with open(os.path.join(self.server.directory, "answers", os.path.basename(step[7:])), "rb") as f:
                    return self.send(200, f.read())
            if step.startswith("stall-first-"):
                if self.server.first_stall(step):
                    return self.stall()
                continue
            break
        self.send(404, b'{"error": "no such path"}')

    def answer_firmware(self, body):
        if self.command != "POST":
            return self.send(405, b'{"error": "POST only"}')
        try:
            request = json.loads(body)
            sns = request["params"]["sns"]
            if request["method"] != "firmware.get" or not all(isinstance(sn, str) for sn in sns):
                raise ValueError("bad request")
        except (ValueError, KeyError, TypeError):
            return self.send(400, b'{"error": "bad request"}')
        records = {}
        for sn in sns:
            template = self.server.firmware.get(sn[:2])
            if template is None:
                continue
            if sn[:2] not in records:
                records[sn[:2]] = dict(template, sns=[])
            records[sn[:2]]["sns"].append(sn)
        self.send(200, json.dumps(list(records.values())).encode())

    def redirect(self, status, path, host=None):
        self.send_response(status)
        self.send_header("Location", "https://%s%s" % (host or self.headers.get("Host", ""), path))
        self.send_header("Content-Length", "0")
        self.end_headers()

    def stall(self):
        """Says nothing until the client closes the connection."""
        deadline = time.monotonic() + STALL_LIMIT_SECONDS
        while time.monotonic() < deadline:
            readable, _, _ = select.select([self.connection], [], [], 0.1)
            if readable:
                try:
                    if not self.connection.recv(1):
                        break
                except (OSError, ssl.SSLError):
                    break
        self.close_connection = True

    def send(self, status, payload):
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        self.wfile.write(payload)


def main():
    parser = argparse.ArgumentParser(description="A local HTTPS firmware service.")
    parser.add_argument("directory")
    parser.add_argument("--address", default="127.0.0.1")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--host", default="firmware.vespin.test")
    parser.add_argument("--firmware", default=DEFAULT_FIRMWARE)
    parser.add_argument("--certs-only", action="store_true")
    args = parser.parse_args()
    os.makedirs(os.path.join(args.directory, "answers"), exist_ok=True)
    make_certificates(args.directory, args.host, args.address)
    if args.certs_only:
        return 0
    with open(args.firmware) as f:
        firmware = json.load(f)
    service = FirmwareService((args.address, args.port), args.directory, firmware)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(args.directory, "server.pem"), os.path.join(args.directory, "server.key"))
    # The handshake runs in the request's thread: a stalled or refused
    # client never holds up the others.
    service.socket = context.wrap_socket(service.socket, server_side=True, do_handshake_on_connect=False)
    port_file = os.path.join(args.directory, "port")
    with open(port_file + ".new", "w") as f:
        f.write("%d\n" % service.server_address[1])
    os.rename(port_file + ".new", port_file)
    try:
        service.serve_forever(poll_interval=0.1)
    except KeyboardInterrupt:
        pass
    return 0


if __name__ == "__main__":
    sys.exit(main())
