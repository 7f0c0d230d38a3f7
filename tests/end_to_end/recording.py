"""End-to-end tests of recordings: the real service with the demo game and a private sound
server, started and ended by orventactl, killed in mid-file, judged by ffprobe and by what is
seen and heard in the file.

usage: recording.py --bin FOLDER [NAME...]      runs all tests, or those whose name contains NAME
"""

import contextlib
import os
import shutil
import signal
import statistics
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
sys.path.insert(0, HERE)
from desktop import Desktop, record, wait_for  # noqa: E402
import clip as clips  # noqa: E402
import flashes  # noqa: E402
import run  # noqa: E402
from sound import settings, sound_streams  # noqa: E402

SIZE = "640x360"
FPS = 60
TESTS = []


def test(function):
    TESTS.append(function)
    return function


@contextlib.contextmanager
def recording(options, seconds):
    """A desktop on which a recording has run for so long, its file, and where the game tells
    of its flashes."""
    with Desktop(options.bin, size=SIZE, sound=True) as desktop:
        told = flashes.start_game(desktop, SIZE)
        desktop.start_service(settings=settings(5, fps=FPS))
        record(desktop, 1)
        said = desktop.ctl("record")
        assert said.startswith("recording: "), said
        path = said.removeprefix("recording: ").strip()
        stats = desktop.wait_stats("the recording", lambda s: s["recording"] == "1"
                                   and float(s["recording_seconds"]) > seconds)
        assert stats["recording_path"] == path and int(stats["recording_bytes"]) > 0, stats
        yield desktop, path, told


def kill(desktop):
    desktop.service.send_signal(signal.SIGKILL)
    desktop.service.wait()


def ctl(desktop, *arguments):
    done = subprocess.run([os.path.join(desktop.bin, "orventactl"), *arguments],
                          env=desktop.env, capture_output=True, text=True, timeout=60, check=False)
    return done.returncode, done.stdout.strip(), done.stderr.strip()


def library(desktop):
    with open(os.path.join(os.path.dirname(desktop.log_path), "written.ini"),
              encoding="utf-8") as file:
        return file.read().splitlines()


def check(path, options, told, seconds):
    """A whole file of at least that length in which tones are heard as flashes are seen."""
    assert clips.top_boxes(path) == ["ftyp", "mdat", "moov"], clips.top_boxes(path)
    assert len(sound_streams(path)) == 1
    times, keyframes = clips.video_times(path)
    assert times[0] == 0 and keyframes[0] and times[-1] >= seconds, (times[0], times[-1])
    offsets = flashes.offsets_ms(path, options.bin, FPS, told)
    mean = statistics.fmean(offsets) if offsets else 0
    print(f"    {times[-1]:.1f} s, {len(offsets)} flashes, tone after flash: mean {mean:.2f} ms, "
          f"{min(offsets, default=0):.2f} to {max(offsets, default=0):.2f}")
    assert len(offsets) >= seconds / 3, f"{len(offsets)} flashes could be measured"
    assert abs(mean) <= 5 and max(map(abs, offsets)) <= 15, offsets


@test
def a_recording_is_started_and_ended_and_its_file_told(options):
    with recording(options, 8) as (desktop, path, told):
        code, _, error = ctl(desktop, "repair", path)
        assert code == 1 and "still being written" in error, (code, error)
        assert ctl(desktop, "record") == (0, "recording saved: " + path, "")
        stats = desktop.stats()
        assert stats["recording"] == "0", stats
        assert stats["notice"].startswith("Recording saved\\n"), stats["notice"]
        assert library(desktop) == ["recording=" + path], library(desktop)
        desktop.stop_service()
        check(path, options, told, 8)


@test
def a_recording_is_whole_when_the_service_is_told_to_end(options):
    with recording(options, 4) as (desktop, path, told):
        desktop.stop_service()
        assert library(desktop) == ["recording=" + path], library(desktop)
        check(path, options, told, 4)


@test
def a_recording_killed_in_mid_file_is_finished_by_the_next_start(options):
    with recording(options, 10) as (desktop, path, told):
        kill(desktop)
        assert "moof" in clips.top_boxes_until_torn(path), "the file is cut off"
        side = os.path.join(os.path.dirname(path), "clip.mp4.part")
        open(side, "wb").close()
        desktop.start_service(settings=settings(5, fps=FPS))
        wait_for("the repair", lambda:
                 "finished an interrupted recording: " + path in desktop.log())
        wait_for("the removal of the save", lambda:
                 "removed an unfinished save: " + side in desktop.log())
        desktop.wait_stats("the notice", lambda s: s["notice"] == (
            "A recording that was interrupted has been repaired and is in your library."))
        assert not os.path.exists(side)
        assert library(desktop) == ["recording=" + path], library(desktop)
        desktop.stop_service()
        # At the most the second that was being gathered is gone, of sound and of picture.
        check(path, options, told, 8)


@test
def a_repair_needs_no_service(options):
    with recording(options, 6) as (desktop, path, told):
        kill(desktop)
        torn = os.path.join(desktop.folder, "torn.mp4")
        shutil.copy(path, torn)
        os.truncate(torn, os.path.getsize(torn) * 2 // 3)
        for file, seconds in ((path, 4), (torn, 2)):
            finished = "finished an interrupted recording: " + file
            assert ctl(desktop, "repair", file) == (0, finished, "")
            check(file, options, told, seconds)
            again = f"orventactl: {file}: already finished"
            assert ctl(desktop, "repair", file) == (1, "", again)
        assert library(desktop) == ["recording=" + path, "recording=" + torn], library(desktop)


if __name__ == "__main__":
    sys.exit(run.main(TESTS, "recording", __doc__))
