#!/usr/bin/env python3
"""A stand-in for KDE's global shortcut service on a private test bus.

It owns org.kde.kglobalaccel with the method and signal signatures of kglobalaccel5 (KF5 5.103),
keeps shortcuts the way that service does (a key another action holds comes back as 0), and
records every call. Tests drive it through io.tallowfern.test.FakeKGlobalAccel, an interface
of its own beside org.kde.KGlobalAccel on /kglobalaccel.

--plasma6 leaves out the int-list calls that Plasma 6's service may no longer offer.
"""

import argparse
import json
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

SERVICE = "org.kde.kglobalaccel"
IFACE = "org.kde.KGlobalAccel"
COMPONENT_IFACE = "org.kde.kglobalaccel.Component"
TEST_IFACE = "io.tallowfern.test.FakeKGlobalAccel"

SET_PRESENT = 2
NO_AUTOLOADING = 4
IS_DEFAULT = 8


def component_path(unique):
    return "/component/" + "".join(c if c.isascii() and c.isalnum() else "_" for c in unique)


def sequences(keys):
    return dbus.Array([dbus.Struct((dbus.Array([k, 0, 0, 0], signature="i"),), signature="ai")
                       for k in keys], signature="(ai)")


def first_keys(seqs):
    return [int(s[0][0]) if len(s[0]) else 0 for s in seqs]


class Action:
    def __init__(self, action_id):
        self.friendly = str(action_id[3])
        self.keys = []
        self.default_keys = []
        self.present = False
        self.fresh = True


class Component(dbus.service.Object):
    def __init__(self, bus, unique, friendly):
        self.unique = unique
        self.friendly = friendly
        self.path = component_path(unique)
        super().__init__(bus, self.path)

    @dbus.service.signal(COMPONENT_IFACE, signature="ssx")
    def globalShortcutPressed(self, componentUnique, shortcutUnique, timestamp):
        pass

    @dbus.service.signal(COMPONENT_IFACE, signature="ssx")
    def globalShortcutReleased(self, componentUnique, shortcutUnique, timestamp):
        pass

    @dbus.service.method(COMPONENT_IFACE, in_signature="", out_signature="b")
    def cleanUp(self):
        return False

    @dbus.service.method(COMPONENT_IFACE, in_signature="", out_signature="b")
    def isActive(self):
        return any(a.present for (c, _), a in FAKE.actions.items() if c == self.unique)

    @dbus.service.method(COMPONENT_IFACE, in_signature="", out_signature="as")
    def getShortcutContexts(self):
        return ["default"]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return {"friendlyName": self.friendly, "uniqueName": self.unique}[name]


