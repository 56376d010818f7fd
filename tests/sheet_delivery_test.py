"""What is saved in a sheet arrives in the person's list, whichever process shows the sheet."""
import pathlib
import unittest

from delivery import DeliveryTest
from desktop import Desktop, wait_for


class Sheet(DeliveryTest):
    def test_of_its_saves(self):
        with Desktop() as desktop:
            names = ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "TASKLANE_GROUP_CONTAINERS", "TASKLANE_NOTIFY_FOLDER")
            desktop.environment |= {name: self.environment[name] for name in names}
            desktop.environment |= {"TASKLANE_DELIVERY": "1", "TASKLANE_STANDBY": "1"}
            self.connect()
            for title in ("first", "second"):
                sheet = desktop.share("--title", title)
                desktop.keys("ctrl+Return")
                self.assertEqual(sheet.wait(60), 0)
                wait_for("its line", lambda: any(f" {title} uuid:" in line for line in self.lines()), 60)

    def test_waits_from_the_agents_start_on(self):
        with Desktop() as desktop:
            self.environment |= {name: desktop.environment[name] for name in ("DISPLAY", "XDG_RUNTIME_DIR")}
            self.environment["TASKLANE_STANDBY"] = "1"
            self.agent()
            wait_for("the sheet's process", (pathlib.Path(desktop.environment["XDG_RUNTIME_DIR"]) / "tasklane-sheet").exists)


if __name__ == "__main__":
    unittest.main()
