"""Real files and processes for the tests from outside: a small machine of its own for each case."""

import ctypes
import difflib
import json
import math
import os
import pprint
import re
import selectors
import shutil
import signal
import subprocess
import tempfile
import time
import uuid
from pathlib import Path

# What a user sees of a roll and of its photos, and would miss.
ROLL_KEYS = """id name photoCount baseDate sortOption sortAscending workflowState lastExported exportDirty
    dateOpened storedFingerprint cameraMake cameraModel cameraFormat filmName filmISO notes""".split()
PHOTO_KEYS = """filename captureDate dateSource latitude longitude locationSource placeName rotation
    rotationSource manualLabelOverrides""".split()
FINDING_KEYS = """labels qualityScore nimaScore dominantColors perceptualHash labelsAnalyzed
    peopleCount""".split()

PATIENCE = 120  # seconds until a program that does not answer counts as hanging

# Where the tests run as root, mode bits bind only a program without these rights.
WITHOUT_PRIVILEGE = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]


class Failure(Exception):
    """Something that the vault knew is gone, or what failed was not said."""


class Skipped(Exception):
    """This machine does not allow what the case needs."""


def check(condition, *what):
    if not condition:
        raise Failure(" ".join(str(each) for each in what))


def same(before, after, what):
    if before == after:
        return
    texts = [pprint.pformat(each, width=120).splitlines() for each in (before, after)]
    lines = [line for line in difflib.unified_diff(*texts, "before", "after", n=1, lineterm="")]
    raise Failure(what + ":\n    " + "\n    ".join(lines[:60]))


def kept(before, after, what):
    """As `same`, but something may have been added, such as findings of an analysis."""

    def common(old, new):
        if isinstance(old, dict) and isinstance(new, dict):
            return {key: common(value, new[key]) for key, value in old.items() if key in new}
        if isinstance(old, list) and isinstance(new, list) and len(old) == len(new):
            return [common(*pair) for pair in zip(old, new)]
        return new

    same(before, common(before, after), what)


def without(facts, *keys):
    """The facts but for some values of the roll itself, which the case changes."""
    rest = lambda record: {key: value for key, value in record.items() if key not in keys}
    return {part: rest(record) for part, record in facts.items()}


def waited(condition, seconds):
    """Whether the condition came true in time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


# --- Files of the vault -------------------------------------------------------------------------------


def _scalar(text):
    if text in ("[]", "{}"):
        return [] if text == "[]" else {}
    if text.startswith("'"):
        return text[1:-1].replace("''", "'")
    if text.startswith('"'):
        return json.loads(text)
    try:
        number = float(text)
        return round(number, 9) if math.isfinite(number) else text
    except ValueError:
        return text


_KEY = re.compile(r"""^('(?:[^']|'')*'|"(?:[^"\\]|\\.)*"|[^'"\s][^:]*):(?: (.*))?$""")


def _indent(line):
    return len(line) - len(line.lstrip(" "))


def _block(lines, indent):
    """Reads the lines from the front as long as they belong to one list or map."""
    item = " " * indent + "- "
    if lines[0].startswith(item):
        items = []
        while lines and lines[0].startswith(item):
            rest = lines[0][indent + 2 :]
            if _KEY.match(rest):
                lines[0] = " " * (indent + 2) + rest
                items.append(_block(lines, indent + 2))
            else:
                items.append(_scalar(rest))
                lines.pop(0)
        return items
    record = {}
    while lines and _indent(lines[0]) == indent and not lines[0].startswith(item):
        key, value = _KEY.match(lines.pop(0)[indent:]).groups()
        if value is None and lines:
            record[str(_scalar(key))] = _block(lines, _indent(lines[0]))
        else:
            record[str(_scalar(key))] = _scalar(value or "''")
    return record


def decoded(file):
    """The frontmatter of a file, read without the program."""
    text = Path(file).read_text(encoding="utf-8")
    check(text.startswith("---\n") and "\n---\n" in text, file, "is no frontmatter")
    return _block(text[4 : text.index("\n---\n", 3)].split("\n"), 0)


