"""Tells clearly that a password is wrong."""
import tessolt
from account import smtp_account

try:
    tessolt.Smtp(**smtp_account(password="wrong"))
except tessolt.AuthenticationError as error:
    print(error)  # one line for people
    print("refused with", error.code)
except tessolt.MailError as error:
    print("failed otherwise:", error)
