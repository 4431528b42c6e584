#!/usr/bin/env python3
"""Tests of check_catalogue.py over a small made-up document and catalogue."""

import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import check_catalogue as cc  # noqa: E402

DOC = """# A chapter

| export | family | id | description text |
|---|---|---|---|
| `X01` | demo | 110 | "Says "ABC" (in quotes)" |
| `X02` | demo | as `X01` | runs `X01` unchanged |
| `X07` | 3.5" demo | 124 | "Validate the seventh" |

| message | text | arguments | location | type |
|---|---|---|---|---|
| 120 | "Entry %1 ends with a blank " | %1 key | "T", "C", key | 1 |
| 100 | "Out of range, never taken" | none | none | 1 |
| 121 | "Name SHORT~1|Long name" | %1 name | none | 2 |
| 122 | "Size %1" | %1 a 3.5" disk | none | 2 |

| export | class | description id | description |
|---|---|---|---|
| `X06` | `C06` | 123 | "Validate the sixth" |

| Root | text |
|---|---|
| 2 | "HKEY_LOCAL_MACHINE" |

| check | call | catalogue text |
|---|---|---|
| `X03` | `CheckImportedApis(2, 130, 1)` | "File %1 imports %3" |
| `X04` | `CheckVb6Dependency(131, 1)` | "File '%1' depends on it." |

| export | class | description id and text | finding id and text |
|---|---|---|---|
| `X05` | `C05` | 140 "Checks a thing" | 141 "Found a thing. It is 64-bit." |

| id | text |
|---|---|
| 150 | "Path HKLM\\Software and '[\\[]Name[\\]]'" |

Then report message 160, "Run %1. %2:  %3", with type 0, and message 161, "Names cannot start with "MSI" (any case)", %1 the name.
The check, description 170, "Validate that nothing is wrong.". Another (class `C`, description id 171, "Says "X" (any case)") finds. Labels: 180 "web site", 181 "pool".
Report catalogue message 190 with type 1 and the arguments name and component: "File %1 could not be found."
The unused id 261, "Never taken" and a buffer of 260 characters stay out.
"""

EXPECTED = {
    110: 'Says "ABC" (in quotes)',
    120: "Entry %1 ends with a blank ",
    121: "Name SHORT~1|Long name",
    122: "Size %1",
    123: "Validate the sixth",
    124: "Validate the seventh",
    130: "File %1 imports %3",
    131: "File '%1' depends on it.",
    140: "Checks a thing",
    141: "Found a thing. It is 64-bit.",
    150: "Path HKLM\\Software and '[\\[]Name[\\]]'",
    160: "Run %1. %2:  %3",
    161: 'Names cannot start with "MSI" (any case)',
    170: "Validate that nothing is wrong.",
    171: 'Says "X" (any case)',
    180: "web site",
    181: "pool",
    190: "File %1 could not be found.",
}


def line_of(fragment, doc=DOC):
    """1-based number of the first document line holding fragment."""
    return next(i for i, line in enumerate(doc.split("\n"), 1) if fragment in line)


HEADER = "// The catalogue.\n// Second comment line.\n\n"

CATALOGUE_LINES = [
    'QV_CATALOGUE(110, L"Says \\"ABC\\" (in quotes)")',
    'QV_CATALOGUE(120, L"Entry %1 ends with a blank ")',
    'QV_CATALOGUE(121, L"Name SHORT~1|Long name")',
    'QV_CATALOGUE(122, L"Size %1")',
    'QV_CATALOGUE(123, L"Validate the sixth")',
    'QV_CATALOGUE(124, L"Validate the seventh")',
    'QV_CATALOGUE(130, L"File %1 imports %3")',
    'QV_CATALOGUE(131, L"File \'%1\' depends on it.")',
    'QV_CATALOGUE(140, L"Checks a thing")',
    'QV_CATALOGUE(141, L"Found a thing. It is 64-bit.")',
    'QV_CATALOGUE(150, L"Path HKLM\\\\Software and \'[\\\\[]Name[\\\\]]\'")',
    'QV_CATALOGUE(160, L"Run %1. %2:  %3")',
    'QV_CATALOGUE(161, L"Names cannot start with \\"MSI\\" (any case)")',
    'QV_CATALOGUE(170, L"Validate that nothing is wrong.")',
    'QV_CATALOGUE(171, L"Says \\"X\\" (any case)")',
    'QV_CATALOGUE(180, L"web site")',
    'QV_CATALOGUE(181, L"pool")',
    'QV_CATALOGUE(190, L"File %1 could not be found.")',
]


