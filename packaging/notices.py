#!/usr/bin/env python3
"""Write the notices of a package: of THIRD_PARTY.md what concerns its contents, and the copyright files of what they contain.

    notices.py FOLDER PLATFORM CONTENT...

PLATFORM is Linux or Windows; each CONTENT is a name of the columns "where" and "by": "the logger module", "kx_convert",
"korvex_color". FOLDER gets THIRD_PARTY.md, and third_party with Debian's copyright files, each by its package's name. What was built for
Windows by scripts/windows_dependencies is named with its version.
"""

import pathlib
import re
import shutil
import sys

ROOT = pathlib.Path(__file__).parents[1]
BUILT = ROOT / "build/windows-dependencies/share/doc"


def main():
    folder, platform, *contents = sys.argv[1:]
    folder, other = pathlib.Path(folder), {"Linux": "Windows", "Windows": "Linux"}[platform]
    concerned = {"every file", f"every file for {platform}", *contents}
    (folder / "third_party").mkdir(parents=True, exist_ok=True)
    text, *sections = re.split("^(?=## )", (ROOT / "THIRD_PARTY.md").read_text(), flags=re.MULTILINE)
    for section in sections:
        title, *lines = section.splitlines()
        if title.endswith(f"for {other}"):
            continue
        documents = BUILT if title.endswith("programs for Windows") else pathlib.Path("/usr/share/doc")
        kept, packages, rows = [title], set(), 0
        for line in lines:
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            rows += line.startswith("|")
            if line.startswith("|") and rows > 2:  # below the table's head
                if not concerned & set(cells[1].split(", ")):
                    continue
                packages |= set(cells[3].split(", "))
                if documents == BUILT:
                    line = line.removesuffix("|") + (BUILT / cells[3] / "version").read_text().strip() + " |"
            kept.append(line)
        if not packages:
            continue
        text += "\n".join(kept).rstrip() + "\n\n"
        for package in packages if title.startswith("## Compiled") else ():
            shutil.copyfile(documents / package / "copyright", folder / "third_party" / f"{package}.txt")
    (folder / "THIRD_PARTY.md").write_text(text.rstrip() + "\n")


if __name__ == "__main__":
    main()
