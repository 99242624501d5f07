#!/usr/bin/env python3
"""How the recording window keeps up: 16 traces at 20 kHz, on a display (run it under xvfb-run where there is none).

    recording_window_bench.py PROGRAM [SECONDS]

Prints ratios: below 1 is within what is wanted, but for the frames, of which more is better.
"""

import os
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts"))
from kymora_remote import Kymora

WANTED_CORES, WANTED_LATENCY, WANTED_FRAMES = 0.5, 50.0, 30.0


def cpu_seconds(process):
    with open(f"/proc/{process}/stat") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def measure(window, seconds, sweep_mode):
    settings = {f"channel{i}.chanOn": 1 for i in range(1, 17)}
    window.ask(recorder="open", source="simulated", size={"width": 1600, "height": 1000},
               set={**settings, "input": "sine", "displaySpan": 2000, "sweepMode": sweep_mode, "timeLimit": 3600})
    window.ask(recorder="view")
    time.sleep(1)
    before, began = cpu_seconds(window.process.pid), time.time()
    frames = window.ask(recorder="state")["recorder"]["frames"]
    time.sleep(seconds)
    state = window.ask(recorder="state")["recorder"]
    lasted = time.time() - began
    window.ask(recorder="stop")
    cores = (cpu_seconds(window.process.pid) - before) / lasted
    rate = (state["frames"] - frames) / lasted
    print(f"{sweep_mode}: cores / {WANTED_CORES} = {cores / WANTED_CORES:.3f}, "
          f"p99 from buffer to paint / {WANTED_LATENCY:.0f} ms = {state['latencyMs']['p99'] / WANTED_LATENCY:.3f}, "
          f"frames a second / {WANTED_FRAMES:.0f} = {rate / WANTED_FRAMES:.3f}, "
          f"left out {state['droppedScans']}")


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 10.0
    folder = tempfile.mkdtemp()
    environment = dict(os.environ, XDG_CONFIG_HOME=folder, XDG_CACHE_HOME=folder)
    with Kymora.start(sys.argv[1], env=environment) as window:
        for mode in ("scroll", "restart"):
            measure(window, seconds, mode)


if __name__ == "__main__":
    main()
