"""Who may come in at the page's server, what it serves, and what it makes of those who misbehave."""

import http.client
import re
import socket
import unittest

from fake_front import DEADLINE, FakeFront, Refused, WebSocket

ENTRY = {"id": 1, "cause": 0, "at": 0, "lane": "set", "kind": "note", "text": "the set is plugged in"}
WITHOUT_A_LINE = "This is no message of a page"
LONGEST_LINE = 64 * 1024


class PageServer(unittest.TestCase):
    def setUp(self):
        self.front = FakeFront()
        self.addCleanup(self.ends)

    def ends(self):
        self.assertEqual(self.front.end(), 0)

    def get(self, path, method="GET", **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.front.port, timeout=DEADLINE)
        self.addCleanup(connection.close)
        connection.request(method, path, headers={name.replace("_", "-"): value for name, value in headers.items()})
        answer = connection.getresponse()
        return answer, answer.read().decode()

    def socket(self, **how):
        return WebSocket(self.front.port, **how)

    def assertRefused(self, status, text, **how):
        with self.assertRaises(Refused) as refused:
            self.socket(**how)
        self.assertEqual(refused.exception.status, status)
        self.assertIn(text, refused.exception.text)

    # What it serves.

    def testThePageIsServedAtItsAddress(self):
        answer, text = self.get("/")
        self.assertEqual(answer.status, 200)
        self.assertEqual(answer.headers["Content-Type"], "text/html; charset=utf-8")
        self.assertIn("<!doctype html>", text.lower())

    def testAllThatThePageNamesIsServedWithItsType(self):
        _, text = self.get("/")
        named = re.findall(r'(?:href|src)="([^"#]+)"', text)
        self.assertIn("style.css", named)
        types = {"css": "text/css; charset=utf-8", "js": "text/javascript; charset=utf-8", "svg": "image/svg+xml"}
        seen = set()
        while named:
            name = named.pop()
            if name in seen:
                continue
            seen.add(name)
            answer, text = self.get("/" + name)
            self.assertEqual(answer.status, 200, name)
            self.assertEqual(answer.headers["Content-Type"], types[name.rsplit(".", 1)[1]])
            named += re.findall(r'from "\./([^"]+)"', text)
        self.assertGreater(len(seen), 5)

    def testNothingIsAskedOfAnotherMachine(self):
        _, text = self.get("/")
        self.assertNotRegex(text, r'(?:href|src)="(?:https?:)?//')

    def testABrowserIsToldToHoldThePageToItself(self):
        answer, _ = self.get("/")
        policy = answer.headers["Content-Security-Policy"].split("; ")
        self.assertIn("default-src 'none'", policy)
        self.assertIn("script-src 'self'", policy)
        self.assertIn("style-src 'self'", policy)
        self.assertIn(f"connect-src 'self' ws://127.0.0.1:{self.front.port}", policy)
        self.assertIn("frame-ancestors 'none'", policy)
        self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
        self.assertEqual(answer.headers["Cache-Control"], "no-store")

    def testARefusalIsHeldToTheSame(self):
        answer, _ = self.get("/nothing", Host="elsewhere.example")
        self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
        self.assertIn("default-src 'none'", answer.headers["Content-Security-Policy"])

    def testWhatIsNotThereIsSaidPlainly(self):
        for path in ("/nothing", "/nothing.js", "/../etc/passwd", "/style.css/", "/%00.css"):
            answer, text = self.get(path)
            self.assertIn(answer.status, (400, 404), path)
        answer, text = self.get("/nothing.js")
        self.assertEqual((answer.status, text), (404, "There is no such page; the television is at /.\n"))

    def testTheHeadOfAPageHasNoBody(self):
        answer, text = self.get("/", method="HEAD")
        self.assertEqual((answer.status, text), (200, ""))

    def testNothingIsTakenByOtherMethods(self):
        for method in ("POST", "PUT", "DELETE", "OPTIONS"):
            answer, _ = self.get("/", method=method)
            self.assertEqual((answer.status, answer.headers["Allow"]), (405, "GET, HEAD"), method)

    def testAHugeBodyIsNotKept(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.front.port, timeout=DEADLINE)
        self.addCleanup(connection.close)
        before = self.front.memory("VmHWM")
        try:
            connection.request("POST", "/", body=b"x" * (64 << 20))
        except (BrokenPipeError, ConnectionResetError):
            pass
        self.assertLess(self.front.memory("VmHWM") - before, 32 << 10)

    # Who may come in.

    def testTheNamesOfTheLoopbackAreItsOwn(self):
        port = self.front.port
        for host in (f"127.0.0.1:{port}", f"localhost:{port}", f"LocalHost:{port}", f"[::1]:{port}"):
            self.assertEqual(self.get("/", Host=host)[0].status, 200, host)

    def testAnotherNameThatLeadsHereIsRefused(self):
        port = self.front.port
        for host in (
            f"elsewhere.example:{port}", "127.0.0.1", f"127.0.0.1:{port + 1}", f"127.0.0.1.elsewhere.example:{port}",
            f"localhost.elsewhere.example:{port}", "elsewhere.example",
        ):
            answer, text = self.get("/", Host=host)
            self.assertEqual(answer.status, 403, host)
            self.assertIn("only for this machine", text)
            self.assertRefused(403, "only for this machine", host=host, origin=None)

    def testAHostThatIsNoneIsRefused(self):
        port = self.front.port
        for host in ("", f"127.0.0.1:{port}.elsewhere.example", f"localhost:{port}@elsewhere.example"):
            self.assertIn(self.get("/", Host=host)[0].status, (400, 403), host)
            with self.assertRaises(Refused, msg=host) as refused:
                self.socket(host=host, origin=None)
            self.assertIn(refused.exception.status, (400, 403), host)

    def testAnotherOriginIsRefused(self):
        port = self.front.port
        for origin in (
            "http://elsewhere.example", "https://elsewhere.example", "null", f"http://127.0.0.1:{port + 1}",
            f"https://127.0.0.1:{port}", f"icap://127.0.0.1:{port}", f"http://127.0.0.1:{port}.elsewhere.example", "http://127.0.0.1", "http://",
        ):
            self.assertRefused(403, "no other site", origin=origin)

    def testItsOwnOriginsMayFeed(self):
        port = self.front.port
        for name in ("127.0.0.1", "localhost", "[::1]"):
            with self.socket(origin=f"http://{name}:{port}") as opened:
                self.assertIn("hello", opened.object())

    def testAProgramThatIsNoBrowserMayFeed(self):
        with self.socket(origin=None) as opened:
            self.assertIn("hello", opened.object())

    def testTheFeedIsNoPage(self):
        answer, text = self.get("/feed")
        self.assertEqual(answer.status, 400)
        self.assertIn("WebSocket", text)

    def testThereIsNoOtherFeed(self):
        for path in ("/", "/feed/", "/feed/more", "/Feed"):
            with self.assertRaises(Refused, msg=path):
                self.socket(path=path)

    def testItListensAtTheLoopbackOnly(self):
        port = self.front.port
        listening = {}
        for family in ("tcp", "tcp6"):
            with open(f"/proc/net/{family}", encoding="ascii") as table:
                for row in list(table)[1:]:
                    local, state = row.split()[1], row.split()[3]
                    address, its_port = local.split(":")
                    if state == "0A" and int(its_port, 16) == port:
                        listening[address] = family
        self.assertEqual(
            {address for address in listening} - {"0100007F", "00000000000000000000000001000000"}, set(), listening
        )
        self.assertIn("0100007F", listening)

    def testAPortInUseIsSaidWithASuggestion(self):
        with FakeFront(self.front.port) as second:
            self.assertIn(f"port {self.front.port} is in use", second.error)
            self.assertIn("--port", second.error)
            second.program.wait(DEADLINE)

    def testAFreePortCanBeNamed(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        with FakeFront(port) as second:
            self.assertEqual(second.address, f"http://127.0.0.1:{port}/")

    # What crosses the WebSocket.

    def testAPageIsToldAllAgainAndThenWhatHappens(self):
        self.front.tell_all({"hello": {"commands": []}}, ENTRY, {"state": {"running": True}})
        with self.socket() as opened:
            self.front.next("opened")
            self.front.tell({"done": {"line": "plug", "error": None}})
            self.assertEqual(
                [next(iter(opened.object())) for _ in range(4)], ["hello", "id", "state", "done"]
            )

    def testSeveralPagesAreToldTheSame(self):
        with self.socket() as one, self.socket() as other:
            for page in (one, other):
                page.until("state")
            self.front.tell(ENTRY)
            self.assertEqual(one.object(), ENTRY)
            self.assertEqual(other.object(), ENTRY)

    def testAPageThatGoesLeavesTheOthersAlone(self):
        with self.socket() as stays:
            with self.socket() as goes:
                goes.until("state")
            stays.until("state")
            self.front.tell(ENTRY)
            self.assertEqual(stays.object(), ENTRY)

    def testALineIsSubmitted(self):
        with self.socket() as page:
            page.say("remote connect")
            self.assertEqual(self.front.next("line"), "remote connect")
            page.say('speaker name "Küche"\t🔊')
            self.assertEqual(self.front.next("line"), 'speaker name "Küche"\t🔊')

    def testTenThousandLinesAtOnceAllArrive(self):
        with self.socket() as page:
            for number in range(10000):
                page.say(f"wait {number}ms")
            for number in range(10000):
                self.assertEqual(self.front.next("line"), f"wait {number}ms")

    def assertAnswered(self, page, payload, text, kind=WebSocket.TEXT):
        page.send(payload, kind)
        error, _ = page.until("error")
        self.assertIn(text, error)
        page.say("still here")
        self.assertEqual(self.front.next("line"), "still here")

    def testWhatIsNoMessageIsAnsweredAndLosesNothing(self):
        with self.socket() as page:
            for payload in (
                b"", b"remote connect", b"{}", b"[]", b"null", b'"line"', b'{"line":1}', b'{"line":null}',
                b'{"line":["x"]}', b'{"line":"x","more":1}', b'{"Line":"x"}', b'{"line":"x"', b'{"line":"x"}}',
                b'[{"line":"x"}]', b'{"line":{"line":"x"}}', b'{"line":"x"} {"line":"y"}',
            ):
                self.assertAnswered(page, payload, WITHOUT_A_LINE)

    def testALineWithControlsIsRefused(self):
        with self.socket() as page:
            for line in ("remote connect\\nremote lose", "\\u001b[2J", "\\u007f"):
                self.assertAnswered(page, b'{"line":"' + line.encode() + b'"}', "one line, without control characters")

    def testWhatIsNestedDeepIsRefused(self):
        with self.socket() as page:
            self.assertAnswered(page, b"[" * 300000, WITHOUT_A_LINE)
            self.assertAnswered(page, b'{"line":' * 40000, WITHOUT_A_LINE)

    def testTheLongestLineIsTaken(self):
        with self.socket() as page:
            page.say("x" * LONGEST_LINE)
            self.assertEqual(len(self.front.next("line")), LONGEST_LINE)
            page.send(b'{"line":"' + b"\\u0078" * LONGEST_LINE + b'"}')
            self.assertEqual(self.front.next("line"), "x" * LONGEST_LINE)

    def testALineThatIsTooLongIsRefused(self):
        with self.socket() as page:
            self.assertAnswered(page, b'{"line":"' + b"x" * (LONGEST_LINE + 1) + b'"}', f"has {LONGEST_LINE + 1} bytes")
            self.assertAnswered(page, b"x" * (7 * LONGEST_LINE), "too long")

    def testAMessageBeyondAllBoundsEndsOnlyItsConnection(self):
        with self.socket() as stays, self.socket() as page:
            with self.assertRaises((EOFError, ConnectionError)):
                page.send(b"x" * (1 << 20))
                page.until("no such object")
            stays.say("still here")
            self.assertEqual(self.front.next("line"), "still here")

    def testBytesThatAreNoTextAreRefused(self):
        with self.socket() as page:
            self.assertAnswered(page, b'{"line":"\xff"}', "no UTF-8", WebSocket.BINARY)
            self.assertAnswered(page, b'{"line":"x\0y"}', "zero byte", WebSocket.BINARY)

    def testATextThatIsNoTextEndsOnlyItsConnection(self):
        """The protocol wants it so."""
        with self.socket() as stays, self.socket() as page:
            page.send(b'{"line":"\xff"}')
            self.assertEqual(page.close_code(), 1007)
            stays.say("still here")
            self.assertEqual(self.front.next("line"), "still here")

    def testTooManyPagesAreRefused(self):
        pages = [self.socket() for _ in range(32)]
        for page in pages:
            self.addCleanup(page.socket.close)
            page.until("state")
        self.assertRefused(503, "Too many pages")
        pages.pop().socket.close()
        self.front.tell(ENTRY)  # whoever is told after that came before
        pages[0].until("id")
        for _ in range(1000):
            try:
                with self.socket() as again:
                    again.until("state")
                    return
            except Refused:
                pages[0].say("look")  # a round trip, in which the server sees the other go
                self.front.next("line")
        self.fail("no page is let in though one has gone")

    def testWhoDoesNotReadIsBoundedAndToldAllAgainInTheEnd(self):
        """Sixteen million bytes wait for a page at most; this is five times as much."""
        big = {"done": {"line": "x" * 60000, "error": None}}
        self.front.tell(ENTRY)
        with self.socket() as lazy, self.socket() as reads:
            lazy.until("state")
            reads.until("state")
            empty = self.front.memory("VmRSS")
            for _ in range(14):
                self.front.tell(*[big] * 100)
                for _ in range(100):
                    reads.until("done")
            self.assertLess(self.front.memory("VmRSS") - empty, 48 << 10)
            self.front.tell({"state": {"running": False}})
            reads.until("state")  # so that it is known before the other begins to read
            _, before = lazy.until("hello")
            self.assertLess(before, 1400)
            self.assertEqual(lazy.object(), ENTRY)
            self.assertEqual(lazy.object(), {"state": {"running": False}})
            self.front.tell({"done": {"line": "last", "error": None}})
            self.assertEqual(lazy.object()["done"]["line"], "last")

    def testTwentyThousandEntriesAreToldAtTheBeginning(self):
        self.front.tell_all(*({**ENTRY, "id": number} for number in range(1, 20101)))
        with self.socket() as page:
            page.until("hello")
            first = page.object()
            _, rest = page.until("state")
            self.assertLessEqual(rest + 1, 20000)
            self.assertGreater(first["id"], 0)


if __name__ == "__main__":
    unittest.main()
