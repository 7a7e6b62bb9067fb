#!/usr/bin/python3
"""A conversion as it looks on a desktop, before, during and after: conversion_strip.py BUNDLE PICTURE

A file manager shows a folder with a film, which is renamed while the menu-bar program runs. The three screens are put
into one picture, one below the other."""

import contextlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from desktop import Atspi, Desktop, Failure, wait_for, walk

SCREEN = "880x300x24"
OLD, NEW = "Holiday.mov", "Holiday.webm"
ATTEMPTS = 5
LONG = 300  # seconds
WEBM = b"\x1a\x45\xdf\xa3"

FILE_MANAGER = """[ui]
view_mode=list
show_hidden=0
columns=name:200;desc:160;size:90;
side_pane_mode=hidden;places
max_tab_chars=32
win_width=520
win_height=210
toolbar=hidden;
"""

STYLE = """gtk-icon-theme-name = "Adwaita"
gtk-font-name = "Noto Sans 10"
"""


class Screen:
    def __init__(self, home, bundle):
        self.home = home
        self.bundle = bundle
        self.folder = home / "Videos"
        self.folder.mkdir()
        self.desktop = Desktop(home, screen=SCREEN)
        self.desktop.environment |= {"LC_ALL": "C.UTF-8", "LANGUAGE": "en"}
        self.desktop.pictures = home
        self.make_film()
        self.write_settings()

    def make_film(self):
        """Real pictures and a sound, enough of them that the encoder is busy for a while."""
        subprocess.run([self.bundle / "Contents/Helpers/ffmpeg", "-v", "error",
                        "-f", "lavfi", "-i", "mandelbrot=size=640x360:rate=30", "-f", "lavfi", "-i", "sine=330",
                        "-t", "8", "-pix_fmt", "yuv420p", "-preset", "ultrafast", self.folder / OLD], check=True)
        (self.folder / "Notes.txt").write_text("Cut the first minute.\n")

    def write_settings(self):
        config = self.home / "config"
        for folder in ("quorvalent", "pcmanfm/default"):
            (config / folder).mkdir(parents=True)
        preferences = json.dumps({"keepOriginal": False, "launchAtLogin": False, "folders": [str(self.folder)],
                                  "imageQuality": {}, "audioBitrate": {}, "videoQuality": {}, "ffmpegPath": ""})
        escaped = preferences.replace('"', '\\"')
        (config / "quorvalent/quorvalent.conf").write_text(
            f'[General]\nappearance=light\nloginConfigured=true\npreferences="@ByteArray({escaped})"\n')
        (config / "pcmanfm/default/pcmanfm.conf").write_text(FILE_MANAGER)
        (self.home / ".gtkrc-2.0").write_text(STYLE)

    def open_windows(self):
        self.desktop.run("xsetroot", "-solid", "#8aa39b")
        self.desktop.start("pcmanfm", "--no-desktop", str(self.folder))
        window = wait_for("the file manager", lambda: self.desktop.run(
            "xdotool", "search", "--onlyvisible", "--class", "pcmanfm", check=False)).splitlines()[-1]
        self.desktop.run("xdotool", "windowsize", window, "520", "210", "windowmove", window, "20", "60")
        self.desktop.start(str(self.bundle / "bin/quorvalent"))
        self.application = wait_for("the program", lambda: self.desktop.application("quorvalent"))
        wait_for("the status item", lambda: self.desktop.tray_icon("quorvalent"))

    def banner(self):
        """What the banner says, or nothing."""
        names = (node.get_name() or "" for node in walk(self.application)
                 if node.get_state_set().contains(Atspi.StateType.SHOWING))
        return next((name for name in names if name.startswith(NEW)), "")

    def is_half_way(self):
        percent = re.search(r"(\d+)\D?%", self.banner())
        return percent and 35 <= int(percent[1]) <= 90

    def is_converted(self):
        return (self.folder / NEW).read_bytes().startswith(WEBM) and "%" not in self.banner() and self.banner()

    def convert(self):
        self.desktop.picture("1-before")
        # Nothing outside tells when the program has begun to watch: the name goes to and fro until the banner comes.
        for _ in range(ATTEMPTS):
            os.rename(self.folder / OLD, self.folder / NEW)
            with contextlib.suppress(Failure):
                wait_for("the banner", self.banner, seconds=5)
                break
            os.rename(self.folder / NEW, self.folder / OLD)
        wait_for("half of the conversion", self.is_half_way, seconds=LONG)
        self.desktop.picture("2-during")
        wait_for("the end of the conversion", self.is_converted, seconds=LONG)
        self.desktop.picture("3-after")


def main(bundle, picture):
    with tempfile.TemporaryDirectory(prefix="quorvalent-strip-") as home:
        screen = Screen(pathlib.Path(home), bundle)
        try:
            screen.open_windows()
            screen.convert()
            screens = sorted(str(file) for file in screen.home.glob("?-*.png"))
            subprocess.run(["convert", *screens, "-splice", "0x4", "-append", "-chop", "0x4", picture], check=True)
        except Failure as failure:
            sys.exit(str(failure))
        finally:
            screen.desktop.close()


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
