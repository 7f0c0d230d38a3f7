"""End-to-end tests of the settings files: the real service, its real files, edited by
hand and over the control channel, damaged, and checked by the program itself.

usage: settings.py --bin FOLDER [NAME...]      runs all tests, or those whose name contains NAME
"""

import contextlib
import os
import re
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
sys.path.insert(0, HERE)
from desktop import Desktop, Trouble, wait_for  # noqa: E402
import run  # noqa: E402

TESTS = []


def test(function):
    TESTS.append(function)
    return function


def path_of(desktop, name):
    return os.path.join(desktop.env["XDG_CONFIG_HOME"], "ORVENTA", name)


def read(desktop, name):
    with open(path_of(desktop, name), encoding="utf-8") as file:
        return file.read()


def put(desktop, name, content):
    path = path_of(desktop, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content if isinstance(content, bytes) else content.encode())


def setting(desktop, key):
    """The value in the file, under its section."""
    section, name = key.split(".")
    body = read(desktop, "config.ini").split(f"[{section}]\n", 1)[1].split("\n[", 1)[0]
    return re.search(rf"^{name} = (.*)$", body, re.M)[1]


def edit(desktop, key, value):
    """As an editor does it: the whole file anew, with one line changed."""
    section, name = key.split(".")
    head, rest = read(desktop, "config.ini").split(f"[{section}]\n", 1)
    rest = re.sub(rf"^{name} = .*$", f"{name} = {value}", rest, count=1, flags=re.M)
    put(desktop, "config.ini", f"{head}[{section}]\n{rest}")


def reloads(desktop):
    return desktop.log().count("reloading settings")


def check(desktop, *arguments):
    return subprocess.run([os.path.join(desktop.bin, "orventa"), "--check-config", *arguments],
                          env=desktop.env, capture_output=True, text=True, timeout=30, check=False)


@test
def a_hand_edit_takes_effect_with_one_reload(options):
    with Desktop(options.bin) as desktop:
        put(desktop, "gamelist.ini", "desktop\n")
        desktop.start_game(fps=30)
        desktop.start_service()
        assert check(desktop).returncode == 0, check(desktop).stdout
        desktop.wait_stats("60 frames a second",
                           lambda s: s["capturing"] == "1" and s["fps"] == "60")
        before = read(desktop, "config.ini")
        edit(desktop, "video.fps", 30)
        desktop.wait_stats("30 frames a second", lambda s: s["fps"] == "30", 20)
        assert reloads(desktop) == 1, desktop.log()

        answer = desktop.ctl("set", "video.fps=24", "service.save_seconds=900")
        assert "warning=Clip length was shortened to the replay length." in answer, answer
        desktop.wait_stats("24 frames a second", lambda s: s["fps"] == "24", 20)
        assert setting(desktop, "video.fps") == "24"
        assert setting(desktop, "service.save_seconds") == "60"
        previous = read(desktop, "config.ini.bak")
        assert previous == before.replace("\nfps = 60\n", "\nfps = 30\n", 1), "the file before"
        written = re.search(r"^settings_written=(\d+)$", answer, re.M)[1]
        assert desktop.stats()["settings_written"] == written

        try:
            desktop.ctl("set", "video.fps=50", "video.colour=red")
        except Trouble as trouble:
            assert "unknown setting: video.colour" in str(trouble), trouble
        else:
            raise AssertionError("an unknown setting was taken")
        assert setting(desktop, "video.fps") == "24"
        # Had one of the writes been taken for somebody else's, its reload would come
        # before this one's.
        edit(desktop, "video.fps", 20)
        desktop.wait_stats("20 frames a second", lambda s: s["fps"] == "20", 20)
        assert reloads(desktop) == 3, desktop.log()
        assert desktop.ctl("config") == read(desktop, "config.ini")
        desktop.stop_service()


