"""A file manager that notes what it is asked to show: file_manager.py <file for the notes>."""
import sys

from gi.repository import Gio, GLib

NAME = "org.freedesktop.FileManager1"
INTERFACE = f"""<node><interface name="{NAME}"><method name="ShowItems">
<arg type="as" direction="in"/><arg type="s" direction="in"/></method></interface></node>"""


def called(_connection, _sender, _path, _interface, _method, parameters, invocation):
    with open(sys.argv[1], "a", encoding="utf-8") as notes:
        notes.write(" ".join(parameters.unpack()[0]) + "\n")
    invocation.return_value(None)


def on_bus(connection, _name):
    interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
    connection.register_object("/org/freedesktop/FileManager1", interface, called, None, None)


Gio.bus_own_name(Gio.BusType.SESSION, NAME, Gio.BusNameOwnerFlags.NONE, on_bus, None, None)
GLib.MainLoop().run()
