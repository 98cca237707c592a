"""Programs that are ended, full disks, and answers that nobody reads."""

import resource
import signal
import subprocess
import time

from harness import PATIENCE, check, fill, kept, same, same_files, tree, waited, without


def _popen(world, *words, stdout=subprocess.DEVNULL):
    command = [world.program, "--root", world.root, *words]
    return subprocess.Popen(command, env=world.environment, stdout=stdout, stderr=subprocess.DEVNULL)


def a_waiting_session_has_its_edits_on_the_disk(world):
    world.told("kyoto")
    world.told("osaka")
    session = world.running()
    session.does("set kyoto notes=one")
    check(world.stored("kyoto")["notes"] == "one", "the roll was not saved with the answer")
    session.does("prefs artistName Ute")
    check(world.preferences()["artistName"] == "Ute", "the preferences were not saved with the answer")
    session.does("set osaka notes=two")
    session.does("label kyoto 04.jpg +gem")
    session.process.kill()
    check(world.stored("osaka")["notes"] == "two")
    check(world.photo("kyoto", "04.jpg")["labels"] == ["gem"])


def a_signal_ends_a_session_in_order(world):
    world.told("kyoto")
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        session = world.running()
        session.does(f"set kyoto notes=signal-{number}")
        status = session.signal(number)
        check(status == 128 + number, "status", status)
        check(world.stored("kyoto")["notes"] == f"signal-{number}")


def a_signal_right_behind_an_edit_loses_no_answer(world):
    world.told("kyoto")
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        session = world.running()
        session.does("rolls")
        for count in range(20):
            session.write(f"set kyoto notes=edit-{number}-{count}")
        answers = session.read(until="kyoto") or ""
        session.process.send_signal(number)
        rest, _ = session.process.communicate(timeout=PATIENCE)
        check(session.process.returncode == 128 + number, session.process.returncode)
        answered = (answers + rest.decode()).count("metadata_assigned")
        notes = world.stored("kyoto")["notes"]
        check(int(notes.rsplit("-")[-1]) + 1 >= answered, answered, "answers, but on the disk is", notes)


def an_answer_that_nobody_reads_costs_no_edit(world):
    world.told("kyoto")
    closed = _popen(world, "set", "kyoto", "notes=unread", stdout=subprocess.PIPE)
    closed.stdout.close()
    check(closed.wait(PATIENCE) != 0, "an answer that could not be printed ends with status 0")
    check(world.stored("kyoto")["notes"] == "unread")
    with open("/dev/full", "w") as full:
        status = _popen(world, "set", "kyoto", "notes=full", stdout=full).wait(PATIENCE)
    check(status != 0)
    check(world.stored("kyoto")["notes"] == "full")
    check(world.cli("verify").done())


def what_cannot_be_stored_is_refused_before_it_is_accepted(world):
    world.told("kyoto")
    before = tree(world.root / "vault")
    for words in (
        ["dates", "--yes", "kyoto", "--interval", "1e12"],
        ["dates", "--yes", "kyoto", "--interval", "1e300"],
        ["dates", "--yes", "kyoto", "--interval", "nan"],
        ["dates", "--yes", "kyoto", "--start", "9999-12-31", "--interval", "86400"],
        ["dates", "--yes", "kyoto", "--start", "12026-01-01"],
        ["set", "kyoto", "filmISO=99999999999"],
        ["reorder", "kyoto", "1", "99999999999999999999"],
        ["prefs", "exportQuality", "2"],
        ["prefs", "locationMaxGapHours", "200"],
    ):
        world.cli(*words).fails()
    same_files(before, tree(world.root / "vault"), "after refusals")


def _no_room():
    resource.setrlimit(resource.RLIMIT_FSIZE, (200, 200))
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)


def a_save_that_fails_says_so(world):
    world.told("kyoto")
    before = tree(world.root / "vault")
    outcome = world.cli("set", "kyoto", "notes=lost", before=_no_room)
    outcome.fails("kyoto", "could not be saved")
    check("kyoto" not in outcome.out, "an answer was printed all the same")
    same_files(before, tree(world.root / "vault"), "the vault after a save that failed")
    world.cli("prefs", "artistName", "Lost", before=_no_room).fails("preferences")
    same_files(before, tree(world.root / "vault"), "the vault after a save that failed")


def a_full_disk_costs_nothing_and_the_edit_follows_when_there_is_room(world):
    disk = world.small_disk("3m")
    world.root = disk / "library"
    world.told("kyoto")
    world.favour()
    before = world.facts("kyoto")
    filling = fill(disk)
    vault = tree(world.root / "vault")
    world.cli("set", "kyoto", "notes=no room").fails("kyoto", "could not be saved")
    world.cli("prefs", "artistName", "No Room").fails()
    same_files(vault, tree(world.root / "vault"), "the vault on a full disk")
    same(before, world.facts("kyoto"), "the roll on a full disk")

    session = world.running()
    check(not session.say("set kyoto notes=later"), "an edit that was not saved was answered")
    check("could not be saved" in session.complaint(), "the failure is not said")
    filling.unlink()
    check(waited(lambda: world.stored("kyoto")["notes"] == "later", 30), "it is not tried again")
    check(session.end() is not None)
    same(without(before, "notes"), without(world.facts("kyoto"), "notes"), "when there was room again")
    check(not world.vault("*.damaged-*") and not world.vault("*.refused-*"))
    world.cli("verify").done()


def a_second_program_says_that_it_cannot_write(world):
    world.told("kyoto")
    session = world.running()
    session.does("set kyoto notes=first")
    world.cli("set", "kyoto", "notes=second").fails()
    check(world.json("show", "kyoto")["notes"] == "first", "reading beside it fails")
    session.end()
    check(world.stored("kyoto")["notes"] == "first")


def analyses_without_a_change_turn_over_no_backup(world):
    folder = world.scans("kyoto")
    world.cli("open", folder).done()
    world.tell("kyoto")
    world.cli("analyze").done()
    before = tree(world.root / "vault")
    for _ in range(3):
        world.cli("analyze").done()
    world.cli("open", folder).done()
    same_files(before, tree(world.root / "vault"), "the vault after analyses without a change")


def a_killed_analysis_leaves_what_was_known_and_goes_on_later(world):
    folder = world.scans("kyoto", 12)
    world.cli("open", "--no-analysis", folder).done()
    world.tell("kyoto")
    before = world.facts("kyoto")
    for number in (signal.SIGKILL, signal.SIGTERM):
        child = _popen(world, "analyze", "kyoto")
        time.sleep(0.4)
        child.send_signal(number)
        child.wait(PATIENCE)
        kept(before, world.facts("kyoto"), f"after signal {number}")
    world.cli("analyze").done()
    check(all(photo["labelsAnalyzed"] for photo in world.json("show", "kyoto")["photos"]))
