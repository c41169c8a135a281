# SPDX-License-Identifier: MIT
# A small HTTP server for the internet tests, on 127.0.0.1 only. It prints
# "PORT <n>" once it listens and serves until killed.
#   GET  /file/<name>     a file of the served folder
#   GET  /status/<code>   answers with that status and a short body
#   GET  /hang            sends nothing for a minute
#   GET  /cut             announces 1,000,000 bytes, sends 1,000, closes
#   GET  /slow/<n>        n bytes in 64 KiB pieces, 20 ms apart
#   POST /save            keeps the raw body and request headers in the folder
import http.server
import os
import socketserver
import sys
import time

folder = sys.argv[1]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def send_body(self, code, body, length=None):
        self.send_response(code)
        self.send_header("Content-Type", "application/octet-stream")
        self.send_header("Content-Length", str(len(body) if length is None else length))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        parts = self.path.split("/")
        if len(parts) >= 3 and parts[1] == "file":
            path = os.path.join(folder, parts[2])
            if not os.path.isfile(path):
                return self.send_body(404, b"not found")
            size = os.path.getsize(path)
            self.send_response(200)
            self.send_header("Content-Type", "application/octet-stream")
            self.send_header("Content-Length", str(size))
            self.end_headers()
            with open(path, "rb") as f:
                while True:
                    chunk = f.read(1 << 20)
                    if not chunk:
                        break
                    self.wfile.write(chunk)
        elif len(parts) >= 3 and parts[1] == "status":
            self.send_body(int(parts[2]), b"status page")
        elif parts[1] == "hang":
            time.sleep(60)
        elif parts[1] == "cut":
            self.send_body(200, b"x" * 1000, length=1000000)
            self.wfile.flush()
            self.close_connection = True
        elif len(parts) >= 3 and parts[1] == "slow":
            left = int(parts[2])
            self.send_response(200)
            self.send_header("Content-Length", str(left))
            self.end_headers()
            try:
                while left > 0:
                    n = min(left, 65536)
                    self.wfile.write(b"s" * n)
                    self.wfile.flush()
                    left -= n
                    time.sleep(0.02)
            except (BrokenPipeError, ConnectionResetError):
                pass
        else:
            self.send_body(404, b"unknown")

    def do_POST(self):
        length = int(self.headers.get("Content-Length", "0"))
        left = length
        with open(os.path.join(folder, "last_body"), "wb") as out:
            while left > 0:
                chunk = self.rfile.read(min(left, 1 << 20))
                if not chunk:
                    break
                out.write(chunk)
                left -= len(chunk)
        with open(os.path.join(folder, "last_headers"), "w") as out:
            out.write(str(self.headers))
        self.send_body(200, ("received %d" % (length - left)).encode())


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True


server = Server(("127.0.0.1", 0), Handler)
print("PORT %d" % server.server_address[1], flush=True)
server.serve_forever()
