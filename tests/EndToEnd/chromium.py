"""A page in a real Chromium without a window, driven through the browser's debugging pipe."""

import contextlib
import json
import os
import selectors
import shutil
import subprocess
import tempfile
import time

from harness import Failure, wait_for

OPTIONS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run"]
OPTIONS += ["--disable-background-networking", "--disable-component-update", "--disable-sync", "--mute-audio"]
OPTIONS += ["--password-store=basic", "--autoplay-policy=no-user-gesture-required", "--remote-debugging-pipe"]
ANSWER_PATIENCE = 60  # seconds; the first answer comes when the browser has started


class Page:
    """Opens an address. `requests` are the addresses that the page asked for, `complaints` what its console shows."""

    def __init__(self, address):
        self.requests, self.complaints = [], []
        self.number, self.session, self.unread = 0, None, b""
        self.profile = tempfile.mkdtemp(prefix="chromium-")
        commands, self.to_browser = os.pipe()
        self.from_browser, answers = os.pipe()
        # The browser reads commands from descriptor 3 and writes answers to 4.
        start = f'exec 5<&{commands} 6>&{answers} 3<&5 4>&6 5<&- 6>&-; exec chromium "$@"'
        self.process = subprocess.Popen(
            ["bash", "-c", start, "chromium", *OPTIONS, f"--user-data-dir={self.profile}"],
            pass_fds=(commands, answers),
            stderr=subprocess.DEVNULL,
        )
        os.close(commands)
        os.close(answers)
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.from_browser, selectors.EVENT_READ)
        target = self.send("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network", "Accessibility"):
            self.send(domain + ".enable")
        self.open(address)

    def open(self, address):
        self.send("Page.navigate", url=address)
        wait_for(lambda: self.value("document.readyState") == "complete" and self.value("location.href") == address,
                 f"{address} in the browser")

    def send(self, method, **parameters):
        """Calls a method of the debugging protocol, and returns its result."""
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to_browser, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + ANSWER_PATIENCE
        while True:
            answer = self.receive(deadline)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise Failure(f"{method}: {answer['error']}")
                return answer["result"]
            self.note(answer.get("method"), answer.get("params"))

    def receive(self, deadline):
        while b"\0" not in self.unread:
            if not self.selector.select(deadline - time.monotonic()):
                raise Failure("the browser does not answer")
            read = os.read(self.from_browser, 1 << 20)
            if not read:
                raise Failure("the browser has ended")
            self.unread += read
        message, _, self.unread = self.unread.partition(b"\0")
        return json.loads(message)

    def note(self, event, details):
        if event == "Network.requestWillBeSent":
            self.requests.append(details["request"]["url"])
        elif event == "Runtime.exceptionThrown":
            self.complaints.append(details["exceptionDetails"])
        elif event == "Runtime.consoleAPICalled":
            self.complaints.append(details["args"])
        elif event == "Log.entryAdded":
            self.complaints.append(details["entry"])

    def value(self, expression):
        result = self.send("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise Failure(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def click(self, selector, number=0):
        """A click of the mouse into the middle of an element."""
        box = self.value(
            f"(e => (e.scrollIntoView({{block: 'center'}}), e.getBoundingClientRect().toJSON()))"
            f"(document.querySelectorAll({selector!r})[{number}])"
        )
        place = {"x": box["x"] + box["width"] / 2, "y": box["y"] + box["height"] / 2}
        for kind in ("mousePressed", "mouseReleased"):
            self.send("Input.dispatchMouseEvent", type=kind, button="left", clickCount=1, **place)

    def press(self, key, code):
        """A key, with its Windows code, as the protocol wants it."""
        text = {"text": "\r"} if key == "Enter" else {}
        for kind in ("keyDown", "keyUp"):
            self.send("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code, **text)

    def controls(self):
        """Roles and names of what a screen reader finds."""
        nodes = self.send("Accessibility.getFullAXTree")["nodes"]
        return [(node["role"]["value"], node.get("name", {}).get("value", "")) for node in nodes if not node["ignored"]]

    def close(self):
        with contextlib.suppress(Failure, OSError):
            self.session = None
            self.send("Browser.close")
        self.process.kill()
        self.process.wait()
        os.close(self.to_browser)
        os.close(self.from_browser)
        shutil.rmtree(self.profile, ignore_errors=True)
