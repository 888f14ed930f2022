# SPDX-License-Identifier: MIT
import contextlib
import json
import threading
import zlib
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


class AdvisoryService:
    """Stands in for the OSV data base and for Debian's security tracker, with advisories that are planted."""

    def __init__(self):
        self.python_advisories: dict[tuple[str, str], list[dict]] = {}
        self.debian_list = debian_list([])
        self.status = 200
        #: Instead of an answer.
        self.page: bytes | None = None
        self.questions: list[dict] = []
        #: Every header and every body that came.
        self.heard: list[str] = []
        self._released = threading.Event()
        self._released.set()
        self._server = ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.05,))

    def __enter__(self) -> "AdvisoryService":
        self._thread.start()
        return self

    def __exit__(self, *_) -> None:
        self._released.set()
        self._server.shutdown()
        self._thread.join()
        self._server.server_close()

    @property
    def url(self) -> str:
        return f"http://127.0.0.1:{self._server.server_port}/"

    def fall_silent(self) -> None:
        """Connections are taken and questions are read, but nothing is answered any more."""
        self._released.clear()

    def plant(self, name: str, version: str, advisory: str, fixed_in: str | None) -> None:
        events = [{"introduced": "0"}] + ([{"fixed": fixed_in}] if fixed_in else [])
        affected = {
            "package": {"name": name, "ecosystem": "PyPI"},
            "ranges": [{"type": "ECOSYSTEM", "events": events}],
        }
        planted = {"id": advisory, "aliases": [], "summary": "made up", "affected": [affected]}
        self.python_advisories.setdefault((name, version), []).append(planted)

    def answer_to(self, question: dict) -> dict:
        self.questions.append(question)
        found = self.python_advisories.get((question["package"]["name"], question["version"]))
        return {"vulns": found} if found else {}

    def _handler(self) -> type[BaseHTTPRequestHandler]:
        service = self

        class Handler(BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"])).decode()
                self._hear(body)
                self._answer(json.dumps(service.answer_to(json.loads(body))).encode())

            def do_GET(self):
                self._hear("")
                self._answer(service.debian_list)

            def _hear(self, body: str):
                service.heard.append(f"{self.command} {self.path}\n{self.headers}\n{body}")
                service._released.wait()

            def _answer(self, content: bytes):
                content = service.page or content
                with contextlib.suppress(ConnectionError):  # who asked may have gone
                    self.send_response(service.status)
                    self.send_header("Content-Length", str(len(content)))
                    self.end_headers()
                    self.wfile.write(content)

            def log_message(self, *_):
                pass

        return Handler


def debian_list(advisories: list[tuple[str, str, str | None]]) -> bytes:
    """The tracker's list for a release. An advisory is its name, a source package and the version that is not
    vulnerable any more, None if there is none yet."""
    names = "".join(f"{name},,made up\n" for name, _, _ in advisories)
    # Flags: a source package, urgency and reach unknown, a fix in the release.
    entries = "".join(
        f"{source},{index},S ?{'F' if fixed else ' '},{fixed or ''},\n"
        for index, (_, source, fixed) in enumerate(advisories)
    )
    return zlib.compress(f"VERSION 1\n{names}\n{entries}\n".encode())
