"""A client of Kymora's remote control (docs/remote.md), with the standard library alone.

    with Kymora.start("kymora", "cell7.edf") as kymora:
        kymora.ask(command="show-all")
        kymora.wait()
        kymora.ask(png=True, file="/tmp/cell7.png", yes=True)
"""

import json
import socket
import subprocess


class RemoteError(Exception):
    """A request was refused; `answer` is what the program said."""

    def __init__(self, answer):
        super().__init__(answer.get("error", "refused"))
        self.answer = answer


class Kymora:
    def __init__(self, port, token, timeout=60.0, process=None):
        self.port, self.token, self.process = port, token, process
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=timeout)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.lines = self.socket.makefile("rb")
        self.ask(token=token)

    @classmethod
    def start(cls, program, *files, arguments=(), timeout=60.0, env=None):
        """Starts the program on a port of the system's choice."""
        process = subprocess.Popen(
            [program, "--remote", "0", *arguments, *map(str, files)], stdout=subprocess.PIPE, env=env)
        line = process.stdout.readline()
        if not line:
            raise OSError(f"{program} ended with {process.wait()}")
        started = json.loads(line)
        return cls(started["port"], started["token"], timeout, process)

    def write(self, **request):
        """Sends a request without waiting for its answer; read() takes the answers in their order."""
        self.socket.sendall(json.dumps(request).encode() + b"\n")

    def read(self):
        line = self.lines.readline()
        if not line:
            raise ConnectionError("the program ended the connection")
        answer = json.loads(line)
        if not answer["ok"]:
            raise RemoteError(answer)
        return answer

    def ask(self, **request):
        self.write(**request)
        return self.read()

    def wait(self, **members):
        """Returns when everything that was asked before can be seen."""
        return self.ask(wait=True, **members)["painted"]

    def quit(self):
        """Ends the program, without keeping what was not saved, and answers its exit code."""
        self.ask(quit=True, discard=True)
        self.close()
        return self.process.wait(30) if self.process else None

    def close(self):
        self.lines.close()
        self.socket.close()
        if self.process:
            self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *error):
        if self.process and self.process.poll() is None:
            try:
                self.quit()
            except (OSError, RemoteError, ValueError):
                self.process.kill()
                self.process.wait()
        else:
            self.close()
