"""What users of Windows expect of kx_convert: their names, their wildcards, files that other programs hold open."""

import contextlib
import os
import pathlib
import shutil
import subprocess

from converter_case import CONVERTER, STACK, ConverterCase, kx_convert, tifffile


class Names(ConverterCase):
    def setUp(self):
        super().setUp()
        os.mkdir("in")
        for number, name in enumerate(("1.tif", "2.tif", "\u5199\u771f 3.png", ".hidden.tif")):
            tifffile.imwrite("in/" + name, STACK[number], photometric="rgb", metadata=None)

    def test_any_language_any_length_both_separators(self):
        for folder in ("\u5165\u529b \u30d5\u30a9\u30eb\u30c0\u30fc", "/".join(["\u9577" * 60] * 6)):
            os.makedirs(folder)
            os.rename("in/1.tif", folder + "/\u5199\u771f 1.tif")
            pathlib.Path(folder, "\u8272.json").write_text('{"version": 1, "bits": 16, "matrix": [[0,1,0],[0,0,1],[1,0,0]]}')
            pathlib.Path(folder, "\u8868 1.txt").write_text("0.0\n1.0\n")
            back = folder.replace("/", "\\")
            options = ["--profile", back + "\\\u8272.json", "--output-lut", folder + "/\u8868 1.txt"]
            for output in (back + "\\\u51fa\u529b.tif", f"{os.getcwd()}/{folder}/absolute.tif",
                           f"Z:{os.getcwd()}/{folder}/named.tif".replace("/", "\\")):
                kx = kx_convert(folder + "/\u5199\u771f 1.tif", output, *options)
                self.assertEqual((kx.returncode, kx.stderr), (0, ""))
                self.assert_pages(output.replace("\\", "/").removeprefix("Z:"), [STACK[0][..., [1, 2, 0]]])
            kx = kx_convert(back + "\\*.tif", "-o", back + "\\new\\folder", *options)
            self.assertEqual((kx.returncode, kx.stderr), (0, ""))
            self.assertEqual(len(os.listdir(folder + "/new/folder")), 4)
            kx = kx_convert(back, "-o", "all", *options)
            self.assertEqual((kx.returncode, kx.stderr, len(os.listdir("all"))), (0, "", 4))
            shutil.rmtree("all")
            self.assertIn(f"{folder}/\u7121.tif: cannot be opened: No such file",
                          kx_convert(back + "\\\u7121.tif", "out.tif").stderr)
            os.rename(folder + "/\u5199\u771f 1.tif", "in/1.tif")

    def test_wildcards(self):
        for words, names in (("in\\*.tif", ["1.tif", "2.tif"]), ("in/?.tif", ["1.tif", "2.tif"]), ("in\\* 3.p*", ["\u5199\u771f 3.png"]),
                             ("IN\\2*", ["2.tif"]), ("i*", ["1.tif", "2.tif", "\u5199\u771f 3.png"])):
            kx = kx_convert(words, "-o", "out", "--overwrite")
            self.assertEqual((kx.returncode, kx.stderr), (0, ""))
            self.assertEqual(sorted(os.listdir("out")), names)
            for name in names:
                os.remove("out/" + name)
        self.assertIn("in/no*.tif: cannot be opened", kx_convert("in\\no*.tif", "-o", "out").stderr)

    def test_names_that_differ_in_case_are_one(self):
        before = self.everything()
        for words, text in ((("in\\1.tif", "IN/1.TIF"), "is an input"),
                            (("in/1.tif", "x/1.TIF", "-o", "out"), "two files would be written to"),
                            (("in/1.tif", "x/2.tif", "-o", "IN"), "")):
            os.makedirs("x", exist_ok=True)
            kx = kx_convert(*words, "--overwrite")
            self.assertNotEqual(kx.returncode, 0)
            self.assertIn(text, kx.stderr)
            os.rmdir("x")
            self.assertEqual(self.everything(), before)


class HeldFiles(ConverterCase):
    @contextlib.contextmanager
    def held(self, name, how):
        """Another program has the file open; with `readable` it lets others read it."""
        with subprocess.Popen([*CONVERTER[:-1], os.environ["KX_HOLD_FILE"], name, how], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as holder:
            self.assertEqual(holder.stdout.readline().strip(), b"held")
            yield
            holder.stdin.close()

    def test_nothing_is_lost(self):
        tifffile.imwrite("in.tif", STACK[0], photometric="rgb", metadata=None)
        pathlib.Path("out.tif").write_text("older")
        pathlib.Path("camera.json").write_text('{"version": 1, "bits": 16}')
        arguments = ("in.tif", "out.tif", "--overwrite", "--profile", "camera.json")
        before = self.everything()
        for name, how, code in (("in.tif", "alone", 1), ("out.tif", "alone", 1), ("out.tif", "readable", 1),
                                ("camera.json", "alone", 2)):
            with self.held(name, how):
                kx = kx_convert(*arguments)
                self.assertEqual(kx.returncode, code)
                self.assertRegex(kx.stderr, f"^kx_convert: .*{name}: cannot be .*: another program holds it open\n$")
            self.assertEqual(self.everything(), before)
        with self.held("in.tif", "readable"), self.held("camera.json", "readable"):
            self.assertEqual(kx_convert(*arguments).returncode, 0)
        self.assert_pages("out.tif", STACK[:1])
