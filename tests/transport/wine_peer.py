#!/usr/bin/python3
"""usage: wine_peer.py PROGRAM...

Runs Windows programs under Wine, in a prefix made for this one run, whose COM7 is a pseudo-terminal. A program asks for
what should happen at the pseudo-terminal's other end by lines "@request" on its standard output, and gets a line on its
standard input when that is done; what else it says is passed on. Fails if a program does, or is silent for too long."""

import contextlib
import fcntl
import os
import pty
import queue
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import tty

PATIENCE_S = 60
FIRST_PATIENCE_S = 300  # the prefix is made before the first program begins
SEARCH = os.environ["PATH"] + ":/usr/lib/wine"
TCGETS2 = 0x802C542A  # tells speeds that termios has no name for


def numbered_frames(count):
    frames = []
    for number in range(count):
        length = number * 37 % 256
        payload = struct.pack("<I", number)[:length] + bytes([number % 256]) * (length - 4)
        frames.append(bytes([0, length, 1, 2]) + payload)
    return b"".join(frames)


class Peer:
    """The pseudo-terminal's other end, and its plug."""

    def __init__(self, link):
        self.link = link
        self.master = self.slave = None

    def plug(self):
        self.unplug()
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)
        os.set_blocking(self.master, False)
        if os.path.lexists(self.link):
            os.unlink(self.link)  # Wine's own, where the machine has so many ports
        os.symlink(os.ttyname(self.slave), self.link)

    def unplug(self):
        if self.master is None:
            return
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

    def echo(self):
        """Answers with the same bytes from now on, until the line is unplugged."""
        master = os.dup(self.master)
        os.set_blocking(master, True)
        def answer():
            with contextlib.suppress(OSError):
                while os.write(master, os.read(master, 4096)):
                    pass
            os.close(master)
        threading.Thread(target=answer, daemon=True).start()

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


def run(wine, program, peer, patience):
    """Gives the exit code. Lines come through a thread, so that silence is noticed."""
    process = subprocess.Popen([wine, program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, errors="replace",
                               stderr=subprocess.DEVNULL)
    lines = queue.Queue()
    def collect():
        for each in process.stdout:
            lines.put(each.strip())
        lines.put(None)
    threading.Thread(target=collect, daemon=True).start()
    last = "its start"
    try:
        while (line := lines.get(timeout=patience)) is not None:
            patience = PATIENCE_S
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
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # nothing stays behind then either
    wine, server = (shutil.which(name, path=SEARCH) for name in ("wine64", "wineserver"))
    with tempfile.TemporaryDirectory(prefix="vorsel-wine-") as folder:
        prefix = folder + "/prefix"
        os.environ.update(WINEPREFIX=prefix, WINEDEBUG="-all", HOME=folder, LC_ALL="C.UTF-8",
                          WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe=")
        os.environ.pop("DISPLAY", None)
        peer = Peer(prefix + "/dosdevices/com7")
        try:
            codes = [run(wine, each, peer, FIRST_PATIENCE_S) for each in programs]
        finally:
            end_wine(server, prefix)
    return 1 if any(codes) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
