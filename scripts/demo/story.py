"""The road of a tag, from the button on the radio to the iPod, step by step and checked."""

import json
import os
import pathlib
import shlex
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

# pylint: disable=wrong-import-position
from car import calls, tagfiles  # noqa: E402
from car.bus import SERVICE, SERVICE_PATH  # noqa: E402
from car.car import Car  # noqa: E402
from car.programs import Timeout, binary  # noqa: E402

OLD_IPOD, NEW_IPOD = 3, 7

STATION = {"StationCallLetters": "WXYZ-FM", "StationFrequency": "95.5", "ProgramNumber": 1,
           "iTunesAffiliateID": "sample-partner", "iTunesStorefrontID": 143441}
HARBOR = {"Name": "Harbor Lights and Rain", "Artist": "The Paper Boats", "iTunesSongID": 410001,
          "TimeStamp": "2010-06-09T17:05:09Z", **STATION}
MORNING = {"Name": "Morning Train", "Artist": "Ada Quill", "iTunesSongID": 410002,
           "ButtonPressed": True, "TimeStamp": "2010-06-09T17:20:31Z", **STATION}
EVENING = {"Name": "Evening Train", "Artist": "Ada Quill", "iTunesSongID": 410003, **STATION}
SEVEN = {"Name": "Seven Bridges Home", "Artist": "Low Meridian", "iTunesSongID": 410004, **STATION}
GLASS = {"Name": "Glass Orchard", "Artist": "Nine Tailors", "iTunesSongID": 410005, **STATION}
FULL = [{"Name": f"One Song Too Many, take {take}", "Artist": "The Overflow",
         "iTunesSongID": 410010 + take, **STATION} for take in (1, 2, 3)]


class NotAsExpected(Exception):
    """A step of the story went another way."""


class Page:
    """What the reader sees; colour only on a terminal."""

    def __init__(self):
        colour = sys.stdout.isatty() and "NO_COLOR" not in os.environ
        self._codes = {"bold": "1", "good": "32", "bad": "31", "dim": "2"} if colour else {}
        self._chapter = 0

    def _paint(self, style, text):
        code = self._codes.get(style)
        return f"\033[{code}m{text}\033[0m" if code else text

    def chapter(self, title):
        self._chapter += 1
        print(f"\n{self._paint('bold', f'{self._chapter}. {title}')}", flush=True)

    def tell(self, text):
        print(f"   {text}", flush=True)

    def aside(self, text):
        print(f"   {self._paint('dim', text)}", flush=True)

    def check(self, what, got, wanted):
        """Shows what came; ends the story if it is not what had to come."""
        good = got == wanted
        mark = self._paint("good", "ok") if good else self._paint("bad", "NOT AS EXPECTED")
        print(f"   {what}: {said(got)}  [{mark}]", flush=True)
        if not good:
            raise NotAsExpected(f"expected {said(wanted)}")


def said(value):
    """A status, a signal or a list of them in few words."""
    if isinstance(value, list):
        return ", ".join(said(item) for item in value) or "none"
    if isinstance(value, tuple):
        return f"{value[0]} {said(value[1])}"
    if isinstance(value, dict) and set(value) == {"Name", "Value"}:
        return f"{value['Name']} ({value['Value']})"
    if isinstance(value, dict):
        return " ".join(f"{key} {said(item)}" for key, item in value.items())
    return str(value)


def status(name, value):
    return {"Name": name, "Value": value}


def local(current, limit):
    return "localStatus", {"Current": current, "Max": limit}


