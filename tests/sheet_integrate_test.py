"""What `tasklane integrate` writes for one person, and what `tasklane doctor` finds out about it."""
import json
import os
import subprocess
import unittest

from program import PROGRAM, ProgramTest

NAME = "com.kestrelworks.Tasklane"
FILES = {
    "bus": [f"dbus-1/services/{NAME}.service"],
    "purpose": [f"kpackage/Purpose/{NAME}/metadata.json", f"kpackage/Purpose/{NAME}/contents/code/main.sh"],
    "dolphin": [f"kio/servicemenus/{NAME}.desktop"],
    "thunar": [f"Thunar/sendto/{NAME}.desktop"],
    "nemo": [f"nemo/actions/{NAME}.nemo_action"],
    "contractor": [f"contractor/{NAME}.contract"],
    "nautilus": ["nautilus/scripts/Tasklane"],
}


class Integrate(ProgramTest):
    def setUp(self):
        super().setUp()
        self.data = self.folder / "home" / "data"
        programs = self.folder / "bin"
        for folder in (self.data / "nautilus" / "scripts", programs):
            folder.mkdir(parents=True)
        for name in ("thunar", "nautilus"):
            (programs / name).symlink_to("/bin/true")
        self.environment.update(HOME=str(self.folder / "home"), XDG_DATA_HOME=str(self.data),
                                XDG_CONFIG_HOME=str(self.folder / "home" / "config"),
                                XDG_DATA_DIRS=str(self.folder / "none"), XDG_RUNTIME_DIR=str(self.folder),
                                PATH=f"{programs}:/usr/bin:/bin", QT_QPA_PLATFORM="offscreen")
        self.environment.pop("DBUS_SESSION_BUS_ADDRESS", None)

    def files(self):
        return {path.relative_to(self.data).as_posix(): (path.stat().st_ino, path.read_bytes())
                for path in self.data.rglob("*") if path.is_file()}

    def test_installs_and_removes_its_own(self):
        theirs = self.data / "Thunar/sendto/mine.desktop"
        theirs.parent.mkdir(parents=True)
        theirs.write_text("[Desktop Entry]\n")
        before = self.files()
        self.assertIn("not installed", self.run_program("integrate", "thunar"))
        for way, places in FILES.items():
            said = self.run_program("integrate", "--install", way)
            self.assertEqual(said, "".join(f"written: {self.data / place}\n" for place in places))
            for place in places:
                self.assertNotIn(b"@BUNDLE@", (self.data / place).read_bytes())
                if place.endswith(".desktop"):
                    subprocess.run(["desktop-file-validate", self.data / place], stdout=subprocess.PIPE,
                                   check="servicemenus" not in place)
        json.loads((self.data / FILES["purpose"][0]).read_bytes())
        after = self.files()
        self.assertEqual(self.run_program("integrate", "--install", *FILES).count("as it should be"), len(after) - 1)
        self.assertEqual(self.files(), after)
        self.assertEqual(self.run_program("integrate", "--list").count("installed for you"), len(FILES))
        self.assertIn("share --clipboard", self.run_program("integrate"))
        self.run_program("integrate", "--remove")
        self.assertEqual(self.files(), before)
        self.assertFalse((self.data / f"kpackage/Purpose/{NAME}").exists())
        self.assertTrue((self.data / "nautilus" / "scripts").exists())

    def test_installs_for_who_is_there(self):
        installed = self.run_program("integrate", "--install")
        for way in ("thunar", "nautilus", "bus"):
            self.assertIn(FILES[way][0], installed)
        self.assertNotIn("contractor", installed)
        for words in (["--install", "--remove"], ["--list", "--install"], ["no-such-way"]):
            self.run_program("integrate", *words, code=64)

    def test_leaves_alone_what_is_not_its_own(self):
        script, entry = self.data / FILES["nautilus"][0], self.data / FILES["thunar"][0]
        entry.parent.mkdir(parents=True)
        entry.write_text("somebody's")
        self.run_program("integrate", "--install", "bus")
        script.symlink_to(self.data / FILES["bus"][0])
        self.run_program("integrate", "--install", "nautilus", "thunar", "nemo", code=74)
        self.assertIn("it is not Tasklane's", self.error)
        self.assertTrue((self.data / FILES["nemo"][0]).exists())
        self.assertIn("left alone, not Tasklane's", self.run_program("integrate", "--remove", "nautilus", "thunar"))
        self.assertEqual((entry.read_text(), script.is_symlink()), ("somebody's", True))

    def test_nautilus_script(self):
        self.run_program("integrate", "--install", "nautilus")
        picture = self.folder / "a b*.txt"
        picture.write_text("")
        refused = subprocess.run([self.data / FILES["nautilus"][0]], stderr=subprocess.PIPE, text=True, env={
            **self.environment, "QT_QPA_PLATFORM": "", "NAUTILUS_SCRIPT_SELECTED_URIS": picture.as_uri() + "\n"})
        self.assertIn("no display", refused.stderr)

    def test_browsers(self):
        home = self.folder / "home"
        places = {"firefox": home / ".mozilla/native-messaging-hosts", "chromium": home / "config/chromium/NativeMessagingHosts"}
        for folder in places.values():
            folder.parent.mkdir(parents=True)
        (home / "snap/firefox").mkdir(parents=True)
        self.run_program("integrate", "--install", *places)
        for browser, folder in places.items():
            manifest = json.loads((folder / "com.kestrelworks.tasklane.json").read_bytes())
            self.assertEqual(manifest["path"], os.path.dirname(PROGRAM) + "/tasklane-browser-host")
            self.assertEqual(self.states()[browser], "works")
            (folder / "com.kestrelworks.tasklane.json").write_text(json.dumps({**manifest, "path": "/bin/false"}))
            self.assertEqual(self.states(code=69)[browser], "broken")
            self.run_program("integrate", "--remove", browser)
            self.assertEqual(list(folder.iterdir()), [])
        self.assertIn("javascript:", self.run_program("integrate"))

    def states(self, **options):
        return {finding["way"]: finding["state"] for finding in self.run_json("doctor", "--json", **options)}

    def test_doctor(self):
        self.run_program("integrate", "--install", *(way for way in FILES if way != "bus"))
        states = self.states()
        for way in ("files", "list", "sheet", "purpose", "dolphin", "thunar", "nemo", "contractor", "nautilus"):
            self.assertEqual(states[way], "works", way)
        for way in ("agent", "key", "bus"):
            self.assertEqual(states[way], "absent", way)
        for way, spoil in [("purpose", lambda text: "#!/bin/sh\nexit 3\n# " + text.replace("\n", " ")),
                           ("thunar", lambda text: text.replace(os.path.dirname(PROGRAM), "/no/such"))]:
            place = self.data / FILES[way][-1]
            text = place.read_text()
            place.write_text(spoil(text))
            self.assertEqual(self.states(code=69)[way], "broken", way)
            place.write_text(text)
        self.run_program("integrate", "--remove", "purpose")
        self.assertIn("purpose      absent", self.run_program("doctor"))


if __name__ == "__main__":
    unittest.main()
