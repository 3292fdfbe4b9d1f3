#!/usr/bin/python3
"""Doubles of a desktop's keyring and online accounts, on the session bus.

desktop_services.py keyring MANNER FILE: org.freedesktop.secrets with one collection, and sessions
that do not encrypt. MANNER is "open", "accepts" (locked; the prompt unlocks it), "declines" (locked;
the user dismisses the prompt) or "hangs" (locked; the prompt is never answered). FILE gets label and
attributes of the items, for the test to read.

desktop_services.py accounts MANNER SECRET: org.gnome.OnlineAccounts with accounts of each kind, whose
token or password has SECRET in it. MANNER is
"good", "refused" (the user has to sign in again), "offline" (the provider is not reached) or
"empty-handed" (signed in, but it has no token).

Prints "ready" once it has its name on the bus.
"""
import json
import sys

from gi.repository import Gio, GLib

KEYRING_XML = """
<node>
 <interface name="org.freedesktop.Secret.Service">
  <method name="OpenSession"><arg type="s" direction="in"/><arg type="v" direction="in"/>
   <arg type="v" direction="out"/><arg type="o" direction="out"/></method>
  <method name="SearchItems"><arg type="a{ss}" direction="in"/>
   <arg type="ao" direction="out"/><arg type="ao" direction="out"/></method>
  <method name="Unlock"><arg type="ao" direction="in"/>
   <arg type="ao" direction="out"/><arg type="o" direction="out"/></method>
  <method name="GetSecrets"><arg type="ao" direction="in"/><arg type="o" direction="in"/>
   <arg type="a{o(oayays)}" direction="out"/></method>
  <method name="ReadAlias"><arg type="s" direction="in"/><arg type="o" direction="out"/></method>
  <property name="Collections" type="ao" access="read"/>
 </interface>
 <interface name="org.freedesktop.Secret.Session"><method name="Close"/></interface>
 <interface name="org.freedesktop.Secret.Collection">
  <method name="CreateItem"><arg type="a{sv}" direction="in"/><arg type="(oayays)" direction="in"/>
   <arg type="b" direction="in"/><arg type="o" direction="out"/><arg type="o" direction="out"/></method>
  <property name="Items" type="ao" access="read"/>
  <property name="Label" type="s" access="read"/>
  <property name="Locked" type="b" access="read"/>
  <property name="Created" type="t" access="read"/>
  <property name="Modified" type="t" access="read"/>
 </interface>
 <interface name="org.freedesktop.Secret.Item">
  <method name="Delete"><arg type="o" direction="out"/></method>
  <property name="Locked" type="b" access="read"/>
  <property name="Attributes" type="a{ss}" access="read"/>
  <property name="Label" type="s" access="read"/>
  <property name="Created" type="t" access="read"/>
  <property name="Modified" type="t" access="read"/>
 </interface>
 <interface name="org.freedesktop.Secret.Prompt">
  <method name="Prompt"><arg type="s" direction="in"/></method>
  <method name="Dismiss"/>
  <signal name="Completed"><arg type="b"/><arg type="v"/></signal>
 </interface>
</node>"""

ROOT = "/org/freedesktop/secrets"
COLLECTION = ROOT + "/collection/login"
NONE = "/"


class BusFailure(Exception):
    """Becomes an error reply of that name."""


