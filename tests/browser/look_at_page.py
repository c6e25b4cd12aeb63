"""Opens a report in a headless browser and clicks through it, as a reader would.

    look_at_page.py BROWSER PAGE [DIRECTORY]

Ends with an error that names what is not as it should be. With DIRECTORY there are pictures of it behind that, at two
widths, light and dark. Needs a browser of the Chromium family and nothing else: it is driven over a pipe by its
developers' protocol (https://chromedevtools.github.io/devtools-protocol/).
"""

import base64
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile

SECONDS = 500  # for everything
WIDE, NARROW = (1280, 900), (390, 844)


class Browser:
    """One tab. `faults` gathers what scripts throw and what is logged as an error, `requests` what is asked for."""

    def __init__(self, program, directory):
        to_read, self._out = os.pipe()
        self._in, to_write = os.pipe()

        def take_ends():  # the protocol's pipes are descriptors 3 and 4
            one, other = os.dup(to_read), os.dup(to_write)
            os.dup2(one, 3)
            os.dup2(other, 4)

        self._process = subprocess.Popen(
            [program, "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-dev-shm-usage",
             "--disable-background-networking", "--remote-debugging-pipe", f"--user-data-dir={directory}", "about:blank"],
            preexec_fn=take_ends, close_fds=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_read)
        os.close(to_write)
        self._rest, self._number, self._session = b"", 0, None
        self.faults, self.requests, self.events = [], [], []
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for part in ("Page", "Runtime", "Log", "Network"):
            self.ask(part + ".enable")

    def close(self):
        self._process.kill()
        self._process.wait()

    def _message(self):
        while b"\0" not in self._rest:
            piece = os.read(self._in, 1 << 16)
            if not piece:
                raise SystemExit("the browser ended by itself")
            self._rest += piece
        message, self._rest = self._rest.split(b"\0", 1)
        message = json.loads(message)
        method, params = message.get("method"), message.get("params", {})
        if method == "Runtime.exceptionThrown":
            self.faults.append(params["exceptionDetails"].get("exception", {}).get("description", "an exception"))
        elif method == "Log.entryAdded" and params["entry"]["level"] == "error":
            self.faults.append(params["entry"]["text"])
        elif method == "Network.requestWillBeSent":
            self.requests.append(params["request"]["url"])
        if method:
            self.events.append(method)
        return message

    def ask(self, method, **params):
        self._number += 1
        question = {"id": self._number, "method": method, "params": params}
        if self._session:
            question["sessionId"] = self._session
        os.write(self._out, json.dumps(question).encode() + b"\0")
        while True:
            message = self._message()
            if message.get("id") == self._number:
                if "error" in message:
                    raise SystemExit(f"{method}: {message['error']['message']}")
                return message["result"]

    def open(self, page):
        self.events.clear()
        self.ask("Page.navigate", url=page.as_uri())
        while "Page.loadEventFired" not in self.events:
            self._message()

    def value(self, expression):
        """What JavaScript says of it, once promises are kept."""
        answer = self.ask("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in answer:
            raise SystemExit(f"{expression}: {answer['exceptionDetails']['exception']['description']}")
        return answer["result"].get("value")

    def size(self, width, height):
        self.ask("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def settle(self):
        self.value("new Promise(done => setTimeout(() => requestAnimationFrame(done), 150))")

    def middle_of(self, expression):
        """Where one clicks to hit an element, which is brought into sight."""
        return self.value(f"""(() => {{ const one = {expression}; one.scrollIntoView({{block: 'center'}});
            const box = one.getBoundingClientRect(); return [box.left + box.width / 2, box.top + box.height / 2]; }})()""")

    def point_at(self, expression):
        x, y = self.middle_of(expression)
        self.ask("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
        self.settle()
        return x, y

    def click(self, expression):
        x, y = self.point_at(expression)
        for kind in ("mousePressed", "mouseReleased"):
            self.ask("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)
        self.settle()

    def press(self, key, text=None):
        extra = {"text": text} if text else {}
        self.ask("Input.dispatchKeyEvent", type="keyDown", key=key, **extra)
        self.ask("Input.dispatchKeyEvent", type="keyUp", key=key)
        self.settle()

    def picture(self, file):
        file.write_bytes(base64.b64decode(self.ask("Page.captureScreenshot", format="png")["data"]))


class Look:
    def __init__(self, browser):
        self.browser = browser
        self.faults = []

    def hold(self, is_so, what):
        if not is_so:
            self.faults.append(what)

    def fits(self, name):
        wide = self.browser.value("""Array.from(document.querySelectorAll('body *')).filter(one => {
            const box = one.getBoundingClientRect();
            return box.width && box.right > innerWidth + 1 && !one.closest('svg, #tip'); }).slice(0, 3).map(one => one.outerHTML.slice(0, 80))""")
        over = self.browser.value("document.documentElement.scrollWidth - innerWidth")
        self.hold(over <= 0, f"{name}: the page is {over} pixels wider than the window; beyond it are {wide}")

    def tiles(self):
        for i in range(self.browser.value("document.querySelectorAll('header nav a').length")):
            self.browser.click(f"document.querySelectorAll('header nav a')[{i}]")
            top = self.browser.value("document.querySelector(location.hash).getBoundingClientRect().top")
            self.hold(0 <= top < 200, f"the beginning of what tile {i} leads to is in sight, and not at {top}")

    def search(self):
        browser = self.browser
        browser.value("document.activeElement.blur()")
        browser.press("/", "/")
        self.hold(browser.value("document.activeElement.id") == "q", "the key / leads to the search")
        browser.ask("Input.insertText", text="uart0 baud")
        browser.settle()
        shown = browser.value("Array.from(document.querySelectorAll('#list li[id]:not([hidden])')).map(one => one.id)")
        self.hold(0 < len(shown) < 20, f"the search for two words finds {len(shown)} parameters")
        self.hold(any("UART0_BAUD" in one for one in shown), f"among {shown} there is the baud rate of UART0")
        said = browser.value("document.getElementById('hits').textContent")
        self.hold(said.startswith(f"{len(shown)} of "), f"{len(shown)} parameters are shown, and the page says {said!r}")
        browser.click("document.querySelector('#find button[type=reset]')")
        self.hold(" of " not in browser.value("document.getElementById('hits').textContent"), "all are shown again")
        browser.value("""(() => { const kind = document.getElementById('k'); kind.value = 'given';
            kind.dispatchEvent(new Event('change', {bubbles: true})); })()""")
        given = browser.value("document.querySelectorAll('#list li[id]:not([hidden])').length")
        told = browser.value("parseInt(document.querySelector('header nav a[href=\"#differences\"]').textContent)")
        self.hold(given == told, f"{told} parameters are given, and the list shows {given}")
        browser.value("document.getElementById('find').reset()")
        browser.settle()

    def ways(self):
        browser = self.browser
        link = "document.querySelector('#differences a[href^=\"#\"]')"
        target = browser.value(f"{link}.hash.slice(1)")
        browser.click(link)
        self.hold(browser.value(f"location.hash === '#{target}'"), "a difference leads to its parameter")
        self.hold(browser.value(f"document.getElementById('{target}').querySelector('details').open"), "which is open")
        self.hold(browser.value(f"""(box => box.bottom > 0 && box.top < innerHeight)
            (document.getElementById('{target}').getBoundingClientRect())"""), "and in sight")
        fold = "document.querySelector('#differences details.block > summary')"
        if browser.value(f"!!{fold}"):
            was = browser.value(f"{fold}.parentNode.open")
            browser.click(fold)
            self.hold(browser.value(f"{fold}.parentNode.open") != was, "a block opens when it is clicked")
        browser.click("document.querySelector('#find .print input')")
        self.hold(browser.value("document.body.classList.contains('with-list')"), "the list can be printed")

    def pictures(self):
        browser = self.browser
        for section in ("pads", "clocks"):
            part = (f"Array.from(document.querySelectorAll('#{section} svg g[data-to]'))"
                    ".find(one => one.getBoundingClientRect().width)")  # there is a picture for each width
            browser.point_at(part)
            self.hold(not browser.value("document.getElementById('tip').hidden"), f"{section}: pointing tells something")
            self.hold(browser.value("""(box => box.left >= 0 && box.top >= 0 && box.right <= innerWidth &&
                box.bottom <= innerHeight)(document.getElementById('tip').getBoundingClientRect())"""),
                      f"{section}: what it tells is in the window")
            target = browser.value(f"{part}.dataset.to")
            browser.click(part)
            self.hold(browser.value("location.hash.slice(1)") == target, f"{section}: a click leads to the parameter")
            browser.value(f"{part}.closest('svg').querySelector('g[tabindex]').focus()")
            before = browser.value("document.activeElement.getAttribute('aria-label')")
            browser.press("ArrowRight")
            after = browser.value("document.activeElement.getAttribute('aria-label')")
            self.hold(after and after != before, f"{section}: an arrow leads from {before!r} to the next")
            browser.press("Escape")
            self.hold(browser.value("document.getElementById('tip').hidden"), f"{section}: Escape hides what it tells")


def look(browser, page, directory):
    look = Look(browser)
    for name, size in (("wide", WIDE), ("narrow", NARROW)):
        browser.size(*size)
        browser.open(page)
        browser.settle()
        look.fits(name)
        if directory:
            for section in ("top", "messages", "differences", "pads", "clocks", "parameters"):
                browser.value("scrollTo(0, 0)" if section == "top" else
                              f"document.getElementById('{section}').scrollIntoView({{block: 'start'}})")
                browser.settle()
                browser.picture(directory / f"{name}-{section}.png")
        look.tiles()
        look.search()
        look.ways()
        look.pictures()
        look.fits(name + ", with what was opened")
    browser.size(*WIDE)
    colours = []
    for scheme in ("light", "dark"):
        browser.ask("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        browser.open(page)
        browser.settle()
        colours.append(browser.value("getComputedStyle(document.body).backgroundColor"))
        if directory and scheme == "dark":
            browser.value("document.getElementById('pads').scrollIntoView({block: 'start'})")
            browser.settle()
            browser.picture(directory / "dark-pads.png")
    look.hold(colours[0] != colours[1], f"the page is {colours[0]} in light and in dark")
    look.hold(not browser.faults, f"scripts tell of faults: {browser.faults}")
    others = [url for url in browser.requests if not url.startswith((page.as_uri(), "data:", "about:"))]
    look.hold(not others, f"the page asks for {others}")
    return look.faults


def main():
    program, page = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    directory = pathlib.Path(sys.argv[3]) if len(sys.argv) > 3 else None
    if directory:
        directory.mkdir(parents=True, exist_ok=True)
    signal.alarm(SECONDS)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        browser = Browser(program, profile)
        try:
            faults = look(browser, page, directory)
        finally:
            browser.close()
    for fault in faults:
        print(fault)
    sys.exit(1 if faults else 0)


main()
