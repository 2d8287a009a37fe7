#!/usr/bin/env python3
"""The dialogs of the password-changed flow, seen from outside: dialog_test.py CASE PROBE SOURCES.
With SCREENSHOTS set to a folder, pictures of every dialog are left there."""
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
import time

CASE, PROBE, SOURCES = sys.argv[1], os.path.abspath(sys.argv[2]), sys.argv[3]
HERE = os.path.dirname(os.path.abspath(__file__))
ICON = os.path.join(SOURCES, "resources/images/AppIcon.svg")
TITLE = "Self-Service Password Reset"
LIMIT = 60
started = []


class Probe:
    """A running process whose lines can be waited for."""

    def __init__(self, mode, *options, env=None):
        self.process = subprocess.Popen([PROBE, mode, "icon=" + ICON, *options],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        env=dict(os.environ, **(env or {})))
        started.append(self.process)
        self.lines = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def expect(self, text):
        end = time.monotonic() + LIMIT
        while True:
            try:
                line = self.lines.get(timeout=max(0.01, end - time.monotonic()))
            except queue.Empty:
                screenshot("timed-out")
                raise AssertionError(f"no {text!r}, only {self.seen}") from None
            if line is None:
                raise AssertionError(f"ended without {text!r}, only {self.seen}")
            self.seen.append(line)
            if line.startswith(text):
                return line[len(text):].strip()

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def ask(self, command, answer=None):
        self.tell(command)
        return self.expect(answer or command)

    def result(self):
        return int(self.expect("result"))

    def over(self):
        """It ends by itself."""
        code = self.process.wait(LIMIT)
        assert code == 0, code


def until(what, condition):
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        threading.Event().wait(0.05)
    screenshot("timed-out")
    raise AssertionError(f"timed out: {what}")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=LIMIT)


def screenshot(name, window="root"):
    folder = os.environ.get("SCREENSHOTS")
    if folder:
        run("import", "-window", window, os.path.join(folder, "dialog-" + name + ".png"))


def start_display(size="1024x768"):
    read, write = os.pipe()
    # A number of its own: servers that look for a free one take each other's sockets away.
    display = ":" + str(100 + os.getpid() % 30000)
    started.append(subprocess.Popen(["Xvfb", display, "-displayfd", str(write), "-screen", "0",
                                     size + "x24", "-nolisten", "tcp", "-noreset"],
                                    pass_fds=[write], stderr=subprocess.DEVNULL))
    os.close(write)
    with os.fdopen(read) as pipe:
        os.environ["DISPLAY"] = ":" + pipe.readline().strip()
    os.environ["QT_QPA_PLATFORM"] = "xcb"
    started.append(subprocess.Popen(["openbox"], stderr=subprocess.DEVNULL))
    until("window manager", lambda: "window id" in
          run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK").stdout)


def start_bus():
    bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                           stdout=subprocess.PIPE, text=True, start_new_session=True)
    started.append(bus)
    os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()


def windows():
    return run("xdotool", "search", "--onlyvisible", "--name", f"^{TITLE}$").stdout.split()


def active():
    """The active window, when it is one of ours."""
    window = run("xdotool", "getactivewindow").stdout.strip()
    return window if window in windows() else None


def shown(count=1):
    """Waits until so many of our windows are on the screen and one of them has the keyboard."""
    def there():
        return active() if len(windows()) == count else None
    return until(f"{count} window(s), {windows()}", there)


def key(*keys):
    run("xdotool", "key", *keys)


def enter(*fields):
    for number, text in enumerate(fields):
        if number:
            key("Tab")
        run("xdotool", "type", "--delay", "5", text)


def whole(probe, what):
    left = int(probe.ask("cut", "cut parts:"))
    assert left == 0, (what, probe.seen)


