#!/usr/bin/python3
"""Serves the simulator's stand-in for the uv installer script on a loopback port.

    tools/simulator/installer_server.py [--port N] [--status CODE]

prints the script's address, http://127.0.0.1:{port}/uv/install.sh, on its first
line of standard output and serves until it is stopped or its standard input
closes. Point NORVANE_UV_INSTALLER_URL at that address and a first launch
installs the fake uv into {HOME}/.local/bin with `curl ... | sh`, as it would
the real one. It listens on 127.0.0.1 only and answers nothing but GET.
"""
import argparse
import http.server
import os
import sys
import threading

HERE = os.path.dirname(os.path.realpath(__file__))
sys.path.insert(0, HERE)

from norvane_sim import bootstrap  # noqa: E402

SCRIPT_PATH = "/uv/install.sh"


def make_handler(script, status):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):  # noqa: N802 (the name is the server's)
            if self.path != SCRIPT_PATH:
                self.send_error(404)
                return
            body = script if status == 200 else f"simulated server error {status}\n".encode()
            self.send_response(status)
            self.send_header("Content-Type", "text/x-sh")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, fmt, *args):
            sys.stderr.write("installer-server: " + (fmt % args) + "\n")

    return Handler


def serve(port=0, status=200, ready=None):
    """Starts the server and returns it; `ready` gets the script's address."""
    script = bootstrap.install_script(os.path.join(HERE, "uv")).encode()
    server = http.server.ThreadingHTTPServer(("127.0.0.1", port), make_handler(script, status))
    url = f"http://127.0.0.1:{server.server_port}{SCRIPT_PATH}"
    if ready:
        ready(url)
    return server


def main(argv=None):
    parser = argparse.ArgumentParser(description="Serves the simulator's uv installer script on loopback.")
    parser.add_argument("--port", type=int, default=0, help="port on 127.0.0.1; 0 picks a free one")
    parser.add_argument("--status", type=int, default=200,
                        help="HTTP status of every answer; anything but 200 makes curl -f fail")
    args = parser.parse_args(argv)
    server = serve(args.port, args.status, lambda url: print(url, flush=True))
    thread = threading.Thread(target=server.serve_forever, daemon=True)
    thread.start()
    # Whoever started us may die without stopping us: the end of standard input ends the server too.
    try:
        while sys.stdin.read(4096):
            pass
    except KeyboardInterrupt:
        pass
    server.shutdown()
    return 0


if __name__ == "__main__":
    sys.exit(main())
