#!/usr/bin/python3
"""A control point on GUPnP: finds the server, reads its service descriptions, browses to the artists and to a track, or
to a container that is named title by title.

usage: gupnp_control_point.py INTERFACE [TITLE ...]     prints what it found as one JSON object
"""

import json
import sys
import xml.etree.ElementTree as ElementTree

import gi

gi.require_version("GUPnP", "1.6")
gi.require_version("GSSDP", "1.6")
from gi.repository import GLib, GSSDP, GUPnP  # noqa: E402

MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
DC = "{http://purl.org/dc/elements/1.1/}"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"


class ControlPoint:
    def __init__(self, interface, titles):
        self.titles = titles
        self.loop = GLib.MainLoop()
        self.found, self.error = {}, None
        # A port of its own choice may be one that a connection of the tests before has only just left.
        self.context = GUPnP.Context.new_full(interface, None, 15000, GSSDP.UDAVersion.VERSION_1_0)
        self.point = GUPnP.ControlPoint.new(self.context, MEDIA_SERVER)
        self.point.connect("device-proxy-available", self.on_device)
        self.point.set_active(True)

    def run(self):
        GLib.timeout_add_seconds(60, lambda: self.finish("no media server within 60 s"))
        self.loop.run()
        if self.error:
            sys.exit(self.error)
        print(json.dumps(self.found))

    def finish(self, error=None):
        self.error = error
        self.loop.quit()

    def on_device(self, _, device):
        try:
            self.look_at(device)
        except Exception as error:  # the main loop would only print it
            self.finish(f"{type(error).__name__}: {error}")
        else:
            self.finish()

    def look_at(self, device):
        self.found["name"] = device.get_friendly_name()
        self.found["udn"] = device.get_udn()
        self.directory = device.get_service("urn:schemas-upnp-org:service:ContentDirectory")
        # The description is only fetched in the main loop.
        pending = []
        self.directory.introspect_async(None, lambda service, result: pending.append(service.introspect_finish(result)))
        while not pending:
            GLib.MainContext.default().iteration(True)
        self.found["actions"] = sorted(action.name for action in pending[0].list_actions())
        self.found["variables"] = sorted(variable.name for variable in pending[0].list_state_variables())

        if self.titles:
            return self.list_resources()
        artists = self.child(self.child("0", "Music"), "Artists")
        self.found["artists"] = [title for title, _ in self.children(artists)]
        tracks = self.children(self.child(artists, "Queen"))
        self.found["tracks"] = [title for title, _ in tracks]
        self.found["url"] = tracks[0][1].findtext(DIDL + "res")

    def list_resources(self):
        """What may be fetched of everything in the container: {title: [(protocolInfo, resolution, URL)]}."""
        container = "0"
        for title in self.titles:
            container = self.child(container, title)
        self.found["resources"] = {
            title: [(res.get("protocolInfo"), res.get("resolution"), res.text) for res in element.iter(DIDL + "res")]
            for title, element in self.children(container)
        }

    def children(self, object_id):
        """[(title, element)] of a container."""
        action = GUPnP.ServiceProxyAction.new_from_list(
            "Browse", ["ObjectID", "BrowseFlag", "Filter", "StartingIndex", "RequestedCount", "SortCriteria"],
            [object_id, "BrowseDirectChildren", "*", 0, 0, ""])
        self.directory.call_action(action, None)
        _, values = action.get_result_list(["Result", "NumberReturned", "TotalMatches"], [str, int, int])
        elements = list(ElementTree.fromstring(values[0]))
        assert values[1] == values[2] == len(elements)
        return [(element.findtext(DC + "title"), element) for element in elements]

    def child(self, object_id, title):
        return next(element.get("id") for name, element in self.children(object_id) if name == title)


ControlPoint(sys.argv[1], sys.argv[2:]).run()
