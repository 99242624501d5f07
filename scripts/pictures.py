"""Drives the window by remote control and keeps pictures of it for the README and docs/.

    python3 pictures.py KYMORA RECORDINGS OUT
"""

import base64
import os
import shutil
import sys
import tempfile

from kymora_remote import Kymora

SPAN = {"start": 1700, "end": 2700}


def start(program, *files):
    """The window with its first settings, whatever the user's own are."""
    settings = tempfile.mkdtemp()
    return Kymora.start(program, *files, env=dict(os.environ, XDG_CONFIG_HOME=settings, XDG_CACHE_HOME=settings))


def picture(window, path):
    window.wait()
    window.ask(png=True, file=path, yes=True)


def spikes(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    picture(window, f"{out}/window.png")

    window.ask(viewport={"start": 2180, "end": 2300})
    for time in (2199.5, 2229.0):
        window.ask(command="cursor-place-at-time", answers={"time": time})
    window.ask(command="cursor-show-ids")
    window.ask(command="scale-bar-add-horz", answers={})
    window.ask(command="scale-bar-add-vert", answers={})
    picture(window, f"{out}/cursors.png")

    window.ask(command="cursor-del-all")
    window.ask(viewport=SPAN)
    window.ask(command="theme-dark")
    picture(window, f"{out}/dark.png")
    window.ask(quit=True, discard=True)


def operation_picture(window, path, operation, **request):
    """The window of an operation once its chart and texts have come."""
    window.ask(operation=operation, **request)
    window.wait()
    answer = window.ask(operation=operation, picture=True)
    with open(path, "wb") as file:
        file.write(base64.b64decode(answer["png"]))


def detection(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    window.ask(viewport={"start": 2180, "end": 2700})
    levels = {"trace": 2, "onsetDirection": 1, "thresholdSource": 2, "statsSource": 0,
              "onMultiplier": 4, "minimumOffTime": 1, "destination": "k", "label": "found"}
    operation_picture(window, f"{out}/threshold.png", "event-threshold", set=levels, run=True)
    picture(window, f"{out}/levels.png")
    window.ask(operation="event-threshold", shut=True)
    rule = {"trace": 2, "source": 2, "direction": 2, "multiplier": 5, "postFilterOn": True, "postFilterCutOff": 200,
            "refractoryTime": 1, "displayDuration": 500, "destination": "l"}
    operation_picture(window, f"{out}/spike-preview.png", "spike-detect-thresh", set=rule)
    window.ask(operation="spike-detect-thresh", shut=True)
    columns = {"channel1": "k", "pkToPkAmp": True}
    operation_picture(window, f"{out}/event-list.png", "event-list", set=columns, run=True)
    window.ask(quit=True, discard=True)


def transforms(program, demo, out):
    with tempfile.TemporaryDirectory() as folder:
        source = shutil.copy(f"{demo}/demo_spikes.kymr-dat", folder)
        window = start(program, source)
        window.ask(resize={"width": 1180, "height": 760})
        window.ask(viewport={"start": 2180, "end": 2300})
        smooth = {"type": 5, "traces": "2", "halfWindow": 12, "polyDegree": 3}
        operation_picture(window, f"{out}/smooth.png", "gen-smooth", set=smooth)
        answer = window.ask(operation="gen-smooth", preview=True)
        with open(f"{out}/preview.png", "wb") as file:
            file.write(base64.b64decode(answer["previewPng"]))
        window.ask(operation="gen-smooth", run=True)
        picture(window, f"{out}/smoothed.png")
        expression = {"traces": "1", "expression": "x1 - (x1 + x2) / 2"}
        operation_picture(window, f"{out}/expression.png", "arbitrary-arith", set=expression)
        window.ask(quit=True, discard=True)


def gaps(program, demo, out):
    window = start(program, f"{demo}/demo_gaps.kymr-dat")
    window.ask(resize={"width": 1180, "height": 560})
    window.ask(command="show-all")
    picture(window, f"{out}/gaps.png")
    window.ask(command="inactive-sections")
    picture(window, f"{out}/gaps-grey.png")
    window.ask(quit=True, discard=True)


def tiled(program, demo, out):
    window = start(program, *(f"{demo}/demo_{name}.kymr-dat" for name in ("spikes", "gaps", "episodic")))
    window.ask(resize={"width": 1280, "height": 860})
    window.ask(command="window-tile")
    picture(window, f"{out}/tiled.png")
    window.ask(quit=True, discard=True)


def main():
    program, demo, out = sys.argv[1:]
    for scene in (spikes, detection, transforms, gaps, tiled):
        scene(program, demo, out)


if __name__ == "__main__":
    main()
