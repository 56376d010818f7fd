"""What cmake --install puts down works from there, and systemd takes the agent's unit."""
import json
import os
import pathlib
import shutil
import subprocess
import unittest

from program import PROGRAM, ProgramTest

BUILD = pathlib.Path(PROGRAM).parent.parent


class InstallTest(ProgramTest):
    def test_installed_program_and_service(self):
        prefix = self.folder / "usr"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
        posted = subprocess.run([prefix / "bin/tasklane", "share", "--post", "--text", "t"], env=self.environment,
                                stdout=subprocess.PIPE)
        self.assertEqual((posted.returncode, len(self.actions())), (0, 1))
        for folder in ("etc/chromium", "etc/opt/chrome", "lib/mozilla"):
            manifest = prefix / folder / "native-messaging-hosts/com.kestrelworks.tasklane.json"
            self.assertTrue(os.access(json.loads(manifest.read_text())["path"], os.X_OK), manifest)
        unit = prefix / "lib/systemd/user/tasklane-agent.service"
        start = next(line for line in unit.read_text().splitlines() if line.startswith("ExecStart="))
        self.assertEqual(start, f'ExecStart="{prefix}/lib/tasklane/Tasklane.app/tasklane" agent')
        if shutil.which("systemd-analyze"):
            runtime = self.folder / "run"
            runtime.mkdir(mode=0o700)
            subprocess.run(["systemd-analyze", "verify", "--user", unit], check=True,
                           env={**os.environ, "XDG_RUNTIME_DIR": str(runtime)})


if __name__ == "__main__":
    unittest.main()