class Keyring:
    def __init__(self, bus, manner, file):
        self.bus, self.manner, self.file = bus, manner, file
        self.locked = manner != "open"
        self.items = {}
        self.number = 0
        self.interfaces = {i.name.rsplit(".", 1)[1]: i for i in Gio.DBusNodeInfo.new_for_xml(KEYRING_XML).interfaces}
        self.offer(ROOT, "Service")
        self.offer(COLLECTION, "Collection")
        self.offer(ROOT + "/aliases/default", "Collection")
        self.offer(ROOT + "/session/1", "Session")
        # One item from the start, so that look-up in a locked keyring has something to find.
        self.add({"protocol": "imap", "user": "ann", "host": "imap.example.org", "port": "993",
                  "xdg:schema": "org.relaybird.Relaybird.MailServer"}, "old", b"planted", "text/plain")

    def offer(self, path, interface):
        return self.bus.register_object(path, self.interfaces[interface], self.on_call, self.on_get, None)

    def add(self, attributes, label, secret, kind):
        for path, item in self.items.items():
            if item["attributes"] == attributes:
                break
        else:
            self.number += 1
            path = f"{COLLECTION}/{self.number}"
            item = self.items[path] = {"attributes": attributes}
            item["id"] = self.offer(path, "Item")
        item.update(label=label, secret=secret, kind=kind)
        with open(self.file, "w", encoding="utf-8") as out:
            json.dump([[i["label"], i["attributes"]] for i in self.items.values()], out)
        return path

    def on_get(self, _bus, _sender, path, _interface, name):
        item = self.items.get(path, {})
        values = {"Collections": GLib.Variant("ao", [COLLECTION]), "Items": GLib.Variant("ao", list(self.items)),
                  "Locked": GLib.Variant("b", self.locked), "Created": GLib.Variant("t", 1),
                  "Modified": GLib.Variant("t", 1), "Label": GLib.Variant("s", item.get("label", "Login")),
                  "Attributes": GLib.Variant("a{ss}", item.get("attributes", {}))}
        return values[name]

    def on_call(self, _bus, _sender, path, _interface, method, arguments, call):
        try:
            call.return_value(getattr(self, method)(path, *arguments.unpack()))
        except BusFailure as failure:
            call.return_dbus_error(str(failure), "the double says no")

    def OpenSession(self, _path, algorithm, _input):
        if algorithm != "plain":
            raise BusFailure("org.freedesktop.DBus.Error.NotSupported")
        return GLib.Variant("(vo)", (GLib.Variant("s", ""), ROOT + "/session/1"))

    def SearchItems(self, _path, wanted):
        found = [p for p, i in self.items.items() if wanted.items() <= i["attributes"].items()]
        return GLib.Variant("(aoao)", ([], found) if self.locked else (found, []))

    def Unlock(self, _path, objects):
        if not self.locked:
            return GLib.Variant("(aoo)", (objects, NONE))
        self.number += 1
        prompt = f"{ROOT}/prompt/{self.number}"
        self.wanted = objects
        self.offer(prompt, "Prompt")
        return GLib.Variant("(aoo)", ([], prompt))

    def Prompt(self, path, _window):
        if self.manner != "hangs":
            GLib.idle_add(self.complete, path, self.manner == "declines")

    def Dismiss(self, path):
        GLib.idle_add(self.complete, path, True)

    def complete(self, path, dismissed):
        self.locked = self.locked and dismissed
        result = GLib.Variant("ao", [] if dismissed else self.wanted)
        self.bus.emit_signal(None, path, "org.freedesktop.Secret.Prompt", "Completed",
                             GLib.Variant("(bv)", (dismissed, result)))

    def GetSecrets(self, _path, objects, session):
        found = {p: (session, b"", self.items[p]["secret"], self.items[p]["kind"])
                 for p in objects if not self.locked}
        return GLib.Variant("(a{o(oayays)})", (found,))

    def ReadAlias(self, _path, _name):
        return GLib.Variant("(o)", (COLLECTION,))

    def CreateItem(self, _path, properties, secret, _replace):
        if self.locked:
            raise BusFailure("org.freedesktop.Secret.Error.IsLocked")
        path = self.add(properties["org.freedesktop.Secret.Item.Attributes"],
                        properties["org.freedesktop.Secret.Item.Label"], bytes(secret[2]), secret[3])
        return GLib.Variant("(oo)", (path, NONE))

    def Delete(self, path):
        if self.locked:
            raise BusFailure("org.freedesktop.Secret.Error.IsLocked")
        self.bus.unregister_object(self.items.pop(path)["id"])
        return GLib.Variant("(o)", (NONE,))

    def Close(self, _path):
        return None


ACCOUNTS_XML = """
<node>
 <interface name="org.freedesktop.DBus.ObjectManager">
  <method name="GetManagedObjects"><arg type="a{oa{sa{sv}}}" direction="out"/></method>
 </interface>
 <interface name="org.gnome.OnlineAccounts.Account">
  <method name="EnsureCredentials"><arg type="i" direction="out"/></method>
 </interface>
 <interface name="org.gnome.OnlineAccounts.OAuth2Based">
  <method name="GetAccessToken"><arg type="s" direction="out"/><arg type="i" direction="out"/></method>
 </interface>
 <interface name="org.gnome.OnlineAccounts.PasswordBased">
  <method name="GetPassword"><arg type="s" direction="in"/><arg type="s" direction="out"/></method>
 </interface>
</node>"""

