"""Drives the window by remote control and keeps pictures of it for the README and docs/.

    python3 pictures.py KYMORA RECORDINGS OUT
"""

import base64
import math
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import time

from kymora_remote import Kymora

SPAN = {"start": 1700, "end": 2700}


def start(program, *files):
    """The window with its first settings, whatever the user's own are."""
    settings = tempfile.mkdtemp()
    return Kymora.start(program, *files, env=dict(os.environ, XDG_CONFIG_HOME=settings, XDG_CACHE_HOME=settings))


def picture(window, path):
    window.wait()
    window.ask(png=True, file=path, yes=True)


def preview_picture(window, path, operation, settings=None):
    answer = window.ask(operation=operation, set=settings or {}, preview=True)
    with open(path, "wb") as file:
        file.write(base64.b64decode(answer["previewPng"]))


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


def first_minute(program, demo, out):
    window = start(program)
    window.ask(resize={"width": 1180, "height": 760})
    picture(window, f"{out}/start.png")
    with tempfile.TemporaryDirectory() as folder:
        table = f"{folder}/grid.txt"
        with open(table, "w") as file:
            file.write("\t".join(f"site {n + 1}" for n in range(128)) + "\n")
            for i in range(2000):
                file.write("\t".join(f"{40 * math.sin(i / (9 + n % 5) + n) + (i * 7919 * (n + 3) % 41) - 20:.1f}"
                                     for n in range(128)) + "\n")
        window.ask(open=table, answers={"sampleInterval": 1, "skipRows": 1, "labelRow": 1})
        window.ask(viewport={"start": 0, "end": 1000})
        picture(window, f"{out}/many-traces.png")
        window.ask(quit=True, discard=True)


def operation_picture(window, path, operation, **request):
    """The window of an operation once its graph and texts have come."""
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


def shapes(program, demo, out):
    window = start(program, f"{demo}/demo_gaps.kymr-dat")
    window.ask(resize={"width": 1180, "height": 900})
    window.ask(viewport={"start": 14000, "end": 36000})
    hills = {"trace": 2, "mergeFoothills": 0.5, "upSlope": 20, "downSlope": 20, "logCounts": True, "destination": "k",
             "label": "breaths"}
    window.ask(operation="event-hill-analysis", set=hills, run=True)
    picture(window, f"{out}/hills.png")
    window.ask(quit=True, discard=True)
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 900})
    window.ask(command="show-all")
    rhythm = {"trace": 1, "slidingWindow": 6000, "maximumLag": 3000, "step": 500, "smoothHalfWindow": 100,
              "reduceFactor": 200, "destination": "m", "label": "rhythm"}
    window.ask(operation="event-osc", set=rhythm, run=True)
    picture(window, f"{out}/rhythm-in-data.png")
    window.ask(quit=True, discard=True)


def frequencies(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 860})
    window.ask(viewport={"start": 0, "end": 20000})
    power = {"log2Bins": 13, "window": 6, "logX": True, "logY": True, "confidence": True, "band": True, "bandLow": 40,
             "bandHigh": 60}
    operation_picture(window, f"{out}/spectrum.png", "spectrum-anal-dlg", set=power, run=True)
    coherence = {"mode": 2, "log2Bins": 8, "logX": False, "logY": False, "phase": True}
    operation_picture(window, f"{out}/coherence.png", "spectrum-anal-dlg", set=coherence, run=True)
    window.ask(operation="spectrum-anal-dlg", shut=True)
    window.ask(viewport={"start": 1700, "end": 2700})
    operation_picture(window, f"{out}/spectrogram.png", "sonogram", set={"surface": True}, run=True)
    window.ask(operation="sonogram", shut=True)
    operation_picture(window, f"{out}/scalogram.png", "morlet-scalogram", run=True)
    window.ask(operation="morlet-scalogram", shut=True)
    operation_picture(window, f"{out}/wavelets.png", "dwt-analysis", set={"display": 1}, run=True)
    window.ask(operation="dwt-analysis", shut=True)
    window.ask(viewport={"start": 2000, "end": 2100})
    preview_picture(window, f"{out}/wavelet-denoise.png", "wavelet-denoise")
    window.ask(quit=True, discard=True)


