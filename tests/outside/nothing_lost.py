#!/usr/bin/env python3
"""Acts, with real files and processes, what once lost a user's work, and compares what is known before and
after. Each case has a folder and a process of its own.

    nothing_lost.py CLI SAMPLE_ROLL [WORD...]    the cases whose names hold one of the words; without, all
"""

import inspect
import multiprocessing
import os
import sys
import time
import traceback

import acts
import away
import backup
import files
import harness
import programs

ROOMS = [away, backup, files, programs, acts]


def cases():
    """Every public function of the rooms that takes a world."""
    for room in ROOMS:
        for name, function in vars(room).items():
            if not inspect.isfunction(function) or function.__module__ != room.__name__:
                continue
            if not name.startswith("_"):
                yield name, function


def played(job):
    name, program, maker = job
    started = time.monotonic()
    world = harness.World(program, maker)
    try:
        dict(cases())[name](world)
        verdict, text = "passed", ""
    except harness.Skipped as reason:
        verdict, text = "skipped", str(reason)
    except harness.Failure as failure:
        line = traceback.extract_tb(failure.__traceback__)
        spot = next(each for each in reversed(line) if not each.filename.endswith("harness.py"))
        verdict, text = "failed", f"{os.path.basename(spot.filename)}:{spot.lineno} {spot.line}\n  {failure}"
    except Exception:
        verdict, text = "failed", traceback.format_exc()
    finally:
        world.close()
    return name, verdict, text, time.monotonic() - started


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    program, maker = (os.path.abspath(each) for each in sys.argv[1:3])
    words = sys.argv[3:]
    names = [name for name, _ in cases() if not words or any(word in name for word in words)]
    harness.paint_pool(maker)
    failures = 0
    # A process for each case, since some of them mount a disk of their own.
    with multiprocessing.get_context("fork").Pool(os.cpu_count() or 2, maxtasksperchild=1) as pool:
        jobs = [(name, program, maker) for name in names]
        for name, verdict, text, seconds in pool.imap(played, jobs, chunksize=1):
            print(f"{verdict:8}{seconds:5.1f} s  {name}" + (f"\n  {text}" if text else ""), flush=True)
            failures += verdict == "failed"
    print(f"{len(names)} cases, {failures} failed")
    sys.exit(1 if failures or not names else 0)


if __name__ == "__main__":
    main()
