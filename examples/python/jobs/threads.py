"""Sends from several threads, each with a session of its own."""
from concurrent.futures import ThreadPoolExecutor

import tessolt
from account import smtp_account


def send(number):
    message = tessolt.Message(sender="ann@example.org", to="bob@example.org", text="Hello.")
    message.subject = f"Thread {number}"
    with tessolt.Smtp(**smtp_account()) as smtp:
        smtp.send(message)
    return "sent"


with ThreadPoolExecutor() as threads:
    print(*threads.map(send, range(1, 5)), sep="\n")
