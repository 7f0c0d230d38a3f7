"""End-to-end tests of recordings: the real service with the demo game and a private sound
server, started and ended by orventactl, killed in mid-file, judged by ffprobe and by what a
clip of the same moments holds.

usage: recording.py --bin FOLDER [NAME...]      runs all tests, or those whose name contains NAME
"""

import contextlib
import os
import shutil
import signal
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
sys.path.insert(0, HERE)
from desktop import Desktop, record, wait_for  # noqa: E402
import clip as clips  # noqa: E402
import run  # noqa: E402
from sound import settings, sound_streams  # noqa: E402

SIZE = "640x360"
FPS = 60
# A killed service takes of each track what waits for a second to be full, and sound is
# encoded a tenth of a second behind the picture: more on a machine that has more to do.
KILLED_APART = 1.5
TESTS = []


def test(function):
    TESTS.append(function)
    return function


def end_at_once(desktop):
    """A recording that is ended before anything can come, or, where the machine gave others
    its time meanwhile, soon after."""
    before = int(desktop.stats()["notice_seq"])
    sock = run.channel(desktop)
    for _ in range(2):
        assert run.ask(sock, b"TOGGLE_RECORDING") == b"OK"
    sock.close()
    stats = desktop.wait_stats("both notices", lambda s: int(s["notice_seq"]) >= before + 2)
    assert stats["recording"] == "0", stats
    assert stats["notice"].startswith(("Nothing was recorded.", "Recording saved\\n")), stats


@contextlib.contextmanager
def playing(options):
    """A desktop with a game and the service, whose replay is filling."""
    with Desktop(options.bin, size=SIZE, sound=True) as desktop:
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=settings(5, fps=FPS))
        record(desktop, 1)
        yield desktop


def start(desktop, seconds):
    """A recording that has run for so long; its file."""
    said = desktop.ctl("record")
    assert said.startswith("recording: "), said
    path = said.removeprefix("recording: ").strip()
    stats = runs_for(desktop, seconds)
    assert stats["recording_path"] == path and int(stats["recording_bytes"]) > 0, stats
    return path


def runs_for(desktop, seconds):
    return desktop.wait_stats(f"{seconds} s of recording", lambda s: s["recording"] == "1"
                              and float(s["recording_seconds"]) > seconds, seconds * 3 + 30)


@contextlib.contextmanager
def killed(options):
    """A desktop whose service was killed in mid-recording; the file, and a clip of the same."""
    with playing(options) as desktop:
        path = start(desktop, 6)
        clip = desktop.save()
        runs_for(desktop, 9)
        desktop.service.send_signal(signal.SIGKILL)
        desktop.service.wait()
        yield desktop, path, clip


def ctl(desktop, *arguments):
    done = subprocess.run([os.path.join(desktop.bin, "orventactl"), *arguments],
                          env=desktop.env, capture_output=True, text=True, timeout=60, check=False)
    return done.returncode, done.stdout.strip(), done.stderr.strip()


def library(desktop):
    with open(os.path.join(os.path.dirname(desktop.log_path), "written.ini"),
              encoding="utf-8") as file:
        return [line for line in file.read().splitlines() if not line.startswith("replay=")]


def check(path, seconds, apart=0.1):
    """A whole file of at least that length that plays without a word."""
    assert clips.top_boxes(path) == ["ftyp", "mdat", "moov"], clips.top_boxes(path)
    assert len(sound_streams(path, apart)) == 1
    times, keyframes = clips.video_times(path)
    assert times[0] == 0 and keyframes[0] and times[-1] >= seconds, (times[0], times[-1])


