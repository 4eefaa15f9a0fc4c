"""Sends one message with a file attached."""

from example_support import arguments, check, server

import tessolt

where, user, password, sender, recipient, file = arguments(
    "HOST:PORT USER PASSWORD FROM TO FILE")
host, port = server(where)

message = tessolt.Dispatch("Tessolt.EMailMessage")
message.FromAddress = sender
message.Subject = "A file for you 📎"
message.BodyPlainText = "Die Datei hängt an. Файл приложен. 文件在附件中。\r\n"
message.AddTo(recipient)
check(message, "AddTo")
message.AddAttachment(file)
check(message, "AddAttachment")

smtp = tessolt.Dispatch("Tessolt.Smtp")
smtp.HostPort = port
smtp.Connect(host, user, password)
check(smtp, "Connect")
smtp.Send(message)
check(smtp, "Send")
smtp.Disconnect()
print("sent to", recipient)
