#!/usr/bin/python3
"""A control point on GUPnP that subscribes to the content's events and prints them, one JSON object a line.

usage: gupnp_subscriber.py INTERFACE     ends when its standard input does
"""

import json
import sys
import threading

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
from gi.repository import GLib, GObject, GSSDP, GUPnP  # noqa: E402

services = []  # kept: a proxy that is forgotten unsubscribes


def on_event(_, variable, value, *__):
    text = value if isinstance(value, (str, int)) else value.get_string()
    print(json.dumps({variable: text}), flush=True)


def on_device(_, device):
    service = device.get_service("urn:schemas-upnp-org:service:ContentDirectory")
    services.append(service)
    service.add_notify("SystemUpdateID", GObject.TYPE_UINT, on_event, None)
    service.add_notify("ContainerUpdateIDs", GObject.TYPE_STRING, on_event, None)
    service.set_subscribed(True)


def main():
    loop = GLib.MainLoop()
    context = GUPnP.Context.new_full(sys.argv[1], None, 15100, GSSDP.UDAVersion.VERSION_1_0)
    point = GUPnP.ControlPoint.new(context, "urn:schemas-upnp-org:device:MediaServer:1")
    point.connect("device-proxy-available", on_device)
    point.set_active(True)
    threading.Thread(target=lambda: (sys.stdin.read(), loop.quit()), daemon=True).start()
    loop.run()


main()
