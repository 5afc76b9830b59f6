"""bench/run: all measurements in one run, as Markdown tables."""

import argparse
import sys
import time

from . import measures, stand


def _table(heading, columns, rows):
    lines = [f"### {heading}", "", "| " + " | ".join(columns) + " |", "|---" + "|---:" * (len(columns) - 1) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def main():
    parser = argparse.ArgumentParser(prog="bench/run", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="few rounds and small files: shows that all of it works")
    parser.add_argument("--output", metavar="FILE", help="write the tables to this file as well")
    arguments = parser.parse_args()
    rounds, seconds, repeats = (10, 1, 1) if arguments.quick else (500, 5, 3)
    file_sizes = [1 << 10, 1 << 20] if arguments.quick else [1 << 10, 1 << 20, 1 << 26, 1 << 30]
    output = open(arguments.output, "w", encoding="utf-8") if arguments.output else None

    def say(text):
        print(text, flush=True)
        if output:
            print(text, file=output, flush=True)

    say(f"{time.strftime('%Y-%m-%d %H:%M')}; {measures.machine()}\n")
    with stand.camera() as running:
        stand.spawn(running, list(stand.NAMES)[:-1], measures.AVAILABLE, rounds=3)
        say(_table(*measures.start_and_memory(running, rounds)))
        say(_table(*measures.instructions(running)))
        say(_table(*measures.whitelist(running, max(rounds // 5, 5))))
    say(_table(*measures.requests_per_second(seconds, repeats)))
    say(_table(*measures.analytics(file_sizes, 3 if arguments.quick else 5)))
    say(_table(*measures.parts()))
    say(_table(*measures.sizes()))
    return 0


if __name__ == "__main__":
    sys.exit(main())
