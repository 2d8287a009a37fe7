"""What the scripts of the password-changed flow share: a user at his computer, and the agent.

A script is a list of scenes. Each is played in a session of its own, with an X server, a window manager and
a notification server. The user's hands are xdotool's. Needs root.
"""
import concurrent.futures
import contextlib
import json
import os
import pathlib
import plistlib
import signal
import subprocess
import sys
import time

from flow_computer import (ADMIN, ADMIN_PASSWORD, AGENT, ANSWER, AT_WORK, CLOCK_LIBRARY, GRANTS, HELD, HOME, PASSWORD,
                           PLACE, run)

LOG = pathlib.Path("/tmp/zevrikselfservice.log")
FLAG = HOME / "Library/Preferences/com.zevrik.selfservice.plist"
CHOICE = HOME / "choice"
CLOCK = HOME / "clock"
BUS_NAME, BUS_OBJECT = "com.zevrik.selfservice", "/com/zevrik/selfservice"


def log():
    return LOG.read_text() if LOG.exists() else ""


def check(condition, what):
    print(("ok    " if condition else "FAULT ") + what, flush=True)
    if not condition:
        subprocess.run(["xdotool", "search", "--onlyvisible", "--name", ".", "getwindowname", "%@"])
        sys.exit("--- log ---\n" + log())


def wait_for(what, condition, seconds=60):
    limit = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > limit:
            check(False, f"waited {seconds} s for {what}")
        time.sleep(0.05)
    return result


def ask(*command):
    return subprocess.run(command, text=True, capture_output=True).stdout


def displayed():
    return int(ask("dunstctl", "count", "displayed").strip() or 0)


def flag():
    return plistlib.loads(FLAG.read_bytes())["PasswordChanged"]


def grants():
    return [json.loads(line) for line in GRANTS.read_text().splitlines()]


def processes(secret=None):
    """Identifiers of the processes of this scene whose arguments hold the text; of all for none."""
    found = set()
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            arguments = (folder / "cmdline").read_text(errors="replace") # empty once it has ended
            if arguments and (secret is None or secret in arguments):
                found.add(int(folder.name))
    return found


def process_of(name):
    """The one process of this scene that runs the program."""
    for number in processes():
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            if pathlib.Path(f"/proc/{number}/comm").read_text().strip() == name:
                return number
    return check(False, f"{name} runs")


