"""Calendar servers for tests, each with a list of tasks of its own, and a faulty one before them."""
import base64
import http.client
import http.server
import os
import re
import socket
import ssl
import subprocess
import threading

from desktop import wait_for

MAKE_LIST = """<?xml version="1.0" encoding="utf-8"?>
<C:mkcalendar xmlns:D="DAV:" xmlns:C="urn:ietf:params:xml:ns:caldav"><D:set><D:prop>
<D:displayname>{}</D:displayname><C:supported-calendar-component-set><C:comp name="VTODO"/>
</C:supported-calendar-component-set></D:prop></D:set></C:mkcalendar>"""
ALL_TASKS = """<?xml version="1.0" encoding="utf-8"?>
<C:calendar-query xmlns:D="DAV:" xmlns:C="urn:ietf:params:xml:ns:caldav"><D:prop><D:getetag/><C:calendar-data/></D:prop>
<C:filter><C:comp-filter name="VCALENDAR"><C:comp-filter name="VTODO"/></C:comp-filter></C:filter></C:calendar-query>"""


class Server:
    """A process that serves a folder."""
    home = "/ana/"
    user = password = None
    authority = None

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir(parents=True, exist_ok=True)
        # Bound for as long as this object lives, the port is given to nobody else; servers that allow its reuse listen.
        self.reserved = socket.socket()
        self.reserved.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.reserved.bind(("127.0.0.1", 0))
        self.port = self.reserved.getsockname()[1]
        self.process = None

    @property
    def url(self):
        return f"http{'s' if self.authority else ''}://127.0.0.1:{self.port}"

    def start(self):
        log = open(self.folder / "log", "ab")
        self.process = subprocess.Popen(self.command(), stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                        env={**os.environ, "HOME": str(self.folder)}, cwd=self.folder)
        log.close()
        wait_for("the server", self.answers, 60)
        return self

    def stop(self):
        """It can be started again, at the same port."""
        if self.process:
            self.process.terminate()
            try:
                self.process.wait(30)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
            self.process = None

    def close(self):
        self.stop()
        self.reserved.close()

    def answers(self):
        if self.process.poll() is not None:
            raise AssertionError((self.folder / "log").read_text())
        try:
            self.request("OPTIONS", "/")
            return True
        except OSError:
            return False

    def login(self):
        return "Basic " + base64.b64encode(f"{self.user}:{self.password}".encode()).decode()

    def request(self, method, path, body="", **headers):
        """As another program would make it; the answer's status and body."""
        connection = (http.client.HTTPSConnection("127.0.0.1", self.port, timeout=60,
                                                  context=ssl.create_default_context(cafile=self.authority))
                      if self.authority else http.client.HTTPConnection("127.0.0.1", self.port, timeout=60))
        if self.user:
            headers["Authorization"] = self.login()
        connection.request(method, path, body.encode(),
                           {name.replace("_", "-"): text for name, text in headers.items()})
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, text

    def make_list(self, name, title):
        status, text = self.request("MKCALENDAR", f"{self.home}{name}/", MAKE_LIST.format(title),
                                    Content_Type="application/xml")
        assert status == 201, (status, text)

    def texts(self, name="tasks"):
        """The tasks of a list, as the server gives them."""
        status, text = self.request("REPORT", f"{self.home}{name}/", ALL_TASKS, Depth="1",
                                    Content_Type="application/xml")
        assert status == 207, (status, text)
        return re.findall(r"BEGIN:VCALENDAR.*?END:VCALENDAR", text.replace("&#13;", ""), re.S)

    def uids(self, name="tasks"):
        return sorted(re.search(r"^UID:(.*?)\r?$", text, re.M).group(1) for text in self.texts(name))


class Radicale(Server):
    def __init__(self, folder, user="ana", password="s3cret ü", certificate=None, authority=None):
        super().__init__(folder)
        self.user, self.authority, self.certificate = user, authority, certificate
        self.set_password(password)

    def set_password(self, password):
        self.password = password
        (self.folder / "users").write_text(f"{self.user}:{password}\n")

    def command(self):
        (self.folder / "config").write_text(
            f"[server]\nhosts = 127.0.0.1:{self.port}\n"
            + (f"ssl = True\ncertificate = {self.certificate}.pem\nkey = {self.certificate}.key\n"
               if self.certificate else "")
            + f"[auth]\ntype = htpasswd\nhtpasswd_filename = {self.folder}/users\nhtpasswd_encryption = plain\n"
            "delay = 0\n"
            f"[storage]\nfilesystem_folder = {self.folder}/data\n[logging]\nlevel = warning\n")
        return ["radicale", "--config", str(self.folder / "config")]


class Xandikos(Server):
    home = "/user/calendars/"

    def command(self):
        return ["xandikos", "-d", str(self.folder / "data"), "--defaults", "--current-user-principal", "/user/",
                "-l", "127.0.0.1", "-p", str(self.port)]


class Front(http.server.ThreadingHTTPServer):
    """Stands before a server and does what the test wants: `fault` is asked at each request, and answers None to pass
    it on, a status (and headers), or a function that gets the handler and the means to pass it on."""
    daemon_threads = True
    request_queue_size = 64

    def __init__(self, server, fault=lambda handler: None):
        super().__init__(("127.0.0.1", 0), FrontHandler)
        self.server, self.fault = server, fault
        self.seen, self.connections = [], 0
        self.url = f"http://127.0.0.1:{self.server_address[1]}"
        self.thread = threading.Thread(target=self.serve_forever, args=(0.05,))
        self.thread.start()

    def handle_error(self, request, client_address):
        pass  # a client that was killed

    def stop(self):
        self.shutdown()
        self.server_close()
        self.thread.join()


class FrontHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *arguments):
        pass

    def setup(self):
        super().setup()
        self.server.connections += 1

    def __getattr__(self, name):
        if name.startswith("do_"):
            return self.handle_request
        raise AttributeError(name)

    def handle_request(self):
        self.body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        self.server.seen.append((self.command, self.path, dict(self.headers)))
        fault = self.server.fault(self)
        if callable(fault):
            fault()
        elif fault:
            self.answer(*((fault,) if isinstance(fault, int) else fault))
        else:
            self.answer(*self.passed_on())

    def passed_on(self, **other):
        """The server's own answer."""
        connection = http.client.HTTPConnection("127.0.0.1", self.server.server.port, timeout=60)
        headers = {name: value for name, value in self.headers.items() if name not in ("Host", "Connection")} | other
        connection.request(self.command, self.path, self.body, headers)
        answer = connection.getresponse()
        body = answer.read()
        connection.close()
        kept = {name: value for name, value in answer.getheaders()
                if name in ("ETag", "Content-Type", "WWW-Authenticate", "Location", "DAV")}
        return answer.status, kept, body

    def answer(self, status, headers=None, body=b""):
        self.send_response(status)
        for name, value in (headers or {}).items():
            self.send_header(name, value)
        if status != 204:
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def drop(self):
        self.connection.shutdown(socket.SHUT_RDWR)
        self.close_connection = True

    def drop_after_storing(self):
        self.passed_on()
        self.drop()

    def drop_in_the_middle(self):
        self.wfile.write(b"HTTP/1.1 207 x\r\nContent-Length: 99\r\n\r\n<a")
        self.drop()
