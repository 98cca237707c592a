"""The mirror, what comes back from it, and the reset of everything."""

import os
import shutil
import time

from harness import check, same, same_files, tree, waited


def _mirrored(world, name="mirror"):
    """Three rolls of which much is known, favourites, and a mirror of all."""
    for roll in ("kyoto", "osaka", "nara"):
        world.told(roll)
    world.favour()
    mirror = world.base / name
    mirror.mkdir()
    world.cli("mirror", "on", mirror).done()
    return mirror


def _all_facts(world, root=None):
    return {name: world.facts(name, root) for name in ("kyoto", "osaka", "nara")}


def _copy(world, mirror, name):
    return mirror / "Kelvaris" / "rolls" / world.roll_file(name).name


def _age(file, seconds):
    then = time.time() - seconds
    os.utime(file, (then, then))


def _backups_hold(file, text):
    return any(text in backup.read_text() for backup in file.parent.glob(file.name + ".bak*"))


def a_restore_keeps_what_is_newer_here_and_what_was_edited_just_before(world):
    mirror = _mirrored(world)
    world.cli("mirror", "off").done()
    before = _all_facts(world)
    session = world.running()
    session.does("set kyoto notes=newer")
    answer = session.does(f"mirror restore {mirror}")
    check("kyoto" in answer and "--replace" in answer, "the answer does not tell of the newer roll:", answer)
    check("newer" in session.does("show kyoto"), "the newer notes are not shown")
    session.end()
    check(world.stored("kyoto")["notes"] == "newer", "the newer notes are lost")
    before["kyoto"] = world.facts("kyoto")
    same(before, _all_facts(world), "what is newer, and what was equal")


def a_restore_with_replace_turns_local_work_into_backups(world):
    mirror = _mirrored(world)
    world.cli("mirror", "off").done()
    before = _all_facts(world)
    favourites = world.preferences()
    world.session("set kyoto notes=newer", "prefs artistName Newer")
    answer = world.cli("mirror", "restore", "--replace", mirror).done()
    check("1" in answer.out, answer.out)
    same(before, _all_facts(world), "restored")
    same(favourites, world.preferences(), "preferences restored")
    check(_backups_hold(world.roll_file("kyoto"), "notes: newer"), "the local roll is in no backup")
    preferences = world.root / "vault" / "preferences.md"
    check(_backups_hold(preferences, "artistName: Newer"), "the local preferences are in no backup")


def a_restore_of_older_local_files_keeps_them_as_backups(world):
    mirror = _mirrored(world)
    world.cli("mirror", "off").done()
    before = _all_facts(world)
    world.session("set osaka notes=older")
    _age(world.roll_file("osaka"), 86400)
    world.cli("mirror", "restore", mirror).done()
    same(before, _all_facts(world), "restored")
    check(_backups_hold(world.roll_file("osaka"), "notes: older"), "the local roll is in no backup")


def what_was_restored_is_live_at_once_and_undo_does_not_reach_behind_it(world):
    mirror = _mirrored(world)
    favourites = world.preferences()
    world.cli("mirror", "off").done()
    world.session("prefs artistName Newer", "set kyoto notes=newer")
    session = world.running()
    session.does("label osaka 04.jpg +gem")
    session.does(f"mirror restore --replace {mirror}")
    check("Ute" in session.does("prefs artistName"), "the preferences are not live")
    check("rain in kyoto" in session.does("show kyoto"), "the roll is not live")
    check(not session.say("undo"), "undo reaches behind the restore")
    check("nothing to undo" in session.complaint())
    session.does("set kyoto filmISO=800")
    session.does("prefs exportQuality 0.9")
    session.end()
    now = world.preferences()
    check(now.pop("exportQuality") == 0.9)
    favourites.pop("exportQuality")
    same(favourites, now, "favourites and corrections after a restore and a save")


def a_restore_elsewhere_finds_the_folders_by_their_paths(world):
    mirror = _mirrored(world)
    before = _all_facts(world)
    other = world.base / "other"
    answer = world.cli("mirror", "restore", mirror, root=other).done()
    check("Restored 3 rolls" in answer.out, answer.out)
    for name in before:
        check(not world.json("show", name, root=other)["isDisconnected"], name, "is away")
    same(before, _all_facts(world, other), "on the other machine")
    same(world.preferences(), world.preferences(other), "preferences on the other machine")


def a_damaged_mirror_is_no_backup(world):
    mirror = _mirrored(world)
    before = _all_facts(world)
    _copy(world, mirror, "osaka").write_text("---\nversion: 3\n---\n")
    world.session("set kyoto notes=other")
    other = world.base / "other"
    answer = world.cli("mirror", "restore", mirror, root=other)
    skipped = _copy(world, mirror, "osaka").name[:8]
    check(skipped in answer.out + answer.err, "what was skipped is not named:", answer.out)
    check(len(world.json("rolls", root=other)) == 2)
    for name in before:
        _copy(world, mirror, name).write_text("no roll")
    files = tree(world.root / "vault" / "rolls")
    world.cli("mirror", "restore", mirror).fails()
    same_files(files, tree(world.root / "vault" / "rolls"), "after a restore from a damaged mirror")
    world.cli("mirror", "restore", world.scans("no mirror")).fails()
    same_files(files, tree(world.root / "vault" / "rolls"), "after a restore from something else")


