#!/usr/bin/env python3
"""Times what a user sees, through the remote control of the real program (docs/remote.md).

    bench/remote_timing.py KYMORA [FILE] [--minutes M] [--pages N] [--json]

Without FILE an EDF of 16 signals at 25 kHz is made, M minutes long (20 without it, about 1 GB), and removed. Prints
the time from the start of the process to the first picture, of the picture of the whole file, and of pages and zooms,
with the time that reading the file with cat takes beside them. Needs a display or QT_QPA_PLATFORM=offscreen.
"""

import argparse
import array
import json
import math
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "scripts"))
from kymora_remote import Kymora  # noqa: E402

SIGNALS, RATE, RECORD = 16, 25000, 1000  # samples of a signal in each data record of 40 ms


def write_edf(path, minutes):
    """Sines of different speed with noise and a few spikes, so that no two seconds are alike."""
    records = int(minutes * 60 * RATE / RECORD)

    def fields(values, width):
        return b"".join(str(value).ljust(width).encode() for value in values)

    head = fields(["0"], 8) + fields(["X X X X", "Startdate 01-JAN-2020 X X X"], 80) + b"01.01.2000.00.00"
    head += fields([256 * (SIGNALS + 1)], 8) + b" " * 44 + fields([records], 8) + fields(["0.04"], 8) + fields([SIGNALS], 4)
    each = [(16, "signal {}"), (80, "electrode"), (8, "uV"), (8, "-3276.8"), (8, "3276.7"), (8, "-32768"),
            (8, "32767"), (80, ""), (8, str(RECORD)), (32, "")]
    for width, text in each:
        head += fields([text.format(i + 1) for i in range(SIGNALS)], width)
    chance = random.Random(1)
    blocks = []
    for block in range(50):
        samples = array.array("h")
        for signal in range(SIGNALS):
            for i in range(RECORD):
                wave = 2000 * math.sin((block * RECORD + i) * (signal + 1) * 2 * math.pi / 50000)
                samples.append(int(wave + chance.gauss(0, 100)) + (9000 if chance.random() < 1e-4 else 0))
        if sys.byteorder == "big":
            samples.byteswap()
        blocks.append(samples.tobytes())
    with open(path, "wb") as file:
        file.write(head)
        for record in range(records):
            file.write(blocks[record % len(blocks)])


def cat_seconds(path):
    best = math.inf
    for _ in range(3):
        start = time.perf_counter()
        # Through a pipe, so that all of it is read.
        reader = subprocess.Popen(["cat", path], stdout=subprocess.PIPE)
        while reader.stdout.read(1 << 20):
            pass
        reader.wait()
        best = min(best, time.perf_counter() - start)
    return best


def timed(kymora, coarse=False, **request):
    """From sending a request until the view shows it; with all that it has to read unless `coarse`."""
    start = time.perf_counter()
    kymora.write(**request)
    kymora.write(wait=True, coarse=coarse, timeoutMs=600000)
    kymora.read()
    painted = kymora.read()["painted"]
    if not painted:
        raise RuntimeError("the window was not painted")
    return time.perf_counter() - start


def summary(times):
    ordered = sorted(times)
    at = lambda part: ordered[min(len(ordered) - 1, math.ceil(part * len(ordered)) - 1)]
    return {"medianMs": 1000 * at(0.5), "p99Ms": 1000 * at(0.99), "worstMs": 1000 * ordered[-1], "count": len(ordered)}


def peak_mib(process):
    with open(f"/proc/{process.pid}/status") as status:
        for line in status:
            if line.startswith("VmHWM"):
                return int(line.split()[1]) / 1024
    return math.nan


def summary_share(kymora):
    share = kymora.ask(state=True)["documents"][0]["summary"]
    return 1 if share is None else share


def pages(kymora, count, span):
    """Pages through stretches of one length, from the start of the recording."""
    kymora.ask(viewport={"start": 0, "end": span})
    kymora.wait()
    return [timed(kymora, command="right-page") for _ in range(count)]


def zooms(kymora, count, end):
    """From the whole recording inwards and out again."""
    times, spans = [], []
    kymora.ask(command="show-all")
    kymora.wait()
    while len(times) < count:
        for command in ["expand"] * 10 + ["compress"] * 10:
            times.append(timed(kymora, command=command))
            shown = kymora.ask(state=True)["documents"][0]["viewport"]
            spans.append(shown["end"] - shown["start"])
        kymora.ask(viewport={"start": end * random.Random(len(times)).random() / 2, "end": end})
        kymora.wait()
    # The span that is slowest says which way of reading to look at.
    return dict(summary(times), worstSpanMs=spans[times.index(max(times))])


def measure(program, path, count):
    result = {"bytes": os.path.getsize(path), "catSeconds": cat_seconds(path)}
    start = time.perf_counter()
    with Kymora.start(program, path, timeout=600) as kymora:
        kymora.wait(timeoutMs=600000)
        result["firstPictureSeconds"] = time.perf_counter() - start
        start = time.perf_counter()
        result["coarsePictureMs"] = 1000 * timed(kymora, coarse=True, command="show-all")
        kymora.wait(timeoutMs=600000)
        result["completePictureSeconds"] = time.perf_counter() - start
        result["completeOfCat"] = result["completePictureSeconds"] / result["catSeconds"]
        while summary_share(kymora) < 1:
            time.sleep(0.05)
        result["summaryReadySeconds"] = time.perf_counter() - start
        kymora.ask(resize={"width": 1600, "height": 900})
        document = kymora.ask(state=True)["documents"][0]
        result["paintAgain"] = summary([timed(kymora, activate=0) for _ in range(count)])
        again = []
        for _ in range(20):
            timed(kymora, viewport={"start": 0, "end": 1000})
            again.append(timed(kymora, command="show-all"))
        result["showAllAgain"] = summary(again)
        for seconds in (0.1, 1, 10):
            if 2000 * seconds < document["endTime"]:
                turns = min(count, int(document["endTime"] / (1000 * seconds)) - 1)
                result[f"pagesOf{seconds:g}s"] = summary(pages(kymora, turns, 1000 * seconds))
        result["zooms"] = zooms(kymora, min(count, 100), document["endTime"])
        result["peakMiB"] = peak_mib(kymora.process)
        kymora.quit()
    return result


def show(result):
    for name, value in result.items():
        if isinstance(value, dict):
            value = ", ".join(f"{key} {number:.2f}" if isinstance(number, float) else f"{key} {number}"
                              for key, number in value.items())
        print(f"{name:22} {value:.4g}" if isinstance(value, float) else f"{name:22} {value}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("kymora")
    parser.add_argument("file", nargs="?")
    parser.add_argument("--minutes", type=float, default=20)
    parser.add_argument("--pages", type=int, default=200)
    parser.add_argument("--json", action="store_true")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        # The user's own settings and recent files stay as they are, and no summary of an earlier run helps.
        os.environ["XDG_CONFIG_HOME"] = os.environ["XDG_CACHE_HOME"] = folder
        path = arguments.file or os.path.join(folder, "timing.edf")
        if not arguments.file:
            write_edf(path, arguments.minutes)
        result = measure(arguments.kymora, path, arguments.pages)
    print(json.dumps(result, indent=1)) if arguments.json else show(result)


if __name__ == "__main__":
    main()
