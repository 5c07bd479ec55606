"""A headless Chromium, driven through a pipe; nothing but the browser and the standard library is needed."""

import base64
import json
import os
import select
import subprocess
import time


class Browser:
    def __init__(self, profile):
        to_browser, self.writing = os.pipe()
        self.reading, from_browser = os.pipe()
        words = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                 "--disable-background-networking", "--remote-debugging-pipe", f"--user-data-dir={profile}"]

        def take_places():
            # The browser reads from descriptor 3 and writes to 4. Out of each other's way first.
            reads, writes = os.dup(to_browser), os.dup(from_browser)
            os.dup2(reads, 3)
            os.dup2(writes, 4)

        # Descriptors beyond these two must not keep the pipes open.
        self.process = subprocess.Popen(words, preexec_fn=take_places, close_fds=False, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.buffer, self.number, self.session, self.events = b"", 0, None, []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network"):
            self.call(f"{domain}.enable")

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.writing)
        os.close(self.reading)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.writing, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.receive()
            if answer.get("id") == self.number:
                assert "result" in answer, answer
                return answer["result"]
            self.events.append(answer)

    def receive(self, seconds=30):
        end = time.monotonic() + seconds
        while b"\0" not in self.buffer:
            ready = select.select([self.reading], [], [], max(0, end - time.monotonic()))[0]
            assert ready, "the browser does not answer"
            read = os.read(self.reading, 1 << 16)
            assert read, "the browser has ended"
            self.buffer += read
        text, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(text)

    def open(self, address):
        self.events.clear()
        answer = self.call("Page.navigate", url=address)
        assert "errorText" not in answer, answer
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self.receive())

    def value(self, script):
        answer = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in answer, answer["exceptionDetails"]
        return answer["result"].get("value")

    def wait_for(self, script, seconds=10):
        end = time.monotonic() + seconds
        while not self.value(script):
            assert time.monotonic() < end, script
            time.sleep(0.05)

    def requests(self):
        """The addresses that the page asked for."""
        self.call("Runtime.evaluate", expression="0")
        return [event["params"]["request"]["url"] for event in self.events
                if event.get("method") == "Network.requestWillBeSent"]

    def type(self, text):
        self.call("Input.insertText", text=text)

    def screen(self, width, height, scheme="light"):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=width < 600)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self, path):
        path.write_bytes(base64.b64decode(self.call("Page.captureScreenshot")["data"]))
