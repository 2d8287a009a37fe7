#!/usr/bin/python3 -B
"""The status item and the alerts, seen from outside: tray_test.py CASE PROBE. With SCREENSHOTS set to a
folder, pictures are left there."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "session"))
import desktop_session  # noqa: E402
import probe as probes  # noqa: E402

CASE, PROBE = sys.argv[1], os.path.abspath(sys.argv[2])
LIMIT = probes.LIMIT
session = None


class Probe(probes.Probe):
    """The item's or the alert's process, in the session as it is."""

    def __init__(self, mode, env=None):
        super().__init__(subprocess.Popen([PROBE, mode], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                          preexec_fn=desktop_session.die_with_parent,
                                          env=session.environment | (env or {})))

    def finish(self):
        self.process.stdin.close()
        self.over()


def until(what, condition):
    return probes.until(what, condition, lambda: screenshot("timed-out"))


def run(*command):
    return probes.run(*command, environment=session.environment)


def call(service, path, method, *arguments):
    return run("gdbus", "call", "--session", "--dest", service, "--object-path", path,
               "--method", method, *arguments)


def start_display():
    session.start_display("1000x700")
    session.start_window_manager()


PANEL = """<?xml version="1.0"?><channel name="xfce4-panel" version="1.0">
<property name="configver" type="int" value="2"/>
<property name="panels" type="array"><value type="int" value="1"/>
<property name="panel-1" type="empty"><property name="position" type="string" value="p=6;x=0;y=0"/>
<property name="length" type="uint" value="100"/><property name="size" type="uint" value="32"/>
<property name="position-locked" type="bool" value="true"/>
<property name="plugin-ids" type="array"><value type="int" value="1"/></property></property></property>
<property name="plugins" type="empty"><property name="plugin-1" type="string" value="systray">
<property name="known-items" type="array"><value type="string" value="com.zevrik.selfservice"/></property>
</property></property></channel>"""


def start_panel():
    folder = os.path.join(session.environment["XDG_CONFIG_HOME"], "xfce4/xfconf/xfce-perchannel-xml")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "xfce4-panel.xml"), "w", encoding="utf-8") as file:
        file.write(PANEL)
    return session.start("xfce4-panel", "--disable-wm-check")


def registered():
    return call("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                "org.freedesktop.DBus.Properties.Get", "org.kde.StatusNotifierWatcher",
                "RegisteredStatusNotifierItems").stdout


def screenshot(name):
    folder = os.environ.get("SCREENSHOTS")
    if folder:
        run("import", "-window", "root", os.path.join(folder, name + ".png"))


def item_name():
    names = run("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                "/", "--method", "org.freedesktop.DBus.ListNames").stdout.split("'")
    for name in [n for n in names if n.startswith(":")]:
        if "ApplicationStatus" in call(name, "/StatusNotifierItem",
                                       "org.freedesktop.DBus.Properties.GetAll",
                                       "org.kde.StatusNotifierItem").stdout:
            return name
    return None


def refused(service, path, method, *arguments):
    """The D-Bus name of the error that a call ends with."""
    answer = run("dbus-send", "--session", "--print-reply", "--dest=" + service, path, method,
                 *arguments)
    assert answer.returncode != 0, answer.stdout
    return re.match(r"Error ([\w.]+):", answer.stderr).group(1)


def check_menu_calls(name, enroll, leave):
    """Calls that some hosts use besides GetLayout and Event; the layout was asked for before."""
    def told(method, *arguments):
        answer = call(name, "/MenuBar", "com.canonical.dbusmenu." + method, *arguments)
        assert answer.returncode == 0, answer.stderr
        return answer.stdout.strip()
    assert told("GetProperty", leave, "label") == "(<'Exit'>,)"
    assert told("GetProperty", "0", "children-display") == "(<'submenu'>,)"
    both = told("GetGroupProperties", "[]", "[]")
    assert "'Enroll__now & here'" in both and "'Exit'" in both, both
    one = told("GetGroupProperties", f"[{leave}, 999]", "['label']")
    assert f"({leave}, {{" in one and "'Exit'" in one, one
    assert not any(part in one for part in ("Enroll", "999", "enabled")), one
    assert told("AboutToShow", "0") == "(false,)"
    assert told("AboutToShowGroup", "[0, 999]") == "(@ai [], [999])"
    # Neither opening an item nor an unknown item runs anything; the destroyed item would tell.
    assert told("EventGroup", f"[({enroll}, 'hovered', <0>, 0), (999, 'clicked', <0>, 0)]") == "([999],)"
    errors = "org.freedesktop.DBus.Error."
    menu, properties = "com.canonical.dbusmenu.", "org.freedesktop.DBus.Properties."
    for error, method, arguments in (
            ("InvalidArgs", menu + "GetProperty", ["int32:999", "string:label"]),
            ("InvalidArgs", menu + "GetProperty", ["int32:" + leave, "string:nothing"]),
            ("InvalidArgs", menu + "GetLayout", ["int32:999", "int32:1", "array:string:"]),
            ("InvalidArgs", menu + "AboutToShow", ["int32:999"]),
            ("InvalidArgs", menu + "GetProperty", ["string:label"]),
            ("UnknownMethod", menu + "Nothing", []),
            ("UnknownInterface", "com.example.Other.AboutToShow", ["int32:0"]),
            ("InvalidArgs", properties + "GetAll", ["int32:1"]),
            ("InvalidArgs", properties + "Get", ["string:com.canonical.dbusmenu"]),
            ("UnknownProperty", properties + "Get", ["string:com.canonical.dbusmenu", "string:Nothing"]),
            ("UnknownMethod", properties + "Nothing", []),
            ("PropertyReadOnly", properties + "Set",
             ["string:com.canonical.dbusmenu", "string:Version", "variant:uint32:1"])):
        got = refused(name, "/MenuBar", method, *arguments)
        assert got == errors + error, (method, arguments, got)
    assert refused(name, "/StatusNotifierItem", properties + "GetAll", "int32:1") == errors + "InvalidArgs"


def luminance(level):
    """Relative luminance of a grey of sRGB, 0 to 255 (WCAG 2.1)."""
    part = level / 255
    return part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4


def contrast(one, other):
    dark, light = sorted((luminance(one), luminance(other)))
    return (light + 0.05) / (dark + 0.05)


def check_icon(name):
    """The pixmaps are ARGB32 with the alpha first, and can be seen on a light and on a dark panel."""
    answer = call(name, "/StatusNotifierItem", "org.freedesktop.DBus.Properties.Get",
                  "org.kde.StatusNotifierItem", "IconPixmap").stdout
    found = re.findall(r"\((\d+), (\d+), \[((?:byte )?0x[^\]]*)\]\)", answer)
    assert [size[:2] for size in found] == [(str(side),) * 2 for side in (16, 22, 24, 32, 48)], answer[:200]
    for width, height, text in found:
        data = bytes(int(byte, 16) for byte in text.replace("byte ", "").split(", "))
        side = int(width)
        assert len(data) == side * int(height) * 4, (width, len(data))
        pixels = [data[place:place + 4] for place in range(0, len(data), 4)]
        # The corner is clear; the ring of the key, a quarter from its left end, is not.
        assert pixels[0][0] == 0, pixels[0]
        ring = pixels[(side // 2) * side + round(side * 1.5 / 16)]
        assert ring[0] == 255, ring
        solid = [pixel for pixel in pixels if pixel[0] == 255]
        assert len(solid) > side * side / 10, len(solid)
        for pixel in solid:
            red, green, blue = pixel[1:]
            assert red == green == blue, pixel
            # 3 : 1 is what WCAG asks of an icon; the panels are Adwaita's, light and dark.
            assert contrast(red, 0xf6) >= 3 and contrast(red, 0x24) >= 3, pixel


def case_dbus():
    session.start_bus()
    probe = Probe("item-without-display")
    probe.expect("log No tray host takes the status-bar item")
    name = until("item on the bus", item_name)
    properties = call(name, "/StatusNotifierItem", "org.freedesktop.DBus.Properties.GetAll",
                      "org.kde.StatusNotifierItem").stdout
    for part in ("'Id': <'com.zevrik.selfservice'>", "'Status': <'Active'>",
                 "'ItemIsMenu': <false>", "'Menu': <objectpath '/MenuBar'>", "(22, 22, "):
        assert part in properties, part
    menu = "com.canonical.dbusmenu."
    layout = call(name, "/MenuBar", menu + "GetLayout", "0", "9", "[]").stdout
    assert "'label': <'Enroll__now & here'>" in layout and "'label': <'Exit'>" in layout, layout
    children = re.findall(r"<\((\d+), ", layout)
    assert len(children) == 2, layout
    check_menu_calls(name, *children)
    check_icon(name)
    assert call(name, "/MenuBar", menu + "Event", "999", "clicked", "<0>", "0").returncode != 0
    assert call(name, "/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate",
                "1", "2").returncode == 0
    probe.expect("left")
    assert call(name, "/StatusNotifierItem", "org.kde.StatusNotifierItem.ContextMenu",
                "1", "2").returncode == 0
    probe.expect("right")
    probe.expect("log No display to open the status-bar menu on.")
    call(name, "/MenuBar", menu + "Event", children[1], "clicked", "<0>", "0")
    probe.expect("exit chosen")
    answer = call(name, "/MenuBar", menu + "Event", children[0], "clicked", "<0>", "0")
    assert answer.returncode == 0, answer.stderr
    probe.expect("destroyed")
    until("item gone from the bus", lambda: not item_name())
    probe.finish()


def panel_windows():
    return run("xdotool", "search", "--onlyvisible", "--class", "xfce4-panel").stdout.split()


def geometry(window):
    """Left, top, width and height of it."""
    told = dict(line.split("=") for line in run(
        "xdotool", "getwindowgeometry", "--shell", window).stdout.split() if "=" in line)
    names = ("X", "Y", "WIDTH", "HEIGHT")
    return tuple(int(told[name]) for name in names) if told.keys() >= set(names) else None


def is_menu(window):
    """A menu and not the text that a host shows beside the pointer."""
    return "MENU" in run("xprop", "-id", window, "_NET_WM_WINDOW_TYPE").stdout


def icon_place():
    """The middle of the only thing in the panel, once that is drawn: the host does so some time after the
    registration, without telling anybody."""
    bar = [window for window in panel_windows() if not is_menu(window)]
    place = geometry(bar[0]) if bar else None
    if not place:
        return None
    left, top, _, height = place
    colours = run("convert", "x:root", "-crop", f"32x{height}+{left}+{top}", "-format", "%k", "info:").stdout
    return (left + 16, top + height // 2) if colours.isdigit() and int(colours) > 4 else None


def click(button, place=None):
    x, y = place or until("the icon in the panel", icon_place)
    run("xdotool", "mousemove", str(x), str(y), "click", str(button))


def click_until(probe, button, text):
    """Again where the host has not yet been ready for it."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        click(button)
        if probe.says(text, 10):
            return
    screenshot("timed-out")
    raise AssertionError(f"no {text!r} after clicking, only {probe.seen}")