def case_keyboard():
    start_display()
    # Return presses the first button of each dialog, whichever entry has the keyboard.
    probe = Probe("update")
    shown()
    enter("boss", "s3cret")
    key("Return")
    until("the password dialog", lambda: probe.ask("focus") == "Your password:")
    enter("new-pass")
    key("Return")
    assert probe.expect("tools update") == "jdoe new-pass boss s3cret"
    assert probe.expect("flag") == "clear"
    assert probe.result() == 1
    probe.over()
    # Escape presses Cancel.
    probe = Probe("admin")
    shown()
    key("Escape")
    assert probe.result() == 2
    probe = Probe("user")
    shown()
    key("Escape")
    assert probe.result() == 2
    # And nothing where there is no Cancel: the dialog is still there to be answered.
    probe = Probe("admin", "texts=continue-only")
    shown()
    key("Escape")
    enter("boss", "s3cret")
    assert probe.ask("windows") == "1"
    key("Return")
    assert probe.result() == 1
    # Return on a button that has the keyboard presses the first one all the same, Space that one; also
    # where the desktop's own programs have it otherwise.
    for desktop in ("", "GNOME"):
        os.environ["XDG_CURRENT_DESKTOP"] = desktop
        probe = Probe("admin")
        shown()
        enter("boss", "wrong")
        key("Tab", "Tab")
        until("the focus on Skip", lambda: probe.ask("focus") == "Skip")
        key("Return")
        shown(2)
        key("Return")
        shown(1)
        until("the focus on the password", lambda: probe.ask("focus") == "Password:")
        key("Tab", "Tab", "space")
        assert probe.result() == 3
    # An error alert has one button, which Return and Escape press.
    for name in ("Return", "Escape"):
        probe = Probe("refused")
        shown()
        key(name)
        assert probe.result() == 1000


def case_blocked():
    """What is typed and clicked while a check runs answers nothing that comes after it."""
    start_display()
    for disk, result in (("old", 2), ("new", 1)):
        go = os.path.join(scratch, "go-" + disk)
        probe = Probe("admin", "disk=" + disk, "wait=" + go)
        window = shown()
        enter("boss", "s3cret")
        key("Return")
        probe.expect("checking")
        key("Return", "Escape", "Return")
        run("xdotool", "mousemove", "--window", window, "250", "170", "click", "--repeat", "2", "1")
        with open(go, "w", encoding="utf-8"):
            pass
        if disk == "old":
            shown(2)
            assert probe.ask("windows") == "2"
            key("Return")
            shown(1)
            assert probe.ask("windows") == "1"
            key("Escape")
        assert probe.result() == result
        assert [line for line in probe.seen if line.startswith("checking")] == ["checking"]


def ticks(process):
    """Of processor time that it has used."""
    with open(f"/proc/{process.pid}/stat", encoding="utf-8") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def case_idle():
    start_display()
    for mode, options in (("admin", []), ("user", []), ("failure", ["failure=long"])):
        probe = Probe(mode, *options)
        shown()
        seen = []

        def rests():
            seen.append(ticks(probe.process))
            return seen[-20:] == 20 * [seen[-1]] # a second long
        until("a process that rests", rests)
        probe.tell("abort")
        assert probe.result() in (-1001, 0)


def case_close():
    start_display()
    # openbox closes the focused window at Alt-F4, as it does at the button of the frame.
    for mode, options in (("admin", []), ("user", []), ("admin", ["texts=continue-only"])):
        probe = Probe(mode, *options)
        shown()
        key("alt+F4")
        assert probe.result() == 2, (mode, options)
    probe = Probe("update")
    shown()
    key("alt+F4")
    assert probe.expect("flag") == "set"
    assert probe.result() == 2
    probe = Probe("refused")
    shown()
    key("alt+F4")
    assert probe.result() == 1000
    # The alert above is closed, and the dialog is there again; the window below cannot be closed.
    probe = Probe("admin")
    below = shown()
    enter("boss", "wrong")
    key("Return")
    above = shown(2)
    assert above != below
    key("alt+F4")
    assert shown(1) == below
    key("alt+F4")
    assert probe.result() == 2


