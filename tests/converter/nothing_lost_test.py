"""No page, sample, tag or text is lost, or the ledger says so; no file is left half-done or open to others."""

import os
import pathlib
import signal
import stat
import struct
import subprocess
import time
import zlib

from converter_case import CONVERTER, OCTETS, STACK, WINDOWS, ConverterCase, kx_convert, need, numpy, png, tifffile

need("tiffcp")
PLAIN = {"photometric": "rgb", "metadata": None}


def write_png(name, *chunks):
    pathlib.Path(name).write_bytes(png(STACK[0], chunks=chunks))


class Pages(ConverterCase):
    def test_a_stale_count_finds_no_pages_in_tags(self):
        text = "ImageJ=1.53\nimages=3\nslices=3\nunit=um\n"
        tifffile.imwrite("stale.tif", OCTETS[:1], photometric="rgb", metadata=None, description=text,
                         extratags=[(65000, "s", 0, "x" * 20000, True)])
        subprocess.run(["tiffcp", "stale.tif", "behind.tif"], check=True, stderr=subprocess.DEVNULL)
        for file in ("stale.tif", "behind.tif"):
            self.convert(file, "out.tif", warns=["3 pages by its description, and holds one"])
            self.convert("out.tif", "again.tif")
            self.assert_pages("again.tif", OCTETS[:1] * numpy.uint16(257))
            self.assertEqual(self.tags("out.tif")["ImageDescription"].split(), ["ImageJ=1.53", "images=1", "unit=um"])

    def test_copies_and_masks_are_no_pages(self):
        with tifffile.TiffWriter("in.tif") as writer:
            writer.write(STACK[0], subifds=1, **PLAIN)
            writer.write(STACK[0, ::2, ::2].copy(), subfiletype=1, **PLAIN)
            for kind in (1, 9, 1):
                writer.write(OCTETS[0, :, :, 0].copy(), photometric="minisblack", metadata=None, subfiletype=kind)
            writer.write(STACK[1], subfiletype=2, **PLAIN)
        subprocess.run(["tiffset", "-d", "3", "-s", "254", "4", "in.tif"], check=True)
        self.convert("in.tif", "out.tif", warns=["reduced copy of a page (page 2)", "macro image (page 3)", "SubIFDs",
                                                 "mask (page 4)"])
        self.assert_pages("out.tif", STACK[:2])
        with tifffile.TiffWriter("raw.tif") as writer:
            writer.write(STACK[0], subfiletype=1, subifds=1, **PLAIN)
            writer.write(STACK[1], **PLAIN)
        self.assertIn("SubIFD", self.convert("raw.tif", "none.tif", expected=1))
        tifffile.imwrite("alone.tif", STACK[0], subfiletype=1, **PLAIN)
        self.convert("alone.tif", "out.tif", warns=["only page is marked"])

    def test_damaged_jpeg_is_refused(self):
        tifffile.imwrite("raw.tif", OCTETS[0], **PLAIN)
        subprocess.run(["tiffcp", "-c", "jpeg:r:95", "-r", "16", "raw.tif", "in.tif"], check=True)
        self.convert("in.tif", "out.tif", "--depth", "8")
        data = bytearray(self.content("in.tif"))
        start = self.tags("in.tif")["StripOffsets"][0]
        data[start + 100:start + 140] = b"\xff\xd9" * 20
        pathlib.Path("bad.tif").write_bytes(data)
        self.assertIn("damaged", self.convert("bad.tif", "none.tif", expected=1))
        self.assertFalse(os.path.exists("none.tif"))


