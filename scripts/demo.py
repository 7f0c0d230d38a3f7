"""Records the demo game on a private desktop with the real service and saves one clip.
The last line printed is "clip: <path>". Used by ./run --demo."""

import argparse
import os
import sys

from desktop import Desktop, Trouble, record


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", required=True)
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("--out", required=True)
    options = parser.parse_args()
    out = os.path.abspath(options.out)

    with Desktop(options.bin, sound=True) as desktop:
        print(f"desktop: X display :{desktop.display}, {desktop.size}, sound that nobody hears",
              flush=True)
        desktop.start_game(fps=30)
        desktop.start_service(settings={
            "replay.duration_seconds": max(options.seconds, 1),
            "storage.replay_directory": out,
            "video.fps": 30,
        })
        print(f"service: running, recording {options.seconds} s of history", flush=True)
        stats = record(desktop, options.seconds)
        for key in ("width", "height", "fps", "encoder_backend", "codec", "bitrate_kbps",
                    "target_description", "buffered_seconds", "buffered_bytes",
                    "frames_captured", "frames_duplicated"):
            print(f"  {key}={stats.get(key, '')}")
        path = desktop.save()
        desktop.stop_service()
        print(f"clip: {path}")


if __name__ == "__main__":
    try:
        main()
    except Trouble as trouble:
        print(f"demo: {trouble}", file=sys.stderr)
        sys.exit(1)
