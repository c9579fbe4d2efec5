"""analysis_keys.py COMMON FILE …: for each file a line "KEY FILE".

The key changes with the content of the file, of the project's headers that it includes, directly or through others,
and with the text COMMON.
"""

import hashlib
import pathlib
import re
import sys

INCLUDE = re.compile(rb'^\s*#\s*include\s+"([^"]+)"', re.M)


def with_headers(file: pathlib.Path) -> list[pathlib.Path]:
    """The file and what it includes. Includes name their files from the project's folder, or from include/."""
    found = [file]
    for including in found:
        for name in INCLUDE.findall(including.read_bytes()):
            for folder in (pathlib.Path(), pathlib.Path("include"), including.parent):
                header = folder / name.decode()
                if header.is_file() and header not in found:
                    found.append(header)
    return found


def main() -> None:
    for name in sys.argv[2:]:
        digest = hashlib.sha256(sys.argv[1].encode())
        for file in sorted(with_headers(pathlib.Path(name))):
            content = file.read_bytes()
            digest.update(f"\0{file}\0{len(content)}\0".encode() + content)
        print(digest.hexdigest()[:32], name)


if __name__ == "__main__":
    main()
