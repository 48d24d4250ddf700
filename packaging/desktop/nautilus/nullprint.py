"""The two entries of Nautilus' context menu. They ask the application, which the bus starts."""

from gi.repository import Gio, GLib, GObject, Nautilus

NAME = "org.nullprint.Nullprint"
ENTRIES = (
    ("showMetadata", "Show Hidden Metadata (Nullprint)"),
    ("scrubMetadata", "Scrub Metadata (Nullprint)"),
)


def ask(action, uris):
    parameters = GLib.Variant("(sava{sv})", (action, [GLib.Variant("as", uris)], {}))
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    bus.call(
        NAME,
        "/" + NAME.replace(".", "/"),
        "org.freedesktop.Application",
        "ActivateAction",
        parameters,
        None,
        Gio.DBusCallFlags.NONE,
        -1,
    )


class Nullprint(GObject.GObject, Nautilus.MenuProvider):
    # Older versions pass the window before the files.
    def get_file_items(self, *arguments):
        files = arguments[-1]
        uris = [file.get_uri() for file in files]
        if not uris or any(file.is_directory() for file in files):
            return []
        if not all(uri.startswith("file:") for uri in uris):
            return []
        items = []
        for action, label in ENTRIES:
            item = Nautilus.MenuItem(name=f"Nullprint::{action}", label=label, icon=NAME)
            item.connect("activate", lambda _item, action=action: ask(action, uris))
            items.append(item)
        return items
