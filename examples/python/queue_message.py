"""Leaves a message in the queue folder of the settings, for a service to send."""

from example_support import arguments, check, server

import tessolt

where, sender, recipient = arguments("HOST:PORT FROM TO")
host, port = server(where)

message = tessolt.Dispatch("Tessolt.EMailMessage")
message.FromAddress = sender
message.Subject = "Later will do"
message.BodyPlainText = "This one waits in the queue.\r\n"
message.AddTo(recipient)
check(message, "AddTo")

smtp = tessolt.Dispatch("Tessolt.Smtp")
smtp.Queue(message, host, lPort=port)
check(smtp, "Queue")
print("queued for", recipient)
