"""Disks that are away, other disks in their place, and folders that moved."""

import shutil
import struct

from harness import check, kept, obeys_modes, same, same_files, tree, without


def _plant_vectors(world, name):
    """Vectors of the roll's photos, as an analysis with models would have left them."""
    record = world.stored(name)
    body = struct.pack("<4sII", b"KVEM", 1, len(record["photos"]))
    for photo in sorted(each["filename"] for each in record["photos"]):
        text = photo.encode()
        body += struct.pack("<I", len(text)) + text + struct.pack("<I512f", 512, *([0.0441941738] * 512))
        body += struct.pack("<I", 0)
    file = world.root / "embeddings" / f"{record['id']}.bin"
    file.parent.mkdir(exist_ok=True)
    file.write_bytes(body)
    return file


def _is_away(world, name):
    return world.json("show", name)["isDisconnected"]


def a_disk_that_is_away_in_any_manner_takes_nothing_along(world):
    folder = world.scans("kyoto")
    world.cli("open", folder).done()
    world.tell("kyoto")
    vectors = _plant_vectors(world, "kyoto")
    vector_bytes = vectors.read_bytes()
    before = world.facts("kyoto")
    elsewhere = world.base / "unplugged"

    cases = {
        "gone": lambda: None,
        "a bare mount point": folder.mkdir,
        "another card with the same file names": lambda: world.scans("kyoto"),
    }
    for case, arrange in cases.items():
        folder.rename(elsewhere)
        arrange()
        check(_is_away(world, "kyoto"), case, "the roll is not away")
        same(before, world.facts("kyoto"), f"{case}: after a look")
        world.cli("set", "kyoto", f"notes={case}").done()
        world.cli("label", "kyoto", "02.jpg", "-gem").done()
        check("gem" not in world.photo("kyoto", "02.jpg")["labels"], case)
        world.cli("label", "kyoto", "02.jpg", "+gem").done()
        check(world.stored("kyoto")["notes"] == case, case, "the edit is not kept")
        check(vectors.read_bytes() == vector_bytes, case, "the vectors changed")
        shutil.rmtree(folder, ignore_errors=True)
        elsewhere.rename(folder)
        check(not _is_away(world, "kyoto"), case, "the roll is not back")
        world.cli("set", "kyoto", "notes=rain in kyoto").done()
        same(before, world.facts("kyoto"), f"{case}: when it is back")


def a_folder_that_cannot_be_read_is_away(world):
    prefix = obeys_modes()
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    folder.chmod(0)
    roll = world.json("show", "kyoto", prefix=prefix)
    check(roll["isDisconnected"], "the roll is not away")
    check(len(roll["photos"]) == 4, "its photos are not shown")
    world.cli("set", "kyoto", "notes=closed", prefix=prefix).done()
    folder.chmod(0o755)
    check(world.stored("kyoto")["notes"] == "closed")
    same(without(before, "notes"), without(world.facts("kyoto"), "notes"), "when it can be read again")


