#!/usr/bin/env python3
"""ADC-DAC configurations by a second implementation of their layout: files of every type and version made byte by byte,
which the program tells, and files of the program, which are read here. configuration_program_test.py KYMORA"""

import json
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

CHANNEL = ["chanOn", "chanGain", "axisA", "axisB", "label", "colour", "note"]
PULSE = ["delay", "onRamp", "offRamp", "plateau", "amplitude", "stepDelay", "stepOnRamp", "stepOffRamp", "stepPlateau",
         "stepAmplitude", "seqCount", "seqMode"]
INTERVALS = [1000.0, 500.0, 200.0, 100.0, 50.0, 20.0, 10.0, 5.0, 2.0, 1.0, 0.5, 0.2]


class Writer:
    def __init__(self):
        self.data = b""

    def put(self, code, value):
        self.data += struct.pack("<" + code, value)
        return value

    def text(self, text, wide=True):
        units = text.encode("utf-16-le" if wide else "cp1252", "surrogatepass")
        count = len(units) // (2 if wide else 1)
        if wide:
            self.data += b"\xff\xfe\xff"
        if count < 0xFF:
            self.data += struct.pack("<B", count)
        elif count < 0xFFFE:
            self.data += struct.pack("<BH", 0xFF, count)
        else:
            self.data += struct.pack("<BHI", 0xFF, 0xFFFF, count)
        self.data += units
        return text


