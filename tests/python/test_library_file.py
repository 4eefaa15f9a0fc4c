"""The shared library as a file: what it shows to the linker."""

import os
import re
import subprocess
import unittest

import tessolt

INCLUDE = os.path.join(os.path.dirname(__file__), "..", "..", "include", "tessolt")


def declared_functions():
    """The C functions of the public headers."""
    names = set()
    for name in os.listdir(INCLUDE):
        with open(os.path.join(INCLUDE, name), encoding="utf-8") as file:
            names.update(re.findall(r"^TESSOLT_API [^;(]*?(\w+)\(", file.read(), re.MULTILINE))
    return names


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Library(unittest.TestCase):
    def test_exports_are_the_declared_functions(self):
        table = output("nm", "-D", "--defined-only", tessolt._library.PATH)
        exported = {line.split()[-1] for line in table.splitlines()}
        self.assertLess(
            {"DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer", "DllUnregisterServer",
             "DllInstall"},
            exported,
        )
        self.assertEqual(exported, declared_functions())

    def test_soname(self):
        self.assertIn("[%s]" % tessolt._library.LOADER_NAME,
                      output("readelf", "-d", tessolt._library.PATH))


if __name__ == "__main__":
    unittest.main()