def scans_that_are_away_are_missing_photos_until_they_are_back(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    elsewhere = world.base / "elsewhere"
    elsewhere.mkdir()
    for name in ("02.jpg", "03.jpg"):
        (folder / name).rename(elsewhere / name)
    check(not _is_away(world, "kyoto"))
    missing = [each["filename"] for each in world.json("show", "kyoto")["photos"] if each["isMissing"]]
    check(sorted(missing) == ["02.jpg", "03.jpg"], "missing:", missing)
    world.cli("set", "kyoto", "notes=two are away").done()
    world.cli("analyze", "kyoto").done()
    entries = {each["filename"] for each in world.stored("kyoto")["photos"]}
    check(len(entries) == 4, "entries:", entries)
    for name in ("02.jpg", "03.jpg"):
        (elsewhere / name).rename(folder / name)
    world.cli("set", "kyoto", "notes=back").done()
    kept(without(before, "notes"), without(world.facts("kyoto"), "notes"), "when they are back")
    check(not any(each["isMissing"] for each in world.json("show", "kyoto")["photos"]))


def another_card_at_the_same_path_is_another_roll(world):
    card = world.told("card")
    before = world.facts("card")
    drawer = world.base / "drawer"
    card.rename(drawer)
    world.scans("card")
    world.cli("open", "--no-analysis", card).done()
    rolls = world.json("rolls")
    check(len(rolls) == 2, f"{len(rolls)} rolls")
    new = next(each for each in rolls if each["id"] != before["file"]["id"])
    for photo in world.json("show", new["id"])["photos"]:
        is_blank = photo["rotation"] == 0 and not photo["manualLabelOverrides"]
        check(is_blank, "it got the other's facts:", photo)
    world.cli("set", new["id"], "notes=the second").done()
    shutil.rmtree(card)
    drawer.rename(card)
    check(not world.json("show", before["file"]["id"])["isDisconnected"], "the first is not back")
    old = [record for record in world.roll_files().values() if record["id"] == before["file"]["id"]]
    check(len(old) == 1)
    same(before["file"]["photos"], old[0]["photos"], "the first card")
    check(world.json("show", new["id"])["isDisconnected"], "the second passes for the first")


def what_is_edited_while_away_reaches_the_mirror_whole_and_another_machine(world):
    folder = world.told("kyoto")
    mirror = world.base / "mirror"
    mirror.mkdir()
    world.cli("mirror", "on", mirror).done()
    folder.rename(world.base / "unplugged")
    world.cli("set", "kyoto", "notes=away").done()
    before = world.facts("kyoto")
    check(before["file"]["notes"] == "away" and len(before["file"]["photos"]) == 4)
    other = world.base / "other machine"
    answer = world.cli("mirror", "restore", mirror, root=other).done()
    check("Restored 1 roll" in answer.out, answer.out)
    same(before, world.facts("kyoto", root=other), "on the other machine")
    (world.base / "unplugged").rename(folder)
    world.cli("rolls", root=other).done()
    is_away = world.json("show", "kyoto", root=other)["isDisconnected"]
    check(not is_away, "its folder is not found by its path")


def a_roll_given_a_folder_with_some_of_its_scans_keeps_the_others(world):
    folder = world.scans("kyoto")
    world.cli("open", folder).done()
    world.tell("kyoto")
    before = world.facts("kyoto")
    half = world.base / "half"
    half.mkdir()
    for name in ("01.jpg", "03.jpg"):
        shutil.copy2(folder / name, half / name)
    folder.rename(world.base / "unplugged")
    world.session("set kyoto notes=just-before", f"locate --force kyoto {half}")
    record = next(iter(world.roll_files().values()))
    check(record["folderPath"] == str(half), record["folderPath"])
    check(record["notes"] == "just-before", record["notes"])
    for photo in record["photos"]:
        photo.pop("isMissing", None)
    same(before["file"]["photos"], record["photos"], "after locate --force")
    shown = world.json("show", "half")["photos"]
    check(sorted(each["filename"] for each in shown if each["isMissing"]) == ["02.jpg", "04.jpg"])


def the_folder_of_another_roll_is_refused(world):
    world.told("kyoto")
    other = world.told("osaka")
    before = world.facts("kyoto"), world.facts("osaka")
    for force in ([], ["--force"]):
        world.cli("locate", *force, "kyoto", other).fails("osaka")
    same(before, (world.facts("kyoto"), world.facts("osaka")), "after a refusal")


def locate_looks_for_this_roll_alone_and_at_its_old_path_first(world):
    names = ["kyoto", "osaka", "nara"]
    folders = {name: world.told(name) for name in names}
    before = {name: world.facts(name)["file"] for name in names}
    found = world.home / "Pictures" / "film"
    found.mkdir(parents=True)
    for name, folder in folders.items():
        shutil.copytree(folder, found / name)
        shutil.rmtree(folder)
    world.cli("locate", "kyoto").done()
    check(not _is_away(world, "kyoto"))
    check(world.stored("kyoto")["folderPath"] == str(found / "kyoto"))
    for name in ("osaka", "nara"):
        same(before[name], world.stored(name), f"{name}, which was not looked for")
    for name in ("osaka", "nara"):
        world.cli("locate", name).done()
        kept(before[name]["photos"], world.stored(name)["photos"], name)
    lost = found / "kyoto"
    lost.rename(world.base / "lost")
    world.cli("locate", "kyoto").fails()
    check(_is_away(world, "kyoto"))


def export_makes_no_folder_for_a_roll_that_is_away(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    elsewhere = world.base / "unplugged"
    folder.rename(elsewhere)
    world.cli("export", "kyoto").fails()
    check(not folder.exists(), "export made the roll's own folder")
    folder.mkdir()
    world.cli("export", "kyoto").fails()
    check(not list(folder.iterdir()), "export wrote into a bare mount point")
    folder.rmdir()
    elsewhere.rename(folder)
    same(before, world.facts("kyoto"), "after two exports without a disk")

    session = world.running()
    session.does("show kyoto")
    folder.rename(elsewhere)
    session.say("export kyoto")
    check(session.complaint(), "nothing is said")
    check(session.end() != 0, "a failed export ends with status 0")
    check(not folder.exists(), "export made the roll's own folder")
    elsewhere.rename(folder)
    same(before, world.facts("kyoto"), "after the disk went away in a session")
    world.cli("export", "kyoto").done()
    check(len(list((folder / "Kelvaris_Export").glob("*.jpg"))) == 4)


def reading_commands_write_nothing_and_complain_of_no_save(world):
    folder = world.told("kyoto")
    world.told("osaka").rename(world.base / "unplugged")
    world.favour()
    prefix = obeys_modes()
    before = tree(world.root / "vault")
    places = [world.root / "vault" / "rolls", world.root / "vault", world.root / "embeddings"]
    for place in places:
        place.chmod(0o555)
    for words in (
        ["rolls"], ["show", "kyoto"], ["show", "osaka"], ["search", "gem"], ["prefs"], ["people"], ["advise"],
        ["mirror", "status"], ["inspect", "photo", folder / "01.jpg"], ["verify"],
    ):  # fmt: skip
        outcome = world.cli(*words, prefix=prefix)
        check("could not be saved" not in outcome.err, words, outcome.err)
        if words != ["verify"]:  # which tells of the roll that is away
            check(outcome.status == 0, words, outcome.err)
    same_files(before, tree(world.root / "vault"), "the vault after reading")


def opening_the_folder_of_a_roll_that_is_away_brings_that_roll_back(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    moved = world.base / "other disk" / "kyoto"
    moved.parent.mkdir()
    shutil.copytree(folder, moved)
    shutil.rmtree(folder)
    world.cli("open", "--no-analysis", moved).done()
    check(len(world.json("rolls")) == 1, "it became a second roll")
    now = world.facts("kyoto")
    check(now["file"]["folderPath"] == str(moved))
    kept(without(before, "folderPath"), without(now, "folderPath"), "the roll that joined its folder")


def a_folder_reached_through_a_link_is_the_same_roll(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    link = world.base / "link"
    link.symlink_to(folder.parent)
    for path in (link / "kyoto", link, folder.parent):
        world.cli("open", "--no-analysis", path).done()
        check(len(world.json("rolls")) == 1, path, "became a second roll")
    kept(before, world.facts("kyoto"), "after opening it by links")


def renaming_a_folder_takes_the_rolls_in_it_along(world):
    outer = world.told("trip")
    inner = world.told("day", parent=outer)
    before = world.facts("day")
    world.cli("set", "trip", "name=journey").done()
    check(not _is_away(world, "day"), "the inner roll is away")
    now = world.facts("day")
    check(now["file"]["folderPath"] == str(outer.parent / "journey" / "day"))
    same(without(before, "folderPath"), without(now, "folderPath"), "the inner roll")
    check(not inner.exists())


def a_library_that_cannot_be_listed_is_not_an_empty_one(world):
    prefix = obeys_modes()
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    rolls = world.root / "vault" / "rolls"
    rolls.chmod(0o300)
    looked = world.cli("rolls", prefix=prefix)
    check("rolls" in looked.err, "that the library cannot be read is not said:", looked.out)
    world.cli("open", "--no-analysis", folder, prefix=prefix)
    rolls.chmod(0o755)
    check(len(world.roll_files()) == 1, "a second roll was made of the folder")
    same(before, world.facts("kyoto"), "when the library can be read again")


def vectors_that_cannot_be_read_stay_beside_the_roll(world):
    world.told("kyoto")
    file = _plant_vectors(world, "kyoto")
    damaged = b"KVEM" + bytes(20)
    file.write_bytes(damaged)
    world.cli("set", "kyoto", "notes=damaged vectors").done()
    left = [each.read_bytes() for each in file.parent.iterdir()]
    check(damaged in left, "they are gone")
    check(world.stored("kyoto")["notes"] == "damaged vectors")
