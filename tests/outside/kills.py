#!/usr/bin/env python3
"""Kills the program again and again at random moments while it opens, edits, analyses, mirrors and restores,
and fills its disk in one run of four. After each kill every edit that was answered is on the disk, every file
decodes, and nothing else changed.

    kills.py CLI SAMPLE_ROLL [KILLS] [SEED]
"""

import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

import harness
from harness import Failure, Skipped, World, check, decoded

ROLL_KEYS = ("notes", "cameraMake", "filmName", "filmISO")
PHOTO_KEYS = ("captureDate", "dateSource", "latitude", "longitude", "rotation", "manualLabelOverrides")
FOUND_KEYS = ("captureDate", "dateSource", "latitude", "longitude", "rotation")
ANYTHING = []
MAKES = ("Nikon", "Leica", "Pentax", "Rollei", "Mamiya")
LABELS = ("gem", "blur", "person", "night")


def values_of(record):
    """What a user told of a roll, each value by its own name."""
    values = {key: record.get(key) for key in ROLL_KEYS}
    values["order"] = [photo["filename"] for photo in record["photos"]]
    for photo in record["photos"]:
        for key in PHOTO_KEYS:
            values[photo["filename"], key] = photo.get(key)
    for photo in record.get("removedPhotos", []):
        values[photo["filename"], "removed"] = True
    return values


def _words(is_full, number):
    return ("full disk, " if is_full else "") + signal.Signals(number).name


class Ledger:
    """What the user knows to be on the disk, and what may be there besides, value by value.

    Every value has what was answered last, or stood there before, and after it what was asked for since and
    not answered. The last is what the running program has in memory."""

    def __init__(self, state):
        self.allowed = {key: [value] for key, value in state.items()}

    def live(self, key):
        return self.allowed[key][-1] if key in self.allowed else None

    def ask(self, changes):
        for key, value in changes.items():
            self.allowed.setdefault(key, [None]).append(value)

    def answered(self):
        """A save takes along what was asked for before."""
        for key, values in self.allowed.items():
            self.allowed[key] = values[-1:]

    def may_be_found(self, roll):
        """An analysis may find what is not known of the roll's photos."""
        for key, values in self.allowed.items():
            if key[0] == roll and isinstance(key[1], tuple) and key[1][1] in FOUND_KEYS and values == [None]:
                self.allowed[key] = ANYTHING

    def compare(self, state, what):
        for key in {*self.allowed, *state}:
            found, allowed = state.get(key), self.allowed.get(key, [None])
            if allowed is ANYTHING:
                continue
            should = " or ".join(map(repr, allowed))
            check(found in allowed, f"{what}: {key} is {found!r}, and should be {should}")


