"""Web servers as they stand on real sites, serving one folder on port 80 of this machine.

Each answers `/<name>` with the file's length in the header, and what `bare(name)` gives without one.
"""

import pathlib
import socket
import subprocess
import time

START_SECONDS = 30


class Server:
    def __init__(self, folder, keep_alive):
        self.folder = pathlib.Path(folder)
        self.keep_alive = keep_alive
        self.configuration = self.folder.parent / "server.conf"

    def __enter__(self):
        self.configuration.write_text(self.configured())
        self.process = subprocess.Popen(self.command(), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        deadline = time.monotonic() + START_SECONDS
        while time.monotonic() < deadline:
            try:
                socket.create_connection(("127.0.0.1", 80)).close()
                return self
            except ConnectionRefusedError:
                time.sleep(0.05)
        self.process.kill()
        raise RuntimeError(f"{type(self).__name__} does not start: {self.process.communicate()[1].decode()}")

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate()

    def configured(self):
        return ""


class WithScript(Server):
    """A script's answer has no length, unless it is whole before the server has looked: hence the pause."""

    def __enter__(self):
        script = self.folder / "cgi-bin" / "bare"
        script.parent.mkdir(exist_ok=True)
        head = r"printf 'Content-Type: image/jpeg\r\n\r\n'"
        script.write_text(f'#!/bin/sh\n{head}\ncat "{self.folder}/$QUERY_STRING"\nsleep 0.2\n')
        script.chmod(0o755)
        return super().__enter__()

    def bare(self, name):
        return f"/cgi-bin/bare?{name}"


class Nginx(Server):
    def command(self):
        return ["nginx", "-p", self.folder.parent, "-c", self.configuration]

    def configured(self):
        return f"""
            daemon off; master_process off; user root; pid nginx.pid; error_log stderr;
            events {{}}
            http {{
                access_log off; keepalive_timeout {65 if self.keep_alive else 0};
                server {{
                    listen 127.0.0.1:80; root {self.folder};
                    location /bare/ {{ alias {self.folder}/; ssi on; ssi_types *; }}
                }}
            }}"""

    def bare(self, name):
        return f"/bare/{name}"  # a page that might have something put in goes out without a length


class Apache(WithScript):
    def command(self):
        # One process, which is gone when it is ended.
        return ["apache2", "-d", self.folder.parent, "-f", self.configuration, "-X"]

    def configured(self):
        modules = "\n".join(
            f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so"
            for name in ("mpm_prefork", "authz_core", "alias", "cgi")
        )
        return f"""{modules}
            Listen 127.0.0.1:80
            ServerName localhost
            User www-data
            Group www-data
            PidFile {self.folder.parent}/apache.pid
            ErrorLog /dev/stderr
            KeepAlive {"On" if self.keep_alive else "Off"}
            DocumentRoot {self.folder}
            ScriptAlias /cgi-bin/ {self.folder}/cgi-bin/
            """


class Busybox(WithScript):
    def command(self):
        return ["busybox", "httpd", "-f", "-p", "127.0.0.1:80", "-h", self.folder]
