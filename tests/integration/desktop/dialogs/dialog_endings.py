#!/usr/bin/python3 -B
"""How dialogs end, one above the other too, and what they cost while they are open."""
from dialog_scene import (Probe, active, enter, key, play, run, screenshot, shown, start_display, until,
                          windows)


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
    until("the alert on top", lambda: active() == above)
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
    probe.has_focus("Your password:")
    enter("new-pass")
    key("Return")
    probe.has_focus("OK")
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


def case_nodisplay():
    probe = Probe("update")
    text = probe.expect("log No display to show the alert on:")
    assert text.startswith("Enter the username and password of a SecureToken administrator."), text
    assert probe.result() == -1001
    probe.over()


play(close=case_close, nested=case_nested, quit=case_quit, idle=case_idle, nodisplay=case_nodisplay)
