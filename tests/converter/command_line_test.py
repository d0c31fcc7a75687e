"""kx_convert's command line: which files are read and written, what is replaced, what is said."""

import json
import os
import pathlib
import pty
import shutil
import subprocess
import unittest

from converter_case import CONVERTER, MAGICK, WINDOWS, ConverterCase, kx_convert, need, numpy, tifffile, write_pages

need("tiffcp", MAGICK or "magick")
LIBRARIES = os.path.join(os.path.dirname(CONVERTER[-1]), "" if WINDOWS else "../lib")

PAGE = (numpy.arange(30 * 20 * 3) * 7919 % 65536).astype("uint16").reshape(20, 30, 3)


class Case(ConverterCase):
    def setUp(self):
        super().setUp()
        for name in ("a.tif", "b.tif", "in/1.tif", "in/2.tif"):
            self.write(name)

    def write(self, name, page=PAGE, **tags):
        os.makedirs(os.path.dirname(name) or ".", exist_ok=True)
        write_pages(name, page, **{"software": "the camera", **tags})

    def make_unreadable(self, name):
        """A link to itself, or what Wine does not hide."""
        if WINDOWS:
            pathlib.Path(name).write_bytes(b"II")
        else:
            os.symlink(os.path.basename(name), name)

    def run_with(self, arguments, code=0):
        """What is said on standard output and on standard error."""
        done = kx_convert(*arguments.split())
        self.assertEqual(done.returncode, code, arguments + "\n" + done.stderr)
        return done.stdout, done.stderr