class KGlobalAccel(dbus.service.Object):
    def __init__(self, bus, plasma6):
        super().__init__(bus, "/kglobalaccel")
        self.bus = bus
        self.plasma6 = plasma6
        self.actions = {}
        self.components = {}
        self.taken = set()
        self.calls = []

    def record(self, method, *args):
        self.calls.append([method] + [json.loads(json.dumps(a)) for a in args])

    def find(self, action_id):
        if len(action_id) != 4:
            return None
        return self.actions.get((str(action_id[0]), str(action_id[1])))

    def holder(self, key, me):
        if key in self.taken:
            return True
        return any(key in a.keys for k, a in self.actions.items() if a is not me)

    def set_keys(self, action_id, keys, flags):
        action = self.find(action_id)
        if action is None:
            return []
        if flags & IS_DEFAULT:
            action.default_keys = list(keys)
            return list(keys)
        if not flags & NO_AUTOLOADING and not action.fresh:
            if flags & SET_PRESENT:
                action.present = True
            return action.keys
        action.keys = [k if k and not self.holder(k, action) else 0 for k in keys]
        action.fresh = False
        if flags & SET_PRESENT:
            action.present = True
        return action.keys

    # org.kde.KGlobalAccel, as kglobalaccel5 introspects.

    @dbus.service.signal(IFACE, signature="asai")
    def yourShortcutGotChanged(self, actionId, newKeys):
        pass

    @dbus.service.signal(IFACE, signature="asa(ai)")
    def yourShortcutsChanged(self, actionId, newKeys):
        pass

    @dbus.service.method(IFACE, in_signature="", out_signature="ao")
    def allComponents(self):
        self.record("allComponents")
        return [dbus.ObjectPath(c.path) for c in self.components.values()]

    @dbus.service.method(IFACE, in_signature="", out_signature="aas")
    def allMainComponents(self):
        self.record("allMainComponents")
        return [[c.unique, "", c.friendly, ""] for c in self.components.values()]

    @dbus.service.method(IFACE, in_signature="as", out_signature="aas")
    def allActionsForComponent(self, actionId):
        self.record("allActionsForComponent", actionId)
        return [[c, a, self.components[c].friendly, act.friendly]
                for (c, a), act in self.actions.items() if c == actionId[0]]

    @dbus.service.method(IFACE, in_signature="(ai)", out_signature="as")
    def actionList(self, key):
        self.record("actionList", key)
        return []

    @dbus.service.method(IFACE, in_signature="as", out_signature="a(ai)")
    def shortcutKeys(self, actionId):
        self.record("shortcutKeys", actionId)
        action = self.find(actionId)
        return sequences(action.keys if action else [])

    @dbus.service.method(IFACE, in_signature="as", out_signature="a(ai)")
    def defaultShortcutKeys(self, actionId):
        self.record("defaultShortcutKeys", actionId)
        action = self.find(actionId)
        return sequences(action.default_keys if action else [])

    @dbus.service.method(IFACE, in_signature="s", out_signature="o")
    def getComponent(self, componentUnique):
        self.record("getComponent", componentUnique)
        if componentUnique not in self.components:
            raise dbus.DBusException("The component '%s' doesn't exist." % componentUnique,
                                     name="org.kde.kglobalaccel.NoSuchComponent")
        return dbus.ObjectPath(self.components[componentUnique].path)

    @dbus.service.method(IFACE, in_signature="asa(ai)u", out_signature="a(ai)")
    def setShortcutKeys(self, actionId, keys, flags):
        self.record("setShortcutKeys", actionId, first_keys(keys), flags)
        return sequences(self.set_keys(actionId, first_keys(keys), flags))

    @dbus.service.method(IFACE, in_signature="asa(ai)", out_signature="")
    def setForeignShortcutKeys(self, actionId, keys):
        self.record("setForeignShortcutKeys", actionId, first_keys(keys))
        self.change(actionId, first_keys(keys), True)

    @dbus.service.method(IFACE, in_signature="as", out_signature="")
    def setInactive(self, actionId):
        self.record("setInactive", actionId)
        action = self.find(actionId)
        if action:
            action.present = False

    @dbus.service.method(IFACE, in_signature="as", out_signature="")
    def doRegister(self, actionId):
        self.record("doRegister", actionId)
        if len(actionId) < 4:
            return
        unique, name = str(actionId[0]), str(actionId[1])
        if unique not in self.components:
            self.components[unique] = Component(self.bus, unique, str(actionId[2]))
        if (unique, name) not in self.actions:
            self.actions[(unique, name)] = Action(actionId)

    @dbus.service.method(IFACE, in_signature="as", out_signature="")
    def unRegister(self, actionId):
        self.record("unRegister", actionId)
        self.actions.pop((str(actionId[0]), str(actionId[1])), None)

    @dbus.service.method(IFACE, in_signature="ss", out_signature="")
    def activateGlobalShortcutContext(self, component, context):
        self.record("activateGlobalShortcutContext", component, context)

    @dbus.service.method(IFACE, in_signature="(ai)(i)", out_signature="a(ssssssaiai)")
    def globalShortcutsByKey(self, key, type):
        self.record("globalShortcutsByKey", key, type)
        return dbus.Array([], signature="(ssssssaiai)")

    @dbus.service.method(IFACE, in_signature="(ai)s", out_signature="b")
    def globalShortcutAvailable(self, key, component):
        self.record("globalShortcutAvailable", key, component)
        return not self.holder(int(key[0][0]) if len(key[0]) else 0, None)

    @dbus.service.method(IFACE, in_signature="ss", out_signature="b")
    def unregister(self, componentUnique, shortcutUnique):
        self.record("unregister", componentUnique, shortcutUnique)
        return self.actions.pop((componentUnique, shortcutUnique), None) is not None

    @dbus.service.method(IFACE, in_signature="b", out_signature="")
    def blockGlobalShortcuts(self, block):
        self.record("blockGlobalShortcuts", block)

    def change(self, action_id, keys, as_sequences):
        action = self.find(action_id)
        if action:
            action.keys = list(keys)
        if as_sequences:
            self.yourShortcutsChanged(action_id, sequences(keys))
        else:
            self.yourShortcutGotChanged(action_id, dbus.Array(keys, signature="i"))

    # Hooks for the tests.

    @dbus.service.method(TEST_IFACE, in_signature="", out_signature="s")
    def Calls(self):
        return json.dumps(self.calls)

    @dbus.service.method(TEST_IFACE, in_signature="", out_signature="")
    def ClearCalls(self):
        self.calls = []

    @dbus.service.method(TEST_IFACE, in_signature="i", out_signature="")
    def Take(self, key):
        """Another program holds this key."""
        self.taken.add(int(key))

    @dbus.service.method(TEST_IFACE, in_signature="ss", out_signature="")
    def Press(self, componentUnique, actionUnique):
        """The user pressed the key of this action, which another component may own."""
        if componentUnique not in self.components:
            self.components[componentUnique] = Component(self.bus, componentUnique, "")
        self.components[componentUnique].globalShortcutPressed(componentUnique, actionUnique, 0)

    @dbus.service.method(TEST_IFACE, in_signature="asaib", out_signature="")
    def ChangeInSettings(self, actionId, keys, asSequences):
        """System Settings gave the action other keys."""
        self.change(actionId, [int(k) for k in keys], asSequences)


