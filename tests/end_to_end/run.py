"""End-to-end tests: the real service on a private X server with the demo game, driven
through its control channel, judged by ffprobe, ffmpeg and the numbers in the picture.

usage: run.py --bin FOLDER [NAME...]      runs all tests, or those whose name contains NAME
"""

import argparse
import contextlib
import glob
import os
import shutil
import socket
import struct
import subprocess
import sys
import time
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
sys.path.insert(0, HERE)
from desktop import Desktop, Trouble, record, wait_for  # noqa: E402
import clip as clips  # noqa: E402

FPS = 30
TESTS = []


class Skipped(Exception):
    """The machine cannot show this; the reason is printed."""


def test(function):
    TESTS.append(function)
    return function


def common(**more):
    settings = {"video.fps": FPS, "replay.duration_seconds": 5}
    settings.update({key.replace("__", "."): value for key, value in more.items()})
    return settings


def one_run_of_slots(pace_log):
    """The slots that a pace log tells of; there must have been one capture run only."""
    with open(pace_log, encoding="ascii") as file:
        rows = [row.rstrip("\n").split("\t") for row in file]
    assert rows[0] == ["slot", "reached", "acquire_us", "convert_us", "submit_us",
                       "collect_us", "rest_us", "drain_us", "fresh"], rows[0]
    assert sum(row[0] == "slot" for row in rows) == 1, "capture was restarted"
    return [int(row[0]) for row in rows[1:]]


def missed_in(slots):
    return sum(b - a - 1 for a, b in zip(slots, slots[1:]))


def check_clip(path, bin_folder, seconds, missed=0):
    """A clip of the asked length less at most one keyframe interval that any player plays.

    missed: slots; keyframes come by frames, so that missed ones lengthen their interval."""
    assert clips.top_boxes(path) == ["ftyp", "moov", "mdat"], clips.top_boxes(path)
    errors = clips.decode_errors(path)
    assert not errors, errors
    times, keyframes = clips.video_times(path)
    assert times[0] == 0 and keyframes[0], "the first picture is a keyframe at time 0"
    length = times[-1] + 1 / FPS
    assert seconds - 1 - (missed + 1.5) / FPS <= length <= seconds + 1.5 / FPS, length
    numbers = clips.frame_numbers(path, bin_folder)
    assert len(numbers) == len(times)
    readable = [n for n in numbers if n is not None]
    # A picture caught while the game draws it is torn and honestly unreadable.
    assert len(readable) >= len(numbers) * 0.9, f"{len(readable)} of {len(numbers)} readable"
    assert all(b >= a for a, b in zip(readable, readable[1:])), f"frames go back: {numbers}"
    return times, numbers


@test
def a_clip_plays_everywhere_and_its_frames_are_consecutive(options):
    with Desktop(options.bin) as desktop:
        pace = os.path.join(desktop.folder, "pace.tsv")
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(), env={"ORVENTA_PACE_LOG": pace})
        record(desktop, 5)
        path = desktop.save()
        desktop.stop_service()
        missed = missed_in(one_run_of_slots(pace))
        times, numbers = check_clip(path, options.bin, 5, missed)
        holes = sum(round((b - a) * FPS) - 1 for a, b in zip(times, times[1:]))
        assert holes <= missed, f"{holes} holes in the clip, {missed} missed slots told"
        # Game and service run on clocks of their own, so a frame may be seen twice or not at all
        # where their phases cross. A machine that holds up one or both may shift a few more.
        known = [(t, n) for t, n in zip(times, numbers) if n is not None]
        lost = [n1 for (t0, n0), (t1, n1) in zip(known, known[1:])
                if n1 - n0 > round((t1 - t0) * FPS) + 2]
        assert len(lost) <= 0.02 * len(known) + missed, f"frames are lost before {lost}"
        assert len({n for _, n in known}) > len(times) * 0.4, f"the picture stood still: {known}"


