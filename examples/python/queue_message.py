"""Leaves a message in the queue folder of the settings, for a service to send."""

from example_support import arguments, check, server

import tessolt

where, sender, recipient = arguments("HOST:PORT FROM TO")
host, port = server(where)

message = tessolt.Dispatch("Tessolt.EMailMessage")
message.FromAddress = sender
message.Subject = "Später, позже, 稍后 🕐"
message.BodyPlainText = "Wartet in der Schlange. Ждёт в очереди. 在队列中等待。\r\n"
message.AddTo(recipient)
check(message, "AddTo")

smtp = tessolt.Dispatch("Tessolt.Smtp")
smtp.Queue(message, host, lPort=port)
check(smtp, "Queue")
print("queued for", recipient)