def templates(program, demo, out):
    with tempfile.TemporaryDirectory() as folder:
        recording = shutil.copy(f"{demo}/demo_spikes.kymr-dat", f"{folder}/spikes.kymr-dat")
        window = start(program, recording)
        window.ask(resize={"width": 1180, "height": 860})
        window.ask(viewport={"start": 30, "end": 330})
        settings = {"trace": 1, "templateStart": 51.85, "templateEnd": 53.25, "templateType": 2, "goodnessOfFit": 8,
                    "destination": "f"}
        operation_picture(window, f"{out}/template.png", "pattern-recognition", set=settings, run=True)
        window.ask(operation="pattern-recognition", set={"addErrorTrace": True, "addTemplateTrace": True}, run=True,
                   yes=True)
        window.ask(operation="pattern-recognition", shut=True)
        picture(window, f"{out}/template-traces.png")
        window.ask(quit=True, discard=True)


def fits(program, demo, out):
    window = start(program, f"{demo}/demo_episodic.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    window.ask(viewport={"start": 53, "end": 150})
    curve = {"trace": 1, "equation": "a + b*(exp(-t/c) - exp(-t/d))", "a": -65, "b": 2, "c": 10, "d": 1, "maxIter": 50}
    operation_picture(window, f"{out}/curve-fit.png", "CCurveFit", set=curve, run=True)
    window.ask(operation="CCurveFit", shut=True)
    decay = {"channel1": "c", "trace": 1, "fitStart": 8, "fitEnd": 60, "averages": 21, "avgTime": 1}
    operation_picture(window, f"{out}/time-constant.png", "CTimeConstLog", set=decay, run=True)
    window.ask(quit=True, discard=True)


def histograms(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    for name, settings in (("histogram", {"channel1": "b", "kde": 1, "bandwidthRule": "sheather-jones", "fit": 2,
                                          "family": "exponential"}),
                           ("psth", {"channel1": "b", "channel2": "e", "parameter": "PSTH 1 from 2", "raster": 1,
                                     "kde": 0, "fit": 0}),
                           ("correlograms", {"parameter": "CrossCorr 2->1", "channels": "a-c", "raster": 0})):
        operation_picture(window, f"{out}/{name}.png", "event-hist", set=settings, run=True)
    window.ask(operation="event-hist", shut=True)
    window.ask(quit=True, discard=True)


def rhythms(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    bursts = {"channel1": "b", "destination": "f", "method": 1, "surpriseLevel": 3, "maxInBurstInterval": 40}
    operation_picture(window, f"{out}/bursts.png", "event-burst-detect", set=bursts, run=True)
    window.ask(quit=True, discard=True)
    window = start(program, f"{demo}/demo_gaps.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    rhythm = {"channel1": "c", "destination": "f", "slidingWindow": 5, "maxCv": 0.06}
    operation_picture(window, f"{out}/rhythm.png", "event-rhythm-detect", set=rhythm, run=True)
    helper = {"channel1": "c", "destination": "g", "route": 1, "minimumOffTime": 0, "outlierLimit": 1.8}
    operation_picture(window, f"{out}/rhythm-helper.png", "event-rhythm-helper", set=helper, run=True)
    window.ask(quit=True, discard=True)


def transforms(program, demo, out):
    with tempfile.TemporaryDirectory() as folder:
        source = shutil.copy(f"{demo}/demo_spikes.kymr-dat", folder)
        window = start(program, source)
        window.ask(resize={"width": 1180, "height": 760})
        window.ask(viewport={"start": 2180, "end": 2300})
        smooth = {"type": 5, "traces": "2", "halfWindow": 12, "polyDegree": 3}
        operation_picture(window, f"{out}/smooth.png", "gen-smooth", set=smooth)
        preview_picture(window, f"{out}/preview.png", "gen-smooth")
        window.ask(operation="gen-smooth", run=True)
        picture(window, f"{out}/smoothed.png")
        expression = {"traces": "1", "expression": "x1 - (x1 + x2) / 2"}
        operation_picture(window, f"{out}/expression.png", "arbitrary-arith", set=expression)
        window.ask(quit=True, discard=True)


def filters(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 760})
    window.ask(viewport={"start": 2180, "end": 2200})
    preview_picture(window, f"{out}/rate-preview.png", "resample", {"up": 1, "down": 3})
    window.ask(operation="resample", shut=True)
    window.ask(viewport={"start": 2180, "end": 2700})
    band = {"traces": "1", "bandType": 2, "lowerCut": 300, "upperCut": 3000, "order": 3, "passes": 2}
    operation_picture(window, f"{out}/filter.png", "classic-filter", set=band)
    window.ask(operation="classic-filter", shut=True)
    operation_picture(window, f"{out}/debuzz.png", "debuzz", set={"trace": 1, "noiseInterval": 20, "limits": True})
    window.ask(operation="debuzz", shut=True)
    operation_picture(window, f"{out}/raised-spike.png", "freq-mult", set={"channel1": "a", "frequencyMultiplier": 8}, run=True)
    window.ask(quit=True, discard=True)


def form_picture(window, path, **request):
    """The dialog that a request asks with, as it was answered."""
    forms = window.ask(formPictures=True, **request)["forms"]
    with open(path, "wb") as file:
        file.write(base64.b64decode(forms[0]["png"]))


def write_edf(path, signals, seconds):
    """Signals are (label, unit, samples in a second)."""
    def fields(texts, width):
        return "".join(f"{text:<{width}}" for text in texts)
    n = len(signals)
    header = fields(["0"], 8) + fields(["Patient 7", "Night 2"], 80) + "12.03.24" + "22.15.00"
    header += fields([256 * (n + 1)], 8) + fields([""], 44) + fields([seconds, 1], 8) + fields([n], 4)
    header += fields([label for label, _, _ in signals], 16) + fields(["AgCl electrode"] * n, 80)
    header += fields([unit for _, unit, _ in signals], 8)
    for limit in (-200, 200, -2000, 2000):
        header += fields([limit] * n, 8)
    header += fields(["HP:0.1Hz LP:75Hz"] * n, 80) + fields([rate for _, _, rate in signals], 8)
    header += fields([""] * n, 32)
    with open(path, "wb") as file:
        file.write(header.encode())
        for second in range(seconds):
            for at, (_, _, rate) in enumerate(signals):
                times = (second + i / rate for i in range(rate))
                wave = [int(800 * math.sin(t * (3 + at))) for t in times]
                file.write(struct.pack(f"<{rate}h", *wave))


def data_in(program, demo, out):
    with tempfile.TemporaryDirectory() as folder:
        text, binary = f"{folder}/force.csv", f"{folder}/force.bin"
        rows = [(n * 0.0005, math.sin(n / 40), math.cos(n / 25) / 2) for n in range(4000)]
        with open(text, "w") as file:
            file.write("Cell 7, 2 kHz\nTime,Force,Length\n")
            file.writelines(f"{time:.4f},{force:.5f},{length:.5f}\n" for time, force, length in rows)
        with open(binary, "wb") as file:
            for row in rows:
                file.write(struct.pack("<2f", *row[1:]))
        pose = "scorer\tnet\tnet\tnet\tnet\tnet\tnet\nbodyparts\tnose\tnose\tnose\ttail\ttail\ttail\n"
        pose += "coords\tx\ty\tlikelihood\tx\ty\tlikelihood\n"
        for n in range(500):
            pose += f"{n}\t{310 + n / 9:.2f}\t{95 + n / 7:.2f}\t0.99\t{402 + n / 8:.2f}\t{97:.2f}\t0.97\n"
        window = start(program)
        answers = {"sampleInterval": 0.5, "skipColumns": 1, "labelRow": 2}
        form_picture(window, f"{out}/text-file.png", open=text, answers=answers)
        names = "Fp1 Fp2 F7 F3 Fz F4 F8 T3 C3 Cz C4 T4 T5 P3 Pz P4 T6 O1 O2".split()
        signals = [(f"EEG {name}", "uV", 256) for name in names]
        signals += [("ECG", "mV", 512), ("EMG chin", "uV", 512), ("Airflow", "", 32), ("SpO2", "%", 1)]
        write_edf(f"{folder}/night.edf", signals, 20)
        form_picture(window, f"{out}/edf-signals.png", open=f"{folder}/night.edf",
                     answers={"signals": [0, 1, 8, 10, 17, 18, 19, 20]})
        answers = {"binaryTraces": 2, "binaryInterval": 0.5, "binaryType": 2}
        form_picture(window, f"{out}/binary-file.png", open=binary, answers=answers)
        form_picture(window, f"{out}/read-data.png", command="new-contiguous-data", clipboard=pose,
                     answers={"dlc": True, "labelRow": 3}, file=f"{folder}/pose.kymr-dat")
        window.ask(quit=True, discard=True)


def gaps(program, demo, out):
    window = start(program)
    window.ask(open=f"{demo}/demo_gaps.kymr-dat")
    window.ask(resize={"width": 1180, "height": 560})
    window.ask(command="show-all")
    picture(window, f"{out}/gaps.png")
    window.ask(command="inactive-sections")
    picture(window, f"{out}/gaps-grey.png")
    window.ask(quit=True, discard=True)


def tiled(program, demo, out):
    window = start(program)
    for name in ("spikes", "gaps", "episodic"):
        window.ask(open=f"{demo}/demo_{name}.kymr-dat")
    window.ask(resize={"width": 1280, "height": 860})
    window.ask(command="window-tile")
    picture(window, f"{out}/tiled.png")
    window.ask(quit=True, discard=True)


def sorter(window, out):
    """Spikes to units by hand, a picture of each page."""

    def page(name, presses=(), **settings):
        for key, value in settings.items():
            window.ask(operation="find-shapes", set={key: value})
        for button in presses:
            window.ask(operation="find-shapes", press=button)
        if name:
            operation_picture(window, f"{out}/sorter-{name}.png", "find-shapes")

    spikes = {"channel1": "f", "trace": 1, "windowStart": -0.8, "windowEnd": 1.2, "polarity": 2, "destination": "k"}
    window.ask(operation="find-shapes", set=spikes)
    page("source", ["read"])
    page("pca", ["next", "cluster"])
    page(None, ["next"])
    for cluster in (4, 5):
        page(None, primary=cluster)
        page(None, ownMixed=1)
    page("templates", primary=1, comparison=2)
    page("assign", ["next", "autoAssignAll"])
    page("unassign", ["next", "selectOutliers"], unit=2)
    window.ask(operation="find-shapes", run=True, shut=True)


def sorting(program, demo, out):
    with tempfile.TemporaryDirectory() as folder:
        recording = shutil.copy(f"{demo}/demo_spikes.kymr-dat", f"{folder}/spikes.kymr-dat")
        window = start(program, recording)
        window.ask(resize={"width": 1180, "height": 900})
        window.ask(viewport=SPAN)
        window.ask(operation="event-merge-overlap", set={"channels": "a-c", "destination": "f"}, run=True)
        window.ask(operation="event-merge-overlap", shut=True)
        band = {"traces": "1-2", "addMode": 0, "bandType": 2, "lowerCut": 300, "upperCut": 3000, "order": 2}
        window.ask(operation="classic-filter", set=band, run=True, yes=True)
        window.ask(operation="classic-filter", shut=True)
        window_of_spike = {"channel1": "f", "windowStart": -0.8, "windowEnd": 1.2}
        operation_picture(window, f"{out}/pca.png", "pca-nipals", set=dict(window_of_spike, trace=1), run=True)
        window.ask(operation="pca-nipals", shut=True)
        clusters = {"channel1": "f", "destination": "g", "desiredClusters": 0}
        operation_picture(window, f"{out}/clusters.png", "cluster-ctrl", set=clusters, run=True)
        window.ask(operation="cluster-ctrl", shut=True)
        both = dict(window_of_spike, traces="1-2", destination="h", desiredClusters=0)
        operation_picture(window, f"{out}/ntrode.png", "n-trode-pca", set=both, run=True)
        window.ask(operation="n-trode-pca", shut=True)
        sorter(window, out)
        window.ask(quit=True, discard=True)
        unit_picture(program, f"{demo}/demo_spikes.kymr-dat", folder, f"{out}/unit-quality.png")


def unit_picture(program, demo, folder, path):
    def run(operation, *rest, **settings):
        pairs = [part for key, value in settings.items() for part in ("--set", f"{key}={value}")]
        subprocess.run([program, "run", operation, *pairs, "--quiet", "--yes", *rest], check=True, stdout=subprocess.DEVNULL)

    filtered = f"{folder}/band.kymr-dat"
    run("CClassicFilter", demo, "-o", filtered, traces="1-2", addMode=0, bandType=2, lowerCut=300, upperCut=3000,
        order=3, passes=2)
    run("CSpikeDetectThresh", filtered, "--in-place", trace=1, source=2, multiplier=4.5, displayDuration=60000,
        destination="f")
    run("CFindShapes", filtered, "-o", path, "--width", "1100", "--height", "800", channel1="f", polarity=2,
        frequencyMultiplier=2, minimumClusterShare=10, stopAfter=3)


def trains(program, demo, out):
    window = start(program, f"{demo}/demo_spikes.kymr-dat")
    window.ask(resize={"width": 1180, "height": 900})
    joint = {"stimulusChannel": "e", "targetChannel": "b", "referenceChannel": "a", "binNumber": 40, "binWidth": 10,
             "preStimulusTime": 100, "show": 4}
    operation_picture(window, f"{out}/jpsth.png", "jpsth", set=joint, run=True)
    window.ask(operation="jpsth", shut=True)
    pairs = {"channels": "a-c", "mode": 1, "halfWindow": 1, "lagRange": 20, "lagStep": 0.5}
    operation_picture(window, f"{out}/tiling.png", "event-correl-idx", set=pairs, run=True)
    window.ask(operation="event-correl-idx", shut=True)
    raster = {"stimulusChannel": "e", "responseChannel": "b", "latencyStart": -200, "latencyEnd": 800,
              "smoothHalfWindow": 1, "selectStart": 0, "selectEnd": 100, "lastStimulus": 10}
    operation_picture(window, f"{out}/raster.png", "stim-resp-raster", set=raster, run=True)
    window.ask(operation="stim-resp-raster", shut=True)
    closed = {"channel1": "b", "sojourn": 1, "exponentials": 2, "display": 2}
    operation_picture(window, f"{out}/sojourns.png", "event-sojourn-analysis", set=closed, run=True)
    window.ask(quit=True, discard=True)


def recording(program, demo, out):
    stimulus = {"dacInUse": 1, "dac1.pulseCount": 1, "dac1.pulse1.delay": 300, "dac1.pulse1.plateau": 0.5,
                "dac1.pulse1.amplitude": 3}
    with start(program) as window:
        window.ask(recorder="open", source="simulated", set={"input": "preparation", "displaySpan": 1000, **stimulus})
        window.ask(recorder="start", detect={"trace": 1, "level": 0.2})
        time.sleep(0.6)
        window.ask(recorder="autoscale")
        window.ask(recorder="note", text="wash")
        time.sleep(0.3)
        window.ask(recorder="state", picture=True, file=f"{out}/record.png", yes=True)
        window.ask(recorder="close", discard=True)
        window.ask(command="theme-dark")
        window.ask(recorder="open", size={"width": 1600, "height": 1000},
                   set={**{f"channel{i}.chanOn": 1 for i in range(1, 17)}, "displaySpan": 500, "sweepMode": "restart", **stimulus})
        window.ask(recorder="start")
        time.sleep(0.45)
        window.ask(recorder="autoscale")
        window.ask(recorder="state", picture=True, file=f"{out}/record-dark.png", yes=True)
        window.ask(recorder="close", discard=True)


def serial_board(program, demo, out):
    board = subprocess.Popen([os.path.join(os.path.dirname(os.path.abspath(program)), "serial_board"), "--sine"],
                             stdout=subprocess.PIPE, text=True)
    try:
        with start(program) as window:
            window.ask(recorder="open", set={"port": board.stdout.readline().strip()}, size={"width": 1180, "height": 760})
            window.ask(recorder="open", source="serial", set={"channelCount": 3, "displaySpan": 1000})
            window.ask(recorder="start")
            time.sleep(4.5)
            window.ask(recorder="state", picture=True, file=f"{out}/record-serial.png", yes=True)
            window.ask(recorder="close", discard=True)
    finally:
        board.terminate()


def refractory(program, demo, out):
    search = {"preDelay": 5, "preDur": 0.2, "preAmp": 1.5, "trialDelay0": 15, "trialDelayMin": 6.5, "delayStep": -0.5,
              "trialDur": 0.2, "trialAmp0": 0.5, "trialAmpMax": 5, "ampStep": 0.05, "searchRate": 30, "checksPerDelay": 1,
              "sweepDur": 25, "winStart": 15.7, "winEnd": 16.4, "spikeThreshold": 5, "channel1.label": "nerve"}
    with start(program) as window:
        window.ask(recorder="open", source="refractory:simulated", size={"width": 1180, "height": 800})
        window.ask(recorder="state", set={"type": "refractory-auto", "input": "preparation"})
        window.ask(recorder="state", set=search, page="Pulses")
        window.ask(recorder="start")
        time.sleep(7)
        window.ask(recorder="state", picture=True, file=f"{out}/refractory.png", yes=True)
        for _ in range(120):
            if not window.ask(recorder="state")["recorder"]["running"]:
                break
            time.sleep(0.5)
        window.ask(recorder="clear")
        window.ask(recorder="state", page="Monitor", sweep=12)
        time.sleep(0.5)
        window.ask(recorder="state", picture=True, file=f"{out}/refractory-review.png", yes=True)
        window.ask(recorder="close", discard=True)


def settings_pages(program, demo, out):
    window = start(program)
    stepped = {"input": "preparation", "dacInUse": 2, "dac1.train.number": 3, "dac1.train.delay": 5,
               "dac1.train.interval": 25, "dac1.train.duration": 5, "dac1.train.amplitude": 1,
               "dac1.pulse1.stepAmplitude": 0.5, "dac1.pulse1.seqCount": 6, "dac2.pulseCount": 1,
               "dac2.pulse1.delay": 10, "dac2.pulse1.onRamp": 20, "dac2.pulse1.plateau": 20,
               "dac2.pulse1.offRamp": 30, "dac2.pulse1.amplitude": -0.8, "stimMode": "advanced",
               "channel2.chanOn": 1, "channel1.label": "nerve", "channel2.label": "cuff"}
    window.ask(recorder="open", source="simulated", set=stepped, size={"width": 1180, "height": 800})
    for page, name in (("Channels", "record-channels"), ("Stimulus", "record-stimulus")):
        window.ask(recorder="state", page=page)
        window.wait()
        window.ask(recorder="state", picture=True, file=f"{out}/{name}.png", yes=True)
    window.ask(recorder="close", discard=True)
    window.ask(quit=True, discard=True)
    pairs = [part for key, value in stepped.items() if key != "input" for part in ("--set", f"{key}={value}")]
    subprocess.run([program, "record", *pairs, "--sequence", "2", "--family", "--preview",
                    f"{out}/stimulus-preview.png", "--quiet", "--yes"], check=True)


def main():
    program, demo, out = sys.argv[1:]
    for scene in (first_minute, spikes, detection, templates, shapes, fits, histograms, frequencies, rhythms, sorting, trains, transforms, filters, data_in, gaps, tiled, recording, serial_board, settings_pages, refractory):
        scene(program, demo, out)


if __name__ == "__main__":
    main()
