"""The command line, and a start without a display. The version is the same wherever it is told.

    command_line.py TAVRO VERSION"""

import os
import pathlib
import re
import subprocess
import sys

PROGRAM, VERSION = sys.argv[1:3]
ROOT = pathlib.Path(__file__).resolve().parents[2]
ONE_SENTENCE = re.compile(r"tavro: [^\n]+\.\n")
CASES = [  # arguments, environment, exit code, standard output, a part of standard error
    (["--version"], {}, 0, f"tavro {VERSION}\n", None),
    (["--help"], {}, 0, "Usage: tavro ", None),
    (["--quit"], {}, 1, "", "no instance"),
    (["--loud"], {}, 2, "", "--quit, --version and --help"),
    (["--version", "--help"], {}, 2, "", "--quit, --version and --help"),
    (["film.mp4"], {}, 2, "", "--quit, --version and --help"),
    (["-session", "1"], {}, 1, "", "there is no display"),  # from a session manager
    ([], {}, 1, "", "there is no display"),
    ([], {"DISPLAY": ":4711"}, 1, "", '":4711" cannot be opened'),
    ([], {"WAYLAND_DISPLAY": "nobody"}, 1, "", '"nobody" cannot be opened'),
]
WHERE = {
    "debian/changelog": r"^tavro \((.+?)\)",
    "packaging/com.quembridge.tavro.metainfo.xml": r'<release version="(.+?)"',
    "CHANGELOG.md": r"(?m)^## \[(\d.*?)\]",
}


def check(condition, what):
    if not condition:
        sys.exit(what)


for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
    os.environ.pop(name, None)
for arguments, variables, code, output, complaint in CASES:
    ran = subprocess.run(
        [PROGRAM, *arguments], env=os.environ | variables, capture_output=True, text=True, timeout=60, check=False
    )
    what = f"{arguments} with {variables}: {ran}"
    check(ran.returncode == code, what)
    check(ran.stdout.startswith(output) and bool(ran.stdout) == bool(output), what)
    if complaint:
        check(ONE_SENTENCE.fullmatch(ran.stderr) and complaint in ran.stderr, what)
    else:
        check(not ran.stderr, what)

for file, place in WHERE.items():
    told = re.search(place, (ROOT / file).read_text())
    check(told and told[1] == VERSION, f"{file} tells {told and told[1]}, not {VERSION}")
