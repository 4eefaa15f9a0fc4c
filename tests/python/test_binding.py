"""What the package itself promises, whatever the objects are."""

import copy
import gc
import os
import pathlib
import pydoc
import re
import subprocess
import sys
import threading
import time
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
            (lambda: tessolt.Invoke(m, 2**32 + 59, 2), OverflowError, 0x8002000A),
            (lambda: tessolt.Invoke(m, 59, 2**16 + 2), OverflowError, 0x8002000A),
            (lambda: tessolt.GetIDsOfNames(m, "Nothing"), AttributeError, 0x80020006),
            (lambda: tessolt.GetIDsOfNames(m, "AddTo", "Nothing"), AttributeError, 0x80020006),
            (lambda: tessolt.GetIDsOfNames(m, "Subject\0"), AttributeError, 0x80020006),
        ):
            with self.assertRaises(error) as raised:
                call()
            self.assertEqual(raised.exception.hresult & 0xFFFFFFFF, result)
            self.assertLess(raised.exception.hresult, 0)
        with self.assertRaisesRegex(TypeError, "GetAttachmentName.lID.: wrong type"):
            m.GetAttachmentName("x")
        for arguments in ((), ("a", "b", "c")):
            with self.assertRaisesRegex(TypeError, "^AddTo: wrong number of arguments"):
                m.AddTo(*arguments)

    def test_values(self):
        class Index:
            def __index__(self):
                return 5

        m, smtp = create(), create("Smtp")
        m.AddTo("a@b", None)
        smtp.SetSecure(None)
        self.assertEqual((m.LastError, smtp.HostPort), (0, 465))
        for value, number in ((Index(), 5), (True, 1), (False, 0)):
            m.Priority = value
            smtp.SetSecure(value)
            self.assertEqual((m.Priority, smtp.HostPort), (number, number))
        m.AddAttachment(pathlib.Path(__file__))
        m.Subject = pathlib.Path("p")
        self.assertEqual((m.LastError, m.CountAttachments(), m.Subject), (0, 1, "p"))
        self.assertRaises(TypeError, m.AddTo, None)

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

    def test_objects_inside_a_call_are_refused(self):
        smtp, waits = create("Smtp"), threading.Thread(target=lambda: smtp.Sleep(400))
        waits.start()
        with self.assertRaises(tessolt.BusyError):
            while waits.is_alive():
                smtp.LastError
        for call in (lambda: smtp.LastError, lambda: setattr(smtp, "HostPort", 1), smtp.Disconnect,
                     lambda: tessolt.Invoke(smtp, 30, 2), lambda: create("Smtp").Send(smtp)):
            self.assertRaises(tessolt.BusyError, call)
        waits.join()
        self.assertEqual((smtp.LastError, smtp.HostPort), (0, 25))
        smtp.Send(smtp)

    def test_signals_end_waiting_calls(self):
        code = (
            "import signal, socket, time, tessolt\n"
            "silent = socket.create_server(('127.0.0.1', 0))\n"
            "s = tessolt.Dispatch('Tessolt.Smtp')\n"
            "s.HostPort = silent.getsockname()[1]\n"
            "def late(*_):\n"
            "    raise KeyboardInterrupt\n"
            "signal.signal(signal.SIGALRM, late)\n"
            "for call in (lambda: s.Sleep(9000), lambda: s.Connect('127.0.0.1'), lambda: s.Sleep(-1)):\n"
            "    signal.setitimer(signal.ITIMER_REAL, 0.1)\n"
            "    start = time.monotonic()\n"
            "    try:\n"
            "        call()\n"
            "    except KeyboardInterrupt:\n"
            "        print(time.monotonic() - start < 0.3)\n"
            "s.Sleep(1)\n"
        )
        run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
        self.assertEqual((run.stdout, run.stderr), ("True\n" * 3, ""))

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
