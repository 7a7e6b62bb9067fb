#!/usr/bin/python3
"""The menu-bar program as its user meets it: desktop_test.py BUNDLE PICTURES

Adds a folder, renames real files, reads menu, banner and warning, changes the language, quits. A picture of the
screen at each step is left in the folder PICTURES."""

import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from desktop import Atspi, Desktop, Failure, PATIENCE, wait_for

PNG = b"\x89PNG"
WEBP = b"RIFF"
REFUSAL = ("Le format de destination .pdf n’est pas pris en charge. Nom d’origine rétabli : « {name} ». "
           "Le contenu n’a pas été modifié.")
INTERRUPTION = "La conversion de « {name} » a été interrompue. Original intact : {original}"

ATTEMPTS = 10

# What Tab comes to in a section of the settings, by the names that a screen reader tells.
WALK = {
    "Photos": ("Qualité JPG", "Qualité JPEG", "Qualité HEIC", "Qualité HEIF", "Qualité WEBP"),
    "Général": ("Système", "Système", "Conserver une copie originale", "Effacer", "30 minutes",
                "Ouvrir à l’ouverture de session", "Consulter l’aide", "À propos de"),
    "À propos de": ("Consulter l’aide", "MIT", "FFmpeg · GPLv3"),
}

# Lets a conversion take as long as the test looks at it. Engines are started ahead: the first byte that comes in
# is a conversion's.
HELPER = """#!/bin/sh
dd bs=1 count=1 of="{home}/first.$$" 2>/dev/null
echo $$ > "{home}/started"
while [ ! -e "{home}/go on" ]; do sleep 0.02; done
cat "{home}/first.$$" - | "{engine}" "$@"
"""


