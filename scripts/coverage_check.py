#!/usr/bin/env python3
"""Usage: coverage_check.py LINES.json TESTING.md

Prints how many lines and branches were reached, as gcovr counted them, and compares the lines that were not reached with those
that are listed in the document, as "    FILE: TEXT". A line is told by its text, since its number changes with every edit above
it; a question mark after FILE says that the line is reached in some runs. Status: 0 enough is reached and the list is right, 2
wrong usage, else 1.
"""
import collections
import json
import re
import sys

LINES_MIN = 97.0
BRANCHES_MIN = 85.0


def code_lines(report):
    """Yields the file, number, count and branch counts of each line with code. One line can be counted in several parts."""
    for file in report["files"]:
        parts = collections.defaultdict(list)
        for line in file["lines"]:
            if not line.get("gcovr/noncode") and not line.get("gcovr/excluded"):
                parts[line["line_number"]].append(line)
        for number, lines in sorted(parts.items()):
            branches = [branch["count"] for line in lines for branch in line["branches"]]
            yield file["file"], number, max(line["count"] for line in lines), branches


def texts_of(file):
    with open(file, encoding="utf-8") as source:
        return [line.strip() for line in source]


def listed_lines(document):
    """Counts the listed lines that no run reaches, and those that some do."""
    never, sometimes = collections.Counter(), collections.Counter()
    with open(document, encoding="utf-8") as text:
        for line in text:
            match = re.match(r"    ((?:src|base/impl)/[\w./]+)(\??): (.*\S)", line)
            if match:
                (sometimes if match[2] else never)[match[1], match[3]] += 1
    return never, sometimes


def compare(missed, document):
    """Prints in what the list is wrong. Returns whether it is right."""
    never, sometimes = listed_lines(document)
    counts = collections.Counter((file, text) for file, _, text in missed)
    unlisted = counts - never - sometimes
    reached = never - counts
    for file, number, text in missed:
        if (file, text) in unlisted:
            print(f"{file}:{number}: not reached, and not listed in {document}: {text}")
    for file, text in sorted(reached):
        print(f"{file}: listed in {document}, but reached or gone: {text}")
    return not unlisted and not reached


def main(report_file, document):
    with open(report_file, encoding="utf-8") as file:
        lines = list(code_lines(json.load(file)))
    texts = {file: texts_of(file) for file, _, _, _ in lines}
    missed = [(file, number, texts[file][number - 1]) for file, number, count, _ in lines if count == 0]
    branches = [count for _, _, _, counts in lines for count in counts]
    taken = sum(count > 0 for count in branches)
    line_rate = 100 * (len(lines) - len(missed)) / len(lines)
    branch_rate = 100 * taken / len(branches)
    right = compare(missed, document)
    print(f"coverage: lines {line_rate:.1f} % ({len(lines) - len(missed)} of {len(lines)}), "
          f"branches {branch_rate:.1f} % ({taken} of {len(branches)})")
    if line_rate < LINES_MIN or branch_rate < BRANCHES_MIN:
        print(f"too little: at least {LINES_MIN:.0f} % of the lines and {BRANCHES_MIN:.0f} % of the branches are wanted")
        right = False
    return 0 if right else 1


if __name__ == "__main__":
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    sys.exit(main(sys.argv[1], sys.argv[2]))
