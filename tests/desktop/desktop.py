"""A desktop of its own for one program: X server, session bus, window manager, compositor and a panel with a
tray, which all end with it. The program's windows are read through the accessibility bus and operated with the
pointer and the keyboard, as their user would."""

import contextlib
import ctypes
import os
import pathlib
import re
import signal
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE = 30  # seconds until a condition counts as never met; nothing waits this long when all is well
POLL = 0.02
LARGEST_ICON = 64

PANEL = """
panel_items = TS
panel_size = 100% 32
panel_margin = 0 0
panel_position = {position}
panel_background_id = 1
strut_policy = follow_size
panel_layer = top
taskbar_mode = single_desktop
systray_padding = 6 4 6
systray_icon_size = 22
rounded = 0
border_width = 0
background_color = {colour} 100
border_color = {colour} 100
"""

BUS = """<busconfig>
  <type>session</type>
  <listen>unix:dir={home}</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{home}/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Failure(Exception):
    """What the user would have seen did not come."""


def wait_for(what, condition, seconds=PATIENCE):
    """The condition's first true value."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise Failure(f"not seen: {what}")
        time.sleep(POLL)


def end_with_parent():
    terminate_with_parent = 1  # PR_SET_PDEATHSIG
    ctypes.CDLL(None).prctl(terminate_with_parent, signal.SIGKILL)


class Desktop:
    """Everything lives in the folder home, and in no other place of the user's."""

    def __init__(self, home, panel="top center horizontal", screen="1280x800x24", compositor=True,
                 panel_colour="#2b3036"):
        self.home = pathlib.Path(home)
        self.children = []
        self.pictures = None
        for folder in ("runtime", "services", "config"):
            (self.home / folder).mkdir(mode=0o700)
        self.environment = {
            **{name: value for name, value in os.environ.items() if name == "PATH" or name.endswith("SAN_OPTIONS")},
            "HOME": str(self.home),
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "XDG_STATE_HOME": str(self.home / "state"),
            "XDG_RUNTIME_DIR": str(self.home / "runtime"),
            "LC_ALL": "C.UTF-8",
            "LANGUAGE": "fr",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
        }
        self.screen = screen
        self.compositor = compositor
        self.panel = panel and PANEL.format(position=panel, colour=panel_colour)
        self.start_bus()
        self.start_screen()

    def start_screen(self):
        read_end, write_end = os.pipe()
        self.x_server = self.start("Xvfb", "-displayfd", str(write_end), "-screen", "0", self.screen, "-nolisten",
                                   "tcp", "-noreset", pass_fds=[write_end])
        os.close(write_end)
        with os.fdopen(read_end) as number:
            self.environment["DISPLAY"] = ":" + number.readline().strip()
        os.environ.update({name: self.environment[name]
                           for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR")})
        self.start("openbox")
        wait_for("a window manager", lambda: self.root_has("_NET_SUPPORTING_WM_CHECK"))
        if self.compositor:
            self.start("picom", "--backend", "xrender", "--config", os.devnull)
        if self.panel:
            file = self.home / "tint2rc"
            file.write_text(self.panel)
            self.start("tint2", "-c", str(file))
            wait_for("a panel", lambda: self.run("xdotool", "search", "--class", "tint2", check=False))

    def start_bus(self):
        service = pathlib.Path("/usr/share/dbus-1/services/org.a11y.Bus.service")
        (self.home / "services" / service.name).write_text(service.read_text())
        config = self.home / "bus.conf"
        config.write_text(BUS.format(home=self.home))
        bus = self.start("dbus-daemon", "--nofork", "--print-address", "--config-file", str(config),
                         stdout=subprocess.PIPE, text=True)
        address = bus.stdout.readline().strip()
        self.environment |= {"DBUS_SESSION_BUS_ADDRESS": address, "DBUS_SYSTEM_BUS_ADDRESS": address}

    def start(self, *command, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        environment = {**self.environment, **options.pop("extra", {})}
        child = subprocess.Popen(command, env=environment, preexec_fn=end_with_parent, **options)
        self.children.append(child)
        return child

    def run(self, *command, check=True):
        return subprocess.run(command, env=self.environment, check=check, capture_output=True, text=True,
                              timeout=PATIENCE).stdout.strip()

    def root_has(self, property_name):
        return "window id" in self.run("xprop", "-root", property_name, check=False)

    def bus_names(self):
        return self.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/",
                        "org.freedesktop.DBus.ListNames", check=False)

    def close(self):
        for child in reversed(self.children):
            child.kill()
            child.wait()

    def picture(self, name):
        if self.pictures:
            self.run("import", "-window", "root", str(self.pictures / f"{name}.png"))

    # The user's hands

    def click(self, x, y, button=1):
        self.run("xdotool", "mousemove", str(x), str(y), "click", str(button))

    def click_on(self, node):
        area = node.get_extents(Atspi.CoordType.SCREEN)
        self.click(area.x + area.width // 2, area.y + area.height // 2)

    def press(self, *keys):
        self.run("xdotool", "key", *keys)

    def type(self, text):
        self.run("xdotool", "type", text)

    def write_into(self, node, text):
        Atspi.EditableText.set_text_contents(node, text)

    # The user's eyes

    def focused(self):
        """The title of the window that the keyboard writes to."""
        return self.run("xdotool", "getactivewindow", "getwindowname", check=False)

    def application(self, name):
        """The accessible tree of the program, once it has one."""
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            if child and child.get_name() == name:
                child.set_cache_mask(Atspi.Cache.NONE)
                return child
        return None

    def seen(self, application, text, role=None):
        """The accessible object on the screen whose name is the text."""
        with contextlib.suppress(GLib.Error):  # a window that goes while it is read
            for node in walk(application):
                if node.get_name() == text and (role is None or node.get_role_name() == role) \
                        and node.get_state_set().contains(Atspi.StateType.SHOWING):
                    return node
        return None

    def focus(self, application):
        """The name of what the keyboard goes to."""
        with contextlib.suppress(GLib.Error):
            for node in walk(application):
                if node.get_state_set().contains(Atspi.StateType.FOCUSED) and node.get_role_name() != "frame":
                    return node.get_name()
        return None

    def lightness_beside(self, node):
        """Of the ground on which the text stands: 0 is black, 1 is white."""
        area = node.get_extents(Atspi.CoordType.SCREEN)
        return float(self.run("import", "-window", "root", "-crop", f"1x1+{area.x - 2}+{area.y}",
                              "-format", "%[fx:lightness]", "info:-"))

    def tray_icon(self, name):
        """The middle of the status item, once a panel holds it."""
        windows = re.findall(rf'^ *\S+ "{name}": .*?(\d+)x(\d+)\S+ +\+(\d+)\+(\d+)$',
                             self.run("xwininfo", "-root", "-tree"), re.MULTILINE)
        for width, height, x, y in (map(int, window) for window in windows):
            if 1 < width <= LARGEST_ICON and (x, y) != (0, 0):  # an icon without a panel lies in the corner
                return x + width // 2, y + height // 2
        return None


def walk(node):
    yield node
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child:
            yield from walk(child)
