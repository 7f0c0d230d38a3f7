"""What is heard in a clip, and when it is heard beside what is seen: the demo game's tone
begins to be heard as its flash is shown."""

import array
import math
import os
import subprocess
import sys

import clip as clips

RATE = 48000
LATE_US = 3000  # a flash that the game itself showed later than this says nothing
# From one flash to the next are 56 pictures of the game, that is 63.4 of a capture at 60 a
# second: a few flashes already fall everywhere between two pictures of the capture, and are
# seen half a picture late in the mean.
GAME = ("--flash-ms", "1057", "--tell-flashes")
GAME_FPS = 53


def sound(path, track=0, channel=None):
    """One track's samples from time 0 of the clip; one channel of it, or their mean."""
    pan = [] if channel is None else [f"pan=mono|c0=c{channel}"]
    done = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", f"0:a:{track}", "-af",
         ",".join([*pan, "aresample=async=1:first_pts=0"]), "-ac", "1", "-ar", str(RATE),
         "-f", "s16le", "-"], capture_output=True, check=True)
    assert not done.stderr, done.stderr
    samples = array.array("h", done.stdout)
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def level(samples, hz, begin=0.0, end=None):
    """The amplitude of one frequency between two times, 1 being the greatest there is: of
    the tenth of a second in which it is loudest, for over a longer time devices' clocks shift
    its phase, and a busy machine's sound server leaves holes."""
    part = samples[round(begin * RATE):None if end is None else round(end * RATE)]
    tenth, turn = RATE // 10, 2 * math.pi * hz / RATE
    wave = [(math.cos(turn * i), math.sin(turn * i)) for i in range(tenth)]
    levels = []
    for at in range(0, len(part) - tenth + 1, tenth):
        real = sum(s * c for s, (c, _) in zip(part[at:at + tenth], wave))
        imaginary = sum(s * c for s, (_, c) in zip(part[at:at + tenth], wave))
        levels.append(2 * math.hypot(real, imaginary) / tenth / 32768)
    return max(levels)


def beeps(samples):
    """When tones begin after a silence, in seconds."""
    times, last = [], -RATE
    for i, sample in enumerate(samples):
        if abs(sample) > 4000:
            if i - last > RATE // 5:
                times.append(i / RATE)
            last = i
    return times


def flashes(path, bin_folder, interval):
    """When flashes begin, and their first frame's number; those only that follow a picture
    without a hole between."""
    times, _ = clips.video_times(path)
    words = clips.read_pictures(path, bin_folder)
    assert len(words) == len(times)
    found = []
    for i in range(1, len(words)):
        number, light = words[i]
        if light == "flash" and words[i - 1][1] != "flash" and number.isdigit() \
                and times[i] - times[i - 1] < 1.5 * interval:
            found.append((times[i], int(number)))
    return found


def told(path):
    """How late the game showed each flash by its own account, by its frame's number."""
    with open(path, encoding="ascii") as file:
        rows = [line.split() for line in file if line.startswith("flash ")]
    return {int(number): int(late) for _, number, late in rows}


def offsets_ms(path, bin_folder, fps, game_output):
    """How much later than its flash each tone is heard, of all flashes that the game showed in
    time and that no hole of the picture hides; None where no tone stands out."""
    late, tones = told(game_output), beeps(sound(path))
    found = []
    for time, number in flashes(path, bin_folder, 1 / fps):
        if late.get(number, LATE_US) >= LATE_US:
            continue
        near = [tone for tone in tones if abs(tone - time) < 0.3]
        found.append((near[0] - time) * 1000 if len(near) == 1 else None)
    return found


def start_game(desktop, size):
    """The game that is measured; the answer is where it tells of its flashes."""
    path = os.path.join(desktop.folder, "flashes")
    with open(path, "wb") as output:
        desktop.start("orventa-demo-game", "--size", size, "--fps", str(GAME_FPS), *GAME,
                      output=output)
    return path
