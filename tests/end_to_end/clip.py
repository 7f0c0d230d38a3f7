"""What a finished clip really holds, by outside judges: its boxes read from the bytes,
its streams by ffprobe, its pictures by ffmpeg and the bar code's reader."""

import json
import os
import struct
import subprocess


def top_boxes(path):
    """The names of the top-level boxes, in file order; raises when sizes do not add up."""
    names, position, size = [], 0, os.path.getsize(path)
    with open(path, "rb") as file:
        while position < size:
            file.seek(position)
            length, name = struct.unpack(">I4s", file.read(8))
            if length == 1:
                length = struct.unpack(">Q", file.read(8))[0]
            assert length >= 8 and position + length <= size, f"box {name} of {length} bytes"
            names.append(name.decode("latin-1"))
            position += length
    return names


def top_boxes_until_torn(path):
    """The names of the whole top-level boxes of a file that may have been cut off."""
    names, position, size = [], 0, os.path.getsize(path)
    with open(path, "rb") as file:
        while position + 16 <= size:
            file.seek(position)
            length, name, large = struct.unpack(">I4sQ", file.read(16))
            length = large if length == 1 else length
            if length < 8 or position + length > size:
                break
            names.append(name.decode("latin-1"))
            position += length
    return names


def probe(path):
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format", path],
        capture_output=True, text=True, check=True)
    assert not done.stderr, f"ffprobe says: {done.stderr}"
    return json.loads(done.stdout)


def video_times(path):
    """Presentation times of the video packets in seconds, and which are keyframes."""
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-of", "json",
         "-show_entries", "packet=pts_time,dts_time,flags", path],
        capture_output=True, text=True, check=True)
    packets = json.loads(done.stdout)["packets"]
    assert all(p["pts_time"] == p["dts_time"] for p in packets), "reordered packets"
    return [float(p["pts_time"]) for p in packets], ["K" in p["flags"] for p in packets]


def packets(path, stream):
    """The presentation time of each packet of a track, and what tells its bytes from others."""
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", stream, "-of", "json", "-show_data_hash",
         "MD5", "-show_entries", "packet=pts_time,data_hash", path],
        capture_output=True, text=True, check=True)
    return [(float(p["pts_time"]), p["data_hash"]) for p in json.loads(done.stdout)["packets"]]


def decode_errors(path):
    done = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-f", "null", "-"],
                          capture_output=True, text=True, check=False)
    return done.stderr.strip() or ("" if done.returncode == 0 else f"exit {done.returncode}")


def read_pictures(path, bin_folder):
    """Of each decoded picture the words that the bar code's reader has for it: the frame's
    number or why there is none, and "flash" or "-"."""
    stream = next(s for s in probe(path)["streams"] if s["codec_type"] == "video")
    decode = subprocess.Popen(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-vsync", "passthrough",
         "-f", "rawvideo", "-pix_fmt", "gray", "-"], stdout=subprocess.PIPE)
    done = subprocess.run(
        [os.path.join(bin_folder, "orventa-read-bar-codes"),
         f"{stream['width']}x{stream['height']}"],
        stdin=decode.stdout, capture_output=True, text=True, check=True)
    decode.stdout.close()
    assert decode.wait() == 0
    return [tuple(line.split()) for line in done.stdout.splitlines() if line.strip()]


def frame_numbers(path, bin_folder):
    """The frame number in each decoded picture; None where it cannot be read."""
    return [int(word) if word.isdigit() else None for word, _ in read_pictures(path, bin_folder)]
