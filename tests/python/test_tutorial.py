"""The session of the tutorial, run again: each command, and what it printed. With TESSOLT_RECORD set it is recorded
anew."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from mail_hosts import mail_host, settings

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs/tutorial.md"
PROGRAMS = pathlib.Path(os.environ["TESSOLT_BUILD"], "programs")
BLOCK = re.compile(r"(?<=```console\n).*?(?=```)", re.S)
SHOWN_PORTS = (40465, 40995)
#: What is another in each run, and what the page shows in its place.
CHANGING = (
    (r"(?<=Name          localhost is ).*", "127.0.0.1"),
    (r"\w{3} [ \d]\d [\d:]{8} \d{4} GMT", "Nov 24 09:00:00 2026 GMT"),
    (r"(?<=Date: ).*", "Mon, 23 Nov 2026 09:00:00 -0000"),
    (r"[0-9a-f]{32}(?=\.eml)", "878714c58fd06d1dc0b06c99dc0e24de"),
)


def run(commands):
    """What each command prints, in one shell."""
    script = "".join(f"{command}\nstatus=$?; printf '\\0'; (exit $status)\n" for command in commands)
    done = subprocess.run(["bash", "-c", script], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=100, check=False)
    return done.stdout.split("\0")


def replay(block):
    """The block as it comes out now."""
    commands = re.findall(r"^\$ (.*(?:(?<=\\)\n> .*)*)", block, re.M)
    with tempfile.TemporaryDirectory() as folder:
        certificate = os.path.join(folder, "certificate.pem")
        with mail_host("ann", "secret", certificate) as (_, _, *ports), settings(TrustFile=certificate):
            swaps = list(zip(map(str, SHOWN_PORTS), map(str, ports)))
            prepared = [f"cd {folder}; export PATH={PROGRAMS}:$PATH"]
            for command in commands:
                for shown, actual in swaps:
                    command = command.replace(shown, actual)
                prepared.append(command.replace("\n> ", "\n"))
            printed = run(prepared)[1:]
    said = "".join(f"$ {command}\n{output}" for command, output in zip(commands, printed))
    for shown, actual in swaps:
        said = said.replace(f"localhost:{actual}", f"localhost:{shown}").replace(f"port {actual}", f"port {shown}")
    for pattern, shown in CHANGING:
        said = re.sub(pattern, shown, said)
    return said


@unittest.skipUnless((PROGRAMS / "tessolt").exists(), "the programs aren't built")
class Session(unittest.TestCase):
    maxDiff = None

    def test_prints_what_the_page_shows(self):
        page = PAGE.read_text(encoding="utf-8")
        (shown,) = BLOCK.findall(page)
        said = replay(shown)
        if os.environ.get("TESSOLT_RECORD"):
            PAGE.write_text(page.replace(shown, said), encoding="utf-8")
        else:
            self.assertEqual(shown, said)


if __name__ == "__main__":
    unittest.main()
