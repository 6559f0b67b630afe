"""The printed result: one row per figure, the program beside the reference,
the target and whether it was met. Figures only: nothing here fails a build."""
from dataclasses import dataclass

TARGET_FPS = 24.5
TARGET_CPU_RATIO = 1.15
TARGET_PEAK_RSS_MB = 250
TARGET_STOP_TO_DONE = 1.5
TARGET_DRIFT = 0.040
AAC_FRAME = 1024 / 44100.0  # seconds of sound in one AAC frame at the recording's rate


@dataclass
class Row:
    figure: str
    orlune: str
    reference: str = ""
    target: str = ""
    verdict: str = ""  # PASS, MISS, n/a, or empty for a plain figure


def fmt(value, digits=1, unit=""):
    if value is None:
        return "n/a"
    if isinstance(value, int):
        return f"{value}{unit}"
    return f"{value:.{digits}f}{unit}"


def judge(value, ok):
    if value is None:
        return "n/a"
    return "PASS" if ok(value) else "MISS"


def build_rows(orl, ref):
    """orl and ref: dicts of figures (see record-bench); missing figures are None."""
    cpu_ratio = None
    if orl.get("cpu") is not None and ref.get("cpu"):
        cpu_ratio = orl["cpu"] / ref["cpu"]
    window_ratio = None
    if orl.get("cpu_per_s") is not None and ref.get("cpu_per_s"):
        window_ratio = orl["cpu_per_s"] / ref["cpu_per_s"]
    refused = orl.get("refused")
    rows = [
        Row("Frames captured", fmt(orl.get("captured")), fmt(ref.get("packets")), "", ""),
        Row("Frames refused by encoder queue", fmt(refused), "", "0",
            judge(refused, lambda v: v == 0 and not orl.get("queue_full"))),
        Row("Frames discarded by capture (time stamp)", fmt(orl.get("capture_discarded"))),
        Row("Video packets in file", fmt(orl.get("packets")), fmt(ref.get("packets"))),
        Row("File duration (s)", fmt(orl.get("duration"), 2), fmt(ref.get("duration"), 2)),
        Row("Effective frame rate (fps)", fmt(orl.get("fps"), 2), fmt(ref.get("fps"), 2), f">= {TARGET_FPS}",
            judge(orl.get("fps"), lambda v: v >= TARGET_FPS)),
        Row("CPU s, with child processes", fmt(orl.get("cpu_total"), 1), fmt(ref.get("cpu_total"), 1)),
        Row("CPU s, the process itself", fmt(orl.get("cpu"), 1), fmt(ref.get("cpu"), 1)),
        Row("CPU ratio program / ffmpeg, itself", fmt(cpu_ratio, 2), "", f"<= {TARGET_CPU_RATIO}",
            judge(cpu_ratio, lambda v: v <= TARGET_CPU_RATIO)),
        Row("CPU s per recorded s (recording only)", fmt(orl.get("cpu_per_s"), 3), fmt(ref.get("cpu_per_s"), 3),
            f"ratio {fmt(window_ratio, 2)}", ""),
        Row("Peak RSS (MB)", fmt(orl.get("rss_mb"), 1), fmt(ref.get("rss_mb"), 1), f"< {TARGET_PEAK_RSS_MB}",
            judge(orl.get("rss_mb"), lambda v: v < TARGET_PEAK_RSS_MB)),
        Row("RSS when recording started, sampled (MB)", fmt(orl.get("rss_at_start_mb"), 1)),
        Row("Peak RSS start to done, sampled (MB)", fmt(orl.get("rss_recording_mb"), 1)),
        Row("Stop to recordingDone (s)", fmt(orl.get("stop_to_done"), 3), "", f"< {TARGET_STOP_TO_DONE}",
            judge(orl.get("stop_to_done"), lambda v: v < TARGET_STOP_TO_DONE)),
    ]
    return rows


def sound_rows(orl, ref):
    """Audio figures of a recording with sound: AAC frames, the frames missing against the
    picture's length, and the drift of the audio track against the video track."""
    def missing(f):
        if f.get("audio_packets") is None or f.get("video_duration") is None:
            return None
        return max(0, round(f["video_duration"] / AAC_FRAME) - f["audio_packets"])

    drift = orl.get("drift")
    lost = missing(orl)
    return [
        Row("AAC frames in file", fmt(orl.get("audio_packets")), fmt(ref.get("audio_packets"))),
        Row("Audio frames missing against the picture", fmt(lost), fmt(missing(ref)), "0",
            judge(lost, lambda v: v <= 1)),
        Row("Drift audio - video track (ms)", fmt(drift and drift * 1000, 1), fmt(ref.get("drift") and ref["drift"] * 1000, 1),
            f"|d| < {TARGET_DRIFT * 1000:.0f}", judge(drift, lambda v: abs(v) < TARGET_DRIFT)),
    ]


def render(rows, reference="ffmpeg"):
    header = Row("Figure", "orlune", reference, "target", "result")
    cells = [[r.figure, r.orlune, r.reference, r.target, r.verdict] for r in [header, *rows]]
    widths = [max(len(c[i]) for c in cells) for i in range(5)]
    out = []
    for n, c in enumerate(cells):
        out.append("  ".join(c[i].ljust(widths[i]) if i == 0 else c[i].rjust(widths[i]) for i in range(5)).rstrip())
        if n == 0:
            out.append("  ".join("-" * w for w in widths))
    return "\n".join(out)


def grouped_by_name(rows):
    """Threads of one name added up (the encoder's helper threads share their creator's name):
    [(name, thread count, CPU seconds, times run)], most CPU first."""
    totals = {}
    for name, _, seconds, runs in rows:
        count, cpu, run = totals.get(name, (0, 0.0, 0))
        totals[name] = (count + 1, cpu + seconds, run + runs)
    return sorted(((name, *t) for name, t in totals.items()), key=lambda r: -r[2])


def render_threads(title, rows, wall, limit=10):
    """rows from grouped_by_name; shares are of one core, runs are times put on a CPU per second."""
    if not rows:
        return f"{title}: no samples"
    lines = [f"{title} (over {wall:.1f} s)", f"  {'thread':<20} {'count':>5} {'CPU s':>8} {'% core':>7} {'runs/s':>8}"]
    for name, count, seconds, runs in rows[:limit]:
        share = 100.0 * seconds / wall if wall > 0 else 0.0
        rate = runs / wall if wall > 0 else 0.0
        lines.append(f"  {name:<20} {count:>5} {seconds:8.2f} {share:7.1f} {rate:8.0f}")
    return "\n".join(lines)
