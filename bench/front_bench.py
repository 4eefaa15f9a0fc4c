"""What the Python classes cost: 1,000 small messages sent through them and through the late-bound
objects, in turn in one run, each over one connection to the mail host of the examples. Exits with 1
when the classes cost more than 15% above the objects.

    PYTHONPATH=<build>/python TESSOLT_EXAMPLES=<build>/examples front_bench.py"""

import os
import statistics
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "python"))
from mail_hosts import mail_host, settings  # noqa: E402

import tessolt  # noqa: E402

MESSAGES, RUNS, BAR = 1000, 15, 1.15


def by_objects(port):
    smtp = tessolt.Dispatch("Tessolt.Smtp")
    smtp.HostPort = port
    smtp.Connect("127.0.0.1", "ann", "secret")
    for number in range(MESSAGES):
        message = tessolt.Dispatch("Tessolt.EMailMessage")
        message.FromAddress = "ann@example.org"
        message.FromName = "Ann"
        message.AddTo("bob@example.org", "Bob")
        message.Subject = "Grüße %d" % number
        message.BodyPlainText = "Hello.\r\n"
        smtp.Send(message)
        if smtp.LastError != 0:
            sys.exit(smtp.GetErrorDescription(smtp.LastError))
    smtp.Disconnect()


def by_classes(port):
    with tessolt.Smtp("127.0.0.1", port, user="ann", password="secret") as smtp:
        for number in range(MESSAGES):
            message = tessolt.Message(
                sender="Ann <ann@example.org>", to="Bob <bob@example.org>", subject="Grüße %d" % number,
                text="Hello.\r\n",
            )
            smtp.send(message)


def main():
    times = {by_objects: ([], []), by_classes: ([], [])}
    with settings(Rules="current"):
        for _ in range(RUNS):
            for job, (walls, owns) in times.items():
                with mail_host("ann", "secret") as (smtp, *_):
                    wall, own = time.perf_counter(), time.process_time()
                    job(smtp)
                    walls.append(time.perf_counter() - wall)
                    owns.append(time.process_time() - own)
    ratios = []
    for what, kind in (("by the clock", 0), ("processor time", 1)):
        objects, classes = (statistics.median(times[job][kind]) for job in (by_objects, by_classes))
        ratios.append(classes / objects)
        print("%-16s objects %.4f s, classes %.4f s, ratio %.3f" % (what, objects, classes, ratios[-1]))
    return 0 if ratios[0] <= BAR else 1


if __name__ == "__main__":
    sys.exit(main())
