#!/usr/bin/python3
"""usage: tour.py PICTURE_FOLDER MODULE PROGRAM_FOLDER API_FOLDER USB_TOOL

Starts the simulated module and the program and leads through all of it as a user would. Each step looks at what
the windows show, the log says and the module got, and fails if that is not as it should be. Leaves numbered
pictures; the manual's are made here. Needs a display, a window manager, and a session bus."""

import filecmp
import os
import random
import re
import sys
import time
import traceback

from desktop import UPLOAD_SECONDS, Failure, clipboard, press, run, type_text, until
from stage import Stage

# Handles of attributes of the device "Everything".
NAME, TEXT, COMMANDED, HEART_RATE, HEART_RATE_CONFIGURATION = "3", "34", "37", "20", "21"
IMAGE_SIZE = 16 * 1024
LOAD_ADDRESS = 0x1000  # what is below is not sent over the serial link


class Tour(Stage):
    """The steps, in their order; STEPS lists them."""

    def attach(self):
        self.main.find("label", "Disconnected")
        if self.log():
            raise Failure("the log says something at the start")
        self.picture("started")
        self.main.find("combo box", "Port").choose("Simulated module")
        self.button("Attach")
        self.main.find("label", "Connected")
        self.main.find("push button", "Detach")
        self.picture("attached")

    def type_commands(self):
        line = self.main.find("text", "Command")
        line.fill("attributes_write")
        until("the signature", lambda: "attributes_write handle:uint16 offset:uint8 value:uint8array" in self.desktop.tooltip())
        self.picture("signature")
        line.fill("system_hellx")
        until("the reason", lambda: "Command 'hellx' not found in class 'system'" in self.desktop.tooltip())
        press("Return")
        self.picture("refused")
        press("BackSpace")
        type_text("o")
        press("Return")
        self.logged("RX: 00000001")
        expected = ["TX: 00000001", "Hello", "ble_rsp_system_hello", "RX: 00000001"]
        if self.log() != expected:
            raise Failure(f"the log is {self.log()}, not {expected}")
        self.picture("answered")

    def scan_and_connect(self):
        self.scan_for("Everything")
        until("a dozen devices", lambda: len(self.devices.all("label", "RSSI:")) >= 12)
        self.panel("Everything")
        self.picture("scanning")
        self.connect_to("Everything")
        self.picture("connected")

    def browse(self):
        self.device.find("check box", "GATT").click()
        self.panel_button("Service Discover")
        table = self.device.find("table")
        until("six services", lambda: len(table.rows(0)) == 6)
        self.logged("ble_evt_attclient_procedure_completed")
        self.scroll_to(table)
        self.picture("browsed")

    def read_and_write(self):
        self.panel_button("Descriptors Discover")
        until("48 attributes", lambda: len(self.device.find("table").rows(0)) == 48)
        self.write(HEART_RATE_CONFIGURATION, "0100", "Write")
        until("a notification", lambda: self.raw(HEART_RATE))
        self.write(HEART_RATE_CONFIGURATION, "0000", "Write")
        until("both writes done", lambda: self.wire_count("-> 80 05 04 01 00 00 00 15 00") == 2)
        self.attribute(NAME)
        self.panel_button("Read")
        until("the device's name", lambda: self.raw(NAME) == b"Everything".hex())
        self.write(TEXT, b"hello".hex(), "Write")
        self.sent("-> 80 05 04 01 00 00 00 22 00")
        self.panel_button("Read")
        until("the text written", lambda: self.raw(TEXT) == b"hello".hex())
        self.write(COMMANDED, "0a0b", "Write Command")
        self.panel_button("Read")
        until("the command's value", lambda: self.raw(COMMANDED) == "0a0b")
        self.picture("read-and-written")

    def develop(self):
        self.tool("Vorsel BLE", "ctrl+alt+shift+m")
        tab = self.device.find("page tab", "LL")
        self.scroll_to(tab)
        tab.click()
        self.panel_button("Version")
        self.panel_button("Feature Exchange")
        self.sent("evt connection_version_ind")
        self.sent("evt connection_feature_ind")
        self.picture("development-mode")
        self.disconnect()
        self.clear_devices()

    def persistent_store(self):
        window = self.tool("Persistent Store", "ctrl+p")
        table = window.find("table")
        for key, value in (("8001", "00ff10"), ("8002", "c0ffee")):
            self.button("Add", window)
            until("a new row", lambda: ["0000"] in table.rows(0))
            table.select_row("0000")
            press("Right", "F2")
            type_text(value)
            press("Return")
            table.select_row("0000")
            press("F2")
            type_text(key)
            press("Return")
            table.select_row(key)
            self.button("Write", window)
        self.sent("c0 ff ee")
        self.button("Refresh", window)
        until("both keys", lambda: table.rows() == [["8001", "00ff10"], ["8002", "c0ffee"]])
        self.picture("persistent-store", window)
        table.select_row("8001")
        self.button("Delete", window)
        self.button("Defrag", window)
        self.button("Refresh", window)
        until("one key", lambda: table.rows() == [["8002", "c0ffee"]])
        self.close(window)

    def radio_test(self):
        window = self.tool("Radio Test", "ctrl+r")
        window.find("spin button", "Frequency:").fill("2441")
        self.button("RX Test", window)
        self.sent("<- 00 01 08 01 13")

        def packets_counted():
            self.button("End Test", window)
            if any(int(label.name) > 50 for label in window.all("label") if label.name.isdigit()):
                return True
            self.button("RX Test", window)
            return False

        until("packets received", packets_counted)
        self.picture("radio-test", window)
        self.button("TX Test", window)
        self.sent("-> 00 00 08 00")
        self.button("Reset", window)
        self.sent("-> 00 00 08 03")
        self.close(window)

    def set_address(self):
        window = self.menu("Set Device Address", "Commands", "Set Address")
        window.find("check box", "Use Private Address").click()
        window.find("text", "Device address").fill("c0ffee112233")
        window.find("label", "Static Address")
        self.picture("set-address", window)
        self.close(window)

    def whitelist(self):
        window = self.tool("Whitelist", "ctrl+w")
        window.find("text", "Address:").fill("c055aaffee01")
        self.button("Append", window)
        self.sent("-> 00 02 00 0a 00 00")
        window.find("check box", "Filter Duplicate Scan Responses").click()
        self.button("Set Filtering", window)
        self.sent("<- 00 03 06 06 00 00 01")
        self.picture("whitelist", window)
        self.button("Remove", window)
        self.sent("-> 00 02 00 0b 00 00")
        self.close(window)

    def input_output(self):
        window = self.tool("I/O", "ctrl+i")
        port = window.find("panel", "Port 0")
        port.find("text", "Port 0 direction").fill("f0")
        port.find("text", "Port 0 pull").fill("0")
        port.find("check box", "Port 0 pull up").click()
        self.button("Config port 0", port)
        port.find("text", "Port 0 write").fill("a5")
        self.button("Write port 0", port)
        self.button("Read port 0", port)
        until("the pulled inputs", lambda: port.find("text", "Port 0 read").text == "AF")
        self.control("pins 0 03 0f")
        until("the driven pins", lambda: (self.button("Read port 0", port), port.find("text", "Port 0 read").text == "A3")[1])
        spi = window.find("panel", "SPI")
        self.button("Config SPI", spi)
        spi.find("text", "SPI data to send").fill("00ABcd")
        self.button("Transfer SPI data", spi)
        until("the looped bytes", lambda: spi.find("text", "SPI data received").text == "00abcd")
        adc = window.find("panel", "ADC")
        adc.find("combo box", "ADC input").choose("Temperature sensor")
        self.button("Read ADC", adc)
        until("a conversion", lambda: adc.find("text", "ADC value").text)
        bus = window.find("panel", "I2C")
        bus.find("text", "I2C address (hex)").fill("a0")
        bus.find("text", "I2C data to write").fill("10c0de")
        self.button("Write I2C", bus)
        bus.find("text", "I2C data to write").fill("10")
        self.button("Write I2C", bus)
        bus.find("spin button", "I2C bytes to read").fill("2")
        self.button("Read I2C", bus)
        endpoints = window.find("panel", "Endpoints")
        endpoints.find("text", "Endpoint data to send").fill("hello")
        self.picture("input-output", window)
        self.button("Send to endpoint", endpoints)
        self.sent("<- 00 07 00 09 01 05 68 65 6c 6c 6f")
        self.close(window)
        self.logged("data:c0de")

    def security(self):
        self.scan_for("Door lock")
        self.connect_to("Door lock")
        window = self.tool("Security Manager", "ctrl+s")
        window.find("combo box", "I/O capabilities").choose("KeyboardOnly")
        window.find("check box", "Man-in-the-middle").click()
        window.find("check box", "Bondable").click()
        self.button("Set Parameters", window)
        self.sent("<- 00 03 05 03 01 07 02")
        self.picture("security", window)
        self.panel_button("Encrypt")
        self.sent("evt sm_passkey_request")
        self.button("Passkey Entry", window)
        question = self.desktop.window("MITM Protection")
        question.find("spin button").fill("123456")
        self.picture("passkey", question)
        press("Return")
        self.sent("evt sm_bond_status")
        window.find("check box", "Bondable").click()
        self.close(window)
        self.logged("ble_evt_sm_bond_status")
        self.disconnect()
        self.clear_devices()

    def own_attributes(self):
        window = self.tool("GATT Server", "ctrl+g")
        window.find("spin button", "Handle:").fill("3")
        self.button("Read UUID", window)
        until("the type", lambda: window.find("text", "UUID:").text == "2a00")
        window.find("text", "Hex:").fill(b"Vorsel".hex())
        self.button("Write value", window)
        self.sent("-> 00 02 02 00 00 00")
        window.find("spin button", "Offset:").fill("3")
        self.button("Read value", window)
        until("the value's end", lambda: window.find("text", "Hex:").text.startswith(b"sel".hex()))
        self.picture("gatt-server", window)
        self.close(window)

    def throughput(self):
        self.scan_for("Everything")
        self.connect_to("Everything")
        for name in ("Comm", "Text"):
            self.main.find("check box", name).click()
        window = self.tool("Throughput Test", "ctrl+alt+shift+t")
        window.find("spin button", "Attribute of link 0").fill(COMMANDED)
        window.find("check box", "Link 0 enabled").click()

        def sent():
            found = re.search(r"Sent:(\d+) \(", window.find("label", "Throughput").name)
            return found and int(found[1]) >= 100 * 20

        until("a hundred writes", sent)
        self.picture("throughput", window)
        self.close(window)
        for name in ("Comm", "Text"):
            self.main.find("check box", name).click()
        self.disconnect()
        self.clear_devices()

    def copy_log_and_chart(self):
        self.button("Clear log")
        self.button("Set Mode")
        self.logged("ble_evt_gap_mode_changed")
        if "<b>" not in clipboard("text/html"):
            raise Failure("the copied log has no bold stamps")
        self.main.find("text", "Command").click()
        press("ctrl+shift+f")
        note = "\nnote right of A:\n   "
        for part in (
            f"A -> B: ble_cmd_gap_set_mode\t{note}discover: 2 (0x02)\n   connect: 2 (0x02)\nend note\n",
            f"B -> A: ble_rsp_gap_set_mode\t{note}result:0x0000 ['No Error']\nend note\n",
        ):
            until(f"in the chart: {part}", lambda: part in clipboard())

    def flash(self):
        window = self.menu("Flash", "Tools", "Flash")
        target = self.path("program/read.bin")
        window.find("text", "Target File").fill(os.path.basename(target))
        window.find("text", "Read address 0x").fill("1000")
        window.find("text", "Read size 0x").fill("410")
        self.button("Read", window)
        dump = self.dumped("dump {} 1000 410", 0x410)
        until("the flash read", lambda: os.path.exists(target) and filecmp.cmp(target, dump, shallow=False))
        window.find("text", "Address 0x").fill("1f800")
        self.button("Erase", window)
        self.sent("<- 00 01 01 06 3f")
        self.sent("-> 00 02 01 06 00 00")
        self.picture("flash", window)
        self.close(window)

    def make_image(self):
        self.image = self.path("program/firmware.ota")
        with open(self.image, "wb") as file:
            file.write(random.Random(1).randbytes(IMAGE_SIZE))
        self.hex = self.path("program/firmware.hex")
        run("srec_cat", self.image, "-binary", "-offset", str(LOAD_ADDRESS), "-o", self.hex, "-intel")

    def arrived(self, control):
        """Holds what the module writes to a file at this control line's word against the image."""
        if not filecmp.cmp(self.dumped(control, IMAGE_SIZE), self.image, shallow=False):
            raise Failure("the module has another image")

    def update(self, page):
        window = self.tool("DFU", "alt+d")
        window.find("page tab", page).click()
        return window

    def update_by_uart(self):
        self.make_image()
        window = self.update("UART Bootloader")
        self.button("Boot into DFU mode over UART", window)
        self.sent("evt dfu_boot")
        window.find("text", "UART firmware file").fill(os.path.basename(self.hex))
        self.button("Upload over UART", window)
        until("the end", lambda: self.on_wire("evt system_boot"), UPLOAD_SECONDS)
        until("all loaded", lambda: any(f"Loaded:{IMAGE_SIZE}/{IMAGE_SIZE} (" in n.name for n in window.all("label")))
        self.picture("update-by-uart", window)
        self.close(window)
        self.arrived(f"dump {{}} {LOAD_ADDRESS:x} {IMAGE_SIZE:x}")

    def update_over_the_air(self):
        self.scan_for("Updatable")
        self.connect_to("Updatable")
        self.device.find("check box", "GATT").click()
        self.panel_button("Characteristic Discover")
        self.logged("ble_evt_attclient_procedure_completed")
        window = self.update("Over The Air Update")
        window.find("text", "OTA firmware file").fill(os.path.basename(self.image))
        self.button("Upload over the air", window)
        until("the end", lambda: window.all("label", "OTA Completed"), UPLOAD_SECONDS)
        self.picture("update-over-the-air", window)
        self.close(window)
        self.arrived("dump-ota {}")
        self.disconnect()

    def update_by_usb(self):
        window = self.update("USB Bootloader")
        boots = self.wire_count("evt dfu_boot")
        self.button("Boot into DFU mode over USB", window)
        self.main.find("label", "Disconnected")
        until("the restart", lambda: self.wire_count("evt dfu_boot") > boots)
        window.find("text", "USB firmware file").fill(os.path.basename(self.hex))
        self.button("Upload over USB", window)
        output = window.find("text", "Output of the USB update")
        until("the tool's end", lambda: output.text.rstrip().endswith("Finished"))
        if "2458:FFFE firmware.hex" not in output.text:
            raise Failure(f"the tool was started with other arguments: {output.text}")
        self.picture("update-by-usb", window)
        self.close(window)

    def about(self):
        window = self.menu("About", "Tools", "About")
        window.find("label", "ble-1.10.0-153")
        self.picture("about", window)
        self.close(window)

    def leave(self):
        press("alt+F4")
        until("the program's end", lambda: self.program.poll() is not None)
        if self.program.returncode != 0:
            raise Failure(f"the program ended with {self.program.returncode}")

    STEPS = (
        attach, type_commands, scan_and_connect, browse, read_and_write, develop, persistent_store, radio_test,
        set_address, whitelist, input_output, security, own_attributes, throughput, copy_log_and_chart, flash,
        update_by_uart, update_over_the_air, update_by_usb, about, leave,
    )  # fmt: skip

    def walk(self):
        """Whether all steps showed what they should."""
        for step in self.STEPS:
            start = time.monotonic()
            try:
                step(self)
            except Exception:  # whatever it is, the picture and the logs tell more
                traceback.print_exc()
                run("import", "-window", "root", os.path.join(self.pictures, "failed.png"))
                with open(self.module_log) as log:
                    print("The module's log ends with", *log.readlines()[-30:], sep="\n", file=sys.stderr)
                print(f"tour: FAILED at {step.__name__}", file=sys.stderr)
                return False
            print(f"tour: {step.__name__} ok, {time.monotonic() - start:.1f} s", flush=True)
        return True


if __name__ == "__main__":
    tour = Tour(*map(os.path.abspath, sys.argv[1:]))
    try:
        succeeded = tour.walk()
    finally:
        tour.end()
    sys.exit(not succeeded)