@test
def ten_saves_in_a_row_do_not_disturb_the_pace(options):
    with Desktop(options.bin) as desktop:
        pace = os.path.join(desktop.folder, "pace.tsv")
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(), env={"ORVENTA_PACE_LOG": pace})
        record(desktop, 5)
        paths = [desktop.save() for _ in range(10)]
        assert len(set(paths)) == 10 and all(map(os.path.exists, paths)), paths
        desktop.stop_service()
        assert not glob.glob(os.path.join(os.path.dirname(paths[0]), "*.part"))
        slots = one_run_of_slots(pace)
        check_clip(paths[-1], options.bin, 5, missed_in(slots))
        # What is missed before the first save is this machine's own doing.
        before, beside = (missed_in(part) / len(part) for part in (
            [s for s in slots if s < 5 * FPS], [s for s in slots if s >= 5 * FPS]))
        print(f"    missed before the saves {before:.1%}, beside them {beside:.1%}")
        assert beside <= 2 * before + 0.05, f"{before:.1%} before, {beside:.1%} beside"


@test
def a_save_from_a_history_on_disk(options):
    with Desktop(options.bin) as desktop:
        pace = os.path.join(desktop.folder, "pace.tsv")
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(replay__storage="disk"),
                              env={"ORVENTA_PACE_LOG": pace})
        record(desktop, 5)
        path = desktop.save()
        files = glob.glob(os.path.join(desktop.folder, "**", "orventa-buffer-*.bin"),
                          recursive=True)
        assert files, "payload files while the service runs"
        desktop.stop_service()
        assert not any(map(os.path.exists, files)), "payload files left behind"
        check_clip(path, options.bin, 5, missed_in(one_run_of_slots(pace)))


@test
def saves_asked_for_during_a_save_make_one_more(options):
    with Desktop(options.bin) as desktop:
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common())
        record(desktop, 5)
        sock = channel(desktop)
        for _ in range(6):
            assert ask(sock, b"SAVE") == b"OK"
        sock.close()

        def all_answered():
            log = desktop.log()
            waits = log.count("waits for the save being written")
            replaced = log.count("in place of the one waiting")
            # One that waited is asked for again when its turn comes.
            asked = log.count("save requested")
            return asked == 6 + waits - replaced and log.count("  save: ") == 6 - replaced
        wait_for("an answer to each of six saves", all_answered)
        paths = desktop.saved_paths()
        assert all(map(os.path.exists, paths))
        desktop.stop_service()


@contextlib.contextmanager
def small_drive(desktop, size):
    """A folder on a drive of its own, of that size in the words of mount."""
    folder = os.path.join(desktop.folder, "small")
    os.mkdir(folder)
    if subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "none", folder],
                      capture_output=True, check=False).returncode != 0:
        raise Skipped("mounting a small drive is not permitted here")
    try:
        yield folder
    finally:
        subprocess.run(["umount", "-l", folder], check=False)


@test
def a_full_drive_is_told_and_leaves_no_file(options):
    with Desktop(options.bin) as desktop, small_drive(desktop, "8m") as small:
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(storage__replay_directory=small))
        record(desktop, 3)
        try:
            desktop.save()
        except Trouble as trouble:
            assert "DriveFull: the drive is full" in str(trouble), trouble
        else:
            raise AssertionError("a save onto a full drive succeeded")
        assert not [f for _, _, files in os.walk(small) for f in files]
        held = float(desktop.stats()["buffered_seconds"])
        assert held > 3, f"the history stayed: {held}"
        desktop.stop_service()


@test
def an_unusable_folder_falls_back_and_says_so(options):
    with Desktop(options.bin) as desktop:
        blocked = os.path.join(desktop.folder, "a-file")
        open(blocked, "w").close()
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(
            storage__replay_directory=os.path.join(blocked, "clips")))
        record(desktop, 2)
        path = desktop.save()
        assert path.startswith(desktop.videos), path
        assert desktop.stats()["saved_elsewhere"], desktop.stats()
        assert "falling back to default folder for this kind" in desktop.log(), desktop.log()
        desktop.stop_service()


