"""Drives the real program through its remote control: python3 remote_program_test.py KYMORA"""

import base64
import os
import pathlib
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from kymora_remote import Kymora, RemoteError  # noqa: E402

PROGRAM = sys.argv[1]


def png_size(png):
    """Width and height, which the first chunk of a PNG holds as two big-endian numbers."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n" and png[12:16] == b"IHDR"
    return struct.unpack(">II", png[16:24])


class RemoteProgramTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.env = dict(os.environ, QT_QPA_PLATFORM="offscreen", XDG_CONFIG_HOME=cls.folder.name,
                       XDG_CACHE_HOME=cls.folder.name)
        subprocess.run([PROGRAM, "demo", "-o", cls.folder.name, "--quiet"], check=True, env=cls.env)
        cls.file = os.path.join(cls.folder.name, "demo_spikes.kymr-dat")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def start(self, *files):
        return Kymora.start(PROGRAM, *files, env=self.env)

    def test_drives_the_program_from_start_to_end(self):
        with self.start(self.file) as kymora:
            self.assertTrue(kymora.wait())
            document = kymora.ask(state=True)["documents"][0]
            self.assertEqual(document["path"], self.file)
            kymora.ask(command="show-all")
            page = {"start": 0, "end": document["endTime"] / 4}
            kymora.ask(viewport=page)
            for turn in range(3):
                kymora.write(command="right-page")
                kymora.write(wait=True, id=turn)
                self.assertTrue(kymora.read()["ok"])
                answer = kymora.read()
                self.assertEqual((answer["id"], answer["painted"]), (turn, True))
            shown = kymora.ask(state=True)["documents"][0]["viewport"]
            self.assertAlmostEqual(shown["start"], 3 * page["end"], delta=1e-6 * page["end"])

            kymora.ask(addEvents={"channel": "z", "unit": "ms", "events": [{"on": 10, "off": 15, "label": "ä"}]})
            self.assertEqual(kymora.ask(events={"channel": "z"})["events"][0]["label"], "ä")

            size = kymora.ask(resize={"width": 1000, "height": 640})["window"]
            kymora.wait()
            self.assertEqual(png_size(base64.b64decode(kymora.ask(png=True)["png"])),
                             (size["width"], size["height"]))
            picture = os.path.join(self.folder.name, "view.png")
            kymora.ask(png="view", file=picture)
            with open(picture, "rb") as file:
                self.assertGreater(png_size(file.read())[0], 300)
            with self.assertRaises(RemoteError):
                kymora.ask(png="view", file=picture)  # it exists

            kymora.ask(command="grid")  # a change, which quit gives up
            self.assertEqual(kymora.quit(), 0)

    def test_no_command_makes_the_program_hang(self):
        with self.start(self.file) as kymora:
            for command in kymora.ask(commands=True)["commands"]:
                if command["id"] == "file-exit":
                    continue
                try:
                    kymora.ask(command=command["id"])
                except RemoteError:
                    pass  # asks for something, or cannot be used now
                if not kymora.ask(state=True)["documents"]:
                    kymora.ask(open=self.file)
            self.assertIsNone(kymora.process.poll())

    def test_listens_on_the_loopback_address_only(self):
        with self.start() as kymora:
            port = kymora.port
            with open("/proc/net/tcp") as table:
                listening = [row.split()[1] for row in table if f":{port:04X}" in row.split()[1] and row.split()[3] == "0A"]
            self.assertEqual(listening, [f"0100007F:{port:04X}"])

    def test_a_bad_port_is_told(self):
        for arguments in (["--remote"], ["--remote", "x"], ["--remote", "65536"], ["--remote=-1"]):
            ended = subprocess.run([PROGRAM, *arguments], env=self.env, capture_output=True, timeout=60)
            self.assertEqual(ended.returncode, 2, arguments)
            self.assertEqual(ended.stdout, b"")
        with self.start() as kymora:
            ended = subprocess.run([PROGRAM, "--remote", str(kymora.port)], env=self.env, capture_output=True, timeout=60)
            self.assertEqual((ended.returncode, ended.stdout), (1, b""))
            self.assertIn(str(kymora.port).encode(), ended.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
