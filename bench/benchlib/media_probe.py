"""What ffprobe says about a recorded file: video packets, duration, picture size."""
import json
import subprocess
from dataclasses import dataclass


@dataclass
class MediaFacts:
    path: str
    video_packets: int = None
    duration: float = None  # seconds, of the container
    width: int = None
    height: int = None
    codec: str = None
    profile: str = None
    audio_codec: str = None
    audio_packets: int = None
    video_duration: float = None  # seconds, of each stream
    audio_duration: float = None
    error: str = None

    @property
    def fps(self):
        if not self.video_packets or not self.duration:
            return None
        return self.video_packets / self.duration

    @property
    def drift(self):
        """Audio track minus video track, in seconds."""
        if self.audio_duration is None or self.video_duration is None:
            return None
        return self.audio_duration - self.video_duration


def _seconds(text):
    try:
        return float(text)
    except (TypeError, ValueError):
        return None


def probe(path):
    facts = MediaFacts(path)
    if not path:
        facts.error = "no file"
        return facts
    run = subprocess.run(
        ["ffprobe", "-v", "error", "-count_packets", "-show_entries",
         "stream=codec_type,codec_name,profile,width,height,nb_read_packets,duration:format=duration", "-of", "json", path],
        capture_output=True, text=True)
    if run.returncode != 0:
        facts.error = run.stderr.strip() or f"ffprobe exit {run.returncode}"
        return facts
    data = json.loads(run.stdout)
    for stream in data.get("streams", []):
        if stream.get("codec_type") == "video" and facts.video_packets is None:
            facts.video_packets = int(stream.get("nb_read_packets", 0))
            facts.width, facts.height = stream.get("width"), stream.get("height")
            facts.codec, facts.profile = stream.get("codec_name"), stream.get("profile")
            facts.video_duration = _seconds(stream.get("duration"))
        elif stream.get("codec_type") == "audio" and facts.audio_codec is None:
            facts.audio_codec = stream.get("codec_name")
            facts.audio_packets = int(stream.get("nb_read_packets", 0))
            facts.audio_duration = _seconds(stream.get("duration"))
    try:
        facts.duration = float(data["format"]["duration"])
    except (KeyError, ValueError):
        pass
    return facts
