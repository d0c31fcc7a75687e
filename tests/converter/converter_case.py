"""What the tests of kx_convert share. KX_CONVERT names the program; exit code 77: something they need is missing.

A program for Windows is run by the words of KX_EMULATOR, and held against the one for Linux that KX_NATIVE_CONVERT names.
"""

import io
import os
import pathlib
import shlex
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
CONVERTER = [*shlex.split(os.environ.get("KX_EMULATOR", "")), os.environ["KX_CONVERT"]]
WINDOWS = CONVERTER[-1].endswith(".exe")
NATIVE = [os.environ.get("KX_NATIVE_CONVERT", "")]
MAGICK = shutil.which("convert-im6.q16") or shutil.which("magick") or ""

STACK = (numpy.arange(5 * 21 * 37 * 3, dtype="uint32") * 40503 >> 4).astype("uint16").reshape(5, 21, 37, 3)
OCTETS = (STACK >> 8).astype("uint8")


def kx_convert(*arguments, program=CONVERTER, **more):
    """What it says has the separators of Linux."""
    done = subprocess.run([*program, *arguments], capture_output=True, text=True, check=False, **more)
    if WINDOWS:
        done.stdout, done.stderr = done.stdout.replace("\\", "/"), done.stderr.replace("\\", "/")
    return done


def need(*programs):
    if not all(map(shutil.which, programs)):
        print("one of these programs is missing:", *programs)
        sys.exit(77)


if WINDOWS:
    need(*NATIVE)


def png(frame, kind=2, chunks=()):
    """A file's bytes. Each of `chunks` has its name, its data and maybe what is wrong with its check sum."""
    def chunk(name, data, damage=0):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data) ^ damage)

    rows = b"".join(b"\0" + row.astype(">u2").tobytes() for row in frame)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", frame.shape[1], frame.shape[0], 16, kind, 0, 0, 0))
            + b"".join(chunk(*each) for each in chunks) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def uncompressed(data):
    """All that a file says, but not how deflate says it: Linux has other compressors of that kind."""
    if data.startswith(b"\x89PNG"):
        chunks, place = [], 8
        while place < len(data):
            length, name = struct.unpack_from(">I4s", data, place)
            chunks.append((name, data[place + 8:place + 8 + length]))
            place += length + 12
        return ([chunk for chunk in chunks if chunk[0] != b"IDAT"],
                zlib.decompress(b"".join(part for name, part in chunks if name == b"IDAT")))
    with tifffile.TiffFile(io.BytesIO(data)) as tiff:
        if tiff.pages[0].compression != 8:
            return data
        places = ("StripOffsets", "StripByteCounts")
        return tiff.byteorder, tiff.is_bigtiff, [
            ([(tag.code, tag.dtype, tag.value) for tag in page.tags if tag.name not in places], page.asarray().tobytes())
            for page in tiff.pages]


def write_pages(file, *pages, **options):
    with tifffile.TiffWriter(file) as writer:
        for page in pages:
            writer.write(page, **{"photometric": "rgb", "metadata": None, **options})


class ConverterCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def convert(self, *arguments, expected=0, warns=()):
        """Runs kx_convert and returns its messages; each of `warns`, and nothing else, must be warned of."""
        done = kx_convert("--overwrite", *arguments)
        self.assertEqual(done.returncode, expected, done.stderr)
        if WINDOWS and expected == 0:
            self.assert_native_does_the_same(done, arguments, arguments[1])
        warnings = [line for line in done.stderr.splitlines() if "warning: " in line]
        for text in warns:
            self.assertTrue(any(text in line for line in warnings), f"{text} is not in {done.stderr}")
        if not warns:
            self.assertEqual(warnings, [])
        return done.stdout if expected == 0 else done.stderr

    def assert_native_does_the_same(self, done, arguments, output):
        made = self.content(output)
        native = kx_convert("--overwrite", *arguments, program=NATIVE)
        self.assertEqual((native.returncode, native.stderr), (done.returncode, done.stderr))
        self.assertTrue(uncompressed(made) == uncompressed(self.content(output)), f"{arguments} differ from Linux")

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
