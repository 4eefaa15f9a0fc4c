"""What calls cost through the Python package. Exits with 1 when a bar is missed.

Run with PYTHONPATH=<build>/python."""

import sys
import time
import timeit

import tessolt

READ_BAR_US = 5.0
CALLS, RUNS = 50000, 7

ROWS = (
    ("number read", "m.Priority", READ_BAR_US),
    ("text read", "m.Subject", READ_BAR_US),
    ("read by another case", "m.subject", None),
    ("number written", "m.Priority = 2", None),
    ("text written", "m.Subject = 'x'", None),
    ("method", "m.CountAttachments()", None),
    ("object made and released", "tessolt.Dispatch('Tessolt.EMailMessage')", None),
)


def main():
    m = tessolt.Dispatch("Tessolt.EMailMessage")
    m.Subject = "A subject of usual length"
    met = True
    for name, statement, bar in ROWS:
        # Time of this process alone, so that a busy machine matters less.
        times = timeit.repeat(
            statement, globals={"m": m, "tessolt": tessolt}, number=CALLS, repeat=RUNS,
            timer=time.process_time,
        )
        cost = min(times) / CALLS * 1e6
        missed = bar is not None and cost >= bar
        met = met and not missed
        print("%-28s %7.2f us%s" % (name, cost, "  MISSED" if missed else ""))
    return 0 if met else 1


if __name__ == "__main__":
    sys.exit(main())
