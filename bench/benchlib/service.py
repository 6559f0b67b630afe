"""The reference service for a benchmark: started on a free loopback port with its
data in a folder of the run, accounts made by its own command, and a plain upload
of a whole file as the yardstick for the program's uploader."""
import hashlib
import http.client
import os
import random
import re
import subprocess
import time
import urllib.parse


class Service:
    def __init__(self, binary, data):
        self.binary = binary
        self.data = data
        self.proc = None
        self.port = None

    def start(self):
        os.makedirs(self.data, exist_ok=True)
        self.proc = subprocess.Popen([self.binary, "--data", self.data, "--port", "0"], stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.proc.stdout.readline()
        m = re.search(r"listening: 127\.0\.0\.1:(\d+)", line)
        if not m:
            raise RuntimeError(f"the service did not start: {line!r}")
        self.port = int(m.group(1))
        return self

    def stop(self):
        if self.proc and self.proc.poll() is None:
            self.proc.terminate()
            self.proc.wait(10)

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def create_account(self, login):
        out = subprocess.run([self.binary, "--data", self.data, "--create-account", login],
                             capture_output=True, text=True, check=True).stdout
        values = dict(line.split(": ", 1) for line in out.splitlines() if ": " in line)
        return values["login"], values["token"], values["salt"]

    def plain_upload(self, path, token, salt):
        """POSTs the whole file as one finalized range under a new file id; returns
        (seconds, status). The timing covers the request and its answer only."""
        with open(path, "rb") as f:
            body = f.read()
        rand = f"{random.getrandbits(64):016x}"
        machine = "bench"
        query = urllib.parse.urlencode({
            "machine_id": machine, "user_token": token, "user_rand": rand,
            "user_hash": hashlib.sha1((rand + salt + machine).encode()).hexdigest(),
            "file_name": os.path.basename(path), "file_pseudoname": "bench",
            "file_id": random.randint(1, 2**31), "segment_id": 0, "file_preview_ext": "", "finalized": 1,
            "start_pos": 0, "length": len(body), "fullsize": len(body), "file_segments_count": 1,
            "md5val": hashlib.md5(body).hexdigest(),
        })
        conn = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120)
        started = time.monotonic()
        conn.request("POST", "/upload?" + query, body=body, headers={"Content-Type": "application/octet-stream"})
        status = conn.getresponse()
        status.read()
        seconds = time.monotonic() - started
        conn.close()
        return seconds, status.status
