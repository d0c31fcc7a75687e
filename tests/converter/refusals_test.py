"""What kx_convert refuses: each with its reason, and with nothing changed or left behind."""

import io
import os
import pathlib
import resource

from converter_case import WINDOWS, ConverterCase, kx_convert, numpy, png, tifffile, write_pages

GOOD = numpy.random.default_rng(5).integers(0, 65536, (150, 150, 3), "uint16")
FOURTH = numpy.dstack([GOOD, numpy.full(GOOD.shape[:2], 65535, "uint16")])


def tiff(*pages, **options):
    """A file's bytes."""
    file = io.BytesIO()
    write_pages(file, *pages, **options)
    return file.getvalue()


def with_tags(data, **tags):
    file = io.BytesIO(data)
    with tifffile.TiffFile(file) as reader:
        for name, value in tags.items():
            reader.pages[0].tags[name].overwrite(value)
    return file.getvalue()


class Refusals(ConverterCase):
    def setUp(self):
        super().setUp()
        for name, data in (("good.tif", tiff(GOOD)), ("stack.tif", tiff(GOOD, GOOD)), ("protected.tif", b"to be kept"),
                           ("out.tif", b"an older file"), ("out.png", b"an older picture"),
                           ("camera.json", b'{"version": 1, "bits": 12, "tone_curve": "srgb", "output_depth": 8}'),
                           ("wrong.json", b'{"version": 1, "bits": 12, "white_balance": [1, 1, 0]}')):
            pathlib.Path(name).write_bytes(data)
        os.mkdir("folder.tif")
        os.mkdir("links")
        os.symlink("good.tif", "link.tif")
        os.symlink("../good.tif", "links/stack.tif")
        if not WINDOWS:
            os.mkfifo("pipe.tif", 0o600)
        os.chmod("protected.tif", 0o444)

    def refused(self, arguments, *texts, file=None, name="file", limit=resource.RLIM_INFINITY):
        """`arguments` that begin with an option follow good.tif and out.tif, and the option is named; so is `file`."""
        if file is not None:
            pathlib.Path(name).write_bytes(file if isinstance(file, bytes) else file.encode())
            texts = (name, *texts)
        if arguments.startswith("--"):
            texts = (arguments.split()[0], *texts)
            arguments = "good.tif out.tif " + arguments
        before = self.everything()
        done = kx_convert("--overwrite", *arguments.split(),
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertGreater(done.returncode, 0, arguments)
        self.assertEqual(done.stdout, "", arguments)
        self.assertTrue(done.stderr.startswith("kx_convert: "), (texts, done))
        for text in texts:
            self.assertIn(text, done.stderr, arguments)
        self.assertEqual(self.everything(), before, arguments)

    def test_options_that_cannot_be_followed(self):
        for arguments, *texts in (
                ("good.tif", "output"), ("good.tif out.tif third.tif", "third.tif"), ("--depth 12", "12"),
                ("--matrix 1 2 3", "9"), ("--matrix 1 2 3 4 5 6 7 8 nan", "must be a number"),
                ("--matrix-file none.txt", "none.txt", "No such file"), ("--input-bits 17", "8 to 16"),
                ("--blue-output-lut gamma:0", "gamma:0"), ("--format png", "out.tif says another"),
                ("--output-lut-bits 12", "no output LUT"), ("--green-clamp 7 6", "7", "6"), ("--clamp 0 65536", "65536"),
                ("--clamp 0 65535 --depth 8 --red-shift -7", "65535", "-7", "8-bit"),
                ("--clamp 0 4096 --output-lut srgb --output-lut-bits 12", "4096", "4095"), ("--shift 16", "16"),
                ("--shift 1 --profile camera.json", "the curve's entry 128 shifted by 1"),
                ("good.tif out.png --channels 4", "--channels", "PNG", "alpha"),
                ("good.tif out.png --planar", "--planar", "PNG"), ("--level 5", "nothing to compress"),
                ("--pages 2", "no page 2", "has 1"), ("--pages 1,0-1", "'0-1'"), ("--pages 2-1", "'2-1'"),
                ("stack.tif out.png", "out.png", "one page", "2"),
                ("--profile wrong.json", "--profile: wrong.json: /white_balance/2: must be"),
                ("--black-level 1 2 255 --input-bits 8", "/black_level/2: must be"),
                ("--white-balance auto:1,2,3", "4 required"),
                ("good.tif out.tif --white-balance auto:140,2,30,4", "good.tif: the area for it lies beyond the picture's 150")):
            self.refused(arguments, *texts)

    def test_files_of_numbers(self):
        for arguments, text, file in (
                ("--matrix-file file", "nine numbers, not 8", "1 2 3 4 5 6 7 8"), ("--matrix-file file", "'x'", "x"),
                ("--matrix-file file", "its UTF-16 is damaged", b"\xff\xfe\0\xd8 \0"),
                ("--matrix-file file", "its UTF-16 is damaged", b"\xff\xfe1\0 "),
                ("--input-lut file --input-bits 10", "3 entries, but the table takes 1024", "1\n2\n3\n"),
                ("--red-output-lut file --output-lut-bits 2", "line 4: '1'", "0,1\n# again\n1,2\n1,3\n3,4\n"),
                ("--red-output-lut file --output-lut-bits 2", "line 4: '4'", "0,1\n1,2\n2,3\n4,4\n"),
                ("--output-lut file --output-lut-bits 2", "line 2", "0\n1,2\n2\n3\n"),
                ("--output-lut file --output-lut-bits 2", "line 4: '65536'", "0\n1\n2\n65536\n"),
                ("--output-lut file --output-lut-bits 2 --depth 8", "256", "0\n1\n2\n256\n"),
                ("--output-lut file.cube", "a 3D table mixes", "LUT_3D_SIZE 2\n"),
                ("--output-lut file.cube", "no LUT_1D_SIZE", "0 0 0\n1 1 1\n"),
                ("--output-lut file.cube", "line 1: LUT_1D_SIZE needs", "LUT_1D_SIZE 1\n"),
                ("--output-lut file.cube", "has 1 rows; there should be 2", "LUT_1D_SIZE 2\n0 0 0\n"),
                ("--output-lut file.cube", "line 3: every row needs", "LUT_1D_SIZE 2\n0 0 0\n1 1\n"),
                ("--output-lut file.cube", "line 2: values go from 0 to 1", "LUT_1D_SIZE 2\n1.5 0 0\n"),
                ("--output-lut file.cube", "input range is empty", "LUT_1D_SIZE 2\nDOMAIN_MIN 1 1 1\n0 0 0\n1 1 1\n"),
                ("--output-lut file.spi1d", "no Length", "Version 1\n{\n0\n1\n}\n"),
                ("--output-lut file.spi1d", "line 1: 'From' has no place", "From 0\n"),
                ("--output-lut file", "line 2: 'half' is not a number", "0.5\nhalf\n")):
            self.refused(arguments, text, file=file, name=arguments.split()[1])

    def test_inputs_that_are_no_such_images(self):
        grey, varying, clear = GOOD[..., 0], FOURTH.copy(), FOURTH.copy()
        varying[3, 4, 3] = clear[..., 3] = 0
        stack, picture = tiff(GOOD, GOOD), png(GOOD)
        deflated = bytearray(tiff(GOOD, compression="zlib", tile=(16, 16)))
        deflated[2000:2200] = b"U" * 200
        ten = GOOD & 1023
        for texts, file in (
                (("page 3", "1 unsigned 8-bit"), tiff(GOOD, GOOD, grey.astype("uint8"), photometric=None)),
                (("grey pages", "--channel-pages"), tiff(grey, photometric="minisblack")),
                (("fourth sample",), tiff(varying, extrasamples=[0])),
                (("page 2", "fourth sample"), tiff(FOURTH.transpose(2, 0, 1), varying.transpose(2, 0, 1),
                                                   planarconfig="separate", extrasamples=[0])),
                (("alpha",), tiff(FOURTH, varying, extrasamples=[2])), (("alpha",), tiff(clear, extrasamples=[1])),
                (("other than RGB",), with_tags(tiff(GOOD), PhotometricInterpretation=8)),
                (("3 signed",), tiff(GOOD.astype("int16"))), (("alpha",), png(varying, 6)), (("grey",), png(grey, 0)),
                (("50000 x 50000", "too large"), with_tags(tiff(GOOD), ImageWidth=50000, ImageLength=50000)),
                (("cut short",), with_tags(tiff(GOOD), ImageLength=20000)),
                (("page 2",), stack[:len(stack) * 9 // 10]), (("damaged",), bytes(deflated)),
                (("cut short",), picture[:len(picture) // 2]), (("cannot be read",), picture[:20]),
                (("cut short",), picture[:-9]), (("neither",), b"no image at all"), ((), b"II*\0\x08\0\0\0")):
            self.refused("file out.tif", *texts, file=file)
        ten[0, 0, 0] = 1024
        self.refused("file out.tif --input-bits 10", "page 2", "last entry is 1023", file=tiff(GOOD & 1023, ten))
        self.refused("none.tif out.tif", "none.tif", "No such file")
        if not WINDOWS:
            self.refused("pipe.tif out.tif", "pipe.tif", "is a pipe")

    def test_outputs_that_cannot_be_written(self):
        for arguments, *texts in (
                ("good.tif missing/out.tif", "missing/out.tif", "No such file"),
                ("good.tif protected.tif", "protected.tif", "write-protected"),
                ("folder.tif out.tif", "several inputs need a folder", "out.tif"),
                ("good.tif stack.tif -o new.tif", "new.tif", "names a file"),
                ("good.tif folder.tif/../good.tif -o folder.tif", "both become", "folder.tif/good.tif"),
                ("good.tif good.tif", "good.tif", "input"), ("good.tif ./link.tif", "link.tif", "input")):
            self.refused(arguments, *texts)
        if WINDOWS:
            self.skipTest("what follows is Linux's")
        self.refused("good.tif pipe.tif", "pipe.tif", "regular file")
        self.refused("stack.tif good.tif -o links", "links/stack.tif is an input", "good.tif")
        self.refused("good.tif /dev/full", "/dev/full", "suffix")
        # A full disk, as far as a program can tell.
        for arguments in ("out.tif", "out.tif --compression lzw --planar", "out.png"):
            self.refused("good.tif " + arguments, "cannot be written: File too large", limit=32768)
