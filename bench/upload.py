#!/usr/bin/python3
"""Uploads a file to nginx's WebDAV module with curl and as the application does, in turns, and compares.

    bench/upload.py [--megabytes 1024] [--rounds 5]

Prints one JSON line. Fails when a stored file differs from the original, when the application needs more than 64 MB
of memory, or when its median time is more than 1.05 of curl's."""

import argparse
import filecmp
import json
import os
import socket
import statistics
import subprocess
import sys
import tempfile
import time

import recorders

PROGRAM = recorders.BIN / "bench_upload"
CONFIG = """daemon off; pid pid; error_log stderr; worker_processes 1; user {user};
events {{}}
http {{
  access_log off; client_body_temp_path body; client_max_body_size 0;
  server {{ listen 127.0.0.1:{port}; root store; location / {{ dav_methods PUT; }} }}
}}
"""


def start_nginx(folder):
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    os.mkdir(f"{folder}/store")
    user = "root" if os.getuid() == 0 else os.environ.get("USER", "nobody")
    with open(f"{folder}/nginx.conf", "w", encoding="utf-8") as config:
        config.write(CONFIG.format(port=port, user=user))
    server = subprocess.Popen(["/usr/sbin/nginx", "-p", folder, "-c", "nginx.conf"])
    for _ in range(500):
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return server, f"http://127.0.0.1:{port}"
        except OSError:
            time.sleep(0.01)
    raise RuntimeError("nginx does not listen")


def with_curl(file, url):
    output = subprocess.run(["curl", "-sS", "-f", "-H", "Expect:", "-T", file, "-o", "/dev/null", "-w", "%{time_total}",
                             url], check=True, capture_output=True, text=True).stdout
    return {"seconds": float(output)}


def with_application(program, file, url):
    return json.loads(subprocess.run([program, file, url], check=True, capture_output=True, text=True).stdout)


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--megabytes", type=int, default=1024)
    arguments.add_argument("--rounds", type=int, default=5)
    options = arguments.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        file = f"{folder}/video.mp4"
        with open(file, "wb") as video:  # mostly holes, with something to tell one place from another
            video.truncate(options.megabytes << 20)
            for megabyte in range(options.megabytes):
                video.seek((megabyte << 20) + 4099 * megabyte % (1 << 20))
                video.write(megabyte.to_bytes(4, "big"))
        server, url = start_nginx(folder)
        curl, tavro, same = [], [], True
        try:
            for round_ in range(options.rounds + 1):
                os.sync()  # what one leaves to be written does not slow the other down
                first = with_curl(file, f"{url}/curl.mp4")
                os.remove(f"{folder}/store/curl.mp4")
                os.sync()
                second = with_application(PROGRAM, file, f"{url}/tavro.mp4")
                same = same and filecmp.cmp(file, f"{folder}/store/tavro.mp4", shallow=False)
                os.remove(f"{folder}/store/tavro.mp4")
                if round_ > 0:  # the first one warms up
                    curl.append(first)
                    tavro.append(second)
        finally:
            server.terminate()
            server.wait()

    ratio = statistics.median(t["seconds"] for t in tavro) / statistics.median(c["seconds"] for c in curl)
    peak = max(t["peakMegabytes"] for t in tavro)
    print(json.dumps({"megabytes": options.megabytes, "same": same, "ratio": round(ratio, 3), "peakMegabytes": peak,
                      "curlSeconds": [c["seconds"] for c in curl], "tavroSeconds": [t["seconds"] for t in tavro],
                      "tavroCpuSeconds": [t["cpuSeconds"] for t in tavro]}))
    return 0 if same and peak < 64 and ratio <= 1.05 else 1


sys.exit(main())