@test
def a_first_run_writes_both_files_and_says_what_it_captures(options):
    with Desktop(options.bin) as desktop:
        desktop.start_service("--set", "video.fps=30")
        assert setting(desktop, "video.fps") == "60", "the command line is never written"
        assert setting(desktop, "screenshot.hdr") == "true"
        assert setting(desktop, "video.codec") == "h264" or "first run: defaulting" in desktop.log()
        assert "any-game\n!desktop\n" in read(desktop, "gamelist.ini")
        assert desktop.ctl("gamelist") == read(desktop, "gamelist.ini")
        assert "any-game" in desktop.ctl("targets")
        body = path_of(desktop, "mine.ini")
        put(desktop, "mine.ini", "title:Blocks\nmonitor\n")
        desktop.ctl("SET_GAMELIST", "--body", body)
        assert read(desktop, "gamelist.ini").endswith("\n\nwindow:Blocks\ndesktop\n")
        wait_for("the new list", lambda: "Blocks" in desktop.ctl("targets"))
        desktop.stop_service()


@test
def a_wish_that_no_encoder_here_fulfils_is_corrected_and_said(options):
    with Desktop(options.bin) as desktop:
        put(desktop, "config.ini", "[video]\ncodec = h264\nten_bit = true\nhdr = true\n")
        desktop.start_service()
        assert "codec: h264 is 8-bit only here" in desktop.log(), desktop.log()
        assert setting(desktop, "video.ten_bit") == setting(desktop, "video.hdr") == "false"
        desktop.stop_service()


@test
def any_bytes_at_all_start_the_service(options):
    noise = bytes((i * 7919 + i // 3) % 256 for i in range(50_000))
    damaged = "{} is damaged and there is no good backup, so the defaults were taken"
    restored = "{0} is damaged, so its backup {0}.bak was taken"
    with Desktop(options.bin) as desktop:
        for name, content, backup, told in (
                ("empty", b"", None, None),
                ("noise", noise, None, damaged),
                ("zero bytes", b"[video]\nfps = 24\n" + bytes(4096), None, damaged),
                ("zero bytes and a backup", bytes(4096), b"[video]\nfps = 24\n", restored),
                ("ten megabytes of one line", b"x" * 10_000_000, None, damaged),
                ("a long line of a setting", b"[video]\nfps = " + b"9" * 1_000_000, None, None),
                ("not UTF-8", b"\xff\xfe[\x80]\n\xff=\xfe\n= \n]=[\n", None, None)):
            for file in ("config.ini", "gamelist.ini"):
                put(desktop, file, content)
                with contextlib.suppress(FileNotFoundError):
                    os.remove(path_of(desktop, file + ".bak"))
                if backup is not None:
                    put(desktop, file + ".bak", backup)
            with contextlib.suppress(FileNotFoundError):
                os.remove(desktop.log_path)
            check(desktop)
            desktop.start_service()
            if told is not None:
                for file in ("config.ini", "gamelist.ini"):
                    assert told.format(file) in desktop.log(), f"{name}: {desktop.log()}"
            fps = "24" if backup is not None else "60"
            assert setting(desktop, "video.fps") == fps, name
            desktop.stop_service()
            print(f"    {name}: started")


@test
def a_file_that_cannot_be_read_is_told_and_kept(options):
    with Desktop(options.bin) as desktop:
        os.makedirs(path_of(desktop, "config.ini"))
        with open(os.path.join(desktop.folder, "out"), "w+", encoding="utf-8") as output:
            assert desktop.start("orventa", output=output).wait(20) == 1
            output.seek(0)
            assert "Could not read the settings file." in output.read()
        assert "could not read " in desktop.log(), desktop.log()
        assert check(desktop).returncode == 2
        os.rmdir(path_of(desktop, "config.ini"))

        os.makedirs(path_of(desktop, "gamelist.ini"))
        desktop.start_service()
        assert f"could not read {path_of(desktop, 'gamelist.ini')}" in desktop.log(), desktop.log()
        assert os.path.isdir(path_of(desktop, "gamelist.ini"))
        desktop.stop_service()


if __name__ == "__main__":
    sys.exit(run.main(TESTS, "settings", __doc__))
