"""What a user does, takes back, and is asked about."""

from harness import check, kept, same, without


def _one_step(world, line, *more):
    """The roll before an act, after it, and after its undo and redo, each as the disk has it."""
    before = world.facts("kyoto")
    session = world.running()
    session.does(line)
    after = world.facts("kyoto")
    check(before != after, line, "changed nothing")
    check(session.does("undo").startswith("Undid"), line)
    same(before, world.facts("kyoto"), f"{line}: taken back, on the disk")
    check(not session.say("undo"), f"{line}: more than one step")
    session.does("redo")
    same(after, world.facts("kyoto"), f"{line}: made again, on the disk")
    session.does("undo")
    check(session.end() == 1, "the undo that had nothing to take back is no failure")
    same(before, world.facts("kyoto"), f"{line}: taken back again")


def each_act_is_one_step_that_is_taken_back_on_the_disk(world):
    world.told("kyoto")
    for line in (
        "dates --yes kyoto --start 2020-01-01 --interval 60",
        f"dates --yes kyoto --start 2026-03-14T05:00 --interval 60 --timeline {world.timeline()}",
        "reorder kyoto 1 4",
        "set kyoto cameraMake=Leica cameraFormat=120 filmISO=50 notes=sun",
        "set kyoto sort=-filename",
        "remove kyoto 02.jpg",
        "label kyoto 01.jpg +gem",
        "rotate kyoto 01.jpg ccw",
    ):
        _one_step(world, line)


