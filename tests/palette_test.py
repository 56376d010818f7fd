"""The command for the people who make palettes."""
import pathlib
import plistlib
import unittest

from program import ProgramTest

PALETTES = pathlib.Path(__file__).resolve().parent.parent / "resources" / "palettes"


class PaletteCheck(ProgramTest):
    def test_finds_nothing_in_our_own(self):
        for path in sorted(PALETTES.glob("*.plist")):
            self.run_program("palette", "check", path)

    def test_says_all_that_is_wrong_at_once(self):
        values = plistlib.loads((PALETTES / "TasklaneDarkAppearance.plist").read_bytes())
        values.update(BarStyle="bright", BackgroundColor=12, backgroundColor="#000000",
                      HomeScreenEditingBackgroundImage="Nothing.png")
        del values["SeparatorColor"]
        path = self.write("Mine.plist", values)
        self.run_program("palette", "check", path, code=65)
        for fault in ("BarStyle needs one of", "BackgroundColor needs a colour",
                      "backgroundColor is not a key", "SeparatorColor is missing",
                      "HomeScreenEditingBackgroundImage names the image"):
            self.assertIn(f"{path}: {fault}", self.error)
        self.assertEqual(self.error.count("\n"), 6, self.error)

    def test_names_what_cannot_be_read(self):
        self.run_program("palette", "check", "missing.plist", code=66)
        self.assertIn("missing.plist", self.error)
        self.run_program("palette", "check", self.write("broken.plist", b"<plist><dict>"), code=65)
        self.assertIn("broken.plist", self.error)
        self.run_program("palette", code=64)


if __name__ == "__main__":
    unittest.main()
