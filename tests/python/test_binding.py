"""What the package itself promises, whatever the objects are."""

import copy
import gc
import os
import pydoc
import subprocess
import sys
import threading
import time
import unittest

import tessolt


def create(name="EMailMessage"):
    return tessolt.Dispatch("Tessolt." + name)


def resident_kib():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE") // 1024


class Creation(unittest.TestCase):
    def test_prog_ids(self):
        for name in ("Tessolt.Smtp", "Tessolt.Smtp.1", "tESSOLT.sMTP", "TESSOLT.SMTP.1"):
            self.assertEqual(type(tessolt.Dispatch(name)).__name__, "Smtp", name)
        for name in ("Tessolt.Smtp.2", "Tessolt", "", "Smtp", "\ud800"):
            with self.assertRaises(tessolt.ComError) as raised:
                tessolt.Dispatch(name)
            self.assertEqual(raised.exception.hresult & 0xFFFFFFFF, 0x800401F3, name)
        self.assertRaises(TypeError, tessolt.Dispatch, 1)
        self.assertRaises(TypeError, tessolt.Object)

    def test_library_is_found_by_variable(self):
        code = "import tessolt._library as l; print(l.PATH)"
        for value, expected in ((tessolt._library.PATH, tessolt._library.PATH), ("/missing", None)):
            run = subprocess.run(
                [sys.executable, "-c", code], env=dict(os.environ, TESSOLT_LIBRARY=value),
                capture_output=True, text=True,
            )
            self.assertEqual(run.stdout.strip() or None, expected)


class Members(unittest.TestCase):
    def test_names(self):
        m = create()
        m.subject = "x"
        self.assertEqual((m.Subject, m.SUBJECT), ("x", "x"))
        m.ADDTO("a@b")
        self.assertEqual(m.toaddress, "a@b")
        for name in ("Sub", "_subject", "S\u0131ze", "Subject "):
            self.assertRaises(AttributeError, getattr, m, name)
            self.assertRaises(AttributeError, setattr, m, name, "x")
        self.assertFalse(hasattr(m, "Connect"))

    def test_help_and_dir(self):
        m = create()
        self.assertLessEqual({"Subject", "AddTo", "Encode"}, set(dir(m)))
        text = pydoc.plain(pydoc.render_doc(m))
        self.assertIn("AddTo(self, /, strEmailAddress: str, strDisplayName: str = '')", text)
        self.assertIn("Subject: str, read and write. Dispid 37.", text)

    def test_errors(self):
        m = create()
        for call, error, result in (
            (lambda: m.AddTo(), TypeError, 0x8002000E),
            (lambda: m.AddTo("a", strEmailAddress="b"), TypeError, 0x80020004),
            (lambda: m.AddTo(tessolt.Missing), TypeError, 0x8002000F),
            (lambda: m.GetAttachmentName("x"), TypeError, 0x80020005),
            (lambda: m.GetAttachmentName(2**31), OverflowError, 0x8002000A),
            (lambda: m.GetAttachmentName(1e300), OverflowError, 0x8002000A),
            (lambda: tessolt.Invoke(m, 999, 1), tessolt.ComError, 0x80020003),
            (lambda: tessolt.GetIDsOfNames(m, "Nothing"), tessolt.ComError, 0x80020006),
        ):
            with self.assertRaises(error) as raised:
                call()
            self.assertEqual(raised.exception.hresult & 0xFFFFFFFF, result)
            self.assertLess(raised.exception.hresult, 0)
        with self.assertRaisesRegex(TypeError, "GetAttachmentName.lID.: wrong type"):
            m.GetAttachmentName("x")

    def test_texts(self):
        m = create()
        for text in ("", "\u00e9", "\U0001f600", "\ud800 and \udc00", "at the end \ud800", "x" * 100000):
            m.Subject = text
            self.assertEqual(m.Subject, text)
        m.Subject = 5
        self.assertEqual(m.Subject, "5")

    def test_objects_are_neither_copied_nor_pickled(self):
        m = create()
        self.assertRaises(TypeError, copy.copy, m)
        self.assertEqual(m, m)
        self.assertNotEqual(m, create())
        self.assertEqual(len({m, m}), 1)


class Lives(unittest.TestCase):
    def test_objects_go_when_collected(self):
        def use(count):
            for _ in range(count):
                m = create()
                m.Subject = "subject"
                m.AddTo("a@b", "Name")
                m.CountAttachments()

        use(3000)
        gc.collect()
        before = resident_kib()
        use(10000)
        self.assertLess(resident_kib() - before, 2000)

    def test_calls_run_side_by_side(self):
        def wait():
            create("Smtp").Sleep(300)

        threads = [threading.Thread(target=wait) for _ in range(4)]
        start = time.monotonic()
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertLess(time.monotonic() - start, 0.9)

    def test_fork_and_exit(self):
        code = (
            "import os, sys, tessolt\n"
            "m = tessolt.Dispatch('Tessolt.EMailMessage')\n"
            "s = tessolt.Dispatch('Tessolt.Smtp')\n"
            "m.Subject = 'x'\n"
            "child = os.fork()\n"
            "if child == 0:\n"
            "    own = tessolt.Dispatch('Tessolt.EMailMessage')\n"
            "    own.Subject = m.Subject\n"
            "    sys.exit(own.Subject != 'x')\n"
            "status = os.waitpid(child, 0)[1]\n"
            "sys.holder = m\n"
            "sys.exit(status or m.Subject != 'x')\n"
        )
        run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
