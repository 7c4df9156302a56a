"""The page of a message in a browser: what a person sees, the tab of the properties, and nothing that a stranger's mail wants.

Headless Chromium is driven over the WebDriver protocol; without it the test is passed over (77)."""
import base64
import http.server
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.request

TOOL = sys.argv[1]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
PIXELS = base64.b64encode(bytes.fromhex(
    "47494638396103000200800000ff0000ffffff21f90401000000002c00000000030002000002028451003b")).decode()  # a GIF, 3 by 2

MAIL = """From: Ann <ann@example.org>
To: Bob <bob@example.com>
Subject: Look & <b>listen</b>
Date: Mon, 2 Mar 2020 10:00:00 +0000
MIME-Version: 1.0
Content-Type: multipart/related; boundary=r

--r
Content-Type: text/html; charset=utf-8

<html><head><meta http-equiv=refresh content="0;url=SERVER/refresh"><style>body{background:url(SERVER/style)}</style>
<base href="SERVER/"><link rel=stylesheet href=SERVER/sheet></head><body onload="fetch('SERVER/load')" background=SERVER/back>
<p id=hello style="color:rgb(0,128,0);background:url(SERVER/css);position:fixed">Grüße</p>
<img id=inside src="cid:picture@example.org" alt=inline><img src="SERVER/pixel" alt="remote" onerror="fetch('SERVER/error')">
<script>document.title='taken';fetch('SERVER/script')</script><iframe src="SERVER/frame"></iframe>
<svg><image href="SERVER/svg"/></svg><object data="SERVER/object"></object><video src=SERVER/video poster=SERVER/poster></video>
<form action="SERVER/form"><input type=image src=SERVER/input></form><a id=bad href="javascript:fetch('SERVER/link')">bad</a>
<a id=good href="https://example.org/x">good</a></body></html>
--r
Content-Type: image/gif
Content-ID: <picture@example.org>
Content-Transfer-Encoding: base64

PIXELS
--r--
"""


class Asked(http.server.BaseHTTPRequestHandler):
    paths = []

    def do_GET(self):
        Asked.paths.append(self.path)
        self.send_response(404)
        self.end_headers()

    def log_message(self, *_):
        pass


class Browser:
    def __init__(self, profile):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        # It takes a port that is free, and says which.
        said = (re.search(r"started successfully on port (\d+)", line) for line in self.driver.stdout)
        self.port = next(port[1] for port in said if port)
        arguments = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking", "--disable-sync",
                     "--no-first-run", "--disable-component-update", "--window-size=1000,900", f"--user-data-dir={profile}"]
        options = {"capabilities": {"alwaysMatch": {"goog:chromeOptions": {"args": arguments}}}}
        self.session = "/session/" + self.call("POST", "/session", options)["sessionId"]

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}{path}", data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def post(self, path, **body):
        return self.call("POST", self.session + path, body)

    def find(self, selector):
        return self.post("/element", using="css selector", value=selector)[ELEMENT]

    def run(self, script, *arguments):
        return self.post("/execute/sync", script=script, args=list(arguments))

    def close(self):
        self.call("DELETE", self.session)
        self.driver.terminate()
        self.driver.communicate()


class Page(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Asked)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        mail = self.path / "mail.eml"
        address = f"http://127.0.0.1:{server.server_port}"
        mail.write_text(MAIL.replace("SERVER", address).replace("PIXELS", PIXELS), encoding="utf-8")
        done = subprocess.run([TOOL, "show", "--html", mail], capture_output=True, check=True)
        page = self.path / "page.html"
        page.write_bytes(done.stdout)
        self.browser = Browser(self.path / "profile")
        self.addCleanup(self.browser.close)
        self.browser.post("/url", url=page.as_uri())

    def shown(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).getClientRects().length > 0", selector)

    def test_shows_the_message_and_nothing_else(self):
        browser = self.browser
        self.assertEqual(browser.run("return document.title"), "Look & <b>listen</b>")
        head = browser.run("return document.querySelector('#message table').innerText")
        self.assertIn("Ann <ann@example.org>", head)
        self.assertIn("Bob <bob@example.com>", head)
        self.assertTrue(self.shown("#message"))
        self.assertFalse(self.shown("#properties"))
        browser.post("/element/" + browser.find("label[for=t2]") + "/click")
        self.assertFalse(self.shown("#message"))
        self.assertTrue(self.shown("#properties"))
        self.assertIn("PR_SUBJECT\tLook & <b>listen</b>", browser.run("return document.querySelector('#properties').innerText"))
        browser.post("/element/" + browser.find("label[for=t1]") + "/click")
        # A frame in a sandbox runs no script, not even ours: its tree is read through the driver.
        browser.post("/frame", id={ELEMENT: browser.find("iframe")})
        text = browser.call("GET", browser.session + "/element/" + browser.find("body") + "/text")
        self.assertIn("Grüße", text)
        self.assertIn("[remote]", text)
        picture = browser.call("GET", browser.session + "/element/" + browser.find("img") + "/rect")
        self.assertEqual((picture["width"], picture["height"]), (3, 2))
        source = browser.call("GET", browser.session + "/source")
        for word in ("script", "onload", "onerror", "javascript:", "refresh", "url(", "iframe", "<form", "<object", "position"):
            self.assertNotIn(word, source)
        self.assertIn('href="https://example.org/x"', source)
        self.assertIn("rgb(0,128,0)", source)
        time.sleep(0.3)
        self.assertEqual(Asked.paths, [])


if __name__ == "__main__":
    if not (shutil.which("chromium") and shutil.which("chromedriver")):
        print("passed over: Chromium is not here")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
