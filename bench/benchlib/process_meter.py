"""Runs one process and measures it.

CPU time and peak memory come from the kernel's accounting when the process is
reaped (wait4); per-thread CPU and the memory high-water mark are sampled from
/proc while it runs; every line it writes is stamped with its arrival time, so
that log lines can be turned into durations.
"""
import os
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field

CLOCK_TICKS = os.sysconf("SC_CLK_TCK")


@dataclass
class TimedLine:
    time: float  # time.monotonic() at arrival
    stream: str  # "stdout" or "stderr"
    text: str


@dataclass
class Snapshot:
    time: float
    cpu_ticks: int  # user + system of the whole process
    threads: dict  # tid -> (name, user + system ticks, times put on a CPU)
    rss_kb: int = 0
    children_ticks: int = 0  # CPU of child processes already waited for


@dataclass
class Measurement:
    exit_code: int = None
    timed_out: bool = False
    wall_seconds: float = 0.0
    cpu_user: float = 0.0  # from wait4: the process and any children it reaped
    cpu_system: float = 0.0
    children_cpu: float = 0.0  # the part of cpu_user + cpu_system spent by child processes
    peak_rss_kb: int = 0  # largest of wait4's maxrss and the sampled VmHWM
    sampled_hwm_kb: int = 0
    children_seen: dict = field(default_factory=dict)  # pid -> command line

    @property
    def cpu_seconds(self):
        return self.cpu_user + self.cpu_system

    @property
    def own_cpu_seconds(self):
        """The process's own threads, without child processes."""
        return self.cpu_seconds - self.children_cpu


def read_stat(path, children=False):
    """(name, user + system ticks) from a /proc stat file, or with `children` the ticks of the
    child processes it has waited for; None once it is gone."""
    try:
        with open(path, "rb") as f:
            data = f.read().decode("utf-8", "replace")
    except OSError:
        return None
    # The name sits in parentheses and may itself contain spaces or ')'.
    name = data[data.index("(") + 1:data.rindex(")")]
    rest = data[data.rindex(")") + 2:].split()
    if children:
        return name, int(rest[13]) + int(rest[14])
    return name, int(rest[11]) + int(rest[12])


def read_run_count(path):
    """How many times the thread was put on a CPU (third field of schedstat)."""
    try:
        with open(path) as f:
            return int(f.read().split()[2])
    except (OSError, ValueError, IndexError):
        return 0


def read_status_kb(pid, key):
    try:
        with open(f"/proc/{pid}/status") as f:
            for line in f:
                if line.startswith(key + ":"):
                    return int(line.split()[1])
    except (OSError, ValueError, IndexError):
        pass
    return 0


