"""kx_convert's command line: which files are read and written, what is replaced, what is said.

Usage: command_line_test.py KX_CONVERT [unittest's arguments]; ends with 77 if NumPy or tifffile is missing.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

try:
    import numpy
    import tifffile
except ImportError as missing:
    print(missing)
    sys.exit(77)
CONVERTER = os.path.abspath(sys.argv.pop(1))

PAGE = (numpy.arange(30 * 20 * 3) * 7919 % 65536).astype("uint16").reshape(20, 30, 3)


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder.name)
        for name in ("a.tif", "b.tif", "in/1.tif", "in/2.tif"):
            self.write(name)

    def write(self, name, page=PAGE, **tags):
        os.makedirs(os.path.dirname(name) or ".", exist_ok=True)
        tifffile.imwrite(name, page, photometric="rgb", metadata=None, **{"software": "the camera", **tags})

    def run_with(self, arguments, code=0):
        """What is said on standard output and on standard error."""
        done = subprocess.run([CONVERTER, *arguments.split()], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, code, arguments + "\n" + done.stderr)
        return done.stdout, done.stderr

    def everything(self):
        names = [os.path.join(root, name) for root, _, files in os.walk(".") for name in files]
        return {name: pathlib.Path(name).read_bytes() for name in names}

    def test_no_file_is_replaced_unasked(self):
        before = self.everything()
        for arguments, code in (("a.tif b.tif", 1), ("in -o in", 1), ("a.tif a.tif -o new", 2),
                                ("in/1.tif a.tif in/../a.tif -o new/", 2), ("a.tif b.tif in/1.tif", 2),
                                ("a.tif b.tif -o new.tif", 2), ("a.tif new.jpeg", 1), ("in -o a.tif", 2),
                                ("a.tif b.tif --overwrite --skip-existing", 2), ("in a.tif -o new --dry-run", 0)):
            self.run_with(arguments, code)
            self.assertEqual(self.everything(), before, arguments)
            self.assertFalse(os.path.exists("new"), arguments)
        self.assertIn("b.tif: exists already: --overwrite", self.run_with("a.tif b.tif", 1)[1])
        self.assertEqual(self.run_with("a.tif b.tif --skip-existing"), ("", ""))
        self.run_with("a.tif --overwrite b.tif --depth 8")
        self.assertEqual(tifffile.imread("b.tif").dtype, "uint8")

    def test_folders(self):
        self.assertEqual(self.run_with("a.tif -o one")[0], "created the folder one\n")
        self.assertEqual(os.listdir("one"), ["a.tif"])
        self.assertEqual(self.run_with("in a.tif -o many --quiet"), ("", ""))
        os.remove("many/2.tif")
        self.assertEqual(self.run_with("in a.tif -o many --skip-existing")[0],
                         "1 of 3 files converted, 2 skipped, whose output exists\n")
        # What cannot be read does not end the rest; other systems' hidden files are none.
        self.write("in/._1.tif")
        os.symlink("loop.tif", "in/loop.tif")
        os.mkdir("empty")
        os.mkdir("closed", 0)
        said, errors = self.run_with("empty loop/closed closed in -o rest", 1)
        self.assertIn("2 of 6 files converted, 4 failed", said)
        self.assertEqual(sorted(os.listdir("rest")), ["1.tif", "2.tif"])
        self.assertIn("in/loop.tif: ", errors)
        for folder in ("empty", "closed"):
            self.assertIn(f"kx_convert: {folder}: the folder ", errors)

    def test_a_dry_run_says_what_would_be(self):
        self.write("odd.tif", extratags=[(34675, "B", 200, b"no profile" * 20, True)])
        os.symlink("loop.tif", "in/loop.tif")
        said, errors = self.run_with("in odd.tif -o new --format png --dry-run", 1)
        self.assertEqual(sorted(said.splitlines()), ["3 of 4 files can be converted, 1 failed", "in/1.tif: 1 page to new/1.png",
                                                     "in/2.tif: 1 page to new/2.png", "odd.tif: 1 page to new/odd.png"])
        self.assertIn("odd.tif: not carried over: the ICC profile", errors)
        self.assertIn("in/loop.tif: ", errors)

    def test_strict_makes_a_loss_an_error(self):
        self.write("odd.tif", extratags=[(34675, "B", 200, b"no profile" * 20, True)])
        self.assertIn("odd.tif: not carried over: ", self.run_with("odd.tif x.png")[1])
        os.remove("x.png")
        self.assertIn("odd.tif: --strict: not carried over: the ICC profile", self.run_with("odd.tif x.png --strict", 1)[1])
        self.assertFalse(os.path.exists("x.png"))
        self.run_with("a.tif x.tif --strict --sync")

    def test_outputs_tell_how_they_were_made(self):
        def software(name):
            with tifffile.TiffFile(name) as tiff:
                return tiff.pages[0].tags["Software"].value

        self.run_with("a.tif plain.tif")
        self.assertRegex(software("plain.tif"), r"^the camera; kx_convert \d+\.\d+\.\d+$")
        with open("camera.json", "w", encoding="utf-8") as file:
            json.dump({"version": 1, "bits": 16, "description": "\u00b5 1", "black_level": [0.5, 1, 2]}, file)
        said, _ = self.run_with("a.tif made.tif --profile camera.json --white-balance auto:3,2,20,10 --clamp 0 50000")
        mean = PAGE[2:12, 3:23].reshape(-1, 3).mean(0)
        light = (mean - [0.5, 1, 2]) / (65535 - numpy.array([0.5, 1, 2]))
        name, gains = said.strip().split(": white balance ")
        self.assertEqual(name, "a.tif")
        numpy.testing.assert_allclose([float(gain) for gain in gains.split()], light.max() / light, rtol=1e-5)
        record = software("made.tif").split("kx_convert ")[1].split(" ", 1)[1]
        self.assertTrue(record.endswith(" --clamp"))
        profile = json.loads(record.removesuffix(" --clamp"))
        numpy.testing.assert_allclose(profile.pop("white_balance"), light.max() / light)
        self.assertEqual(profile, {"version": 1, "description": "\u00b5 1", "bits": 16, "black_level": [0.5, 1, 2],
                                   "matrix": numpy.eye(3).tolist(), "tone_curve": "linear", "output_depth": 16})


if __name__ == "__main__":
    unittest.main()
