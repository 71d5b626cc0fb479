"""What the parts of the scripted portal share: the bus, its interfaces, a word to the test."""
import json

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

PATH = "/org/freedesktop/portal/desktop"
CAST = "org.freedesktop.impl.portal.ScreenCast"
SESSION = "org.freedesktop.impl.portal.Session"
REQUEST = "org.freedesktop.impl.portal.Request"
MONITOR, WINDOW = 1, 2
GRANTED, CANCELLED, FAILED = 0, 1, 2
CALL_LIMIT = 10_000
INTERFACES = Gio.DBusNodeInfo.new_for_xml("""<node>
<interface name="org.freedesktop.impl.portal.ScreenCast">
 <method name="CreateSession"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <method name="SelectSources"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <method name="Start"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <property name="AvailableSourceTypes" type="u" access="read"/>
 <property name="AvailableCursorModes" type="u" access="read"/>
 <property name="version" type="u" access="read"/></interface>
<interface name="org.freedesktop.impl.portal.Session"><method name="Close"/>
 <signal name="Closed"/><property name="version" type="u" access="read"/></interface>
<interface name="org.freedesktop.impl.portal.Request"><method name="Close"/></interface>
<interface name="org.gnome.ScreenSaver"><method name="GetActive"><arg type="b" direction="out"/>
 </method><signal name="ActiveChanged"><arg type="b"/></signal></interface>
</node>""")
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def call(owner, path, interface, method, arguments=None):
    return BUS.call_sync(owner, path, interface, method, arguments, None,
                         Gio.DBusCallFlags.NONE, CALL_LIMIT, None).unpack()


def tell(word, details=None):
    print(word, json.dumps(details), flush=True)
