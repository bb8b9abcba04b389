#!/usr/bin/env python3
"""What --synchronous extra costs: two servers side by side, one with full, which take turns.

bench/durability.py KORVANE FOLDER [ROUNDS]

FOLDER is on the disk that is measured. Prints the median of each round trip, and the ratio.
"""

import http.client
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time


class Served:
    """A server with one project, and a connection to it."""

    def __init__(self, program, folder, mode):
        self.process = subprocess.Popen(
            [program, "serve", "--root", folder, "--listen", "127.0.0.1:0", "--synchronous", mode],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        host = self.process.stdout.readline().split("http://")[1].strip()
        self.connection = http.client.HTTPConnection(host)
        self.call("create_material", {"identity": {"name": "B500B"}}, "?create=true")
        self.call("create_sheet", {"name": "417"})
        self.call("create_revision", {"name": "a", "sheet_id": 1})

    def call(self, operation, request, parameters=""):
        self.connection.request("POST", f"/v1/projects/a.db/{operation}{parameters}",
                                json.dumps(request), {"Content-Type": "application/json"})
        reply = self.connection.getresponse()
        text = reply.read()
        assert reply.status == 200, text

    def seconds_of(self, bars):
        items = [{"mark": str(i), "rev_id": 1, "sheet_id": 1, "material_id": 1}
                 for i in range(bars)]
        begin = time.perf_counter()
        self.call("add_rebar", {"items": items})
        return time.perf_counter() - begin


def main():
    program, folder = sys.argv[1:3]
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 200
    with tempfile.TemporaryDirectory(dir=folder) as root:
        served = {}
        try:
            for mode in ("full", "extra"):
                os.mkdir(os.path.join(root, mode))
                served[mode] = Served(program, os.path.join(root, mode), mode)
            for bars, times in ((1, rounds), (1000, max(1, rounds // 5))):
                taken = {mode: [] for mode in served}
                for turn in range(times):
                    order = list(served) if turn % 2 else list(served)[::-1]
                    for mode in order:
                        taken[mode].append(served[mode].seconds_of(bars))
                full, extra = (statistics.median(taken[mode]) * 1000 for mode in ("full", "extra"))
                print(f"add_rebar of {bars}, {times} rounds: full {full:.2f} ms, "
                      f"extra {extra:.2f} ms, ratio {extra / full:.2f}")
        finally:
            for one in served.values():
                one.process.terminate()
                one.process.wait()


main()
