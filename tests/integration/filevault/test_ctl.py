"""What the command line tells of disk encryption, with and without an open list of processes: real su,
sudo and expect, real accounts, stand-ins for the tools themselves; see with-tools.

    test_ctl.py ZEVRIKSELFSERVICECTL SUDOERS
"""
import json
import os
import pathlib
import pty
import pwd
import subprocess
import sys
import unittest

PROGRAM = sys.argv[1]
BOSS, AGENT = "ssit-boss", "ssit-agent"
PASSWORD = "Ordinary-Secret1"
STANDIN = pathlib.Path("/standin")
IDENTIFIER = "ABCDEF01-2345-6789-ABCD-EF0123456789"
WARNING = ("zevrikselfservicectl: warning: other users of this computer can see the passwords in the "
           "arguments of the disk encryption tools while these run; \"Who can see a password\" in the "
           "manual disk-encryption.md says how to close that\n")
HIDING = ("noaccess", "invisible", "ptraceable")


def set_hidepid(value):
    subprocess.run(["mount", "-o", f"remount,hidepid={value}", "/proc"], check=True)


class Control(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for name, groups in ((BOSS, ["-G", "sudo"]), (AGENT, [])):
            subprocess.run(["useradd", "--create-home", "--shell", "/bin/bash", *groups, name], check=True)
        subprocess.run(["chpasswd"], input=f"{BOSS}:{PASSWORD}\n".encode(), check=True)
        cls.agent = pwd.getpwnam(AGENT)

    def setUp(self):
        STANDIN.mkdir(exist_ok=True)
        (STANDIN / "status").write_text("FileVault is On.\n")
        (STANDIN / "token").write_text("ENABLED")
        (STANDIN / "users").write_text(f"zoe,{IDENTIFIER}\n{BOSS},{IDENTIFIER}\nJane,{IDENTIFIER}\n")
        set_hidepid("invisible")

    def how(self, account):
        environment = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        environment |= {"PATH": "/usr/bin:/bin", "HOME": account.pw_dir if account else "/root",
                        "LC_ALL": "C.UTF-8"}
        options = {"cwd": "/", "env": environment}
        if account:
            options |= {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": []}
        return options

    def ask(self, *arguments, password=None, root=False):
        done = subprocess.run([PROGRAM, "filevault", *arguments], capture_output=True, text=True, timeout=120,
                              input="" if password is None else password + "\n",
                              **self.how(None if root else self.agent))
        return done.returncode, done.stdout, done.stderr

    def others_see_arguments(self):
        """Whether an ordinary user reads the arguments of this process, which is root's."""
        return subprocess.run(["cat", f"/proc/{os.getpid()}/cmdline"], capture_output=True,
                              **self.how(self.agent)).returncode == 0

    def test_the_warning_is_there_where_others_see_arguments(self):
        for value in ("off", *HIDING):
            with self.subTest(value):
                set_hidepid(value)
                self.assertEqual(self.others_see_arguments(), value == "off")
                for root in (False, True):
                    status, output, errors = self.ask("status", "--json", root=root)
                    self.assertEqual((status, errors), (0, WARNING if value == "off" else ""))
                    self.assertEqual(json.loads(output)["areArgumentsOpenToOthers"], value == "off")

    def test_the_status_of_whoever_asks_and_of_others(self):
        self.assertEqual(self.ask("status"), (0, "SecureToken supported: YES\n"
                                                 "FileVault is on:       YES\n"
                                                 f"User:                  {AGENT}\n"
                                                 "SecureToken status:    YES\n", ""))
        (STANDIN / "token").write_text("DISABLED")
        (STANDIN / "status").write_text("FileVault is Off.\n")
        for root in (False, True):
            status, output, errors = self.ask("status", "--user", BOSS, "--json", root=root)
            self.assertEqual((status, errors), (0, ""))
            self.assertEqual(json.loads(output),
                             {"isSecureTokenSupported": True, "fdeStatus": False, "user": BOSS,
                              "secureTokenStatus": False, "areArgumentsOpenToOthers": False})

    def test_an_unknown_user(self):
        self.assertEqual(self.ask("status", "--user", "ssit-nobody"),
                         (1, "", "zevrikselfservicectl: this computer has no user ssit-nobody\n"))

    def test_the_users_with_the_administrators_password_from_the_standard_input(self):
        for root in (False, True):
            with self.subTest(root=root):
                self.assertEqual(self.ask("users", "--admin", BOSS, password=PASSWORD, root=root),
                                 (0, f"jane\n{BOSS}\nzoe\n", ""))
                status, output, errors = self.ask("users", "--admin", BOSS, "--json", password=PASSWORD, root=root)
                self.assertEqual((status, errors), (0, ""))
                self.assertEqual(json.loads(output),
                                 {"users": ["jane", BOSS, "zoe"], "areArgumentsOpenToOthers": False})

    def test_a_wrong_password_is_a_failure_that_does_not_show_it(self):
        status, output, errors = self.ask("users", "--admin", BOSS, password="Wrong-Secret77")
        self.assertEqual((status, output), (1, ""))
        self.assertTrue(errors.endswith(
            f"zevrikselfservicectl: the FileVault users could not be read with the rights of {BOSS}\n"), errors)
        self.assertNotIn("Wrong-Secret77", errors)

    def test_the_warning_comes_before_the_prompt_and_nothing_is_echoed(self):
        set_hidepid("off")
        process, terminal = pty.fork()
        if process == 0:
            try:
                os.setgroups([])
                os.setgid(self.agent.pw_gid)
                os.setuid(self.agent.pw_uid)
                os.execve(PROGRAM, [PROGRAM, "filevault", "users", "--admin", BOSS], self.how(self.agent)["env"])
            finally:
                os._exit(127)
        seen = b""
        answered = False
        while True:
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # The other end is closed.
                break
            if not piece:
                break
            seen += piece
            if not answered and seen.endswith(b"Password: "):
                os.write(terminal, PASSWORD.encode() + b"\n")
                answered = True
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]), 0, seen)
        shown = seen.decode().replace("\r\n", "\n")
        self.assertEqual(shown, f"{WARNING}Password: \njane\n{BOSS}\nzoe\n")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
