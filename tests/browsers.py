"""Browsers with the extension, on a desktop of tests: windows that a person's keys and pointer reach, and pages that are
asked through the browser's own protocol for programs."""
import fcntl
import json
import os
import pathlib
import socket

from desktop import TASKLANE, wait_for

SOURCES = pathlib.Path(__file__).resolve().parent.parent
HOST = pathlib.Path(TASKLANE).parent / "tasklane-browser-host"
NAME = "com.kestrelworks.tasklane"
KEYS = "alt+shift+l"
# Where an element is on the screen.
PLACE = "const box = document.querySelector(%s).getBoundingClientRect(); return [%s + box.x + 12, %s + box.y + Math.min(box.height / 2, 60)];"


def write_manifest(kind, folder):
    template = (SOURCES / "apps/browser-host" / kind / f"{NAME}.json.in").read_text()
    os.makedirs(folder)
    pathlib.Path(folder, f"{NAME}.json").write_text(template.replace("@BUNDLE@", str(HOST.parent)))


class Browser:
    """A context manager. `quit` has killed it, with all of its process group."""

    def __init__(self, desktop, packages):
        self.desktop = desktop
        self.unpacked, self.zipped = packages / "extension", next(packages.glob("*.zip"))

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.kill()
        self.connection.close()

    def kill(self):
        """As a person's session ends a program that does not answer."""
        try:
            os.killpg(self.process.pid, 9)
        except ProcessLookupError:
            pass
        self.process.wait()

    def press(self):
        """The extension's key."""
        self.activate()
        self.desktop.keys(KEYS)

    def point_at(self, selector):
        """Brings the pointer to an element."""
        self.activate()
        x, y = self.place(selector)
        self.desktop.output(["xdotool", "mousemove", str(int(x)), str(int(y))])

    def activate(self):
        window = wait_for("the browser's window", lambda: self.desktop.output(
            ["xdotool", "search", "--onlyvisible", "--class", self.window_class]).split())[-1]
        self.desktop.output(["xdotool", "windowactivate", "--sync", window])


