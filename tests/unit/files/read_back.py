"""Reads a written file with a reader that is not the product's and prints what it holds.

    read_back.py tags FILE         Name of each record of Tags.xml or AmbigTag.xml, one a line
    read_back.py deliveries FILE   Name of each entry of TaggedInfo.xml and its device ids
    read_back.py plist FILE        Name and button of each marked track of a property list
"""

import plistlib
import sys
import xml.etree.ElementTree


def records(path):
    return list(xml.etree.ElementTree.parse(path).getroot())


def tags(path):
    return [record.attrib["Name"] for record in records(path)]


def deliveries(path):
    return [
        " ".join([entry.attrib["Name"]] + [device.text for device in entry])
        for entry in records(path)
    ]


def plist(path):
    with open(path, "rb") as file:
        tracks = plistlib.load(file)["MarkedTracks"]
    return [f"{track['Name']} {track['ButtonPressed']}" for track in tracks]


if __name__ == "__main__":
    kind, path = sys.argv[1:]
    for line in {"tags": tags, "deliveries": deliveries, "plist": plist}[kind](path):
        print(line)
