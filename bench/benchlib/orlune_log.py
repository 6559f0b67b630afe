"""Figures from the program's log lines (standard error, one line per message).

The watchdog reports the packets muxed and the frames the encoder queue refused
in its period, then clears both; the video encoder reports its totals when its
loop ends; the controller logs the start, the stop command and the end.
"""
import re
from dataclasses import dataclass, field

WATCHDOG = re.compile(r"\[MUX\]: AV Watchdog\(10s\): V:(\d+)\|(\d+), A:(\d+)")
ENCODER_EXIT = re.compile(
    r"\[VENC\]: exit, in_frames:\s*(\d+)\s*,\s*out_frames:\s*(\d+)\s*,\s*queued_frames:\s*(-?\d+)")
OUTPUT_FILE = re.compile(r"^file: (.+)$")

STARTED = "[AC]: handleRecordingStarted("
STOP = "[AC]: recording is active, stopping..."
DONE = "[AC]: handleRecordDone"
QUEUE_FULL = "[VENC]: queue is full!"
DUPLICATE = "]: DUP/BWT "
# Capture drops a frame whose time stamp does not move forward; this form is logged only while recording.
CAPTURE_DISCARD = "[VCAP]: Non-monolitic PTS"
TROUBLE = ("Video capture is too slow, ending!", "Waiting too long for data appears, failed!",
           "No video encoder is found!", "Cannot open encoder")


@dataclass
class RecordingLog:
    output_file: str = None
    started_at: float = None  # arrival times (time.monotonic) of the lines
    stop_at: float = None
    done_at: float = None
    watchdog_lines: int = 0
    muxed_video_packets: int = 0  # in the watchdog periods reported
    refused_frames: int = 0  # in the watchdog periods reported
    encoder_in_frames: int = None
    encoder_out_frames: int = None
    encoder_queued_at_exit: int = None
    queue_full_lines: int = 0
    duplicate_frames: int = 0
    capture_discarded: int = 0
    trouble: list = field(default_factory=list)

    @property
    def frames_captured(self):
        """Frames that reached the encoder's slot: fed to the queue plus refused."""
        if self.encoder_in_frames is None:
            return None
        return self.encoder_in_frames + self.refused_frames

    @property
    def stop_to_done(self):
        if self.stop_at is None or self.done_at is None:
            return None
        return self.done_at - self.stop_at


def parse(lines):
    """lines: objects with .time, .stream and .text, in arrival order."""
    log = RecordingLog()
    for line in lines:
        text = line.text
        if line.stream == "stdout":
            m = OUTPUT_FILE.match(text)
            if m:
                log.output_file = m.group(1).strip()
            continue
        if STARTED in text and log.started_at is None:
            log.started_at = line.time
        elif STOP in text and log.stop_at is None:
            log.stop_at = line.time
        elif DONE in text and log.done_at is None:
            log.done_at = line.time
        elif QUEUE_FULL in text:
            log.queue_full_lines += 1
        elif DUPLICATE in text:
            log.duplicate_frames += 1
        elif CAPTURE_DISCARD in text:
            log.capture_discarded += 1
        m = WATCHDOG.search(text)
        if m:
            log.watchdog_lines += 1
            log.muxed_video_packets += int(m.group(1))
            log.refused_frames += int(m.group(2))
            continue
        m = ENCODER_EXIT.search(text)
        if m:
            log.encoder_in_frames, log.encoder_out_frames, log.encoder_queued_at_exit = map(int, m.groups())
            continue
        if any(t in text for t in TROUBLE):
            log.trouble.append(text)
    return log
