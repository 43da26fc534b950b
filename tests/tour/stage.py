"""The simulated module and the program, started for a tour, and what its steps use them by."""

import os
import shutil
import subprocess
import tempfile

from desktop import Desktop, clipboard, picture, press, run, until, without_stamps

WHEEL_STEP = 60  # pixels that a notch of the wheel scrolls


class Stage:
    """Both programs and the windows, until end() is called."""

    def __init__(self, pictures, module, program_folder, api_folder, usb_tool):
        self.pictures = pictures
        self.count = 0
        # Shown in a picture, so always of the same width.
        self.scratch = os.path.join(tempfile.gettempdir(), f"vorsel-tour-{os.getpid():07}")
        os.mkdir(self.scratch, 0o700)
        self.module_log = self.path("module.log")
        with open(self.module_log, "w") as log:
            self.module = subprocess.Popen([module], stdin=subprocess.PIPE, stdout=log, text=True)
        until("the module's port", lambda: self.on_wire("ready: "))
        # The program finds its definition file from the folder where it starts, and the tool for USB beside itself.
        home = self.path("program")
        os.mkdir(home)
        shutil.copytree(api_folder, self.path("api"))
        shutil.copy(os.path.join(program_folder, "vorsel"), home)
        shutil.copy(usb_tool, home)
        environment = dict(os.environ, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.program = subprocess.Popen(["./vorsel"], cwd=home, env=environment, stderr=open(self.path("stderr"), "w"))
        self.desktop = Desktop("vorsel")
        self.main = self.desktop.window("Vorsel BLE")
        self.devices = self.main.find("filler", "Devices")

    def end(self):
        for process in (self.program, self.module):
            process.kill()
            process.wait()
        shutil.rmtree(self.scratch)

    def path(self, name):
        return os.path.join(self.scratch, name)

    def picture(self, name, window=None):
        self.count += 1
        picture(window or self.main, os.path.join(self.pictures, f"{self.count:02}-{name}.png"))

    def control(self, line):
        """A line on the module's standard input."""
        self.module.stdin.write(line + "\n")
        self.module.stdin.flush()

    def dumped(self, line, size):
        """The file that the module writes at this line's word, once it has that size."""
        dump = self.path("dump.bin")
        if os.path.exists(dump):
            os.remove(dump)
        self.control(line.format(dump))
        until("the module's file", lambda: os.path.exists(dump) and os.path.getsize(dump) == size)
        return dump

    def wire_count(self, text):
        with open(self.module_log) as log:
            return log.read().count(text)

    def on_wire(self, text):
        """Whether the module's own log has it: "<-" from the program, "->" to it."""
        return self.wire_count(text) > 0

    def sent(self, text):
        until(f"{text} at the module", lambda: self.on_wire(text))

    def button(self, name, window=None, index=0):
        (window or self.main).find("push button", name, index).click()

    def log(self):
        self.button("Copy to Clipboard")
        return without_stamps(clipboard())

    def logged(self, text):
        until(f"{text} in the log", lambda: any(text in line for line in self.log()))

    def command(self, line):
        self.main.find("text", "Command").fill(line)
        press("Return")

    def tool(self, title, shortcut):
        """A tool's window, opened by its shortcut."""
        self.main.find("text", "Command").click()
        press(shortcut)
        return self.desktop.window(title)

    def menu(self, title, menu, entry):
        """A window opened by the menus, by keyboard."""
        self.main.find("menu item", menu).click()
        until(f'entry "{entry}"', lambda: [n for n in self.main.find("menu item", menu).walk() if n.name == entry])[0].click()
        return self.desktop.window(title) if title else None

    def close(self, window):
        press("Escape")
        until(f'"{window.name}" closed', lambda: not window.showing)

    # Remote devices

    def panel(self, name):
        box = self.devices.find("label", name).parent("panel")
        self.scroll_to(box)
        return box

    def scroll_to(self, node):
        """Turns the wheel until the control is in view."""
        left, top, width, height = self.devices.box
        run("xdotool", "mousemove", str(left + width - 30), str(top + 4))

        def in_view():
            _, y, _, node_height = node.box
            below = y + node_height - (top + height)
            beyond = max(below, top - y)
            if beyond <= 0:
                return True
            wheel = "5" if below > 0 else "4"
            run("xdotool", "click", "--delay", "1", "--repeat", str(beyond // WHEEL_STEP + 1), wheel)
            return False

        until("the control in view", in_view)

    def panel_button(self, name, index=0):
        button = self.device.find("push button", name, index)
        self.scroll_to(button)
        button.click()

    def scan_for(self, name):
        self.main.find("radio button", "Observation scan").click()
        self.button("Start scan")
        until(f"the device {name}", lambda: self.devices.all("label", name))

    def connect_to(self, name):
        self.button("Stop scan")
        self.device = self.panel(name)
        self.panel_button("Connect")
        self.device.find("label", "Connected handle:0x0")
        self.device.find("push button", "Disconnect")

    def disconnect(self):
        self.panel_button("Disconnect")
        self.device.find("label", "Disconnected Reason: 0x216")

    def clear_devices(self):
        self.button("Clear devices")
        until("no devices", lambda: not self.devices.all("label"))

    def attribute(self, handle):
        table = self.device.find("table")
        self.scroll_to(table)
        table.select_row(handle)

    def raw(self, handle):
        return dict(self.device.find("table").rows(0, 4)).get(handle)

    def write(self, handle, value, button):
        self.attribute(handle)
        edit = self.device.find("text", "Value to write")
        self.scroll_to(edit)
        edit.fill(value)
        self.panel_button(button)
