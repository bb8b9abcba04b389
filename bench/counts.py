#!/usr/bin/env python3
"""Counts what a call over HTTP costs in the server: what does not depend on how busy the machine is.

    bench/counts.py --program=build/bench/bin/korvane [--calls=1000] [--work=get_sheet]

For each work: user instructions (valgrind's callgrind), system calls and futex among them (strace),
voluntary switches of its threads (/proc), and processor time, which a busy machine does change.
Instructions and system calls are of the whole process: it is run with few calls and with more, and
the difference is divided by that of the calls. The calls are made by one client after the other on
a kept connection.
"""

import argparse
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
TYPICAL = ROOT / "tests/data/encoding/typical.jsonl"
MANAGER = "/v1/korvane.model.cad.ProjectManager"
FORMS = {"JSON": "application/json", "binary": "application/x-bond-compact-binary"}
BARS = 1000
WARMING = 20


def typical():
    records = {}
    for line in TYPICAL.read_text().splitlines():
        record = json.loads(line)
        records[record["struct"]] = record
    return records


def varint(value):
    encoded = bytearray()
    while value > 0x7F:
        encoded.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes(encoded + bytes([value]))


def reference(number):
    """A SheetRef or RevisionRef in Compact Binary: the base's end, then `id`."""
    return b"\x01\x10" + varint(number << 1) + b"\0"


def batch_of(count):
    """The request of add_rebar in Compact Binary: its one field, a list of records."""
    return b"\x0b\x0a" + varint(count) + bytes.fromhex(typical()["Rebar"]["hex"]) * count + b"\0"