def host_menu(seconds):
    """Where the menu is that the host draws; none when there is none within that time."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for window in filter(is_menu, run("xdotool", "search", "--onlyvisible", ".*").stdout.split()):
            if place := geometry(window):
                return place
        time.sleep(0.05)
    return None


def choose_first_entry(probe):
    """In the menu that the host draws, however often it takes to open it."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        click(3)
        place = host_menu(10)
        if place:
            screenshot("host-menu")
            click(1, (place[0] + 30, place[1] + 15))
            if probe.says("destroyed", 10):
                return
    screenshot("timed-out")
    raise AssertionError(f"nothing was chosen, only {probe.seen}")


def case_panel():
    start_display()
    session.start_bus("org.xfce.Xfconf")
    probe = Probe("item")
    probe.expect("log No tray host takes the status-bar item")
    panel = start_panel()
    until("item in the panel that came later", lambda: ":" in registered())
    click_until(probe, 1, "left")
    screenshot("panel")
    run("xdotool", "keydown", "Control_L")
    try:
        click_until(probe, 1, "control-left")
        until("menu window", lambda: run("xdotool", "search", "--onlyvisible", "--class",
                                         "tray-probe").stdout)
        screenshot("control-menu")
    finally:
        run("xdotool", "keyup", "Control_L")
    run("xdotool", "key", "Escape")
    run("xdotool", "mousemove", "500", "400")
    # Not by a signal: this panel's handler quits the main loop from within, and can so lock itself up.
    run("xfce4-panel", "--quit")
    panel.wait(LIMIT)
    probe.expect("log The tray host has gone")
    start_panel()
    until("item in the restarted panel", lambda: ":" in registered())
    click_until(probe, 1, "left")
    # The host draws the exported menu; the first entry destroys the item.
    choose_first_entry(probe)
    until("item gone from the watcher", lambda: ":" not in registered())
    probe.finish()


