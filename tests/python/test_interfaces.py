"""Drives every property and method of the four objects by name and by dispid."""

import os
import tempfile
import unittest

import tessolt

MESSAGE_ROWS = """
    LastError 1 get int
    FromName 32 get put str
    FromAddress 33 get put str
    ReplyAddress 34 get put str
    ReadReceiptAddress 35 get put str
    Organization 36 get put str
    Subject 37 get put str
    BodyPlainText 38 get put str
    BodyHtml 39 get put str
    Encoding 58 get put int
    Priority 59 get put int
    ID 70 get int
    MessageSource 71 get str
    MessageHeader 72 get str
    Size 73 get int
    Date 74 get str
    ToAddress 75 get str
    CcAddress 76 get str
    BccAddress 77 get str
    Clear 100 ()
    GetErrorDescription 101 (lError: int) str
    AddTo 200 (strEmailAddress: str, strDisplayName: str = '')
    AddCc 201 (strEmailAddress: str, strDisplayName: str = '')
    AddBcc 202 (strEmailAddress: str, strDisplayName: str = '')
    CountAttachments 300 () int
    GetAttachmentName 301 (lID: int) str
    GetAttachmentSize 302 (lID: int) int
    AddAttachment 303 (FileName: str)
    SaveAttachment 304 (lID: int, strSaveAsFile: str)
    LoadMIME 310 (strMimeFile: str)
    SaveMIME 311 (strMimeFile: str)
    Encode 320 ()
    Decode 321 ()
    GetHeaderValue 330 (strName: str) str
    AddHeader 331 (strName: str, strValue: str)
"""
SESSION_ROWS = """
    LastError 1 get int
    Version 2 get str
    Build 3 get str
    Module 4 get str
    LogFile 10 get put str
    ActivityFile 11 get put str
    TimeoutConnect 20 get put int
    TimeoutAuthentication 21 get put int
    TimeoutCommand 22 get put int
    TimeoutData 23 get put int
    HostPort 30 get put int
    Authentication 31 get put int
"""
SMTP_ROWS = SESSION_ROWS + """
    UseStartTls 32 get put bool
    LastSmtpResponse 40 get str
    Clear 100 ()
    GetErrorDescription 102 (lErrorCode: int) str
    Sleep 103 (lMilliseconds: int)
    SetSecure 110 (lPort: int = 465)
    Connect 111 (strHost: str, strAccount: str = '', strPassword: str = '')
    Disconnect 112 ()
    Send 113 (pVal: object)
    Queue 114 (newVal: object, strHost: str, lPort: int = 0, bSecure: int = 0, strLogin: str = '',\
 strPassword: str = '')
"""
POP3_ROWS = SESSION_ROWS + """
    LastPop3Response 40 get str
    Clear 100 ()
    GetErrorDescription 102 (lErrorCode: int) str
    Sleep 103 (lMilliseconds: int)
    SetSecure 110 (lPort: int = 995)
    Connect 111 (strHost: str, strAccount: str, strPassword: str)
    Disconnect 112 ()
    IsConnected 113 () bool
    CountMessages 200 () int
    GetEmailHeader 201 (ID: int) object
    GetEmailMessage 202 (lID: int) object
    DeleteMessage 203 (lMessageID: int)
"""
CONSTANTS = {
    "EMAIL_MESSAGE_PRIORITY_": "HIGHEST 13 1, HIGH 14 2, MEDIUM 15 3, LOW 16 4, LOWEST 17 5",
    "EMAIL_MESSAGE_ENCODING_": "DEFAULT 49 0, THAI 50 874, JAPANESE 51 50220, CHINESE_SIMP 52 936,"
    " KOREAN 53 949, CHINESE_TRAD 54 950, CENTRALEUROPE 55 28592, RUSSIAN 56 28595,"
    " WESTERN 57 1252, GREEK 58 28597, TURKISH 59 28593, HEBREW 60 28598, ARABIC 61 28596,"
    " BALTIC 62 28594, VIETNAMESE 63 1258, UTF7 64 65000, UTF8 65 65001",
    "SMTP_AUTH_": "AUTO 80 0, PLAIN 81 1, LOGIN 82 2, MD5CRAM 83 3",
    "POP3_AUTH_": "PLAIN 90 1, APOP 91 2, AUTO 92 0",
}
#: What a new object reads, where it isn't 0, "" or False.
FIRST_VALUES = {
    "EMailMessage": {"Priority": 3, "MessageSource": "\r\n\r\n", "Size": 4},
    "Smtp": {"HostPort": 25, "UseStartTls": True},
    "Pop3": {"HostPort": 110},
}
SESSION_VALUES = {
    "Version": "4.0 (x64)",
    "Build": "4.0.1.11129 (x64)",
    "Module": "Queltx64.dll",
    "TimeoutConnect": 20000,
    "TimeoutAuthentication": 20000,
    "TimeoutCommand": 5000,
    "TimeoutData": 120000,
}
SAMPLES = {str: "Gr\u00fc\u00dfe \U0001f600", int: -7, bool: False}
GET, PUT, CALL = (
    tessolt.DISPATCH_PROPERTYGET,
    tessolt.DISPATCH_PROPERTYPUT,
    tessolt.DISPATCH_METHOD,
)


