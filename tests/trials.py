#!/usr/bin/env python3
"""Trials of the program from outside: nothing is lost, and nothing is left, whatever ends it.

    tests/trials.py PROGRAM [--kills N] [--megabytes M]

Kills runs at random moments, puts other versions of a recording in its place, and uses names as long as a file
system takes. Prints a line for each trial; exits with 1 when one failed.
"""
import argparse
import hashlib
import json
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LEVEL = ["--set", "trace=1", "--set", "thresholdSource=0", "--set", "onPos=5000", "--in-place"]
BINARY = ["--import", "binaryTraces=1", "--import", "binaryType=int16", "--import", "binaryInterval=0.1"]


class Trials:
    def __init__(self, program, kills, megabytes):
        self.program, self.kills, self.megabytes = os.path.abspath(program), kills, megabytes
        self.failures = []
        self.folder = tempfile.mkdtemp(prefix="kymora-trials-")
        self.random = random.Random(1)
        self.env = dict(os.environ, XDG_CACHE_HOME=self.folder + "/cache", HOME=self.folder)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def run(self, *arguments, code=0):
        done = subprocess.run([self.program, *arguments], capture_output=True, text=True, env=self.env)
        self.check(code is None or done.returncode == code, f"{arguments}: exit code {done.returncode}\n{done.stderr}")
        return done

    def killed(self, seconds, *arguments):
        """Runs and kills after a random part of the time that a whole run takes; True when it was still running."""
        process = subprocess.Popen([self.program, *arguments], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, env=self.env)
        try:
            process.wait(self.random.uniform(0, seconds))
            return False
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            return True

    def check_left(self, folder, *wanted):
        left = sorted(set(os.listdir(folder)) - set(wanted))
        self.check(not left, f"left behind: {left}")

    def check(self, holds, text):
        if not holds:
            self.failures.append(text)
            print("FAILED:", text, flush=True)

    def sum(self, path):
        with open(path, "rb") as file:
            return hashlib.sha256(file.read()).hexdigest()

    def events(self, path):
        channels = json.loads(self.run("events", path, "--json").stdout)["channels"]
        return {channel["number"]: len(channel["events"]) for channel in channels}

    @staticmethod
    def detection(recording, channel):
        return ["run", "CEventThreshold", recording, *LEVEL, "--set", "destination=" + channel]

    def make_recording(self, name, megabytes):
        """Noise of one trace with a peak now and then, as a native file."""
        raw, made = self.path("raw.bin"), self.path(name)
        block = bytearray(self.random.randbytes(1 << 20))
        for i in range(1, len(block), 2):
            block[i] = (block[i] & 3) + (60 if i % 8191 == 0 else 0)  # high bytes of 16-bit samples
        with open(raw, "wb") as file:
            for _ in range(max(megabytes // 2, 1)):
                file.write(block)
        self.run("convert", raw, "-o", made, *BINARY)
        os.remove(raw)
        return made

    def duration(self, *arguments):
        start = time.monotonic()
        self.run(*arguments)
        return time.monotonic() - start

    # --- the trials ---

    def kill_transforms(self):
        folder = self.path("transforms")
        os.mkdir(folder)
        whole = self.make_recording("transforms/whole.kymr-dat", self.megabytes)
        recording = self.path("transforms", "rec.kymr-dat")
        transform = ["run", "CGenSmooth", recording, "--set", "traces=1", "--set", "addMode=0", "--in-place"]
        shutil.copy(whole, recording)
        seconds = self.duration(*transform)
        samples = self.sum(whole)
        hit = runs = 0
        while hit < self.kills and runs < 20 * self.kills:
            runs += 1
            shutil.copy(whole, recording)
            hit += self.killed(seconds * 1.05, *transform)
            if self.sum(recording) != samples:
                comment = json.loads(self.run("info", recording, "--json").stdout)["history"]
                self.check("mooth" in comment, "neither the old recording nor the new")
        self.run(*transform)
        self.check_left(folder, "whole.kymr-dat", "rec.kymr-dat", "rec.kymr-dat.steps")
        self.check(hit > 0, "no transform was killed at work")
        print(f"transform in place: {hit} of {runs} runs killed")
        shutil.rmtree(folder)

    def kill_saves(self):
        folder = self.path("saves")
        os.mkdir(folder)
        recording = self.make_recording("saves/rec.kymr-dat", 8)
        save = self.detection(recording, "c")
        seconds = self.duration(*save)
        found = self.events(recording)[2]
        hit = runs = 0
        while hit < self.kills and runs < 20 * self.kills:
            runs += 1
            hit += self.killed(seconds * 1.05, *save)
            self.check(self.events(recording).get(2, 0) in (0, found), "a save left a mixture of events")
        self.run(*save)
        self.check_left(folder, "rec.kymr-dat", "rec.kymr-dat.steps")
        self.check(hit > 0, "no save was killed at work")
        print(f"save in place: {hit} of {runs} runs killed")
        shutil.rmtree(folder)

    def journals_of_other_versions(self):
        """A journal beside another version of its recording: what a kill leaves, and then a backup comes back."""
        folder = self.path("versions")
        os.mkdir(folder)
        recording = self.make_recording("versions/rec.kymr-dat", 8)
        backup = self.path("versions", "backup.kymr-dat")
        self.run(*self.detection(recording, "z"))
        shutil.copy(recording, backup)
        kept = self.events(backup)
        save = self.detection(recording, "c")
        seconds = self.duration(*save)
        journal = recording + ".save-journal"
        seen = 0
        for _ in range(50 * self.kills):  # few kills fall into the moment of the save
            if seen > self.kills // 5:
                break
            self.killed(seconds, *save)
            if not os.path.exists(journal):
                continue
            other = self.path("versions", "other.kymr-dat")
            shutil.copy(backup, other)
            self.run(*self.detection(other, "y"))
            expected = self.events(other)
            was_complete = open(journal, "rb").read(8) == b"KYMJRNL2"
            os.replace(other, recording)
            self.check(self.events(recording) == expected, "the journal hides the events of another version")
            done = self.run(*save)
            after = self.events(recording)
            self.check(all(after.get(n) == count for n, count in expected.items()),
                       "a save over another version lost its events")
            if was_complete and "another version" in done.stderr:
                seen += 1
                self.check(os.path.exists(journal + "-of-another-version"), "the journal was not kept")
            for name in os.listdir(folder):
                if "journal" in name:
                    os.remove(self.path("versions", name))
        self.check(all(self.events(recording).get(n) == count for n, count in kept.items()), "events were lost")
        self.check(seen > 0, "no kill left a journal; the trial tried nothing")
        print(f"journals of other versions: {seen} set aside")
        shutil.rmtree(folder)

    def replaced_during_runs(self):
        """Another program puts its version in the recording's place while a run is at work."""
        folder = self.path("replaced")
        os.mkdir(folder)
        whole = self.make_recording("replaced/whole.kymr-dat", self.megabytes)
        theirs = self.make_recording("replaced/theirs.kymr-dat", 2)
        recording, kept = self.path("replaced", "rec.kymr-dat"), self.path("replaced", "rec_result.kymr-dat")
        runs = (["run", "CGenSmooth", recording, "--set", "traces=1", "--set", "addMode=0", "--in-place"],
                self.detection(recording, "c"))
        for run in runs:
            for _ in range(10):  # on a busy machine a run may be over before it is stopped
                shutil.copy(whole, recording)
                version = self.path("replaced", "version")
                shutil.copy(theirs, version)
                process = subprocess.Popen([self.program, *run], stderr=subprocess.PIPE, text=True, env=self.env)
                self.wait_until_open(process, recording)
                process.send_signal(signal.SIGSTOP)
                os.replace(version, recording)
                process.send_signal(signal.SIGCONT)
                _, said = process.communicate()
                if process.returncode != 0:
                    break
            self.check(process.returncode == 1, f"{run[1]} over another version: exit code {process.returncode}")
            self.check("kept as rec_result.kymr-dat" in said, f"{run[1]} does not tell where the result is: {said}")
            self.check(self.sum(recording) == self.sum(theirs), f"{run[1]} wrote over another version")
            self.run("info", kept)
            os.remove(kept)
        print("versions of others during a run: kept, and the results beside them")
        shutil.rmtree(folder)

    def wait_until_open(self, process, path):
        handles = f"/proc/{process.pid}/fd"
        while process.poll() is None:
            try:
                if any(os.path.realpath(os.path.join(handles, name)) == path for name in os.listdir(handles)):
                    return
            except OSError:
                pass

    def long_names(self):
        folder = self.path("names")
        os.mkdir(folder)
        source = self.make_recording("short.kymr-dat", 2)
        for length in range(238, 256):
            name = self.path("names", ("é" * 100 + "x" * 100)[:length - 109] + ".kymr-dat")
            missing = length - len(os.path.basename(name).encode())
            name = self.path("names", "n" * missing + os.path.basename(name))
            shutil.copy(source, name)
            self.run(*self.detection(name, "c"))
            self.check(self.events(name).get(2, 0) > 0, f"events of a name of {length} bytes")
            self.run("run", "CGenSmooth", name, "--set", "traces=1", "--set", "addMode=0", "--in-place")
            self.run("run", "CGenSmooth", name, "--set", "traces=1", "--set", "addMode=0", "--write-new")
            self.run("convert", name, "-o", name[:-9] + ".txt")
            raw = name[:-9] + "xxxxx.bin"
            with open(raw, "wb") as file:
                file.write(bytes(range(256)) * 40)
            self.run(*self.detection(raw, "c"), *BINARY)
            found = self.run("events", raw, "--json", *BINARY).stdout
            self.check(json.loads(found)["channels"], "a side-car of a long name is not found again")
            shutil.rmtree(folder)
            os.mkdir(folder)
        print("names of 238 to 255 bytes: saved, transformed, converted")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--kills", type=int, default=60)
    parser.add_argument("--megabytes", type=int, default=200)
    arguments = parser.parse_args()
    trials = Trials(arguments.program, arguments.kills, arguments.megabytes)
    try:
        for trial in (trials.kill_transforms, trials.kill_saves, trials.journals_of_other_versions, trials.replaced_during_runs,
                      trials.long_names):
            trial()
    finally:
        shutil.rmtree(trials.folder, ignore_errors=True)
    print(f"{len(trials.failures)} failed")
    sys.exit(1 if trials.failures else 0)


main()
