#!/usr/bin/env python3
"""Takes the pictures of docs/scope.md from the demo: pictures.py SCOPE DEMO FOLDER"""

import os
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent / "tests"))
from browser import Browser  # noqa: E402
from session import Session  # noqa: E402

SCOPE, DEMO, FOLDER = sys.argv[1:4]
FOLDER = pathlib.Path(FOLDER)


def prepare(browser, session):
    """Every stream runs, and the window is short enough to tell the curves apart."""
    browser.open(session.address)
    for command in ("CV_debutAcquisition", "FX_startRaw", "FX_getJson"):
        browser.wait("globalThis.scope?.state && !document.querySelector(arguments[0]).disabled",
                     f"[data-command={command}]")
        browser.click(f"[data-command={command}]")
    browser.wait("scope.plots.plots.has('motion')")
    browser.run("for (let i = 3; i < 9; ++i) scope.plots.plots.get('motion').toggle(i)")
    browser.wait("scope.data.streams.get('contraction').length > 16")


def main():
    # By its name, as in daily use: the pictures show the command.
    os.environ["PATH"] = f"{pathlib.Path(DEMO).parent}:{os.environ['PATH']}"
    arguments = (pathlib.Path(DEMO).name, "--control", "json 60")
    with Browser(1440, 1290) as browser, Session(SCOPE, *arguments) as session:
        prepare(browser, session)
        browser.drag("[data-stream=motion] .canvas", 0.6, 0.6)
        for name, is_dark in (("light", False), ("dark", True)):
            browser.dark(is_dark)
            before = browser.run("return scope.frames.length")
            browser.wait("scope.frames.length > arguments[0] + 3", before)
            browser.picture(FOLDER / f"scope-{name}.png")
        browser.dark(False)
        session.write("FX_cmdWriteByte 3 256")
        browser.wait("scope.state.endCode !== undefined && !document.getElementById('notice').hidden")
        browser.command("Emulation.setDeviceMetricsOverride", width=1440, height=560,
                        deviceScaleFactor=1, mobile=False)
        time.sleep(1)  # for the new size
        browser.picture(FOLDER / "scope-ended.png")
    with Browser(412, 915, phone=True) as browser, Session(SCOPE, *arguments) as session:
        prepare(browser, session)
        browser.run("document.getElementById('plots').scrollIntoView(); scrollBy(0, -420)")
        time.sleep(1)  # for the curves that have come into view
        browser.picture(FOLDER / "scope-phone.png")


main()
