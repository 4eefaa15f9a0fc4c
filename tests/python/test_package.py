"""The package as others get it: typed, documented, as a wheel, and as the README tells."""

import inspect
import os
import pathlib
import pydoc
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from mail_hosts import mail_host

import tessolt
import tessolt.poplib
import tessolt.smtplib

TOP = pathlib.Path(__file__).parents[2]
#: Of a job, without its first line, which tells what it does.
MOST_LINES = 12
BUILD = pathlib.Path(os.environ["TESSOLT_BUILD"])
JOBS = TOP / "examples" / "python" / "jobs"


class Types(unittest.TestCase):
    def test_are_complete(self):
        mypy = shutil.which("mypy")
        if not mypy:
            print("SKIPPED: mypy isn't installed")
            return
        with tempfile.TemporaryDirectory() as cache:
            jobs = sorted(JOBS.glob("*.py"))
            for job in jobs:
                lines = [line for line in job.read_text(encoding="utf-8").splitlines() if line]
                self.assertTrue(len(lines) <= MOST_LINES + 1 or job.name == "account.py", job)
            for options, what in ((["--strict", "--python-version", "3.9"], ["-p", "tessolt"]),
                                  (["--check-untyped-defs", "--scripts-are-modules"], jobs)):
                run = subprocess.run([mypy, "--cache-dir", cache, *options, *what], capture_output=True, text=True,
                                     cwd=BUILD / "python", env=dict(os.environ, MYPYPATH=str(BUILD / "python")))
                self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def test_please_the_other_checker_too(self):
        pyright = shutil.which("pyright")  # by npm: Debian has none
        if not pyright:
            print("SKIPPED: pyright isn't installed")
            return
        for what in ("tessolt", JOBS):
            run = subprocess.run([pyright, what], capture_output=True, text=True, cwd=BUILD / "python")
            self.assertEqual(run.returncode, 0, run.stdout + run.stderr)


class Texts(unittest.TestCase):
    def test_every_public_name_is_documented(self):
        for module in (tessolt, tessolt.smtplib, tessolt.poplib):
            public = [(name, getattr(module, name)) for name in module.__all__]
            for name, value in public:
                if inspect.isclass(value) or inspect.isfunction(value):
                    self.assertTrue(inspect.getdoc(value), name)
                for member, item in inspect.getmembers(value) if inspect.isclass(value) else ():
                    if not member.startswith("_") and (inspect.isfunction(item) or isinstance(item, property)):
                        self.assertTrue(inspect.getdoc(item), f"{name}.{member}")

    def test_late_bound_objects_show_the_texts_of_the_headers(self):
        header = (TOP / "include" / "tessolt" / "interfaces.h").read_text(encoding="utf-8")
        shown = "".join(pydoc.plain(pydoc.render_doc(tessolt.Dispatch("Tessolt." + name)))
                        for name in ("EMailMessage", "Smtp", "Pop3"))
        comments = re.findall(r"((?: *///.*\n)+) *virtual HRESULT (\w+)", header)
        self.assertGreater(len(comments), 30)
        for comment, name in comments:
            text = " ".join(re.sub(r" *///", "", comment).split())
            self.assertIn(text, " ".join(re.sub(r"(?m)^ *\|", "", shown).split()), name)

    def test_numbers_have_names(self):
        constants = tessolt.Dispatch("Tessolt.EMailConstants")
        named = {prefix + item.name: item.value for prefix, kind in (
            ("EMAIL_MESSAGE_PRIORITY_", tessolt.Priority), ("EMAIL_MESSAGE_ENCODING_", tessolt.Encoding),
            ("SMTP_AUTH_", tessolt.SmtpAuth), ("POP3_AUTH_", tessolt.Pop3Auth)) for item in kind}
        self.assertEqual(named, {name: getattr(constants, name) for name in type(constants)._names.values()})


class Wheel(unittest.TestCase):
    def test_holds_the_library(self):
        with tempfile.TemporaryDirectory() as folder:
            sys.path.insert(0, str(TOP / "bindings" / "python"))
            self.addCleanup(sys.path.pop, 0)
            import build_backend

            name = build_backend.write_wheel(BUILD, folder)
            installed = os.path.join(folder, "installed")
            install = ["-m", "pip", "install", "--quiet", "--no-index", "--no-deps", "--target", installed]
            if subprocess.run([sys.executable, "-m", "pip", "--version"], capture_output=True).returncode:
                print("SKIPPED: pip isn't installed; the wheel is only unpacked")
                install = ["-m", "zipfile", "-e"]
                subprocess.run([sys.executable, *install, os.path.join(folder, name), installed], check=True)
            else:
                subprocess.run([sys.executable, *install, os.path.join(folder, name)], check=True)
            code = ("import importlib.metadata as m, tessolt; print(tessolt._library.PATH, m.version('tessolt'));"
                    "print(tessolt.Message(subject='x').subject)")
            run = subprocess.run([sys.executable, "-B", "-c", code], env=dict(os.environ, PYTHONPATH=installed),
                                 capture_output=True, text=True)
            library = os.path.join(installed, "tessolt", "libqueltx64.so")
            self.assertRegex(run.stdout, re.escape(library) + r" \d+\.\d+\.\d+\nx\n")


class Readme(unittest.TestCase):
    def test_blocks_run(self):
        text = (TOP / "README.md").read_text(encoding="utf-8")
        blocks = re.findall(r"```python\n(.*?)```", text, re.S)
        self.assertGreater(len(blocks), 1)
        with tempfile.TemporaryDirectory() as folder, mail_host("ann", "secret") as ports:
            pathlib.Path(folder, "photo.jpg").write_bytes(b"a photo")
            for block in blocks:
                for kind, port in zip(("Smtp", "Pop3"), ports):
                    block = block.replace(f'{kind}("mail.example.org"', f'{kind}("127.0.0.1", {port}')
                code = f"import sys; secret, folder, mail = 'secret', '.', 'saved.eml'\n{block}"
                run = subprocess.run([sys.executable, "-B", "-c", code], cwd=folder, capture_output=True, text=True)
                self.assertEqual((run.returncode, run.stderr), (0, ""), block)
            self.assertTrue(pathlib.Path(folder, "photo (2).jpg").exists())


if __name__ == "__main__":
    unittest.main()
