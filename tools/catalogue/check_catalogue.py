#!/usr/bin/env python3
"""Compare the message catalogue source with the texts quoted in the design document.

Usage: check_catalogue.py DOC CATALOGUE

DOC is the design document (Markdown). Every catalogue text it quotes is pulled out
by pattern:
  - tables with an id column ("message", "id", "description id") and a text column
    ("text", "description", "description text", "catalogue text");
  - table cells of the form  237 "text"  under a header "... id and text";
  - the call table whose "call" column names the message id as an argument,
    e.g. CheckImportedApis(2, 137, 1);
  - prose such as  message 124, "text"  or  description 164, "text"  or the label
    list  255 "web site", 256 "application".
CATALOGUE is catalogue.inc, one QV_CATALOGUE(id, L"text") line per entry.

Every difference is printed; the exit status is 0 only when there is none.
"""

import re
import sys
from collections import OrderedDict

FIRST_ID = 103
LAST_ID = 301
UNUSED_IDS = {261}

ID_HEADERS = {"message", "id", "description id"}
TEXT_HEADERS = {"text", "description", "description text", "catalogue text"}
# Which argument of a reporting operation carries the message id.
CALL_ID_ARGUMENT = {"CheckImportedApis": 1, "CheckVb6Dependency": 0, "CheckAppSecurity": 0}

SEPARATOR_ROW = re.compile(r"^\|(\s*:?-+:?\s*\|)+\s*$")
PROSE_ID = re.compile(r"(?<![\w.%$])(\d{3}),? \"")
# "message 162 with type 1 and the arguments ...: "text""
PROSE_ID_COLON = re.compile(r"\bmessage (\d{3})\b[^\".]*?: \"")
COMBINED_CELL = re.compile(r"^(\d+) \"(.*)\"$")
QUOTED_CELL = re.compile(r"^\"(.*)\"$")
CALL_CELL = re.compile(r"^`?(\w+)\(([^)]*)\)`?$")
CLOSING_FOLLOWERS = ",.;:)"


def in_range(number):
    return FIRST_ID <= number <= LAST_ID and number not in UNUSED_IDS


def split_row(line):
    """Cells of a table row. A '|' inside double quotes belongs to the cell; when the
    quotes of a row do not pair up, the row is split at every '|'."""
    body = line.strip()
    if body.startswith("|"):
        body = body[1:]
    if body.endswith("|"):
        body = body[:-1]
    cells, current, quoted = [], [], False
    for ch in body:
        if ch == '"':
            quoted = not quoted
        if ch == "|" and not quoted:
            cells.append("".join(current))
            current = []
        else:
            current.append(ch)
    cells.append("".join(current))
    if quoted:
        cells = body.split("|")
    return [c.strip() for c in cells]


def quoted_text_after(line, start):
    """Text from the opening quote at line[start] to the first quote that is followed
    by punctuation or the end of the line; None when there is no such quote."""
    pos = start + 1
    while True:
        end = line.find('"', pos)
        if end < 0:
            return None
        after = line[end + 1:end + 2]
        if after == "" or after in CLOSING_FOLLOWERS:
            return line[start + 1:end]
        pos = end + 1


class Extraction:
    def __init__(self):
        self.quotes = OrderedDict()  # id -> list of (line number, text)

    def add(self, number, text, lineno):
        if in_range(number):
            self.quotes.setdefault(number, []).append((lineno, text))


def extract_table(rows, extraction):
    """rows: list of (line number, line); the first is the header, the second the rule."""
    header = [h.lower() for h in split_row(rows[0][1])]
    id_col = next((i for i, h in enumerate(header) if h in ID_HEADERS), None)
    text_col = next((i for i, h in enumerate(header) if h in TEXT_HEADERS), None)
    call_col = header.index("call") if "call" in header else None
    combined_cols = [i for i, h in enumerate(header) if h.endswith("id and text")]
    for lineno, line in rows[2:]:
        cells = split_row(line)
        for col in combined_cols:
            if col < len(cells):
                m = COMBINED_CELL.match(cells[col])
                if m:
                    extraction.add(int(m.group(1)), m.group(2), lineno)
        if text_col is None or text_col >= len(cells):
            continue
        m = QUOTED_CELL.match(cells[text_col])
        if not m:
            continue
        text = m.group(1)
        if id_col is not None and id_col < len(cells) and cells[id_col].isdigit():
            extraction.add(int(cells[id_col]), text, lineno)
        elif call_col is not None and call_col < len(cells):
            c = CALL_CELL.match(cells[call_col])
            if c and c.group(1) in CALL_ID_ARGUMENT:
                args = [a.strip() for a in c.group(2).split(",")]
                index = CALL_ID_ARGUMENT[c.group(1)]
                if index < len(args) and args[index].isdigit():
                    extraction.add(int(args[index]), text, lineno)


