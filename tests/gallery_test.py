"""Draws the gallery without a display, as a person who looks for faults in the pictures would."""
import os
import pathlib
import struct
import subprocess
import tempfile
import unittest

GALLERY = pathlib.Path(os.environ["TASKLANE"]).parent / "gallery"
SCALES = {"": 1, "@1.5x": 1.5, "@2x": 2}


def size_of(picture):
    return struct.unpack(">II", picture.read_bytes()[16:24])


@unittest.skipUnless(GALLERY.exists(), "built without a screen")
class Gallery(unittest.TestCase):
    def test_draws_everything_in_every_palette_scale_and_direction(self):
        with tempfile.TemporaryDirectory() as folder:
            environment = {name: value for name, value in os.environ.items()
                           if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
            done = subprocess.run([GALLERY, folder], env=environment, timeout=240,
                                  stderr=subprocess.PIPE, check=False)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertNotIn(b"Palette", done.stderr)
            places = sorted(pathlib.Path(folder).iterdir())
            self.assertEqual([place.name for place in places],
                             ["dark-ltr", "dark-rtl", "default-ltr", "default-rtl", "today-ltr",
                              "today-rtl"])
            names = {picture.name for picture in places[0].iterdir()}
            screens = {name[:-4] for name in names if "@" not in name}
            self.assertGreaterEqual(screens, {"table-plain", "table-grouped", "picker", "sheet"})
            for place in places:
                self.assertEqual({picture.name for picture in place.iterdir()}, names)
            for screen in screens:
                width, height = size_of(places[0] / f"{screen}.png")
                for suffix, scale in SCALES.items():
                    for place in places:
                        self.assertEqual(size_of(place / f"{screen}{suffix}.png"),
                                         (width * scale, height * scale))
                looks = {(place / f"{screen}.png").read_bytes() for place in places}
                self.assertGreaterEqual(len(looks), 4, f"{screen} does not follow the palette")

    def test_a_text_size_that_is_none_is_said_and_not_used(self):
        with tempfile.TemporaryDirectory() as folder:
            def drawn(size):
                picture = pathlib.Path(folder) / "sheet.png"
                done = subprocess.run(
                    [os.environ["TASKLANE"], "share", "--title", "Buy milk", "--snapshot", picture],
                    env={**os.environ, "TASKLANE_TEXT_SIZE": size, "TASKLANE_GROUP_CONTAINERS": folder},
                    stderr=subprocess.PIPE, check=True, timeout=60)
                return size_of(picture), done.stderr
            usual, silence = drawn("1")
            self.assertNotIn(b"TASKLANE", silence)
            for nonsense in ("nan", "inf", "-1", "large"):
                size, said = drawn(nonsense)
                self.assertEqual(size, usual)
                self.assertIn(f'TASKLANE_TEXT_SIZE is "{nonsense}"'.encode(), said)
            self.assertGreater(drawn("2")[0], usual)

    def test_asks_for_a_folder(self):
        self.assertEqual(subprocess.run([GALLERY], stderr=subprocess.PIPE, check=False).returncode,
                         64)


if __name__ == "__main__":
    unittest.main()