def case_nested():
    start_display()
    # An error alert that is aborted takes the dialog below with it.
    probe = Probe("update")
    below = shown()
    enter("boss", "wrong")
    key("Return")
    above = shown(2)
    assert above != below
    screenshot("nested")
    # The dialog below answers nothing meanwhile, not even at its Cancel.
    size = run("xdotool", "getwindowgeometry", "--shell", below).stdout
    width, height = (int(size.split(name + "=")[1].split()[0]) for name in ("WIDTH", "HEIGHT"))
    run("xdotool", "mousemove", "--window", below, str(width - 50), str(height - 25), "click", "1")
    assert probe.ask("windows") == "2"
    probe.tell("activate")
    assert until("the alert on top", active) == above
    probe.tell("abort")
    assert probe.expect("flag") == "set"
    assert probe.result() == -1001
    probe.over()
    # Both at once, before either has unwound.
    probe = Probe("admin")
    shown()
    enter("boss", "wrong")
    key("Return")
    shown(2)
    probe.tell("abort twice")
    assert probe.result() == -1001
    # Only the innermost session of three.
    probe = Probe("admin")
    shown()
    enter("boss", "wrong")
    key("Return")
    shown(2)
    probe.tell("alert")
    shown(3)
    probe.tell("abort")
    assert probe.expect("alert") == "-1001"
    shown(2)
    key("Return")
    shown(1)
    key("Escape")
    assert probe.result() == 2
    # A failure that is reported, and the report aborted: still a failure.
    probe = Probe("update", "failure=The tool failed.")
    shown()
    enter("boss", "s3cret")
    key("Return")
    until("the password dialog", lambda: probe.ask("focus") == "Your password:")
    enter("new-pass")
    key("Return")
    until("the failure alert", lambda: probe.ask("focus") == "OK")
    probe.tell("abort")
    assert probe.expect("flag") == "clear"
    assert probe.result() == 4


def case_quit():
    start_display()
    for command in ("quit", "exit"):
        probe = Probe("update")
        shown()
        probe.tell(command)
        assert probe.expect("flag") == "set"
        assert probe.result() == -1001, command
        probe.over()
        probe = Probe("update", "disk=old")
        shown()
        enter("boss", "s3cret")
        key("Return")
        shown(2)
        probe.tell(command)
        assert probe.expect("flag") == "set"
        assert probe.result() == -1001, command
        probe.over()
    until("no window is left", lambda: not windows())


def case_focus():
    start_display()
    probe = Probe("admin-again")
    shown()
    assert probe.ask("focus") == "Username:"
    order = []
    for _ in range(5):
        order.append(probe.ask("focus"))
        key("Tab")
        until("the next", lambda: probe.ask("focus") != order[-1])
    assert order == ["Username:", "Password:", "Continue", "Skip", "Cancel"], order
    until("round", lambda: probe.ask("focus") == "Username:")
    # A wrong password is emptied and keeps the name; the keyboard is back in it.
    enter("boss", "wrong")
    key("Return")
    shown(2)
    key("Return")
    shown(1)
    until("the focus on the password", lambda: probe.ask("focus") == "Password:")
    enter("s3cret")
    key("Return")
    assert probe.expect("first") == "1"
    # Opened again it has both, and only needs to be confirmed.
    shown()
    until("the focus on the password", lambda: probe.ask("focus") == "Password:")
    key("Return")
    assert probe.result() == 1
    probe = Probe("user")
    shown()
    assert probe.ask("focus") == "Your password:"
    # Nothing can be copied out of it.
    enter("new-pass")
    key("ctrl+a", "ctrl+c", "ctrl+x", "Return")
    assert probe.result() == 1


def tree(probe):
    told = run(os.path.join(HERE, "accessible_tree"), str(probe.process.pid))
    assert told.returncode == 0, told.stderr
    return [tuple(line.split("|")) for line in told.stdout.splitlines()]