GOA = "org.gnome.OnlineAccounts."
GOA_ROOT = "/org/gnome/OnlineAccounts"


def variants(values):
    return {name: GLib.Variant("b" if isinstance(value, bool) else "s", value) for name, value in values.items()}


def account(number, provider, identity, attention=False, mail_disabled=False):
    return variants({"Id": f"account_{number}", "ProviderName": provider, "PresentationIdentity": identity,
                     "AttentionNeeded": attention, "MailDisabled": mail_disabled})


class OnlineAccounts:
    def __init__(self, bus, manner, secret):
        self.bus, self.manner, self.secret = bus, manner, secret
        google = variants({
            "EmailAddress": "ann@example.com", "Name": "Ann", "ImapSupported": True, "ImapHost": "imap.example.com",
            "ImapUserName": "ann@example.com", "ImapUseSsl": True, "ImapUseTls": False, "SmtpSupported": True,
            "SmtpHost": "smtp.example.com:2465", "SmtpUserName": "ann.smtp", "SmtpUseAuth": True,
            "SmtpUseSsl": True, "SmtpUseTls": False})
        plain = variants({
            "EmailAddress": "bob@example.org", "Name": "", "ImapSupported": True, "ImapHost": "mail.example.org",
            "ImapUserName": "bob", "ImapUseSsl": False, "ImapUseTls": True, "SmtpSupported": True,
            "SmtpHost": "mail.example.org", "SmtpUserName": "bob", "SmtpUseAuth": False, "SmtpUseSsl": False,
            "SmtpUseTls": True})
        self.objects = {
            GOA_ROOT + "/Accounts/account_1": {
                GOA + "Account": account(1, "Google", "Ann at Example", manner == "refused"),
                GOA + "Mail": google, GOA + "OAuth2Based": {}},
            GOA_ROOT + "/Accounts/account_2": {
                GOA + "Account": account(2, "IMAP and SMTP", "bob@example.org"),
                GOA + "Mail": plain, GOA + "PasswordBased": {}},
            GOA_ROOT + "/Accounts/account_3": {GOA + "Account": account(3, "Nextcloud", "files only")},
            GOA_ROOT + "/Accounts/account_4": {
                GOA + "Account": account(4, "Google", "switched off", mail_disabled=True), GOA + "Mail": google}}
        interfaces = {i.name: i for i in Gio.DBusNodeInfo.new_for_xml(ACCOUNTS_XML).interfaces}
        bus.register_object(GOA_ROOT, interfaces["org.freedesktop.DBus.ObjectManager"], self.on_call, None, None)
        for path, offered in self.objects.items():
            for name in offered:
                if name in interfaces:
                    bus.register_object(path, interfaces[name], self.on_call, None, None)

    def on_call(self, _bus, _sender, _path, _interface, method, arguments, call):
        if method == "GetManagedObjects":
            call.return_value(GLib.Variant("(a{oa{sa{sv}}})", (self.objects,)))
        elif self.manner == "refused":
            call.return_dbus_error(GOA + "Error.NotAuthorized", "Credentials not found")
        elif self.manner == "offline" and method == "EnsureCredentials":
            call.return_dbus_error(GOA + "Error.Failed", "the provider is not reached")
        elif self.manner == "empty-handed" and method != "EnsureCredentials":
            call.return_dbus_error(GOA + "Error.Failed", "no token today")
        elif method == "EnsureCredentials":
            call.return_value(GLib.Variant("(i)", (3600,)))
        elif method == "GetAccessToken":
            call.return_value(GLib.Variant("(si)", (self.secret, 3599)))
        else:
            call.return_value(GLib.Variant("(s)", (f"{self.secret} {arguments.unpack()[0]}",)))


def main(kind, manner, text):
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    double = Keyring(bus, manner, text) if kind == "keyring" else OnlineAccounts(bus, manner, text)
    name = "org.freedesktop.secrets" if kind == "keyring" else "org.gnome.OnlineAccounts"
    Gio.bus_own_name_on_connection(bus, name, Gio.BusNameOwnerFlags.NONE,
                                   lambda *_: print("ready", flush=True), None)
    assert double
    GLib.MainLoop().run()


main(sys.argv[1], sys.argv[2], sys.argv[3])
