"""Where a running process spends its CPU, thread by thread: one `top -H`
frame, and a short `perf` sample split by thread and library."""
import os
import re
import shutil
import subprocess
import tempfile

PERF_LINE = re.compile(r"^\s*([\d.]+)%\s+(\d+):(\S.*?)\s{2,}(\S+)\s*$")
# Where a thread waits rather than works: the kernel (futex sleeps and wake-ups,
# timers), the toolkit's wait condition and mutex, and the C library's lock calls.
WAITING_SYMBOL = re.compile(r"futex|lll_lock|lll_unlock|pthread_cond|pthread_mutex|clock_gettime|timedwait")


def top_threads(pid):
    """The second frame of `top -H` over one second (the first covers no interval)."""
    run = subprocess.run(["top", "-H", "-b", "-n", "2", "-d", "1", "-w", "200", "-p", str(pid)],
                         capture_output=True, text=True)
    frames = re.split(r"(?m)^(?=top - )", run.stdout)
    return frames[-1].rstrip() if frames else run.stderr


def perf_available():
    return shutil.which("perf") is not None


class PerfSample:
    """perf record on every thread of a process for a few seconds, then shares by (thread, library)."""

    def __init__(self, pid, seconds, frequency=499):
        self.pid = pid
        self.seconds = seconds
        self.frequency = frequency
        self.data = tempfile.NamedTemporaryFile(prefix="record-bench-perf.", suffix=".data", delete=False).name
        self.proc = None
        self.error = None

    def start(self):
        self.proc = subprocess.Popen(
            ["perf", "record", "-q", "-F", str(self.frequency), "-p", str(self.pid), "-o", self.data,
             "--", "sleep", str(self.seconds)],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        return self

    def finish(self):
        """Waits for the sample; returns [(percent, tid, thread name, library)] of all samples."""
        if self.proc is None:
            return []
        _, err = self.proc.communicate(timeout=self.seconds + 30)
        if self.proc.returncode != 0:
            self.error = err.decode("utf-8", "replace").strip() or f"perf exit {self.proc.returncode}"
            return []
        return self._report(["--sort", "pid,dso"])

    def symbols_of(self, tid):
        """The functions of one thread, busiest first: [(percent of the thread, library, symbol)]."""
        run = subprocess.run(["perf", "report", "-i", self.data, "--stdio", "-q", "--tid", str(tid),
                              "--sort", "dso,sym", "--percentage", "relative"],
                             capture_output=True, text=True)
        rows = []
        for line in run.stdout.splitlines():
            parts = line.split(None, 2)
            if len(parts) == 3 and parts[0].endswith("%"):
                rows.append((float(parts[0].rstrip("%")), parts[1], parts[2].strip()))
        return rows

    def _report(self, sort):
        run = subprocess.run(["perf", "report", "-i", self.data, "--stdio", "-q", *sort],
                             capture_output=True, text=True)
        rows = []
        for line in run.stdout.splitlines():
            m = PERF_LINE.match(line)
            if m:
                rows.append((float(m.group(1)), int(m.group(2)), m.group(3).strip(), m.group(4)))
        if not rows:
            self.error = (run.stderr.strip() or "perf report gave no rows")[:300]
        return rows

    def remove(self):
        try:
            os.unlink(self.data)
        except OSError:
            pass


def is_waiting(dso, symbol):
    return dso == "[kernel.kallsyms]" or dso.startswith("libQt6Core") or bool(WAITING_SYMBOL.search(symbol))


def split_work(symbol_rows):
    """(waiting percent, {library: percent}) of one thread's samples from symbols_of."""
    waiting = 0.0
    by_library = {}
    for pct, dso, symbol in symbol_rows:
        by_library[dso] = by_library.get(dso, 0.0) + pct
        if is_waiting(dso, symbol):
            waiting += pct
    return waiting, dict(sorted(by_library.items(), key=lambda kv: -kv[1]))
