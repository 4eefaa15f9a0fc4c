"""Leaves a message in the queue folder, for tessolt-queue to send."""
import tessolt
from account import smtp_account

message = tessolt.Message(
    sender="ann@example.org", to="bob@example.org", subject="Later", text="Sent when it can be."
)
tessolt.queue(message, **smtp_account())
print("queued")