class Metadata(ConverterCase):
    def test_tags_of_every_page_keep_their_values_exactly(self):
        kept = [(65000, "I", 3, (1, 2, 3)), (65001, "s", 0, "hello"), (65002, "d", 2, (1.5, -2.5)), (65004, "B", 1, 7),
                (65005, "Q", 1, 5), (65010, "2I", 1, (1234567891, 1000000007)),
                (65011, "2i", 2, (-7, 3, 2147483647, -2147483647)), (65421, "f", 1, 20.5),
                (33723, "I", 3, struct.unpack(">3I", b"IPTC records")), (33432, "s", 0, b"photographer\0editor"),
                (51123, "s", 0, '{"Micro": "Manager"}'), (306, "s", 0, "2026-01-02T03:04:05"), (269, "s", 0, "title"),
                (271, "s", 0, "maker"), (272, "s", 0, "model"), (315, "s", 0, "artist"), (316, "s", 0, "host")]
        lost = [(65012, 13, 1, 8), (34412, "B", 8, b"12345678"), (33628, "I", 1, 5), (65420, "I", 1, 1),
                (65426, "I", 2, (5, 6))]
        own = [[(270, "s", 0, f"page {number} \u00b5m".encode()), (285, "s", 0, f"name {number}")] for number in range(5)]
        with tifffile.TiffWriter("in.tif", byteorder=">", bigtiff=True) as writer:
            for page, texts in zip(STACK, own):
                writer.write(page, datetime=None, **PLAIN, resolution=((1234567891, 1000000007), (300, 7)), resolutionunit=3,
                             extratags=[(*tag, True) for tag in texts + kept + lost])
        read_as = {51123: {"Micro": "Manager"}, 33723: b"IPTC records", 65004: b"\7"}
        for options in ([], ["--bigtiff", "--compression", "deflate"]):
            self.convert("in.tif", "out.tif", *options, warns=["LSM", "tag 65012", "UIC1", "tag 65420", "tag 65426"])
            self.assertEqual(self.content("out.tif")[2], 43 if options else 42)
            self.assert_pages("out.tif", STACK)
            with tifffile.TiffFile("out.tif") as tiff:
                for page, texts in zip(tiff.pages, own):
                    seen = {tag.code: tag.value for tag in page.tags}
                    for tag, _, _, value in texts + kept:
                        text = value.decode() if isinstance(value, bytes) else value
                        self.assertEqual(seen[tag], read_as.get(tag, text))
                    self.assertEqual((seen[282], seen[283], seen[296]), ((1234567891, 1000000007), (300, 7), 3))
                    self.assertTrue({tag for tag, *_ in lost}.isdisjoint(seen))

    def test_numbers_above_32_bits_make_a_big_tiff_and_lossless_compression_stays(self):
        for compression, code in (("zlib", 8), (None, 1)) + (() if WINDOWS else (("lzma", 34925),)):
            tifffile.imwrite("in.tif", STACK[0], bigtiff=True, compression=compression, **PLAIN,
                             extratags=[(65005, "Q", 1, 2**40 + 3, True), (65006, "q", 1, -2**40, True)])
            self.convert("in.tif", "out.tif")
            seen = self.tags("out.tif")
            self.assertEqual((seen[65005], seen[65006], seen["Compression"]), (2**40 + 3, -2**40, code))
            self.convert("in.tif", "out.tif", "--compression", "none")
            self.assertEqual(self.tags("out.tif")["Compression"], 1)

    def test_png_keeps_what_it_can_hold(self):
        write_png("many.png", *[(b"tEXt", b"Comment\0number %d" % number) for number in range(1500)],
                  (b"zTXt", b"Comment\0\0" + zlib.compress(b"x" * 9000000)))
        self.convert("many.png", "out.png")
        self.assertEqual(self.content("out.png").count(b"tEXtComment"), 1501)
        write_png("xmp.png", (b"iTXt", b"XML:com.adobe.xmp\0\0\0\0\0<x:xmpmeta/>"))
        self.convert("xmp.png", "out.tif")
        self.assertEqual(self.tags("out.tif")["XMP"], b"<x:xmpmeta/>")
        self.convert("out.tif", "out.png")
        self.assertIn(b"XML:com.adobe.xmp\0\0\0\0\0<x:xmpmeta/>", self.content("out.png"))
        for chunk, text in (((b"tEXt", b"Author\0me", 1), "CRC"), ((b"eXIf", b"II*\0"), "EXIF"),
                            ((b"iCCP", b"profile\0\0" + zlib.compress(b"nonsense" * 40)), "iCCP"),
                            ((b"iTXt", "Title\0\0\0de\0Titel\0Bl\u00e4tter".encode()), "language")):
            write_png("in.png", chunk)
            self.convert("in.png", "out.png", warns=[text])

    def test_resolution_reaches_png_or_is_named(self):
        for unit, x, y, wanted, warns in (
                ("micron", 4, 2, (4000000, 2000000, 1), []), (None, 4, 4, None, ["no unit"]),
                (None, 4, 2, (1000000, 500000, 0), ["no unit"]), ("nm", 4, 2, (1000000, 500000, 0), ["beyond"])):
            text = "ImageJ=1.53\n" + (f"unit={unit}\n" if unit else "")
            tifffile.imwrite("in.tif", STACK[0], resolution=(x, y), resolutionunit=1, description=text, **PLAIN)
            self.convert("in.tif", "out.png", warns=warns)
            place = self.content("out.png").find(b"pHYs")
            seen = struct.unpack(">IIB", self.content("out.png")[place + 4:place + 13]) if place > 0 else None
            self.assertEqual(seen, wanted)

    def test_texts_of_other_encodings(self):
        latin = [(315, "s", 0, "Andr\xe9".encode("latin1"), True), (33432, "s", 0, b"one\0two", True)]
        tifffile.imwrite("latin.tif", STACK[0], extratags=latin, **PLAIN)
        self.convert("latin.tif", "out.tif")
        self.assertIn(b"Andr\xe9\0", self.content("out.tif"))
        self.convert("latin.tif", "out.png", warns=['"Copyright", whose parts'])
        self.assertIn("iTXtAuthor\0\0\0\0\0Andr\u00e9".encode(), self.content("out.png"))
        self.assertIn(b"Copyright\0one\ntwo", self.content("out.png"))

    def test_ome_xml(self):
        text = ('<?xml version="1.0" encoding="ISO-8859-1"?><o:OME xmlns:o="http://www.openmicroscopy.org/Schemas/OME/'
                '2016-06"><o:Image ID="Image:0" Name="\xe9t\xe9"><o:Pixels ID="Pixels:0" DimensionOrder="XYCZT" Type='
                '"uint16" SizeX="37" SizeY="21" SizeC="3" SizeZ="1" SizeT="2"><o:Channel ID="Channel:0:0" '
                'SamplesPerPixel="3"/><o:TiffData IFD="0" PlaneCount="2"/></o:Pixels></o:Image></o:OME>')
        tifffile.imwrite("in.tif", STACK[:2], description=text.encode("latin1"), **PLAIN)
        self.convert("in.tif", "out.tif", "--depth", "8")
        seen = self.tags("out.tif")["ImageDescription"]
        for part in ('encoding="UTF-8"', 'Name="\u00e9t\u00e9"', 'Type="uint8"', '<o:TiffData IFD="0" PlaneCount="2"/>'):
            self.assertIn(part, seen)
        tifffile.imwrite("in.tif", STACK[0], **PLAIN, description='<OME xmlns="http://www.openmicroscopy.org/Schemas/OME/'
                         '2016-06"><BinaryOnly MetadataFile="a.companion.ome" UUID="urn:uuid:1"/></OME>')
        self.convert("in.tif", "out.tif", warns=["the description"])
        self.assertNotIn("ImageDescription", self.tags("out.tif"))


