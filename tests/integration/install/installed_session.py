"""The installed program in an ordinary user's session; see with-installed."""
import json
import os
import pathlib
import shlex
import subprocess
import time
import unittest

PREFIX = os.environ["PREFIX"]
AGENT, CONTROL = f"{PREFIX}/bin/zevrikselfservice", f"{PREFIX}/bin/zevrikselfservicectl"
NAME, PLACE = "com.zevrik.selfservice", "/com/zevrik/selfservice"
NOTIFICATION = '[<["{0DA0AD54-B798-4608-8B7E-A517AD2563A6}", ""]>]'
LOG = pathlib.Path("/tmp/zevrikselfservice.log")
OUTPUT = pathlib.Path("/output")
OPENED = OUTPUT / "opened"
BUS = "org.freedesktop.DBus"


def gdbus(name, place, method, *arguments):
    return subprocess.run(["gdbus", "call", "--session", "--dest", name, "--object-path", place,
                           "--method", method, *arguments], capture_output=True, text=True)


def on_bus(method, *arguments):
    done = gdbus(BUS, "/org/freedesktop/DBus", f"{BUS}.{method}", *arguments)
    return done.stdout if done.returncode == 0 else ""


def is_running():
    return "true" in on_bus("NameHasOwner", NAME)


def process():
    """The process that has the program's name on the bus."""
    return pathlib.Path("/proc") / on_bus("GetConnectionUnixProcessID", NAME).split()[-1].strip("(),")


def role():
    return gdbus(NAME, PLACE, "org.freedesktop.DBus.Properties.Get", NAME + ".Process", "Role").stdout


def alert():
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name",
                            "^Self-Service Password Reset$"], capture_output=True, text=True)
    return found.stdout.split()


def command_line_of(entry, key="Exec"):
    for line in pathlib.Path(entry).read_text().splitlines():
        if line.startswith(key + "="):
            return shlex.split(line.split("=", 1)[1])
    raise AssertionError(f"{entry} has no {key}")


def agents():
    """Processes of the installed program; the program keeps its own user from reading its links."""
    running = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if (folder / "cmdline").read_bytes().split(b"\0")[0] == AGENT.encode() and \
                    (folder / "stat").read_text().rsplit(")", 1)[1].split()[0] != "Z":
                running.append(folder)
        except (FileNotFoundError, ProcessLookupError):
            pass
    return running


