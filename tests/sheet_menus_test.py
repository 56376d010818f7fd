"""The share menus of other programs, and the session bus: as installed, by those programs themselves."""
import configparser
import json
import os
import pathlib
import shlex
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import unittest

from accessible_desktop import AccessibleDesktop
from desktop import TASKLANE, wait_for
from program import SAMPLES, ProgramTest

BUILD = pathlib.Path(TASKLANE).parent.parent
NAME = "com.kestrelworks.Tasklane"
PURPOSE = """
import QtQuick 2.15
import org.kde.purpose 1.0
Item {
    PurposeAlternativesModel { id: menu; inputData: (%s); pluginType: "%s" }
    PurposeJobController {
        id: controller
        model: menu
        onStateChanged: if (state > PurposeJobController.Running) Qt.quit()
    }
    Component.onCompleted: {
        for (var row = 0; row < menu.rowCount(); ++row)
            if (menu.data(menu.index(row, 0), 0) === "Tasklane") {
                controller.index = row
                controller.configure()
                return
            }
        Qt.exit(1)
    }
}"""


class PurposeProtocol(ProgramTest):
    def test_what_is_no_message_is_refused(self):
        for index, (message, code, sentence) in enumerate([
                (b"", 66, "hung up"), (b"9\nabc", 66, "hung up"), (b"99999999999999999999999\n", 65, "cannot be read"),
                (b"-1\n", 65, "cannot be read"), (b"1\n\xff", 65, "cannot be read"), (b"1\n\x80", 65, "cannot be read"),
                (b"1\n\xa0", 65, "nothing to share"),
                (b"19\n\xa1\x64urls\x81\x6b/no/such/fi", 66, "no file /no/such/fi")]):
            with self.subTest(message), socket.socket(socket.AF_UNIX) as server:
                server.bind(str(self.folder / f"socket{index}"))
                server.listen()
                heard = []
                def speak():
                    menu = server.accept()[0]
                    with menu:
                        menu.sendall(message)
                        menu.shutdown(socket.SHUT_WR)
                        try:
                            heard.append(b"".join(iter(lambda: menu.recv(4096), b"")))
                        except ConnectionResetError:  # who has not heard all that was said hangs up so
                            pass
                speaker = threading.Thread(target=speak)
                speaker.start()
                self.run_program("purpose", "--server", server.getsockname(), "--pluginType", "Export", code=code)
                speaker.join()
                self.assertIn(sentence, self.error)
                for answer in map(json.loads, heard):
                    self.assertEqual((answer["error"], sentence in answer["errorText"]), (code, True))


