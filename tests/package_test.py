"""The Debian packages: what Debian thinks of them, and what they do on a machine, from installation to purge. The machine is
this one in a namespace of its own, where nothing that is installed is seen from outside."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import desktop
from desktop import Desktop, wait_for

ROOT = pathlib.Path(__file__).resolve().parent.parent
PHOTO = ROOT / "resources" / "sample" / "photo.jpg"
ID = "com.kestrelworks.Tasklane"
PLACES = ["/usr", "/etc", "/var"]
TYPES = ["text/plain", "text/html", "image/png", "image/jpeg", "application/pdf", "x-scheme-handler/https"]
MOUNTS = """
set -e
mount -t tmpfs tmpfs {disk}
for place in {places}; do
  mkdir -p {disk}/upper$place {disk}/work$place
  mount -t overlay overlay -o lowerdir=$place,upperdir={disk}/upper$place,workdir={disk}/work$place $place
done
ln -sf /bin/true /usr/bin/mandb  # indexing all of the manual takes a minute
echo ready
exec cat
"""


def run(command, **options):
    """A command's output; fails with all that it has said."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def setUpModule():
    global PACKAGES
    run([ROOT / "scripts" / "package", "--built"])
    PACKAGES = sorted((ROOT / "build" / "packages").glob("*.deb"))


class Validators(unittest.TestCase):
    def test_packages_and_their_descriptions(self):
        as_root = ["--allow-root"] if os.geteuid() == 0 else []
        run(["lintian", *as_root, "--fail-on", "error,warning", *PACKAGES])
        folder = ROOT / "resources" / "desktop"
        run(["desktop-file-validate", folder / f"{ID}.desktop"])
        run(["appstreamcli", "validate", "--no-net", folder / f"{ID}.metainfo.xml"])

    def test_command_line_is_small_and_needs_no_toolkit(self):
        package = next(path for path in PACKAGES if path.name.startswith("tasklane-cli_"))
        self.assertNotIn("qt6", run(["dpkg-deb", "-f", package, "Depends"]).lower())
        listed = run(["dpkg-deb", "-c", package])
        size = int(re.search(r"(\d+) \S+ \S+ \S*/Tasklane.app/tasklane$", listed, re.M)[1])
        self.assertLess(size, 4 << 20)

    def test_manual(self):
        man = ROOT / "build" / "release" / "docs" / "manual" / "man"
        pages = sorted(path for path in man.glob("man*/*") if not path.is_symlink())
        self.assertGreater(len(pages), 5)
        for page in pages:
            self.assertEqual(run(["mandoc", "-T", "lint", "-W", "warning", page]), "", page)
            formatted = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True)
            self.assertEqual(formatted.stderr, b"", page)


