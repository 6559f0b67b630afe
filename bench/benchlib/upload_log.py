"""Upload figures from the program's log lines: when each stretch of the recording
reached the disk, when the uploader sent it and when the server confirmed it."""
import re
from dataclasses import dataclass, field

WRITTEN = re.compile(r"\[MUX\]: DB <=file\[\d+\|\d+\]: pos:(\d+) segsz:(\d+)")
SENT = re.compile(r"\[UP\]: segment\s+\d+\s+pos\s+(\d+)\s+size:\s+(\d+)")
CONFIRMED = re.compile(r"\[UP\]:\s+(\d+)\s+OK, update DB: segment:")
FULLY_UPLOADED = "[UP]: Server answers that file is fully uploaded!"
STOP = "[AC]: recording is active, stopping..."
LINK = re.compile(r"^link: (\S+)")
FILE = "file: "  # printed once the recording is finalized


@dataclass
class UploadLog:
    writes: list = field(default_factory=list)  # (time, end of the bytes on disk)
    confirmations: list = field(default_factory=list)  # (time, start, size)
    first_sent_at: float = None
    fully_uploaded_at: float = None
    stop_at: float = None
    link_at: float = None
    link: str = None
    file_at: float = None
    reply_gaps: list = field(default_factory=list)  # seconds from a confirmation to the next range sent

    @property
    def finalized_to_link(self):
        """Seconds from the finalized file (`file:` line) to its share link (`link:` line)."""
        return self.link_at - self.file_at if self.link_at and self.file_at else None

    def written_at(self, end):
        """When the file on disk first reached `end` bytes."""
        for t, written in self.writes:
            if written >= end:
                return t
        return None

    def lags(self, until=None):
        """Seconds from a stretch reaching the disk to its confirmation, for the
        confirmations up to `until`."""
        result = []
        for t, start, size in self.confirmations:
            if until is not None and t > until:
                break
            written = self.written_at(start + size)
            if written is not None:
                result.append(t - written)
        return result

    def confirmed_bytes(self, until):
        return sum(size for t, _, size in self.confirmations if t <= until)

    def written_bytes(self, until):
        ends = [end for t, end in self.writes if t <= until]
        return max(ends) if ends else 0

    @property
    def uploaded_bytes(self):
        return sum(size for _, _, size in self.confirmations)


def parse(lines):
    """lines: objects with .time, .stream and .text, in arrival order."""
    log = UploadLog()
    in_flight = None
    confirmed_at = None
    for line in lines:
        text = line.text
        if line.stream == "stdout":
            m = LINK.match(text)
            if m and log.link is None:
                log.link, log.link_at = m.group(1), line.time
            elif text.startswith(FILE) and log.file_at is None:
                log.file_at = line.time
            continue
        m = WRITTEN.search(text)
        if m:
            log.writes.append((line.time, int(m.group(1)) + int(m.group(2))))
            continue
        m = SENT.search(text)
        if m:
            if confirmed_at is not None:
                log.reply_gaps.append(line.time - confirmed_at)
            confirmed_at = None
            in_flight = (int(m.group(1)), int(m.group(2)))
            if log.first_sent_at is None:
                log.first_sent_at = line.time
            continue
        m = CONFIRMED.search(text)
        if m and in_flight is not None:
            if m.group(1) == "200":
                log.confirmations.append((line.time, *in_flight))
                confirmed_at = line.time
            in_flight = None
            continue
        if FULLY_UPLOADED in text and log.fully_uploaded_at is None:
            log.fully_uploaded_at = line.time
        elif STOP in text and log.stop_at is None:
            log.stop_at = line.time
    return log