@test
def a_window_that_closes_and_returns_keeps_its_history(options):
    with Desktop(options.bin) as desktop:
        game = desktop.start_game(fps=FPS, title="Falling Blocks", size="640x480")
        desktop.start_service("--window", "falling blocks", settings=common(
            replay__duration_seconds=30))
        stats = record(desktop, 3)
        assert (stats["width"], stats["height"]) == ("640", "480"), stats
        assert stats["target_is_window"] == "1"
        held = float(stats["buffered_seconds"])
        desktop.end(game)
        stats = desktop.wait_stats("the loss of the window", lambda s: s["no_target"] == "1")
        assert stats["capturing"] == "0" and stats["target_name"] == ""
        desktop.start_game(fps=FPS, title="Falling Blocks", size="640x480")
        stats = desktop.wait_stats("the window's return", lambda s: s["capturing"] == "1"
                                   and float(s["buffered_seconds"]) > held + 1)
        assert stats["history_resets"] == "0"
        path = desktop.save()
        assert not clips.decode_errors(path)
        times, _ = clips.video_times(path)
        assert times[-1] > held, times[-1]
        folder = os.path.basename(os.path.dirname(path))
        assert folder == "falling blocks", f"the clip lies in the folder of the entry: {path}"
        desktop.stop_service()


@test
def a_covered_window_is_still_recorded(options):
    with Desktop(options.bin) as desktop:
        # Slower than the capture: at one pace with it, their phases could meet, and then half of
        # the frames are seen twice and the others not at all.
        game_fps = 24
        desktop.start_game(fps=game_fps, title="Behind", size="640x480")
        desktop.start_service("--window", "behind", settings=common())
        record(desktop, 1)
        desktop.start_game(fps=1, title="In front", size="640x480")
        wait_for("the second window", lambda: "In front" in subprocess.run(
            ["xwininfo", "-root", "-tree"], env=desktop.env, capture_output=True, text=True,
            check=True).stdout)
        time.sleep(1)  # a stretch of covered picture is what this test is about
        record(desktop, 5)
        path = desktop.save()
        numbers = clips.frame_numbers(path, options.bin)
        different = len(set(numbers) - {None})
        assert different > 0.75 * game_fps * len(numbers) / FPS, f"{different} frames: {numbers}"
        desktop.stop_service()


@test
def a_killed_display_server_is_survived(options):
    with Desktop(options.bin) as desktop:
        desktop.start_game(fps=FPS)
        desktop.start_service(settings=common(replay__duration_seconds=60))
        record(desktop, 2)
        desktop.kill_display()
        desktop.wait_stats("the loss of the picture", lambda s: s["capturing"] == "0")
        path = desktop.save()
        assert not clips.decode_errors(path), "what was held is saved without a display"
        desktop.start_display(desktop.display)
        desktop.start_game(fps=FPS)
        desktop.wait_stats("the picture's return", lambda s: s["capturing"] == "1", 60)
        desktop.stop_service()


@test
def a_service_without_a_target_waits_and_says_so(options):
    with Desktop(options.bin) as desktop:
        desktop.start_service("--window", "no such game")
        stats = desktop.wait_stats("the answer", lambda s: s["no_target"] == "1")
        assert stats["capturing"] == "0" and stats["target_name"] == ""
        try:
            desktop.save()
        except Trouble as trouble:
            assert "no replay held yet" in str(trouble), trouble
        else:
            raise AssertionError("a save of nothing succeeded")
        desktop.stop_service()


