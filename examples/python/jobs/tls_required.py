"""No mail without TLS: STARTTLS where the server offers it, or nothing is sent."""
import os

import tessolt
from account import smtp_account

port = int(os.environ.get("SMTP_CLEAR_PORT", 587))
try:
    with tessolt.Smtp(**smtp_account(port=port, security="starttls")) as smtp:
        print(smtp.tls.version, "with", *smtp.tls.names)
except tessolt.TlsError as error:
    print(error)
