"""The reference recording: the ffmpeg command line that captures and encodes the
same screen the way the program does at its default quality (SD): x11grab at
25 fps with the pointer, scaled into 1280x800 at most, libx264 with the
program's rate control, AAC 64 kb/s of silence, fragmented MP4."""
import math
import os
import struct
from dataclasses import dataclass


@dataclass(frozen=True)
class QualityClass:
    bitrate_factor: int
    audio_bitrate: int
    max_width: int
    max_height: int


SD = QualityClass(1100, 64000, 1280, 800)
CAPTURE_FPS = 25
MAX_ENCODER_THREADS = 8
# The program's muxer options for the fragmented layout.
FRAGMENT_OPTIONS = ["-movflags", "+empty_moov+frag_keyframe+omit_tfhd_offset+default_base_moof",
                    "-frag_size", "2000000", "-frag_duration", "5000000", "-min_frag_duration", "2000000"]


def float32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def limit_video_size(width, height, max_width, max_height):
    """Fits the picture into the class's limits keeping its shape, then makes both sides even."""
    if width > max_width:
        height = height * max_width // width
        width = max_width
    if height > max_height:
        width = width * max_height // height
        height = max_height
    return width - width % 2, height - height % 2


def bit_rate(width, height, factor):
    """The edge of the picture (square root of its area) times the class's factor, in single precision."""
    return int(float32(float32(math.sqrt(float(width) * height)) * float32(factor)))


def rate_control(width, height, quality_class=SD):
    rate = bit_rate(width, height, quality_class.bitrate_factor)
    tolerance = rate * 30 // 100
    return {"bitrate": rate, "maxrate": rate + tolerance, "bufsize": rate + 2 * tolerance}


def x264_preset(quality):
    if 1 <= quality <= 9:
        return "ultrafast"
    if quality >= 75:
        return "medium"
    if quality >= 30:
        return "fast"
    return "veryfast"


def encoder_threads():
    return min(os.cpu_count() or 1, MAX_ENCODER_THREADS)


def x264_arguments(width, height, quality=-1, quality_class=SD):
    """libx264 options as the program sets them (SD records with quality -1: no qmin/qmax rule)."""
    rc = rate_control(width, height, quality_class)
    return [
        "-c:v", "libx264", "-preset", x264_preset(quality), "-profile:v", "main", "-level", "3.0",
        "-x264-params", "weightp=2", "-rc-lookahead", "40", "-chromaoffset", "0",
        "-b:v", str(rc["bitrate"]), "-maxrate", str(rc["maxrate"]), "-bufsize", str(rc["bufsize"]),
        "-g", "100", "-keyint_min", "25", "-bf", "0",
        "-qmin", "10", "-qmax", "51", "-qdiff", "10", "-refs", "1", "-cmp", "1", "-subq", "5", "-trellis", "0",
        "-threads", str(encoder_threads()), "-pix_fmt", "yuv420p",
    ]


def sound_inputs(microphone=None, monitor=None):
    """The audio inputs and mapping: silence, or a microphone and the system sound
    (a sink's monitor) mixed as the program mixes them."""
    if not microphone:
        return ["-f", "lavfi", "-i", "anullsrc=r=44100:cl=stereo"], ["-map", "0:v", "-map", "1:a"]
    inputs = ["-f", "pulse", "-i", microphone, "-f", "pulse", "-i", monitor]
    mix = ["-filter_complex", "[1:a][2:a]amix=inputs=2:duration=longest:dropout_transition=0,"
                              "aresample=async=2000[a]", "-map", "0:v", "-map", "[a]"]
    return inputs, mix


def command(display, x, y, width, height, seconds, output, quality_class=SD, microphone=None, monitor=None):
    out_w, out_h = limit_video_size(width, height, quality_class.max_width, quality_class.max_height)
    inputs, mapping = sound_inputs(microphone, monitor)
    return [
        "ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-y",
        "-f", "x11grab", "-framerate", str(CAPTURE_FPS), "-draw_mouse", "1", "-show_region", "0",
        "-video_size", f"{width}x{height}", "-i", f"{display}+{x},{y}",
        *inputs, *mapping, "-t", str(seconds),
        # Every captured frame is encoded once, with its capture time, as in the program.
        "-fps_mode", "passthrough", "-enc_time_base", "1/12800",
        "-vf", f"setpts=PTS-STARTPTS,scale=width={out_w}:height={out_h},format=yuv420p",
        *x264_arguments(out_w, out_h, quality_class=quality_class),
        "-c:a", "aac", "-b:a", str(quality_class.audio_bitrate), "-ar", "44100", "-ac", "2",
        "-f", "mp4", *FRAGMENT_OPTIONS, output,
    ]
