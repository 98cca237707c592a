"""Damaged, foreign and doubled files, edits by hand, and text that no file may hold."""

import os
import re
import shutil
import subprocess

from harness import PATIENCE, Skipped, check, decoded, same, same_files, tree, without


def _backups_decode(world, file):
    for backup in file.parent.glob(file.name + ".bak*"):
        decoded(backup)


def a_damaged_roll_file_is_read_from_its_backup_and_set_aside(world):
    world.told("kyoto")
    before = world.facts("kyoto")
    file = world.roll_file("kyoto")
    damages = {
        "empty": b"",
        "noise": os.urandom(500),
        "cut short": file.read_bytes()[:200],
        "zeroes": b"\0" * 900,
    }
    for damage, data in damages.items():
        world.cli("set", "kyoto", f"notes={damage}").done()
        world.cli("set", "kyoto", "notes=twice the same").done()
        world.cli("set", "kyoto", f"notes={damage}").done()
        good = world.stored("kyoto")
        file.write_bytes(data)
        looked = world.cli("rolls").done()
        check(file.name in looked.err or "kyoto" in looked.err, damage, "is not told:", looked.err)
        check(file.read_bytes() == data, damage, "a look changed the file")
        world.cli("verify").fails()
        world.cli("set", "kyoto", "filmISO=100").done()
        check(any(each.read_bytes() == data for each in world.vault("*.damaged-*")), damage, "is not kept")
        _backups_decode(world, file)
        now = world.stored("kyoto")
        check(now["notes"] in (damage, "twice the same"), "it is older than the newest backup:", now["notes"])
        same(good["photos"], now["photos"], damage)
        world.cli("set", "kyoto", "filmISO=400").done()
    same(without(before, "notes"), without(world.facts("kyoto"), "notes"), "after all damages")


def damaged_preferences_cost_no_favourites_and_no_corrections(world):
    world.told("kyoto")
    world.favour()
    world.cli("prefs", "exportQuality", "0.8").done()
    before = world.preferences()
    file = world.root / "vault" / "preferences.md"
    file.write_bytes(b"\0" * 400)
    world.cli("prefs", "soundEffectsEnabled", "true").done()
    check(list(world.vault("preferences.md.damaged-*")), "the damaged file is not kept")
    _backups_decode(world, file)
    now = world.preferences()
    lasting = ("favoriteCameras", "favoriteCameraSlugs", "favoriteFilmSlugs", "faceGroupingEdits")
    for key in (*lasting, "artistName"):
        check(now.get(key) == before[key], key, now.get(key))
    for broken in ("locationMaxGapHours: 2e+2", "locationMaxGapHours: often"):
        file.write_text(re.sub("locationMaxGapHours: .*", broken, file.read_text()))
        world.cli("prefs", "artistName", "Ada").done()
        now = world.preferences()
        for key in lasting:
            check(now.get(key) == before[key], broken, key, now.get(key))
        check(1 <= now["locationMaxGapHours"] <= 168)


def one_value_out_of_its_range_costs_that_value(world):
    world.told("kyoto")
    world.cli("set", "kyoto", "filmISO=400").done()
    file = world.roll_file("kyoto")
    before = world.stored("kyoto")
    for good, bad in (
        ("rotation: 90", "rotation: 45"),
        ("latitude: [^\n]*", "latitude: 2e+2"),
        ("filmISO: 400", "filmISO: fast"),
        ("captureDate: [^\n]*", "captureDate: soon"),
        ("sortOption: custom", "sortOption: [1, 2]"),
    ):
        whole = file.read_text()
        broken, count = re.subn(good, bad, whole, count=1)
        check(count == 1, good, "does not stand in the file")
        file.write_text(broken)
        shown = world.json("show", "kyoto")
        check(shown["photoCount"] == 4 and shown["notes"] == "rain in kyoto", bad, "cost more than itself")
        world.cli("set", "kyoto", "notes=saved").done()
        now = world.stored("kyoto")
        lost = [key for key in before if key not in now]
        check(all(key in bad for key in lost), bad, "cost", lost)
        with_it = {
            "rotation": ["rotationSource"],
            "latitude": ["longitude", "locationSource"],
            "captureDate": ["dateSource"],
            "sortOption": ["sortIndex"],
        }
        key = bad.split(":")[0]
        allowed = [key, *with_it.get(key, [])]
        photos = {photo["filename"]: photo for photo in now["photos"]}
        for photo in before["photos"]:
            new = photos[photo["filename"]]
            cost = [each for each in photo if each not in allowed and new.get(each) != photo[each]]
            check(not cost, bad, "cost", photo["filename"], cost)
        for extra in world.vault("*.damaged-*"):
            extra.unlink()
        file.write_text(whole)


def foreign_and_doubled_files_are_told_and_left_alone(world):
    world.told("kyoto")
    world.told("osaka")
    before = world.facts("kyoto"), world.facts("osaka")
    file = world.roll_file("kyoto")
    copies = [
        file.with_name(file.stem + " (conflicted copy 2026-03-14).md"),
        file.with_name("0F0F0F0F-0000-4000-8000-000000000000.md"),
    ]
    for copy in copies:
        copy.write_bytes(file.read_bytes().replace(b"rain in kyoto", b"another truth"))
    bytes_before = [copy.read_bytes() for copy in copies]
    looked = world.cli("rolls").done()
    check(len(world.json("rolls")) == 2, "it became a roll of its own")
    told = world.cli("verify").fails()
    for copy in copies:
        for outcome in (looked, told):
            check(copy.name in outcome.out + outcome.err, copy.name, "is not told:", outcome.out, outcome.err)
    world.session("set kyoto notes=edited", "set osaka notes=edited")
    same(bytes_before, [copy.read_bytes() for copy in copies], "the foreign files")
    world.session("set kyoto 'notes=rain in kyoto'", "set osaka 'notes=rain in osaka'")
    for copy in copies:
        copy.unlink()
    same(before, (world.facts("kyoto"), world.facts("osaka")), "the rolls")


