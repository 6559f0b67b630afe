"""Sound for a benchmark: a microphone that delivers like real hardware and a second
tone playing into the default sink, on the private session's PulseAudio.

The session's own test microphone (a sine source) hands out its samples in blocks of
about two seconds, which is fine for tests but turns the end of every recording into a
two-second question. Here the microphone is a remapped monitor of a null sink that a
440 Hz tone is played into, so it delivers in small fragments as a headset would."""
import os
import subprocess
import tempfile

MIC = "orlune_mic"
MIC_FEED = "orlune_mic_feed"
SPEAKERS_MONITOR = "orlune_speakers.monitor"


def _pactl(*args):
    return subprocess.run(["pactl", *args], capture_output=True, text=True, check=True).stdout.strip()


def _tone(frequency, seconds):
    path = os.path.join(tempfile.gettempdir(), f"bench-tone-{frequency}.wav")
    subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
                    f"sine=frequency={frequency}:duration={seconds}", "-ac", "2", "-ar", "48000", path], check=True)
    return path


class SoundSetup:
    def __init__(self, seconds):
        self.seconds = seconds
        self.players = []

    def start(self):
        for line in _pactl("list", "short", "modules").splitlines():
            if "module-sine-source" in line and f"source_name={MIC}" in line:
                _pactl("unload-module", line.split()[0])
        _pactl("load-module", "module-null-sink", f"sink_name={MIC_FEED}", "rate=48000")
        _pactl("load-module", "module-remap-source", f"master={MIC_FEED}.monitor", f"source_name={MIC}")
        _pactl("set-default-source", MIC)
        length = 3 * self.seconds + 120  # both recordings and the time between them
        for device, frequency in ((MIC_FEED, 440), (None, 1000)):
            argv = ["paplay", _tone(frequency, length)]
            if device:
                argv.insert(1, f"--device={device}")
            self.players.append(subprocess.Popen(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        return self

    def stop(self):
        for player in self.players:
            player.terminate()
            player.wait()
