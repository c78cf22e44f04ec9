#!/usr/bin/python3
"""A desktop portal with only GlobalShortcuts, on the session bus of a test (never the user's).

Plays xdg-desktop-portal's frontend closely enough for a client: the Registry, Request and
Session objects at the handles the caller predicts, the version property, and the signals.
The test steers it through io.tallowfern.FakePortal on /io/tallowfern/FakePortal:
  SetBindResponse(u code, b assign)  how the next BindShortcuts dialogs end (1 = cancelled);
                                     assign false leaves the shortcuts out of a success
  SetOwnHandles(b)                   answer with handles of its own, as portals before 0.9 did,
                                     once the caller listens there
  EmitActivated(o session, s id)     the user pressed a bound key
  CloseSession(o session)            the desktop ends a session
  Calls() -> s                       JSON list of {"method", "sender", "path", "args"} so far
  Sessions() -> as                   sessions open now

Options: --no-global-shortcuts (the portal is there, the interface is not), --version N,
--no-registry (a portal older than the Registry).
"""

import argparse
import json
import os
import re
import sys

import dbus
import dbus.bus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

BUS_NAME = "org.freedesktop.portal.Desktop"
PORTAL_PATH = "/org/freedesktop/portal/desktop"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
REGISTRY = "org.freedesktop.host.portal.Registry"
REQUEST = "org.freedesktop.portal.Request"
SESSION = "org.freedesktop.portal.Session"
PROPERTIES = "org.freedesktop.DBus.Properties"
CONTROL = "io.tallowfern.FakePortal"


def plain(value):
    """D-Bus values as JSON-friendly Python values."""
    if isinstance(value, dbus.Dictionary) or isinstance(value, dict):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, (dbus.Array, dbus.Struct, list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (dbus.String, dbus.ObjectPath, dbus.Signature)):
        return str(value)
    if isinstance(value, (dbus.Byte, dbus.Int16, dbus.UInt16, dbus.Int32, dbus.UInt32,
                          dbus.Int64, dbus.UInt64)):
        return int(value)
    if isinstance(value, dbus.Double):
        return float(value)
    return value


def sender_part(sender):
    return sender[1:].replace(".", "_")


def unknown_method(name):
    return dbus.exceptions.DBusException(
        "No such method " + name, name="org.freedesktop.DBus.Error.UnknownMethod")


def failed(message):
    return dbus.exceptions.DBusException(message, name="org.freedesktop.portal.Error.Failed")


def trigger_description(trigger):
    """"ALT+n" -> "Alt+N", as a desktop would show it."""
    return "+".join(p.capitalize() if len(p) > 1 else p.upper() for p in trigger.split("+"))


class Request(dbus.service.Object):
    def __init__(self, portal, path):
        super().__init__(portal.connection, path)
        self.portal = portal
        self.path = path

    @dbus.service.method(REQUEST, in_signature="", out_signature="", sender_keyword="sender")
    def Close(self, sender=None):
        self.portal.record("Request.Close", sender, [], self.path)
        self.done()

    @dbus.service.signal(REQUEST, signature="ua{sv}")
    def Response(self, code, results):
        pass

    def answer(self, code, results):
        # After the method's reply, as the real portal answers from its dialog.
        def emit():
            if self.path in self.portal.requests:
                self.Response(dbus.UInt32(code), dbus.Dictionary(results, signature="sv"))
                self.done()
            return False
        if self.portal.own_handles:
            # The caller learns this handle from the reply; a user answers the dialog long after
            # it listens there.
            self.portal.when_listened(self.path, emit)
        else:
            GLib.idle_add(emit)

    def done(self):
        if self.portal.requests.pop(self.path, None) is not None:
            self.remove_from_connection()


class Session(dbus.service.Object):
    def __init__(self, portal, path):
        super().__init__(portal.connection, path)
        self.portal = portal
        self.path = path
        self.bound = False

    @dbus.service.method(SESSION, in_signature="", out_signature="", sender_keyword="sender")
    def Close(self, sender=None):
        self.portal.record("Session.Close", sender, [], self.path)
        self.done()

    @dbus.service.signal(SESSION, signature="a{sv}")
    def Closed(self, details):
        pass

    def done(self):
        if self.portal.sessions.pop(self.path, None) is not None:
            self.remove_from_connection()


