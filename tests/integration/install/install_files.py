#!/usr/bin/python3
"""What an installation consists of.

    install_files.py BUILD-FOLDER PREFIX README

The files are exactly those listed here, the README's table covers each of them, and each says what
the desktop, the session bus, PAM and systemd-tmpfiles need.
"""
import configparser
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

BUILD, PREFIX, README = pathlib.Path(sys.argv[1]), sys.argv[2].rstrip("/"), pathlib.Path(sys.argv[3])
AGENT = f"{PREFIX}/bin/zevrikselfservice"
CONTROL = f"{PREFIX}/bin/zevrikselfservicectl"
MENU_ENTRY = f"{PREFIX}/share/applications/com.zevrik.selfservice.desktop"
LOGIN_ENTRY = "/etc/xdg/autostart/com.zevrik.selfservice.tray.desktop"
BUS_SERVICE = f"{PREFIX}/share/dbus-1/services/com.zevrik.selfservice.service"
PAM = "/etc/pam.d/zevrikselfservice"
SUDOERS = "/etc/sudoers.d/zevrikselfservice"
TMPFILES = "/usr/lib/tmpfiles.d/zevrikselfservice.conf"
SYSUSERS = "/usr/lib/sysusers.d/zevrikselfservice.conf"
ICON = f"{PREFIX}/share/icons/hicolor/scalable/apps/com.zevrik.selfservice.svg"
STATUS_ICON = f"{PREFIX}/share/icons/hicolor/symbolic/apps/com.zevrik.selfservice-enroll-symbolic.svg"
BUNDLE_ICON = ("/Library/ZevrikSelfService/Self-Service Password Reset.app/Contents/Resources/"
               "AppIcon.svg")
DOCUMENTS = f"{PREFIX}/share/doc/zevrikselfservice"
EXAMPLE = f"{DOCUMENTS}/directory.conf.example"
MANUALS = {f"{DOCUMENTS}/{name}.md" for name in ("dialogs", "directory", "disk-encryption", "keywords",
                                                 "offline-reset", "passwords", "settings-cache",
                                                 "zevrikselfservicectl")}
PICTURES = {f"{DOCUMENTS}/pictures/dialog-{name}.png" for name in (
    "admin", "admin-200", "admin-dark", "admin-rtl", "failure", "not-in-sync", "refused", "user",
    "wrong-password")}
PROGRAMS = {AGENT, CONTROL}
DATA = {MENU_ENTRY, LOGIN_ENTRY, BUS_SERVICE, PAM, SUDOERS, TMPFILES, SYSUSERS, ICON, STATUS_ICON, BUNDLE_ICON,
        EXAMPLE, *MANUALS, *PICTURES}


def headings(manual):
    """The anchors of a manual's headings."""
    return {re.sub(r"[^\w -]", "", line).strip().lower().replace(" ", "-")
            for line in re.findall(r"^#+ (.*)$", manual.read_text(encoding="utf-8"), re.MULTILINE)}


def names_in_tables(text):
    """What stands as code in a manual's tables; of one that begins with a dot, the prefix is that of the
    one before it."""
    names = set()
    for row in re.findall(r"^\|.*$", text, re.MULTILINE):
        prefix = ""
        for name in re.findall(r"`([^`]+)`", row):
            name = prefix + name if name.startswith(".") else name
            prefix = name.rpartition(".")[0]
            names.add(name)
    return names


class InstalledFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp(prefix="installed.")
        cls.addClassCleanup(shutil.rmtree, cls.root)
        # A builder's file-creation mask must not decide who can read the files.
        done = subprocess.run(["cmake", "--install", BUILD], env={**os.environ, "DESTDIR": cls.root},
                              umask=0o077, capture_output=True, text=True)
        if done.returncode:
            raise RuntimeError(done.stdout + done.stderr)

    def at(self, path):
        return pathlib.Path(self.root + path)

    def entry(self, path, section="Desktop Entry"):
        parser = configparser.ConfigParser(interpolation=None, strict=True)
        parser.optionxform = str
        parser.read_string(self.at(path).read_text(encoding="utf-8"))
        self.assertEqual(parser.sections(), [section])
        return parser[section]

    def test_everything_is_there_and_nothing_else(self):
        found = {"/" + os.path.relpath(os.path.join(folder, name), self.root)
                 for folder, _, names in os.walk(self.root) for name in names}
        self.assertEqual(found, PROGRAMS | DATA)

    def test_everybody_may_read_and_only_root_may_write(self):
        for path in PROGRAMS | DATA:
            mode = 0o755 if path in PROGRAMS else 0o440 if path == SUDOERS else 0o644
            self.assertEqual(stat.S_IMODE(self.at(path).lstat().st_mode), mode, path)

    def test_the_readme_names_every_file(self):
        rows = re.findall(r"^\| `(/[^`]+)` \|", README.read_text(encoding="utf-8"), re.MULTILINE)
        rows = [re.sub("^/usr/(bin|share)/", PREFIX + r"/\1/", row) for row in rows]
        for path in PROGRAMS | DATA:
            self.assertTrue(any(path == row or path.startswith(row.rstrip("/") + "/") for row in rows),
                            f"{path} is in no row of {rows}")
        for row in rows:
            self.assertTrue(self.at(row).exists(), f"the row {row} is not installed")

    def test_the_manuals_lead_to_manuals_pictures_and_headings_that_are_there(self):
        for path in MANUALS:
            manual = self.at(path)
            for target in re.findall(r"\]\(([^)]+)\)", manual.read_text(encoding="utf-8")):
                name, _, section = target.partition("#")
                linked = manual.parent / name if name else manual
                self.assertTrue(linked.is_file(), f"{path}: {target}")
                if section:
                    self.assertIn(section, headings(linked), f"{path}: {target}")

    def test_the_manual_names_every_keyword_and_key(self):
        named = names_in_tables(self.at(f"{DOCUMENTS}/keywords.md").read_text(encoding="utf-8"))
        top = README.parent
        wanted = set(re.findall(r'^SS_KEYWORD\(\w+, \w+, "([^"]+)"\)',
                                (top / "directory/SSConnectionPointKeywords.def").read_text(), re.MULTILINE))
        logon = (top / "settings/SSLogonSettings.def").read_text()
        # Those that are loaded, as their place in that order says. Key material has no key.
        for row in re.split(r"^SS_LOGON_SETTING\(", logon, flags=re.MULTILINE)[1:]:
            if not row.startswith("Secure") and re.search(r"^ +[1-9]\d*, [A-Z]", row, re.MULTILINE):
                wanted.add(re.search(r'"([^"]+)"', row)[1])
        wanted |= set(re.findall(r'"(EnrollReminder\.\w+)"',
                                 (top / "settings/SSTraySettings.cpp").read_text()))
        self.assertLessEqual({"FileVaultSyncDialog.Text1", "ExchangeKeys.Error", "WebInterfaceURL",
                              "UpdateCredentialsCache.Enabled", "EnrollReminder.Url"}, wanted)
        self.assertEqual(wanted - named, set())

    def test_the_desktop_entries_are_valid(self):
        for path in (MENU_ENTRY, LOGIN_ENTRY):
            done = subprocess.run(["desktop-file-validate", "--no-hints", self.at(path)],
                                  capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stdout), (0, ""), path)

    def test_the_menu_starts_the_program_and_lets_the_bus_do_it(self):
        entry = self.entry(MENU_ENTRY)
        self.assertEqual(entry["Exec"], AGENT)
        self.assertEqual(entry["DBusActivatable"], "true")
        self.assertEqual(entry["Icon"] + ".svg", os.path.basename(ICON))
        self.assertNotIn("NoDisplay", entry)

    def test_a_login_starts_the_reminder(self):
        entry = self.entry(LOGIN_ENTRY)
        self.assertEqual(entry["Exec"], AGENT + " --enrollMenuExtra")
        self.assertEqual(entry["TryExec"], AGENT)
        self.assertNotIn("Hidden", entry)
        self.assertNotIn("OnlyShowIn", entry)

    def test_the_bus_starts_the_program_for_a_click(self):
        service = self.entry(BUS_SERVICE, "D-BUS Service")
        self.assertEqual(service["Name"] + ".service", os.path.basename(BUS_SERVICE))
        self.assertEqual(service["Exec"], AGENT + " --dbus-activated")

    def test_passwords_are_checked_by_the_computers_rules(self):
        lines = [line for line in self.at(PAM).read_text().splitlines()
                 if line and not line.startswith("#")]
        self.assertEqual(lines, ["@include common-auth", "@include common-account"])

    def test_the_file_for_sudo_is_valid_and_lets_nobody_do_anything(self):
        path = self.at(SUDOERS)
        done = subprocess.run(["visudo", "-c", "-f", path], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, f"{path}: parsed OK\n", ""))
        # sudo passes over names with these
        self.assertNotRegex(os.path.basename(SUDOERS), r"[.~]")
        for line in path.read_text().splitlines():
            self.assertRegex(line, r"^(#|Defaults!/usr/(bin/fdesetup,/usr/)?sbin/diskutil )")

    def lines(self, path):
        return [line.split() for line in self.at(path).read_text().splitlines()
                if line and not line.startswith("#")]

    def test_the_log_and_the_cache_are_made_for_everybody(self):
        cache = "/Library/Caches/ZevrikSelfService"
        self.assertEqual(self.lines(TMPFILES), [
            ["f", "/tmp/zevrikselfservice.log", "0666", "root", "root", "-"],
            ["d", "/Library/Caches", "0755", "root", "root", "-"],
            ["d", cache, "2711", "_securityagent", "sudo", "-"],
            ["f", cache + "/com.zevrik.selfservice.plist", "0666", "_securityagent", "sudo", "-"]])

    def test_the_account_of_the_cache_is_made_and_nobody_logs_on_to_it(self):
        self.assertEqual(self.lines(SYSUSERS), [
            ["u", "_securityagent", "-", '"Self-service', "login", 'window"', "/nonexistent",
             "/usr/sbin/nologin"]])

    def test_the_icons_are_pictures(self):
        for path in (ICON, STATUS_ICON, BUNDLE_ICON):
            picture = xml.etree.ElementTree.parse(self.at(path)).getroot()
            self.assertEqual(picture.tag, "{http://www.w3.org/2000/svg}svg", path)

    def test_the_programs_run_and_look_for_no_library_of_the_build(self):
        for path in PROGRAMS:
            dynamic = subprocess.run(["readelf", "-d", self.at(path)], capture_output=True, text=True,
                                     check=True).stdout
            self.assertIn("NEEDED", dynamic)
            self.assertNotIn("RUNPATH", dynamic)
            self.assertNotIn("RPATH", dynamic)
        told = subprocess.run([self.at(CONTROL), "--version"], capture_output=True, text=True)
        self.assertEqual(told.returncode, 0, told.stderr)

    def test_the_example_settings_name_every_key_and_change_nothing(self):
        text = self.at(EXAMPLE).read_text(encoding="utf-8")
        keys = set(re.findall(r"^;([a-z-]+) = ", text, re.MULTILINE))
        self.assertEqual(keys, {"backend", "file", "domain", "netbios-domain", "site", "server",
                                "global-catalog", "bind", "bind-dn", "bind-password-file", "tls",
                                "tls-ca-file", "allow-unprotected", "admin-groups"})
        for line in text.splitlines():
            self.assertTrue(not line or line.startswith(";"), line)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
