"""The account that the examples use. All but the host and the password is what most providers have."""

import os


def account(port, changes):
    return {
        "host": os.environ.get("MAIL_HOST", "mail.example.org"),
        "user": os.environ.get("MAIL_USER", "ann"),
        "password": os.environ.get("MAIL_PASSWORD", ""),
        "port": int(os.environ.get(port, 0)),  # 0 is the usual one: 465, and 995 for POP3
        "security": "tls",
        **changes,
    }


def smtp_account(**changes):
    return account("SMTP_PORT", changes)


def pop3_account(**changes):
    return account("POP3_PORT", changes)
