"""Drives the window by remote control and keeps pictures of it for the README and docs/.

    python3 pictures.py KYMORA RECORDINGS OUT
"""
import json
import os
import socket
import subprocess
import sys
import tempfile


class Window:
    """A running program, asked line by line."""

    def __init__(self, kymora, files, environment=None):
        settings = tempfile.mkdtemp()
        surroundings = dict(os.environ, XDG_CONFIG_HOME=settings, XDG_CACHE_HOME=settings, **(environment or {}))
        self.program = subprocess.Popen([kymora, "--remote", "0"], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=surroundings, text=True)
        greeting = json.loads(self.program.stdout.readline())
        self.lines = socket.create_connection(("127.0.0.1", greeting["port"])).makefile("rw", encoding="utf-8",
                                                                                        newline="\n")
        self.ask(token=greeting["token"])
        for file in files:
            self.ask(open=file)

    def ask(self, **request):
        self.lines.write(json.dumps(request) + "\n")
        self.lines.flush()
        answer = json.loads(self.lines.readline())
        if not answer["ok"]:
            raise SystemExit(f"{request}: {answer['error']}")
        return answer

    def run(self, command, **members):
        return self.ask(command=command, **members)

    def picture(self, path):
        self.ask(wait=True)
        self.ask(png=True, file=path, yes=True)

    def quit(self):
        self.lines.write(json.dumps({"quit": True, "discard": True}) + "\n")
        self.lines.flush()
        self.program.wait(20)


def main():
    kymora, recordings, out = sys.argv[1:]
    spikes, gaps, episodic = (os.path.join(recordings, f"demo_{name}.kymr-dat")
                              for name in ("spikes", "gaps", "episodic"))

    window = Window(kymora, [spikes])
    window.ask(resize={"width": 1180, "height": 760})
    window.picture(f"{out}/window.png")
    window.run("add-vert")
    window.run("expand")
    window.run("expand")
    window.run("add-marker")
    window.picture(f"{out}/cursors.png")
    window.quit()


if __name__ == "__main__":
    main()
