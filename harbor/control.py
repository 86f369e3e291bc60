"""The control port: plain HTTP and JSON on the loopback, for tests and for the curious with curl."""

import json
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from faults import Fault


class Control:
    """Serves the commands of `Commands` for one harbor."""

    def __init__(self, harbor, port: int):
        commands = Commands(harbor)

        class Handler(BaseHTTPRequestHandler):
            def _serve(self):
                try:
                    body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                    status, result = 200, commands.run(self.command, self.path, json.loads(body or b"null"))
                except LookupError as problem:
                    status, result = 404, {"problem": str(problem)}
                except (ValueError, TypeError, AttributeError) as problem:
                    status, result = 400, {"problem": str(problem)}
                answer = json.dumps(result, indent=1).encode()
                self.send_response(status)
                self.send_header("Content-Type", "application/json")
                self.send_header("Content-Length", str(len(answer)))
                self.end_headers()
                self.wfile.write(answer)

            do_GET = do_PUT = do_POST = do_DELETE = _serve

            def log_message(self, *_):
                pass

        self._server = ThreadingHTTPServer(("127.0.0.1", port), Handler)
        self.port = self._server.server_port
        threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True).start()

    def stop(self):
        self._server.shutdown()
        self._server.server_close()


class Commands:
    """What the control port can do, one method a command: get_log() is GET /log."""

    def __init__(self, harbor):
        self._harbor = harbor

    def run(self, verb: str, path: str, body):
        noun, *names = path.strip("/").split("/")
        command = getattr(self, f"{verb.lower()}_{noun}", None)
        if command is None:
            raise LookupError(f"no command {verb} /{noun}")
        return command(body, *names)

    def get_log(self, _):
        return [record.as_json() for record in list(self._harbor.requests)]

    def delete_log(self, _):
        self._harbor.requests.clear()

    def get_faults(self, _):
        return self._harbor.faults.as_json()

    def post_faults(self, body):
        faults = [Fault(**each) for each in (body if isinstance(body, list) else [body])]
        self._harbor.faults.add(*faults)
        return self.get_faults(None)

    def put_faults(self, body):
        faults = [Fault(**each) for each in (body if isinstance(body, list) else [body])]
        self._harbor.faults.clear()
        self._harbor.faults.add(*faults)
        return self.get_faults(None)

    def delete_faults(self, _):
        self._harbor.faults.clear()

    def delete_connections(self, _):
        return {"aborted": self._harbor.abort_connections()}

    def get_members(self, _):
        return {member.name: {"apiKey": member.api_key, "uploads": sorted(member.uploads),
                              "favorites": sorted(member.favorites)} for member in self._harbor.members}

    def put_members(self, body, name):
        """Makes or changes a member; what the body leaves out stays."""
        member = self._harbor.members.find(name)
        if member is None:
            if "password" not in body:
                raise ValueError("a new member needs a password")
            member = self._harbor.members.add(name, body["password"])
        elif "password" in body:
            member.set_password(body["password"])
        for chosen in {"uploads", "favorites"} & body.keys():
            setattr(member, chosen, frozenset(map(int, body[chosen])))
        return self.get_members(None)

    def delete_members(self, _, name):
        self._harbor.members.remove(name)

    def get_pictures(self, _):
        """The whole catalogue, freshest first."""
        galleries = self._harbor.catalogue.galleries
        return [{"id": each.id, "path": str(each.path), "filename": each.filename, "format": each.format,
                 "size": each.size, "points": each.points, "tags": each.tags, "gallery": galleries[each.gallery].name,
                 "category": galleries[each.gallery].categories[each.category]}
                for each in sorted(self._harbor.catalogue.pictures.values(), key=lambda each: -each.id)]

    def put_pictures(self, body, picture_id):
        """{"points": 40} rates a picture."""
        self._harbor.catalogue.pictures[int(picture_id)].points = int(body["points"])
