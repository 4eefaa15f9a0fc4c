"""Sends 1,000 messages over one connection, and shows how far it is."""
import tessolt
from account import smtp_account

with tessolt.Smtp(**smtp_account()) as smtp:
    for number in range(1, 1001):
        message = tessolt.Message(sender="ann@example.org", to="bob@example.org", text="Hello.")
        message.subject = f"Letter {number}"
        progress = f"\r{number} of 1000, {{}} of {{}} bytes".format  # returning False would cancel
        smtp.send(message, lambda *bytes: print(progress(*bytes), end=""))
print("\nsent 1000")
