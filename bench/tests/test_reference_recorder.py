import os
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

from benchlib import reference_recorder as ref  # noqa: E402


class EncoderSettingsTest(unittest.TestCase):
    def test_bit_rate_rule_matches_the_worked_examples(self):
        # Single-precision products, so within float rounding of the exact values.
        self.assertAlmostEqual(ref.bit_rate(1920, 1200, 2100), 3187575, delta=1)
        self.assertAlmostEqual(ref.bit_rate(1280, 800, 1100), 1113121, delta=1)
        self.assertAlmostEqual(ref.bit_rate(3840, 2400, 3200), 9714516, delta=1)
        self.assertEqual(ref.rate_control(1280, 720),
                         {"bitrate": 1056000, "maxrate": 1372800, "bufsize": 1689600})

    def test_size_limits_keep_the_shape_and_even_sides(self):
        self.assertEqual(ref.limit_video_size(1920, 1080, 1280, 800), (1280, 720))
        self.assertEqual(ref.limit_video_size(1000, 1600, 1280, 800), (500, 800))
        self.assertEqual(ref.limit_video_size(1281, 721, 1920, 1200), (1280, 720))

    def test_presets_by_quality(self):
        self.assertEqual([ref.x264_preset(q) for q in (-1, 0, 1, 9, 10, 29, 30, 74, 75, 100)],
                         ["veryfast", "veryfast", "ultrafast", "ultrafast", "veryfast", "veryfast",
                          "fast", "fast", "medium", "medium"])

    def test_command_scales_sd_and_writes_fragments(self):
        argv = ref.command(":5", 0, 0, 1920, 1080, 60, "/tmp/x.mp4")
        joined = " ".join(argv)
        self.assertIn("-i :5+0,0", joined)
        self.assertIn("scale=width=1280:height=720", joined)
        self.assertIn("-preset veryfast", joined)
        self.assertIn("-b:v 1056000", joined)
        self.assertIn("+empty_moov+frag_keyframe", joined)
        self.assertEqual(argv[argv.index("-t") + 1], "60")
        self.assertEqual(argv[-1], "/tmp/x.mp4")


if __name__ == "__main__":
    unittest.main()