class Chromium(Browser):
    """Told what to do through a pair of pipes (chromedevtools.github.io/devtools-protocol)."""
    window_class = "chromium"

    def start(self):
        profile = self.desktop.folder + "/chromium"
        self.manifests = profile + "/NativeMessagingHosts"
        write_manifest("chromium", self.manifests)
        (reader, answers), (commands, writer) = os.pipe(), os.pipe()

        def take_places():
            # It reads from 3 and writes to 4.
            high = [fcntl.fcntl(end, fcntl.F_DUPFD, 64) for end in (commands, answers)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)
        self.process = self.desktop.start(
            ["chromium", "--no-sandbox", "--test-type", "--user-data-dir=" + profile, "--remote-debugging-pipe",
             "--enable-unsafe-extension-debugging", "--no-first-run", "--password-store=basic", "--disable-gpu",
             "--disable-background-networking", "--disable-component-update", "--start-maximized", "about:blank"],
            preexec_fn=take_places, close_fds=False, start_new_session=True)
        os.close(answers)
        os.close(commands)
        self.writer = writer
        self.connection = os.fdopen(reader, "rb", 0)
        self.number, self.received = 0, b""
        self.identifier = self.command("Extensions.loadUnpacked", path=str(self.unpacked))["id"]
        page, = [each for each in self.targets() if each["type"] == "page"]
        self.page = self.attach(page)
        worker = wait_for("the extension", lambda: [t for t in self.targets() if t["type"] == "service_worker"])[0]
        worker = self.attach(worker)
        # The menus are the last that it makes.
        wait_for("the menus", lambda: self.evaluate(
            worker, "chrome.contextMenus?.update('image', {}).then(() => true, () => false)"))
        wait_for("the key", lambda: self.evaluate(
            worker, "chrome.commands.getAll().then(all => Boolean(all[0].shortcut))"))

    def __exit__(self, *arguments):
        super().__exit__(*arguments)
        os.close(self.writer)

    def command(self, method, session=None, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self.writer, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.receive()
            if answer.get("id") == self.number:
                assert "error" not in answer, (method, answer["error"])
                return answer["result"]

    def receive(self):
        while b"\0" not in self.received:
            piece = self.connection.read(1 << 16)
            assert piece, "the browser is gone"
            self.received += piece
        message, _, self.received = self.received.partition(b"\0")
        return json.loads(message)

    def targets(self):
        return self.command("Target.getTargets")["targetInfos"]

    def attach(self, target):
        return self.command("Target.attachToTarget", targetId=target["targetId"], flatten=True)["sessionId"]

    def evaluate(self, session, expression):
        return self.command("Runtime.evaluate", session, expression=expression, awaitPromise=True,
                            returnByValue=True)["result"].get("value")

    def ask(self, function):
        return self.evaluate(self.page, "(() => {" + function + "})()")

    def open(self, address):
        self.command("Page.navigate", self.page, url=address)
        wait_for("the page " + address, lambda: self.ask("return document.readyState") == "complete"
                 and self.ask("return location.href").startswith(address.partition("#")[0]))

    def place(self, selector):
        return self.ask(PLACE % (json.dumps(selector), "screenX", "screenY + outerHeight - innerHeight"))

    def choose(self, kind, selector):
        """From the end of the context menu upwards: the page's source stands between for a page."""
        def beneath_pointer():
            return self.desktop.output(["xdotool", "getmouselocation", "--shell"]).partition("WINDOW=")[2]
        self.point_at(selector)
        before = beneath_pointer()
        self.desktop.output(["xdotool", "click", "3"])
        wait_for("the context menu", lambda: beneath_pointer() != before)
        self.desktop.keys(*["Up"] * (3 if kind == "page" else 2), "Return")

    def addresses(self):
        return [each["url"] for each in self.targets()]


class Firefox(Browser):
    """Told what to do through a socket (firefox-source-docs.mozilla.org/testing/marionette)."""
    window_class = "firefox-esr"
    PREFERENCES = {
        "app.update.enabled": False, "browser.aboutwelcome.enabled": False, "browser.shell.checkDefaultBrowser": False,
        "browser.startup.homepage_override.mstone": "ignore", "browser.startup.page": 0,
        "datareporting.policy.dataSubmissionEnabled": False, "extensions.getAddons.cache.enabled": False,
        "termsofuse.bypassNotification": True, "toolkit.telemetry.reportingpolicy.firstRun": False,
    }

    def start(self):
        self.manifests = self.desktop.folder + "/.mozilla/native-messaging-hosts"
        write_manifest("firefox", self.manifests)
        profile = pathlib.Path(self.desktop.folder, "firefox")
        profile.mkdir()
        preferences = {**self.PREFERENCES, "marionette.port": 0}
        (profile / "user.js").write_text("".join(
            f"user_pref({json.dumps(name)}, {json.dumps(value)});\n" for name, value in preferences.items()))
        self.process = self.desktop.start(
            ["firefox-esr", "--marionette", "--remote-allow-system-access", "--no-remote", "--profile", str(profile)],
            start_new_session=True)
        port = wait_for("the browser", lambda: self.port(profile))
        self.connection = socket.create_connection(("127.0.0.1", port), 120)
        self.number, self.reader = 0, self.connection.makefile("rb")
        self.receive()
        self.command("WebDriver:NewSession", capabilities={})
        self.command("Addon:Install", path=str(self.zipped), temporary=True)
        self.command("WebDriver:MaximizeWindow")

    def __exit__(self, *arguments):
        super().__exit__(*arguments)
        self.reader.close()

    @staticmethod
    def port(profile):
        try:
            return int((profile / "MarionetteActivePort").read_text())
        except (OSError, ValueError):
            return None

    def receive(self):
        length = b""
        while not length.endswith(b":"):
            digit = self.reader.read(1)
            assert digit, "the browser is gone"
            length += digit
        return json.loads(self.reader.read(int(length[:-1])))

    def command(self, name, **parameters):
        self.number += 1
        message = json.dumps([0, self.number, name, parameters]).encode()
        self.connection.sendall(b"%d:" % len(message) + message)
        _, number, error, result = self.receive()
        assert number == self.number and not error, (name, error)
        return result

    def ask(self, function, context="content"):
        self.command("Marionette:SetContext", value=context)
        try:
            return self.command("WebDriver:ExecuteScript", script=function, args=[])["value"]
        finally:
            self.command("Marionette:SetContext", value="content")

    def open(self, address):
        self.command("WebDriver:Navigate", url=address)

    def place(self, selector):
        return self.ask(PLACE % (json.dumps(selector), "mozInnerScreenX", "mozInnerScreenY"))

    def choose(self, kind, selector):
        self.point_at(selector)
        self.desktop.output(["xdotool", "click", "3"])
        entry = f"tasklane_kestrelworks_com-menuitem-_{kind}"
        wait_for(f"the entry {kind}", lambda: self.ask(
            'const menu = document.getElementById("contentAreaContextMenu");'
            f'const entry = document.getElementById("{entry}");'
            'if (menu.state !== "open" || !entry || entry.hidden) return false;'
            'menu.activateItem(entry); return true;', "chrome"))

    def addresses(self):
        return self.ask("return gBrowser.tabs.map((tab) => tab.linkedBrowser.currentURI.spec)", "chrome")