class MatchMonitor:
    """Sees the match rules that clients add, through a monitoring connection."""

    def __init__(self):
        self.listened = set()
        self.waiting = {}
        self.connection = dbus.bus.BusConnection(os.environ["DBUS_SESSION_BUS_ADDRESS"])
        self.connection.add_message_filter(self.filter)
        self.connection.call_blocking(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
            "BecomeMonitor", "asu",
            (["type='method_call',interface='org.freedesktop.DBus',member='AddMatch'"], 0))

    def filter(self, connection, message):
        if message.get_member() == "AddMatch":
            found = re.search(r"path='([^']*)'", str(message.get_args_list()[0]))
            if found:
                self.listened.add(found.group(1))
                for callback in self.waiting.pop(found.group(1), []):
                    GLib.idle_add(callback)
        # Otherwise libdbus answers the call, and a monitor that sends is cut off.
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    def when_listened(self, path, callback):
        if path in self.listened:
            GLib.idle_add(callback)
        else:
            self.waiting.setdefault(path, []).append(callback)


class Portal(dbus.service.Object):
    def __init__(self, bus, options):
        super().__init__(bus, PORTAL_PATH)
        self.bus = bus
        self.options = options
        self.calls = []
        self.requests = {}
        self.sessions = {}
        self.registered = set()
        self.called = set()
        self.bind_code = 0
        self.bind_assigns = True
        self.own_handles = False
        self.handle_count = 0
        self.monitor = None

    def when_listened(self, path, callback):
        if self.monitor is None:
            self.monitor = MatchMonitor()
        self.monitor.when_listened(path, callback)

    def record(self, method, sender, args, path=PORTAL_PATH):
        self.calls.append({"method": method, "sender": str(sender), "path": path,
                           "args": plain(args)})

    def require_shortcuts(self, method):
        if self.options.no_global_shortcuts:
            raise unknown_method(method)

    def new_request(self, sender, options):
        self.called.add(sender)
        token = str(options.get("handle_token", ""))
        if self.own_handles or not token:
            self.handle_count += 1
            token = "portal%d" % self.handle_count
        path = "%s/request/%s/%s" % (PORTAL_PATH, sender_part(sender), token)
        request = Request(self, path)
        self.requests[path] = request
        return request

    # org.freedesktop.host.portal.Registry

    @dbus.service.method(REGISTRY, in_signature="sa{sv}", out_signature="",
                         sender_keyword="sender")
    def Register(self, app_id, options, sender=None):
        if self.options.no_registry:
            raise unknown_method("Register")
        self.record("Register", sender, [app_id, options])
        if sender in self.registered:
            raise failed("Connection already associated with an application ID")
        if sender in self.called:
            raise failed("Connection already used a portal")
        self.registered.add(sender)

    # org.freedesktop.portal.GlobalShortcuts

    @dbus.service.method(SHORTCUTS, in_signature="a{sv}", out_signature="o",
                         sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        self.require_shortcuts("CreateSession")
        self.record("CreateSession", sender, [options])
        request = self.new_request(sender, options)
        token = str(options.get("session_handle_token", "session"))
        path = "%s/session/%s/%s" % (PORTAL_PATH, sender_part(sender), token)
        self.sessions[path] = Session(self, path)
        request.answer(0, {"session_handle": dbus.String(path)})
        return dbus.ObjectPath(request.path)

    @dbus.service.method(SHORTCUTS, in_signature="oa(sa{sv})sa{sv}", out_signature="o",
                         sender_keyword="sender")
    def BindShortcuts(self, session_handle, shortcuts, parent_window, options, sender=None):
        self.require_shortcuts("BindShortcuts")
        self.record("BindShortcuts", sender, [session_handle, shortcuts, parent_window, options])
        session = self.sessions.get(str(session_handle))
        if session is None:
            raise failed("Invalid session")
        if session.bound:
            raise failed("An application can only bind shortcuts of a session once")
        session.bound = True
        request = self.new_request(sender, options)
        results = {}
        if self.bind_code == 0 and self.bind_assigns:
            bound = []
            for shortcut_id, properties in shortcuts:
                trigger = str(properties.get("preferred_trigger", "CTRL+ALT+F12"))
                bound.append(dbus.Struct(
                    (shortcut_id, dbus.Dictionary({
                        "description": properties.get("description", ""),
                        "trigger_description": trigger_description(trigger),
                    }, signature="sv")), signature="sa{sv}"))
            results["shortcuts"] = dbus.Array(bound, signature="(sa{sv})")
        request.answer(self.bind_code, results)
        return dbus.ObjectPath(request.path)

    @dbus.service.method(SHORTCUTS, in_signature="oa{sv}", out_signature="o",
                         sender_keyword="sender")
    def ListShortcuts(self, session_handle, options, sender=None):
        self.require_shortcuts("ListShortcuts")
        self.record("ListShortcuts", sender, [session_handle, options])
        request = self.new_request(sender, options)
        request.answer(0, {"shortcuts": dbus.Array([], signature="(sa{sv})")})
        return dbus.ObjectPath(request.path)

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Activated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Deactivated(self, session_handle, shortcut_id, timestamp, options):
        pass

    # org.freedesktop.DBus.Properties

    def properties(self, interface):
        if interface == SHORTCUTS and not self.options.no_global_shortcuts:
            return {"version": dbus.UInt32(self.options.version)}
        if interface == REGISTRY and not self.options.no_registry:
            return {"version": dbus.UInt32(1)}
        raise dbus.exceptions.DBusException(
            "No such interface " + interface, name="org.freedesktop.DBus.Error.InvalidArgs")

    @dbus.service.method(PROPERTIES, in_signature="ss", out_signature="v",
                         sender_keyword="sender")
    def Get(self, interface, name, sender=None):
        self.record("Get", sender, [interface, name])
        values = self.properties(str(interface))
        if name not in values:
            raise dbus.exceptions.DBusException(
                "No such property " + name, name="org.freedesktop.DBus.Error.InvalidArgs")
        return values[name]

    @dbus.service.method(PROPERTIES, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return dbus.Dictionary(self.properties(str(interface)), signature="sv")


class Control(dbus.service.Object):
    def __init__(self, bus, portal):
        super().__init__(bus, "/io/tallowfern/FakePortal")
        self.portal = portal

    @dbus.service.method(CONTROL, in_signature="ub", out_signature="")
    def SetBindResponse(self, code, assign):
        self.portal.bind_code = int(code)
        self.portal.bind_assigns = bool(assign)

    @dbus.service.method(CONTROL, in_signature="b", out_signature="")
    def SetOwnHandles(self, own):
        self.portal.own_handles = bool(own)

    @dbus.service.method(CONTROL, in_signature="os", out_signature="")
    def EmitActivated(self, session, shortcut_id):
        no_options = dbus.Dictionary({}, signature="sv")
        self.portal.Activated(session, shortcut_id, dbus.UInt64(1000), no_options)
        self.portal.Deactivated(session, shortcut_id, dbus.UInt64(1100), no_options)

    @dbus.service.method(CONTROL, in_signature="o", out_signature="")
    def CloseSession(self, path):
        session = self.portal.sessions.get(str(path))
        if session is None:
            raise failed("No such session")
        session.Closed(dbus.Dictionary({}, signature="sv"))
        session.done()

    @dbus.service.method(CONTROL, in_signature="", out_signature="s")
    def Calls(self):
        return json.dumps(self.portal.calls)

    @dbus.service.method(CONTROL, in_signature="", out_signature="as")
    def Sessions(self):
        return dbus.Array(sorted(self.portal.sessions), signature="s")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--no-global-shortcuts", action="store_true")
    parser.add_argument("--no-registry", action="store_true")
    parser.add_argument("--version", type=int, default=1)
    options = parser.parse_args()

    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    portal = Portal(bus, options)
    control = Control(bus, portal)
    # The name last: whoever sees it finds every object in place.
    name = dbus.service.BusName(BUS_NAME, bus, do_not_queue=True)
    loop = GLib.MainLoop()
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, 15, loop.quit)
    loop.run()
    del name, control


if __name__ == "__main__":
    sys.exit(main())
