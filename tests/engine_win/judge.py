"""Runs the engine's test under Wine, then has ffprobe and ffmpeg judge the files that the
Windows program wrote.

usage: judge.py TEST.exe [argument...]
"""

import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "..", "..")
sys.path.insert(0, os.path.join(HERE, "..", "end_to_end"))
import clip  # pylint: disable=wrong-import-position


def judge(path, width, height, fps, least, most):
    streams = clip.probe(path)["streams"]
    assert [s["codec_name"] for s in streams] == ["h264"], streams
    video = streams[0]
    assert (video["width"], video["height"]) == (width, height), video
    times, keys = clip.video_times(path)
    assert least <= len(times) <= most, f"{len(times)} frames, not {least} to {most}"
    assert int(video["nb_frames"]) == len(times) and keys[0] and sum(keys) > 1, keys
    steps = [round((b - a) * fps, 2) for a, b in zip(times, times[1:])]
    assert all(step == 1 for step in steps), f"frames are missing or double: {steps}"
    assert abs(float(video["duration"]) - len(times) / fps) < 0.01, video["duration"]
    assert not (errors := clip.decode_errors(path)), errors
    print(f"{os.path.basename(path)}: {len(times)} frames of {width}x{height}, decoded")


def main():
    with tempfile.TemporaryDirectory(prefix="orventa-engine-win-") as folder:
        done = subprocess.run(
            [os.path.join(ROOT, "scripts", "wine-run"), "--display", *sys.argv[1:]],
            env={**os.environ, "ORVENTA_TEST_FOLDER": "Z:" + folder}, check=False)
        if done.returncode != 0:
            return done.returncode
        with open(os.path.join(folder, "expected"), encoding="utf-8") as file:
            rows = [line.rstrip("\n").split("\t") for line in file]
        assert len(rows) == 2, rows
        for path, *numbers in rows:
            judge(path.replace("\\", "/").removeprefix("Z:"), *map(int, numbers))
    return 0


if __name__ == "__main__":
    sys.exit(main())
