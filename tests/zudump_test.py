"""zudump from outside: its output for whole, damaged and hostile files."""
import json
import os
import re
import struct
import subprocess
import tempfile
import unittest

from harness import BUILD, ROOT, is_sanitized, read

ZUDUMP = os.path.abspath(os.environ.get("ZUDUMP", f"{BUILD}/tools/zudump"))
MAP, LIST = "zutl_StringStringMap (15501)", "zutl_StringList (5501)"
TEXT, NUMBER = "zutl_String (501)", "Integer (504)"
IS_SANITIZED = is_sanitized(ZUDUMP)


def encoded(value):
    """Returns the bytes of a number, a text, a map, or a stream given by its records."""
    if isinstance(value, dict):
        return encoded(len(value)) + b"".join(encoded(key) + encoded(entry) for key, entry in value.items())
    if isinstance(value, list):
        return encoded(len(b"".join(value))) + b"".join(value)
    return struct.pack("<i", value) if isinstance(value, int) else encoded(len(value)) + value + b"\0"


def record(type_id, payload, reserved=0):
    return struct.pack("<HHI", type_id, reserved, len(payload)) + payload


def elements(type_id, *contents, count=None):
    head = [record(504, encoded(type_id)), record(504, encoded(len(contents) if count is None else count))]
    return encoded(head + [record(type_id, element) for element in contents])


def object_file(type_id, payload):
    return struct.pack("<HI", type_id, len(payload)) + payload


NESTED = b"".join((record(10501, elements(5501, elements(501, encoded(b"x")), elements(501))),
                   record(6, encoded([record(99, bytes(34))])),
                   record(20501, encoded(1) + encoded(b"k") + elements(501)),
                   record(20501, elements(15501, encoded({b"k": b"v"}))),
                   record(1, b"")))
DEEP = b""
for _ in range(5000):
    DEEP = record(6, encoded([DEEP]))


