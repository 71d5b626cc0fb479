"""What each desktop tells of a stream."""
from portal_bus import MONITOR, WINDOW, GLib


# These tell no place. The portal of wlroots calls its monitors windows and offers none; Hyprland's has
# some, here as large as the monitors.
AT_ORIGIN = ("wlr07", "hyprland")


def facts_of(dialect, index, part, position, size):
    kind = WINDOW if part["kind"] == "window" or dialect in AT_ORIGIN else MONITOR
    facts = {"source_type": GLib.Variant("u", kind), "size": GLib.Variant("(ii)", size)}
    if dialect != "kde527":
        told = (0, 0) if dialect in AT_ORIGIN else position
        facts["position"] = GLib.Variant("(ii)", told)
    if dialect in ("gnome43", "gnome45", "full"):
        facts["id"] = GLib.Variant("s", str(index))
    if dialect == "gnome45":
        region = f"00000000-0000-4000-8000-{index:012}"
        facts["mapping_id"] = GLib.Variant("s", region)
    if dialect == "full" and part["kind"] == "monitor":
        facts["mapping_id"] = GLib.Variant("s", part["connector"])
    return facts


def types_of(dialect):
    """What a portal offers: monitors, windows and monitors made for the purpose."""
    return MONITOR if dialect == "wlr07" else 7


def version_of(dialect):
    """Of the portal's interface."""
    return 5 if dialect == "gnome45" else 4