class Outputs(ConverterCase):
    def test_many_files_under_a_mask_and_signals(self):
        os.mkdir("in")
        for number in range(60):
            tifffile.imwrite(f"in/{number:02}.tif", numpy.resize(STACK, (700, 700, 3)), **PLAIN)
        kx_convert("in", "-o", "masked/", "--threads", "64", preexec_fn=lambda: os.umask(0o077))
        if not WINDOWS:
            self.assertEqual({stat.S_IMODE(os.stat(f"masked/{name}").st_mode) for name in os.listdir("masked")}, {0o600})
        self.assertEqual(len(os.listdir("masked")), 60)
        for number, ending in enumerate((signal.SIGINT if WINDOWS else signal.SIGTERM, signal.SIGKILL)):
            folder = f"ended{number}"
            with subprocess.Popen([*CONVERTER, "in", "-o", folder + "/", "--quiet"]) as process:
                while not os.path.isdir(folder) or len(os.listdir(folder)) < 3:
                    self.assertIsNone(process.poll(), "ended before it could be")
                    time.sleep(0.001)
                process.send_signal(ending)
            for _ in range(200 * WINDOWS):  # Wine's server is another process
                if any(name.startswith(".") for name in os.listdir(folder)):
                    time.sleep(0.01)
            names = os.listdir(folder)
            self.assertLess(len(names), 60)
            for name in names:  # complete, or not there at all
                wanted = [self.content("masked/00.tif")]
                if WINDOWS and ending == signal.SIGKILL and name.startswith("."):
                    wanted.append(b"")  # in the instant between two steps
                self.assertTrue(self.content(f"{folder}/{name}") in wanted, (folder, name))
                self.assertTrue(len(wanted) > 1 or not name.startswith("."), (folder, name))