class CommandLine(Case):
    def test_no_file_is_replaced_unasked(self):
        before = self.everything()
        for arguments, code in (("a.tif b.tif", 1), ("in -o in", 2), ("in/1.tif a.tif in/../a.tif -o new/", 2),
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
        self.write("in/2.tif", PAGE[::-1])
        self.assertEqual(self.run_with("a.tif -o one")[0], "created the folder one\n")
        self.assertEqual(os.listdir("one"), ["a.tif"])
        self.assertEqual(self.run_with("in a.tif -o many --quiet"), ("", ""))
        os.remove("many/2.tif")
        self.assertEqual(self.run_with("in a.tif -o many --skip-existing")[0],
                         "1 of 3 files converted, 2 skipped, whose output exists\n")
        # What cannot be read does not end the rest; other systems' hidden files are none.
        self.write("in/._1.tif")
        pathlib.Path("in/notes.txt").write_text("not looked at", encoding="ascii")
        self.make_unreadable("in/loop.tif")
        os.mkdir("empty")
        os.mkdir("closed", 0)
        said, errors = self.run_with("empty loop/closed closed in -o rest", 1)
        self.assertIn("2 of 6 files converted, 4 failed", said)
        self.assertEqual(sorted(os.listdir("rest")), ["1.tif", "2.tif"])
        self.assertIn("in/loop.tif: ", errors)
        for folder in ("empty", "closed"):
            self.assertIn(f"kx_convert: {folder}: the folder ", errors)
        numpy.testing.assert_array_equal(tifffile.imread("rest/2.tif"), PAGE[::-1])
        self.run_with("in/1.tif in/loop.tif in/2.tif -o deep/first/ --stop-at-error --threads 1", 1)
        self.assertEqual(os.listdir("deep/first"), ["1.tif"])
        os.remove("in/loop.tif")
        self.assertEqual(self.run_with("in -o png/ --format png")[0], "created the folder png/\n2 of 2 files converted\n")
        self.run_with("in/1.tif in/2.tif png/ --quiet")
        self.assertEqual(sorted(os.listdir("png")), ["1.png", "1.tif", "2.png", "2.tif"])

    def test_a_dry_run_says_what_would_be_and_lost(self):
        self.write("odd.tif", extratags=[(34675, "B", 200, b"no profile" * 20, True)])
        self.make_unreadable("in/loop.tif")
        said, errors = self.run_with("in odd.tif -o new --format png --dry-run", 1)
        self.assertEqual(sorted(said.splitlines()), ["3 of 4 files can be converted, 1 failed", "in/1.tif: 1 page to new/1.png",
                                                     "in/2.tif: 1 page to new/2.png", "odd.tif: 1 page to new/odd.png"])
        self.assertIn("odd.tif: not carried over: the ICC profile, which is none", errors)
        self.assertIn("in/loop.tif: ", errors)
        # What is lost is an error with --strict.
        self.assertRegex(self.run_with("odd.tif x.png --strict", 1)[1], "odd.tif: --strict: .*not carried over: the ICC profile")
        self.assertFalse(os.path.exists("x.png"))
        self.run_with("a.tif x.tif --strict --sync")

    def test_outputs_tell_how_they_were_made(self):
        self.run_with("a.tif plain.tif")
        self.assertRegex(self.tags("plain.tif")["Software"], r"^the camera; kx_convert \d+\.\d+\.\d+$")
        with open("camera.json", "w", encoding="utf-8") as file:
            json.dump({"version": 1, "bits": 16, "description": "\u00b5 1", "black_level": [0.5, 1, 2]}, file)
        said, _ = self.run_with("a.tif made.tif --profile camera.json --white-balance auto:3,2,20,10 --clamp 0 50000")
        name, gains = said.strip().split(": white balance ")
        self.assertEqual(name, "a.tif")
        record = self.tags("made.tif")["Software"].split("kx_convert ")[1].split(" ", 1)[1]
        self.assertTrue(record.endswith(" --clamp"))
        profile = json.loads(record.removesuffix(" --clamp"))
        numpy.testing.assert_allclose(profile.pop("white_balance"), [*map(float, gains.split())], rtol=1e-5)
        self.assertEqual(profile, {"version": 1, "description": "\u00b5 1", "bits": 16, "black_level": [0.5, 1, 2],
                                   "matrix": numpy.eye(3).tolist(), "tone_curve": "linear", "output_depth": 16})


class WholeFiles(Case):
    """What holds for every type of file: no sample changes, whoever reads and writes it, on however many threads."""

    def pages(self, name, width=37):
        """By other readers than kx_convert's."""
        if name.endswith("png"):
            raw = subprocess.run([MAGICK, name, "-depth", "16", "-endian", "LSB", "RGB:-"], check=True, capture_output=True)
            return [numpy.frombuffer(raw.stdout, "<u2").reshape(-1, width, 3)]
        subprocess.run(["tiffcp", "-c", "none", name, "copy.tif"], check=True)
        with tifffile.TiffFile("copy.tif") as file:
            return [page.asarray().transpose(1, 2, 0) if page.planarconfig == 2 else page.asarray() for page in file.pages]

    def test_every_kind_keeps_every_sample(self):
        random = numpy.random.default_rng(3)
        stack = [random.integers(0, 65536, size, "uint16") for size in ((21, 37, 3), (40, 16, 3), (1, 1, 3))]
        sources = {}
        for name, written, file_options, options, copied in (
                ("contiguous.tif", stack, {}, {}, []), ("tiles.tif", stack[:2], {}, {"tile": (16, 16)}, []),
                ("big_endian.tif", stack, {"byteorder": ">"}, {"planarconfig": "separate"}, []),
                ("big.tif", stack, {"bigtiff": True}, {}, ["tiffcp", "-c", "packbits"]),
                ("planar.TIFF", stack[:1], {}, {"planarconfig": "separate"}, ["tiffcp", "-c", "lzw:2"]),
                ("planar_tiles.tif", stack[:2], {}, {"planarconfig": "separate", "tile": (32, 32)}, []),
                ("zip.tif", stack, {}, {}, ["tiffcp", "-c", "zip"]),
                ("plain.png", stack[:1], {}, {}, [MAGICK, "-define", "png:bit-depth=16"]),
                ("interlaced.png", stack[:1], {}, {}, [MAGICK, "-define", "png:bit-depth=16", "-interlace", "PNG"])):
            raw = "raw.tif" if copied else name
            with tifffile.TiffWriter(raw, **file_options) as file:
                for page in written:
                    planes = page.transpose(2, 0, 1) if "planarconfig" in options else page
                    file.write(planes, photometric="rgb", metadata=None, **options)
            if copied:
                subprocess.run([*copied, raw, name], check=True)
            sources[name] = written
        for source, pages in sources.items():
            for target, compression, planar in (
                    ("o.tif", None, 1), ("o.tiff --planar --compression none", 1, 2), ("Q.TIF --compression lzw", 5, 1),
                    ("p.tif --compression deflate --planar", 8, 2), ("z.tif --compression zstd --level 3", 50000, 1),
                    ("o.png --quiet", None, 1)):
                name = target.split()[0]
                if name == "o.png" and len(pages) > 1:
                    continue
                self.run_with(f"{source} --overwrite {target}")
                found = self.pages(name)
                self.assertEqual(len(found), len(pages), (source, target))
                for one, other in zip(found, pages):
                    numpy.testing.assert_array_equal(one, other, f"{source} {target}")
                if compression:
                    with tifffile.TiffFile(name) as file:
                        self.assertEqual([(page.compression, page.planarconfig) for page in file.pages],
                                         [(compression, planar)] * len(pages), (source, target))

    def test_threads_change_no_byte_and_no_message(self):
        random = numpy.random.default_rng(3)
        stack = [random.integers(0, 65536, (100 + 400 * (page == 0), 200 * (page % 3) + 1, 3), "uint16") for page in range(8)]
        write_pages("stack.tif", *stack)
        subprocess.run(["tiffcp", "-c", "lzw", "stack.tif", "damaged.tif"], check=True)
        self.write("single.tif", random.integers(0, 65536, (1100, 700, 3), "uint16"))
        with open("damaged.tif", "rb+") as file:
            file.seek(os.path.getsize("damaged.tif") // 2)
            file.write(b"x" * 50)
        for options in ("", " --compression lzw", " --compression deflate --planar --level 9"):
            for file, code in (("stack.tif", 0), ("single.tif", 0), ("damaged.tif", 1)):
                results = []
                for threads in ("1", "2", "50"):
                    said = self.run_with(f"{file} out.tif --overwrite{options} --threads {threads}", code)[1]
                    results.append((said, pathlib.Path("out.tif").read_bytes()))
                self.assertEqual(results[0][0].startswith("kx_convert: damaged.tif: page "), code == 1)
                self.assertTrue(results[0] == results[1] == results[2], (file, options))
        for threads in ("1", "2"):  # a PNG of two bands
            self.run_with(f"single.tif {threads}.png --threads {threads}")
            numpy.testing.assert_array_equal(self.pages(threads + ".png", 700)[0], tifffile.imread("single.tif"))
        self.assertEqual(self.content("1.png"), self.content("2.png"))

    @unittest.skipIf(WINDOWS, "permissions and links of Linux")
    def test_replaced_files_keep_permissions_and_links(self):
        os.chmod("b.tif", 0o640)
        os.symlink("b.tif", "link.tif")
        self.run_with("a.tif link.tif --overwrite --depth 8")
        self.assertTrue(os.path.islink("link.tif"))
        self.assertEqual(tifffile.imread("b.tif").dtype, "uint8")
        self.assertEqual(os.stat("b.tif").st_mode & 0o777, 0o640)

    def test_companions_may_be_missing(self):
        suffix, libraries = (".dll", "bin") if WINDOWS else (".so", "lib")
        lut_module = f"{LIBRARIES}/korvex_kvi_LUT{suffix}"
        for folder, file in (("bin", CONVERTER[-1]), (libraries, f"{LIBRARIES}/korvex_kvi_color_processing{suffix}"),
                             ("path", lut_module)):
            os.makedirs(folder, exist_ok=True)
            shutil.copy(file, folder)
        shutil.copy(lut_module, ".")  # nobody takes modules from the current folder, nor along PATH
        program = [*CONVERTER[:-1], os.path.join("bin", os.path.basename(CONVERTER[-1]))]

        def run():
            return kx_convert("a.tif", "out.tif", "--info", program=program,
                              env={**os.environ, "WINEPATH": "Z:" + os.path.abspath("path")})

        done = run()
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, "^kx_convert: .*korvex_kvi_LUT")
        self.assertFalse(os.path.exists("out.tif"))
        shutil.copy(lut_module, libraries)
        self.assertRegex(run().stdout, r"^file: out.tif\ntransformed: 1 page, 0.001 megapixels in .* Mpixel/s\n"
                                       r"with reading .* Mpixel/s\nclipped samples: .*\n$")

    @unittest.skipIf(WINDOWS, "Wine shows programs no console here")
    def test_a_terminal_sees_progress_of_stacks_only(self):
        write_pages("stack.tif", PAGE & 255, PAGE)
        for arguments, shown in (("stack.tif out.tif", "\r1 of 2\r2 of 2\r\n"), ("a.tif one.tif", ""),
                                 ("stack.tif two.tif --input-bits 8 --threads 1", "\r1 of 2\r\nkx_convert: stack.tif: page 2: ")):
            master, terminal = pty.openpty()
            subprocess.run([*CONVERTER, *arguments.split()], stderr=terminal, check=False)
            os.write(terminal, b".")
            seen = b""
            while not seen.endswith(b"."):
                seen += os.read(master, 1000)
            self.assertTrue(seen.decode().startswith(shown or "."), (arguments, seen))
            os.close(master)
            os.close(terminal)

    def test_help_and_version_go_to_standard_output(self):
        said, errors = self.run_with("--help")
        self.assertIn("--red-clamp", said)
        self.assertEqual(errors, "")
        self.assertRegex(self.run_with("--version")[0], r"^kx_convert \d+\.\d+\.\d+\n$")