@test
def without_an_encoder_it_says_so_and_serves_on(options):
    with Desktop(options.bin) as desktop:
        desktop.start_game(fps=FPS)
        desktop.start_service(env={"ORVENTA_NO_ENCODER": "1"})
        desktop.wait_stats("the answer", lambda s: s["no_encoder"] == "1")
        try:
            desktop.ctl("SAVE")
        except Trouble as trouble:
            assert "no video encoder to record with" in str(trouble), trouble
        else:
            raise AssertionError("SAVE answered OK without an encoder")
        desktop.stop_service()


def channel(desktop):
    runtime = desktop.env["XDG_RUNTIME_DIR"]
    names = [n for n in os.listdir(runtime) if n.startswith("ORVENTA-")
             and "." not in n.removeprefix("ORVENTA-")]
    sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    sock.settimeout(10)
    sock.connect(os.path.join(runtime, names[0]))
    return sock


def ask(sock, text):
    sock.sendall(struct.pack("<I", len(text)) + text)
    head = b""
    while len(head) < 4:
        piece = sock.recv(4 - len(head))
        assert piece, "the connection closed"
        head += piece
    (length,) = struct.unpack("<I", head)
    body = b""
    while len(body) < length:
        body += sock.recv(length - len(body))
    return body


@test
def broken_clients_are_closed_and_the_next_is_served(options):
    with Desktop(options.bin) as desktop:
        desktop.start_service("--window", "no such game")
        for name, data in (("length 0", struct.pack("<I", 0)),
                           ("length 16777217", struct.pack("<I", 16777217)),
                           ("garbage", b"\xff" * 64)):
            sock = channel(desktop)
            sock.sendall(data)
            try:
                answer = sock.recv(1)
            except ConnectionResetError:  # bytes of ours were left unread
                answer = b""
            assert answer == b"", f"{name}: the connection closes without an answer"
            sock.close()
        half = channel(desktop)
        half.sendall(struct.pack("<I", 100) + b"HALF")
        half.close()
        sock = channel(desktop)
        assert ask(sock, b"NO_SUCH_VERB x").startswith(
            b"ERR InvalidArgument unknown verb: NO_SUCH_VERB")
        assert ask(sock, b"HELLO\r\nbody").startswith(b"OK\nprotocol=1\nname=ORVENTA\n")
        sock.close()
        sock = channel(desktop)
        sock.sendall(struct.pack("<I", 100) + b"HALF")
        desktop.service.send_signal(15)  # a client that keeps silent cannot hold the exit
        assert desktop.service.wait(20) == 0
        sock.close()


@test
def one_instance_and_a_dead_ones_leftovers(options):
    with Desktop(options.bin) as desktop:
        first = desktop.start_service("--window", "no such game")
        second = desktop.start("orventa", "--autostart")
        assert second.wait(20) == 0
        assert desktop.stats()["running"] == "1", "the first goes on serving"
        first.kill()
        first.wait()
        desktop.start_service("--window", "no such game")
        assert desktop.stats()["running"] == "1", "a dead service's socket is replaced"
        desktop.stop_service()


def main(tests, title, description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--bin", required=True)
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    options.bin = os.path.abspath(options.bin)
    passed = failed = skipped = 0
    for function in tests:
        name = function.__name__
        if options.names and not any(part in name for part in options.names):
            continue
        start = time.monotonic()
        try:
            function(options)
            word, passed = "passed", passed + 1
        except Skipped as reason:
            word, skipped = f"skipped: {reason}", skipped + 1
        except Exception as error:  # noqa: BLE001 - every failure is printed and counted
            first_line = str(error).partition("\n")[0][:300]
            word, failed = f"FAILED: {first_line}", failed + 1
            traceback.print_exc()
        print(f"  {name}: {word} ({time.monotonic() - start:.1f} s)", flush=True)
    print(f"{title}: {passed} passed, {failed} failed, {skipped} skipped")
    return 1 if failed or shutil.which("ffprobe") is None else 0


if __name__ == "__main__":
    sys.exit(main(TESTS, "end-to-end", __doc__))
