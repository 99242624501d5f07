"""Holds the bursts that each method finds in simulated trains against the bursts that were simulated.

    python3 burst_borders.py KYMORA DATA

DATA has trains in spikes/sim_NAME.txt, a spike time in seconds on each line, and for each expected/spikes__sim_NAME.txt.json,
whose "known_bursts" has "burst_start_s" and "burst_end_s", the first and the last spike of each simulated burst. Each
train becomes the events of a recording of 0.1 ms samples.
"""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

from kymora_remote import Kymora

SAMPLE = 0.1  # ms
AT_ONCE = 5000  # events of a request
METHODS = {
    "Poisson surprise": {"method": 0, "surpriseLevel": 3, "maxInBurstInterval": 200},
    "Rank surprise": {"method": 1, "surpriseLevel": 2, "maxInBurstInterval": 200},
    "Manual": {"method": 2, "maxInBurstInterval": 170, "maxIntervalWithinBurst": 300, "minInterBurstInterval": 200,
               "minBurstDuration": 10},
    "Log interval histogram": {"method": 3, "maxInBurstInterval": 200},
}


def record(program, times, path):
    """Writes a recording with an event of one sample in channel a at each time, in ms."""
    raw = path.with_suffix(".bin")
    raw.write_bytes(bytes(2 * (int(times[-1] / SAMPLE) + 1000)))
    settings = {"binaryTraces": 1, "binaryType": "int16", "binaryInterval": SAMPLE}
    subprocess.run([program, "convert", raw, "-o", path, "--yes", "--quiet",
                    *(f"--import={key}={value}" for key, value in settings.items())], check=True)
    raw.unlink()
    home = tempfile.mkdtemp()
    env = dict(os.environ, XDG_CONFIG_HOME=home, XDG_CACHE_HOME=home, QT_QPA_PLATFORM="offscreen")
    with Kymora.start(program, path, env=env) as window:
        for at in range(0, len(times), AT_ONCE):
            events = [{"on": time, "off": time + SAMPLE} for time in times[at:at + AT_ONCE]]
            window.ask(addEvents={"channel": "a", "unit": "ms", "events": events})
        window.ask(command="file-save", yes=True)


def find(program, recording, settings):
    """First and last spike of each burst, ms; None where the method refuses the train."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([program, "run", "CEventBurstDetect", recording, "-o", f"{folder}/found.kymr-dat", "--json",
                               "--yes", "--quiet", "--set=channel1=a", "--set=destination=f",
                               *(f"--set={key}={value}" for key, value in settings.items())],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if done.returncode:
        return None
    rows = json.loads(done.stdout)["results"][0]["rows"]
    return [(onset, onset + duration - SAMPLE) for onset, duration, *_ in rows]


def meet(a, b):
    return min(a[1], b[1]) > max(a[0], b[0])


def compare(known, found):
    """Known bursts that are met; found ones that meet a known one; border differences where they meet one to one."""
    met = [[b for b in found if meet(a, b)] for a in known]
    true = [[a for a in known if meet(a, b)] for b in found]
    pairs = [(a, m[0]) for a, m in zip(known, met) if len(m) == 1 and len(true[found.index(m[0])]) == 1]
    borders = [(abs(b[0] - a[0]), abs(b[1] - a[1])) for a, b in pairs]
    return sum(map(bool, met)), sum(map(bool, true)), borders


def main():
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    kinds = {}
    with tempfile.TemporaryDirectory() as work:
        for text in sorted(folder.glob("spikes/sim_*.txt")):
            expected = folder / "expected" / f"spikes__{text.name}.json"
            known = json.loads(expected.read_text())["known_bursts"]
            bursts = [(1000 * a, 1000 * b)
                      for a, b in zip(known.get("burst_start_s", []), known.get("burst_end_s", []))]
            recording = pathlib.Path(work, text.stem + ".kymr-dat")
            record(program, [1000 * float(line) for line in text.read_text().split()], recording)
            kinds.setdefault(known["kind"], []).append((recording, bursts))
        for method, settings in METHODS.items():
            for kind, trains in kinds.items():
                known = met = found = true = refused = 0
                borders = []
                for recording, bursts in trains:
                    known += len(bursts)
                    answer = find(program, recording, settings)
                    if answer is None:
                        refused += 1
                        continue
                    some, right, differences = compare(bursts, answer)
                    met, found, true = met + some, found + len(answer), true + right
                    borders += differences
                exact = sum(max(pair) < 1.5 * SAMPLE for pair in borders)
                medians = [f"{statistics.median(side):.1f}" for side in zip(*borders)] or ["-", "-"]
                print(f"{method}, {kind}: {met} of {known} met, {true} of {found} found are true, {len(borders)} one to one, "
                      f"{exact} with both borders, medians {medians[0]} and {medians[1]} ms, {refused} of {len(trains)} refused")


if __name__ == "__main__":
    main()