def add_int_list_calls():
    """kglobalaccel5's older calls with plain key ints; Plasma 6 may have dropped them."""

    @dbus.service.method(IFACE, in_signature="i", out_signature="as")
    def action(self, key):
        self.record("action", key)
        return []

    @dbus.service.method(IFACE, in_signature="as", out_signature="ai")
    def shortcut(self, actionId):
        self.record("shortcut", actionId)
        found = self.find(actionId)
        return dbus.Array(found.keys if found else [], signature="i")

    @dbus.service.method(IFACE, in_signature="as", out_signature="ai")
    def defaultShortcut(self, actionId):
        self.record("defaultShortcut", actionId)
        found = self.find(actionId)
        return dbus.Array(found.default_keys if found else [], signature="i")

    @dbus.service.method(IFACE, in_signature="asaiu", out_signature="ai")
    def setShortcut(self, actionId, keys, flags):
        self.record("setShortcut", actionId, [int(k) for k in keys], flags)
        return dbus.Array(self.set_keys(actionId, [int(k) for k in keys], flags), signature="i")

    @dbus.service.method(IFACE, in_signature="asai", out_signature="")
    def setForeignShortcut(self, actionId, keys):
        self.record("setForeignShortcut", actionId, [int(k) for k in keys])
        self.change(actionId, [int(k) for k in keys], False)

    @dbus.service.method(IFACE, in_signature="i", out_signature="a(ssssssaiai)")
    def getGlobalShortcutsByKey(self, key):
        self.record("getGlobalShortcutsByKey", key)
        return dbus.Array([], signature="(ssssssaiai)")

    @dbus.service.method(IFACE, in_signature="is", out_signature="b")
    def isGlobalShortcutAvailable(self, key, component):
        self.record("isGlobalShortcutAvailable", key, component)
        return not self.holder(int(key), None)

    return {f.__name__: f for f in (action, shortcut, defaultShortcut, setShortcut,
                                    setForeignShortcut, getGlobalShortcutsByKey,
                                    isGlobalShortcutAvailable)}


def main():
    global FAKE
    parser = argparse.ArgumentParser()
    parser.add_argument("--plasma6", action="store_true")
    args = parser.parse_args()

    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    cls = KGlobalAccel
    if not args.plasma6:
        cls = type("KGlobalAccel5", (KGlobalAccel,), add_int_list_calls())
    FAKE = cls(bus, args.plasma6)
    name = dbus.service.BusName(SERVICE, bus, do_not_queue=True)
    loop = GLib.MainLoop()
    bus.add_signal_receiver(lambda *a: loop.quit(), "Disconnected",
                            "org.freedesktop.DBus.Local")
    print("fake kglobalaccel owns", name.get_name(), flush=True)
    loop.run()
    return 0


FAKE = None

if __name__ == "__main__":
    sys.exit(main())
