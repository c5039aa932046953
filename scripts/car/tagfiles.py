"""The service's files, read by readers that have nothing in common with it."""

import plistlib
import xml.etree.ElementTree

from .programs import run

EMPTY = b'<?xml version="1.0" encoding="UTF-8"?>\n<MarkedTracks>\n</MarkedTracks>\n'
"""The bytes of a tag file without tags."""


def records(path, element):
    """The attributes of every such element below the root, in the order of the file."""
    root = xml.etree.ElementTree.parse(path).getroot()
    return [dict(child.attrib) for child in root if child.tag == element]


def tagged(path):
    """TaggedInfo.xml: what is known to have gone where, as (name, artist, song id, [devices])."""
    return [(entry.get("Name"), entry.get("Artist"), entry.get("iTunesSongID"),
             [int(device.text) for device in entry.findall("DeviceId")])
            for entry in xml.etree.ElementTree.parse(path).getroot().findall("TagId")]


def property_list(path):
    """A property list, after xmllint and plistlib have both accepted it."""
    run(["xmllint", "--noout", "--nonet", str(path)])
    with open(path, "rb") as stream:
        return plistlib.load(stream, fmt=plistlib.FMT_XML)