class Story:
    """The steps in their order, on one car."""

    def __init__(self, car, page):
        self.car = car
        self.page = page
        self.limit = 3

    def play(self):
        for step in (self.first_start, self.no_ipod, self.two_songs, self.limit_reached,
                     self.incapable_ipod, self.capable_ipod, self.ipod_attached, self.again,
                     self.full_ipod, self.power_cut, self.clear):
            step()

    # Words that the steps share

    def request(self, what, *tags, device=None):
        """Marks songs on the radio, and shows the request."""
        self.page.tell(f"The listener marks {what}.")
        reports = len(self.car.rig.reports)
        reply, signals = self.car.tag(*tags, device=device)
        return reply, signals, reports

    def ipod_has(self, position, *tags):
        """Shows the property list that an iPod got behind the position, as a person reads it."""
        report = self.car.rig.seen("tags", position=position)[-1]
        tracks = tagfiles.property_list(report["file"])["MarkedTracks"]
        for track in tracks:
            self.page.tell(f"   * \"{track['Name']}\" by {track['Artist']}, heard on "
                           f"{track['StationCallLetters']} {track['StationFrequency']}")
        self.page.check(f"tracks on iPod {report['device']}", [track["Name"] for track in tracks],
                        [tag["Name"] for tag in tags])

    def waiting(self, *tags):
        """Shows what waits in the local files."""
        singles = tagfiles.records(self.car.folder.tags, "Tag")
        candidates = tagfiles.records(self.car.folder.candidates, "AmbigTag")
        self.page.check("waiting in the unit", [tag["Name"] for tag in singles + candidates],
                        [tag["Name"] for tag in tags])

    # The steps

    def first_start(self):
        self.page.chapter("A new unit starts")
        self.page.aside(f"everything lives in {self.car.root}")
        self.page.check("signals", self.car.start_service(program="Songlatch"),
                        [local(0, self.limit), ("connectionStatus", {"Devices": []})])
        self.page.check("properties", self.car.properties("transferStatus", "connectionStatus"), {
            "connectionStatus": {"Devices": []}, "transferStatus": status("OK", 1)})
        self.page.check("methods that introspection shows", calls.methods(self.car.bus),
                        ["checkTag", "clearAllLocalTags", "getProperties", "tagRequest"])

    def no_ipod(self):
        self.page.chapter("A song is marked, and no iPod is attached")
        reply, signals, _ = self.request(f"\"{HARBOR['Name']}\"", HARBOR)
        self.page.check("reply", reply, status("STORED_LOCAL", 5))
        self.page.check("signal", signals, [local(1, self.limit)])
        self.waiting(HARBOR)

    def two_songs(self):
        self.page.chapter("The button comes between two songs")
        reply, signals, _ = self.request("one of two songs", MORNING, EVENING)
        self.page.check("reply", reply, status("STORED_LOCAL", 5))
        self.page.check("signal", signals, [local(2, self.limit)])
        self.waiting(HARBOR, MORNING, EVENING)

    def limit_reached(self):
        self.page.chapter("The unit holds no more than three")
        reply, _, _ = self.request(f"\"{SEVEN['Name']}\"", SEVEN)
        self.page.check("reply", reply, status("STORED_LOCAL", 5))
        reply, signals, _ = self.request(f"\"{GLASS['Name']}\"", GLASS)
        self.page.check("reply", reply, status("LOCAL_STORAGE_FULL", 4))
        self.page.check("signal", signals, [])
        self.waiting(HARBOR, SEVEN, MORNING, EVENING)
        self.limit = 10
        self.car.folder.configure(limit=self.limit)
        self.page.tell("The workshop raises the limit to ten and restarts the unit.")
        self.page.check("signals", self.car.restart_service(),
                        [local(4, self.limit), ("connectionStatus", {"Devices": []})])

    def incapable_ipod(self):
        self.page.chapter("An iPod without the capability for tags arrives")
        signals = self.car.attach(OLD_IPOD, caps="3,7", name="An old one")
        self.page.check("signals", signals, [
            ("transferStatus", status("STOREDLOCAL_IPOD_INCOMPATIBLE", 9)),
            ("connectionStatus", {"Devices": [OLD_IPOD]})])
        self.waiting(HARBOR, SEVEN, MORNING, EVENING)
        self.page.check("it leaves", self.car.detach(OLD_IPOD),
                        [("connectionStatus", {"Devices": []})])

    def capable_ipod(self):
        self.page.chapter("A capable iPod arrives, and takes what has waited")
        position = len(self.car.rig.reports)
        signals = self.car.attach(NEW_IPOD, caps="3,8", name="A new one")
        self.page.check("signals", signals, [
            ("transferStatus", status("TRANSFER_SUCCEEDED", 7)), local(0, self.limit),
            ("connectionStatus", {"Devices": [NEW_IPOD]})])
        self.ipod_has(position, HARBOR, SEVEN, MORNING, EVENING)
        self.waiting()

    def ipod_attached(self):
        self.page.chapter("A song is marked while it is attached")
        reply, signals, position = self.request(f"\"{GLASS['Name']}\"", GLASS, device=NEW_IPOD)
        self.page.check("reply", reply, status("STORED_ON_TARGET", 6))
        self.page.check("signal", signals, [local(0, self.limit)])
        self.ipod_has(position, GLASS)

    def again(self):
        self.page.chapter("The same song once more")
        reply, _, position = self.request(f"\"{GLASS['Name']}\" again", GLASS, device=NEW_IPOD)
        self.page.check("reply", reply, status("STORED_ON_TARGET", 6))
        self.ipod_has(position)
        for tag, tagged in ((GLASS, True), (FULL[0], False)):
            asked = {"Name": tag["Name"], "Artist": tag["Artist"],
                     "iTunesSongID": str(tag["iTunesSongID"])}
            reply = self.car.call("checkTag", {"deviceID": NEW_IPOD, "tagInfo": [asked]})
            self.page.check(f"checkTag for \"{tag['Name']}\"", reply, {**asked, "tagged": tagged})

    def full_ipod(self):
        self.page.chapter("The iPod is full, under each policy")
        self.car.rig.command(f"fault {NEW_IPOD} write=ENOSPC", "changed")
        policies = (("the first iPod that takes them", "false", "all", status("STORED_LOCAL", 5)),
                    ("every iPod", "true", "all", status("STORED_LOCAL", 5)),
                    ("the iPod that the request names", "true", "specify",
                     status("TARGET_FULL", 3)))
        for (policy, enabled, choose, wanted), tag in zip(policies, FULL):
            self.page.tell(f"Policy: {policy}.")
            self.car.folder.configure(limit=self.limit, enabled=enabled, choose=choose)
            reply, _, _ = self.request(f"\"{tag['Name']}\"", tag, device=NEW_IPOD)
            self.page.check("reply", reply, wanted)
        # After a refusal the song is on record for this iPod, so the first policy, which stores a
        # second time, leaves it out.
        self.waiting(FULL[1], FULL[2])

    def power_cut(self):
        self.page.chapter("The unit loses its power, and starts again")
        self.car.detach(NEW_IPOD)
        before = self.car.folder.tags.read_bytes()
        self.page.tell("The service is killed.")
        signals = self.car.restart_service()
        self.page.check("signals", signals,
                        [local(2, self.limit), ("connectionStatus", {"Devices": []})])
        self.waiting(FULL[1], FULL[2])
        self.page.check("the file is the same to the byte",
                        self.car.folder.tags.read_bytes() == before, True)

    def clear(self):
        self.page.chapter("The listener clears the list")
        reply, signals = self.car.exchange("clearAllLocalTags")
        self.page.check("reply", reply, status("OK", 1))
        self.page.check("signal", signals, [local(0, self.limit)])
        self.waiting()


