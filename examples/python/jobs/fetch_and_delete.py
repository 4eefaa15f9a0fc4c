"""Fetches over TLS into a folder, and deletes what was saved."""
import pathlib
import sys

import tessolt
from account import pop3_account

with tessolt.Pop3(**pop3_account()) as mailbox:
    for message in mailbox:
        path = pathlib.Path(sys.argv[1], tessolt.safe_name(message.unique_id) + ".eml")
        path.write_bytes(message.raw)  # each byte as it came
        mailbox.delete(message)  # done by the server when the session ends
        print("saved", path)