def a_mirror_run_that_fails_for_one_roll_names_it_and_goes_on(world):
    mirror = _mirrored(world)
    copy = _copy(world, mirror, "osaka")
    copy.unlink()
    copy.mkdir()
    (copy / "in the way").touch()
    world.cli("mirror", "off").done()
    world.session("set kyoto notes=one", "set osaka notes=two", "set nara notes=three")
    world.cli("mirror", "on", mirror).fails("osaka")
    for name, notes in (("kyoto", "one"), ("nara", "three")):
        check(f"notes: {notes}" in _copy(world, mirror, name).read_text(), name, "was not mirrored")
    (copy / "in the way").unlink()
    copy.rmdir()
    world.session("prefs artistName Ada")
    check(copy.is_file() and "notes: two" in copy.read_text(), "the rest did not go on at the next start")


def a_mirror_that_is_away_is_told_and_caught_up_with(world):
    mirror = _mirrored(world)
    gone = world.base / "drawer" / "disk"
    gone.parent.mkdir()
    mirror.rename(gone)
    world.cli("set", "kyoto", "notes=behind")
    check(world.stored("kyoto")["notes"] == "behind", "a mirror that is away holds up a save")
    world.cli("mirror", "now").fails()
    check(not mirror.exists(), "a mirror was made where none is")
    status = world.json("mirror", "status")
    check(status["enabled"] and status["folder"] == str(mirror), status)
    gone.rename(mirror)
    world.session("prefs artistName Ada")
    check("notes: behind" in _copy(world, mirror, "kyoto").read_text(), "the mirror was not caught up with")
    check(world.cli("mirror", "status").done().out.strip())


def a_mirror_within_the_library_or_a_roll_is_refused(world):
    folder = world.told("kyoto")
    link = world.base / "link"
    link.symlink_to(folder)
    inside = world.root / "vault" / "inside"
    inside.mkdir()
    subfolder = folder / "sub"
    subfolder.mkdir()
    for place in (folder, subfolder, link, world.root, inside, world.root / "caches"):
        world.cli("mirror", "on", place).fails()
        check(not (place / "Kelvaris").exists(), place, "took a mirror")


def a_session_that_waits_mirrors_what_it_saved(world):
    mirror = _mirrored(world)
    copy = _copy(world, mirror, "kyoto")
    session = world.running()
    session.does("set kyoto notes=waiting")
    check(waited(lambda: "notes: waiting" in copy.read_text(), 20), "nothing is mirrored while it waits")
    check(session.end() == 0)


def a_reset_removes_what_the_program_made_and_nothing_else(world):
    root = world.base / "home-like"
    foreign = {
        "letters/one.txt": b"dear",
        "vault/my notes.md": b"mine",
        "vault/rolls/recipe.md": b"soup",
        "embeddings/drawing.svg": b"<svg/>",
        "caches/other/x": b"x",
        "word-vectors.txt": b"a 1",
    }
    for name, data in foreign.items():
        file = root / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(data)
    folder = world.scans("kyoto")
    scans = tree(folder)
    world.cli("open", folder, root=root).done()
    mirror = world.base / "mirror"
    mirror.mkdir()
    world.cli("mirror", "on", mirror, root=root).done()
    copies = tree(mirror)
    world.cli("reset", root=root).fails("--yes")
    check(len(world.json("rolls", root=root)) == 1, "a reset without a yes")
    world.cli("reset", "--yes", root=root).done()
    left = tree(root)
    for name, data in foreign.items():
        check(left.get(name) == data, name, "is gone")
    own = [name for name in left if name not in foreign and not name.endswith(".log")]
    check(not own, "left:", own)
    same_files(scans, tree(folder), "the scans")
    same_files(copies, tree(mirror), "the mirror")
    check(world.json("rolls", root=root) == [])


def a_reset_refuses_where_scans_or_a_mirror_lie_in_its_way(world):
    root = world.root
    for place in ("vault", "embeddings", "caches/thumbnails"):
        folder = world.scans("scans", parent=root / place)
        world.cli("open", "--no-analysis", folder).done()
        before = tree(root / "vault")
        world.cli("reset", "--yes").fails(str(folder))
        same_files(before, tree(root / "vault"), f"scans in {place}")
        roll = next(iter(world.json("rolls")))["id"]
        world.cli("drop", roll).done()
        check(folder.is_dir() and list(folder.iterdir()), "the scans are gone")
        shutil.rmtree(folder)


def the_row_of_the_palette_asks_before_a_reset(world):
    world.told("kyoto")
    world.favour()
    rows = world.cli("palette", "Reset All Data").done().out
    check("Reset All Data" in rows)
    before = _vault_values(world)
    world.cli("palette", "Reset All Data", "--pick", "1")
    same(before, _vault_values(world), "after picking the row")


def _vault_values(world):
    return {"kyoto": world.facts("kyoto"), "preferences": world.preferences()}
