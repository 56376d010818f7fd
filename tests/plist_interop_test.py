"""Property lists that Python's plistlib writes are read by us, and ours by plistlib."""
import datetime
import math
import os
import pathlib
import plistlib
import random
import re
import subprocess
import tempfile
import unittest

CONVERT = os.environ["PLIST_CONVERT"]
INTEGERS = [0, 1, -1, 127, 255, 256, 65535, 2**31, -2**31, 2**32, 2**53 + 1, 2**63 - 1, -2**63, 2**63, 2**64 - 1]
REALS = [0.0, -0.0, 0.1, 1.5, -1e300, 5e-324, 1.7976931348623157e308, math.inf, -math.inf, math.nan]
PLAIN = ["a", "Z", " ", "\t", "\n", "&", "<", ">", '"', "'", "]]>", "é", "日", "🙂", "e\u0301", "\u202e", "\x7f", "\ufffd"]
BINARY_ONLY = ["\r", "\r\n", "\0", "\x01", "\x1f"]


def value(dice, characters, depth=0):
    def text():
        return "".join(dice.choices(characters, k=dice.choice((0, 1, 5, 14, 15, 40, 300))))

    kind = dice.randrange(6 if depth > 4 else 8)
    if kind == 0:
        return dice.choice(INTEGERS) if dice.random() < 0.5 else dice.randint(-2**63, 2**64 - 1)
    if kind == 1:
        return dice.choice(REALS) if dice.random() < 0.5 else dice.uniform(-1, 1) * 10.0 ** dice.randint(-300, 300)
    if kind == 2:
        return dice.random() < 0.5
    if kind == 3:
        return datetime.datetime(1, 1, 1) + datetime.timedelta(seconds=dice.randrange(9998 * 365 * 86400))
    if kind == 4:
        return dice.randbytes(dice.choice((0, 1, 2, 3, 14, 15, 57, 300)))
    if kind == 5:
        return text()
    length = dice.choice((0, 1, 2, 7, 20))
    if kind == 6:
        return [value(dice, characters, depth + 1) for _ in range(length)]
    return {f"{i}{text()}": value(dice, characters, depth + 1) for i in range(length)}


def shown(item, change=str):
    """Tells 1 from 1.0 and from true, 0.0 from -0.0, and finds one not-a-number like another."""
    if isinstance(item, dict):
        return sorted((change(key), shown(member, change)) for key, member in item.items())
    if isinstance(item, list):
        return tuple(shown(member, change) for member in item)
    return repr(change(item) if isinstance(item, str) else item)


def carried(text):
    return re.sub("[\0-\x08\x0b\x0c\x0e-\x1f]", "\ufffd", text)


class PlistInterop(unittest.TestCase):
    def convert(self, documents):
        """What plistlib finds in our XML of each document, None for one that was refused."""
        with tempfile.TemporaryDirectory(prefix="tasklane-") as folder:
            paths = [pathlib.Path(folder, str(i)) for i in range(len(documents))]
            for path, document in zip(paths, documents):
                path.write_bytes(document)
            reasons = subprocess.run([CONVERT, *paths], stdout=subprocess.PIPE, check=True, timeout=60).stdout
            ours = [path.with_suffix(".xml") for path in paths]
            found = [plistlib.loads(path.read_bytes()) if path.exists() else None for path in ours]
        self.assertEqual(len(reasons.splitlines()), found.count(None), reasons)
        return found

    def check(self, format, characters, seed):
        dice = random.Random(seed)
        values = [INTEGERS, REALS, *([value(dice, characters)] for _ in range(250))]
        documents = [plistlib.dumps(item, fmt=format) for item in values]
        for number, (document, back) in enumerate(zip(documents, self.convert(documents))):
            with self.subTest(number=number):  # plistlib's binary writer makes one of 0.0 and -0.0
                self.assertEqual(shown(back), shown(plistlib.loads(document), carried))

    def test_xml(self):
        self.check(plistlib.FMT_XML, PLAIN, 1)

    def test_binary(self):
        self.check(plistlib.FMT_BINARY, PLAIN + BINARY_ONLY, 2)

    def test_refuses_what_is_cut_off(self):
        for format in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            whole = plistlib.dumps({"a": [1, 2.5, "é"], "b": b"x"}, fmt=format).rstrip()
            cuts = [whole[:length] for length in range(40, len(whole), 3)]
            self.assertEqual(set(self.convert(cuts)), {None})


if __name__ == "__main__":
    unittest.main()