def case_nobus():
    probe = Probe("item-without-display")
    probe.expect("log No session bus")
    probe.expect("ready")
    probe.finish()


def case_nodisplay():
    probe = Probe("alert-without-display")
    line = probe.expect("log No display")
    assert "This service is <b>not</b> configured. Ask your administrator." in line, line
    probe.expect("response -1001")


def alert_window(probe):
    return until("alert", lambda: run("xdotool", "search", "--onlyvisible", "--name",
                                      "^Self-Service Password Reset$").stdout.split())[-1]


def magenta(window):
    """How many pixels of the window have the colour that no theme has."""
    told = run("convert", f"x:{window}", "-fill", "black", "+opaque", "#ff00ff", "-fill", "white",
               "-opaque", "#ff00ff", "-format", "%[fx:round(mean*w*h)]", "info:")
    return int(told.stdout) if told.returncode == 0 else -1


def case_alert():
    start_display()
    for name, key in (("answered", "Return"), ("escaped", "Escape")):
        probe = Probe("alert")
        window = alert_window(probe)
        run("xdotool", "windowfocus", "--sync", window)
        run("xdotool", "key", key)
        probe.expect("response 1000")
    # openbox closes the focused window at Alt-F4, as it does at the button of the frame.
    probe = Probe("alert")
    window = alert_window(probe)
    until("the alert without an icon of its own", lambda: magenta(window) == 0)
    run("xdotool", "windowactivate", "--sync", window)
    run("xdotool", "key", "alt+F4")
    probe.expect("response 1000")
    # The icon that was given is shown in its place, 64 pixels wide and high, as the window has it. A critical
    # alert's sign takes a circle of 34 out of the corner, which ends 2 pixels beyond each edge: 865 pixels, and
    # its edge, some 90, is half and half.
    for mode, is_whole in (("warning-with-icon", lambda pixels: pixels == 64 * 64),
                           ("alert-with-icon", lambda pixels: 3100 < pixels <= 64 * 64 - 865)):
        probe = Probe(mode)
        window = alert_window(probe)
        until("the given icon", lambda: is_whole(magenta(window)))
        screenshot(mode)
        run("xdotool", "windowfocus", "--sync", window)
        run("xdotool", "key", "Return")
        probe.expect("response 1000")
    probe = Probe("alert")
    alert_window(probe)
    screenshot("alert")
    probe.process.stdin.close()
    probe.expect("response -1001")
    probe = Probe("alert", env={"QT_SCALE_FACTOR": "2"})
    window = alert_window(probe)
    size = run("xdotool", "getwindowgeometry", "--shell", window).stdout
    width = int(size.split("WIDTH=")[1].split()[0])
    assert width <= 1000, size
    screenshot("alert-200")
    run("xdotool", "windowfocus", "--sync", window)
    run("xdotool", "key", "Return")
    probe.expect("response 1000")


folder = tempfile.mkdtemp(prefix="tray-test-")
own = desktop_session.with_folders(desktop_session.clean(os.environ), os.path.join(folder, "user"))
try:
    with desktop_session.Session(own, folder) as session:
        session.be_without_bus()
        {"dbus": case_dbus, "panel": case_panel, "nobus": case_nobus, "nodisplay": case_nodisplay,
         "alert": case_alert}[CASE]()
    print("passed")
finally:
    shutil.rmtree(folder, ignore_errors=True)
