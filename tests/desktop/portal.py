"""The settings of a desktop portal, in a process of their own. Each line of the standard input changes one:
GROUP KEY VALUE, the value as GVariant text."""

import sys

from gi.repository import Gio, GLib

PATH = "/org/freedesktop/portal/desktop"
SETTINGS = """<node><interface name="org.freedesktop.portal.Settings">
  <method name="Read">
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/>
  </method>
  <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface></node>"""


class Portal:
    def __init__(self):
        self.values = {}
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.interface = Gio.DBusNodeInfo.new_for_xml(SETTINGS).interfaces[0]
        self.bus.register_object(PATH, self.interface, self.answer, None, None)
        Gio.bus_own_name_on_connection(self.bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE,
                                       None, None)
        GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, self.change)

    def answer(self, _bus, _sender, _path, _interface, _method, arguments, call):
        value = self.values.get(arguments.unpack())
        if value is None:
            call.return_dbus_error("org.freedesktop.portal.Error.NotFound", "no such setting")
        else:
            call.return_value(GLib.Variant("(v)", [GLib.Variant("v", value)]))

    def change(self, _descriptor, _condition):
        line = sys.stdin.readline()
        if not line:
            return False
        group, key, text = line.split(maxsplit=2)
        value = self.values[group, key] = GLib.Variant.parse(None, text.strip(), None, None)
        self.bus.emit_signal(None, PATH, self.interface.name, "SettingChanged",
                             GLib.Variant("(ssv)", [group, key, value]))
        return True


if __name__ == "__main__":
    portal = Portal()
    GLib.MainLoop().run()