class Menus(AccessibleDesktop):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="tasklane-menus-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.share = cls.folder / "usr" / "share"
        for name in ("HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"):
            os.environ[name] = str(cls.folder / name)
        cls.defaults = cls.default_programs()
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.folder / "usr"], check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["update-desktop-database", cls.share / "applications"], check=True)
        os.environ["PATH"] = f"{cls.folder}/usr/bin:{os.environ['PATH']}"
        os.environ["XDG_DATA_DIRS"] = f"{cls.share}:/usr/share"  # the bus looks for services there too
        super().setUpClass()
        cls.picture = cls.folder / "pic'ture & co.jpg"
        cls.report = cls.folder / "report.txt"
        shutil.copy(SAMPLES / "photo.jpg", cls.picture)
        cls.report.write_text("text")

    @staticmethod
    def default_programs():
        return [subprocess.run(["xdg-mime", "query", "default", kind], stdout=subprocess.PIPE, check=False).stdout
                for kind in ("text/plain", "text/html", "image/png", "inode/directory")]

    def saved(self):
        """Saves what the sheet shows."""
        self.count = len(self.desktop.queue()) + 1
        return self.desktop.save(self.count)

    def call(self, destination, path, method, *arguments):
        return subprocess.run(["gdbus", "call", "--session", "--dest", destination, "--object-path", path,
                               "--method", method, *arguments], env=self.desktop.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def application(self, method, *arguments):
        return self.call(NAME, "/com/kestrelworks/Tasklane", "org.freedesktop.Application." + method, *arguments)

    def bus(self, method, *arguments):
        return self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus." + method, NAME, *arguments).stdout

    def test_no_default_program_has_changed(self):
        self.assertEqual(self.default_programs(), self.defaults)

    def test_the_bus(self):
        data = "{'activation-token': <'token'>, 'desktop-startup-id': <'id_TIME0'>, 'other': <@a{sv} {}>}"
        opened = self.application("Open", "['tasklane:add?title=by%20bus']", data)
        self.assertEqual((opened.returncode, opened.stderr), (0, ""))
        window = wait_for("the sheet's window", self.desktop.windows)[0]
        process = self.desktop.output(["xdotool", "getwindowpid", window]).strip()
        variables = pathlib.Path("/proc", process, "environ").read_bytes().split(b"\0")
        self.assertIn(b"XDG_ACTIVATION_TOKEN=token", variables)
        self.assertIn(b"DESKTOP_STARTUP_ID=id_TIME0", variables)
        service = self.bus("GetConnectionUnixProcessID").split()[1].strip(",)")
        os.kill(int(service), signal.SIGKILL)
        self.assertEqual(self.saved()["title"], "by bus")
        for method, arguments in (("Activate", ()), ("ActivateAction", ("new", "[]"))):
            self.assertEqual(self.application(method, *arguments, "{}").stderr, "")
            self.assertEqual(self.saved().get("title"), "")
        for method, arguments, sentence in [
                ("Open", ["['tasklane:add?title=a&post=1']"], 'it has "post"'),
                ("Open", ["['--post']"], "no file"),
                ("ActivateAction", ["no-such", "[<1>]"], "no action")]:
            refused = self.application(method, *arguments, "{}")
            self.assertEqual((refused.returncode, sentence in refused.stderr), (1, True), refused.stderr)
        entry = self.share / "applications" / f"{NAME}.desktop"
        subprocess.run(["gio", "launch", entry, "tasklane:add?title=launched"], env=self.desktop.environment, check=True)
        self.assertEqual(self.saved()["title"], "launched")
        wait_for("the service's end", lambda: "false" in self.bus("NameHasOwner"))

    def test_doctor(self):
        examined = subprocess.run(["tasklane", "doctor", "--json"], env=self.desktop.environment,
                                  stdout=subprocess.PIPE, check=True)
        states = {finding["way"]: finding["state"] for finding in json.loads(examined.stdout)}
        for way in ("files", "list", "sheet", "addresses", "bus", "purpose", "dolphin", "thunar", "nemo"):
            self.assertEqual(states[way], "works", way)
        self.assertEqual(self.desktop.windows(), [])

    def test_entries_of_file_managers(self):
        for path, group in [("kio/servicemenus/{}.desktop", "Desktop Action share"),
                            ("Thunar/sendto/{}.desktop", "Desktop Entry"),
                            ("nemo/actions/{}.nemo_action", "Nemo Action"),
                            ("contractor/{}.contract", "Contractor Entry")]:
            entry = configparser.RawConfigParser(delimiters="=")
            entry.optionxform = str
            entry.read(self.share / path.format(NAME))
            for language in "ar de es fr he it ja nl pl pt_BR ru zh_CN".split():
                self.assertTrue(f"Name[{language}]" in entry[group] or f"Comment[{language}]" in entry[group])
            words = shlex.split(entry[group]["Exec"])
            self.assertEqual(words[-1], "%U")
            self.assertEqual(subprocess.run([*words[:-1], self.picture.as_uri(), self.report.as_uri()],
                                            env=self.desktop.environment).returncode, 0)
            info = self.saved()
            self.assertEqual((info["title"], info["notes"], len(info["attachments"])),
                             ("report.txt", self.report.as_uri(), 1))

    def test_thunar(self):
        files = self.folder / "files"
        files.mkdir()
        shutil.copy(self.picture, files)
        thunar = self.desktop.start(["thunar", files])
        self.addCleanup(thunar.kill)  # an open menu has the keyboard
        def context_menu():
            window = self.desktop.output(["xdotool", "search", "--onlyvisible", "--class", "thunar"]).split()
            if not window:
                return None
            self.desktop.output(["xdotool", "windowactivate", "--sync", window[-1]])
            self.desktop.keys("ctrl+a", "shift+F10")
            return "Send To" in (element.get_name() for element in self.elements())
        self.find("directory pane", "Icon view")
        wait_for("the file's menu", context_menu)
        self.do(self.find("menu item", "Tasklane"))
        wait_for("the sheet's window", self.desktop.windows)
        thunar.kill()
        shutil.rmtree(files)
        self.assertEqual(len(self.saved()["attachments"]), 1)

    def test_purpose(self):
        for kind, shared, expected in [
                ("Export", {"urls": [self.picture.as_uri()], "mimeType": "image/jpeg"}, ("", None, 1)),
                ("ShareUrl", {"urls": ["https://e.example/?a=b%20c"], "title": "Größe"},
                 ("Größe", "https://e.example/?a=b%20c", 0))]:
            script = self.folder / "purpose.qml"
            script.write_text(PURPOSE % (json.dumps(shared), kind))
            subprocess.run(["/usr/lib/qt5/bin/qmlscene", script], env=self.desktop.environment, check=True, timeout=60)
            info = self.saved()
            self.assertEqual((info["title"], info.get("notes"), len(info.get("attachments", []))), expected)


if __name__ == "__main__":
    unittest.main()
