"""The Windows program under Wine, as a whole: with a fake NVIDIA driver and a window of its
game list it tries to capture, is told that it cannot, and serves on through sleep, a changed
display and an asked-for end of the session to the real one; without an encoder it says so,
keeps a second instance away and ends cleanly.

usage: xvfb-run -a wine.py --bin FOLDER
The display gives it a graphics card, played by the processor.
"""

import argparse
import glob
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "..", "..")
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run")
# Apart from the tests that run without a display, to which Wine's desktop would stick.
PREFIX = os.path.abspath(os.path.join(ROOT, "build", "wine-display"))
os.environ["ORVENTA_WINEPREFIX"] = os.environ["WINEPREFIX"] = PREFIX
DRIVER = os.path.join(PREFIX, "drive_c", "windows", "system32", "nvEncodeAPI64.dll")
NVIDIA_CARD = "VideoPciVendorID=0x10de,VideoPciDeviceID=0x1b80"
GAME = "A game - level 1"
NO_CAPTURE = "Windows.Graphics.Capture is not available on this system"
NO_SERVICE = 2


class Wine:
    """One service after the other in the prefix of these tests."""

    def __init__(self, folder):
        self.folder = folder
        self.started = []

    def command(self, program, *arguments):
        return [WINE_RUN, os.path.join(self.folder, program), *arguments]

    def run(self, program, *arguments):
        # Into a file: Wine's own background processes inherit a pipe and keep it open.
        with tempfile.TemporaryFile("w+", encoding="utf-8") as output:
            done = subprocess.run(self.command(program, *arguments), stdin=subprocess.DEVNULL,
                                  stdout=output, stderr=output, timeout=120, check=False)
            output.seek(0)
            done.stdout = output.read()
        return done

    def start(self, program, *arguments, **environment):
        self.started.append(subprocess.Popen(
            self.command(program, *arguments), env={**os.environ, **environment},
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        return self.started[-1]

    def ctl(self, *arguments):
        return self.run("orventactl.exe", *arguments)

    def stats(self):
        lines = self.ctl("STATS").stdout.splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)

    def tell(self, event):
        done = self.run("fake_desktop.exe", "tell", event)
        assert done.returncode == 0, f"{event}: {done.returncode}"

    def wait(self, what, probe, seconds=90):
        deadline = time.monotonic() + seconds
        while not (found := probe()):
            assert time.monotonic() < deadline, f"{what}: not within {seconds} s; {self.stats()}"
            time.sleep(0.2)
        return found

    def own(self, *folders):
        """A folder of the user that Wine made up."""
        return os.path.join(glob.glob(os.path.join(PREFIX, "drive_c", "users", "*", "AppData"))[0],
                            *folders)

    def log(self):
        try:
            with open(self.own("Roaming", "ORVENTA", "ORVENTA.log"), encoding="utf-8") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def check_leftovers(self):
        """Nothing half written, and nobody at the channel."""
        left = [name for place in ("Roaming", "Local")
                for _, _, names in os.walk(self.own(place, "ORVENTA")) for name in names]
        assert set(left) <= {"ORVENTA.log", "config.ini", "config.ini.bak", "gamelist.ini"}, left
        assert self.ctl("STATS").returncode == NO_SERVICE

    def close(self):
        for process in self.started:
            if process.poll() is None:
                process.kill()
        subprocess.run(["wineserver", "-k", "-w"], timeout=60, check=False)
        remove_driver()


def remove_driver():
    if os.path.exists(DRIVER):
        os.remove(DRIVER)


def seconds_of(clock):
    hours, minutes, seconds = clock.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(seconds)


def check_config(wine):
    """The program itself says what is wrong with a file, though it has no console."""
    with tempfile.TemporaryDirectory() as temporary:
        path = os.path.join(temporary, "mine.ini")
        with open(path, "w", encoding="utf-8") as file:
            file.write("[video]\nfps = 900\n")
        done = wine.run("ORVENTA.exe", "--check-config", "Z:" + path)
    assert done.returncode == 1 and done.stdout.startswith("mine.ini:2: "), done


def capture_that_cannot_be(wine):
    """From the first start on an empty profile to the end of the session."""
    shutil.copy(os.path.join(wine.folder, "fakes", "nvEncodeAPI64.dll"), DRIVER)
    settings = wine.own("Roaming", "ORVENTA")
    os.makedirs(settings)
    with open(os.path.join(settings, "gamelist.ini"), "w", encoding="utf-8") as file:
        file.write("window:A game\n")
    service = wine.start("ORVENTA.exe", "--autostart", WINE_D3D_CONFIG=NVIDIA_CARD)
    wine.wait("the service", wine.stats)
    wine.start("fake_desktop.exe", "window", GAME)
    stats = wine.wait("the game", lambda: (s := wine.stats()).get("last_error") and s)
    assert stats["running"] == "1" and stats["capturing"] == "0", stats
    assert stats["adapter"] and stats["no_encoder"] == "0", stats
    assert stats["last_error"] == NO_CAPTURE, stats
    assert stats["target_description"] == GAME and stats["target_is_window"] == "1", stats
    assert stats["target_path"].endswith("\\fake_desktop.exe"), stats

    def tries():
        return [seconds_of(clock) for clock in
                re.findall(r"^(\S+)  ERROR  the capture failed: Unsupported: " + NO_CAPTURE, wine.log(), re.M)]
    first, second, third = wine.wait("three tries", lambda: len(tries()) > 2 and tries()[:3])
    assert second - first >= 2 and third - second >= 4, "each waits longer than the one before"

    for event, told in (("sleep", "going to sleep: capture held"), ("wake", "woke from sleep"),
                        ("displays", "display changed: rebuilding capture")):
        wine.tell(event)
        wine.wait(event, lambda: told in wine.log())
    wine.tell("may-end")
    wine.tell("end-cancelled")
    assert wine.stats()["running"] == "1", "the session goes on"
    wine.tell("end")
    assert wine.stats()["running"] == "0" and service.poll() is None, "it has nothing left to do"
    service.send_signal(signal.SIGKILL)
    service.wait(60)
    wine.check_leftovers()


def no_encoder(wine):
    """A start after that end, up to the one that is asked for."""
    remove_driver()
    service = wine.start("ORVENTA.exe", "--autostart")
    stats = wine.wait("the search", lambda: (s := wine.stats()).get("no_encoder") == "1" and s)
    assert stats["running"] == "1" and stats["capturing"] == "0" and stats["adapter"], stats
    answer = wine.ctl("SAVE")
    assert answer.returncode == 1 and "no video encoder to record with" in answer.stdout, answer
    assert GAME in wine.ctl("TARGETS").stdout
    assert wine.ctl("NO_SUCH_VERB").returncode == 1

    assert wine.run("ORVENTA.exe", "--autostart").returncode == 0, "a second one goes quietly"
    told = wine.start("ORVENTA.exe")
    assert wine.run("fake_desktop.exe", "close", "ORVENTA").returncode == 0, "or says why"
    assert told.wait(60) == 0
    assert wine.ctl("HELLO").stdout.startswith("protocol=1"), "the first serves on"

    answer = wine.ctl("EXIT")
    assert answer.returncode == 0 and service.wait(60) == 0, (answer, service.returncode)
    assert re.search(r"INFO   exit: clean, after \d+ s\n\Z", wine.log()), wine.log()[-500:]
    wine.check_leftovers()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", required=True)
    wine = Wine(os.path.abspath(parser.parse_args().bin))
    try:
        assert wine.ctl("STATS").returncode == NO_SERVICE, "no service yet"
        shutil.rmtree(wine.own("Roaming", "ORVENTA"), ignore_errors=True)
        check_config(wine)
        capture_that_cannot_be(wine)
        no_encoder(wine)
    finally:
        wine.close()
    print("wine: 1 passed, 0 failed")


if __name__ == "__main__":
    sys.exit(main())
