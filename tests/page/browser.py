"""A headless browser that looks at the rig's page, and a test that has one."""

import atexit
import functools
import os
import pathlib
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "scripts"), str(ROOT / "tests" / "integration")]

SKIPPED = 77
"""The exit status that ctest takes for "skipped"."""


def find(*names):
    """The first of these programs that is installed."""
    for name in names:
        for folder in os.environ["PATH"].split(":"):
            if os.access(pathlib.Path(folder) / name, os.X_OK):
                return str(pathlib.Path(folder) / name)
    return None


BROWSER, DRIVER = find("chromium", "chromium-browser"), find("chromedriver")
AXE = pathlib.Path(os.environ.get("SONGLATCH_AXE", ROOT / "build/page/node_modules/axe-core"
                                  / "axe.min.js"))
PICTURES = pathlib.Path(os.environ.get("SONGLATCH_PICTURES", ROOT / "build/release/page/pictures"))

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException
    from selenium.webdriver.common.by import By
    from selenium.webdriver.chrome.service import Service as DriverService
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    webdriver = None

if webdriver is None or BROWSER is None or DRIVER is None or not AXE.exists():
    print("SKIPPED: the page needs a browser to be tested: chromium, chromium-driver, "
          "python3-selenium, and axe-core from npm; scripts/test.sh --page installs them.")
    sys.exit(SKIPPED)

# pylint: disable=wrong-import-position
from harness import CarTest  # noqa: E402
from car.bus import MEDIA, SERVICE  # noqa: E402
from car.car import Rig  # noqa: E402
from car.programs import DEADLINE, Timeout, binary  # noqa: E402


class Window:
    """The page in one browser."""

    def __init__(self, width=1280, height=1000):
        options = webdriver.ChromeOptions()
        options.binary_location = BROWSER
        for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                     "--disable-dev-shm-usage", "--force-color-profile=srgb"):
            options.add_argument(word)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=DriverService(DRIVER), options=options)
        self.driver.set_script_timeout(DEADLINE)
        self.resize(width, height)

    def resize(self, width, height):
        """The size of what is seen, also below the least width of a window."""
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def prefer(self, **features):
        """What the person in front of it prefers, as in color_scheme="dark"."""
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": f"prefers-{name.replace('_', '-')}", "value": value}
            for name, value in features.items()]})

    def open(self, url):
        self.driver.get(url)

    def one(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """All texts of what fits, as a person sees them; read at one moment."""
        return self.run("return [...document.querySelectorAll(arguments[0])]"
                        ".map((found) => found.innerText).join('\\n')", selector)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def click(self, selector):
        """Clicks; what is drawn anew between the look and the click is looked for again."""
        WebDriverWait(self.driver, DEADLINE, ignored_exceptions=[
            StaleElementReferenceException]).until(lambda _: self._click_once(selector))

    def _click_once(self, selector):
        element = self.one(selector)
        self.run("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()
        return True

    def fill(self, selector, text):
        element = self.one(selector)
        element.clear()
        element.send_keys(text)

    def choose(self, selector, value):
        self.run("arguments[0].value = arguments[1]", self.one(selector), value)

    def wait(self, accept, what, deadline=DEADLINE):
        """Looks until accept() is true."""
        end = time.monotonic() + deadline
        while not accept():
            if time.monotonic() > end:
                raise Timeout(f"{what} did not show")
            self.run("")  # a round trip to the browser is what passes the time

    def wait_for(self, selector, text):
        try:
            self.wait(lambda: text in self.text(selector), f"“{text}” in {selector}")
        except Timeout as late:
            raise Timeout(f"{late}; it shows “{self.text(selector)[:1000]}”") from None

    def picture(self, name):
        """Keeps a picture of the whole page, as an artefact of the build."""
        PICTURES.mkdir(parents=True, exist_ok=True)
        path = PICTURES / f"{name}.png"
        height = self.run("return document.documentElement.scrollHeight")
        width = self.run("return innerWidth")
        self.resize(width, height)
        self.driver.save_screenshot(str(path))
        return path

    def glimpse(self, name, width=1100, height=700):
        """A small picture of the top of the page: docs/page.png is such a one."""
        self.resize(width, height)
        self.run("scrollTo(0, 0)")
        self.driver.save_screenshot(str(PICTURES / f"{name}.png"))

    def violations(self):
        """What axe-core finds against WCAG A and AA, one line each."""
        self.run(AXE.read_text(encoding="utf-8"))
        found = self.driver.execute_async_script(
            "axe.run(document, {runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa']})"
            ".then((results) => arguments[0](results.violations))")
        return [f"{violation['id']}: {node['html'][:120]} {node['failureSummary']}"
                for violation in found for node in violation["nodes"]]

    def complaints(self):
        """What the browser's console says against the page."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if entry["level"] == "SEVERE"]

    def close(self):
        self.driver.quit()


@functools.lru_cache(maxsize=None)
def shared_window():
    """One browser for all tests of a run, as its start takes longer than a test."""
    window = Window()
    atexit.register(window.close)
    return window


class PageTest(CarTest):
    """A test with a car whose rig serves the page and starts the service, and a browser."""

    def prepare(self):
        self.url = self.start(port=0)
        self.window = shared_window()
        self.window.prefer(color_scheme="light")
        self.window.resize(1280, 1000)
        self.window.open(self.url)
        self.window.wait_for("#local-status", "of")

    def start(self, port):
        """Starts the rig, with it the service, and gives the page's address."""
        position = self.car.monitor.position
        service = f"{binary('Songlatch-undertest')} -config={self.folder.configuration}"
        self.car.rig = Rig(self.car.bus, self.folder, options=[
            "--page", f"127.0.0.1:{port}", "--service", service, "--log", str(self.folder.log_path),
            "--mounts", str(self.car.root)],
            environment={"SONGLATCH_TEST_LOG": str(self.folder.log_path)})
        url = self.car.rig.wait("page")[1]["url"]
        self.car.monitor.wait_for_owner(MEDIA, position)
        self.car.monitor.wait_for_owner(SERVICE, position)
        return url

    def _close(self):
        self.window.open("about:blank")
        self.window.complaints()
        rig = self.car.rig
        if rig and rig.program.running:
            rig.program.process.terminate()
            rig.program.wait()
        super()._close()

    def assert_errors(self, name, text):
        # What the service prints, and libxml2 in it, goes beside the rig's reports.
        self.assertNotIn("songlatch-rig", text)
        self.assertNotIn("Sanitizer", text)

    def order(self, device, **fields):
        """Orders faults by the form of an iPod's card."""
        form = f"[data-ipod='{device}'] .faults"
        for name, value in fields.items():
            self.window.choose(f"{form} [name={name}]", value)
        self.window.click(f"{form} button[type=submit]")

    def attach(self, device, name="My iPod", caps="8,3"):
        """Attaches an iPod by the form."""
        for field, value in (("id", str(device)), ("name", name), ("caps", caps)):
            self.window.fill(f"#attach [name={field}]", value)
        self.window.click("#attach button")
        self.window.wait(lambda: self.window.text(f"[data-ipod='{device}']"),
                         f"the card of iPod {device}")
