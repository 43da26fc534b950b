#!/usr/bin/python3
"""usage: wine_peer.py [--windows] "PROGRAM [ARGUMENT...]"...

Runs Windows programs under Wine, in a prefix made for this one run, whose COM7 is a pseudo-terminal. A program asks for
what should happen at the pseudo-terminal's other end by lines "@request" on its standard output, and gets a line on its
standard input when that is done; what else it says is passed on. Fails if a program does, or is silent for too long.
--windows: they show windows, on the display that DISPLAY names, and the registry has what wine.reg says."""

import contextlib
import fcntl
import itertools
import os
import pty
import queue
import select
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import tty

PATIENCE_S = 300  # making the prefix takes a while, and so does an upload of which no word is said
SEARCH = os.environ["PATH"] + ":/usr/lib/wine"
REGISTRY = os.path.dirname(os.path.abspath(__file__)) + "/wine.reg"
TCGETS2 = 0x802C542A  # tells speeds that termios has no name for


def numbered_frames(count):
    frames = []
    for number in range(count):
        length = number * 37 % 256
        payload = struct.pack("<I", number)[:length] + bytes([number % 256]) * (length - 4)
        frames.append(bytes([0, length, 1, 2]) + payload)
    return b"".join(frames)


def open_port(link):
    master, slave = pty.openpty()
    tty.setraw(slave)
    os.set_blocking(master, False)
    if os.path.lexists(link):
        os.unlink(link)  # Wine's own, where the machine has so many ports
    os.symlink(os.ttyname(slave), link)
    return master, slave


def pump(ports, ends, wake):
    """Carries bytes between two ports until the other end of `wake` is closed, and closes all that it was given."""
    waiting = {port: b"" for port in ports}
    while True:
        poll = select.poll()
        poll.register(wake)
        for port, other in zip(ports, reversed(ports)):
            poll.register(port, (0 if waiting[other] else select.POLLIN) | (select.POLLOUT if waiting[port] else 0))
        ready = dict(poll.poll())
        if wake in ready:
            break
        for port, other in zip(ports, reversed(ports)):
            if ready.get(port, 0) & select.POLLOUT:
                waiting[port] = waiting[port][os.write(port, waiting[port]):]
            if ready.get(port, 0) & select.POLLIN:
                waiting[other] += os.read(port, 4096)
    for each in *ports, *ends, wake:
        os.close(each)


class Peer:
    """The pseudo-terminal's other end, and its plug."""

    def __init__(self, devices):
        self.devices = devices
        self.master = self.slave = None
        self.joint = self.wake = None

    def plug(self):
        self.unplug()
        self.master, self.slave = open_port(self.devices + "/com7")

    def join(self):
        """COM7 and COM8, a line between them."""
        self.unplug()
        (one, one_end), (other, other_end) = (open_port(self.devices + name) for name in ("/com7", "/com8"))
        woken, self.wake = os.pipe()
        self.joint = threading.Thread(target=pump, args=((one, other), (one_end, other_end), woken), daemon=True)
        self.joint.start()

    def unplug(self):
        if self.joint is not None:
            os.close(self.wake)
            self.joint.join()
            self.joint = None
        if self.master is not None:
            os.close(self.master)
            os.close(self.slave)
            self.master = None

    def wait(self, event):
        poll = select.poll()
        poll.register(self.master, event)
        if not poll.poll(PATIENCE_S * 1000):
            raise TimeoutError("nothing passes through the line")

    def await_write(self):
        self.wait(select.POLLIN)

    def unplug_when_written(self):
        self.await_write()
        self.unplug()

    def send(self, data):
        data = memoryview(data)
        while data:
            self.wait(select.POLLOUT)
            data = data[os.write(self.master, data[:4096]):]

    def receive(self, count):
        got = bytearray()
        while len(got) < count:
            self.wait(select.POLLIN)
            got += os.read(self.master, count - len(got))
        return bytes(got)

    def stream(self, count):
        """Frames both ways at once."""
        frames = numbered_frames(count)
        sender = threading.Thread(target=self.send, args=(frames,))
        sender.start()
        got = self.receive(len(frames))
        sender.join()
        if got != frames:
            return "different from byte %d" % next(at for at, both in enumerate(zip(got, frames)) if both[0] != both[1])

    def in_background(self, step):
        """Does the step on the line from now on, again and again, until the line is unplugged."""
        master = os.dup(self.master)
        os.set_blocking(master, True)
        def work():
            with contextlib.suppress(OSError):
                while step(master):
                    pass
            os.close(master)
        threading.Thread(target=work, daemon=True).start()

    def echo(self):
        self.in_background(lambda master: os.write(master, os.read(master, 4096)))

    def trickle(self):
        """One frame after the other, in small pieces."""
        pieces = itertools.cycle([bytes([0, 255, 1, 2, 3, 4, 5])] + [b"abcdefg"] * 36)
        self.in_background(lambda master: os.write(master, next(pieces)))

    def line(self):
        settings = fcntl.ioctl(self.slave, TCGETS2, bytes(44))
        line_in, _, control = struct.unpack_from("III", settings)
        flags = {"odd": control & termios.PARODD, "two stop bits": control & termios.CSTOPB,
                 "rts/cts": control & termios.CRTSCTS, "xon/xoff": line_in & (termios.IXON | termios.IXOFF)}
        speed, = struct.unpack_from("I", settings, 40)
        return ", ".join([str(speed)] + [name for name, is_set in flags.items() if is_set])

    def obey(self, request):
        word, *arguments = request.split()
        arguments = [bytes.fromhex(each) if word == "send" else int(each) for each in arguments]
        return getattr(self, word)(*arguments) or "done"