class Reader:
    """The same calls, answering what is in the file in place of what is given."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def put(self, code, _=None):
        value, = struct.unpack_from("<" + code, self.data, self.at)
        self.at += struct.calcsize("<" + code)
        return value

    def text(self, _=None, wide=True):
        count, width = self.put("B"), 1
        if count == 0xFF:
            count = self.put("H")
            if count == 0xFFFE:
                width, count = 2, self.put("B")
                if count == 0xFF:
                    count = self.put("H")
        if count == 0xFFFF:
            count = self.put("I")
        self.at += count * width
        raw = self.data[self.at - count * width:self.at]
        return raw.decode("utf-16-le" if width == 2 else "cp1252", "surrogatepass")


def f32(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def exchange(f, v, kind, general, section, wide=True):
    """Writes the values v, or reads into them."""
    def num(code, key, to=v):
        to[key] = f.put(code, to.get(key, 0))

    def text(key, to=v):
        to[key] = f.text(to.get(key, ""), wide)

    assert f.text("Kymora ADC-DAC Configuration file", wide) == "Kymora ADC-DAC Configuration file"
    assert f.put("I", general) == general and f.put("I", kind) == kind
    text("notes")
    channels = [v.setdefault(f"channel{i}", {}) for i in range(1, 17)]
    if general > 1:
        for channel in channels:
            num("d", "axisA", channel), num("d", "axisB", channel)
    assert f.put("I", section) == section

    def blocks():
        f.text("CAcqPropPage16Chan", wide)
        for channel in channels:
            for key, code in zip(CHANNEL, "Iddd I "):
                text(key, channel) if code == " " else num(code, key, channel)
        num("d", "sampleInterval")

    if kind in (0, 4):
        num("d", "displaySpan"), num("d", "timeLimit"), num("I", "sweepMode"), num("I", "autoLoad")
        if kind == 0:
            num("d", "sampleInterval"), num("I", "secondChannel"), num("i", "resolutionBits")
        else:
            num("I", "rateIndex"), num("I", "channelCount")
        return
    text("boardName"), num("d", "displaySpan"), num("i", "boardValue")
    if kind in (2, 3):
        blocks()
        f.text("CAcqPropPageRefrStim", wide)
        for key in ["preDur", "trialDur", "preDelay", "preAmp", "trialAmp0",
                    "trialAmpMax", "ampStep", "trialDelayMin", "trialDelay0", "delayStep",
                    "searchRate"]:
            num("f", key)
        num("I", "checksPerDelay"), num("f", "sweepDur"), num("B", "digitalTrigOut"), num("I", "stepOnAccept")
        if kind == 3:
            f.text("CAcqPropPageRefrAutoMon", wide)
            num("I", "monitorTrace"), num("f", "winStart"), num("f", "winEnd"), num("f", "spikeThreshold")
        return
    f.text("CAcqPropPageRecGen", wide)
    num("I", "sweepMode"), num("d", "timeLimit")
    for key in ["saveMode", "autoLoad", "presetName", "followLatest"]:
        num("I", key)
    text("autoSaveBase")
    blocks()
    if section > 2:
        num("I", "inputMode")
    f.text("CAcqPropPageTrig", wide)
    num("I", "trigMode"), num("I", "repeatInterval"), num("I", "repeatCount")
    num("B", "digitalTrigOut"), num("I", "rearm")
    f.text("CAcqPropPageStim", wide)
    num("i", "boardDacChannels")
    if v["boardDacChannels"] == 0:
        return
    num("I", "outputTraceSource"), num("I", "timeInSeconds"), num("d", "previewSpan"), num("d", "outputFreqKHz")
    num("I", "dacInUse"), text("outputFile"), num("I", "outputSourceTrace")
    outputs = [v.setdefault(f"dac{i + 1}", {}) for i in range(v["dacInUse"])]
    for dac in outputs:
        num("I", "pulseCount", dac)
        for i in range(dac["pulseCount"]):
            pulse = dac.setdefault(f"pulse{i + 1}", {})
            for key, code in zip(PULSE, "ffffffffffii"):
                num(code, key, pulse)
    if section > 1:
        num("I", "stimMode")
        for dac in outputs:
            num("f", "dcLevel", dac)


def some(rng, kind):
    """Values of a type, all different from what a new configuration has."""
    text = lambda: rng.choice(["", "trace \u00b5V", "\U0001F600 x", "long " * 60])
    flag = lambda: rng.randint(0, 1)
    time = lambda: f32(rng.uniform(0, 50))
    volts = lambda: f32(rng.uniform(-12, 12))
    v = {"notes": rng.choice(["", "line one\r\nline two", "n" * 70000]), "displaySpan": rng.uniform(0, 1e6),
         "timeLimit": rng.uniform(0, 1e4), "sweepMode": rng.randint(0, 2), "autoLoad": flag(),
         "sampleInterval": rng.uniform(0.01, 9), "secondChannel": flag(), "resolutionBits": rng.choice([8, 16]),
         "rateIndex": rng.randint(0, 11), "channelCount": rng.randint(0, 16), "boardName": text(),
         "boardValue": rng.randint(-2**31, 2**31 - 1), "saveMode": rng.randint(0, 3), "presetName": flag(),
         "followLatest": flag(), "autoSaveBase": text(), "inputMode": rng.randint(0, 2**32 - 1),
         "trigMode": rng.randint(0, 3), "repeatInterval": rng.randint(0, 2**32 - 1),
         "repeatCount": rng.randint(0, 2**32 - 1), "digitalTrigOut": flag(), "rearm": flag(),
         "boardDacChannels": rng.choice([0, 1, 2, 8]), "outputTraceSource": rng.randint(0, 99),
         "timeInSeconds": flag(), "previewSpan": rng.uniform(0, 900), "outputFreqKHz": rng.uniform(0.1, 90),
         "dacInUse": rng.randint(0, 2), "outputFile": text(), "outputSourceTrace": rng.randint(0, 15),
         "stimMode": rng.randint(0, 2), "checksPerDelay": rng.randint(0, 9), "stepOnAccept": flag(),
         "monitorTrace": rng.randint(0, 15), "spikeThreshold": volts()}
    for key in ["preDur", "trialDur", "preDelay", "trialDelayMin", "trialDelay0", "searchRate",
                "sweepDur", "winStart", "winEnd"]:
        v[key] = time()
    for key in ["preAmp", "trialAmp0", "trialAmpMax", "ampStep", "delayStep"]:
        v[key] = volts()
    for i in range(1, 17):
        v[f"channel{i}"] = {"chanOn": flag(), "chanGain": rng.uniform(-1000, -1), "axisA": rng.uniform(-1e6, 1e6),
                            "axisB": rng.uniform(-1e6, 1e6), "label": text(), "colour": rng.randint(0, 0xFFFFFF),
                            "note": text()}
    for i in range(1, 3):
        dac = v[f"dac{i}"] = {"dcLevel": volts(), "pulseCount": rng.randint(0, 5)}
        for j in range(1, 6):
            dac[f"pulse{j}"] = {key: (time() if n < 4 else volts()) for n, key in enumerate(PULSE)}
            dac[f"pulse{j}"].update(seqCount=rng.choice([0, 1, 7, 2**31 - 1]), seqMode=rng.randint(0, 4))
    return v


def same(file, told, where):
    """All that was in the file, as the program tells it."""
    for key, value in file.items():
        at = f"{where}.{key}"
        if isinstance(value, dict):
            same(value, told[key], at)
        elif key == "colour":
            red, green, blue = value & 255, value >> 8 & 255, value >> 16 & 255
            assert told[key] == f"#{red:02x}{green:02x}{blue:02x}", at
        elif isinstance(value, float) and f32(value) == value:  # told in the digits of a single
            assert f32(told[key]) == value, f"{at}: {value!r} is told as {told[key]!r}"
        else:
            assert told[key] == value, f"{at}: {value!r} is told as {told[key]!r}"


REFUSED = [(2, "needs --source"), (2, "no type", "--type", "x"), (2, "extension", "--save-config", "x.txt"),
           (2, "channel1.chanGain", "--set", "chanel1.gain=2"), (2, "must not be 0", "--set", "channel1.chanGain=0"),
           (2, "set those first", "--set", "dac1.dcLevel=1"), (2, "whole number", "--set", "repeatCount=0.5"),
           (2, "8 or 16 bits", "--type", "microphone", "--set", "resolutionBits=12"),
           (3, "Couldn't open file", "--config", "not there"), (3, "into a arduino interface", "--type", "arduino")]


def refusals(program, file):
    """Nothing is written, and the reason is told."""
    for code, words, *options in REFUSED:
        saved = [] if len(options) == 0 or "--save-config" in options else ["--save-config", file.parent / "no.kymr-cfg"]
        given = ["--config", file] if code == 3 and "--config" not in options else []
        done = subprocess.run([program, "record", *given, *saved, *options], capture_output=True)
        assert done.returncode == code and words in done.stderr.decode(), (options, done)
        assert not (file.parent / "no.kymr-cfg").exists()
    # Of a dialog, operation and settings.
    dialog = file.parent / "dialog.kymr-cfg"
    subprocess.run([program, "run", "event-list", "--set", "channel1=c", "--save-config", dialog], check=True)
    told = json.loads(subprocess.run([program, "info", dialog, "--json"], capture_output=True, check=True).stdout)
    assert (told["kind"], told["operation"]) == ("dialog configuration", "CEventList") and told["settings"]["channel1"] == 2


def main():
    program, rng = sys.argv[1], random.Random(23)
    run = lambda *words: subprocess.run([program, *map(str, words)], capture_output=True, check=True).stdout
    with tempfile.TemporaryDirectory() as folder:
        file, again = pathlib.Path(folder, "a.kymr-cfg"), pathlib.Path(folder, "b.kymr-cfg")
        run("record", "--save-config", file)
        refusals(program, file)
        for turn, (kind, section) in enumerate([(0, 1), (1, 1), (1, 2), (1, 3), (2, 1), (3, 1), (4, 1)] * 6):
            general, wide = 1 + turn // 7 % 2, turn % 3 > 0
            source = some(rng, kind)
            if not wide:
                source = json.loads(json.dumps(source).replace("\\ud83d\\ude00", "e"))
            writer, reader = Writer(), None
            exchange(writer, source, kind, general, section, wide)
            file.write_bytes(writer.data)
            there = {}
            exchange(Reader(writer.data), there, kind, general, section)
            told = json.loads(run("info", file, "--json"))
            assert (told["generalVersion"], told["sectionVersion"], told["recordingType"]) == (general, section, kind)
            same(there, told, f"type {kind}")
            if kind == 1 and section == 1 and source["boardDacChannels"]:
                assert told["stimMode"] == 1
            # As the program writes it: the present versions, with all that was in the file.
            run("record", "--config", file, "--save-config", again, "--yes")
            written, reader = {}, Reader(again.read_bytes())
            exchange(reader, written, kind, 2, 3 if kind == 1 else 1)
            assert reader.at == len(reader.data), "bytes behind the end"
            same(written, json.loads(run("info", again, "--json")), f"type {kind} as written")
            for key, value in there.items():
                if not isinstance(value, dict):
                    assert written[key] == value, f"{key}: {value!r} is written as {written[key]!r}"


main()
