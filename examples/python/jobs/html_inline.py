"""Sends HTML with an image in it and an attachment, both from memory."""
import tessolt
from account import smtp_account

image = b"GIF89a\1\0\1\0\0\0\0;"
message = tessolt.Message(sender="ann@example.org", to="bob@example.org", subject="A picture")
message.html = '<p>Look: <img src="cid:dot@example.org"></p>'
message.embed(image, "dot.gif", content_id="dot@example.org")
message.attach(b"a;b\r\n1;2\r\n", "table.csv")
with tessolt.Smtp(**smtp_account()) as smtp:
    smtp.send(message)
print("sent")