def extract_prose(lineno, line, extraction):
    for pattern in (PROSE_ID, PROSE_ID_COLON):
        for m in pattern.finditer(line):
            text = quoted_text_after(line, m.end() - 1)
            if text is not None:
                extraction.add(int(m.group(1)), text, lineno)


def extract_document(path):
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    extraction = Extraction()
    i = 0
    while i < len(lines):
        line = lines[i]
        if line.startswith("|") and i + 1 < len(lines) and SEPARATOR_ROW.match(lines[i + 1]):
            rows = []
            while i < len(lines) and lines[i].startswith("|"):
                rows.append((i + 1, lines[i]))
                i += 1
            extract_table(rows, extraction)
            continue
        if not line.startswith("|"):
            extract_prose(i + 1, line, extraction)
        i += 1
    return extraction


ESCAPES = {"\\": "\\", '"': '"', "t": "\t", "n": "\n"}
ENTRY = re.compile(r'^QV_CATALOGUE\((\d+), L"((?:[^"\\]|\\.)*)"\)$')


def unescape(raw):
    out, i = [], 0
    while i < len(raw):
        ch = raw[i]
        if ch == "\\":
            nxt = raw[i + 1:i + 2]
            if nxt not in ESCAPES:
                raise ValueError("unsupported escape \\" + nxt)
            out.append(ESCAPES[nxt])
            i += 2
        else:
            out.append(ch)
            i += 1
    return "".join(out)


def read_catalogue(path, problems):
    """Entries in file order as (line number, id, text); format faults go to problems."""
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    if lines and lines[-1] == "":
        lines.pop()
    entries, seen_entry = [], False
    for lineno, line in enumerate(lines, 1):
        if not seen_entry and (line.startswith("//") or line.strip() == ""):
            continue
        m = ENTRY.match(line)
        if not m:
            problems.append(f"catalogue line {lineno}: not an entry line: {line!r}")
            continue
        seen_entry = True
        raw = m.group(2)
        try:
            text = unescape(raw)
        except ValueError as e:
            problems.append(f"catalogue line {lineno}: {e}")
            continue
        if any(ord(c) < 0x20 for c in raw):
            problems.append(f"catalogue line {lineno}: raw control character in text")
        entries.append((lineno, int(m.group(1)), text))
    return entries


def first_difference(a, b):
    for i, (x, y) in enumerate(zip(a, b)):
        if x != y:
            return i
    return min(len(a), len(b))


def compare(doc_path, catalogue_path):
    problems, notes = [], []
    extraction = extract_document(doc_path)
    entries = read_catalogue(catalogue_path, problems)

    previous = None
    catalogue = {}
    for lineno, number, text in entries:
        if not in_range(number):
            problems.append(f"catalogue line {lineno}: id {number} is outside the catalogue range or unused")
        if number in catalogue:
            problems.append(f"catalogue line {lineno}: id {number} appears twice")
        if previous is not None and number <= previous:
            problems.append(f"catalogue line {lineno}: id {number} does not follow {previous} in ascending order")
        previous = number
        catalogue[number] = text

    for number, quotes in sorted(extraction.quotes.items()):
        texts = OrderedDict()
        for lineno, text in quotes:
            texts.setdefault(text, []).append(lineno)
        if len(texts) > 1:
            detail = "; ".join(f"lines {','.join(map(str, l))}: {t!r}" for t, l in texts.items())
            notes.append(f"id {number} is quoted differently: {detail}")
        if number not in catalogue:
            problems.append(f"id {number} is missing from the catalogue; document (line {quotes[0][0]}): {quotes[0][1]!r}")
            continue
        ours = catalogue[number]
        if ours not in texts:
            doc_text = quotes[0][1]
            col = first_difference(ours, doc_text)
            problems.append(
                f"id {number} differs at character {col}:\n"
                f"    document (line {quotes[0][0]}): {doc_text!r}\n"
                f"    catalogue:            {ours!r}")

    for number in sorted(catalogue):
        if number not in extraction.quotes:
            problems.append(f"id {number} is in the catalogue but its text stands nowhere in the document")

    absent = [n for n in range(FIRST_ID, LAST_ID + 1) if in_range(n) and n not in extraction.quotes]
    return extraction, catalogue, problems, notes, absent


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: check_catalogue.py DOC CATALOGUE\n")
        return 2
    extraction, catalogue, problems, notes, absent = compare(argv[1], argv[2])
    for note in notes:
        print("note: " + note)
    for problem in problems:
        print("DIFF: " + problem)
    print(f"document: {len(extraction.quotes)} ids quoted, "
          f"{sum(len(q) for q in extraction.quotes.values())} quotations; catalogue: {len(catalogue)} entries")
    if absent:
        print("ids with no text in the document: " + ", ".join(map(str, absent)))
    print("OK" if not problems else f"{len(problems)} difference(s)")
    return 0 if not problems else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
