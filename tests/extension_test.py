"""The browser extension as it is packed."""
import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCES = pathlib.Path(__file__).resolve().parent.parent


class ExtensionTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tasklane-extension-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def packed(self, name, umask):
        subprocess.run([SOURCES / "scripts/package-extension", self.folder / name], check=True, umask=umask)
        return next((self.folder / name).glob("*.zip")).read_bytes()

    def test_equal_sources_make_an_equal_archive(self):
        self.assertEqual(self.packed("one", 0o022), self.packed("two", 0o077))

    def test_it_speaks_the_languages_of_the_sheet(self):
        languages = {path.name: json.loads((path / "messages.json").read_text(encoding="utf-8"))
                     for path in (SOURCES / "extension/_locales").iterdir()}
        names = {"pt-BR": "pt_BR", "zh-Hans": "zh_CN"}
        sheets = [path.stem for path in (SOURCES / "resources/Share.appex/Resources").glob("*.lproj")]
        self.assertEqual(set(languages), {names.get(name, name) for name in sheets})
        for name, messages in languages.items():
            self.assertEqual(set(messages), set(languages["en"]), name)
            self.assertLessEqual(len(messages["extensionDescription"]["message"]), 132, name)  # what stores take


if __name__ == "__main__":
    unittest.main()