def rows(text):
    return [" ".join(line.split()) for line in text.splitlines() if line.strip()]


def row_of(member):
    """A member of the type information in the form of the tables above."""
    if not member.kind & CALL:
        access = "get put" if member.kind & PUT else "get"
        return "%s %d %s %s" % (member.name, member.id, access, member.type.__name__)
    parameters = ", ".join(str(p.as_inspected()) for p in member.parameters)
    result = " " + member.type.__name__ if member.type else ""
    return "%s %d (%s)%s" % (member.name, member.id, parameters, result)


def create(name):
    return tessolt.Dispatch("Tessolt." + name)


class InterfaceTables(unittest.TestCase):
    def test_type_information_agrees_with_the_tables(self):
        constants = [
            "%s%s %s get int" % ((prefix,) + tuple(entry.split()[:2]))
            for prefix, entries in CONSTANTS.items()
            for entry in entries.split(",")
        ]
        for name, expected in (
            ("EMailMessage", rows(MESSAGE_ROWS)),
            ("Smtp", rows(SMTP_ROWS)),
            ("Pop3", rows(POP3_ROWS)),
            ("EMailConstants", constants),
        ):
            target = create(name)
            with self.subTest(name):
                members = type(target)._by_id.values()
                self.assertEqual([row_of(m) for m in members], expected)
                for member in members:
                    names = [p.name.upper() for p in member.parameters]
                    found = tessolt.GetIDsOfNames(target, member.name.lower(), *names)
                    numbers = (member.id,) + tuple(range(len(names)))
                    self.assertEqual(found, numbers if names else member.id)

    def test_constants(self):
        target = create("EMailConstants")
        for prefix, entries in CONSTANTS.items():
            for entry in entries.split(","):
                name, dispid, value = entry.split()
                self.assertEqual(getattr(target, prefix + name), int(value), name)
                self.assertEqual(tessolt.Invoke(target, int(dispid), GET), int(value), name)
                with self.assertRaises(AttributeError):
                    setattr(target, prefix + name, 1)

    def test_properties(self):
        for name, first in FIRST_VALUES.items():
            target = create(name)
            expected = dict(first, **(SESSION_VALUES if name != "EMailMessage" else {}))
            for member in type(target)._by_id.values():
                if member.kind & CALL:
                    continue
                with self.subTest(name + "." + member.name):
                    value = expected.get(member.name, member.type())
                    self.assertEqual(getattr(target, member.name), value)
                    self.assertEqual(getattr(target, member.name.upper()), value)
                    self.assertEqual(tessolt.Invoke(target, member.id, GET), value)
                    self.check_writes(target, member)
                    for kind, arguments in ((GET, (1,)), (PUT, ()), (PUT, (1, 2))):
                        with self.assertRaises(tessolt.ComError):
                            tessolt.Invoke(target, member.id, kind, *arguments)

    def check_writes(self, target, member):
        if not member.kind & PUT:
            with self.assertRaises(AttributeError):
                setattr(target, member.name, member.type())
            with self.assertRaises(tessolt.ComError):
                tessolt.Invoke(target, member.id, PUT, member.type())
            return
        if member.name in ("LogFile", "ActivityFile"):
            return
        sample = SAMPLES[member.type]
        setattr(target, member.name, sample)
        self.assertEqual(tessolt.Invoke(target, member.id, GET), sample)
        setattr(target, member.name.lower(), member.type())
        self.assertEqual(getattr(target, member.name), member.type())
        tessolt.Invoke(target, member.id, PUT, sample)
        self.assertEqual(getattr(target, member.name), sample)
        self.assertEqual(target.LastError, 0)
        with self.assertRaises(TypeError):
            setattr(target, member.name, None)