def say_how_to_talk(car):
    """What to type to go on by hand."""
    call = json.dumps({"tags": [{"Name": "My Song", "Artist": "Me", "iTunesSongID": 1}]})
    root = car.root
    print(f"""
Everything goes on. To talk to it:

  export DBUS_SYSTEM_BUS_ADDRESS='{car.bus.address}'

  gdbus call --system -d {SERVICE} -o {SERVICE_PATH} \\
      -m {SERVICE}.tagRequest '{calls.as_variant(call)[1:-1]}'
  busctl --system call {SERVICE} {SERVICE_PATH} {SERVICE} \\
      getProperties s '{{"props":["localStatus","connectionStatus","transferStatus"]}}'
  busctl --system monitor {SERVICE}

  echo 'attach 9 "{root}/ipod9" caps=8' > {shlex.quote(f"{root}/rig.in")}      (and "help")
  {shlex.quote(str(binary("songlatchctl")))} status                          (and "--help")
  tail -f {shlex.quote(f"{root}/rig.out")} /tmp/Songlatching.log

To end it and clean up:

  kill {' '.join(str(pid) for pid in car.pids())} && rm -rf {shlex.quote(str(root))}
""")


def main():
    keep = "--keep" in sys.argv[1:]
    page = Page()
    car = Car(keep=keep, limit=3)
    passed = False
    try:
        car.start_rig()
        Story(car, page).play()
        passed = True
        print("\nEverything went as expected.")
    except (NotAsExpected, Timeout, calls.CallFailed) as fault:
        print(f"\nThe story ends here: {fault}", file=sys.stderr)
    finally:
        if keep and car.service:
            say_how_to_talk(car)
        else:
            car.stop()
            car.remove()
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
