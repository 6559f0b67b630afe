"""Measuring real processes and real files."""
import os
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

from benchlib import media_probe, report  # noqa: E402
from benchlib.process_meter import MeteredProcess  # noqa: E402

# A helper thread burns 0.6 s of CPU (whatever the load) and ends well before the process does.
BUSY = "import sys, threading, time\nprint('out one', flush=True)\nprint('err one', file=sys.stderr, flush=True)\n" \
       "b = bytearray(40 * 1024 * 1024)\n" \
       "def spin():\n    end = time.thread_time() + 0.6\n    while time.thread_time() < end: pass\n" \
       "t = threading.Thread(target=spin)\nt.start()\nt.join()\ntime.sleep(0.5)\n"


class MeteredProcessTest(unittest.TestCase):
    def test_cpu_memory_and_lines_of_a_busy_child(self):
        m = MeteredProcess([sys.executable, "-c", BUSY], sample_interval=0.05).start()
        r = m.wait(20)
        self.assertEqual(r.exit_code, 0)
        self.assertGreater(r.cpu_seconds, 0.4)
        self.assertGreater(r.peak_rss_kb, 40 * 1024)
        self.assertEqual([(l.stream, l.text) for l in sorted(m.lines, key=lambda l: l.stream)],
                         [("stderr", "err one"), ("stdout", "out one")])
        name, tid, seconds, runs = m.thread_cpu_between(m.snapshots[0].time, m.snapshots[-1].time)[0]
        self.assertNotEqual(tid, m.pid)  # the ended helper, not the main thread
        self.assertGreater(seconds, 0.3)

    def test_a_process_that_hangs_is_stopped(self):
        m = MeteredProcess(["sleep", "30"]).start()
        r = m.wait(0.5)
        self.assertTrue(r.timed_out)
        self.assertNotEqual(r.exit_code, 0)


class MediaProbeTest(unittest.TestCase):
    def test_packets_and_rate_of_a_real_file(self):
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "clip.mp4")
            subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25",
                            "-t", "2", "-c:v", "libx264", "-preset", "ultrafast", path], check=True)
            facts = media_probe.probe(path)
            self.assertEqual(facts.video_packets, 50)
            self.assertAlmostEqual(facts.fps, 25.0, delta=0.2)
            self.assertEqual((facts.width, facts.height), (320, 240))
            self.assertIsNotNone(media_probe.probe(os.path.join(d, "missing.mp4")).error)


class ReportTest(unittest.TestCase):
    def test_verdicts(self):
        rows = {r.figure: r for r in report.build_rows(
            {"refused": 0, "fps": 24.9, "cpu": 23.0, "rss_mb": 260.0, "stop_to_done": None},
            {"cpu": 20.0})}
        self.assertEqual(rows["Frames refused by encoder queue"].verdict, "PASS")
        self.assertEqual(rows["Effective frame rate (fps)"].verdict, "PASS")
        self.assertEqual(rows["CPU ratio program / ffmpeg, itself"].orlune, "1.15")
        self.assertEqual(rows["CPU ratio program / ffmpeg, itself"].verdict, "PASS")
        self.assertEqual(rows["Peak RSS (MB)"].verdict, "MISS")
        self.assertEqual(rows["Stop to recordingDone (s)"].verdict, "n/a")
        self.assertIn("MISS", report.render(list(rows.values())))


if __name__ == "__main__":
    unittest.main()
