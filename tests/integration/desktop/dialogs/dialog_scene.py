"""The dialogs of the password-changed flow in real windows: what the tests of them have in common. Each is
run as TEST CASE PROBE SOURCES. With SCREENSHOTS set to a folder, pictures of every dialog are left
there."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "session"))
import desktop_session  # noqa: E402
import probe as probes  # noqa: E402
from probe import until  # noqa: E402

CASE, PROBE, SOURCES = sys.argv[1], os.path.abspath(sys.argv[2]), sys.argv[3]
ICON = os.path.join(SOURCES, "resources/images/AppIcon.svg")
TITLE = "Self-Service Password Reset"
TOP = []  # our windows of one probe, the topmost last
session = None


class Probe(probes.Probe):
    """The dialogs' process, in the session as it is."""

    def __init__(self, mode, *options, env=None):
        TOP.clear()
        super().__init__(subprocess.Popen([PROBE, mode, "icon=" + ICON, *options], stdin=subprocess.PIPE,
                                          stdout=subprocess.PIPE, text=True,
                                          preexec_fn=desktop_session.die_with_parent,
                                          env=session.environment | (env or {})),
                         on_failure=lambda: screenshot("timed-out"))

    def result(self):
        return int(self.expect("result"))

    def has_focus(self, name):
        """Waits until the keyboard is there; the program learns of it after the desktop."""
        until(f"the focus on {name}", lambda: self.ask("focus") == name, lambda: screenshot("timed-out"))


def run(*command):
    return probes.run(*command, environment=session.environment)


def screenshot(name, window="root"):
    folder = os.environ.get("SCREENSHOTS")
    if folder:
        run("import", "-window", window, os.path.join(folder, "dialog-" + name + ".png"))


def start_display(size="1024x768"):
    session.start_display(size)
    session.start_window_manager()


def windows():
    return run("xdotool", "search", "--onlyvisible", "--name", f"^{TITLE}$").stdout.split()


def active():
    """The active window, when it is one of ours."""
    window = run("xdotool", "getactivewindow").stdout.strip()
    return window if window in windows() else None


def shown(count=1):
    """Waits until so many of our windows are on the screen and the topmost has the keyboard; that one."""
    def there():
        now = windows()
        if len(now) != count:
            return None
        TOP[:] = [window for window in TOP if window in now] + [window for window in now if window not in TOP]
        return TOP[-1] if active() == TOP[-1] else None
    return until(f"{count} window(s)", there, lambda: screenshot("timed-out"))


def key(*keys):
    run("xdotool", "key", *keys)


def enter(*fields):
    for number, text in enumerate(fields):
        if number:
            key("Tab")
        run("xdotool", "type", "--delay", "5", text)


def play(**cases):
    """Plays the case that was asked for, in a session of its own."""
    global session
    folder = tempfile.mkdtemp(prefix="dialog-test-")
    environment = desktop_session.with_folders(desktop_session.clean(os.environ), os.path.join(folder, "user"))
    try:
        with desktop_session.Session(environment, folder) as session:
            session.be_without_bus()
            cases[CASE]()
        print("passed")
    finally:
        shutil.rmtree(folder, ignore_errors=True)