def case_accessibility():
    start_display()
    start_bus()
    del os.environ["NO_AT_BRIDGE"]
    os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
    probe = Probe("admin")
    shown()
    until("the tree", lambda: any(row[0] == "password text" for row in tree(probe)))
    enter("boss", "s3cret")
    until("the name", lambda: any(row[4] == "boss" for row in tree(probe)))
    rows = tree(probe)
    assert rows[0][0] == "dialog" and rows[0][2] == TITLE, rows
    assert "active" in rows[0][1], rows
    entries = [(row[0], row[2], row[3]) for row in rows if row[0] in ("text", "password text")]
    assert entries == [("text", "Username:", "Username:"),
                       ("password text", "Password:", "Password:")], rows
    labels = [row[2] for row in rows if row[0] == "label" and row[2]]
    assert labels == ["Enter the username and password of a SecureToken administrator.",
                      "If you skip this step, you will not be able to log in with the new password "
                      "when the computer starts up until your administrator resolves this issue.",
                      "Username:", "Password:"], rows
    buttons = [row[2] for row in rows if row[0] == "push button"]
    assert buttons == ["Continue", "Skip", "Cancel"], rows
    # Nobody who listens hears the password.
    assert not any("s3cret" in part for row in rows for part in row), rows
    key("Escape")
    assert probe.result() == 2
    probe = Probe("user")
    shown()
    until("the tree", lambda: [(row[2], row[3]) for row in tree(probe)
                               if row[0] == "password text"] == [("Your password:",) * 2])
    key("Escape")
    assert probe.result() == 2


LOOKS = {"": [], "-dark": ["theme=dark"], "-rtl": ["direction=rtl", "texts=rtl"],
         "-200": ["font=200"]}


def case_sizes():
    start_display()
    shots = [("admin", []), ("user", []), ("refused", []), ("not-in-sync", []),
             ("wrong-password", []), ("failure", ["failure=long"])]
    for mode, options in shots:
        for look, dress in LOOKS.items():
            probe = Probe(mode, *options, *dress)
            window = shown()
            whole(probe, mode + look)
            scrolls = "scrolls down" in probe.seen
            assert scrolls == (mode == "failure"), (mode, look, probe.seen)
            assert "scrolls aside" not in probe.seen, (mode, look)
            screenshot(mode + look, window)
            probe.tell("abort")
            assert probe.result() in (-1001, 0)
    # Twice as many pixels for everything.
    for mode, options in shots:
        probe = Probe(mode, *options, env={"QT_SCALE_FACTOR": "2"})
        window = shown()
        whole(probe, mode + "-hidpi")
        screenshot(mode + "-hidpi", window)
        probe.tell("abort")
        assert probe.result() in (-1001, 0)
    # Texts of any length, and a font that grows while the dialog is open.
    for look, dress in (("-long", []), ("-long-200", ["font=200"])):
        probe = Probe("admin", "texts=long", *dress)
        window = shown()
        whole(probe, look)
        screenshot("admin" + look, window)
        probe.tell("abort")
        assert probe.result() == -1001
    for _ in range(5): # which widget learns of the change first, is chance
        probe = Probe("admin")
        shown()
        probe.tell("font")
        until("nothing cut", lambda: probe.ask("cut", "cut parts:") == "0")
        key("Escape")
        assert probe.result() == 2


def case_small():
    """A small screen and large letters: the texts scroll, everything else stays whole."""
    start_display("640x480")
    for mode, options in (("admin", []), ("user", []), ("not-in-sync", []),
                          ("failure", ["failure=long"])):
        probe = Probe(mode, *options, "font=200")
        window = shown()
        whole(probe, mode)
        screenshot(mode + "-small", window)
        probe.tell("abort")
        assert probe.result() in (-1001, 0)


def case_nodisplay():
    for variable in ("DISPLAY", "WAYLAND_DISPLAY"):
        os.environ.pop(variable, None)
    probe = Probe("update")
    text = probe.expect("log No display to show the alert on:")
    assert text.startswith("Enter the username and password of a SecureToken administrator."), text
    assert probe.result() == -1001
    probe.over()


scratch = tempfile.mkdtemp(prefix="dialog-test-")
for variable in ("XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"):
    os.environ[variable] = os.path.join(scratch, variable)
    os.makedirs(os.environ[variable], mode=0o700)
os.environ["NO_AT_BRIDGE"] = "1"
os.environ["LC_ALL"] = "C.UTF-8"
try:
    {"keyboard": case_keyboard, "close": case_close, "nested": case_nested, "quit": case_quit,
     "focus": case_focus, "accessibility": case_accessibility, "sizes": case_sizes,
     "blocked": case_blocked, "idle": case_idle, "small": case_small,
     "nodisplay": case_nodisplay}[CASE]()
    print("passed")
finally:
    for process in reversed(started):
        if process.poll() is None:
            process.terminate()
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()
    shutil.rmtree(scratch, ignore_errors=True)
