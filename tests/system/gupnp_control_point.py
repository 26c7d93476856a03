#!/usr/bin/python3
"""A control point on GUPnP: finds the server and prints what it sees, one JSON object a line.

usage: gupnp_control_point.py INTERFACE TITLE ...    its actions and variables, and what may be fetched of everything in
                                                     the container that is reached by these titles
       gupnp_control_point.py INTERFACE --events     the content's events as they come, until standard input ends
"""

import json
import os
import sys
import threading
import traceback
import xml.etree.ElementTree as ElementTree

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
from gi.repository import GLib, GObject, GSSDP, GUPnP  # noqa: E402

from wire import DC, DIDL  # noqa: E402


def tell(found):
    print(json.dumps(found), flush=True)


def content_of(directory, titles, object_id="0"):
    """{title: element} of the container that is reached by the titles."""
    action = GUPnP.ServiceProxyAction.new_from_list(
        "Browse", ["ObjectID", "BrowseFlag", "Filter", "StartingIndex", "RequestedCount", "SortCriteria"],
        [object_id, "BrowseDirectChildren", "*", 0, 0, ""])
    directory.call_action(action, None)
    _, values = action.get_result_list(["Result", "NumberReturned", "TotalMatches"], [str, int, int])
    elements = list(ElementTree.fromstring(values[0]))
    assert values[1] == values[2] == len(elements)
    content = {element.findtext(DC + "title"): element for element in elements}
    return content_of(directory, titles[1:], content[titles[0]].get("id")) if titles else content


def look_around(directory, titles):
    # The description is only fetched in the main loop.
    pending = []
    directory.introspect_async(None, lambda service, result: pending.append(service.introspect_finish(result)))
    while not pending:
        GLib.MainContext.default().iteration(True)
    tell({"actions": [action.name for action in pending[0].list_actions()],
          "variables": [variable.name for variable in pending[0].list_state_variables()],
          "resources": {title: [(res.get("protocolInfo"), res.get("resolution"), res.text)
                                for res in element.iter(DIDL + "res")]
                        for title, element in content_of(directory, titles).items()}})


def subscribe(directory, loop):
    def on_event(_, variable, value, *__):
        tell({variable: value if isinstance(value, (str, int)) else value.get_string()})
    directory.add_notify("SystemUpdateID", GObject.TYPE_UINT, on_event, None)
    directory.add_notify("ContainerUpdateIDs", GObject.TYPE_STRING, on_event, None)
    directory.set_subscribed(True)
    threading.Thread(target=lambda: (sys.stdin.read(), loop.quit()), daemon=True).start()


def main(interface, *titles):
    loop, kept = GLib.MainLoop(), []  # a proxy that is forgotten unsubscribes

    def on_device(_, device):
        kept.append(device.get_service("urn:schemas-upnp-org:service:ContentDirectory"))
        try:
            if titles == ("--events",):
                subscribe(kept[-1], loop)
                return
            look_around(kept[-1], titles)
            loop.quit()
        except Exception:  # the main loop would only print it
            traceback.print_exc()
            os._exit(1)
    # A port of its own choice may be one that a connection of the tests before has only just left.
    context = GUPnP.Context.new_full(interface, None, 15000, GSSDP.UDAVersion.VERSION_1_0)
    point = GUPnP.ControlPoint.new(context, "urn:schemas-upnp-org:device:MediaServer:1")
    point.connect("device-proxy-available", on_device)
    point.set_active(True)
    loop.run()


main(*sys.argv[1:])
