"""A desktop as its user has it: windows found by their titles, controls by what they are called, used with real
mouse and keyboard events, and read by what the program tells assistive technologies."""

import re
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib

ANSWER_SECONDS = 20
UPLOAD_SECONDS = 120

Atspi.init()
Atspi.set_timeout(5000, 15000)


class Failure(Exception):
    """Something is not there, or does not show what it should."""


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def until(what, condition, seconds=ANSWER_SECONDS):
    """The first true value that the condition gives; a failure that names `what` if there is none in time."""
    end = time.monotonic() + seconds
    while True:
        try:
            value = condition()
        except (GLib.Error, ValueError) as error:  # a widget that went away while it was asked, a row not there yet
            value = None
            what_else = f" ({error})"
        else:
            what_else = ""
        if value:
            return value
        if time.monotonic() > end:
            raise Failure(f"not seen in {seconds} s: {what}{what_else}")
        time.sleep(0.05)


def press(*keys):
    run("xdotool", "key", "--clearmodifiers", *keys)


def type_text(text):
    run("xdotool", "type", "--delay", "5", "--", text)


def clipboard(target="UTF8_STRING"):
    return run("xclip", "-selection", "clipboard", "-o", "-t", target)


class Node:
    """A window or a control."""

    def __init__(self, accessible):
        self.accessible = accessible

    @property
    def role(self):
        return self.accessible.get_role_name()

    @property
    def name(self):
        return self.accessible.get_name() or ""

    @property
    def text(self):
        """What an edit holds; what anything else is called."""
        texts = self.accessible.get_text_iface()
        return Atspi.Text.get_text(texts, 0, -1) if texts else self.name

    @property
    def box(self):
        area = self.accessible.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        return area.x, area.y, area.width, area.height

    def _is(self, state):
        return self.accessible.get_state_set().contains(state)

    @property
    def showing(self):
        return self._is(Atspi.StateType.SHOWING)

    @property
    def enabled(self):
        return self._is(Atspi.StateType.ENABLED)

    @property
    def checked(self):
        return self._is(Atspi.StateType.CHECKED)

    def _called(self, name):
        """A combo box's own name is its entry; it goes by the label beside it or by its description."""
        if self.role != "combo box":
            return name in (self.name, self.accessible.get_description())
        return name == self.accessible.get_description() or any(
            relation.get_target(0).get_name() == name
            for relation in self.accessible.get_relation_set()
            if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY
        )

    def children(self):
        for index in range(self.accessible.get_child_count()):
            child = self.accessible.get_child_at_index(index)
            if child:
                yield Node(child)

    def walk(self):
        """Everything in it that shows, from top to bottom; a table's cells are left to the table."""
        for child in self.children():
            if child.showing:
                yield child
                if child.role not in ("table", "combo box"):
                    yield from child.walk()

    def all(self, role, name=None):
        return [node for node in self.walk() if node.role == role and (name is None or node._called(name))]

    def find(self, role, name=None, index=0):
        """The control of that role and name; the index counts those that are called alike."""
        return until(f'{role} "{name}" in "{self.name}"', lambda: self.all(role, name)[index:])[0]

    def parent(self, role):
        node = Node(self.accessible.get_parent())
        return node if node.role == role else node.parent(role)

    def click(self, times=1):
        until(f'{self.role} "{self.name}" enabled', lambda: self.enabled)
        x, y, width, height = self.box
        # Check boxes and radio buttons take a click on their text only, which may be shorter than they are.
        run("xdotool", "mousemove", str(x + min(width // 2, 20)), str(y + height // 2), "click", "--repeat", str(times), "1")

    def fill(self, text):
        """Puts the text in place of what the edit or spin box holds."""
        self.click()
        press("ctrl+a")
        type_text(text)

    def choose(self, entry):
        """Chooses an entry of a combo box by its first letters, as one does by keyboard."""
        self.click()
        press("Home")
        type_text(entry)
        press("Return")
        until(f'"{entry}" chosen', lambda: self.name == entry)

    def rows(self, *columns):
        """The texts of a table's cells in these columns, or all, a list a row."""
        table = self.accessible.get_table_iface()
        columns = columns or range(table.get_n_columns())
        cells = [[table.get_accessible_at(row, column) for column in columns] for row in range(table.get_n_rows())]
        return [[(cell.get_name() or "") if cell else "" for cell in row] for row in cells]

    def select_row(self, first_cell):
        """Selects the row whose first cell is that, by keyboard: it may be out of view."""
        row = until(f"a row {first_cell}", lambda: self.rows(0).index([first_cell]) + 1) - 1
        x, y, width, _ = self.box
        header = next(node for node in self.children() if node.role == "table column header").box[3]
        run("xdotool", "mousemove", str(x + min(width // 2, 80)), str(y + header + 8), "click", "1")
        press("ctrl+Home", *["Down"] * row)


class Desktop:
    """All windows of one program."""

    def __init__(self, program):
        self._desktop = Atspi.get_desktop(0)
        self._program = until(f"{program} on the desktop", lambda: self._find_program(program))

    def _find_program(self, name):
        for index in range(self._desktop.get_child_count()):
            found = self._desktop.get_child_at_index(index)
            if found and found.get_name() == name:
                found.set_cache_mask(Atspi.Cache.NONE)
                return Node(found)
        return None

    def windows(self):
        return [node for node in self._program.children() if node.showing]

    def window(self, title):
        """The window that begins with this title."""
        return until(
            f'the window "{title}"',
            lambda: [node for node in self.windows() if node.role != "tool tip" and node.name.startswith(title)],
        )[0]

    def tooltip(self):
        """The text of the tooltip that shows, if one does."""
        return "".join(node.name for node in self.windows() if node.role == "tool tip")


def picture(window, path):
    """What the screen shows where the window is, tooltips and all."""
    x, y, width, height = window.box
    run("import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "+repage", path)


STAMP = re.compile(r"^[0-9]{4}\.[0-9]{2}\.[0-9]{2} [0-9:]{8}\.[0-9]{3} ")


def without_stamps(text):
    """Lines of a copied log, without stamps, blanks at the ends and empty lines."""
    return [STAMP.sub("", line).strip() for line in text.splitlines() if line.strip()]