def tree(folder):
    """Every file below the folder with its bytes."""
    return {
        str(path.relative_to(folder)): path.read_bytes()
        for path in sorted(Path(folder).rglob("*"))
        if path.is_file() and not path.is_symlink()
    }


def same_files(before, after, what):
    """As `same`, for two trees; tells names alone."""
    names = sorted(name for name in {*before, *after} if before.get(name) != after.get(name))
    state = lambda name: "gone" if name not in after else "changed" if name in before else "new"
    check(not names, what + ":", ", ".join(f"{name} ({state(name)})" for name in names))


# --- Programs -----------------------------------------------------------------------------------------


class Outcome:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    @property
    def json(self):
        check(self.status == 0, "status", self.status, self.err)
        return json.loads(self.out)

    def done(self):
        check(self.status == 0, f"status {self.status}: {self.err}{self.out}")
        return self

    def fails(self, *words):
        """It says what is wrong, and says it also by its status."""
        check(self.status != 0, f"status 0, where a failure was due: {self.out}{self.err}")
        for word in words:
            said = self.out + self.err
            check(word.lower() in said.lower(), f'"{word}" is not said: {said}')
        return self


class Session:
    """A running session that is spoken to line by line."""

    # A line without a side effect, and what stands in its answer alone.
    ENDMARK_LINE, ENDMARK = 'catalog films "portra 800"', "kodak-portra-800"

    def __init__(self, world, before=None):
        self.errors = open(world.base / f"session-{time.monotonic_ns()}.err", "w+b")
        self.process = subprocess.Popen(
            [world.program, "--root", world.root, "session"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=self.errors,
            env=world.environment,
            cwd=world.base,
            preexec_fn=before,
        )
        self.said = 0

    def read(self, until, seconds=PATIENCE):
        """What is printed until `until` stands in it. @return None when the program ended before."""
        text = b""
        with selectors.DefaultSelector() as ready:
            ready.register(self.process.stdout, selectors.EVENT_READ)
            while until.encode() not in text or not text.endswith(b"\n"):
                check(ready.select(seconds), "the session does not answer:", text)
                more = os.read(self.process.stdout.fileno(), 65536)
                if not more:
                    return None
                text += more
        return text.decode()

    def write(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def say(self, line):
        """The answer to one line; what goes to standard error is in `complaint()`."""
        self.write(line)
        self.write(self.ENDMARK_LINE)
        answer = self.read(self.ENDMARK)
        check(answer is not None, "the session ended at:", line)
        return answer[: answer.rindex("BRAND ")]

    def does(self, line):
        """A line that must succeed."""
        answer = self.say(line)
        complaint = self.complaint()
        check(answer, line, "→", complaint)
        return answer

    def complaint(self):
        """What was said on standard error since the last time."""
        self.errors.seek(self.said)
        text = self.errors.read()
        self.said += len(text)
        return text.decode()

    def end(self):
        self.process.stdin.close()
        return self.process.wait(PATIENCE)

    def signal(self, number):
        self.process.send_signal(number)
        status = self.process.wait(PATIENCE)
        self.process.stdin.close()
        return status


class World:
    """A folder with a home, a library and scans of its own."""

    def __init__(self, program, maker, base=None):
        self.program, self.maker = str(program), str(maker)
        self.base = Path(base or tempfile.mkdtemp(prefix="kelvaris-outside-")).resolve()
        self.root = self.base / "library"
        self.home = self.base / "home"
        self.home.mkdir()
        self.serial = 0
        self.running_sessions = []
        self.disk = None
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.home),
            "TZ": "UTC",
            "LANG": "C.UTF-8",
            "KELVARIS_MODEL_ENDPOINT": "http://127.0.0.1:9",
            **{f"XDG_{name}_HOME": str(self.home / name) for name in ("DATA", "CACHE", "CONFIG", "STATE")},
        }

    def close(self):
        for session in self.running_sessions:
            session.process.kill()
            session.process.wait()
        if self.disk:
            detached = 2
            ctypes.CDLL(None).umount2(str(self.disk).encode(), detached)
        for folder in self.base.rglob("*"):
            if folder.is_dir() and not folder.is_symlink():
                folder.chmod(0o755)
        shutil.rmtree(self.base, ignore_errors=True)

    # Scans

    def scans(self, name, count=4, parent=None, first=1):
        """A folder of small pictures. No two of a world have the same bytes or the same size and name."""
        folder = (parent or self.base / "scans") / name
        folder.mkdir(parents=True, exist_ok=True)
        for index in range(count):
            self.serial += 1
            source = POOL[index % len(POOL)]
            (folder / f"{first + index:02}.jpg").write_bytes(source + b"\0" * self.serial)
        return folder

    def timeline(self):
        """A location history that covers half a day of March 14, 2026."""
        file = self.base / "timeline.json"
        places = [
            {
                "timestamp": f"2026-03-14T{hour:02}:00:00Z",
                "latitudeE7": 349_000_000 + hour * 1_000_000,
                "longitudeE7": 1_357_500_000,
            }
            for hour in range(12)
        ]
        file.write_text(json.dumps({"locations": places}))
        return file

    # The program

    def cli(self, *words, text=None, before=None, prefix=(), root=None, environment=None):
        words = [str(word) if not isinstance(word, bytes) else word for word in words]
        done = subprocess.run(
            [*prefix, self.program, "--root", str(root or self.root), *words],
            input=(text or "").encode(),
            capture_output=True,
            env=environment or self.environment,
            cwd=self.base,
            timeout=PATIENCE,
            preexec_fn=before,
        )
        texts = (stream.decode(errors="replace") for stream in (done.stdout, done.stderr))
        return Outcome(done.returncode, *texts)

    def json(self, *words, **options):
        return self.cli("--json", *words, **options).json

    def session(self, *lines):
        """Lines that must all succeed, one program for them."""
        return self.cli("session", text="\n".join(lines) + "\n").done()

    def running(self, before=None):
        """A session that is spoken to line by line."""
        session = Session(self, before)
        self.running_sessions.append(session)
        return session

    def told(self, name, count=4, **options):
        """A roll of which much is known: dates, places, a turn, labels, an order, and the camera."""
        folder = self.scans(name, count, **options)
        self.cli("open", "--no-analysis", folder).done()
        self.tell(name)
        return folder

    def tell(self, name):
        self.session(
            f"dates --yes {name} --start 2026-03-14T01:00 --interval 600 --timeline {self.timeline()}",
            f"set {name} cameraMake=Nikon cameraModel=FM2 filmISO=400",
            f'set {name} "filmName=Portra 400" "notes=rain in {name}"',
            f"label {name} 02.jpg +gem +landscape -blur",
            f"rotate {name} 03.jpg cw",
            f"reorder {name} 03.jpg 1",
        )

    def favour(self):
        """Favourites and corrections of people, which other shells make, in the file of the preferences."""
        self.cli("prefs", "artistName", "Ute").done()
        file = self.root / "vault" / "preferences.md"
        rolls = [record["id"] for record in self.roll_files().values()]
        face = (
            f"rollID: {(rolls or [str(uuid.uuid4()).upper()])[0]}\n{{0}}filename: 02.jpg\n"
            "{0}x: 1e-1\n{0}y: 2e-1\n{0}width: 3e-1\n{0}height: 2.5e-1\n"
        )
        text = file.read_text()
        text = text.replace(
            "  groups: []\n  separated: []\n",
            "  groups:\n  - id: 6B1E4E0B-0B0D-4C57-9A36-1F0A6D3F7A11\n    members:\n    - "
            + face.format("      ")
            + "  separated:\n  - "
            + face.format("    ").replace("02.jpg", "01.jpg"),
        )
        text = text.replace(
            "rollSortOption:",
            "favoriteCameras:\n- make: Nikon\n  model: FM2\nfavoriteCameraSlugs:\n- leica-m6\n"
            "favoriteFilmSlugs:\n- kodak-portra-400\nrollSortOption:",
        )
        file.write_text(text)
        self.cli("prefs", "artistName", "Ute").done()

    # What is known

    def roll_file(self, name, root=None):
        rolls = self.roll_files(root).items()
        files = [file for file, record in rolls if Path(record["folderPath"]).name == name]
        check(len(files) == 1, f"{len(files)} files of the roll {name}")
        return files[0]

    def roll_files(self, root=None):
        rolls = Path(root or self.root) / "vault" / "rolls"
        return {file: decoded(file) for file in sorted(rolls.glob("*.md"))} if rolls.is_dir() else {}

    def stored(self, name, root=None):
        """The roll as its file has it, without what belongs to this machine or this moment."""
        record = decoded(self.roll_file(name, root))
        record.pop("folderBookmark")
        for photo in record["photos"]:
            photo.pop("isMissing", None)
        return record

    def shown(self, name, root=None):
        """The roll as a user sees it."""
        roll = self.json("show", name, root=root)
        photos = []
        for photo in roll["photos"]:
            keys = PHOTO_KEYS + (FINDING_KEYS if photo["labelsAnalyzed"] else [])
            photos.append({key: photo.get(key) for key in keys})
        return {**{key: roll.get(key) for key in ROLL_KEYS}, "photos": photos}

    def facts(self, name, root=None):
        return {"file": self.stored(name, root), "shown": self.shown(name, root)}

    def preferences(self, root=None):
        record = decoded(Path(root or self.root) / "vault" / "preferences.md")
        return {key: value for key, value in record.items() if not key.startswith("mirror")}

    def photo(self, name, filename):
        return next(each for each in self.json("show", name)["photos"] if each["filename"] == filename)

    def vault(self, pattern):
        return sorted((self.root / "vault").rglob(pattern))

    # The machine

    def small_disk(self, size="2m"):
        """A file system of its own with little room, seen by this process and its children alone."""
        libc = ctypes.CDLL(None, use_errno=True)
        is_root = os.geteuid() == 0
        user, group = os.getuid(), os.getgid()
        new_namespaces = 0x00020000 | (0 if is_root else 0x10000000)
        if libc.unshare(new_namespaces) != 0:
            raise Skipped("mounting is not allowed here")
        if not is_root:
            Path("/proc/self/setgroups").write_text("deny")
            Path("/proc/self/uid_map").write_text(f"0 {user} 1")
            Path("/proc/self/gid_map").write_text(f"0 {group} 1")
        disk = self.base / "disk"
        disk.mkdir()
        private_and_below = 0x44000
        libc.mount(b"none", b"/", None, private_and_below, None)
        if libc.mount(b"none", str(disk).encode(), b"tmpfs", 0, f"size={size}".encode()) != 0:
            raise Skipped("mounting is not allowed here")
        self.disk = disk
        return disk


def fill(disk):
    """Takes all room of the disk. @return what to remove to free it."""
    file = Path(disk) / "filling"
    with open(file, "wb", buffering=0) as stream:
        for size in (65536, 4096):
            try:
                while True:
                    stream.write(b"\0" * size)
            except OSError:
                pass
    return file


def obeys_modes():
    """Words to begin a command with so that mode bits bind it."""
    if os.geteuid() != 0:
        return []
    try:
        if subprocess.run([*WITHOUT_PRIVILEGE, "true"], capture_output=True).returncode == 0:
            return WITHOUT_PRIVILEGE
    except FileNotFoundError:
        pass
    raise Skipped("root cannot give up its rights here")


POOL = []


def paint_pool(maker):
    """The pictures that all scans are copies of."""
    with tempfile.TemporaryDirectory() as folder:
        words = [str(maker), folder, "--frames", "8", "--megapixels", "0.02"]
        subprocess.run(words, check=True, stdout=subprocess.DEVNULL)
        POOL.extend(file.read_bytes() for file in sorted(Path(folder).glob("*.jpg")))
