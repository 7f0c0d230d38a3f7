"""Measurements of the whole service on a private desktop: what it costs while it waits,
what recording costs beside ffmpeg's own screen grabber with the same encoder, preset and rate,
and how far what is heard lies from what is seen.
Prints "row value" lines. usage: service_bench.py --bin FOLDER [idle] [e2e] [offset]"""

import argparse
import os
import resource
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "scripts"))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "end_to_end"))
from desktop import Desktop, record  # noqa: E402
import flashes  # noqa: E402

TICKS = os.sysconf("SC_CLK_TCK")
SECONDS = 20
FPS = 30
PRESET = "superfast"
KBPS = 8000


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def rss_mb(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        for line in file:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024
    return 0.0


def idle(options):
    with Desktop(options.bin) as desktop:
        service = desktop.start_service("--window", "no such game")
        time.sleep(35)  # past the moment when an idle service lets its device go
        before, start = cpu_seconds(service.pid), time.monotonic()
        time.sleep(60)
        used, passed = cpu_seconds(service.pid) - before, time.monotonic() - start
        print(f"idle.cpu_percent {100 * used / passed:.4f}")
        print(f"idle.rss_mb {rss_mb(service.pid):.2f}", flush=True)
        desktop.stop_service()


def service_cost(desktop):
    service = desktop.start_service(settings={
        "video.fps": FPS, "video.codec": "h264", "video.preset_h264": PRESET,
        "video.bitrate_kbps": KBPS,
        "replay.duration_seconds": SECONDS})
    record(desktop, 2)
    before = cpu_seconds(service.pid)
    time.sleep(SECONDS)
    used = cpu_seconds(service.pid) - before
    desktop.save()
    desktop.stop_service()
    return used


def ffmpeg_cost(desktop):
    out = os.path.join(desktop.folder, "grab.mp4")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "x11grab", "-framerate", str(FPS),
         "-video_size", desktop.size, "-i", f":{desktop.display}", "-t", str(SECONDS),
         "-c:v", "libx264", "-preset", PRESET, "-bf", "0", "-g", str(FPS),
         "-b:v", f"{KBPS}k", "-maxrate", f"{KBPS * 3 // 2}k", "-bufsize", f"{KBPS}k",
         "-pix_fmt", "nv12", out], env=desktop.env, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def e2e(options):
    with Desktop(options.bin) as desktop:
        desktop.start_game(fps=FPS)
        ours, theirs = [], []
        for _ in range(3):
            ours.append(service_cost(desktop))
            theirs.append(ffmpeg_cost(desktop))
        print(f"e2e.cpu_s {statistics.median(ours):.3f}")
        print(f"e2e.ffmpeg_cpu_s {statistics.median(theirs):.3f}")
        pairs = [a / b for a, b in zip(ours, theirs)]
        print(f"e2e.cpu_vs_ffmpeg {statistics.median(pairs):.3f}", flush=True)


def offset(options):
    fps, wanted, size = 60, 60, "640x360"
    with Desktop(options.bin, size=size, sound=True) as desktop:
        told = flashes.start_game(desktop, size)
        # Some flashes fall into a hole of the picture or are shown late by the game.
        seconds = wanted * 3 // 2
        desktop.start_service(settings={
            "video.fps": fps, "video.codec": "h264", "video.preset_h264": PRESET,
            "replay.duration_seconds": seconds})
        record(desktop, seconds)
        found = [offset for offset in flashes.offsets_ms(desktop.save(), options.bin, fps, told)
                 if offset is not None][-wanted:]
        desktop.stop_service()
        assert len(found) == wanted, f"only {len(found)} flashes could be measured"
        print(f"sound.offset_mean_ms {abs(statistics.fmean(found)):.3f}")
        print(f"sound.offset_worst_ms {max(map(abs, found)):.3f}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", required=True)
    parser.add_argument("groups", nargs="*")
    options = parser.parse_args()
    for name, measure in (("idle", idle), ("e2e", e2e), ("offset", offset)):
        if not options.groups or name in options.groups:
            measure(options)


if __name__ == "__main__":
    main()