def check_against(path, clip):
    """The file and the clip hold the same packets, and its sound lies on its picture just as
    the clip's does, of which another test says that it is heard when it is seen. That is
    exact, where tones and flashes are as late as the machine is busy."""
    shifts = []
    for stream in ("v:0", "a:0"):
        whole, part = clips.packets(path, stream), clips.packets(clip, stream)
        part = part[len(part) // 4:len(part) * 3 // 4]
        content = [what for _, what in part]
        found = [i for i in range(len(whole))
                 if [what for _, what in whole[i:i + len(part)]] == content]
        assert len(found) == 1, f"{stream} of {clip} was found {len(found)} times in {path}"
        shifts.append([there - here for (there, _), (here, _) in zip(whole[found[0]:], part)])
    least, greatest = min(map(min, shifts)), max(map(max, shifts))
    print(f"    {os.path.basename(path)}: picture and sound as in the clip "
          f"to {(greatest - least) * 1e6:.0f} us")
    assert greatest - least < 0.0001, (least, greatest)


@test
def a_recording_is_started_and_ended_and_its_file_told(options):
    with playing(options) as desktop:
        path = start(desktop, 6)
        code, _, error = ctl(desktop, "repair", path)
        assert code == 1 and "still being written" in error, (code, error)
        clip = desktop.save()
        assert ctl(desktop, "record") == (0, "recording saved: " + path, "")
        stats = desktop.stats()
        assert stats["recording"] == "0", stats
        assert stats["notice"].startswith("Recording saved\\n"), stats["notice"]
        assert library(desktop) == ["recording=" + path], library(desktop)
        desktop.stop_service()
        check(path, 6)
        check_against(path, clip)


@test
def a_recording_killed_in_mid_file_is_finished_by_the_next_start(options):
    with killed(options) as (desktop, path, clip):
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
        check(path, 7, KILLED_APART)
        check_against(path, clip)


@test
def a_repair_needs_no_service(options):
    with killed(options) as (desktop, path, clip):
        torn = os.path.join(desktop.folder, "torn.mp4")
        shutil.copy(path, torn)
        os.truncate(torn, os.path.getsize(torn) * 3 // 4)
        for file, seconds in ((path, 7), (torn, 4)):
            finished = "finished an interrupted recording: " + file
            assert ctl(desktop, "repair", file) == (0, finished, "")
            check(file, seconds, KILLED_APART)
            again = f"orventactl: {file}: already finished"
            assert ctl(desktop, "repair", file) == (1, "", again)
        check_against(path, clip)
        assert library(desktop) == ["recording=" + path, "recording=" + torn], library(desktop)


@test
def a_drive_that_fills_up_ends_the_recording_in_time(options):
    with Desktop(options.bin, size=SIZE, sound=True) as desktop, \
            run.small_drive(desktop, "200m") as small:
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=settings(5, fps=FPS, storage__recording_directory=small))
        record(desktop, 1)
        path = start(desktop, 3)
        before = int(desktop.stats()["notice_seq"])
        with open(os.path.join(small, "of another program"), "wb") as other:
            other.write(bytes(100 << 20))
        stats = desktop.wait_stats("both notices", lambda s: int(s["notice_seq"]) >= before + 2)
        assert (stats["recording"], stats["capturing"]) == ("0", "1"), stats
        assert stats["notice"].startswith("Recording saved\\n"), stats["notice"]
        assert "recording stopped: the drive is nearly full" in desktop.log(), desktop.log()
        desktop.wait_stats("the library", lambda _: "recording=" + path in library(desktop))
        check(path, 3)
        desktop.stop_service()


@test
def another_target_goes_on_in_another_file_and_the_services_end_ends_it(options):
    with Desktop(options.bin, size=SIZE, sound=True) as desktop:
        desktop.start_manager()
        blocks, racer = desktop.install_game("blocks"), desktop.install_game("racer")
        desktop.write_game_list(f'path:"{racer}"', f'path:"{blocks}"')
        desktop.start_game("--full-screen", fps=FPS, title="Blocks", program=blocks)
        desktop.start_service(settings=settings(5, fps=FPS))
        record(desktop, 1)
        first = start(desktop, 3)
        desktop.start_game("--full-screen", fps=FPS, title="Racer", program=racer)
        desktop.minimise(desktop.window_of("Blocks"))
        stats = desktop.wait_stats("the other game", lambda s: s["recording_path"] != first
                                   and s["target_name"] == "racer")
        second = stats["recording_path"]
        runs_for(desktop, float(stats["recording_seconds"]) + 3)
        desktop.stop_service()
        assert library(desktop) == ["recording=" + first, "recording=" + second], library(desktop)
        for path, game in ((first, "blocks"), (second, "racer")):
            assert game in path, path
            check(path, 3)


@test
def a_recording_runs_while_the_replay_is_paused(options):
    with playing(options) as desktop:
        desktop.ctl("TOGGLE_PAUSE")
        desktop.wait_stats("the pause", lambda s: s["capturing"] == "0" and s["paused"] == "1")
        end_at_once(desktop)
        path = start(desktop, 3)
        assert desktop.stats()["capturing"] == "1"
        assert ctl(desktop, "record") == (0, "recording saved: " + path, "")
        desktop.wait_stats("the pause again", lambda s: s["capturing"] == "0")
        assert desktop.stats()["paused"] == "1"
        desktop.stop_service()
        folder = os.path.dirname(path)
        paths = sorted(os.path.join(folder, name) for name in os.listdir(folder))
        assert sorted(library(desktop)) == ["recording=" + path for path in paths], paths
        check(path, 3)


if __name__ == "__main__":
    sys.exit(run.main(TESTS, "recording", __doc__))
