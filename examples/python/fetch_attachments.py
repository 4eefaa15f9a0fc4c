"""Lists every message of a mailbox and saves its attachments into a folder."""

import os
import re

from example_support import arguments, check, server

import tessolt


def safe_name(given, message, attachment):
    """A name that is safe to put behind the folder: what the sender wrote decides no path."""
    name = re.split(r"[/\\]", given)[-1]
    return f"{message}-{attachment}-{name if name not in ('', '.', '..') else 'unnamed'}"


where, user, password, folder = arguments("HOST:PORT USER PASSWORD FOLDER")
host, port = server(where)

pop3 = tessolt.Dispatch("Tessolt.Pop3")
pop3.HostPort = port
pop3.Connect(host, user, password)
check(pop3, "Connect")
for number in range(1, pop3.CountMessages() + 1):
    mail = pop3.GetEmailMessage(number)
    check(pop3, "GetEmailMessage")
    print(f"{number}: {mail.Subject}")
    for attachment in range(1, mail.CountAttachments() + 1):
        name = safe_name(mail.GetAttachmentName(attachment), number, attachment)
        path = os.path.join(folder, name)
        mail.SaveAttachment(attachment, path)
        check(mail, "SaveAttachment")
        print("  saved", path)
pop3.Disconnect()
