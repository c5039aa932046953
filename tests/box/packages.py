"""The packages of this build, and a next version of them."""

import pathlib
import re
import subprocess
import tempfile

from box import BUILD

PLACE = BUILD / "packages"
SERVICE = ("libtellbus1", "songlatch", "songlatch-tools")
ALL = (*SERVICE, "libtellbus-dev", "songlatch-radio")


def package(name):
    """The file of a package."""
    found, = PLACE.glob(f"{name}_*.deb")
    return found


def install(box, *names, files=None):
    """Installs packages in a box that has no network."""
    for file in files or [package(name) for name in names or SERVICE]:
        (box.folder / "run" / file.name).write_bytes(file.read_bytes())
    inside = [f"/run/outside/{file.name}" for file in files or
              [package(name) for name in names or SERVICE]]
    return box.run("dpkg", "--install", "--force-confold", *inside)


def next_version(folder, *names, change=lambda root: None):
    """The packages as they would be one version later; `change` edits what is in them."""
    files = []
    for name in names or SERVICE:
        root = pathlib.Path(tempfile.mkdtemp(dir=folder))
        subprocess.run(["dpkg-deb", "--raw-extract", package(name), root], check=True)
        control = root / "DEBIAN" / "control"
        control.write_text(re.sub(r"\b(\d+\.\d+\.\d+)-1\b", r"\g<1>-2", control.read_text()))
        change(root)
        files.append(pathlib.Path(folder) / f"{name}_next.deb")
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", root, files[-1]], check=True,
                       stdout=subprocess.DEVNULL)
    return files
