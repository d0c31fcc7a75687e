"""kx_convert on files that other programs write and read: libtiff's tools, ImageMagick, tifffile."""

import json
import os
import pathlib
import struct
import subprocess

from converter_case import MAGICK, OCTETS, STACK, ConverterCase, need, numpy, tifffile

need("tiffset", MAGICK or "magick")


class ForeignFiles(ConverterCase):
    def test_descriptions_hold_for_the_output(self):
        tifffile.imwrite("ome.tif", STACK, photometric="rgb", metadata={
            "axes": "TYXS", "PhysicalSizeX": 0.25, "PhysicalSizeXUnit": "\u00b5m", "SignificantBits": 12}, ome=True)
        self.convert("ome.tif", "out.tif")
        self.assertIn('SignificantBits="12"', self.tags("out.tif")["ImageDescription"])
        self.convert("ome.tif", "out.tif", "--depth", "8", "--planar")
        text = self.tags("out.tif")["ImageDescription"]
        for part in ('Type="uint8"', 'PhysicalSizeX="0.25" PhysicalSizeXUnit="\u00b5m"', 'SizeT="5"'):
            self.assertIn(part, text)
        for part in ("uint16", "SignificantBits", "UUID"):
            self.assertNotIn(part, text)
        with tifffile.TiffFile("out.tif") as tiff:
            self.assertTrue(tiff.is_ome)
            self.assertEqual(tiff.series[0].shape, (5, 3, 21, 37))
        for pages, shape in (("2-", (4, 21, 37, 3)), ("1,3", (2, 21, 37, 3))):
            self.convert("ome.tif", "out.tif", "--pages", pages, warns=["changed: the description, whose axes"])
            with tifffile.TiffFile("out.tif") as tiff:
                self.assertEqual((tiff.is_ome, tiff.series[0].shape), (True, shape))
            self.assertIn('PhysicalSizeX="0.25"', self.tags("out.tif")["ImageDescription"])

        tifffile.imwrite("shaped.tif", STACK[:4].reshape(2, 2, 21, 37, 3), photometric="rgb",
                         metadata={"axes": "TZYXS", "note": "\u00b5"})
        for arguments, shape, axes in (([], (2, 2, 21, 37, 3), "TZYXS"), (["--planar"], (2, 2, 3, 21, 37), None),
                                       (["--pages", "1-3"], (3, 21, 37, 3), None)):
            self.convert("shaped.tif", "out.tif", *arguments, warns=["axes"] if "--pages" in arguments else [])
            note = json.loads(self.tags("out.tif")["ImageDescription"])
            self.assertEqual((tuple(note["shape"]), note["note"], note.get("axes")), (shape, "\u00b5", axes))
            self.assertEqual(tifffile.imread("out.tif").shape, shape)

        tifffile.imwrite("imagej.tif", OCTETS, imagej=True, resolution=(4, 4), metadata={
            "min": 0.0, "max": 200.0, "unit": "um", "spacing": 2.5, "Labels": list("abcde")})
        self.convert("imagej.tif", "out.tif", "--pages", "2-", "--depth", "8", warns=["labels and overlays", "axes"])
        self.assertEqual(self.tags("out.tif")["ImageDescription"].splitlines(),
                         ["ImageJ=1.11a", "images=4", "min=0.0", "max=200.0", "unit=um", "spacing=2.5"])
        self.convert("imagej.tif", "all.tif")
        self.assertEqual([line for line in self.tags("all.tif")["ImageDescription"].splitlines() if line],
                         ["ImageJ=1.11a", "images=5", "channels=5", "hyperstack=true", "unit=um", "spacing=2.5"])
        self.assertEqual(self.tags("all.tif")["IJMetadata"], self.tags("imagej.tif")["IJMetadata"])

    def test_stacks_with_one_directory_keep_all_pages(self):
        both = numpy.concatenate([STACK, STACK[::-1]])
        tifffile.imwrite("volumes.tif", both.reshape(2, *STACK.shape), photometric="rgb", volumetric=True)
        with tifffile.TiffWriter("series.tif") as writer:
            for part in (STACK, STACK[::-1].copy()):
                writer.write(part, photometric="rgb", truncate=True)
        tifffile.imwrite("planes.tif", STACK.transpose(3, 0, 1, 2), photometric="rgb", volumetric=True,
                         planarconfig="separate", byteorder=">")
        tifffile.imwrite("truncated.tif", STACK, photometric="rgb", truncate=True)
        tifffile.imwrite("planar.tif", STACK.transpose(0, 3, 1, 2), photometric="rgb", planarconfig="separate",
                         truncate=True, byteorder=">")
        tifffile.imwrite("imagej.tif", OCTETS, imagej=True, truncate=True)
        for file, pages in (("volumes.tif", both), ("series.tif", both), ("planes.tif", STACK), ("truncated.tif", STACK),
                            ("planar.tif", STACK), ("imagej.tif", OCTETS * numpy.uint16(257))):
            self.convert(file, "out.tif")
            self.assert_pages("out.tif", pages)
        # What says that it has more pages than can be found is refused, or warned of if the text may be stale.
        tifffile.imwrite("tiled.tif", STACK, photometric="rgb", volumetric=True, tile=(16, 16, 16))
        os.truncate("truncated.tif", 20000)
        for file in ("truncated.tif", "tiled.tif"):
            self.assertIn("5 pages", self.convert(file, "none.tif", expected=1))
        os.truncate("imagej.tif", 10000)
        self.convert("imagej.tif", "out.tif", warns=["5 pages"])

    def test_odd_tags_are_warned_of(self):
        tifffile.imwrite("in.tif", STACK, photometric="rgb", metadata=None, extratags=[(65000, "H", 1, 1, False)])
        with tifffile.TiffFile("in.tif") as tiff:
            places = {tag: tiff.pages[1].tags[tag].offset for tag in (296, 65000)}
        data = self.content("in.tif")
        orientation_0 = struct.pack("<HHIHH", 274, 3, 1, 0, 0)  # out of order, too
        for place, change, text in ((places[296] + 8, b"\x09", "ResolutionUnit"),
                                    (places[65000] + 2, b"\x63", "tag 65000 of the unknown type 99"),
                                    (places[296], orientation_0, "Orientation")):
            pathlib.Path("odd.tif").write_bytes(data[:place] + change + data[place + len(change):])
            self.convert("odd.tif", "out.tif", warns=[text])
            self.assertTrue((tifffile.imread("out.tif", key=range(5)) == STACK).all(), text)

    def test_color_tags(self):
        subprocess.run([MAGICK, "-size", "30x20", "gradient:red-blue", "-depth", "16", "in.png"], check=True)
        subprocess.run([MAGICK, "in.png", "-type", "TrueColor", "-define", "png:bit-depth=16", "-define",
                        "png:color-type=2", "-set", "Title", "\u00b5 title", "-set", "Author", "artist", "-density",
                        "300", "-units", "PixelsPerInch", "rgb.png"], check=True)
        self.convert("rgb.png", "bare.png", "--output-lut", "srgb", warns=["not applied"])
        self.assertNotIn(b"sRGB", self.content("bare.png"))  # the camera's colours still, without a matrix
        to_srgb = ["--output-lut", "sRGB", "--matrix", *"1 0 0 0 1 0 0 0 1".split()]
        self.convert("rgb.png", "out.png", *to_srgb, "--depth", "8", warns=["not applied"])
        self.convert("rgb.png", "out.tif", *to_srgb, warns=["not applied"])
        self.assertIn("sRGB".encode("utf-16-be"), self.tags("out.tif")["InterColorProfile"])
        first = self.tags("out.tif")["InterColorProfile"]
        self.convert("out.tif", "same.tif")
        self.assertEqual(self.tags("same.tif")["InterColorProfile"], first)
        self.convert("out.tif", "other.tif", "--matrix", *"0.9 0 0 0 0.9 0 0 0 0.9".split(), warns=["ICC profile"])
        self.assertNotIn("InterColorProfile", self.tags("other.tif"))
        seen = subprocess.run([MAGICK, "out.png", "-format", "%[colorspace] %[gamma] %[Author] %x %U",
                               "info:"], check=True, capture_output=True, text=True).stdout
        self.assertTrue(seen.startswith("sRGB 0.45455 artist 118.1"), seen)
        chunks = self.content("out.png")
        self.assertIn(b"sRGB", chunks)
        self.assertIn("iTXtTitle\0\0\0\0\0\u00b5 title".encode(), chunks)
        self.assertEqual(self.tags("out.tif")["DocumentName"], "\u00b5 title")
        self.convert("out.tif", "back.png")
        self.assertIn(b"iCCP", self.content("back.png"))
        self.assertEqual(self.tags("out.tif")["Artist"], "artist")
        self.assertEqual(round(self.tags("out.tif")["XResolution"][0] / self.tags("out.tif")["XResolution"][1], 1), 118.1)

    def test_pictures_with_alpha_and_8_bits(self):
        for suffix in ("png", "tif"):
            subprocess.run([MAGICK, "-size", "30x20", "plasma:red-blue", "-depth", "8", "-type", "TrueColorAlpha",
                            "-define", "png:color-type=6", "-alpha", "opaque", f"in.{suffix}"], check=True)
            self.convert(f"in.{suffix}", "out.png", "--depth", "8", "--quiet")
            same = [MAGICK, f"in.{suffix}", "out.png", "-metric", "AE", "-compare", "-format", "%[distortion]", "info:"]
            self.assertEqual(subprocess.run(same, check=True, capture_output=True, text=True).stdout, "0", suffix)

    def test_pictures_are_turned_upright_for_png(self):
        tifffile.imwrite("in.tif", STACK[0], photometric="rgb", metadata=None, resolution=(300, 100))
        for orientation in range(1, 9):
            subprocess.run(["tiffset", "-s", "274", str(orientation), "in.tif"], check=True)
            self.convert("in.tif", "out.png")
            raw = [subprocess.run([MAGICK, file, "-auto-orient", "-depth", "16", "RGB:-"], check=True,
                                  capture_output=True).stdout for file in ("in.tif", "out.png")]
            self.assertEqual(*raw, orientation)
            size = subprocess.run([MAGICK, "out.png", "-format", "%w %h %x %y", "info:"], check=True,
                                  capture_output=True, text=True).stdout
            self.assertEqual(size.startswith("21 37"), orientation > 4)

    def test_samples_out_of_range(self):
        twelve = STACK[0] & 4095
        for last in (4096, 4095):
            twelve[-1, -1, -1] = last
            tifffile.imwrite("in.tif", twelve, photometric="rgb", metadata=None)
            self.convert("in.tif", "out.tif", warns=["above 4095"] if last == 4095 else [])
        self.assertEqual(self.convert("in.tif", "out.tif", "--quiet"), "")
        # Counted at both ends, with 12 bits brought to 16.
        report = self.convert("in.tif", "out.tif", "--info", "--input-bits", "12", "--matrix",
                              *"-1 0 0 0 2 0 0 0 1".split(), warns=["red samples are clipped", "green samples"])
        below, above = (twelve[..., 0] > 0).sum(), (twelve[..., 1] > 2047).sum()
        self.assertIn(f"below red {below}, green 0, blue 0; above red 0, green {above}, blue 0\n", report)
