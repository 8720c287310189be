"""Reads work tables by what docs/format.md says, and by nothing else.

    read_table.py [--reversed] DIRECTORIES NAME...

Prints of each table the names of the columns in one line, and then a line per row. Between two of them is a tab. Names and
texts are shown as the digits of their bytes, dates as those of the number that holds their seconds, so that nothing is lost.
"""

import os
import struct
import sys

NULL = "null"
DATE_MIN, DATE_END = -62135596800.0, 253402300800.0  # the years 1 to 9999


class Damaged(Exception):
    pass


class File:
    """The bytes of a file, taken from the front."""

    def __init__(self, directories, name, order):
        paths = [os.path.join(directory, name) for directory in directories]
        found = [path for path in paths if os.path.isfile(path)]
        if not found:
            raise Damaged("there is no " + name)
        with open(found[0], "rb") as file:
            self.bytes = file.read()
        self.at = 0
        self.order = order

    def take(self, count):
        if count < 0 or self.at + count > len(self.bytes):
            raise Damaged("a file is cut off")
        self.at += count
        return self.bytes[self.at - count : self.at]

    def numbers(self, form):
        return struct.unpack(self.order + form, self.take(struct.calcsize(self.order + form)))

    def text(self, size):
        return self.take(size)[:-1]

    def skip_rest(self, length, known):
        self.take(length - known)  # what a later version has more


class Table:
    def __init__(self, directories, name):
        self.directories = directories
        header = File(directories, name, "<")
        if header.bytes[:2] != b"\1\0":
            header.order = ">"
        _, version, length, label, columns, elements, _, self.rows = header.numbers("Hhhhiiqq")
        if version > 199:
            raise Damaged("the table was written by a later release")
        header.skip_rest(length, 32)
        header.text(label)
        self.order = header.order
        self.columns = [self.column(header) for _ in range(columns)]
        self.elements = [self.element(header) for _ in range(elements)]

    def column(self, header):
        length, _, name, _, _ = header.numbers("hHiii")
        header.skip_rest(length, 16)
        return header.text(name).hex()

    def element(self, header):
        length, data, index, rows = header.numbers("Ihhq")
        header.skip_rest(length, 16)
        names = [header.text(size).decode() for size in (data, index) if size != 0]
        if not names[0].startswith("ktwte_") or not all(name.startswith("ktwtei_") for name in names[1:]):
            raise Damaged("a file has a strange name")
        return names, rows

    def forwards(self):
        for names, rows in self.elements:
            data = File(self.directories, names[0], self.order)
            for _ in range(rows):
                yield self.row(data)

    def backwards(self):
        for names, rows in reversed(self.elements):
            data, index = (File(self.directories, name, self.order) for name in names)
            for row in reversed(range(rows)):
                index.at = 8 * row
                (data.at,) = index.numbers("q")
                yield self.row(data)

    def row(self, data):
        return [value(data) for _ in self.columns]


def value(data):
    flag = data.take(1)[0]
    if flag == 1:
        return "boolean " + ("true" if data.take(1) != b"\0" else "false")
    if flag == 2:
        (seconds,) = data.numbers("d")
        return "date " + struct.pack(">d", seconds).hex() if DATE_MIN <= seconds < DATE_END else NULL
    if flag == 3:
        return "integer %d" % data.numbers("q")
    if flag == 4:
        return decimal(*data.numbers("QQQ"))
    if flag == 5:
        return "string " + data.text(text_size(data)).split(b"\0")[0].hex()
    return NULL


def text_size(data):
    first = data.take(1)[0]
    return first if first < 128 else int.from_bytes(bytes([first & 127]) + data.take(3), "big")


def decimal(word, high, low):
    sign, scale, coefficient = word >> 63, word & 255, high << 64 | low
    if scale > 38 or coefficient >= 10**38 or word & ~(1 << 63 | 255):
        return NULL
    digits = str(coefficient).rjust(scale + 1, "0")
    point = len(digits) - scale
    return "decimal " + "-" * sign + digits[:point] + ("." + digits[point:] if scale else "")


def main(arguments):
    is_reversed = arguments[0] == "--reversed"
    directories, *names = arguments[is_reversed:]
    for name in names:
        table = Table(directories.split(":"), name)
        print("\t".join(table.columns))
        for row in table.backwards() if is_reversed else table.forwards():
            print("\t".join(row))


if __name__ == "__main__":
    main(sys.argv[1:])
