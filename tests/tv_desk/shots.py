"""Takes pictures of the page, the real television behind it, into a folder: TV=.../vyrel-tv shots.py FOLDER. For whoever
works on how it looks, and for the README."""

import os
import subprocess
import sys

from browser import Browser
from fake_front import WebSocket

LINES = (
    "set db/menu/network/devicename/tv_name \"Living Room\"", "wait 11s", "speaker connect", "remote connect", "wait 11s",
    "remote grip", "remote battery adc 16", "remote battery adc 15", "sibling updatemanager hang", "power picture-off", "power normal",
)
EXPLAINED = "GripSensorDetected"

SCREENS = (
    ("wide-light", 1440, 900, False), ("wide-dark", 1440, 900, True), ("middle-light", 900, 1100, False),
    ("narrow-light", 390, 844, False), ("narrow-dark", 390, 844, True),
)


DRAWN = "return new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))"


def take(browser, address, folder):
    for name, width, height, dark in SCREENS:
        browser.screen(width, height, dark)
        browser.open(address)
        browser.wait("return document.querySelectorAll('.row').length > 3")
        browser.run(DRAWN)
        browser.picture(os.path.join(folder, f"{name}.png"))
        browser.run("window.scrollTo(0, document.querySelector('#lanes').offsetTop - 8)")
        browser.replace("#find", EXPLAINED)
        browser.wait("const rows = [...document.querySelectorAll('.row')]; "
                     "return rows.length > 0 && rows.every((row) => row.innerText.includes(arguments[0]))", EXPLAINED)
        browser.run("document.querySelector('.row').click()")
        browser.wait("return document.querySelector('.why .chain') !== null")
        browser.press("Escape")
        browser.wait("return document.querySelectorAll('.row').length > 3")
        browser.run("document.activeElement.blur()")
        browser.run(DRAWN)
        browser.picture(os.path.join(folder, f"{name}-why.png"))


def main():
    television = subprocess.Popen([os.environ["TV"], "--page-only"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    try:
        address = television.stdout.readline().decode().split()[-1]
        with WebSocket(int(address.rstrip("/").rsplit(":", 1)[1])) as desk:
            for line in LINES:
                desk.say(line)
            while True:
                done, _ = desk.until("done")
                if done["error"]:
                    sys.exit(f"{done['line']}: {done['error']}")
                if done["line"] == LINES[-1]:
                    break
        with Browser() as browser:
            take(browser, address, sys.argv[1])
    finally:
        television.terminate()
        television.wait()


if __name__ == "__main__":
    main()
