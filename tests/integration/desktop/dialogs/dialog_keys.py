#!/usr/bin/python3 -B
"""What the keyboard and the mouse do in a dialog, and what they do not."""
import os

import dialog_scene as scene
from dialog_scene import Probe, enter, key, play, run, shown, start_display, until


def case_keyboard():
    start_display()
    # Return presses the first button of each dialog, whichever entry has the keyboard.
    probe = Probe("update")
    shown()
    enter("boss", "s3cret")
    key("Return")
    probe.has_focus("Your password:")
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
        scene.session.environment["XDG_CURRENT_DESKTOP"] = desktop
        probe = Probe("admin")
        shown()
        enter("boss", "wrong")
        key("Tab", "Tab")
        probe.has_focus("Skip")
        key("Return")
        shown(2)
        key("Return")
        shown(1)
        probe.has_focus("Password:")
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
        go = os.path.join(scene.session.folder, "go-" + disk)
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


def case_focus():
    start_display()
    probe = Probe("admin-again")
    shown()
    probe.has_focus("Username:")
    order = []
    for _ in range(5):
        order.append(probe.ask("focus"))
        key("Tab")
        until("the next", lambda: probe.ask("focus") != order[-1])
    assert order == ["Username:", "Password:", "Continue", "Skip", "Cancel"], order
    probe.has_focus("Username:")
    # A wrong password is emptied and keeps the name; the keyboard is back in it.
    enter("boss", "wrong")
    key("Return")
    shown(2)
    key("Return")
    shown(1)
    probe.has_focus("Password:")
    enter("s3cret")
    key("Return")
    assert probe.expect("first") == "1"
    # Opened again it has both, and only needs to be confirmed.
    shown()
    probe.has_focus("Password:")
    key("Return")
    assert probe.result() == 1
    probe = Probe("user")
    shown()
    probe.has_focus("Your password:")
    # Nothing can be copied out of it.
    enter("new-pass")
    key("ctrl+a", "ctrl+c", "ctrl+x", "Return")
    assert probe.result() == 1


play(keyboard=case_keyboard, blocked=case_blocked, focus=case_focus)