class Killing:
    def __init__(self, world, chance):
        self.world, self.chance = world, chance
        self.durations = {}
        self.count = 0
        try:
            self.disk = world.small_disk("24m")
            world.root = self.disk / "library"
        except Skipped:
            self.disk = None  # then the size of files is limited
        for name in ("kyoto", "osaka"):
            world.cli("open", "--no-analysis", world.scans(name, 5)).done()
        world.told("nara", 5)
        world.favour()
        self.mirror = world.base / "mirror"
        self.mirror.mkdir()
        world.cli("mirror", "on", self.mirror).done()
        self.ledger = Ledger(self.state())

    # What is on the disk

    def state(self):
        state = {}
        for record in self.world.roll_files().values():
            state.update({(record["id"], key): value for key, value in values_of(record).items()})
        preferences = decoded(self.world.root / "vault" / "preferences.md")
        return state | {("preferences", key): preferences[key] for key in preferences if "mirror" not in key}

    def check_files(self, what):
        marks = (".damaged-", ".theirs-", ".refused-")
        for file in (self.world.root / "vault").rglob("*.md*"):
            check(not any(mark in file.name for mark in marks), what, file.name)
            if file.name != "SCHEMA.md" and not file.name.startswith("."):
                decoded(file)
        for file in self.mirror.rglob("*.md"):
            if file.name != "SCHEMA.md":
                decoded(file)
        report = json.loads(self.world.cli("--json", "verify").out)
        states = [each["state"] for each in report["rolls"]] + [report["preferences"]["state"]]
        check(set(states) == {"intact"} and not report["problems"], what, states, report["problems"])
        check(self.world.json("mirror", "status")["enabled"], what, "the mirror is off")
        shown = sorted(roll["id"] for roll in self.world.json("rolls"))
        stored = sorted(record["id"] for record in self.world.roll_files().values())
        check(shown == stored, what, "shows other rolls")

    # The programs

    def popen(self, words, limited=False, **options):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        return subprocess.Popen(
            [self.world.program, "--root", self.world.root, *map(str, words)],
            env=self.world.environment,
            cwd=self.world.base,
            stdout=options.pop("stdout", subprocess.DEVNULL),
            stderr=subprocess.DEVNULL,
            preexec_fn=limit if limited else None,
            **options,
        )

    def ended_at_random(self, words):
        """Runs the command, and ends it at a random moment of the time that it took before.
        @return its status."""
        number = self.chance.choice((signal.SIGKILL, signal.SIGTERM))
        is_full = self.chance.random() < 0.25
        process = self.popen(words, limited=is_full and self.disk is None)
        moment = self.chance.uniform(0, 1.2) * self.durations.get(words[0] + words[1], 0.3)
        started = time.monotonic()
        filling = None
        try:
            if is_full and self.disk:
                time.sleep(moment * self.chance.random())
                filling = harness.fill(self.disk)
            process.wait(max(0, moment - (time.monotonic() - started)))
        except subprocess.TimeoutExpired:
            process.send_signal(number)
        status = process.wait(60)
        if filling:
            filling.unlink()
        self.last = _words(is_full, number) + f" after {moment * 1000:.0f} ms"
        return status

    def measured(self, words):
        started = time.monotonic()
        status = self.popen(words).wait(120)
        check(status == 0, words, "ends with", status)
        self.durations[words[0] + words[1]] = time.monotonic() - started

    # The runs

    def edit(self):
        """One random edit: the line, and the values that it makes."""
        ledger, chance = self.ledger, self.chance
        rolls = [key[0] for key in ledger.allowed if key[1] == "order"]
        roll = chance.choice(sorted(rolls))
        order = ledger.live((roll, "order"))
        photo = chance.choice(order)
        of_photo = lambda key: ((roll, (photo, key)), ledger.live((roll, (photo, key))))
        kind = chance.choice(("notes", "make", "speed", "label", "turn", "order", "preference", "dates"))
        self.count += 1
        if kind == "notes":
            return f"set {roll} notes=note-{self.count}", {(roll, "notes"): f"note-{self.count}"}
        if kind == "make":
            make = chance.choice(MAKES)
            return f"set {roll} cameraMake={make}", {(roll, "cameraMake"): make}
        if kind == "speed":
            speed = chance.randrange(1, 6400)
            return f"set {roll} filmISO={speed}", {(roll, "filmISO"): float(speed)}
        if kind == "label":
            label, sign = chance.choice(LABELS), chance.choice("+-")
            key, before = of_photo("manualLabelOverrides")
            after = dict(sorted(((before or {}) | {label: "true" if sign == "+" else "false"}).items()))
            return f"label {roll} {photo} {sign}{label}", {key: after}
        if kind == "turn":
            key, before = of_photo("rotation")
            clockwise = chance.random() < 0.5
            after = ((before or 0.0) + (90 if clockwise else 270)) % 360
            return f"rotate {roll} {photo} {'cw' if clockwise else 'ccw'}", {key: after}
        if kind == "order":
            place = chance.randrange(len(order))
            others = [each for each in order if each != photo]
            after = others[:place] + [photo] + others[place:]
            return f"reorder {roll} {photo} {place + 1}", {(roll, "order"): after}
        if kind == "dates" and ledger.live((roll, (photo, "latitude"))) is None:
            day = chance.randrange(10, 29)
            changes = {}
            for index, name in enumerate(order):
                changes[roll, (name, "captureDate")] = f"2024-05-{day}T10:{index:02}:00Z"
                changes[roll, (name, "dateSource")] = "roll"
            return f"dates --yes {roll} --start 2024-05-{day}T10:00 --interval 60", changes
        name = f"artist-{self.count}"
        return f"prefs artistName {name}", {("preferences", "artistName"): name}

    def edits(self):
        """A session that is fed with edits until it is ended."""
        number = self.chance.choice((signal.SIGKILL, signal.SIGTERM))
        is_full = self.chance.random() < 0.25
        after = self.chance.randrange(0, 12)
        delay = self.chance.uniform(0, 0.03)
        session = harness.Session(self.world)
        filling, timer, answers, asked = None, None, 0, 0
        try:
            while True:
                line, changes = self.edit()
                self.ledger.ask(changes)
                asked += 1
                if asked > after + 3 and is_full and not filling:
                    filling = harness.fill(self.disk) if self.disk else True
                if asked > after + (8 if is_full else 0) and not timer:
                    timer = threading.Timer(delay, session.process.send_signal, [number])
                    timer.start()
                answer = session.say(line)
                if answer:
                    answers += 1
                    self.ledger.answered()
        except (BrokenPipeError, Failure) as end:
            check("does not answer" not in str(end), "it hangs:", end)
        if timer:
            timer.join()
        status = session.process.wait(60)
        if self.disk and filling:
            filling.unlink()
        ends = {-signal.SIGKILL, 128 + signal.SIGTERM}
        if not answers:  # it may not have begun to listen
            ends.add(-signal.SIGTERM)
        check(status in ends, "a session ended with", status, session.complaint())
        self.last = _words(is_full, number) + f" after {answers} answers"

    def open_folder(self):
        self.count += 1
        folder = self.world.scans(f"new-{self.count}", 2)
        before = {record["id"] for record in self.world.roll_files().values()}
        status = self.ended_at_random(["open", "--no-analysis", folder])
        new = [each for each in self.world.roll_files().values() if each["id"] not in before]
        check(len(new) <= 1, "one folder became", len(new), "rolls")
        check(status != 0 or new, "it was answered, and there is no roll")
        if not new:
            self.world.cli("open", "--no-analysis", folder).done()
            new = [each for each in self.world.roll_files().values() if each["id"] not in before]
            check(len(new) == 1)
        self.ledger.ask({(new[0]["id"], key): value for key, value in values_of(new[0]).items()})
        self.ledger.answered()
        if len(before) > 6:
            self.forget(new[0]["id"], folder)

    def forget(self, roll, folder):
        """So that the library stays small."""
        self.world.cli("drop", "--yes", roll).done()
        shutil.rmtree(folder)
        self.ledger.allowed = {key: values for key, values in self.ledger.allowed.items() if key[0] != roll}

    def analyze(self):
        roll = self.chance.choice(sorted(record["id"] for record in self.world.roll_files().values()))
        self.ledger.may_be_found(roll)
        self.ended_at_random(["analyze", roll])

    def mirror_now(self):
        self.ended_at_random(["mirror", "now"])

    def restore(self):
        """A mirror in the place of local work: each value is the one or the other."""
        self.world.cli("mirror", "now").done()
        copy = self.world.base / "copy of the mirror"
        shutil.copytree(self.mirror, copy)
        mirrored = self.state()
        rolls = [record["id"] for record in self.world.roll_files().values()]
        lines = [f"set {roll} notes=local-{self.count}" for roll in rolls]
        self.world.session(*lines, f"prefs artistName local-{self.count}")
        self.ledger = Ledger(self.state())
        differing = {key: value for key, value in mirrored.items() if value != self.ledger.live(key)}
        self.ledger.ask(differing)
        for file in (copy / "Kelvaris" / "rolls").glob("*.md"):
            record = decoded(file)
            if record["id"] not in rolls:  # one that was forgotten here comes back
                self.ledger.ask({(record["id"], key): value for key, value in values_of(record).items()})
        status = self.ended_at_random(["mirror", "restore", "--replace", copy])
        check(status != 2, "the command was not understood")
        shutil.rmtree(copy)

    def run(self, kills):
        self.measured(["mirror", "now"])
        self.measured(["mirror", "restore", "--replace", self.mirror])
        runs = (self.edits, self.edits, self.open_folder, self.analyze, self.mirror_now, self.restore)
        for number in range(1, kills + 1):
            run = runs[number % len(runs)]
            try:
                run()
                what = f"{run.__name__}, {self.last}"
                self.ledger.compare(self.state(), what)
                self.check_files(what)
            except Failure as failure:
                raise Failure(f"kill {number}, {run.__name__}: {failure}") from None
            print(f"{number:4}  {what}", flush=True)
            self.ledger = Ledger(self.state())


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    program, maker = (os.path.abspath(each) for each in sys.argv[1:3])
    kills = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1_000_000)
    print(f"seed {seed}", flush=True)
    harness.paint_pool(maker)
    world = World(program, maker)
    try:
        Killing(world, random.Random(seed)).run(kills)
    except Failure as failure:
        sys.exit(f"failed with seed {seed}: {failure}")
    finally:
        world.close()


if __name__ == "__main__":
    main()