class Methods(unittest.TestCase):
    """What each method does, by name and by dispid, with defaults and named arguments."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def test_recipients(self):
        m = create("EMailMessage")
        for name, dispid, shown in (
            ("AddTo", 200, "ToAddress"),
            ("AddCc", 201, "CcAddress"),
            ("AddBcc", 202, "BccAddress"),
        ):
            add = getattr(m, name)
            add("a@b")
            add("c@d", "Name")
            add(strDisplayName="Name", STREMAILADDRESS="e@f")
            tessolt.Invoke(m, dispid, CALL, "g@h", tessolt.Missing)
            tessolt.Invoke(m, dispid, CALL, strEmailAddress="i@j;k@l")
            self.assertEqual((getattr(m, shown), m.LastError), ("a@b;c@d;e@f;g@h;i@j;k@l", 0))
            add("no address")
            failure = {200: 37610, 201: 37611, 202: 37612}[dispid]
            self.assertEqual((getattr(m, shown), m.LastError), ("a@b;c@d;e@f;g@h;i@j;k@l", failure))
        m.Clear()
        self.assertEqual((m.ToAddress, m.LastError), ("", 0))

    def test_attachments_and_files(self):
        m = create("EMailMessage")
        m.AddAttachment(self.write("a.txt", b"content"))
        tessolt.Invoke(m, 303, CALL, FileName=self.write("b.txt", b""))
        self.assertEqual((m.CountAttachments(), tessolt.Invoke(m, 300, CALL)), (2, 2))
        self.assertEqual((m.GetAttachmentName(1), m.GetAttachmentName(lID=2)), ("a.txt", "b.txt"))
        self.assertGreater(m.GetAttachmentSize(1), len("content"))
        m.SaveAttachment(1, self.path("out"))
        tessolt.Invoke(m, 304, CALL, strSaveAsFile=self.path("out2"), lID=1)
        for name in ("out", "out2"):
            with open(self.path(name), "rb") as file:
                self.assertEqual(file.read(), b"content")
        for number in (0, 3):
            self.assertEqual((m.GetAttachmentName(number), m.LastError), ("", 37613))
            self.assertEqual((m.GetAttachmentSize(number), m.LastError), (0, 37613))
        m.SaveMIME(self.path("m.eml"))
        self.assertEqual((m.LastError, os.path.exists(self.path("m.eml"))), (37609, False))
        m.FromAddress, m.Subject = "  a@b  ", "S"
        m.AddTo("c@d")
        m.AddHeader("X-A", "1")
        self.assertEqual((m.GetHeaderValue("X-A"), m.Date), ("", ""))
        m.Encode()
        m.AddHeader(strValue="2", strName="X-B")
        tessolt.Invoke(m, 321, CALL)
        self.assertEqual((m.GetHeaderValue("x-a"), m.GetHeaderValue("X-B")), ("1", "2"))
        m.SaveMIME(self.path("m.eml"))
        self.assertEqual((m.LastError, m.FromAddress), (0, "a@b"))
        loaded = create("EMailMessage")
        loaded.LoadMIME(self.path("m.eml"))
        self.assertEqual((loaded.Subject, loaded.ToAddress, loaded.ID), ("S", "c@d", 0))
        self.assertEqual(loaded.CountAttachments(), 2)
        self.assertEqual(loaded.GetHeaderValue("X-Mailer"), "Tessolt 4.0.1.11129 (x64)")
        self.assertEqual(loaded.Size, len(loaded.MessageSource))
        self.assertTrue(loaded.MessageSource.startswith(loaded.MessageHeader.rstrip()))
        loaded.LoadMIME(self.path("missing"))
        self.assertEqual(loaded.LastError, 37602)
        loaded.AddAttachment(self.path("missing"))
        self.assertEqual(loaded.LastError, 37605)

    def test_descriptions_and_sleep(self):
        for name in FIRST_VALUES:
            target = create(name)
            for number, text in ((0, "Success"), (37610, "Invalid TO e-mail address"),
                                 (-1, "Generic Error")):
                self.assertEqual(target.GetErrorDescription(number), text)
        create("Smtp").Sleep(0)
        tessolt.Invoke(create("Pop3"), 103, CALL, lMilliseconds=1)

    def test_without_a_connection(self):
        smtp, pop, message = create("Smtp"), create("Pop3"), create("EMailMessage")
        smtp.LogFile = pop.LogFile = self.path("log")
        for argument, number in ((message, 37609), (None, 15010), ("text", 15010), (smtp, 15010)):
            smtp.Send(argument)
            self.assertEqual(smtp.LastError, number)
        message.AddTo("a@b")
        tessolt.Invoke(smtp, 113, CALL, pVal=message)
        self.assertEqual(smtp.LastError, 441)
        for call in (lambda: pop.GetEmailHeader(1), lambda: pop.GetEmailMessage(lID=1),
                     lambda: pop.CountMessages() or None, lambda: pop.DeleteMessage(1)):
            self.assertEqual((call(), pop.LastError), (None, 707))
        self.assertEqual((pop.IsConnected(), pop.LastError), (False, 0))
        smtp.Connect("")
        self.assertEqual((smtp.LastError, smtp.LastSmtpResponse), (37400, ""))
        pop.Connect("", "a", "p")
        self.assertEqual((pop.LastError, pop.LastPop3Response), (37501, ""))
        self.assertRaises(TypeError, pop.Connect, "host")
        smtp.Disconnect()
        pop.Disconnect()
        self.assertEqual((smtp.LastError, pop.LastError), (0, 0))
        with open(self.path("log"), encoding="ascii") as file:
            lines = [line.rstrip("\n")[11:] for line in file]
        self.assertEqual(lines[0], "Send result=[No TO recipients specified]")
        for line in ("Tessolt : [Queltx64.dll 4.0.1.11129 (x64)]", "Connect result=[37400]",
                     "Tessolt: [Queltx64.dll 4.0.1.11129 (x64)]",
                     "Connect result=[Invalid hostname]"):
            self.assertIn(line, lines)



if __name__ == "__main__":
    unittest.main()
