#!/usr/bin/env python3
"""How long a batch of many files takes: its own cost beside its operations, and what a second process saves.

    bench/batch_bench.py build/release/kymora [--files 200]
"""
import argparse
import os
import shutil
import subprocess
import tempfile
import time


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("kymora")
    parser.add_argument("--files", type=int, default=200)
    asked = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:

        def kymora(*words):
            subprocess.run([os.path.abspath(asked.kymora), *words], cwd=folder, check=True, stdout=subprocess.DEVNULL)

        kymora("demo", "-o", "demo")
        kymora("run", "CGenSmooth", "--set", "addMode=0", "--set", "halfWindowTime=2", "--save-config", "a.kymr-cfg")
        kymora("run", "CEventThreshold", "--set", "thresholdSource=2", "--set", "destination=f", "--save-config", "b.kymr-cfg")
        kymora("batch", "--make", "list.kymr-batch", "a.kymr-cfg", "b.kymr-cfg")
        files = [f"r{i}.kymr-dat" for i in range(asked.files)]
        for what in ("demo_gaps", "demo_spikes"):
            for name in files:
                shutil.copy(os.path.join(folder, "demo", what + ".kymr-dat"), os.path.join(folder, name))
            megabytes = os.path.getsize(os.path.join(folder, files[0])) / 1e6
            took = {}
            for jobs in (1, 2, 1, 2):
                start = time.monotonic()
                kymora("batch", "list.kymr-batch", *files, "--write-new", "--jobs", str(jobs))
                took[jobs] = min(took.get(jobs, 1e9), time.monotonic() - start)
            start = time.monotonic()
            kymora("run", "CGenSmooth", *files, "--config", "a.kymr-cfg", "--in-place")
            kymora("run", "CEventThreshold", *files, "--config", "b.kymr-cfg", "--in-place")
            apart = time.monotonic() - start
            for name in files:
                os.remove(os.path.join(folder, name))
            print(f"{len(files)} files of {megabytes:.1f} MB: one by one {took[1]:.2f} s, two at once {took[2]:.2f} s, "
                  f"{took[1] / took[2]:.2f} times as fast (goal: 1.7); beyond the operations for themselves "
                  f"{1e3 * (took[1] - apart) / len(files):.2f} ms a file (goal: 2)")
            for name in os.listdir(folder):
                if name.endswith("_tr.kymr-dat") or name.endswith(".steps"):
                    os.remove(os.path.join(folder, name))


if __name__ == "__main__":
    main()
