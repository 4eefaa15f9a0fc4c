"""Reads a message from bytes in memory, here those of the standard input."""
import sys

import tessolt

message = tessolt.Message.parse(sys.stdin.buffer.read())
print(f"{message.from_name} <{message.from_address}>: {message.subject}")
print(message.text, end="")
for attachment in message.attachments:
    print(f"{attachment.name}, {attachment.content_type}, {len(attachment.content)} bytes")
