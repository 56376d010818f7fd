"""Runs the tasklane program in a group container of its own."""
import json
import os
import pathlib
import plistlib
import resource
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["TASKLANE"]
SAMPLES = pathlib.Path(__file__).resolve().parent.parent / "resources" / "sample"
LIMIT = 180

CATALOGUE = {
    "projects": {
        "h": {"id": "h", "title": "Home"},
        "g": {"id": "g", "title": "Jardín 🌱", "path": "Home"},
        "z": {"id": "z", "title": "مشروع"},
        "hidden": {"id": "hidden", "title": "Not offered"},
    },
    "orderedProjectIDs": ["z", "h", "g"],
    "contexts": {"d": {"id": "d", "title": "Desk"}},
    "orderedContextIDs": ["d"],
}


def items(**settings):
    leaf = {"uuid": "LEAF", "title": "Grandchild", "flagged": False}
    branch = {"uuid": "BRANCH", "title": "Child\nof two lines", "children": [leaf]}
    return {
        "items": [
            {"uuid": "ROOT", "title": "Água", "subtitle": "家", "inbox": True, "children": [branch]},
            {"uuid": "DUE", "title": "Due long ago", "due": "2015-03-14-09:26:53 -0700"},
        ],
        "dueSoonInterval": 3600.0, "contentCategories": 0, "usesCustomPerspective": False,
        **settings,
    }


class ProgramTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tasklane-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.environment = {
            **os.environ,
            "TASKLANE_GROUP_CONTAINERS": str(self.folder / "groups"),
            "TASKLANE_NOTIFY_FOLDER": str(self.folder / "notify"),
            "XDG_STATE_HOME": str(self.folder / "state"),
            "TZ": "Europe/Berlin",
        }
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "TASKLANE_LOG"):
            self.environment.pop(name, None)
        group = self.folder / "groups" / "group.com.kestrelworks.Tasklane"
        self.shared = group / "com.kestrelworks.Tasklane"
        self.attachments = group / "attachments"
        self.shared.mkdir(parents=True)

    def start(self, *arguments, **options):
        options = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
                   "env": self.environment, "cwd": self.folder, **options}
        process = subprocess.Popen([PROGRAM, *(a if isinstance(a, bytes) else str(a) for a in arguments)], **options)
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        process.kill()
        process.wait()
        for end in (process.stdin, process.stdout, process.stderr):
            if end:
                end.close()

    def run_program(self, *arguments, input=b"", code=0, file_limit=None):
        """Runs it to its end; its output, having checked its exit code, one of several if a tuple is given."""
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (file_limit, resource.RLIM_INFINITY))

        process = self.start(*arguments, preexec_fn=limit if file_limit else None)
        output, self.error = process.communicate(input, timeout=LIMIT)
        self.error = self.error.decode("utf-8")
        self.assertIn(process.returncode, code if isinstance(code, tuple) else (code,), (arguments, output, self.error))
        if process.returncode in (64, 65, 66, 73, 74):
            self.assertRegex(self.error, r"(^|\n)tasklane: .+[.]\n$")
        return output.decode("utf-8")

    def run_json(self, *arguments, **options):
        return json.loads(self.run_program(*arguments, **options))

    def write(self, name, value, format=plistlib.FMT_XML):
        path = self.folder / name
        path.write_bytes(value if isinstance(value, bytes) else plistlib.dumps(value, fmt=format))
        return path

    def publish(self, kind, value, **options):
        return self.run_program("publish", kind, self.write("published", value), **options)

    def actions(self):
        with open(self.shared / "actions.plist", "rb") as file:
            return plistlib.load(file)["actions"]

    def names_in(self, folder):
        return sorted(path.name for path in folder.iterdir()) if folder.exists() else []
