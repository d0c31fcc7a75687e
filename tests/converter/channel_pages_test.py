"""Colour that is stored as one grey page for each channel."""

import pathlib

from converter_case import STACK, ConverterCase, numpy, tifffile

PLANES = numpy.ascontiguousarray(STACK.transpose(0, 3, 1, 2))  # T, C, Y, X
SHOWN = [-16776961, 16711935, 65535]  # red, green and blue, opaque
RAMPS = [numpy.array([numpy.arange(256) * (part == color) for part in range(3)], "uint8") for color in range(3)]


def ome(name, planes, axes, **channel):
    tifffile.imwrite(name, planes, ome=True, photometric="minisblack",
                     metadata={"axes": axes, "Channel": channel, "PhysicalSizeX": 0.25,
                               "Plane": {"ExposureTime": [0.1] * (planes.size // STACK[0, ..., 0].size)}})


class ChannelPages(ConverterCase):
    def test_descriptions_say_which_pages_are_red_green_and_blue(self):
        ome("plain.tif", PLANES, "TCYX", Name=["Red", "Green", "Blue"], Color=SHOWN[::-1])
        ome("shown.tif", PLANES, "TCYX", Color=SHOWN)
        ome("turned.tif", PLANES[:, ::-1], "TCYX", Name=["B", "G", "R"])
        ome("slow.tif", PLANES.transpose(1, 0, 2, 3), "CTYX", Name=["red", "green", "blue"])
        imagej = {"axes": "TCYX", "mode": "composite", "unit": "um"}
        tifffile.imwrite("imagej.tif", PLANES, imagej=True, metadata=imagej)
        tifffile.imwrite("tables.tif", PLANES[:, [1, 2, 0]], imagej=True, byteorder="<",
                         metadata={**imagej, "LUTs": [RAMPS[1], RAMPS[2], RAMPS[0]]})
        for file in ("plain.tif", "shown.tif", "turned.tif", "slow.tif", "imagej.tif", "tables.tif"):
            self.convert(file, "out.tif", "--overwrite", warns=["three channels become one"])
            self.assert_pages("out.tif", STACK)
            with tifffile.TiffFile("out.tif") as tiff:
                text = tiff.pages[0].description
                self.assertEqual(tiff.is_imagej, "imagej" in file or "tables" in file)
                self.assertNotIn("IJMetadata", tiff.pages[0].tags)
                if tiff.is_imagej:
                    self.assertEqual(set(text.split()[1:]), {"images=5", "frames=5", "hyperstack=true", "loop=false",
                                                             "unit=um"})
                else:
                    self.assertEqual(tiff.series[0].shape, STACK.shape)
                    self.assertIn('PhysicalSizeX="0.25"', text)
                    channel = '<Channel ID="Channel:0:0" SamplesPerPixel="3">'
                    parts = ("<Channel ", channel, "<Plane ", 'PlaneCount="5"')
                    self.assertEqual([text.count(part) for part in parts], [1, 1, 0, 1])
            self.convert("out.tif", "again.tif", "--overwrite")
        self.convert("plain.tif", "out.tif", "--overwrite", "--pages", "2,4-5", "--planar", warns=["picked pages"])
        self.assert_pages("out.tif", PLANES[[1, 3, 4]])
        ome("times_first.tif", PLANES[:4].reshape(2, 2, 3, 21, 37), "ZTCYX", Name=["R", "G", "B"])
        self.convert("times_first.tif", "out.tif", "--overwrite", warns=["three channels become one"])
        self.assert_pages("out.tif", STACK[:4])
        # What does not count the file's pages says nothing of them.
        for file, before, after in (("plain.tif", b'SizeT="5"', b'SizeT="6"'), ("plain.tif", b'IFD="0"', b'IFD="3"'),
                                    ("imagej.tif", b"frames=5", b"frames=6"),
                                    ("imagej.tif", b"channels=3\nframes=5", b"channels=5\nframes=3")):
            self.assertIn(before, self.content(file))
            pathlib.Path("other.tif").write_bytes(self.content(file).replace(before, after))
            self.assertIn("--channel-pages", self.convert("other.tif", "none.tif", expected=1))

    def test_others_are_refused_unless_they_are_to_be_taken_by_threes(self):
        ome("stains.tif", PLANES, "TCYX", Name=["DAPI", "FITC", "Cy5"], Color=SHOWN)
        tifffile.imwrite("imagej.tif", PLANES, imagej=True, metadata={"axes": "TCYX", "mode": "grayscale"})
        tifffile.imwrite("stained.tif", PLANES, imagej=True,
                         metadata={"axes": "TCYX", "mode": "composite", "LUTs": [RAMPS[0], RAMPS[1], RAMPS[1]]})
        tifffile.imwrite("bare.tif", PLANES, photometric="minisblack", metadata=None)
        for file in ("stains.tif", "imagej.tif", "stained.tif", "bare.tif"):
            self.assertIn("--channel-pages", self.convert(file, "none.tif", expected=1))
            self.convert(file, "out.tif", "--overwrite", "--channel-pages",
                         warns=[] if file == "bare.tif" else ["the description, which speaks of grey pages"])
            self.assert_pages("out.tif", STACK)
        tifffile.imwrite("seven.tif", PLANES.reshape(-1, 21, 37)[:7], photometric="minisblack", metadata=None)
        self.assertIn("has 7 grey pages", self.convert("seven.tif", "none.tif", "--channel-pages", expected=1))
        red, green, blue = PLANES[0]
        for other, orientation in ((blue[:20], 1), (blue[:, :20].copy(), 1), ((blue >> 8).astype("uint8"), 1), (blue, 3)):
            with tifffile.TiffWriter("unlike.tif") as writer:
                for page, turned in ((red, 1), (green, 1), (other, orientation)):
                    writer.write(page, photometric="minisblack", metadata=None, extratags=[(274, "H", 1, turned, True)])
            self.assertIn("another size", self.convert("unlike.tif", "none.tif", "--channel-pages", expected=1))
        for names, warns in (("xxx", []), ("xyx", ["texts of the green and blue pages"])):
            with tifffile.TiffWriter("named.tif") as writer:
                for page, name in zip((red, green, blue), names):
                    writer.write(page, photometric="minisblack", metadata=None, extratags=[(285, "s", 0, name, True)])
            self.convert("named.tif", "out.tif", "--overwrite", "--channel-pages", warns=warns)