class Machine:
    """A namespace in which /usr, /etc and /var are this machine's, and what is written to them goes away with it."""

    def __init__(self, folder):
        self.as_user = [] if os.geteuid() == 0 else ["--map-root-user"]
        disk = folder / "disk"
        disk.mkdir()
        self.holder = subprocess.Popen(
            ["unshare", "--mount", *self.as_user, "sh", "-c", MOUNTS.format(disk=disk, places=" ".join(PLACES))],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.works = self.holder.stdout.readline() == b"ready\n"
        user = ["--user", "--preserve-credentials"] if self.as_user else []
        self.enter = ["nsenter", "--mount", *user, "--target", str(self.holder.pid)]

    def close(self):
        self.holder.stdin.close()
        self.holder.wait()
        self.holder.stdout.close()

    def run(self, *command, **options):
        return run([*self.enter, *command], **options)

    def install(self, packages):
        # Small images of Debian leave manuals out.
        self.run("dpkg", "--path-include=*", "-i", *packages)

    def purge(self):
        self.run("dpkg", "-P", *(path.name.split("_")[0] for path in PACKAGES))

    def traces(self):
        return self.run("find", *PLACES, "-xdev", "-iname", "*tasklane*", "-not", "-path", "/var/lib/dpkg/*").split("\n")


def later_versions(folder):
    """The same packages with the next version number."""
    later = []
    for package in PACKAGES:
        contents = folder / package.stem
        run(["dpkg-deb", "-R", package, contents])
        control = contents / "DEBIAN" / "control"
        version = re.search(r"^Version: (.*)$", control.read_text(), re.M)[1]
        control.write_text(re.sub(rf"(^Version: |\(= ){re.escape(version)}", rf"\g<1>{version}+later", control.read_text(),
                                  flags=re.M))
        later.append(folder / f"{package.stem}.deb")
        run(["dpkg-deb", "-Znone", "--root-owner-group", "-b", contents, later[-1]])
    return later


class OnAMachine(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tasklane-package-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.machine = Machine(self.folder)
        self.addCleanup(self.machine.close)
        if not self.machine.works:
            self.skipTest("a namespace with mounts of its own takes root")
        installed = subprocess.run(["dpkg-query", "-W", "tasklane-cli"], capture_output=True)
        if installed.returncode == 0:
            self.machine.purge()
        self.program = self.folder / "tasklane"
        self.program.write_text(f"#!/bin/sh\nexec {' '.join(self.machine.enter)} /usr/bin/tasklane \"$@\"\n")
        self.program.chmod(0o755)
        self.environment = {**os.environ, "HOME": str(self.folder), "XDG_DATA_DIRS": "/usr/local/share:/usr/share",
                            "TASKLANE_DELIVERY": "0"}
        for name in ("DATA", "CONFIG", "STATE", "CACHE", "RUNTIME"):
            self.environment.pop(f"XDG_{name}_HOME", None)
        for name in ("TASKLANE_GROUP_CONTAINERS", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"):
            self.environment.pop(name, None)

    def tasklane(self, *arguments):
        return run([self.program, *arguments], env=self.environment)

    def defaults(self):
        return {each: self.machine.run("xdg-mime", "query", "default", each, env=self.environment) for each in TYPES}

    def test_from_installation_to_purge(self):
        traces, defaults = self.machine.traces(), self.defaults()
        command_line = [path for path in PACKAGES if path.name.startswith("tasklane-cli_")]
        self.machine.install(command_line)
        self.assertIn(f"tasklane {command_line[0].name.split('_')[1]}\n", self.tasklane("--version"))
        self.tasklane("share", "--post", "--title", "Kept", "--image", str(PHOTO))
        self.machine.install(PACKAGES)
        picture = self.folder / "sheet.png"
        self.tasklane("share", "--title", "Drawn", "--snapshot", str(picture))
        self.assertGreater(picture.stat().st_size, 1000)
        self.assertIn("/man1/tasklane-share.1", self.machine.run("man", "-w", "tasklane-share"))
        self.assertEqual(self.defaults(), defaults)
        self.assertEqual(self.machine.run("xdg-mime", "query", "default", "x-scheme-handler/tasklane",
                                          env=self.environment), f"{ID}.desktop\n")
        self.machine.purge()
        self.assertEqual(self.machine.traces(), traces)
        self.assertEqual(self.defaults(), defaults)
        queues = list(self.folder.glob(".local/share/tasklane/**/actions.plist"))
        self.assertEqual([b"Kept" in path.read_bytes() for path in queues], [True], "the person's data stays")

    def test_completions(self):
        self.machine.install(PACKAGES)
        self.environment["PATH"] = f"{self.folder}:{self.environment['PATH']}"
        (self.folder / "photo 1.jpg").touch()
        bash = """source /usr/share/bash-completion/completions/tasklane
            complete_words() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tasklane; printf '%s\\n' "${COMPREPLY[@]}"; }
            cd "$HOME"; complete_words "$@" 2>/dev/null"""
        for words, wanted in ((["tasklane", "sh"], ["share"]), (["tasklane", "queue", "t"], ["take"]),
                              (["tasklane", "share", "--tit"], ["--title"]), (["tasklane", "publish", "con"], ["containers"]),
                              (["tasklane", "share", "--image", "pho"], ["photo 1.jpg"]),
                              (["tasklane", "connect", "caldav", "--us"], ["--user"])):
            offered = self.machine.run("bash", "-c", bash, "bash", *words, env=self.environment).split("\n")[:-1]
            self.assertEqual(offered, wanted, words)
            if words[-1] == "pho":
                continue  # a file, which shells offer by themselves
            line = " ".join(words)
            fish = self.machine.run("fish", "-c", f"cd; complete -C '{line}'", env=self.environment)
            self.assertEqual([each.split("\t")[0] for each in fish.split("\n")[:-1]], wanted, line)
        zsh = """autoload -U compinit; compinit -u -d $HOME/.zcompdump
            print $_comps[tasklane]; autoload +X _tasklane && print loads"""
        self.assertEqual(self.machine.run("zsh", "-f", "-c", zsh, env=self.environment), "_tasklane\nloads\n")

    def test_upgrade_under_an_open_sheet_and_a_waiting_process(self):
        self.machine.install(PACKAGES)
        screen = self.enterContext(Desktop())
        screen.environment.pop("TASKLANE_STANDBY")
        self.addCleanup(setattr, desktop, "TASKLANE", desktop.TASKLANE)
        desktop.TASKLANE = str(self.program)
        first = screen.share("--text", "Before")
        place = pathlib.Path(screen.folder) / "tasklane-sheet"
        wait_for("the process that waits", place.exists)
        self.machine.install(later_versions(self.folder))
        self.assertEqual(screen.save()["title"], "Before")
        self.assertEqual(first.wait(60), 0)
        second = screen.start([self.program, "share", "--text", "After", "--image", PHOTO])
        saved = screen.save(2)
        self.assertEqual((saved["title"], saved["attachments"]), ("After", ["1.jpg"]))
        self.assertEqual(second.wait(60), 0)


if __name__ == "__main__":
    unittest.main()
