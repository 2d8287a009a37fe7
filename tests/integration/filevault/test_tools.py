"""The disk encryption tools as an ordinary account has them run: real su, sudo and expect, real
accounts, stand-ins for the tools themselves; see with-tools.

    test_tools.py PROBE SUDOERS
"""
import json
import os
import pathlib
import pwd
import re
import stat
import subprocess
import sys
import time
import unittest

PROBE, SUDOERS = sys.argv[1:]
BOSS, JANE, PLAIN, AGENT = "ssit-boss", "ssit-jane", "ssit-plain", "ssit-agent"
STANDIN = pathlib.Path("/standin")
LOG, SUDO_LOG = pathlib.Path("/tmp/zevrikselfservice.log"), pathlib.Path("/var/log/sudo.log")
SUDO_MAIL = pathlib.Path("/tmp/sudo-mail")
IDENTIFIER = "ABCDEF01-2345-6789-ABCD-EF0123456789"
TRACE = '********\n    while executing\n"********"'

# What becomes of a password, by what the escaping makes of it: whether an administrator of that
# password reads the list, whether a user of that password has his disk password confirmed, whether a
# user is added again with that password. Only backslashes and double quotes are escaped, once. The
# script language takes that away again, so both arrive at a prompt; but "$NAME" and "[" are the
# script's own there, and a brace without its other half ends the part of the script it stands in. The
# disk tool's argument passes a shell after that, in double quotes, with nothing escaped any more.
PASSWORDS = [
    # password              list   disk   again
    ("Ordinary-Secret1",    True,  True,  True),
    ("quo\"Teing77",        True,  False, True),   # the shell's quote ends too early
    ("back\\sLash77",       True,  True,  True),
    ("twice\\\\sLash77",    True,  False, True),   # the shell makes one of two
    ("atTheEnd77\\",        True,  False, True),   # the shell's quote does not end
    ("dollar$Name77",       False, False, False),  # no such variable
    ("dollar${Absent}77",   False, False, False),  # nor of this one
    ("dollar$(Paren)77",    False, False, False),  # a variable without a name
    ("dollar$?Status77",    True,  False, True),   # the shell's own
    ("dollarLast77$",       True,  True,  True),   # no name follows
    ("dollar77\\$",         True,  False, True),   # the shell takes the backslash away
    ("-dash77First",        False, False, False),  # an option of the script's "send"
    ("open[Bracket77]",     False, False, False),  # no such command
    ("closing]Bracket77",   True,  True,  True),
    ("oneHalf}Brace77",     False, False, False),
    ("other{HalfBrace77",   False, False, False),
    ("both{Halves}77",      True,  True,  True),
    ("back`Quoted77`End",   True,  False, True),   # the shell runs it
    ("single'Quote77",      True,  True,  True),
    ("Gr\u00fcn\u20ac\u00d1\u00e977", True, True, True),
    ("sp ace;#&|<>!~*?77",  True,  True,  True),
    ("per%cent%@%s77",      True,  True,  True),
]


def processes():
    """The commands that run here besides this one."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            line = (folder / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
            state = (folder / "stat").read_text().rsplit(")", 1)[1].split()[0]
        except (FileNotFoundError, ProcessLookupError):
            continue
        # Orphans become this one's children, which collects none but its own.
        if int(folder.name) not in (1, os.getpid()) and state != "Z":
            found.append(line)
    return found


def nothing_is_running():
    """The end of a terminal's session takes a moment."""
    limit = time.monotonic() + 120
    while processes() and time.monotonic() < limit:
        time.sleep(0.05)
    return processes() == []