class MeteredProcess:
    def __init__(self, argv, env=None, cwd=None, sample_interval=0.1, echo_prefix=None):
        self.argv = argv
        self.env = env
        self.cwd = cwd
        self.sample_interval = sample_interval
        self.echo_prefix = echo_prefix  # when set, output lines are echoed as they come
        self.lines = []
        self.snapshots = []
        self.result = Measurement()
        self._lines_lock = threading.Lock()
        self._readers = []
        self.proc = None
        self.start_time = None

    @property
    def pid(self):
        return self.proc.pid

    def start(self):
        self.start_time = time.monotonic()
        self.proc = subprocess.Popen(self.argv, env=self.env, cwd=self.cwd, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for name, stream in (("stdout", self.proc.stdout), ("stderr", self.proc.stderr)):
            reader = threading.Thread(target=self._read, args=(name, stream), daemon=True)
            reader.start()
            self._readers.append(reader)
        return self

    def _read(self, name, stream):
        for raw in iter(stream.readline, b""):
            line = TimedLine(time.monotonic(), name, raw.decode("utf-8", "replace").rstrip("\n"))
            with self._lines_lock:
                self.lines.append(line)
            if self.echo_prefix:
                print(f"{self.echo_prefix}{line.text}", flush=True)
        stream.close()

    def lines_so_far(self):
        with self._lines_lock:
            return list(self.lines)

    def first_line(self, needle):
        return next((l for l in self.lines_so_far() if needle in l.text), None)

    def _sample(self):
        pid = self.proc.pid
        own = read_stat(f"/proc/{pid}/stat")
        if own is None:
            return
        threads = {}
        try:
            tids = os.listdir(f"/proc/{pid}/task")
        except OSError:
            tids = []
        for tid in tids:
            stat = read_stat(f"/proc/{pid}/task/{tid}/stat")
            if stat:
                threads[int(tid)] = (*stat, read_run_count(f"/proc/{pid}/task/{tid}/schedstat"))
            try:
                with open(f"/proc/{pid}/task/{tid}/children") as f:
                    for child in f.read().split():
                        self._note_child(int(child))
            except OSError:
                pass
        reaped = read_stat(f"/proc/{pid}/stat", children=True)
        self.snapshots.append(Snapshot(time.monotonic(), own[1], threads, read_status_kb(pid, "VmRSS"),
                                       reaped[1] if reaped else 0))
        self.result.sampled_hwm_kb = max(self.result.sampled_hwm_kb, read_status_kb(pid, "VmHWM"))

    def _note_child(self, pid):
        """Keeps the latest non-empty command line: a child seen right after fork still shows its parent's."""
        try:
            with open(f"/proc/{pid}/cmdline", "rb") as f:
                cmd = f.read().replace(b"\0", b" ").decode("utf-8", "replace").strip()
        except OSError:
            cmd = ""
        if cmd or pid not in self.result.children_seen:
            self.result.children_seen[pid] = cmd or "(exited)"

    def wait(self, timeout, on_tick=None):
        """Samples until the process ends, calling on_tick(self) between samples.
        on_tick may return a string to stop the process (the reason is logged).
        After `timeout` seconds the process is stopped as well."""
        try:
            status, rusage = self._sample_until_exit(timeout, on_tick)
        except BaseException:
            self._stop()
            raise
        self.proc.returncode = os.waitstatus_to_exitcode(status)
        return self._finish(rusage)

    def _sample_until_exit(self, timeout, on_tick):
        deadline = self.start_time + timeout
        while True:
            self._sample()
            pid, status, rusage = os.wait4(self.proc.pid, os.WNOHANG)
            if pid:
                return status, rusage
            reason = on_tick(self) if on_tick else None
            if reason is None and time.monotonic() > deadline:
                reason = f"no exit after {timeout:.0f} s"
                self.result.timed_out = True
            if reason:
                print(f"record-bench: stopping {os.path.basename(self.argv[0])}: {reason}", flush=True)
                return self._stop()
            time.sleep(self.sample_interval)

    def _finish(self, rusage):
        for reader in self._readers:
            reader.join(timeout=5)
        r = self.result
        r.exit_code = self.proc.returncode
        r.wall_seconds = time.monotonic() - self.start_time
        r.cpu_user = rusage.ru_utime
        r.cpu_system = rusage.ru_stime
        r.peak_rss_kb = max(rusage.ru_maxrss, r.sampled_hwm_kb)
        if self.snapshots:
            r.children_cpu = self.snapshots[-1].children_ticks / CLOCK_TICKS
        return r

    def _stop(self):
        self.proc.send_signal(signal.SIGTERM)
        for _ in range(50):
            pid, status, rusage = os.wait4(self.proc.pid, os.WNOHANG)
            if pid:
                return status, rusage
            time.sleep(0.1)
        self.proc.kill()
        _, status, rusage = os.wait4(self.proc.pid, 0)
        return status, rusage

    def snapshot_at(self, t):
        """The first sample taken at or after t (the last one if none is)."""
        for snap in self.snapshots:
            if snap.time >= t:
                return snap
        return self.snapshots[-1] if self.snapshots else None

    def thread_cpu_between(self, t0, t1):
        """Per-thread use between two moments: [(name, tid, CPU seconds, times run)], most CPU first.
        A thread that ended in between counts up to its last sample; one that began, from zero."""
        a = self.snapshot_at(t0)
        if not a:
            return []
        last = {}
        for snap in self.snapshots:
            if a.time <= snap.time and (snap.time <= t1 or not last):
                last.update(snap.threads)
            if snap.time >= t1:
                last.update(snap.threads)
                break
        rows = []
        for tid, (name, ticks, runs) in last.items():
            _, ticks_before, runs_before = a.threads.get(tid, (name, 0, 0))
            rows.append((name, tid, (ticks - ticks_before) / CLOCK_TICKS, runs - runs_before))
        return sorted(rows, key=lambda r: -r[2])

    def rss_at(self, t):
        snap = self.snapshot_at(t)
        return snap.rss_kb if snap else None

    def peak_rss_between(self, t0, t1):
        """Largest sampled resident size (kB) between two moments."""
        sizes = [s.rss_kb for s in self.snapshots if t0 <= s.time <= t1]
        return max(sizes) if sizes else None

    def cpu_between(self, t0, t1):
        a, b = self.snapshot_at(t0), self.snapshot_at(t1)
        if not a or not b:
            return None
        return (b.cpu_ticks - a.cpu_ticks) / CLOCK_TICKS
