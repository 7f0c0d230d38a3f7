"""A private desktop for demonstrations, end-to-end tests and benchmarks: an X server
of its own, a sound server of its own that nobody hears where it is asked for, folders of
its own, the demo game and the service. Nothing of the user's is touched. Every wait is
for a condition, with a deadline that says what was missing.
"""

import array
import contextlib
import math
import os
import shutil
import signal
import subprocess
import tempfile
import time


MICROPHONE = "module-remap-source source_name=microphone master=room.monitor"


class Trouble(Exception):
    """What did not happen in time, or a process that ended when it should not."""


def wait_for(what, condition, seconds=20.0, step=0.05):
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise Trouble(f"{what}: not within {seconds:g} s")
        time.sleep(step)


class Desktop:
    def __init__(self, bin_folder, size="1280x720", sound=False):
        self.bin = os.path.abspath(bin_folder)
        self.size = size
        self.folder = tempfile.mkdtemp(prefix="orventa-desktop-")
        self.display = None
        self._xvfb = None
        self._pulse = None
        self._wants_sound = sound
        self._processes = []
        self.env = dict(os.environ)
        self.env.pop("DISPLAY", None)
        self.env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        for name, part in (("XDG_RUNTIME_DIR", "run"), ("XDG_CONFIG_HOME", "config"),
                           ("XDG_DATA_HOME", "data"), ("HOME", "home")):
            path = os.path.join(self.folder, part)
            os.mkdir(path, 0o700)
            self.env[name] = path
        # Where no server is started, none is found.
        self._sound_socket = os.path.join(self.env["XDG_RUNTIME_DIR"], "sound")
        self.env["PULSE_SERVER"] = "unix:" + self._sound_socket
        self.videos = os.path.join(self.env["HOME"], "Videos", "ORVENTA")
        self.log_path = os.path.join(self.env["XDG_CONFIG_HOME"], "ORVENTA", "ORVENTA.log")

    def __enter__(self):
        try:
            self.start_display()
            if self._wants_sound:
                self.start_sound()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for process in reversed(self._processes):
            self.end(process)
        for server in (self._pulse, self._xvfb):
            if server:
                self.end(server)
        shutil.rmtree(self.folder, ignore_errors=True)

    def end(self, process, sig=signal.SIGTERM):
        if process.poll() is None:
            process.send_signal(sig)
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()

    def start_display(self, number=None):
        """Starts the X server; with a number, on that display again."""
        read_end, write_end = os.pipe()
        where = [f":{number}"] if number is not None else ["-displayfd", str(write_end)]
        self._xvfb = subprocess.Popen(
            ["Xvfb", *where, "-screen", "0", f"{self.size}x24", "-nolisten", "tcp", "-noreset",
             "+extension", "Composite"],
            pass_fds=[write_end], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        if number is None:
            with os.fdopen(read_end) as stream:
                line = stream.readline().strip()
            if not line:
                raise Trouble("Xvfb did not start")
            number = int(line)
        else:
            os.close(read_end)
        self.display = number
        self.env["DISPLAY"] = f":{number}"
        wait_for("the X server", lambda: subprocess.run(
            ["xdpyinfo"], env=self.env, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, check=False).returncode == 0)

    def kill_display(self):
        self.end(self._xvfb, signal.SIGKILL)

    def start_sound(self):
        """Starts the sound server, or another one in a dead one's place: an output
        "speakers", and an input "microphone" that hears what is played to "room"."""
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self._sound_socket)
        modules = [f"module-native-protocol-unix auth-anonymous=1 socket={self._sound_socket}",
                   "module-null-sink sink_name=speakers rate=48000",
                   "module-null-sink sink_name=room rate=48000",
                   MICROPHONE]
        self._pulse = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
             "--realtime=no", "--high-priority=no", *(w for m in modules for w in ("-L", m))],
            env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("the sound server", lambda: subprocess.run(
            ["pactl", "info"], env=self.env, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, check=False).returncode == 0)

    def kill_sound(self):
        self.end(self._pulse, signal.SIGKILL)

    def pactl(self, *words):
        return subprocess.run(["pactl", *words], env=self.env, capture_output=True, text=True,
                              timeout=30, check=True).stdout.strip()

    def play_tone(self, hz, output, left_only=False):
        """A program that plays a steady tone of half the greatest loudness."""
        rate, path = 48000, os.path.join(self.folder, f"tone-{hz}-{left_only}")
        # A second of it holds whole waves, so it can go round and round.
        samples = array.array("h")
        for i in range(rate):
            value = round(16384 * math.sin(2 * math.pi * hz * i / rate))
            samples.extend((value, 0 if left_only else value))
        with open(path, "wb") as file:
            for _ in range(120):
                samples.tofile(file)
        player = subprocess.Popen(
            ["pacat", "--playback", "--raw", "--format=s16le", "--channels=2", f"--rate={rate}",
             "--latency-msec=50", f"--device={output}", path],
            env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self._processes.append(player)
        return player

    def start(self, program, *arguments, env=None, output=None):
        process = subprocess.Popen(
            [os.path.join(self.bin, program), *arguments], env={**self.env, **(env or {})},
            stdout=output or subprocess.DEVNULL, stderr=output or subprocess.DEVNULL)
        self._processes.append(process)
        return process

    def start_manager(self):
        """A window manager; returns once it does what it is asked."""
        self.start("/usr/bin/openbox")

        def answers():
            # It starts with four desktops and overlooks what is asked too early.
            self._xdotool("set_num_desktops", "1")
            return self._xdotool("get_num_desktops") == "1"
        wait_for("the window manager", answers)

    def _xdotool(self, *arguments):
        return subprocess.run(["xdotool", *arguments], env=self.env, capture_output=True,
                              text=True, timeout=30, check=False).stdout.strip()

    def window_of(self, title):
        """The number of the window with this title, for minimise() and bring_up()."""
        return wait_for(f"the window {title}", lambda: self._xdotool(
            "search", "--onlyvisible", "--name", f"^{title}$")).split()[0]

    def minimise(self, window):
        self._xdotool("windowminimize", window)

    def bring_up(self, window):
        self._xdotool("windowactivate", window)

    def in_front(self):
        return self._xdotool("getactivewindow")

    def start_game(self, *arguments, fps=60, title="ORVENTA demo game", size=None,
                   program="orventa-demo-game"):
        return self.start(program, "--size", size or self.size, "--fps", str(fps),
                          "--title", title, *arguments)

    def install_game(self, name, known=False):
        """The demo game as a program of that name, in a folder of its own. Known: with a
        file beside it by which games are told."""
        folder = os.path.join(self.folder, "games", name)
        os.makedirs(folder)
        if known:
            with open(os.path.join(folder, "libsteam_api.so"), "wb"):
                pass
        return shutil.copy(os.path.join(self.bin, "orventa-demo-game"),
                           os.path.join(folder, name))

    def write_game_list(self, *lines):
        folder = os.path.dirname(self.log_path)
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "gamelist.ini"), "w", encoding="utf-8") as file:
            file.write("".join(line + "\n" for line in lines))

    def start_service(self, *arguments, settings=None, env=None):
        sets = []
        for key, value in (settings or {}).items():
            sets += ["--set", f"{key}={value}"]
        self.service_output = os.path.join(self.folder, "service.out")
        with open(self.service_output, "ab") as output:
            service = self.start("orventa", *sets, *arguments, env=env, output=output)
        self.service = service
        wait_for("the control channel", lambda: self._alive(service) and self.stats(quiet=True))
        return service

    def _alive(self, process):
        if process.poll() is not None:
            raise Trouble(f"the service ended with {process.returncode}: {self.output()}")
        return True

    def output(self):
        with contextlib.suppress(OSError), open(self.service_output, errors="replace") as file:
            return file.read()[-2000:]
        return ""

    def ctl(self, *arguments, quiet=False):
        done = subprocess.run([os.path.join(self.bin, "orventactl"), *arguments], env=self.env,
                              capture_output=True, text=True, timeout=30, check=False)
        if done.returncode == 2 and quiet:
            return ""
        if done.returncode != 0:
            raise Trouble(f"orventactl {' '.join(arguments)}: {done.stderr or done.stdout}")
        return done.stdout

    def stats(self, quiet=False):
        lines = self.ctl("STATS", quiet=quiet).splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)

    def wait_stats(self, what, condition, seconds=30.0):
        def met():
            self._alive(self.service)
            stats = self.stats()
            return stats if condition(stats) else None
        try:
            return wait_for(what, met, seconds, step=0.1)
        except Trouble as trouble:
            raise Trouble(f"{trouble}; stats: {self.stats()}; log: {self.log()[-1500:]}") from None

    def log(self):
        with contextlib.suppress(OSError), open(self.log_path, errors="replace") as file:
            return file.read()
        return ""

    def saved_paths(self):
        return [line.split("  save: ", 1)[1] for line in self.log().splitlines()
                if "  save: " in line]

    def save(self, verb="SAVE", seconds=30.0):
        """Saves and returns the new file's path, or raises with what the log says."""
        before = len(self.saved_paths())
        failures = self.log().count("save failed: ")
        self.ctl(verb)

        def done():
            if self.log().count("save failed: ") > failures:
                raise Trouble("the save failed: " + self.log()[-600:])
            paths = self.saved_paths()
            return paths[before] if len(paths) > before else None
        return wait_for("the save", done, seconds)

    def stop_service(self):
        self.ctl("EXIT")
        try:
            code = self.service.wait(40)
        except subprocess.TimeoutExpired:
            raise Trouble("the service did not end after EXIT") from None
        if code != 0:
            raise Trouble(f"the service ended with {code}: {self.output()}")


def record(desktop, seconds):
    """Waits until the history holds more than `seconds` of picture."""
    desktop.wait_stats("capture", lambda s: s.get("capturing") == "1", 30)
    return desktop.wait_stats(
        f"{seconds} s of history", lambda s: float(s["buffered_seconds"]) > seconds,
        seconds * 3 + 30)