class InstalledSession(unittest.TestCase):
    def eventually(self, what, condition, seconds=120):
        limit = time.monotonic() + seconds
        while not (result := condition()):
            if time.monotonic() > limit:
                self.fail(f"waited {seconds} s for {what}\n" + LOG.read_text())
            time.sleep(0.05)
        return result

    def setUp(self):
        self.assertEqual(agents(), [])
        OPENED.unlink(missing_ok=True)

    def start(self, command):
        program = subprocess.Popen(command)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program

    def end(self):
        gdbus(NAME, PLACE, NAME + ".Process.Terminate")
        self.eventually("the program to end", lambda: not is_running() and not agents())

    def dismiss_alert(self, picture):
        window = self.eventually("the alert", alert)[0]
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=True)

        def is_drawn():
            subprocess.run(["import", "-window", window, OUTPUT / picture], check=True)
            return self.blue_pixels(OUTPUT / picture) > 500
        # The alert's own icon is blue; the toolkit's, which would stand in for it, are not.
        self.eventually("the alert with the icon of the bundle", is_drawn)
        frame = subprocess.run(["xdotool", "getwindowgeometry", "--shell", window], check=True,
                               capture_output=True, text=True).stdout
        (OUTPUT / "geometry").write_text(frame)
        subprocess.run(["import", "-window", "root", OUTPUT / ("desktop-" + picture)], check=True)
        subprocess.run(["xdotool", "key", "Return"], check=True)
        self.eventually("the alert to go", lambda: not alert())

    @staticmethod
    def blue_pixels(picture):
        told = subprocess.run(["convert", picture, "-fx", "b>r+0.3?1:0", "-format", "%[fx:mean*w*h]",
                               "info:"], check=True, capture_output=True, text=True).stdout
        return float(told)

    def test_a_click_on_a_left_over_notification_opens_the_page(self):
        self.assertFalse(is_running())
        told = gdbus(NAME, PLACE, "org.freedesktop.Application.ActivateAction", "notification",
                     NOTIFICATION, "{}")
        self.assertEqual(told.returncode, 0, told.stderr)
        self.assertIn("'notification'", role())
        self.assertEqual((process() / "cmdline").read_bytes().split(b"\0"),
                         [AGENT.encode(), b"--dbus-activated", b""])
        self.eventually("the browser", OPENED.exists)
        self.eventually("the page", lambda: OPENED.read_text() == "http://127.0.0.1:9/app/#/PssEnroll\n")
        self.end()

    def test_the_desktop_starts_the_plain_program_over_the_bus(self):
        told = gdbus(NAME, PLACE, "org.freedesktop.Application.Activate", "{}")
        self.assertEqual(told.returncode, 0, told.stderr)
        self.dismiss_alert("alert-activated.png")
        self.eventually("the program to end", lambda: not agents())
        self.assertFalse(OPENED.exists())

    def test_the_menu_entry_starts_the_plain_program(self):
        command = command_line_of(f"{PREFIX}/share/applications/{NAME}.desktop")
        program = self.start(command)
        self.dismiss_alert("alert.png")
        self.assertEqual(program.wait(timeout=120), 0)

    def test_a_login_starts_the_reminder_and_a_second_one_nothing(self):
        command = command_line_of(f"/etc/xdg/autostart/{NAME}.tray.desktop")
        program = self.start(command)
        self.eventually("the reminder", lambda: is_running() and "'tray'" in role())
        self.assertEqual(subprocess.run(command, timeout=120).returncode, 0)
        self.assertEqual(process().name, str(program.pid))
        self.end()
        self.assertEqual(program.wait(timeout=120), 0)

    def test_the_cache_is_kept_for_the_login_window(self):
        cache = pathlib.Path("/Library/Caches/ZevrikSelfService/com.zevrik.selfservice.plist")
        program = self.start(command_line_of(f"/etc/xdg/autostart/{NAME}.tray.desktop"))
        self.eventually("the cache", lambda: is_running() and cache.stat().st_size > 0)
        self.end()
        self.assertEqual(program.wait(timeout=120), 0)
        self.assertEqual(cache.stat().st_mode & 0o7777, 0o666)
        told = subprocess.run([CONTROL, "cache", "check", "--json"], capture_output=True, text=True)
        self.assertEqual(told.returncode, 0, told.stderr)
        self.assertTrue(json.loads(told.stdout)["usable"])
        told = subprocess.run([CONTROL, "compare"], capture_output=True, text=True)
        self.assertEqual(told.returncode, 0, told.stderr)

    def test_the_administrators_program_sees_the_configured_directory(self):
        told = subprocess.run([CONTROL, "discover", "--json"], capture_output=True, text=True)
        self.assertEqual(told.returncode, 0, told.stderr)
        points = json.loads(told.stdout)["connectionPoints"]
        self.assertEqual([point["serviceDnsName"] for point in points],
                         ["selfservice.corp.example.test"])
        told = subprocess.run([CONTROL, "user", "jdoe"], capture_output=True, text=True)
        self.assertEqual(told.returncode, 0, told.stderr)
        self.assertIn("CORP\\jdoe", told.stdout)

    @classmethod
    def tearDownClass(cls):
        # An ordinary user's lines are in the file that was made for everybody.
        assert "macOS " in LOG.read_text(), "nothing was logged"
        assert LOG.stat().st_uid == 0 and LOG.stat().st_mode & 0o777 == 0o666


if __name__ == "__main__":
    unittest.main(verbosity=2)
