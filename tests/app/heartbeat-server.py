# An HTTPS server on loopback that answers as the first word of a path says, and tells on its
# standard output where it is and what it was asked. Its certificate is made anew each time.
import http.server
import os
import ssl
import subprocess
import sys
import tempfile
import threading
import time
from urllib.parse import urlsplit

STATUSES = {str(status) for status in (200, 204, 300, 302, 304, 399, 400, 404, 500)}
held = threading.Lock()


def tell(*words):
    print(*words, sep="\t", flush=True)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *arguments):
        pass

    def answer(self, status, location=None, body=b"", length=None, cookie=None):
        self.send_response(status)
        if location is not None:
            self.send_header("Location", location)
        if cookie:
            self.send_header("Set-Cookie", cookie)
        if status not in (204, 304):
            self.send_header("Content-Length", str(len(body) if length is None else length))
        self.end_headers()
        self.wfile.write(body)
        self.wfile.flush()

    def do_GET(self):
        url = urlsplit(self.path)
        headers = ",".join(sorted(name.lower() for name in self.headers))
        tell(self.server.scheme, self.command, url.path, url.query, headers)
        try:
            self.act(*url.path.strip("/").split("/"))
        except (BrokenPipeError, ConnectionResetError):
            pass

    def act(self, what, rest="", *more):
        if what in STATUSES:
            self.answer(int(what), cookie="a=b; Path=/")
        elif what == "loop":
            self.answer(302, "/loop")
        elif what == "count":
            self.answer(307, f"/count/{int(rest) - 1}" if int(rest) > 1 else "/200")
        elif what == "relative":
            self.answer(301, "200?moved=1")
        elif what == "plain":
            self.answer(302, f"http://127.0.0.1:{self.server.plain_port}/200")
        elif what == "file":
            self.answer(302, "file:///etc/hostname")
        elif what == "cut":
            self.answer(200, body=b"short", length=1000)
            self.close_connection = True
        elif what == "silent":
            time.sleep(30)
        elif what == "trickle":
            self.answer(200, length=20)
            for _ in range(20):
                time.sleep(0.1)
                self.wfile.write(b"x")
                self.wfile.flush()
        elif what == "long":
            self.answer(200, length=64 * 1024 * 1024)
            for _ in range(64):
                self.wfile.write(bytes(1024 * 1024))
        elif what == "hold":
            # One after the other: what came with a line that one reads is lost to another that waits.
            with held:
                sys.stdin.readline()
            self.answer(200)


def make_certificate(folder):
    files = os.path.join(folder, "key.pem"), os.path.join(folder, "certificate.pem")
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-days", "2", "-subj", "/CN=localhost",
         "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
         "-keyout", files[0], "-out", files[1]],
        check=True, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return files


def serve(server):
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()


with tempfile.TemporaryDirectory() as folder:
    key, certificate = make_certificate(folder)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    plain = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    plain.scheme = "http"
    secure = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    # The handshake is the handler's, else a client that only connects keeps all others waiting.
    secure.socket = context.wrap_socket(secure.socket, server_side=True,
                                        do_handshake_on_connect=False)
    secure.scheme = "https"
    plain.plain_port = secure.plain_port = plain.server_address[1]
    serve(plain)
    serve(secure)
    with open(certificate) as file:
        tell(secure.server_address[1], plain.server_address[1], file.read().replace("\n", "|"))
    # Until whoever started it ends it.
    while True:
        time.sleep(60)
