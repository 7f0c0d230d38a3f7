"""The Windows program under Wine, as a whole: ORVENTA.exe starts, runs its pass, serves
its pipes to orventactl.exe, says that there is no encoder, and ends cleanly.

usage: xvfb-run -a wine.py --bin FOLDER
The display gives it a graphics card, played by the processor.
"""

import argparse
import os
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


def ctl(folder, *arguments):
    # Into a file: Wine's own background processes inherit a pipe and keep it open.
    with tempfile.TemporaryFile("w+") as output:
        done = subprocess.run([WINE_RUN, os.path.join(folder, "orventactl.exe"), *arguments],
                              stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                              timeout=120, check=False)
        output.seek(0)
        done.stdout = output.read()
    return done


def check_config(folder):
    """The program itself says what is wrong with a file, though it has no console."""
    with tempfile.TemporaryDirectory() as temporary:
        path, report = (os.path.join(temporary, name) for name in ("mine.ini", "report"))
        with open(path, "w", encoding="utf-8") as file:
            file.write("[video]\nfps = 900\n")
        with open(report, "w+", encoding="utf-8") as output:
            done = subprocess.run(
                [WINE_RUN, os.path.join(folder, "ORVENTA.exe"), "--check-config", "Z:" + path],
                stdin=subprocess.DEVNULL, stdout=output, timeout=60, check=False)
            output.seek(0)
            text = output.read()
    assert done.returncode == 1 and text.startswith("mine.ini:2: "), (done.returncode, text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", required=True)
    folder = os.path.abspath(parser.parse_args().bin)

    assert ctl(folder, "STATS").returncode == 2, "no service yet"
    check_config(folder)
    service = subprocess.Popen([WINE_RUN, os.path.join(folder, "ORVENTA.exe"), "--autostart"],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        deadline = time.monotonic() + 90
        while (answer := ctl(folder, "STATS")).returncode == 2 and time.monotonic() < deadline:
            assert service.poll() is None, f"the service ended with {service.returncode}"
            time.sleep(0.5)
        assert answer.returncode == 0, answer
        lines = dict(line.split("=", 1) for line in answer.stdout.splitlines() if "=" in line)
        assert lines["running"] == "1" and lines["no_encoder"] == "1", lines
        assert lines["capturing"] == "0" and lines["adapter"], lines

        answer = ctl(folder, "SAVE")
        assert answer.returncode == 1 and "no video encoder to record with" in answer.stdout, answer
        assert "main display" in ctl(folder, "TARGETS").stdout
        assert ctl(folder, "NO_SUCH_VERB").returncode == 1
        second = subprocess.run([WINE_RUN, os.path.join(folder, "ORVENTA.exe"), "--autostart"],
                                timeout=60, check=False)
        assert second.returncode == 0, "a second instance goes quietly"
        assert ctl(folder, "HELLO").stdout.startswith("protocol=1"), "the first serves on"

        answer = ctl(folder, "EXIT")
        assert answer.returncode == 0, answer
        assert service.wait(60) == 0, service.returncode
    finally:
        if service.poll() is None:
            service.kill()
        subprocess.run(["wineserver", "-k", "-w"], timeout=60, check=False)
    print("wine: 1 passed, 0 failed")


if __name__ == "__main__":
    sys.exit(main())
