"""Sends a text."""
import tessolt
from account import smtp_account

message = tessolt.Message(
    sender="Ann <ann@example.org>", to="Bob <bob@example.org>", subject="Grüße 👋", text="Hello."
)
with tessolt.Smtp(**smtp_account()) as smtp:
    smtp.send(message)
print("sent")
