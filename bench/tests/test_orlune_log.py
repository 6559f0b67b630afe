import os
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

from benchlib import orlune_log, upload_log  # noqa: E402
from benchlib.process_meter import TimedLine  # noqa: E402


def lines(*items):
    return [TimedLine(t, stream, text) for t, stream, text in items]


class ParseTest(unittest.TestCase):
    def test_counts_and_times_from_a_whole_recording(self):
        log = orlune_log.parse(lines(
            (1.0, "stderr", "[AC]: handleRecordingStarted(0): 100% started!!!"),
            (5.0, "stderr", "[VCAP]: Non-monolitic PTS [0:0], discard this frame! 44885802513 <= 44885802513"),
            (11.0, "stderr", "[MUX]: AV Watchdog(10s): V:250|0, A:431, U:0"),
            (31.0, "stderr", "[MUX]: AV Watchdog(10s): V:498|3, A:861, U:0"),
            (32.0, "stderr", "[VENC]: queue is full! postedEvents:  0"),
            (40.0, "stderr", "[AC]: recording is active, stopping..."),
            (40.2, "stderr", "[VENC]: OUT [ 0  S: 0 ]: DUP/BWT  1200 / 1200"),
            (40.5, "stderr", "[VENC]: exit, in_frames: 998 , out_frames: 998 , queued_frames: 0"),
            (40.9, "stderr", "[AC]: handleRecordDone 0"),
            (41.0, "stderr", "[AC]: handleRecordDone 0"),
            (41.0, "stdout", "file: /home/u/Records/23.11.2026_10.00.00_REC.mp4"),
        ))
        self.assertEqual(log.watchdog_lines, 2)
        self.assertEqual(log.muxed_video_packets, 748)
        self.assertEqual(log.refused_frames, 3)
        self.assertEqual((log.encoder_in_frames, log.encoder_out_frames, log.encoder_queued_at_exit), (998, 998, 0))
        self.assertEqual(log.frames_captured, 1001)
        self.assertEqual(log.queue_full_lines, 1)
        self.assertEqual(log.duplicate_frames, 1)
        self.assertEqual(log.capture_discarded, 1)
        self.assertAlmostEqual(log.stop_to_done, 0.9)
        self.assertEqual(log.started_at, 1.0)
        self.assertEqual(log.output_file, "/home/u/Records/23.11.2026_10.00.00_REC.mp4")

    def test_missing_lines_leave_figures_unknown(self):
        log = orlune_log.parse(lines(
            (1.0, "stderr", "[AC]: recording is active, stopping..."),
            (2.0, "stdout", "[AC]: handleRecordDone 0"),  # only standard error carries the log
            (3.0, "stderr", "[MUX]: Video capture is too slow, ending!"),
        ))
        self.assertIsNone(log.stop_to_done)
        self.assertIsNone(log.frames_captured)
        self.assertIsNone(log.output_file)
        self.assertEqual(log.trouble, ["[MUX]: Video capture is too slow, ending!"])


class UploadLogTest(unittest.TestCase):
    def test_finalized_to_link_and_reply_gaps(self):
        log = upload_log.parse(lines(
            (19.0, "stderr", "[UP]: segment  3  pos  100  size:  50"),
            (19.2, "stderr", "[UP]:  200  OK, update DB: segment: 4 , file: 9 [SegmentOK] [--]"),
            (19.25, "stderr", "[UP]: segment  4  pos  150  size:  50"),
            (20.0, "stderr", "[AC]: recording is active, stopping..."),
            (20.6, "stdout", "file: /home/u/Records/a.mp4"),
            (21.1, "stdout", "link: http://127.0.0.1:9/s/abc"),
        ))
        self.assertAlmostEqual(log.finalized_to_link, 0.5)
        self.assertEqual([round(g, 3) for g in log.reply_gaps], [0.05])
        self.assertEqual(log.link, "http://127.0.0.1:9/s/abc")
        self.assertIsNone(upload_log.parse(lines((20.6, "stdout", "file: /a.mp4"))).finalized_to_link)


if __name__ == "__main__":
    unittest.main()
