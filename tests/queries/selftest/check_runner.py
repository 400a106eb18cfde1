#!/usr/bin/env python3
"""Checks that the query runner reports every case of a file of wrong
expectations as a failure, and fails as a whole."""

import argparse
import re
import subprocess
import sys


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--survey", required=True)
    parser.add_argument("--runner", required=True)
    parser.add_argument("file")
    options = parser.parse_args()
    result = subprocess.run([sys.executable, options.runner, "--survey", options.survey,
                             options.file], capture_output=True, text=True)
    print(result.stdout, end="")
    print(result.stderr, end="", file=sys.stderr)
    summary = re.search(r"^(\d+) queries, (\d+) passed, (\d+) failed$", result.stdout, re.M)
    if summary is None:
        print("check_runner: the runner printed no summary")
        return 1
    total, passed, failed = (int(group) for group in summary.groups())
    reported = len(re.findall(r"^FAIL ", result.stdout, re.M))
    if result.returncode != 1 or passed != 0 or failed != total or reported != total:
        print("check_runner: expected all %d cases to fail, with status 1; got %d failures "
              "reported and status %d" % (total, reported, result.returncode))
        return 1
    print("check_runner: all %d wrong cases were caught" % total)
    return 0


if __name__ == "__main__":
    sys.exit(main())
