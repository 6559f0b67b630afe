"""The private desktop a benchmark runs in: scripts/private-session (Xvfb, PulseAudio,
a HOME of its own) and a moving test pattern on the whole screen."""
import os
import subprocess
import sys
import time

INSIDE_FLAG = "RECORD_BENCH_SESSION"


def enter_private_session(repo, script, screen):
    """Re-runs `script` inside scripts/private-session with a screen of the given size,
    unless it already runs there."""
    if os.environ.get(INSIDE_FLAG) == "1":
        return
    env = dict(os.environ, ORLUNE_SCREEN=f"{screen[0]}x{screen[1]}x24", **{INSIDE_FLAG: "1"})
    env.pop("ORLUNE_USE_DISPLAY", None)
    session = os.path.join(repo, "scripts", "private-session")
    os.execve(session, [session, sys.executable, os.path.abspath(script), *sys.argv[1:]], env)


def start_moving_picture(screen, name):
    """ffplay showing a moving test pattern on the whole screen."""
    w, h = screen
    player = subprocess.Popen(
        ["ffplay", "-loglevel", "quiet", "-noborder", "-left", "0", "-top", "0", "-x", str(w), "-y", str(h),
         "-an", "-f", "lavfi", f"testsrc2=size={w}x{h}:rate=25"],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    for _ in range(100):
        shown = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "ffplay"],
                               capture_output=True, text=True)
        if shown.stdout.strip() or player.poll() is not None:
            break
        time.sleep(0.1)
    if player.poll() is not None:
        sys.exit(f"{name}: ffplay did not start")
    time.sleep(1.0)  # let it reach a steady frame rate
    return player
