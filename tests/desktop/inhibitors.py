"""Session manager and login manager in one, in a process of its own: inhibitors.py FILE. The file holds, as
JSON, why neither may end anything now."""

import json
import os
import pathlib
import sys

from gi.repository import Gio, GLib

PLACES = {"org.gnome.SessionManager": "/org/gnome/SessionManager",
          "org.freedesktop.login1": "/org/freedesktop/login1"}

INTERFACES = """<node>
  <interface name="org.gnome.SessionManager">
    <method name="Inhibit">
      <arg type="s" direction="in"/><arg type="u" direction="in"/>
      <arg type="s" direction="in"/><arg type="u" direction="in"/>
      <arg type="u" direction="out"/>
    </method>
    <method name="Uninhibit"><arg type="u" direction="in"/></method>
  </interface>
  <interface name="org.freedesktop.login1.Manager">
    <method name="Inhibit">
      <arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="h" direction="out"/>
    </method>
  </interface>
</node>"""


class Inhibitors:
    def __init__(self, file):
        self.file = pathlib.Path(file)
        self.reasons = {}
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        for interface, (name, path) in zip(Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces, PLACES.items()):
            self.bus.register_object(path, interface, self.answer, None, None)
            Gio.bus_own_name_on_connection(self.bus, name, Gio.BusNameOwnerFlags.NONE, self.tell, None)

    def tell(self, *_ignored):
        whole = self.file.with_suffix(".new")
        whole.write_text(json.dumps(self.reasons))
        whole.rename(self.file)

    def answer(self, _bus, _sender, _path, interface, method, arguments, call):
        if method == "Uninhibit":
            del self.reasons["session"]
            call.return_value(None)
        elif interface.startswith("org.gnome"):
            self.reasons["session"] = arguments[2]
            call.return_value(GLib.Variant("(u)", [1]))
        else:
            self.reasons["system"] = arguments[2]
            kept, given = os.pipe()
            # Its end is the end of the wish.
            GLib.io_add_watch(kept, GLib.IO_HUP, self.on_closed)
            call.return_value_with_unix_fd_list(GLib.Variant("(h)", [0]), Gio.UnixFDList.new_from_array([given]))
        self.tell()

    def on_closed(self, descriptor, _condition):
        os.close(descriptor)
        del self.reasons["system"]
        self.tell()
        return False


if __name__ == "__main__":
    inhibitors = Inhibitors(sys.argv[1])
    GLib.MainLoop().run()
