#!/usr/bin/python3
"""The password-changed flag as root sets it and as its user reads and clears it, with real accounts:
run by with-own-etc, whose copy of /etc has them.

    test_flag.py ZEVRIKSELFSERVICECTL
"""
import datetime
import json
import os
import pathlib
import plistlib
import pwd
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv[1]
ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"):
    if name in os.environ:
        ENVIRONMENT[name] = os.environ[name]
VALUES = {
    "Seen": datetime.datetime(2026, 3, 4, 5, 6, 7),
    "Cookie": b"\x00\xff\x10",
    "Nested": {"List": [1, 2.5, "drei\r\n<&>", True, -7, {"k": b""}]},
    "Big": 2**63 + 5,
    "Name": "Jörg \U0001f600",
    "Huge": 1e300,
    "Empty": {},
}
FORMATS = {"XML": plistlib.FMT_XML, "binary": plistlib.FMT_BINARY}


def is_binary(contents):
    return contents.startswith(b"bplist00")


class Flag(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # Not in /tmp, which is root's alone on some computers.
        cls.root = pathlib.Path(tempfile.mkdtemp(dir="/var/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.root)
        cls.root.chmod(0o755)
        subprocess.run(["groupadd", "ssit-projects"], check=True)
        for name in ("ssit-jdoe", "ssit-other"):
            subprocess.run(["useradd", "--no-create-home", "--home-dir", cls.root / name, "--user-group",
                            "--shell", "/usr/sbin/nologin", name], check=True, stderr=subprocess.DEVNULL)
        subprocess.run(["usermod", "-aG", "ssit-projects", "ssit-jdoe"], check=True)
        cls.user, cls.other = pwd.getpwnam("ssit-jdoe"), pwd.getpwnam("ssit-other")
        cls.projects = int(subprocess.run(["getent", "group", "ssit-projects"], check=True, capture_output=True,
                                          text=True).stdout.split(":")[2])

    def setUp(self):
        self.home = self.root / "ssit-jdoe"
        self.home.mkdir()
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        os.chown(self.home, self.user.pw_uid, self.user.pw_gid)
        self.home.chmod(0o700)
        self.library = self.home / "Library"
        self.folder = self.library / "Preferences"
        self.file = self.folder / "com.zevrik.selfservice.plist"
        # What a user could want root to write to.
        self.precious = self.root / "precious"
        self.precious.mkdir()
        self.addCleanup(shutil.rmtree, self.precious)
        self.target = self.precious / "com.zevrik.selfservice.plist"
        self.target.write_bytes(plistlib.dumps({"Precious": True}))
        self.before = self.state_of_precious()

    def run_as(self, account, *arguments):
        options = {}
        if account is not None:
            options = {"user": account.pw_uid, "group": account.pw_gid,
                       "extra_groups": [self.projects] if account is self.user else []}
        done = subprocess.run([PROGRAM, "flag", *arguments], capture_output=True, text=True, cwd="/",
                              env=ENVIRONMENT, timeout=60, **options)
        return done.returncode, done.stdout, done.stderr

    def set_flag(self, name="ssit-jdoe"):
        status, output, errors = self.run_as(None, "set", "--user", name)
        return status, errors

    def assert_set(self):
        self.assertEqual(self.set_flag(), (0, ""))

    def assert_refused(self, *messages):
        """Root's attempt fails, with these in the log, and nothing of root's has changed."""
        status, errors = self.set_flag()
        self.assertEqual(status, 1, errors)
        for message in messages:
            self.assertIn("zevrikselfservicectl: " + message, errors)
        self.assertEqual(self.state_of_precious(), self.before)

    def state(self, path):
        found = path.lstat()
        return oct(stat.S_IMODE(found.st_mode)), found.st_uid, found.st_gid

    def users(self, mode):
        return oct(mode), self.user.pw_uid, self.user.pw_gid

    def state_of_precious(self):
        return [(path.name, self.state(path), path.read_bytes() if path.is_file() else None)
                for path in sorted([self.precious, *self.precious.rglob("*")])]

    def make_folders(self):
        for folder in (self.library, self.folder):
            folder.mkdir(mode=0o755)
            os.chown(folder, self.user.pw_uid, self.user.pw_gid)

    def make_file(self, contents, mode=0o640, owner=None, group=None):
        if not self.folder.exists():
            self.make_folders()
        self.file.write_bytes(contents)
        os.chown(self.file, self.user.pw_uid if owner is None else owner,
                 self.user.pw_gid if group is None else group)
        self.file.chmod(mode)

    # What root does

    def test_a_missing_file_is_made_as_xml_of_the_users_alone(self):
        self.make_folders()
        self.assert_set()
        self.assertEqual(self.state(self.file), self.users(0o600))
        self.assertEqual(plistlib.loads(self.file.read_bytes(), fmt=plistlib.FMT_XML), {"PasswordChanged": True})
        self.assertEqual(self.state(self.folder), self.users(0o755))
        self.assertEqual(os.listdir(self.folder), [self.file.name])

    def test_missing_folders_are_made_the_users_alone_whatever_the_mask_of_root_is(self):
        for mask in (0, 0o077, 0o177):
            shutil.rmtree(self.library, ignore_errors=True)
            previous = os.umask(mask)
            self.addCleanup(os.umask, previous)
            self.assert_set()
            for folder in (self.library, self.folder):
                self.assertEqual(self.state(folder), self.users(0o700))
            self.assertEqual(self.state(self.file), self.users(0o600))

    def test_the_format_the_rights_and_every_other_value_stay(self):
        for name, form in FORMATS.items():
            for flag in ({}, {"PasswordChanged": False}, {"PasswordChanged": "no boolean"}):
                with self.subTest(name, flag=flag):
                    self.make_file(plistlib.dumps(VALUES | flag, fmt=form), 0o644, group=self.projects)
                    self.assert_set()
                    contents = self.file.read_bytes()
                    self.assertEqual(is_binary(contents), name == "binary")
                    # Python itself writes no carriage return in XML.
                    expected = plistlib.loads(plistlib.dumps(VALUES, fmt=form)) | {"PasswordChanged": True}
                    read = plistlib.loads(contents)
                    self.assertEqual(read, expected)
                    self.assertEqual({key: type(value) for key, value in read.items()},
                                     {key: type(value) for key, value in expected.items()})
                    self.assertEqual(self.state(self.file), ("0o644", self.user.pw_uid, self.projects))
                    self.assertEqual(os.listdir(self.folder), [self.file.name])

    def test_what_is_no_property_list_is_replaced_with_a_log_line(self):
        for contents in (b"", b"no property list", plistlib.dumps({}, fmt=plistlib.FMT_BINARY)[:-1]):
            self.make_file(contents)
            status, errors = self.set_flag()
            self.assertEqual(status, 0)
            self.assertIn("warning: Unable translate user 'ssit-jdoe' defaults\n", errors)
            self.assertEqual(plistlib.loads(self.file.read_bytes(), fmt=plistlib.FMT_XML), {"PasswordChanged": True})
            self.assertEqual(self.state(self.file), self.users(0o640))

    def test_a_group_that_the_user_is_not_in_stays(self):
        for group in (self.other.pw_gid, 0):
            self.make_file(plistlib.dumps(VALUES, fmt=plistlib.FMT_BINARY), 0o640, group=group)
            self.assert_set()
            self.assertEqual(plistlib.loads(self.file.read_bytes()), VALUES | {"PasswordChanged": True})
            self.assertEqual(self.state(self.file), ("0o640", self.user.pw_uid, group))
            self.assertEqual(os.listdir(self.folder), [self.file.name])

    def test_a_file_that_its_mode_keeps_from_its_user_keeps_its_values_and_its_mode(self):
        for mode in (0o000, 0o200, 0o040):
            self.make_file(plistlib.dumps(VALUES, fmt=plistlib.FMT_BINARY), mode)
            self.assert_set()
            self.assertEqual(plistlib.loads(self.file.read_bytes(), fmt=plistlib.FMT_BINARY),
                             VALUES | {"PasswordChanged": True})
            self.assertEqual(self.state(self.file), self.users(mode))

    def test_an_unknown_user(self):
        status, errors = self.set_flag("ssit-nobody")
        self.assertEqual(status, 1)
        self.assertIn("Unable get user 'ssit-nobody' information.\n", errors)

    def test_a_home_folder_that_is_not_there_is_not_made(self):
        self.home.rmdir()
        status, errors = self.set_flag()
        self.assertEqual(status, 1)
        self.assertIn("Unable write user 'ssit-jdoe' defaults to file.\n", errors)
        self.assertFalse(self.home.exists())

    def test_a_directory_accounts_name_has_its_domain_in_it(self):
        with open("/etc/passwd", "a", encoding="ascii") as accounts:
            accounts.write(f"CORP\\ssit:x:{self.user.pw_uid + 500}:{self.user.pw_gid}::{self.home}:/bin/false\n")
        os.chown(self.home, self.user.pw_uid + 500, self.user.pw_gid)
        self.assertEqual(self.set_flag("CORP\\ssit"), (0, ""))
        account = pwd.getpwnam("CORP\\ssit")
        self.assertEqual(self.state(self.file), ("0o600", account.pw_uid, account.pw_gid))
        self.assertEqual(self.run_as(account, "show"), (0, "YES\n", ""))
        self.assertEqual(self.run_as(account, "reset"), (0, "The flag is not set.\n", ""))
        self.assertEqual(self.run_as(account, "show"), (0, "NO\n", ""))

    # What a user may put into root's way

    def test_a_link_in_the_files_place_is_refused(self):
        self.make_folders()
        for target in (self.target, self.precious / "not there"):
            self.file.unlink(missing_ok=True)
            self.file.symlink_to(target)
            self.assert_refused("Unable get attributes for the file: " + str(self.file),
                                f'"{self.file}" is a symbolic link of user')
            self.assertTrue(self.file.is_symlink())

    def test_a_link_in_a_folders_place_is_refused(self):
        for place in ("Library", "Preferences"):
            with self.subTest(place):
                shutil.rmtree(self.library, ignore_errors=True)
                if place == "Library":
                    (self.precious / "Preferences").mkdir(exist_ok=True)
                    self.library.symlink_to(self.precious)
                else:
                    self.library.unlink(missing_ok=True)
                    self.library.mkdir()
                    os.chown(self.library, self.user.pw_uid, self.user.pw_gid)
                    self.folder.symlink_to(self.precious)
                link = self.library if place == "Library" else self.folder
                os.chown(link, self.user.pw_uid, self.user.pw_gid, follow_symlinks=False)
                self.before = self.state_of_precious()
                self.assert_refused(f'On the way to "{self.file}", "{place}" is a symbolic link of user '
                                    f"{self.user.pw_uid}.")

    def test_a_link_to_a_folder_of_his_own_is_refused_as_well(self):
        elsewhere = self.home / "elsewhere"
        elsewhere.mkdir()
        os.chown(elsewhere, self.user.pw_uid, self.user.pw_gid)
        self.make_folders()
        self.folder.rmdir()
        self.folder.symlink_to(elsewhere)
        os.chown(self.folder, self.user.pw_uid, self.user.pw_gid, follow_symlinks=False)
        self.assert_refused(f'On the way to "{self.file}", "Preferences" is a symbolic link of user')
        self.assertEqual(os.listdir(elsewhere), [])

    def test_roots_link_leads_no_further_than_the_users_rights(self):
        self.make_folders()
        self.folder.rmdir()
        self.folder.symlink_to(self.precious)
        self.assert_refused("Unable write user 'ssit-jdoe' defaults to file.")

    def test_another_name_of_roots_file_is_refused(self):
        self.make_folders()
        os.link(self.target, self.file)
        self.before = self.state_of_precious()
        self.assert_refused("Unable write user 'ssit-jdoe' defaults to file.",
                            f'"{self.file}" is a file of user 0, who is somebody else.')
        self.assertTrue(os.path.samefile(self.file, self.target))

    def test_a_file_that_is_not_the_users_stays(self):
        contents = plistlib.dumps({"Precious": True})
        for owner in (0, self.other.pw_uid):
            self.make_file(contents, 0o644, owner)
            before = self.state(self.file)
            self.assert_refused("Unable write user 'ssit-jdoe' defaults to file.")
            self.assertEqual((self.file.read_bytes(), self.state(self.file)), (contents, before))

    def test_a_file_that_the_user_may_not_read_stays(self):
        contents = plistlib.dumps({"Precious": True})
        for owner in (0, self.other.pw_uid):
            self.make_file(contents, 0o600, owner)
            self.assert_refused("Unable translate user 'ssit-jdoe' defaults",
                                f'Cannot open "{self.file}": Permission denied')
            self.assertEqual(self.file.read_bytes(), contents)

    def test_another_name_of_a_file_that_the_user_may_not_read_stays(self):
        self.make_file(b"his own", 0o000)
        os.link(self.file, self.folder / "other")
        self.assert_refused("Unable translate user 'ssit-jdoe' defaults",
                            f'Cannot open "{self.file}": Permission denied')
        self.assertEqual(self.file.read_bytes(), b"his own")

    def test_a_folder_or_a_fifo_in_the_files_place_is_refused_at_once(self):
        self.make_folders()
        self.file.mkdir()
        self.assert_refused("Unable translate user 'ssit-jdoe' defaults", f'"{self.file}" is a folder of user')
        self.file.rmdir()
        os.mkfifo(self.file)
        self.assert_refused("Unable translate user 'ssit-jdoe' defaults", f'"{self.file}" is a FIFO of user')

    def test_a_folder_that_the_user_may_not_write_to_is_roots_and_stays(self):
        self.make_folders()
        os.chown(self.folder, 0, 0)
        self.assert_refused("Unable write user 'ssit-jdoe' defaults to file.")
        self.assertEqual(os.listdir(self.folder), [])

    def test_a_home_folder_of_somebody_elses_stays(self):
        os.chown(self.home, self.other.pw_uid, self.other.pw_gid)
        self.home.chmod(0o755)
        self.assert_refused("Unable write user 'ssit-jdoe' defaults to file.")
        self.assertEqual(os.listdir(self.home), [])

    def test_folders_that_change_places_while_root_works_lead_nowhere_else(self):
        self.make_folders()
        swap = self.home / "swap"
        swap.symlink_to(self.precious)
        os.chown(swap, self.user.pw_uid, self.user.pw_gid, follow_symlinks=False)
        # The user exchanges his folder and a link, again and again.
        script = ("import ctypes, os, sys\n"
                  "libc = ctypes.CDLL(None)\n"
                  "print('ready', flush=True)\n"
                  "while os.getppid() == int(sys.argv[3]):\n"
                  "    libc.renameat2(-100, sys.argv[1].encode(), -100, sys.argv[2].encode(), 2)\n"
                  "    os.sched_yield()\n")
        swapper = subprocess.Popen(["/usr/bin/python3", "-c", script, self.folder, swap, str(os.getpid())],
                                   user=self.user.pw_uid, group=self.user.pw_gid, extra_groups=[],
                                   stdout=subprocess.PIPE, text=True, cwd="/")
        try:
            self.assertEqual(swapper.stdout.readline(), "ready\n")
            outcomes = {self.set_flag()[0] for _ in range(40)}
        finally:
            swapper.send_signal(signal.SIGKILL)
            swapper.communicate()
        self.assertLessEqual(outcomes, {0, 1})
        self.assertEqual(self.state_of_precious(), self.before)
        for folder in (self.folder, swap):
            if folder.is_dir() and not folder.is_symlink():
                for name in os.listdir(folder):
                    self.assertEqual((folder / name).lstat().st_uid, self.user.pw_uid)

    # What the user does

    def test_the_user_sees_what_root_set_and_clears_it(self):
        self.assertEqual(self.run_as(self.user, "show"), (0, "NO\n", ""))
        self.assert_set()
        self.assertEqual(self.run_as(self.user, "show"), (0, "YES\n", ""))
        status, output, errors = self.run_as(self.user, "show", "--json")
        self.assertEqual((status, json.loads(output), errors), (0, {"passwordChanged": True}, ""))
        self.assertEqual(self.run_as(self.user, "reset"), (0, "The flag is not set.\n", ""))
        self.assertEqual(self.run_as(self.user, "show"), (0, "NO\n", ""))
        self.assertEqual(plistlib.loads(self.file.read_bytes()), {"PasswordChanged": False})
        # Whoever else asks is told about himself.
        self.assertEqual(self.run_as(self.other, "show"), (0, "NO\n", ""))

    def test_a_reset_keeps_the_format_and_every_other_value_and_shuts_the_file(self):
        for name, form in FORMATS.items():
            with self.subTest(name):
                self.make_file(plistlib.dumps(VALUES | {"PasswordChanged": True}, fmt=form), 0o664,
                               group=self.projects)
                self.assertEqual(self.run_as(self.user, "reset")[0], 0)
                contents = self.file.read_bytes()
                self.assertEqual(is_binary(contents), name == "binary")
                expected = plistlib.loads(plistlib.dumps(VALUES, fmt=form)) | {"PasswordChanged": False}
                self.assertEqual(plistlib.loads(contents), expected)
                self.assertEqual(self.state(self.file), self.users(0o600))

    def test_a_reset_gives_a_file_of_another_group_back_to_the_users_own(self):
        for group in (self.other.pw_gid, 0):
            contents = plistlib.dumps(VALUES | {"PasswordChanged": True}, fmt=plistlib.FMT_BINARY)
            self.make_file(contents, 0o640, group=group)
            self.assertEqual(self.run_as(self.user, "reset"), (0, "The flag is not set.\n", ""))
            self.assertEqual(plistlib.loads(self.file.read_bytes()), VALUES | {"PasswordChanged": False})
            self.assertEqual(self.state(self.file), self.users(0o600))

    def test_a_reset_without_a_file_makes_nothing(self):
        self.assertEqual(self.run_as(self.user, "reset"), (0, "The flag is not set.\n", ""))
        self.assertEqual(os.listdir(self.home), [])

    def test_a_reset_leaves_alone_what_is_no_property_list(self):
        self.make_file(b"no property list")
        status, output, errors = self.run_as(self.user, "reset")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("Unable translate user 'ssit-jdoe' defaults\n", errors)
        self.assertEqual(self.file.read_bytes(), b"no property list")

    def test_only_root_sets_and_never_for_himself_as_a_user(self):
        status, output, errors = self.run_as(self.user, "set", "--user", "ssit-jdoe")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("Only root can write to user defaults.\n", errors)
        self.assertEqual(os.listdir(self.home), [])
        self.assertIn("only ordinary user can read from user defaults.\n", self.run_as(None, "show")[2])
        self.assertIn("Only ordinary user can write to user defaults.\n", self.run_as(None, "reset")[2])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