def an_id_in_lower_case_is_the_same_roll(world):
    world.told("kyoto")
    before = world.facts("kyoto")
    file = world.roll_file("kyoto")
    lower = file.with_name(file.stem.lower() + ".md")
    file.rename(lower)
    for backup in file.parent.glob("*.bak*"):
        backup.unlink()
    check(len(world.json("rolls")) == 1)
    world.cli("set", "kyoto", "notes=lower").done()
    check(len(world.json("rolls")) == 1)
    check(len(world.roll_files()) == 1, "it became two files")
    check(next(iter(world.roll_files().values()))["notes"] == "lower")
    same(without(before, "notes"), without(world.facts("kyoto"), "notes"), "the roll")


def what_cannot_be_read_is_counted_and_told(world):
    for name in ("kyoto", "osaka", "nara"):
        world.told(name)
    broken = [world.roll_file("osaka"), world.roll_file("nara")]
    for file in broken:
        for backup in file.parent.glob(file.name + ".bak*"):
            backup.unlink()
        file.write_text("not a roll")
    looked = world.cli("rolls").done()
    check("2" in looked.out + looked.err, "they are not counted:", looked.out, looked.err)
    told = world.cli("verify").fails()
    for file in broken:
        check(file.name in looked.err + looked.out, file.name, "is not told by rolls")
        check(file.name in told.err + told.out, file.name, "is not told by verify")
    world.cli("set", "kyoto", "notes=still").done()
    check(all(file.read_text() == "not a roll" for file in broken), "an unreadable file was touched")


def an_edit_by_hand_is_taken_in_or_kept_beside(world):
    world.told("kyoto")
    file = world.roll_file("kyoto")
    session = world.running()
    session.does("show kyoto")
    file.write_text(file.read_text().replace("notes: rain in kyoto", "notes: by hand"))
    session.does("set kyoto cameraMake=Leica")
    session.does("set kyoto filmISO=800")
    told = session.complaint()
    session.end()
    now = world.stored("kyoto")
    check(now["cameraMake"] == "Leica" and now["filmISO"] == 800, "the edit of the program is lost")
    theirs = world.vault("*.theirs-*")
    if now["notes"] == "by hand":
        return
    check(theirs and "notes: by hand" in theirs[0].read_text(), "the edit by hand is lost")
    check(theirs[0].name in told or theirs[0].name in (world.cli("verify").out), "it is not told")


def an_edit_of_preferences_by_hand_is_not_written_over(world):
    world.favour()
    file = world.root / "vault" / "preferences.md"
    session = world.running()
    session.does("prefs")
    file.write_text(file.read_text().replace("- kodak-portra-400", "- kodak-portra-400\n- ilford-hp5"))
    session.does("prefs exportQuality 0.7")
    session.end()
    everything = "".join(each.read_text() for each in [file, *world.vault("preferences.md.theirs-*")])
    check("exportQuality: 7e-1" in everything, "the edit of the program is lost")
    check("ilford-hp5" in everything, "the edit by hand is lost")


def text_that_is_not_utf8_is_refused(world):
    world.told("kyoto")
    before = tree(world.root / "vault")
    foreign = b"caf\xe9"
    for words in (
        [b"set", b"kyoto", b"notes=" + foreign],
        [b"set", b"kyoto", b"name=" + foreign],
        [b"prefs", b"artistName", foreign],
        [b"mirror", b"on", foreign],
        [b"search", foreign],
    ):
        check(world.cli(*words).status != 0, words, "was accepted")
    session = world.running()
    session.process.stdin.write(b"set kyoto notes=" + foreign + b"\n")
    check(not session.say(""), "a session accepted it")
    check(session.end() != 0)
    same_files(before, tree(world.root / "vault"), "the vault")


def without_a_home_no_library_is_kept_in_a_temporary_folder(world):
    if os.geteuid() != 0:
        raise Skipped("only root can become a user whose home is not registered")
    homes = ("HOME", "XDG")
    environment = {key: value for key, value in world.environment.items() if not key.startswith(homes)}
    temporary = world.base / "tmp"
    temporary.mkdir(mode=0o777)
    temporary.chmod(0o777)
    world.base.chmod(0o755)
    folder = world.scans("kyoto")
    program = temporary / "program"  # where that user may run it
    shutil.copy2(world.program, program)
    environment["TMPDIR"] = str(temporary)

    def nobody():
        os.setgroups([])
        os.setgid(3_999_999)
        os.setuid(3_999_999)

    def run(*words):
        options = {"env": environment, "cwd": temporary, "capture_output": True, "timeout": PATIENCE}
        return subprocess.run([program, *words], preexec_fn=nobody, **options)

    for words in (["open", "--no-analysis", folder], ["rolls"], ["prefs", "artistName", "Ute"]):
        done = run(*words)
        check(done.returncode == 1, words, "status", done.returncode, done.stderr)
        check(b"--root" in done.stderr, words, done.stderr)
    left = [each for each in temporary.iterdir() if each != program]
    check(not left, "left behind:", left)
    done = run("--root", temporary / "library", "open", "--no-analysis", folder)
    check(done.returncode == 0, done.stderr)
