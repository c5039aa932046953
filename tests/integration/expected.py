"""What the files and the property list must hold, composed from a request, byte for byte."""

import pathlib
import re
import xml.sax.saxutils

_PROJECT = pathlib.Path(__file__).parents[2] / "CMakeLists.txt"
VERSION = re.search(r"^project\(Songlatch VERSION (\S+)", _PROJECT.read_text(encoding="utf-8"),
                    re.MULTILINE).group(1)

PLIST_ADDRESS = "http://www.apple.com/DTDs/PropertyList-1.0.dtd"

_STORED = ("Name", "Artist", "Album", "iTunesSongID", "iTunesStorefrontID", "StationFrequency",
           "StationCallLetters", "PodcastFeedURL", "StationURL", "Genre", "TimeStamp",
           "ProgramNumber", "iTunesAffiliateID", "UnknownData")

_LISTED = (("Name", "string"), ("Artist", "string"), ("Album", "string"),
           ("iTunesSongID", "integer"), ("iTunesStorefrontID", "integer"),
           ("StationFrequency", "string"), ("StationCallLetters", "string"),
           ("PodcastFeedURL", "integer"), ("StationURL", "string"), ("Genre", "string"),
           ("TimeStamp", "date"), ("ProgramNumber", "integer"), ("iTunesAffiliateID", "string"),
           ("UnknownData", "data"))

_NUMBERS = {"iTunesStorefrontID", "ProgramNumber"}


def _escaped(text):
    return xml.sax.saxutils.escape(str(text), {'"': "&quot;", "'": "&apos;"})


def _document(lines):
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<MarkedTracks>\n' + "".join(lines)
            + "</MarkedTracks>\n").encode()


def _record(element, tag):
    values = [(name, tag.get(name, 0 if name in _NUMBERS else "")) for name in _STORED]
    if element == "AmbigTag":
        values.insert(0, ("ButtonPressed", int(tag.get("ButtonPressed", False))))
    return f"<{element} " + " ".join(f'{name}="{_escaped(value)}"'
                                     for name, value in values) + "/>\n"


def tag_file(tags):
    """Tags.xml with these tags."""
    return _document(_record("Tag", tag) for tag in tags)


def candidate_file(tags):
    """AmbigTag.xml with these tags."""
    return _document(_record("AmbigTag", tag) for tag in tags)


def tagged_file(entries):
    """TaggedInfo.xml with these entries, each a tag, its time and the devices that have it."""
    lines = []
    for tag, time, devices in sorted(entries, key=lambda entry: _key(entry[0])):
        lines.append(f'  <TagId Name="{tag["Name"]}" Artist="{tag["Artist"]}"'
                     f' iTunesSongID="{tag.get("iTunesSongID", "")}" Time="{time}">\n')
        lines += [f"    <DeviceId>{device}</DeviceId>\n" for device in devices]
        lines.append("  </TagId>\n")
    return _document(lines)


def _key(tag):
    return f'{tag["Name"]}{tag["Artist"]}{tag.get("iTunesSongID", "")}'.encode()


def property_list(tags, candidates=()):
    """The text for an iPod with these tags and candidates."""
    head = [('MajorVersion', 'integer', 1), ('MinorVersion', 'integer', 1),
            ('ManufacturerID', 'integer', 1000110009), ('ManufacturerName', 'string', 'VELDAN'),
            ('DeviceName', 'string', 'iPod-Car')]
    lines = ['<?xml version="1.0" encoding="UTF-8"?>',
             f'<!DOCTYPE plist PUBLIC "-//Apple Inc//DTD PLIST 1.0//EN" "{PLIST_ADDRESS}">',
             '<plist version="1.0">', "<dict>", *_keys(head), "<key>MarkedTracks</key>", "<array>"]
    for tag in tags:
        lines += _track(tag, 0, 1)
    for tag in candidates:
        lines += _track(tag, 1, int(tag.get("ButtonPressed", False)))
    return "\r\n".join([*lines, "</array>", "</dict>", "</plist>", ""]).encode()


def _keys(entries):
    for name, kind, value in entries:
        yield f"<key>{name}</key>"
        yield f"<{kind}>{_escaped(value)}</{kind}>"


def _track(tag, ambiguous, button):
    fixed = [("AmbiguousTag", "integer", ambiguous), ("ButtonPressed", "integer", button)]
    given = [(name, kind, tag[name]) for name, kind in _LISTED if tag.get(name) not in (None, "", 0)]
    return ["<dict>", *_keys(fixed + given), "</dict>"]