def processor_seconds(number):
    fields = pathlib.Path(f"/proc/{number}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class User:
    """The user's hands and eyes, at the windows of one process."""

    def __init__(self, number):
        self.number = number

    def windows(self):
        return ask("xdotool", "search", "--onlyvisible", "--pid", str(self.number)).split()

    def click(self):
        ask("dunstctl", "action")

    def new_window(self, known=()):
        """The window that is there besides `known`, once it has the keyboard."""
        window = wait_for("a window", lambda: [w for w in self.windows() if w not in known])[0]
        wait_for("the keyboard", lambda: ask("xdotool", "getwindowfocus").strip() == window)
        return window

    def back_in(self, window):
        """An alert above the window is closed: the window has the keyboard again."""
        wait_for("the alert to close", lambda: self.windows() == [window])
        wait_for("the keyboard", lambda: ask("xdotool", "getwindowfocus").strip() == window)

    def press(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--clearmodifiers", "--delay", "20", text], check=True)

    def open_dialog(self):
        # A click right after another counts as the same.
        wait_for("a dialog", lambda: self.click() or self.windows())
        return self.new_window()

    def enter_administrator(self, password=ADMIN_PASSWORD):
        self.type(ADMIN)
        self.press("Tab")
        self.type(password)
        self.press("Return")

    def enter_password(self, password=PASSWORD):
        self.type(password)
        self.press("Return")

    def open_password_dialog(self):
        first = self.open_dialog()
        self.enter_administrator()
        return first, self.new_window(known=[first])


class Session(User):
    """One start of the agent, up to the notification on the screen."""

    def __init__(self, answer="Done!", environment=None, **defaults):
        prepare(answer, **defaults)
        CLOCK.write_bytes(bytes(8))
        clock = {"LD_PRELOAD": str(CLOCK_LIBRARY), "TURNED_CLOCK": str(CLOCK)} if CLOCK_LIBRARY.exists() else {}
        self.errors = HOME / "errors"
        with open(self.errors, "w", encoding="utf-8") as errors:
            self.agent = subprocess.Popen([AGENT, "--enrollMenuExtra"], stderr=errors, env={
                **os.environ, "HOME": str(HOME), **clock, **(environment or {})})
        super().__init__(self.agent.pid)
        self.reach_notification()

    def reach_notification(self):
        wait_for("the first timer", lambda: ">> -[SSEnroll processNotification] ended" in log())
        self.turn_clock(11)
        wait_for("the notification", lambda: self.shown() == 1)

    def turn_clock(self, seconds):
        """Lets so much time pass for the agent, which a call from the bus makes look at its timers."""
        with open(CLOCK, "r+b", buffering=0) as file:
            ahead = int.from_bytes(file.read(8), "little") + seconds
            file.seek(0)
            file.write(ahead.to_bytes(8, "little"))
        # It may end at what it sees there, and leave the call without an answer.
        try_call("org.freedesktop.DBus.Properties.Get", BUS_NAME + ".Process", "Role")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.agent.poll() is None:
            self.agent.kill()
            self.agent.wait()

    def shown(self):
        return displayed()

    def exit_status(self):
        wait_for("the agent to end", lambda: self.agent.poll() is not None)
        return self.agent.returncode

    def ends(self, what):
        check(self.exit_status() == 0, what)
        wait_for("an empty screen", lambda: self.shown() == 0)
        check(self.errors.read_text() == "", "nothing was complained about")

    def stop(self, what):
        self.agent.send_signal(signal.SIGTERM)
        self.ends(what)


class Tool:
    """A disk encryption tool that stays at work until it is let go."""

    def __init__(self, command):
        AT_WORK.write_text("")
        HELD.write_text(command)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.let_go()

    def wait(self):
        wait_for("the tool", AT_WORK.read_text)

    def let_go(self):
        HELD.write_text("")


def nobody_is_left(before):
    """Nor is a password in anybody's arguments."""
    wait_for("the tools to end", lambda: not processes() - before)
    for secret in (PASSWORD, ADMIN_PASSWORD):
        check(not processes(secret), "no process has a password in its arguments")


def try_call(method, *arguments):
    return subprocess.run(["gdbus", "call", "--session", "--dest", BUS_NAME, "--object-path", BUS_OBJECT,
                           "--method", method, *arguments], text=True, capture_output=True)


def call_agent(method, *arguments):
    done = try_call(method, *arguments)
    if done.returncode != 0:
        check(False, f"the agent answers {method}: {done.stderr}")
    return done.stdout


def prepare(answer="Done!", flag_is_set=True, **defaults):
    """A user's state before the agent starts."""
    LOG.write_text("")
    GRANTS.write_text("")
    ANSWER.write_text(answer + "\n")
    FLAG.write_bytes(plistlib.dumps({"LogLevel": 2, "PasswordChanged": flag_is_set, **defaults}))


def logged(line):
    check(line in log(), f"the log has: {line}")


def choose(action):
    """The user chooses in the notification's menu."""
    CHOICE.write_text(action)
    ask("dunstctl", "context")


def start_server():
    # The server outlives the choices, so its menu reads them from a file.
    menu = HOME / "menu"
    menu.write_text(f'#!/bin/sh\nNOTIF_MENU_CHOICE=$(cat {CHOICE}) exec {PLACE}/notif_dmenu\n')
    menu.chmod(0o755)
    configuration = HOME / "dunstrc"
    configuration.write_text((PLACE / "dunstrc").read_text().replace("[global]", f"[global]\n    dmenu = {menu}", 1))
    server = subprocess.Popen(["dunst", "-conf", configuration], stderr=subprocess.DEVNULL)
    wait_for("the notification server", lambda: ask("dunstctl", "is-paused").strip() == "false")
    return server


def play(script, scenes, *arguments, server=start_server, at_once=5):
    """Plays each scene in a session of its own, some side by side: what takes long is waiting."""
    script = pathlib.Path(script).resolve()

    def inside(name):
        notifications = server()
        try:
            next(scene for scene in scenes if scene.__name__ == name)()
        finally:
            notifications.terminate()
            notifications.wait()
        return 0

    def whole(scene):
        done = subprocess.run([sys.executable, "-B", script, arguments[0], scene.__name__], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        print(f"--- {scene.__name__}\n{done.stdout}", end="", flush=True)
        return done.returncode == 0

    if len(arguments) > 1:
        return run(script, inside, *arguments)
    with concurrent.futures.ThreadPoolExecutor(at_once) as players:
        faultless = list(players.map(whole, scenes))
    return 0 if all(faultless) else 1
