"""Measures everything and prints each goal with its ratio; the last line counts those that are met."""
import argparse
import os
import sys
import tempfile

import side_by_side
from directory import Directory
from language import Language, missing
from morning import Morning
from plot import plot

parser = argparse.ArgumentParser(prog="bench/run", description=__doc__)
parser.add_argument("build", help=argparse.SUPPRESS)
parser.add_argument("--only", choices=["language", "directory", "morning"], help="a part of it")
parser.add_argument("--plot", metavar="FILE", help="draw the language's workloads into an SVG file")
parser.add_argument("--quick", action="store_true", help="shorter workloads and fewer rounds: three minutes")
arguments = parser.parse_args()
if missing():
    sys.exit("not installed: " + ", ".join(missing()))
side_by_side.become_subreaper()
with tempfile.TemporaryDirectory() as folder:
    side_by_side.TIMES = folder
    print("processor time in milliseconds, medians of pairs that took turns")
    if arguments.only in (None, "language"):
        language = Language(arguments.build, folder, arguments.quick)
        language.goals()
        if arguments.plot:
            plot(language.table, arguments.plot)
    for part, measure in (("directory", Directory), ("morning", Morning)):
        if arguments.only in (None, part):
            measure(os.getcwd(), arguments.build, folder, arguments.quick).goals()
met = sum(goal.met for goal in side_by_side.Goal.all)
print(f"{met} of {len(side_by_side.Goal.all)} goals met"
      + (f", {side_by_side.Goal.not_measured} not measured" if side_by_side.Goal.not_measured else ""))
