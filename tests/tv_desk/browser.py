"""A headless browser, driven as the W3C says (https://www.w3.org/TR/webdriver2/)."""

import base64
import http.client
import json
import os
import subprocess
import sys

DEADLINE = 60  # a browser on a machine that is busy with much else is slow
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {
    "Enter": "\ue007", "Tab": "\ue004", "Escape": "\ue00c", "Left": "\ue012", "Up": "\ue013", "Right": "\ue014",
    "Down": "\ue015", "Home": "\ue011", "End": "\ue010", "Space": " ", "Shift": "\ue008",
}
# The page looks for itself: to ask it again and again from here would keep three processes busy.
WAIT = """
    const [deadline, ...given] = arguments;
    const look = function () { %s };
    return (async () => {
        for (const begin = performance.now();;) {
            const value = look(...given);
            if (value || performance.now() - begin > deadline) {
                return value;
            }
            await new Promise((done) => setTimeout(done, 10));
        }
    })();
"""


class WebDriverError(Exception):
    pass


class Browser:
    """With a `with`: ends the browser and all that it left."""

    def __init__(self, width=1440, height=900, dark=False, calm=True):
        here = os.path.dirname(os.path.abspath(__file__))
        self.keeper = subprocess.Popen(
            [sys.executable, "-B", os.path.join(here, "keeper.py"), os.environ.get("CHROMEDRIVER", "chromedriver")],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, start_new_session=True,
        )
        self.session = None
        try:
            port, folder = self.keeper.stdout.readline().decode().split()
            self.folder = folder
            self.http = http.client.HTTPConnection("127.0.0.1", int(port), timeout=5 * DEADLINE)
            arguments = [
                "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-extensions",
                "--no-default-browser-check", "--hide-scrollbars", "--force-device-scale-factor=1", "--force-color-profile=srgb",
                "--password-store=basic", f"--user-data-dir={folder}/profile", f"--window-size={width},{height}",
                # Each test opens its page anew: it needs no process of its own for that, nor one in reserve for the next.
                "--disable-site-isolation-trials", "--process-per-site", "--renderer-process-limit=1",
                "--disable-features=BackForwardCache,IsolateOrigins,SpareRendererForSitePerProcess,site-per-process",
            ]
            if calm:
                arguments.append("--force-prefers-reduced-motion")
            answer = self._ask("POST", "/session", {"capabilities": {"alwaysMatch": {
                "browserName": "chrome", "goog:loggingPrefs": {"browser": "ALL"},
                "goog:chromeOptions": {"args": arguments, "binary": os.environ.get("CHROMIUM", "/usr/bin/chromium")},
            }}})
            self.session = f"/session/{answer['sessionId']}"
            self._say("/timeouts", script=2 * 1000 * DEADLINE)
            self.screen(width, height, dark)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.keeper.stdin.close()
        self.keeper.stdout.close()
        self.keeper.wait()

    def _ask(self, method, path, body=None):
        self.http.request(method, path, None if body is None else json.dumps(body), {"Content-Type": "application/json"})
        answer = json.loads(self.http.getresponse().read())["value"]
        if isinstance(answer, dict) and "error" in answer:
            raise WebDriverError(f"{answer['error']}: {answer['message']}")
        return answer

    def _say(self, path, **body):
        return self._ask("POST", self.session + path, body)

    def _devtools(self, command, **parameters):
        return self._say("/goog/cdp/execute", cmd=command, params=parameters)

    def screen(self, width, height, dark=False):
        self._devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self._devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def open(self, address):
        self._say("/url", url=address)

    def run(self, script, *arguments):
        return self._say("/execute/sync", script=script, args=list(arguments))

    def find(self, selector):
        return self._say("/element", using="css selector", value=selector)[ELEMENT]

    def count(self, selector):
        return self.run("return document.querySelectorAll(arguments[0]).length", selector)

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0])?.innerText ?? null", selector)

    def value(self, selector):
        return self.run("return document.querySelector(arguments[0])?.value ?? null", selector)

    def attribute(self, selector, name):
        return self.run("return document.querySelector(arguments[0])?.getAttribute(arguments[1]) ?? null", selector, name)

    def click(self, selector):
        self._say(f"/element/{self.find(selector)}/click")

    def type(self, selector, text):
        self._say(f"/element/{self.find(selector)}/value", text=text)

    def replace(self, selector, text):
        self.run("const e = document.querySelector(arguments[0]); e.focus(); e.select()", selector)
        self.type(selector, text)

    def paste(self, selector, text):
        """In the place of what stands there. A page that is typed into draws itself for each letter."""
        self.run("const e = document.querySelector(arguments[0]); e.focus(); e.select()", selector)
        self._devtools("Input.insertText", text=text)

    def press(self, *keys):
        """To whatever has the focus; names as in KEYS, or a character."""
        actions = []
        for key in keys:
            code = KEYS.get(key, key)
            actions += [{"type": "keyDown", "value": code}, {"type": "keyUp", "value": code}]
        self._say("/actions", actions=[{"type": "key", "id": "keyboard", "actions": actions}])

    def drag(self, selector, target):
        start, end = ({ELEMENT: self.find(each)} for each in (selector, target))
        self._say("/actions", actions=[{"type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"}, "actions": [
            {"type": "pointerMove", "duration": 0, "x": 0, "y": 0, "origin": start},
            {"type": "pointerDown", "button": 0},
            {"type": "pointerMove", "duration": 20, "x": 12, "y": 12, "origin": start},
            {"type": "pointerMove", "duration": 40, "x": 0, "y": 0, "origin": end},
            {"type": "pointerUp", "button": 0},
        ]}])

    def wait(self, script, *arguments, otherwise=""):
        """Until the script returns something that is true; that is returned."""
        value = self.run(WAIT % script, 1000 * DEADLINE, *arguments)
        if not value:
            raise TimeoutError(otherwise or script)
        return value

    def wait_text(self, selector, text):
        try:
            self.wait("return document.querySelector(arguments[0])?.innerText.includes(arguments[1])", selector, text)
        except TimeoutError:
            raise AssertionError(f"{selector} never said {text!r} but {self.text(selector)!r}") from None

    def wait_for(self, selector):
        self.wait("return document.querySelector(arguments[0]) !== null", selector, otherwise=f"there is no {selector}")

    def new_page(self):
        """Opens another one and goes to it. \\return the one before"""
        before = self._ask("GET", self.session + "/window")
        self.go(self._say("/window/new", type="tab")["handle"])
        return before

    def go(self, page):
        self._say("/window", handle=page)

    def complaints(self):
        """What the browser has written on its console since the last look."""
        return [f"{entry['level']}: {entry['message']}" for entry in self._say("/se/log", type="browser")]

    def picture(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self._ask("GET", self.session + "/screenshot")))
