"""A domain user's session on a desktop of its own, beside a real domain controller: what the scripts
that with-samba runs here have in common.

A directory account without a local one logs on (X server, window manager, panel with a status bar,
notification server), with its Kerberos ticket, and there is a web interface on the network.
"""

import http.server
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import sys
import threading
import time
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "desktop/session"))
from desktop_session import Session  # noqa: E402

NAME = pathlib.Path(sys.argv[0]).name
BINARY, OUTPUT = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
SOURCE = pathlib.Path(__file__).resolve().parents[3]
USER, PASSWORD = "jdoe", "Correct-Horse-7"
ACCOUNT, UID = "jdoe@corp.example.test", 61001
HOME = pathlib.Path("/tmp/home-jdoe")
LOG = pathlib.Path("/tmp/zevrikselfservice.log")
CACHE = pathlib.Path("/Library/Caches/ZevrikSelfService/com.zevrik.selfservice.plist")
PAGE = b"""<!DOCTYPE html><title>Enrollment</title><body>
<script>fetch('seen?hash=' + encodeURIComponent(location.hash));</script></body>"""


class Service(http.server.ThreadingHTTPServer):
    """The web interface: remembers who asked and which route the browser showed."""

    def __init__(self):
        self.questions, self.pages, self.hashes = [], [], []
        self.changed = threading.Condition()
        super().__init__(("10.53.0.1", 8080), Handler)


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        query = urllib.parse.parse_qs(url.query)
        body, kind = b"", "text/plain"
        with self.server.changed:
            if url.path == "/app/SelfServiceClientInfoProvider.ashx":
                self.server.questions.append(query.get("UserName", [None])[0])
                body = b"NeedPssEnroll=true\r\n"
            elif url.path in ("/app/", "/reset/"):
                self.server.pages.append(url.path)
                body, kind = PAGE, "text/html"
            elif url.path in ("/app/seen", "/reset/seen"):
                self.server.hashes.append(query.get("hash", [None])[0])
            self.server.changed.notify_all()
        self.send_response(200 if body or "seen" in url.path else 404)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


def fail(what):
    sys.exit(f"{NAME}: {what}\n--- log ---\n" + (LOG.read_text() if LOG.exists() else "(none)"))


def wait_for(what, condition, seconds=120.0):
    limit = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > limit:
            fail(f"waited {seconds:.0f} s for {what}")
        time.sleep(0.05)
    return result


def as_user(*command, environment, **options):
    return subprocess.Popen(command, env=environment, user=UID, group=UID, extra_groups=[],
                            cwd=HOME, start_new_session=True, **options)


def ask(*command, environment):
    done = subprocess.run(command, env=environment, user=UID, group=UID, extra_groups=[], cwd=HOME,
                          text=True, capture_output=True)
    return done.stdout if done.returncode == 0 else ""


def check(condition, what):
    print(("ok    " if condition else "FAULT ") + what, flush=True)
    if not condition:
        fail(what)


def cover_tmp():
    """A /tmp of the test's own; the tree is bound elsewhere first, since it may lie below the real
    one, and so may what is built of it."""
    global BINARY, OUTPUT, SOURCE
    for name in ("SOURCE", "BINARY", "OUTPUT"):
        place = pathlib.Path("/mnt/e2e") / name
        if globals()[name].is_dir():
            place.mkdir(parents=True)
        else:
            place.parent.mkdir(parents=True, exist_ok=True)
            place.touch()
        subprocess.run(["mount", "--bind", globals()[name], place], check=True)
        globals()[name] = place
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp"], check=True)


def add_library():
    """The folders that an installation makes, below a root of the test's own, which else has what the
    computer's has."""
    root = pathlib.Path("/mnt/e2e-root")
    root.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "tmpfs", root], check=True)
    for place in pathlib.Path("/").iterdir():
        copy = root / place.name
        if place.is_symlink():
            copy.symlink_to(os.readlink(place))
        elif place.is_dir() and place.name != "Library":
            copy.mkdir()
            subprocess.run(["mount", "--rbind", place, copy], check=True)
    os.chroot(root)
    os.chdir("/")
    CACHE.parent.mkdir(parents=True)
    CACHE.parent.chmod(0o711)
    CACHE.touch()
    CACHE.chmod(0o666)