class ZudumpTest(unittest.TestCase):
    def dump(self, *arguments, **how):
        # No number in a file makes it allocate memory. Sanitizers need more than any limit.
        limit = [] if IS_SANITIZED else ["prlimit", f"--as={1 << 28}"]
        how = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **how}
        return subprocess.run([*limit, ZUDUMP, *arguments], timeout=240, check=False, **how)

    def items(self, objects):
        for item in objects:
            yield item
            yield from self.items(item["value"] if isinstance(item.get("value"), list) else [])

    def shown(self, content, kind=None):
        """Returns the lines after the first; checks that the exit status and the JSON output agree."""
        options = ["--as", kind] if kind else []
        run = self.dump(*options, "-", input=content)
        [file] = json.loads(self.dump(*options, "--json", "-", input=content).stdout)
        lines = [re.sub("^0*(?=[0-9A-F])", "", line) for line in run.stdout.decode().splitlines()[1:]]
        is_damaged = any(re.search("^[0-9A-F]+ +damaged: ", line) for line in lines)
        self.assertEqual((run.returncode, file["whole"]), (is_damaged, not is_damaged))
        self.assertEqual(file["size"], len(content))
        offsets = [item["offset"] for item in self.items(file["objects"])]
        self.assertEqual([int(line.split()[0], 16) for line in lines], offsets)
        return lines

    def test_examples_of_the_document(self):
        document = read(ROOT, "docs/formats.md")
        examples = dict(re.findall(r"^\| the (.*) \| ([0-9A-F ]+) \|$", document, re.M))
        expected = {
            "text `abc`": ("string", f'0  {TEXT}, 8 bytes: "abc"'),
            "empty text": ("501", f'0  {TEXT}, 5 bytes: ""'),
            "integer 504": ("integer", f"0  {NUMBER}, 4 bytes: 504"),
            "integer -2": ("504", f"0  {NUMBER}, 4 bytes: -2"),
            "map `a` to `1`": ("map", f"0  {MAP}, 16 bytes", '4    "a" = "1"'),
            "empty map": ("15501", f"0  {MAP}, 4 bytes: empty"),
            "list of `ab`": ("list", f"0  {LIST}, 43 bytes", f'1C    {TEXT}, 7 bytes: "ab"'),
            "empty list": ("list", f"0  {LIST}, 28 bytes: empty"),
            "record of the integer 7": (None, f"0  {NUMBER}, 4 bytes: 7"),
            "stream with that integer": ("stream", "0  zusl_MemIOStream (6), 16 bytes",
                                         f"4    {NUMBER}, 4 bytes: 7"),
            "record of an end-of-file marker": (None, "0  zusl_EndOfFile (1), 0 bytes"),
            "file of the integer 7": (None, f"0  {NUMBER}, 4 bytes: 7")}
        self.assertEqual(examples.keys(), expected.keys())
        for name, (kind, *lines) in expected.items():
            self.assertEqual(self.shown(bytes.fromhex(examples[name]), kind), lines, name)

    def test_nested_values(self):
        self.assertEqual(self.shown(NESTED), [
            "0  zutl_StringListList (10501), 114 bytes", f"24    {LIST}, 42 bytes",
            f'48      {TEXT}, 6 bytes: "x"', f"56    {LIST}, 28 bytes: empty",
            "7A  zusl_MemIOStream (6), 46 bytes",
            "86    unknown type (99), 34 bytes:" + 32 * " 00" + " and 2 more",
            "B0  zutl_StringListStringMap (20501), 38 bytes", f'BC    "k" = {LIST}: empty',
            "DE  zutl_StringStringMapList (20501), 52 bytes", f"102    {MAP}, 16 bytes",
            '10E      "k" = "v"', "11A  zusl_EndOfFile (1), 0 bytes"])

    def test_any_bytes_are_safe_to_print(self):
        every = bytes(range(1, 256)) + "ä\x9b\u202e\U0001f600".encode()
        every += b"\xc0\x80\xe0\x80\x80\xed\xa0\x80\xf4\x90\x80\x80"  # not UTF-8
        with tempfile.TemporaryDirectory() as folder:
            name = os.fsencode(folder) + b"/\x1b\xff\n\"\\"
            with open(name, "wb") as file:
                file.write(record(15501, encoded({every: every})))
            plain, as_json, missing = self.dump(name), self.dump("--json", name), self.dump(name + b"?")
        for printed in (plain.stdout, as_json.stdout, missing.stderr):
            self.assertRegex(printed.decode(), "^[\n -~ä\U0001f600]+$")
        [dumped] = json.loads(as_json.stdout)
        [shown] = dumped["objects"][0]["value"]
        exact = (dumped["fileHex"], shown["keyHex"], shown["valueHex"])
        self.assertEqual([bytes.fromhex(code) for code in exact], [name, every, every])
        self.assertEqual(shown["value"], every.decode(errors="replace"))
        printed_name = plain.stdout.split(b":")[0]
        self.assertEqual(missing.stderr, b"zudump: " + printed_name + b"?: No such file or directory\n")

    def test_damage_is_reported_with_place_and_reason(self):
        seven, most = record(504, encoded(7)), 0x7FFFFFFF
        for content, kind, *remarks in (
                (record(504, b"abc") + seven, None, "8  damaged: an integer takes at least 4 bytes, 3 left"),
                (record(501, encoded(3) + b"abc"), None, "8  damaged: a text without its zero byte"),
                (seven + record(501, encoded(9) + b"ab\0cd", 7), None,
                 "C  note: the reserved field holds 7 instead of 0",
                 "14  note: a text of 2 bytes, its length says 9",
                 "1B  note: 2 bytes after the object, not read"),
                (elements(504, encoded(3)), "list", "4  damaged: elements of type 504 in a list of type 501",
                 "1C  damaged: type 504 in a list of type 501"),
                (encoded([elements(501)[4:], seven[:-1]]), "list", "1C  damaged: 4 bytes announced, 3 left",
                 "4  note: the count says 0, 1 there"),
                (encoded([]), "list", "4  damaged: a list without the two integers at its beginning"),
                (encoded(-1), "map", "0  note: a count of -1, which means an empty map"),
                (encoded(most) + encoded(b"k") + encoded(b"v"), "map",
                 f"10  damaged: the count says {most}, 1 there"),
                (encoded(1) + encoded(b"key")[:-1], "map", "4  damaged: a key without its zero byte"),
                (encoded(2) + encoded(b"k") + encoded(500) + seven, "15006",
                 "A  damaged: 500 bytes announced, 12 left"),
                (record(5501, elements(501, encoded(b"abc"), b""))[:-10], None,
                 "24  damaged: 8 bytes announced, 6 left", "0  damaged: 52 bytes announced, 42 left"),
                (record(6, encoded(-1)) + record(5501, elements(501, count=1)), None,
                 "8  damaged: 4294967295 bytes announced, 0 left", "18  damaged: the count says 1, 0 there"),
                (object_file(504, encoded(7) + b"?"), None,
                 "A  damaged: 1 byte of the announced length after the object"),
                (object_file(504, encoded(7)) + b"?", None, "A  note: 1 byte after the object, not read"),
                (object_file(504, encoded(7))[:5], None,
                 "0  damaged: an object file's header takes 6 bytes, 5 left"),
                (b"abc", None, "0  damaged: a record's header takes 8 bytes, 3 left"), (b"", None),
                (object_file(1, b""), None), (object_file(99, 65536 * b"?"), None),
                (record(501, encoded(b"")) + record(99, 327665 * b"?"), None),
                (DEEP, None, "188  damaged: nested in more than 32 levels")):
            lines = [re.sub("  +", "  ", line) for line in self.shown(content, kind)]
            self.assertEqual([line for line in lines if re.search("^.*?  (note|damaged): ", line)], remarks)

    def test_shows_the_beginning_of_a_cut_file(self):
        settings = encoded({b"mode": b"auto", b"room": b"hall"})
        texts = record(5501, elements(501, encoded(b"a"), encoded(b"b")))
        for content, kind, parts in ((NESTED, "records", (0, 122, 176, 222, 282)), (texts, "records", (0,)),
                                     (object_file(15501, settings), "object", ())):
            runs = [self.dump("--as", kind, "--json", "-", input=content[:length])
                    for length in range(len(content) + 1)]
            whole = [length for length, run in enumerate(runs) if run.returncode == 0]
            self.assertEqual(whole, [*parts, len(content)])
            values = [[item["value"] for item in self.items(json.loads(run.stdout)[0]["objects"])
                       if isinstance(item.get("value"), str)] for run in runs]
            self.assertTrue(values[-2] and all(some == values[-1][:len(some)] for some in values), values)

    def test_exit_status(self):
        with tempfile.TemporaryDirectory() as folder:
            for name, content in (("whole", NESTED), ("damaged", NESTED[:-1])):
                with open(os.path.join(folder, name), "wb") as file:
                    file.write(content)
            for status, cases in (
                    (0, ("whole", "-- whole", "--help")), (1, ("damaged --json whole",)),
                    (2, (".", "", "damaged missing whole", "--as", "--as what whole", "--as 99 whole",
                         "--as 66037 whole", "--as 501x whole", "--none whole"))):
                for arguments in cases:
                    run = self.dump(*arguments.split(), cwd=folder)
                    self.assertEqual((run.returncode, run.stderr == b""), (status, status < 2), arguments)
            missing, whole = json.loads(self.dump("--json", "missing", "whole", cwd=folder).stdout)
            with open("/dev/full", "wb") as full:
                run = self.dump("whole", cwd=folder, stdout=full)
        self.assertEqual(missing, {"file": "missing", "error": "No such file or directory"})
        self.assertTrue(whole["whole"])
        self.assertEqual((run.returncode, run.stderr),
                         (2, b"zudump: standard output: No space left on device\n"))


if __name__ == "__main__":
    unittest.main()