class Tools(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for name, groups in ((BOSS, ["-G", "sudo"]), (JANE, ["-G", "sudo"]), (PLAIN, []), (AGENT, [])):
            subprocess.run(["useradd", "--create-home", "--shell", "/bin/bash", *groups, name], check=True)
        cls.agent = pwd.getpwnam(AGENT)

    def setUp(self):
        (STANDIN / "passwords").mkdir(parents=True, exist_ok=True)
        for name, text in (("status", "FileVault is On.\n"), ("token", "ENABLED"), ("received", ""),
                           ("passphrase", "Ordinary-Secret1"),
                           ("users", f"{BOSS},{IDENTIFIER}\n{JANE},{IDENTIFIER}\n")):
            (STANDIN / name).write_text(text)
        (STANDIN / "refuse").unlink(missing_ok=True)
        LOG.unlink(missing_ok=True)
        SUDO_LOG.unlink(missing_ok=True)
        SUDO_MAIL.unlink(missing_ok=True)
        self.set_password("Ordinary-Secret1", BOSS, JANE, PLAIN)

    @staticmethod
    def set_password(password, *names):
        # The method with the least work: hundreds of them are set and checked.
        subprocess.run(["chpasswd", "-c", "SHA256"], check=True,
                       input="".join(f"{name}:{password}\n" for name in names).encode())
        for name in names:
            (STANDIN / "passwords" / name).write_text(password)

    def ask(self, operation, user=JANE, password="Ordinary-Secret1", admin=BOSS,
            admin_password="Ordinary-Secret1"):
        """What the operation returns, and its message; as an account that may nothing by itself. Its
        own language is another than the one that the prompts are waited for in."""
        question = {"operation": operation, "user": user, "password": password, "admin": admin,
                    "adminPassword": admin_password}
        done = subprocess.run([PROBE], input=json.dumps(question).encode(), capture_output=True, cwd="/",
                              user=self.agent.pw_uid, group=self.agent.pw_gid, extra_groups=[],
                              env={"PATH": "/usr/bin:/bin", "HOME": self.agent.pw_dir, "USER": AGENT,
                                   "LC_ALL": "POSIX", "LANGUAGE": "de:fr"})
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertTrue(nothing_is_running(), processes())
        answer = json.loads(done.stdout)
        return answer["result"], answer["message"]

    def log(self):
        return LOG.read_text(encoding="utf-8") if LOG.exists() else ""

    def received(self):
        return (STANDIN / "received").read_text(encoding="utf-8").splitlines()

    def users(self):
        return [line.split(",")[0] for line in (STANDIN / "users").read_text().splitlines()]

    def assert_no_trace_of(self, password, message):
        """Neither the password nor a word of it is in a log or a message."""
        escaped = password.replace("\\", "\\\\").replace('"', '\\"')
        told = self.log() + (message or "")
        if SUDO_LOG.exists():
            told += SUDO_LOG.read_text(encoding="utf-8")
        for form in {password, escaped, *re.findall(r"\w{4,}", password)}:
            self.assertNotIn(form, told)

    def test_whether_filevault_is_on(self):
        self.assertEqual(self.ask("status"), (True, None))
        (STANDIN / "status").write_text("FileVault is Off.\n")
        self.assertEqual(self.ask("status"), (False, None))
        self.assertIn("fdesetup status. Info: FileVault is Off.\n", self.log())

    def test_whether_a_user_has_a_secure_token(self):
        self.assertEqual(self.ask("token"), (True, None))
        (STANDIN / "token").write_text("DISABLED")
        self.assertEqual(self.ask("token"), (False, None))
        self.assertIn(f"Secure token is DISABLED for user {JANE}", self.log())

    def test_each_password_comes_to_what_the_table_says(self):
        for password, lists, confirms, adds in PASSWORDS:
            with self.subTest(password=password):
                self.setUp()
                self.set_password(password, BOSS, JANE)
                (STANDIN / "passphrase").write_text(password)
                self.assertEqual(self.ask("list", admin_password=password), (lists, None))
                self.assertEqual(self.received(), [])
                self.assertEqual(self.ask("verify", password=password), (confirms, None))
                if confirms:
                    self.assertEqual(self.received(), [password])
                    self.assertRegex((STANDIN / "identifier").read_text(),
                                     r"^FFFFEEEE-DDDD-CCCC-BBBB-AAAA[0-9A-F]{8}$")
                # arguments of a program of its own, which nothing reads but that
                self.assertEqual(self.ask("grant", password=password, admin_password=password),
                                 (True, None))
                self.assert_no_trace_of(password, None)

                self.set_password("Ordinary-Secret1", BOSS)
                (STANDIN / "received").write_text("")
                done, message = self.ask("readd", password=password)
                self.assertEqual((done, message is None), (adds, adds), message)
                if adds:
                    self.assertEqual(self.received(), ["Ordinary-Secret1", password])
                    self.assertEqual(self.users(), [BOSS, JANE])
                self.assert_no_trace_of(password, message)

    def test_a_variable_of_the_script_makes_another_password(self):
        self.assertEqual(self.ask("readd", password="dollar${spawn_id}7"), (True, None))
        self.assertRegex(self.received()[1], r"^dollarexp\d+7$")

    def test_what_the_script_language_stumbles_over_is_not_shown(self):
        for password in ("dollar$Name77", "open[Bracket77]", "oneHalf}Brace77"):
            with self.subTest(password=password):
                self.setUp()
                self.assertEqual(self.ask("readd", password="x", admin_password=password),
                                 (False, TRACE))
                self.assertIn("/expect result: " + TRACE, self.log())
                self.assertEqual(self.users(), [BOSS, JANE])

    def test_a_user_who_is_not_in_the_list(self):
        self.assertEqual(self.ask("list", user=PLAIN), (False, None))
        self.assertEqual(self.ask("list", user=JANE.upper()), (True, None))

    def test_a_wrong_password(self):
        refused = " \r\nsu: Authentication failure\r\n"
        self.assertEqual(self.ask("list", admin_password="Wrong-Secret1"), (False, None))
        self.assertIn("[Error]: Unable find secure token users using fdesetup. Log: " + refused, self.raw())
        self.assertEqual(self.ask("verify", password="Wrong-Secret1"), (False, None))
        self.assertEqual(self.ask("readd", admin_password="Wrong-Secret1"), (False, refused))
        self.assertEqual(self.users(), [BOSS, JANE])
        self.assertEqual(self.ask("grant", admin_password="Wrong-Secret1")[0], False)
        self.assert_no_trace_of("Wrong-Secret1", None)

    def raw(self):
        return LOG.read_bytes().decode()

    def test_an_account_that_is_not_there(self):
        self.assertEqual(self.ask("readd", admin="ssit-nobody"),
                         (False, "su: user ssit-nobody does not exist or the user entry does not "
                                 "contain all the required fields\r\n"))

    def test_a_user_without_rights(self):
        message = f"\r\n{PLAIN} is not in the sudoers file.\r\n"
        self.set_password("Ordinary-Secret1", PLAIN)
        self.assertEqual(self.ask("list", admin=PLAIN), (False, None))
        self.assertIn("fdesetup. Log: " + message, self.raw())
        # The second command asks for the password again. Nobody answers: the script waits for other
        # prompts, each for its time, and what was printed meanwhile is not kept.
        self.assertEqual(self.ask("readd", admin=PLAIN), (False, ""))
        self.assertIn("Unable get secure token users using fdesetup. Error: (null)\n", self.log())
        self.assertEqual(self.users(), [BOSS, JANE])
        self.assertEqual(self.ask("verify", user=PLAIN), (False, None))
        self.assert_no_trace_of("Ordinary-Secret1", None)

    def test_a_disk_password_that_is_the_old_one(self):
        (STANDIN / "passphrase").write_text("Older-Secret1")
        self.assertEqual(self.ask("verify"), (False, None))
        self.assertIn("/expect result: \r\nPassphrase incorrect\r\n", self.raw())

    def test_a_tool_that_refuses_gives_its_words_as_the_message(self):
        (STANDIN / "refuse").touch()
        self.assertEqual(self.ask("readd"), (False, "\r\nError: User could not be authenticated.\r\n"))
        self.set_password("Ordinary-Secret1", BOSS)
        (STANDIN / "passwords" / BOSS).write_text("another")
        done, message = self.ask("grant")
        self.assertEqual((done, message.split("] ")[1]),
                         (False, "Operation is not permitted without secure token unlock.\n"))

    def test_sudo_logs_no_password(self):
        self.ask("verify")
        self.assertFalse(SUDO_LOG.exists() and "diskutil" in SUDO_LOG.read_text())
        # refused: the command would be logged as well
        self.ask("verify", user=PLAIN)
        self.assertFalse(SUDO_LOG.exists() and "Ordinary-Secret1" in SUDO_LOG.read_text())
        # what is done to the list of users is
        self.ask("readd")
        self.assertIn("fdesetup add", SUDO_LOG.read_text().replace("\n    ", " "))

    def test_sudo_mails_no_password(self):
        self.ask("verify", user=PLAIN)
        # the same refusal of another command is mailed, later than the one before would have been
        self.ask("list", admin=PLAIN)
        limit = time.monotonic() + 120
        while "fdesetup" not in (mail := SUDO_MAIL.read_text() if SUDO_MAIL.exists() else ""):
            self.assertLess(time.monotonic(), limit, mail)
            time.sleep(0.05)
        self.assertNotIn("diskutil", mail)
        self.assertNotIn("Ordinary-Secret1", mail)

    def test_the_file_for_sudo_is_accepted(self):
        self.assertEqual(stat.S_IMODE(os.stat(SUDOERS).st_mode), 0o440)
        done = subprocess.run(["visudo", "-c", "-f", SUDOERS], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, f"{SUDOERS}: parsed OK\n")
        self.assertEqual(subprocess.run(["visudo", "-c"], capture_output=True).returncode, 0)

    def test_the_file_for_sudo_gives_nobody_rights(self):
        listed = subprocess.run(["sudo", "-l", "-U", PLAIN], capture_output=True, text=True).stdout
        self.assertIn(f"User {PLAIN} is not allowed to run sudo", listed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