def renaming_and_removing_a_roll_are_taken_back(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    session = world.running()
    session.does("set kyoto name=spring")
    check((folder.parent / "spring").is_dir() and not folder.exists())
    session.does("undo")
    check(folder.is_dir() and not (folder.parent / "spring").exists(), "the folder's name is not taken back")
    same(before, world.facts("kyoto"), "the name taken back")
    session.does("drop --yes kyoto")
    check(world.json("rolls") == [])
    session.does("undo")
    same(before, world.facts("kyoto"), "the removal taken back")
    session.does("redo")
    check(world.json("rolls") == [])
    session.does("undo")
    check(session.end() == 0)
    same(before, world.facts("kyoto"), "the removal taken back again")


def undo_of_several_acts_leads_back_step_by_step(world):
    world.told("kyoto")
    world.told("osaka")
    lines = [
        "set kyoto notes=one",
        "remove kyoto 02.jpg",
        "rotate osaka 01.jpg cw",
        "reorder kyoto 04.jpg 1",
        "reorder kyoto 04.jpg 2",
        "label osaka 01.jpg +gem",
    ]
    states = []
    session = world.running()
    for line in lines:
        states.append((world.facts("kyoto"), world.facts("osaka")))
        session.does(line)
    for line, state in zip(reversed(lines), reversed(states)):
        session.does("undo")
        same(state, (world.facts("kyoto"), world.facts("osaka")), f"before {line}")
    check(session.end() == 0)


def a_removed_roll_comes_back_by_opening_its_folder(world):
    folder = world.told("kyoto")
    world.favour()
    before = world.facts("kyoto")
    preferences = world.preferences()
    answer = world.cli("drop", "--yes", "kyoto").done()
    check(world.json("rolls") == [] and folder.is_dir())
    check(list((world.root / "vault" / "removed").rglob("*.md")), "its files are not put aside")
    check("removed" in answer.out.lower())
    same(preferences, world.preferences(), "corrections of people after the removal")
    world.cli("open", "--no-analysis", folder).done()
    kept(without(before, "dateOpened"), world.facts("kyoto"), "opened again")
    check(world.stored("kyoto")["id"] == before["file"]["id"], "it has another id")
    same(preferences, world.preferences(), "corrections of people")
    world.cli("drop", "--yes", "kyoto").done()
    world.cli("verify", "--clean").done()
    check(not list((world.root / "vault" / "removed").rglob("*.md")), "they were not forgotten")
    check(len(list(folder.glob("*.jpg"))) == 4, "scans are gone")


def a_photo_taken_out_stays_out_until_it_is_brought_back(world):
    folder = world.told("kyoto")
    before = world.facts("kyoto")
    world.cli("remove", "kyoto", "02.jpg").done()
    same_again = ["set", "kyoto", "notes=rain in kyoto"]
    for command in (["rolls"], ["open", "--no-analysis", folder], ["analyze"], same_again):
        world.cli(*command).done()
        names = [photo["filename"] for photo in world.json("show", "kyoto")["photos"]]
        check("02.jpg" not in names, command, "lists it again")
    world.cli("export", "kyoto").done()
    check(not (folder / "Kelvaris_Export" / "02.jpg").exists(), "it was exported")
    world.cli("remove", "--back", "kyoto", "02.jpg").done()
    kept(
        sorted(before["file"]["photos"], key=lambda photo: photo["filename"]),
        sorted(world.stored("kyoto")["photos"], key=lambda photo: photo["filename"]),
        "brought back",
    )
    check("removedPhotos" not in world.stored("kyoto"))


def what_is_at_risk_is_said_and_asked_for(world):
    world.told("kyoto")
    world.session("rotate kyoto 01.jpg cw")
    before = world.facts("kyoto")
    world.cli("drop", "kyoto").fails("--yes")
    same(before, world.facts("kyoto"), "after a question without an answer")
    world.told("osaka")
    world.cli("drop", "--yes", "osaka").done()
    world.cli("open", world.scans("nara")).done()
    before = world.facts("nara")
    check(any(photo.get("dateSource") == "exif" for photo in before["file"]["photos"]))
    world.cli("dates", "nara", "--start", "2020-01-01").fails("This will replace dates", "--yes")
    same(before, world.facts("nara"), "after a question without an answer")
    told = world.cli("dates", "nara", "--start", "2020-01-01", "--yes").done()
    check("This will replace dates" in told.err, "what dates are written over is not said")


def new_dates_clear_the_places_that_the_history_does_not_cover(world):
    world.told("kyoto")
    check(all("latitude" in photo for photo in world.stored("kyoto")["photos"]))
    answer = world.cli(
        "dates", "--yes", "kyoto", "--start", "2020-01-01", "--interval", "60", "--timeline", world.timeline()
    ).done()
    check("located" not in answer.out, answer.out)
    for photo in world.stored("kyoto")["photos"]:
        is_located = "latitude" in photo or "longitude" in photo
        check(not is_located, photo["filename"], "is where it was before")


def a_falling_order_of_names_lasts(world):
    folder = world.told("kyoto")
    world.cli("set", "kyoto", "sort=-filename").done()
    for command in (["rolls"], ["open", "--no-analysis", folder], ["set", "kyoto", "notes=again"]):
        world.cli(*command).done()
        names = [photo["filename"] for photo in world.json("show", "kyoto")["photos"]]
        check(names == ["04.jpg", "03.jpg", "02.jpg", "01.jpg"], command, names)


def an_edit_right_before_another_act_stays(world):
    folder = world.told("kyoto")
    moved = world.base / "moved"
    session = world.running()
    session.does("rolls")
    folder.rename(moved)
    session.write("set kyoto notes=before")
    session.write("rotate kyoto 01.jpg cw")
    session.does(f"locate kyoto {moved}")
    check(session.end() == 0)
    record = next(iter(world.roll_files().values()))
    check(record["folderPath"] == str(moved) and record["notes"] == "before")
    check(next(photo for photo in record["photos"] if photo["filename"] == "01.jpg")["rotation"] == 90)


def opening_another_roll_does_not_let_undo_edit_in_secret(world):
    folder = world.told("kyoto")
    other = world.scans("osaka")
    session = world.running()
    session.does("rotate kyoto 01.jpg cw")
    session.does(f"open --no-analysis {other}")
    undone = session.say("undo")
    session.end()
    rotation = world.photo("kyoto", "01.jpg")["rotation"]
    check(rotation == (0 if "Rotat" in undone else 90), "undo said", undone, "and the disk has", rotation)
    check(len(world.json("rolls")) == 2 and folder.is_dir(), "undo removed what was opened")


def many_sessions_of_small_edits_leave_each_roll_as_it_was_told(world):
    names = [f"roll-{number}" for number in range(8)]
    for name in names:
        world.cli("open", "--no-analysis", world.scans(name)).done()
    lines = []
    for turn in range(3):
        for name in names:
            lines.append(f"set {name} notes={name}-{turn}")
            lines.append(f"rotate {name} 0{turn + 1}.jpg cw")
            lines.append(f"label {name} 04.jpg +gem")
    world.session(*lines)
    for name in names:
        record = world.stored(name)
        check(record["notes"] == f"{name}-2", name, record["notes"])
        turns = [photo.get("rotation", 0) for photo in record["photos"]]
        check(turns == [90, 90, 90, 0], name, turns)
        check(record["photos"][3]["manualLabelOverrides"] == {"gem": "true"}, name)