class Server:
    """`korvane serve`, under a tool if one is given, with a project of the rows that are asked for."""

    def __init__(self, program, folder, tool=()):
        self.process = subprocess.Popen(
            [*tool, program, "serve", "--listen", "127.0.0.1:0", "--root", folder],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if "http://" not in line:
            sys.exit(f"the server did not start: {line}")
        self.url = line.split()[-1]
        self.port = int(self.url.rsplit(":", 1)[1].rstrip("/"))
        self.service = self.ask(f"{MANAGER}/open", {"filename": "counts.db"})["service_id"]

    def ask(self, path, body):
        """`body` is bytes in Compact Binary, or what JSON is made of; the reply is JSON."""
        is_binary = isinstance(body, bytes)
        request = urllib.request.Request(
            self.url.rstrip("/") + path, body if is_binary else json.dumps(body).encode(),
            {"Content-Type": FORMS["binary" if is_binary else "JSON"], "Accept": FORMS["JSON"]})
        with urllib.request.urlopen(request) as reply:
            return json.load(reply)

    def fill(self):
        """A sheet, and what the typical bar refers to. Returns their ids, and the bar as JSON."""
        records = typical()
        bar = records["Rebar"]["json"]

        def call(operation, body):
            return self.ask(f"/v1/{self.service}/{operation}", body)

        sheet = call("create_sheet", bytes.fromhex(records["Sheet"]["hex"]))["id"]
        revision = material = 0
        while revision < bar["rev_id"]:
            revision = call("create_revision", {"sheet_id": sheet})["id"]
        while material < bar["material_id"]:
            material = call("create_material", {"uid": f"uid {material}"})["id"]
        call("add_rebar", batch_of(1))
        stored = call("get_rebars", {"id": revision})["items"]
        call("clear_for_revision", {"id": revision})
        return sheet, revision, stored[0]

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Connection:
    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def call(self, request):
        self.socket.sendall(request)
        reply = b""
        while b"\r\n\r\n" not in reply:
            reply += self.received()
        header, _, body = reply.partition(b"\r\n\r\n")
        if not header.startswith(b"HTTP/1.1 200"):
            sys.exit((header + body).decode(errors="replace"))
        size = int(re.search(rb"(?i)content-length: *(\d+)", header).group(1)) - len(body)
        while size > 0:
            size -= len(self.received())

    def received(self):
        data = self.socket.recv(1 << 20)
        if not data:
            sys.exit("the server has closed the connection")
        return data


def request(path, form, body):
    return (f"POST {path} HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: {FORMS[form]}\r\n"
            f"Content-Length: {len(body)}\r\n\r\n").encode() + body


def requests(service, sheet, revision, bar):
    """By the name of the work what is sent, in turns: a batch is added and cleared again."""
    batch = {"JSON": json.dumps({"items": [bar] * BARS}).encode(), "binary": batch_of(BARS)}

    def of(operation, form, body):
        return request(f"/v1/{service}/{operation}", form, body)

    def id_of(number, form):
        return json.dumps({"id": number}).encode() if form == "JSON" else reference(number)

    live = b"GET /healthz/live HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"
    works = {"/healthz/live": [live]}
    for form in FORMS:
        works[f"get_sheet, {form}"] = [of("get_sheet", form, id_of(sheet, form))]
    for form in FORMS:
        works[f"add_rebar of {BARS:,} and clear_for_revision, {form}"] = [
            of("add_rebar", form, batch[form]),
            of("clear_for_revision", form, id_of(revision, form))]
    return works


def repeat(connection, sent, calls):
    for _ in range(calls):
        for one in sent:
            connection.call(one)


def switches(process):
    total = 0
    for status in pathlib.Path(f"/proc/{process}/task").glob("*/status"):
        total += int(re.search(r"\nvoluntary_ctxt_switches:\s*(\d+)", status.read_text()).group(1))
    return total


def processor_seconds(process):
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def instructions(output):
    """Of all the files that callgrind has written."""
    total = 0
    for path in output.parent.glob(output.name + "*"):
        found = re.search(r"^(?:summary|totals): (\d+)", path.read_text(), re.MULTILINE)
        total += int(found.group(1)) if found else 0
    return total


def system_calls(output):
    """Calls by name in strace's table."""
    counts = {}
    for line in output.read_text().splitlines():
        fields = line.split()
        if len(fields) >= 5 and fields[3].isdigit() and fields[-1] != "total":
            counts[fields[-1]] = int(fields[3])
    return counts


class Counting:
    def __init__(self, program, folder, calls):
        self.program, self.folder, self.calls = program, folder, calls
        server = Server(program, folder)
        self.rows = server.fill()
        self.names = list(requests(server.service, *self.rows))
        server.stop()

    def run(self, name, calls, tool=()):
        """Calls the work in a server of its own. What /proc says of it, for each call."""
        server = Server(self.program, self.folder, tool)
        sent = requests(server.service, *self.rows)[name]
        connection = Connection(server.port)
        repeat(connection, sent, WARMING)
        # Threads that are busy with starting are done.
        time.sleep(0.3)
        before = switches(server.process.pid), processor_seconds(server.process.pid)
        repeat(connection, sent, calls)
        after = switches(server.process.pid), processor_seconds(server.process.pid)
        server.stop()
        return [(late - early) / calls for early, late in zip(before, after)]

    def under(self, name, tool, read):
        """What the tool counts for each call."""
        counted = []
        for calls in (1, self.calls):
            output = pathlib.Path(self.folder) / f"output-{calls}"
            self.run(name, calls, [part.replace("OUTPUT", str(output)) for part in tool])
            # strace, which runs beside the server, writes after its end.
            while not any(path.stat().st_size for path in output.parent.glob(output.name + "*")):
                time.sleep(0.1)
            counted.append(read(output))
            for path in output.parent.glob(output.name + "*"):
                path.unlink()
        return counted

    def of(self, name):
        in_switches, in_seconds = self.run(name, self.calls)
        few, many = self.under(
            name, ["valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=OUTPUT"],
            instructions)
        few_calls, many_calls = self.under(name, ["strace", "-D", "-f", "-c", "-o", "OUTPUT"],
                                           system_calls)
        more = self.calls - 1
        by_call = {call: (many_calls[call] - few_calls.get(call, 0)) / more for call in many_calls}
        return {"instructions": (many - few) / more, "futex": by_call.get("futex", 0.0),
                "system calls": sum(by_call.values()), "voluntary switches": in_switches,
                "processor": in_seconds * 1e6,
                "others": {call: count for call, count in by_call.items() if count >= 0.05}}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--program", type=pathlib.Path, required=True)
    parser.add_argument("--calls", type=int, default=1000)
    parser.add_argument("--work", default="", help="only works whose name has this")
    options = parser.parse_args()
    for tool in ("valgrind", "strace"):
        if not shutil.which(tool):
            sys.exit(f"{tool} is not installed")
    folder = tempfile.mkdtemp(prefix="korvane-counts-")
    try:
        counting = Counting(options.program.resolve(), folder, options.calls)
        for name in counting.names:
            if options.work not in name:
                continue
            # A batch is as much work as hundreds of small calls.
            counting.calls = max(3, options.calls // (200 if "batch" in name or "add_" in name else 1))
            found = counting.of(name)
            print(f"{name}: {found['instructions']:,.0f} instructions, {found['futex']:.2f} futex of"
                  f" {found['system calls']:.2f} system calls, {found['voluntary switches']:.2f}"
                  f" voluntary switches, {found['processor']:.0f} us of processor time")
            print("  " + ", ".join(f"{call} {count:.2f}" for call, count in sorted(
                found["others"].items(), key=lambda item: -item[1])), flush=True)
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