def make_account():
    """An account that the system knows by its directory name alone, as on a joined machine."""
    for path, line in (("/etc/passwd", f"{ACCOUNT}:x:{UID}:{UID}:Jane Doe:{HOME}:/bin/bash\n"),
                       ("/etc/group", f"domain users:x:{UID}:\n")):
        copy = pathlib.Path("/mnt") / ("e2e-" + path.replace("/", "-"))
        copy.write_text(pathlib.Path(path).read_text() + line)
        copy.chmod(0o644)
        subprocess.run(["mount", "--bind", copy, path], check=True)
    preferences = HOME / "Library/Preferences"
    runtime = HOME / "runtime"
    applications = HOME / ".local/share/applications"
    for folder in (preferences, runtime, applications, HOME / ".config"):
        folder.mkdir(parents=True)
    runtime.chmod(0o700)
    (preferences / "com.zevrik.selfservice.plist").write_bytes(plistlib.dumps({"LogLevel": 2}))
    browser = HOME / "browser"
    # Each start is one of its own: another process of the same profile would be asked to show the page.
    browser.write_text(
        "#!/bin/sh\nexec chromium --headless --no-sandbox --disable-gpu --disable-background-networking "
        "--no-first-run --disable-component-update --disable-sync --remote-debugging-port=0 "
        f'--user-data-dir="$(mktemp -d {HOME}/browser.XXXXXX)" "$1"\n')
    browser.chmod(0o755)
    (applications / "e2e-browser.desktop").write_text(
        f"[Desktop Entry]\nType=Application\nName=Browser\nExec={browser} %u\n"
        "MimeType=x-scheme-handler/http;\n")
    (HOME / ".config/mimeapps.list").write_text(
        "[Default Applications]\nx-scheme-handler/http=e2e-browser.desktop\n")
    subprocess.run(["chown", "-R", f"{UID}:{UID}", HOME], check=True)


def start_desktop(environment):
    folder = pathlib.Path("/tmp/session")
    folder.mkdir()
    os.chown(folder, UID, UID)
    log = open(OUTPUT / "desktop.log", "wb")
    session = Session(environment, str(folder), user=UID, group=UID, extra_groups=[], cwd=HOME, stdout=log,
                      stderr=log)
    session.start_display("1024x700")
    session.start_bus("org.xfce.Xfconf")
    session.start_window_manager()
    panel = HOME / ".config/xfce4/xfconf/xfce-perchannel-xml"
    panel.mkdir(parents=True)
    shutil.copy(SOURCE / "demo/xfce4-panel.xml", panel)
    subprocess.run(["chown", "-R", f"{UID}:{UID}", HOME / ".config"], check=True)
    session.start("xfce4-panel", "--disable-wm-check")
    session.start("dunst", "-conf", str(SOURCE / "demo/dunstrc"))
    for name in ("org.kde.StatusNotifierWatcher", "org.freedesktop.Notifications"):
        wait_for(name, lambda: "true" in bus_call(environment, "org.freedesktop.DBus", "/",
                                                  "org.freedesktop.DBus.NameHasOwner", f"string:{name}"))


def bus_call(environment, destination, path, method, *arguments):
    return ask("dbus-send", "--session", "--print-reply", f"--dest={destination}", path, method,
               *arguments, environment=environment)


def items(environment):
    answer = bus_call(environment, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                      "org.freedesktop.DBus.Properties.Get", "string:org.kde.StatusNotifierWatcher",
                      "string:RegisteredStatusNotifierItems")
    return re.findall(r'string "([^"]+)"', answer)


def displayed(environment):
    return int(ask("dunstctl", "count", "displayed", environment=environment).strip() or 0)


def menu_items(environment, item):
    """Titles of the exported menu by their numbers."""
    service, _, path = item.partition("/")
    answer = bus_call(environment, service, "/" + path, "org.freedesktop.DBus.Properties.Get",
                      "string:org.kde.StatusNotifierItem", "string:Menu")
    menu = re.search(r'object path "([^"]+)"', answer).group(1)
    layout = bus_call(environment, service, menu, "com.canonical.dbusmenu.GetLayout", "int32:0",
                      "int32:-1", "array:string:")
    numbers = [int(number) for number in re.findall(r"struct \{\s+int32 (\d+)", layout)]
    titles = re.findall(r'string "label"\s+variant\s+string "([^"]*)"', layout)
    return service, menu, dict(zip(titles, [number for number in numbers if number != 0]))


def pixels(environment):
    return subprocess.run(["import", "-window", "root", "-depth", "8", "rgb:-"], env=environment,
                          check=True, capture_output=True).stdout


def wait_until_drawn(environment, before):
    """Until the screen has changed and stands still."""
    last = before

    def still():
        nonlocal last
        previous, last = last, pixels(environment)
        return last not in (before, None) and last == previous

    wait_for("the screen to be drawn", still)


def screenshot(environment, name):
    subprocess.run(["import", "-window", "root", OUTPUT / f"{name}.png"], env=environment, check=True)


def start_session():
    """The logged-on user's environment, with his ticket, his desktop and the web service."""
    OUTPUT.mkdir(parents=True, exist_ok=True)
    add_library()
    cover_tmp()
    make_account()
    environment = {key: os.environ[key] for key in ("KRB5_CONFIG", "PATH")}
    environment |= {"HOME": str(HOME), "USER": ACCOUNT, "LOGNAME": ACCOUNT, "LC_ALL": "C.UTF-8",
                    "KRB5CCNAME": f"FILE:{HOME}/ccache", "XDG_RUNTIME_DIR": str(HOME / "runtime")}
    subprocess.run(["kinit", USER], input=PASSWORD + "\n", text=True, check=True, env=environment,
                   user=UID, group=UID, extra_groups=[], stdout=subprocess.DEVNULL)
    service = Service()
    threading.Thread(target=service.serve_forever, daemon=True).start()
    start_desktop(environment)
    return environment, service
