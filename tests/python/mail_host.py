"""The mail host among the examples."""

import contextlib
import os
import subprocess


@contextlib.contextmanager
def mail_host(user, password):
    """Runs it; gives the ports of its SMTP server and its POP3 server."""
    command = [os.path.join(os.environ["TESSOLT_EXAMPLES"], "mail_host"), user, password]
    with subprocess.Popen(command, text=True, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as host:
        yield [int(host.stdout.readline().rpartition(":")[2]) for _ in range(2)]
