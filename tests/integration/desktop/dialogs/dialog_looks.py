#!/usr/bin/python3 -B
"""That nothing of a dialog is cut, and what assistive programs see of it."""
import dialog_scene as scene
from dialog_scene import (HERE, TITLE, Probe, enter, key, play, run, screenshot, shown, start_display,
                          until)

LOOKS = {"": [], "-dark": ["theme=dark"], "-rtl": ["direction=rtl", "texts=rtl"],
         "-200": ["font=200"]}


def whole(probe, what):
    left = int(probe.ask("cut", "cut parts:"))
    assert left == 0, (what, probe.seen)


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


def tree(probe):
    """Nothing while the parts come and go."""
    told = run(str(HERE / "accessible_tree"), str(probe.process.pid))
    if told.returncode != 0:
        print(told.stderr)
        return []
    return [tuple(line.split("|")) for line in told.stdout.splitlines()]


def case_accessibility():
    start_display()
    scene.session.start_bus("org.a11y.Bus")
    del scene.session.environment["NO_AT_BRIDGE"]
    scene.session.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
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


play(sizes=case_sizes, small=case_small, accessibility=case_accessibility)
