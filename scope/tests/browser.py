"""A headless Chromium, driven through chromedriver by the WebDriver protocol.

Raises Unavailable, with the reason, where there is none.
"""

import base64
import json
import pathlib
import shutil
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

PATIENCE = 60  # seconds that a condition may take on a busy machine
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Unavailable(Exception):
    pass


class Browser:
    def __init__(self, width=1440, height=1000, phone=False):
        for program in ("chromium", "chromedriver"):
            if shutil.which(program) is None:
                raise Unavailable(f"no {program} (scripts/install check)")
        self._folder = tempfile.TemporaryDirectory(prefix="scope-browser-")
        self.downloads = pathlib.Path(self._folder.name, "downloads")
        self.downloads.mkdir()
        self._driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        self._address = self._find_address()
        self._session = None
        flags = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 "--disable-dev-shm-usage", "--hide-scrollbars",
                 f"--user-data-dir={self._folder.name}/profile", f"--window-size={width},{height}"]
        options = {"args": flags,
                   "prefs": {"download.default_directory": str(self.downloads)}}
        if phone:
            options["mobileEmulation"] = {"deviceMetrics": {
                "width": width, "height": height, "pixelRatio": 2, "touch": True}}
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL"}}
        answer = self._ask("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
        self._session = answer["sessionId"]
        self._ask("POST", "/timeouts", {"script": 1000 * PATIENCE})

    def _find_address(self):
        for line in self._driver.stdout:
            if "started successfully on port" in line:
                return "http://127.0.0.1:" + line.rsplit(" ", 1)[1].strip().rstrip(".")
        raise Unavailable("chromedriver does not start")

    def _ask(self, method, path, body=None):
        where = self._address + (f"/session/{self._session}" if path != "/session" else "") + path
        if path == "":
            where = f"{self._address}/session/{self._session}"
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(where, data, {"Content-Type": "application/json"},
                                         method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from error

    def open(self, address):
        self._ask("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        """The result of a function body."""
        return self._ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def run_async(self, script, *arguments):
        """What the function body hands to its last argument."""
        return self._ask("POST", "/execute/async", {"script": script, "args": list(arguments)})

    def wait(self, condition, *arguments, patience=PATIENCE):
        """Until an expression of JavaScript is true; its value. Fails when it does not become so."""
        end = time.monotonic() + patience
        while True:
            value = self.run(f"return {condition}", *arguments)
            if value:
                return value
            if time.monotonic() > end:
                raise AssertionError(f"did not become true: {condition}")
            time.sleep(0.05)

    def click(self, selector):
        element = self._ask("POST", "/element", {"using": "css selector", "value": selector})
        self._ask("POST", f"/element/{element[ELEMENT]}/click", {})

    def type(self, selector, text):
        element = self._ask("POST", "/element", {"using": "css selector", "value": selector})
        self._ask("POST", f"/element/{element[ELEMENT]}/value", {"text": text})

    def press(self, keys):
        actions = []
        for key in keys:
            actions += [{"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]
        self._ask("POST", "/actions", {"actions": [
            {"type": "key", "id": "keyboard", "actions": actions}]})

    def drag(self, selector, begin, end):
        """Over an element, from one share of its width to another."""
        box = self.run("const b = document.querySelector(arguments[0]).getBoundingClientRect();"
                       "return [b.left, b.top, b.width, b.height]", selector)
        middle = int(box[1] + box[3] / 2)
        moves = [{"type": "pointerMove", "duration": 0, "x": int(box[0] + box[2] * begin), "y": middle},
                 {"type": "pointerDown", "button": 0},
                 {"type": "pointerMove", "duration": 50, "x": int(box[0] + box[2] * end), "y": middle},
                 {"type": "pointerUp", "button": 0}]
        if begin == end:
            moves = moves[:1]
        self._ask("POST", "/actions", {"actions": [
            {"type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"},
             "actions": moves}]})

    def command(self, name, **parameters):
        """Of the browser's own protocol."""
        return self._ask("POST", "/goog/cdp/execute", {"cmd": name, "params": parameters})

    def dark(self, is_dark):
        self.command("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"}])

    def picture(self, path):
        pathlib.Path(path).write_bytes(base64.b64decode(self._ask("GET", "/screenshot")))

    def complaints(self):
        """What the browser has complained of since it was asked last."""
        return [entry["message"] for entry in
                self._ask("POST", "/se/log", {"type": "browser"})
                if entry["level"] in ("SEVERE", "WARNING")]

    def close(self):
        try:
            if self._session:
                self._ask("DELETE", "")
        finally:
            self._driver.terminate()
            self._driver.wait()
            self._driver.stdout.close()
            self._folder.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