def run(wine, program, peer):
    """Gives the exit code. Lines come through a thread, so that silence is noticed."""
    process = subprocess.Popen([wine, *shlex.split(program)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                               errors="replace", stderr=subprocess.DEVNULL)
    lines = queue.Queue()
    def collect():
        for each in process.stdout:
            lines.put(each.strip())
        lines.put(None)
    threading.Thread(target=collect, daemon=True).start()
    last = "its start"
    try:
        while (line := lines.get(timeout=PATIENCE_S)) is not None:
            last = line
            if line.startswith("@"):
                process.stdin.write(peer.obey(line[1:]) + "\n")
                process.stdin.flush()
            else:
                print(line, flush=True)
        code = process.wait(PATIENCE_S)
        if code != 0:
            print(f"FAILED {program}: ended with {code}", flush=True)
        return code
    except (queue.Empty, subprocess.TimeoutExpired, OSError) as error:
        print(f"FAILED {program}: {error!r} after: {last}", flush=True)
        return 1
    finally:
        process.kill()
        peer.unplug()


def end_wine(server, prefix):
    """Leaves nothing running. The server misses some of its own programs if one was killed before."""
    for option in "-k", "-w":
        subprocess.run([server, option], check=False, timeout=PATIENCE_S, stderr=subprocess.DEVNULL)
    for name in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError), open(f"/proc/{name}/environ", "rb") as environment:
            if int(name) != os.getpid() and f"WINEPREFIX={prefix}".encode() in environment.read().split(b"\0"):
                os.kill(int(name), signal.SIGKILL)


def main(programs):
    windows = programs[:1] == ["--windows"]
    if windows:
        programs = programs[1:]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # nothing stays behind then either
    wine, server = (shutil.which(name, path=SEARCH) for name in ("wine64", "wineserver"))
    with tempfile.TemporaryDirectory(prefix="vorsel-wine-") as folder:
        prefix = folder + "/prefix"
        os.environ.update(WINEPREFIX=prefix, WINEDEBUG="-all", HOME=folder, LC_ALL="C.UTF-8",
                          WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe=")
        if not windows:
            os.environ.pop("DISPLAY", None)
        peer = Peer(prefix + "/dosdevices")
        try:
            if windows:
                subprocess.run([wine, "regedit", "/S", REGISTRY], check=True, timeout=PATIENCE_S,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            codes = [run(wine, each, peer) for each in programs]
        finally:
            end_wine(server, prefix)
    return 1 if any(codes) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
