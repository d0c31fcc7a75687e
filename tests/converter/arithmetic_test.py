"""What kx_convert makes of pixels, byte for byte: docs/profiles.md told a second time, in oracle.py."""

import json
import pathlib

from converter_case import WINDOWS, ConverterCase, kx_convert, tifffile, write_pages
from converter_case import numpy as np
from oracle import CHANNELS, convert_by, curve_lut

WITHOUT = {"bits": 16, "black_level": [0, 0, 0], "white_balance": [1, 1, 1], "matrix": np.eye(3).tolist(),
           "tone_curve": "linear", "output_depth": 16}
CAMERA = {"bits": 12, "black_level": [60, 64.5, 70], "white_balance": [1.9, 1, 1.5], "tone_curve": "srgb",
          "matrix": [[1.5, -0.4, -0.1], [-0.2, 1.4, -0.2], [0, -0.5, 1.5]], "output_depth": 8}


class Arithmetic(ConverterCase):
    def setUp(self):
        super().setUp()
        self.random = np.random.default_rng(7)
        self.runs = self.written = 0
        self.write("camera.json", json.dumps({"version": 1, **CAMERA}))

    def write(self, name, text):
        """As the editors of all systems do, in turn."""
        self.written += 1
        mark, encoding = (("", "utf-8"), ("\ufeff", "utf-16-be"), ("\ufeff", "utf-8"), ("\ufeff", "utf-16-le"))[self.written % 4]
        pathlib.Path(name).write_bytes((mark + text.replace("\n", ("\n", "\r\n")[self.written % 2])).encode(encoding))

    def photo(self, bits=12):
        """Noise, half of it in the dark, with both ends of the range."""
        frame = self.random.integers(0, 2**bits, (40, 61, 3))
        frame[::2] //= 20
        frame[0, :3] = [[0], [2**bits - 1], [1]]
        return frame.astype(np.uint8 if bits == 8 else np.uint16)

    def expect(self, frame, options, profile, **more):
        """All levels, layouts and orders of options take turns."""
        self.runs += 1
        layout = {"planarconfig": "separate"} if self.runs % 2 else {}
        stored = frame.transpose(2, 0, 1) if layout else frame
        tifffile.imwrite("in.tif", stored, photometric="rgb", metadata=None, **layout)
        files = ["in.tif", "out.png" if self.runs % 5 == 0 and more.get("channels", 3) == 3 else "out.tif"]
        how = ["--vector-level", ("scalar", "sse", "avx2")[self.runs % 3], "--quiet", "--overwrite"]
        how += ["--planar"] if self.runs % 4 < 2 and files[1] == "out.tif" else []
        words = options.split()
        words = [*how, *files, *words] if self.runs % 2 else [*how, *words, *files]
        done = kx_convert(*words)
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        if WINDOWS:
            self.assert_native_does_the_same(done, words, files[1])
        if files[1] == "out.png":
            self.convert("out.png", "out.tif", "--quiet", "--depth", str(profile["output_depth"]))
        found = tifffile.imread("out.tif")
        found = found.transpose(1, 2, 0) if "--planar" in how else found
        wanted = convert_by(profile, frame, **more)
        np.testing.assert_array_equal(found, wanted, str(words))
        self.assertEqual(found.dtype, wanted.dtype)

    def test_profiles(self):
        mixing = [[1.7, -0.5, -0.1], [-0.2, 1.4, -0.3], [0.02, -0.6, 1.8]]
        for bits, curve, depth in ((8, "srgb", 8), (12, "srgb", 8), (14, "gamma:2.2", 8), (12, "linear", 8),
                                   (12, "rec709", 16), (10, "linear", 16), (16, "inverse:srgb", 16), (16, "linear", 16),
                                   (16, [0, 0.2, 0.9, 1], 8)):
            step = 2 ** (bits - 8)
            profile = {"bits": bits, "black_level": [1.25 * step, step, 0], "white_balance": [1.9, 1, 0.7],
                       "matrix": mixing, "tone_curve": curve, "output_depth": depth}
            self.write("camera.json", json.dumps({"version": 1, **profile}))
            for _ in range(6):
                self.expect(self.photo(bits), "--profile camera.json", profile)

    def test_options_come_before_the_profile(self):
        self.write("halves.txt", "0.5,0,0\n0 .5 0 # green\n0 0 5e-1\n")
        area = self.photo()[20:25, 10:40]
        photo = self.photo()
        photo[20:25, 10:40] = area // 2
        light = (photo[20:25, 10:40].reshape(-1, 3).mean(0) - CAMERA["black_level"]) / (
            4095 - np.array(CAMERA["black_level"]))
        for options, change, more in (
                ("", {}, {}),
                ("--depth 16", {"output_depth": 16}, {}),
                ("--input-bits 14", {"bits": 14}, {}),
                ("--black-level 1 2.5 3", {"black_level": [1, 2.5, 3]}, {}),
                ("--white-balance 1 1.25 2", {"white_balance": [1, 1.25, 2]}, {}),
                ("--white-balance auto:10,20,30,5", {"white_balance": light.max() / light}, {}),
                # The matrix given last acts first, whether it comes from a file or not.
                ("--matrix 2 0 1 0 1 0 0 0 1 --matrix 1 0 0 0 0 1 0 1 0", {"matrix": [[2, 1, 0], [0, 0, 1], [0, 1, 0]]},
                 {}),
                ("--matrix 1 1 0 0 1 0 0 0 1 --matrix-file halves.txt --matrix 0 1 0 1 0 0 0 0 1",
                 {"matrix": [[0.5, 0.5, 0], [0.5, 0, 0], [0, 0, 0.5]]}, {}),
                ("--output-lut gamma:2.2 --output-lut-bits 10", {"tone_curve": "gamma:2.2"}, {"output_bits": 10}),
                ("--output-lut-bits 9", {}, {"output_bits": 9}),
                ("--output-lut Linear", {"tone_curve": "linear"}, {}),
                ("--green-input-lut linear --red-clamp 1000 4095", {},
                 {"input_luts": {"green": curve_lut("linear", 12, 65535)}, "clamps": {"red": (1000, 4095)}})):
            self.expect(photo, options + " --profile camera.json", {**CAMERA, **change}, **more)

    def test_options_alone(self):
        for bits, options, change, more in (
                (16, "", {}, {}),
                (12, "--input-bits 12 --depth 8 --channels 4", {"bits": 12, "output_depth": 8}, {"channels": 4}),
                (12, "--input-bits 12 --white-balance 1 1 2 --depth 8 --output-lut inverse:rec709",
                 {"bits": 12, "white_balance": [1, 1, 2], "output_depth": 8, "tone_curve": "inverse:rec709"}, {}),
                (16, "--matrix 0 0 1 0.5 0.25 -.25 1.5 0 0", {"matrix": [[0, 0, 1], [0.5, 0.25, -0.25], [1.5, 0, 0]]}, {}),
                (16, "--input-lut srgb --green-input-lut gamma:2.2", {},
                 {"input_luts": {"red": curve_lut("srgb", 16, 65535), "green": curve_lut("gamma:2.2", 16, 65535),
                                 "blue": curve_lut("srgb", 16, 65535)}}),
                (16, "--red-output-lut gamma:2.2 --output-lut-bits 12 --blue-clamp 100 3000", {},
                 {"output_luts": {"red": curve_lut("gamma:2.2", 12, 65535)}, "output_bits": 12,
                  "clamps": {"blue": (100, 3000)}}),
                (16, "--clamp 1000 30000 --red-clamp 500 500", {},
                 {"clamps": {"red": (500, 500), "green": (1000, 30000), "blue": (1000, 30000)}}),
                # Left shifts saturate.
                (16, "--shift -4 --blue-shift 3 --channels 4", {},
                 {"shifts": {"red": -4, "green": -4, "blue": 3}, "channels": 4})):
            self.expect(self.photo(bits), options, {**WITHOUT, **change}, **more)

    def test_samples_of_8_bits_have_8_bits(self):
        eight = {"bits": 8, "black_level": [level * 255 / 4095 for level in CAMERA["black_level"]]}
        for options, profile in (("", {**WITHOUT, "bits": 8}), ("--depth 8", {**WITHOUT, "bits": 8, "output_depth": 8}),
                                 ("--input-bits 12", {**WITHOUT, "bits": 8}),
                                 ("--black-level 7 7 7", {**WITHOUT, "bits": 8, "black_level": [7, 7, 7]}),
                                 ("--profile camera.json", {**CAMERA, **eight}),
                                 ("--profile camera.json --input-bits 8 --black-level 7 7 7",
                                  {**CAMERA, "bits": 8, "black_level": [7, 7, 7]})):
            self.expect(self.photo(8), options, profile)
        image, thumbnail = self.photo(12), self.photo(8)[:9, :9]
        write_pages("mixed.tif", image, thumbnail)
        self.convert("mixed.tif", "both.tif", "--input-bits", "12")
        for page, frame, bits in ((0, image, 12), (1, thumbnail, 8)):
            np.testing.assert_array_equal(tifffile.imread("both.tif", key=page), convert_by({**WITHOUT, "bits": bits}, frame))

    def test_files_of_curves_and_tables(self):
        self.write("one.spi1d", "Version 1\nFrom -1.0 1.0\nLength 5\nComponents 1\n{\n 0\n 0.9\n 0.25\n 0.5\n 1\n}\n")
        self.write("three.spi1d", "Version 1\nFrom 0 1\nLength 2\nComponents 3\n{\n0 0.1 0.2\n1 0.9 0.8\n}\n")
        self.write("table.cube", "TITLE \"Film\"\n# comment\nLUT_1D_SIZE 3\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 2\n"
                                 "0 0 0.3\n0.25 0.5 0.5\n1 1 0.9\n")
        self.write("range.cube", "LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 0.0 1.0\n1 1 1\n0 0 0\n")
        self.write("floats.txt", "0.25\n0.5 # \u4e2d\n1\n")
        for file, curves in (("one.spi1d", [[0.25, 0.5, 1]] * 3), ("three.spi1d", [[0, 1], [0.1, 0.9], [0.2, 0.8]]),
                             ("table.cube", [[0, 0.25, 1], [0, 0.5, 1], [0.3, 0.5]]),  # the first half of the table
                             ("range.cube", [[1, 0]] * 3), ("floats.txt", [[0.25, 0.5, 1]] * 3)):
            luts = {channel: curve_lut(curve, 12, 255) for channel, curve in zip(CHANNELS, curves)}
            self.expect(self.photo(), "--profile camera.json --output-lut " + file, CAMERA, output_luts=luts)
        # Entries as they stand, with an index in any order or without.
        entries = self.random.integers(0, 65536, 1024)
        lines = [f"{index},{value}" for index, value in enumerate(entries)]
        self.write("indexed.csv", "# index, value\n" + "\n".join(lines[::-1]) + "\n\n")
        self.write("plain.txt", "\n10 # first\n20\n\n+30\n255\n")
        plain = np.array([10, 20, 30, 255])
        self.expect(self.photo(10), "--input-bits 10 --red-input-lut indexed.csv", {**WITHOUT, "bits": 10},
                    input_luts={"red": entries})
        self.expect(self.photo(16), "--depth 8 --green-output-lut plain.txt --output-lut-bits 2",
                    {**WITHOUT, "output_depth": 8}, output_luts={"green": plain}, output_bits=2)
