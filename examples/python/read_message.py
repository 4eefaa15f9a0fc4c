"""Shows what a message file holds."""

from example_support import arguments, check

import tessolt

(file,) = arguments("FILE.eml")
mail = tessolt.Dispatch("Tessolt.EMailMessage")
mail.LoadMIME(file)
check(mail, "LoadMIME")
print(f"From:    {mail.FromName} <{mail.FromAddress}>")
print(f"To:      {mail.ToAddress}")
print(f"Date:    {mail.Date}")
print(f"Subject: {mail.Subject}\n")
print(mail.BodyPlainText)
for number in range(1, mail.CountAttachments() + 1):
    print(f"Attachment {number}: {mail.GetAttachmentName(number)}")
