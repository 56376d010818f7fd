"""Property lists that Python's plistlib writes are read by us, and ours by plistlib."""
import base64
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
import xml.parsers.expat

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


WHOLE = """<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//X//DTD//EN" "http://x/é.dtd"> <!-- c - c --><?p i?>
<plist version="1.0" a = '&lt;é>'><dict><key k="">k</key><string>a<!-- - -->b<![CDATA[<&]] >]]>&#x1F642;&amp;]] ></string>
<key>&#000000000000000000000000065;</key><array><integer>-7</integer><integer>99999999999999999999</integer><real>1e999</real>
<true/><false></false><data>AAEC</data><string/></array></dict></plist>
""".encode()
PIECES = [b"<!--", b"-->", b"--", b"]]>", b"]]", b">", b"<", b"&", b"&#65;", b"&#0;", b"&#xD800;", b";", b'"', b"'", b"=",
          b" ", b" a='1'", b' a="<"', b"\xc3", b"\xff", b"\xed\xa0\x80", b"\x01", b"\x7f", b"\r", b"<?p?>", b"<?xml?>", b"<?",
          b"?>", b"<![CDATA[", b"/", b"</string>", b"<string>", b"<key>k</key>", b"<true/>", b"<dict/>", b"\xef\xbf\xbe"]


def damaged(dice, document):
    for _ in range(dice.choice((1, 1, 2, 3))):
        at = dice.randrange(document.index(b"\n"), len(document))  # encodings are another matter
        kind = dice.randrange(3)
        put = dice.choice(PIECES) if kind < 2 else b""
        document = document[:at] + put + document[at + (dice.randrange(6) if kind else 0):]
    return document


def model(document):
    """The value of a document by a general XML parser and the rules of property lists, or None."""
    parser, stack, text = xml.parsers.expat.ParserCreate(), [("", [])], []
    containers = ("", "plist", "dict", "array")

    def require(condition):
        if not condition:
            raise ValueError

    def start(name, _):
        parent, children = stack[-1]
        require(parent in containers and not "".join(text).strip(" \t\r\n") and (name == "plist") == (parent == ""))
        if parent == "dict":
            require((name == "key") == (len(children) % 2 == 0))
        require(parent != "array" or name != "key")
        require(parent != "plist" or (name != "key" and not children))
        text.clear()
        stack.append((name, []))

    def end(name):
        children, own = stack.pop()[1], "".join(text)
        text.clear()
        require(name not in containers or not own.strip(" \t\r\n"))
        if name == "dict":
            require(len(children) % 2 == 0)
            value = dict(zip(children[::2], children[1::2]))
        elif name in ("array", "plist"):
            require(name == "array" or children)
            value = children
        else:
            value = SCALARS[name](own)
        stack[-1][1].append(value)

    def characters(data):
        require(stack[-1][0] not in containers or not data.strip(" \t\r\n"))
        text.append(data)

    def section():
        require(stack[-1][0] not in containers)

    def skipped(*_):
        raise ValueError

    # With an external document type, an entity that nobody declared may be one of that. It is none to us.
    parser.SkippedEntityHandler = skipped
    parser.StartElementHandler, parser.EndElementHandler = start, end
    parser.CharacterDataHandler, parser.StartCdataSectionHandler = characters, section
    try:
        parser.Parse(document, True)
        require(not re.search(rb"""=\s*('[^'<]*|"[^"<]*)&(?!(amp|lt|gt|quot|apos|#\d+|#x[0-9a-fA-F]+);)""", document))
    except (ValueError, KeyError, xml.parsers.expat.ExpatError):
        return None
    return stack[0][1][0][0]


def integer(text):
    if not re.fullmatch(r"[+-]?([0-9]+|0[xX][0-9a-fA-F]+)", text.strip(" \t\r\n")):
        raise ValueError
    value = int(text, 16 if "x" in text.lower() else 10)
    return value if -2**63 <= value < 2**64 else float(value)


def real(text):
    if not re.fullmatch(r"[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)([eE][+-]?[0-9]+)?|[+-]?(inf|infinity|nan)",
                        text.strip(" \t\r\n"), re.IGNORECASE | re.ASCII):
        raise ValueError
    return float(text)


def nothing(value):
    def read(text):
        if text.strip(" \t\r\n"):
            raise ValueError
        return value
    return read


def data(text):
    return base64.b64decode(re.sub("[ \t\r\n]", "", text), validate=True)


SCALARS = {"key": str, "string": str, "integer": integer, "real": real, "data": data, "true": nothing(True),
           "false": nothing(False)}


class PlistInterop(unittest.TestCase):
    def convert(self, documents):
        """What plistlib finds in our XML of each document, None for one that was refused. It is as plistlib's own, but
        for the spelling of numbers, and for CR, which plistlib does not keep."""
        with tempfile.TemporaryDirectory(prefix="tasklane-") as folder:
            paths = [pathlib.Path(folder, str(i)) for i in range(len(documents))]
            for path, document in zip(paths, documents):
                path.write_bytes(document)
            reasons = subprocess.run([CONVERT, *paths], stdout=subprocess.PIPE, check=True, timeout=60).stdout
            ours = [path.with_suffix(".xml") for path in paths]
            found = [plistlib.loads(path.read_bytes()) if path.exists() else None for path in ours]
            for path, value in zip(ours, found):
                if value is not None:
                    own = re.sub(b"&#13;\n?", b"\n", path.read_bytes())
                    self.assertEqual(*(re.sub(b"<real>.*?</real>", b"", text) for text in (own, plistlib.dumps(value))))
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

    def test_agrees_with_another_parser_on_what_is_well_formed(self):
        dice = random.Random(3)
        documents = [WHOLE] + [damaged(dice, WHOLE) for _ in range(1500)]
        for document, found in zip(documents, self.convert(documents)):
            with self.subTest(document=document):
                expected = model(document)
                self.assertEqual(found is None, expected is None)
                if expected is not None:
                    self.assertEqual(shown(found), shown(expected))


if __name__ == "__main__":
    unittest.main()