class Files:
    def __init__(self):
        self.dir = tempfile.TemporaryDirectory()

    def write(self, name, text):
        path = os.path.join(self.dir.name, name)
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)
        return path


def catalogue_text(lines):
    return HEADER + "\n".join(lines) + "\n"


class ExtractionTest(unittest.TestCase):
    def test_every_quoting_form_gives_the_exact_text(self):
        files = Files()
        extraction = cc.extract_document(files.write("doc.md", DOC))
        found = {n: [t for _, t in q] for n, q in extraction.quotes.items()}
        self.assertEqual(found, {n: [t] for n, t in EXPECTED.items()})

    def test_line_numbers_point_at_the_quotation(self):
        files = Files()
        extraction = cc.extract_document(files.write("doc.md", DOC))
        lines = DOC.split("\n")
        for number, quotes in extraction.quotes.items():
            for lineno, text in quotes:
                self.assertIn('"' + text + '"', lines[lineno - 1], number)


class UnescapeTest(unittest.TestCase):
    def test_the_four_escapes(self):
        self.assertEqual(cc.unescape('a\\tb\\nc\\\\d\\"e'), 'a\tb\nc\\d"e')
        with self.assertRaises(ValueError):
            cc.unescape("a\\u0041")


class CompareTest(unittest.TestCase):
    def run_compare(self, lines, doc=DOC, raw=None):
        files = Files()
        doc_path = files.write("doc.md", doc)
        cat_path = files.write("catalogue.inc", raw if raw is not None else catalogue_text(lines))
        _, _, problems, notes, _ = cc.compare(doc_path, cat_path)
        return problems, notes

    def with_line(self, line):
        """The catalogue with the entry of line's id replaced by line."""
        number = line[len("QV_CATALOGUE("):line.index(",")]
        prefix = f"QV_CATALOGUE({number},"
        lines = [line if old.startswith(prefix) else old for old in CATALOGUE_LINES]
        self.assertIn(line, lines)
        return lines

    def test_matching_catalogue_passes(self):
        problems, notes = self.run_compare(CATALOGUE_LINES)
        self.assertEqual(problems, [])
        self.assertEqual(notes, [])

    def test_text_faults_are_reported(self):
        cases = {
            "trailing blank dropped": ('QV_CATALOGUE(120, L"Entry %1 ends with a blank")', 120, 26),
            "double blank collapsed": ('QV_CATALOGUE(160, L"Run %1. %2: %3")', 160, 12),
            "bracket escape lost": ('QV_CATALOGUE(150, L"Path HKLM\\\\Software and \'[[]Name[]]\'")', 150, 25),
            "single backslash doubled": ('QV_CATALOGUE(150, L"Path HKLM\\\\\\\\Software and \'[\\\\[]Name[\\\\]]\'")', 150, 10),
            "inner quotes dropped": ('QV_CATALOGUE(110, L"Says ABC (in quotes)")', 110, 5),
            "letter case changed": ('QV_CATALOGUE(180, L"Web site")', 180, 0),
        }
        for name, (line, number, column) in cases.items():
            with self.subTest(name):
                problems, _ = self.run_compare(self.with_line(line))
                self.assertEqual(len(problems), 1, problems)
                self.assertTrue(problems[0].startswith(f"id {number} differs at character {column}:"), problems[0])

    def test_structure_faults_are_reported(self):
        lines = list(CATALOGUE_LINES)
        found_190 = line_of('"File %1 could not be found."')
        found_181 = line_of('181 "pool"')
        first = HEADER.count("\n") + 1  # catalogue line of the first entry
        end = first + len(lines)  # catalogue line just behind the last entry
        at130 = lines.index('QV_CATALOGUE(130, L"File %1 imports %3")')
        swapped = lines[:at130] + [lines[at130 + 1], lines[at130]] + lines[at130 + 2:]
        at140 = lines.index('QV_CATALOGUE(140, L"Checks a thing")')
        at123 = lines.index('QV_CATALOGUE(123, L"Validate the sixth")')
        cases = {
            "order": (swapped, [f"catalogue line {first + at130 + 1}: id 130 does not follow 131 in ascending order"]),
            "duplicate": (lines[:at140 + 1] + [lines[at140]] + lines[at140 + 1:],
                          [f"catalogue line {first + at140 + 1}: id 140 appears twice",
                           f"catalogue line {first + at140 + 1}: id 140 does not follow 140 in ascending order"]),
            "missing": (lines[:-1], [f"id 190 is missing from the catalogue; document (line {found_190}): "
                                     "'File %1 could not be found.'"]),
            "not in document": (lines + ['QV_CATALOGUE(200, L"Invented")'],
                                ["id 200 is in the catalogue but its text stands nowhere in the document"]),
            "unused id": (lines + ['QV_CATALOGUE(261, L"Never taken")'],
                          [f"catalogue line {end}: id 261 is outside the catalogue range or unused",
                           "id 261 is in the catalogue but its text stands nowhere in the document"]),
            "unknown escape": (self.with_line('QV_CATALOGUE(190, L"File %1 \\x41")'),
                               [f"catalogue line {end - 1}: unsupported escape \\x", "id 190 is missing from the catalogue; "
                                f"document (line {found_190}): 'File %1 could not be found.'"]),
            "unescaped quote": (self.with_line('QV_CATALOGUE(123, L"Validate "the" sixth")'),
                                [f"catalogue line {first + at123}: not an entry line: "
                                 "'QV_CATALOGUE(123, L\"Validate \"the\" sixth\")'",
                                 "id 123 is missing from the catalogue; document (line "
                                 f"{line_of('Validate the sixth')}): 'Validate the sixth'"]),
            "stray line": (lines + ["#define X 1"], [f"catalogue line {end}: not an entry line: '#define X 1'"]),
            "raw tab": (self.with_line('QV_CATALOGUE(181, L"po\tol")'),
                        [f"catalogue line {end - 2}: raw control character in text",
                         f"id 181 differs at character 2:\n    document (line {found_181}): 'pool'\n"
                         "    catalogue:            'po\\tol'"]),
        }
        for name, (case_lines, expected) in cases.items():
            with self.subTest(name):
                problems, _ = self.run_compare(case_lines)
                self.assertEqual(problems, expected)

    def test_comment_after_first_entry_is_a_fault(self):
        raw = HEADER + CATALOGUE_LINES[0] + "\n// late comment\n" + "\n".join(CATALOGUE_LINES[1:]) + "\n"
        problems, _ = self.run_compare(None, raw=raw)
        self.assertEqual(problems, ["catalogue line 5: not an entry line: '// late comment'"])

    def test_two_quotations_that_differ(self):
        doc = DOC + 'Elsewhere message 180, "web  site", again.\n'
        problems, notes = self.run_compare(CATALOGUE_LINES, doc=doc)
        self.assertEqual(problems, [])
        first, second = line_of('180 "web site"'), line_of('"web  site"', doc)
        self.assertEqual(notes, [f"id 180 is quoted differently: lines {first}: 'web site'; "
                                 f"lines {second}: 'web  site'"])
        problems, _ = self.run_compare(self.with_line('QV_CATALOGUE(180, L"web   site")'), doc=doc)
        self.assertEqual(len(problems), 1)
        self.assertTrue(problems[0].startswith("id 180 differs at character 4:"), problems[0])


class CommandTest(unittest.TestCase):
    SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "check_catalogue.py")

    def run_script(self, *args):
        return subprocess.run([sys.executable, self.SCRIPT, *args], capture_output=True, text=True)

    def test_exit_status_and_output(self):
        files = Files()
        doc = files.write("doc.md", DOC)
        good = files.write("good.inc", catalogue_text(CATALOGUE_LINES))
        bad = files.write("bad.inc", catalogue_text(CATALOGUE_LINES[:-1]))
        result = self.run_script(doc, good)
        self.assertEqual(result.returncode, 0)
        self.assertTrue(result.stdout.endswith("OK\n"), result.stdout)
        result = self.run_script(doc, bad)
        self.assertEqual(result.returncode, 1)
        self.assertIn("DIFF: id 190 is missing from the catalogue", result.stdout)
        self.assertTrue(result.stdout.endswith("1 difference(s)\n"), result.stdout)
        self.assertEqual(self.run_script(doc).returncode, 2)


if __name__ == "__main__":
    unittest.main()