class Session:
    def __init__(self, home, bundle, pictures):
        self.home = home
        self.bundle = home / "quorvalent"
        shutil.copytree(bundle, self.bundle, symlinks=True)
        helpers = self.bundle / "Contents/Helpers"
        self.ffmpeg = helpers / "ffmpeg"
        helper = helpers / "quorvalent-image-engine"
        helper.rename(helpers / "engine")
        helper.write_text(HELPER.format(home=home, engine=helpers / "engine"))
        helper.chmod(0o755)
        (self.bundle / "Contents/Resources/Libraries-LICENSE.txt").unlink()
        self.folder = home / "Bilder été"
        self.folder.mkdir()
        self.make_pictures()
        self.desktop = Desktop(home)
        self.desktop.pictures = pictures
        self.portal = self.desktop.start(sys.executable, str(pathlib.Path(__file__).with_name("portal.py")),
                                         stdin=subprocess.PIPE, text=True)
        wait_for("the portal", lambda: "org.freedesktop.portal.Desktop" in self.desktop.bus_names())
        # Asked by the accessibility bus too, which this process waits for: it cannot be this process.
        self.desktop.start(sys.executable, str(pathlib.Path(__file__).with_name("inhibitors.py")),
                           str(home / "inhibitors"))
        wait_for("a session manager", lambda: self.inhibitors() == {})
        self.program = None
        self.application = None
        self.photo = None

    def make_pictures(self):
        subprocess.run([self.ffmpeg, "-v", "error", "-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v",
                        str(ATTEMPTS), self.folder / "photo%d.png"], check=True)

    def rename_until(self, extension, is_noticed):
        """Renames one picture after the other: nothing outside tells when the program has begun to watch."""
        for photo in sorted(self.folder.glob("*.png")):
            os.rename(photo, photo.with_suffix(extension))
            with contextlib.suppress(Failure):
                wait_for("a noticed rename", is_noticed, seconds=3)
                return photo.with_suffix(extension).name
        raise Failure("no rename is noticed")

    def sees(self, text, role=None):
        return wait_for(f"“{text}”", lambda: self.desktop.seen(self.application, text, role))

    def sees_no(self, text):
        wait_for(f"the end of “{text}”", lambda: not self.desktop.seen(self.application, text))

    def begins_with(self, name, magic):
        file = self.folder / name
        return file.exists() and file.read_bytes().startswith(magic)

    def is_enabled(self, text):
        return self.sees(text, "push button").get_state_set().contains(Atspi.StateType.ENABLED)

    def inhibitors(self):
        file = self.home / "inhibitors"
        return json.loads(file.read_text()) if file.exists() else None

    def open_menu(self):
        # Panels move their items for a while after one has come: the press may meet the place it has left.
        for _ in range(3):
            self.desktop.click(*wait_for("the status item", lambda: self.desktop.tray_icon("quorvalent")))
            with contextlib.suppress(Failure):
                wait_for("the menu", lambda: self.desktop.seen(self.application, "Quorvalent", "dialog"), seconds=8)
                return
        raise Failure("the status item opens no menu")

    # The steps, in their order

    def start(self, *arguments):
        self.program = self.desktop.start(str(self.bundle / "bin/quorvalent"), *arguments, stderr=None)
        self.application = wait_for("the program", lambda: self.desktop.application("quorvalent"))

    def add_folder(self):
        self.desktop.click_on(self.sees("Dossiers", "radio button"))
        self.desktop.click_on(self.sees("Choisir un dossier…", "push button"))
        self.desktop.write_into(self.sees("Dossier :", "text"), str(self.folder))
        self.desktop.picture("folder-dialog")
        self.desktop.click_on(self.sees("Ajouter", "push button"))
        self.sees(self.folder.name, "label")
        self.desktop.picture("folder-added")
        wait_for("the window's focus", lambda: self.desktop.focused() == "Quorvalent")
        self.desktop.press("ctrl+w")
        self.sees_no(self.folder.name)

    def read_menu(self):
        self.open_menu()
        self.sees("À l’écoute des changements d’extension", "label")
        self.desktop.picture("menu")
        self.desktop.press("Escape")
        self.sees_no("À l’écoute des changements d’extension")

    def convert(self):
        self.photo = self.rename_until(".webp", (self.home / "started").exists)
        self.sees(f"{self.photo}, En cours")
        self.desktop.picture("banner")
        self.open_menu()
        self.sees("Conversion en cours", "label")
        self.desktop.picture("menu-converting")
        if self.is_enabled("Quitter"):
            raise Failure("“Quitter” can be pressed during a conversion")
        if not self.begins_with(self.photo, PNG):
            raise Failure("the file has changed before its conversion was over")
        wait_for("the wish to stay", lambda: self.inhibitors() == {
            "session": "Des conversions ne sont pas terminées.",
            "system": "Des conversions ne sont pas terminées."})
        (self.home / "go on").touch()
        wait_for("the result", lambda: self.begins_with(self.photo, WEBP))
        self.sees(f"{self.photo} · Conversion terminée", "label")
        wait_for("the end of the wish to stay", lambda: self.inhibitors() == {})
        self.desktop.picture("menu-converted")
        self.desktop.press("Escape")

    def refuse(self):
        os.rename(self.folder / self.photo, (self.folder / self.photo).with_suffix(".pdf"))
        self.sees("Format non pris en charge", "label")
        refusal = REFUSAL.format(name=self.photo)
        self.sees(refusal, "label")
        self.desktop.picture("warning")
        wait_for("the old name", lambda: self.begins_with(self.photo, WEBP))
        self.desktop.click_on(self.sees("Détails", "push button"))
        self.sees("Les 30 dernières conversions de cette session.", "label")
        self.sees_no("Détails")
        self.sees(refusal, "label")
        self.desktop.picture("activity")

    def walk_by_keyboard(self):
        """Everything in the window that can be pressed is reached by Tab, in the order in which it is read."""
        for section, stops in WALK.items():
            self.desktop.click_on(self.sees(section, "radio button"))
            wait_for(f"the focus on {section}", lambda: self.desktop.focus(self.application) == section)
            for stop in (*stops, section):
                before = self.desktop.focus(self.application)
                self.desktop.press("Tab")
                wait_for(f"the focus on “{stop}” after “{before}”, in {section}",
                         lambda: self.desktop.focus(self.application) == stop)
            self.desktop.picture(f"keyboard-{section}")

    def follow_the_session(self):
        place = self.sees("Les 30 dernières conversions de cette session.", "label")
        for name, scheme, is_expected in (("dark", 1, lambda light: light < 0.3),
                                          ("light", 2, lambda light: light > 0.7)):
            print("org.freedesktop.appearance color-scheme uint32", scheme, file=self.portal.stdin, flush=True)
            wait_for(f"a {name} window", lambda: is_expected(self.desktop.lightness_beside(place)))
            self.desktop.picture(f"activity-{name}")

    def read_about(self):
        self.desktop.click_on(self.sees("À propos de", "radio button"))
        self.sees("MIT", "push button")
        self.sees("FFmpeg · GPLv3", "push button")
        # What the bundle does not hold is not offered.
        for absent in ("Bibliothèques", "Site web", "Nous écrire"):
            self.sees_no(absent)
        self.desktop.picture("about")

    def outlive_the_screen(self):
        for mark in ("started", "go on"):
            (self.home / mark).unlink()
        photo = self.rename_until(".jpg", (self.home / "started").exists)
        helper = pathlib.Path("/proc", (self.home / "started").read_text().strip(), "cmdline")
        self.desktop.x_server.kill()
        if self.program.wait(timeout=PATIENCE) == 0:
            raise Failure("the program calls it a success that its screen was taken away")
        wait_for("the end of the helper", lambda: not helper.exists() or not helper.read_bytes())
        self.desktop.start_screen()
        (self.home / "go on").touch()
        self.start("--settings")
        original = photo.replace(".jpg", ".png")
        wait_for("the old name", lambda: self.begins_with(original, PNG))
        self.desktop.click_on(self.sees("Dossiers", "radio button"))
        self.sees(INTERRUPTION.format(name=photo, original=self.folder / original), "label")
        self.desktop.picture("interrupted")
        left = [path.name for path in self.folder.iterdir() if path.name.startswith(".") or path.name == photo]
        if left:
            raise Failure(f"left behind: {left}")

    def change_language(self):
        self.desktop.click_on(self.sees("Général", "radio button"))
        self.desktop.click_on(self.sees("Système", "combo box"))
        self.desktop.type("Deutsch")
        self.desktop.press("Return")
        self.sees("Sprache", "label")
        self.sees("Allgemein", "radio button")
        self.sees_no("Langue")
        self.desktop.picture("german")

    def quit(self):
        self.open_menu()
        self.desktop.click_on(self.sees("Beenden", "push button"))
        if self.program.wait(timeout=PATIENCE) != 0:
            raise Failure(f"the program ended with {self.program.returncode}")


def main(bundle, pictures):
    pictures.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="quorvalent-desktop-") as home:
        session = Session(pathlib.Path(home), bundle, pictures)
        try:
            for step in (session.start, session.add_folder, session.read_menu, session.convert, session.refuse,
                         session.follow_the_session, session.walk_by_keyboard, session.read_about, session.outlive_the_screen,
                         session.change_language, session.quit):
                step()
        except Failure as failure:
            session.desktop.picture("failed")
            sys.exit(f"{step.__name__}: {failure}")
        finally:
            session.desktop.close()


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
