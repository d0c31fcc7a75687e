"""What the tests of kx_convert share. The first argument names the program; exit code 77: something they need is missing."""

import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

try:
    import numpy
    import tifffile
except ImportError as missing:
    print(missing)
    sys.exit(77)
CONVERTER = os.path.abspath(sys.argv.pop(1))
MAGICK = shutil.which("convert-im6.q16") or shutil.which("magick") or ""

STACK = (numpy.arange(5 * 21 * 37 * 3, dtype="uint32") * 40503 >> 4).astype("uint16").reshape(5, 21, 37, 3)
OCTETS = (STACK >> 8).astype("uint8")


def need(*programs):
    if not all(map(shutil.which, programs)):
        print("one of these programs is missing:", *programs)
        sys.exit(77)


def png(frame, kind=2, chunks=()):
    """A file's bytes. Each of `chunks` has its name, its data and maybe what is wrong with its check sum."""
    def chunk(name, data, damage=0):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data) ^ damage)

    rows = b"".join(b"\0" + row.astype(">u2").tobytes() for row in frame)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", frame.shape[1], frame.shape[0], 16, kind, 0, 0, 0))
            + b"".join(chunk(*each) for each in chunks) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class ConverterCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def convert(self, *arguments, expected=0, warns=()):
        """Runs kx_convert and returns its messages; each of `warns`, and nothing else, must be warned of."""
        done = subprocess.run([CONVERTER, "--overwrite", *arguments], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, expected, done.stderr)
        warnings = [line for line in done.stderr.splitlines() if "warning: " in line]
        for text in warns:
            self.assertTrue(any(text in line for line in warnings), f"{text} is not in {done.stderr}")
        if not warns:
            self.assertEqual(warnings, [])
        return done.stdout if expected == 0 else done.stderr

    def tags(self, file, page=0):
        with tifffile.TiffFile(file) as tiff:
            return {tag.name if tag.name != str(tag.code) else tag.code: tag.value for tag in tiff.pages[page].tags}

    def assert_pages(self, file, wanted):
        with tifffile.TiffFile(file) as tiff:
            self.assertEqual(len(tiff.pages), len(wanted))
            for number, (page, samples) in enumerate(zip(tiff.pages, wanted)):
                self.assertTrue((page.asarray() == samples).all(), f"page {number + 1} of {file}")

    def everything(self):
        return {str(path): path.is_file() and path.read_bytes() for path in pathlib.Path().rglob("*")}

    def content(self, name):
        return pathlib.Path(name).read_bytes()
