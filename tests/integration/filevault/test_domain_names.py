"""Administrators whose account's name has a domain in it, as a joined computer has them: real su, sudo
and expect take the name as the account database has it, and so do the stand-ins for the tools; see
with-tools.

    test_domain_names.py PROBE SUDOERS
"""
import json
import pathlib
import pwd
import subprocess
import sys
import unittest

PROBE = sys.argv[1]
JANE, AGENT, SECRET = "ssit-jane@corp.example.test", "ssit-agent", "Ordinary-Secret1"
ADMINISTRATORS = ("ssit-boss@corp.example.test", "CORP\\ssit-chief")
STANDIN = pathlib.Path("/standin")
LOG, SUDO_LOG = pathlib.Path("/tmp/zevrikselfservice.log"), pathlib.Path("/var/log/sudo.log")
IDENTIFIER = "ABCDEF01-2345-6789-ABCD-EF0123456789"


class DomainNames(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # These are names that useradd refuses.
        names = (*ADMINISTRATORS, JANE, AGENT)
        with open("/etc/passwd", "a", encoding="ascii") as users:
            users.writelines(f"{name}:x:{number}:{number}::/tmp:/bin/bash\n"
                             for number, name in enumerate(names, 7401))
        with open("/etc/shadow", "a", encoding="ascii") as passwords:
            passwords.writelines(f"{name}:*:19000:0:99999:7:::\n" for name in names)
        subprocess.run(["chpasswd", "-c", "SHA256"], check=True, text=True,
                       input="".join(f"{name}:{SECRET}\n" for name in names))
        groups = pathlib.Path("/etc/group").read_text(encoding="utf-8").splitlines()
        members = ",".join(ADMINISTRATORS)
        groups = [line + ("" if line.endswith(":") else ",") + members if line.startswith("sudo:") else line
                  for line in groups]
        pathlib.Path("/etc/group").write_text("\n".join(groups) + "\n", encoding="utf-8")
        cls.agent = pwd.getpwnam(AGENT)

    def setUp(self):
        (STANDIN / "passwords").mkdir(parents=True, exist_ok=True)
        (STANDIN / "token").write_text("ENABLED")
        (STANDIN / "received").write_text("")
        (STANDIN / "passphrase").write_text(SECRET)
        (STANDIN / "users").write_text("".join(f"{name},{IDENTIFIER}\n" for name in (*ADMINISTRATORS, JANE)))
        LOG.unlink(missing_ok=True)
        SUDO_LOG.unlink(missing_ok=True)
        for name in (*ADMINISTRATORS, JANE):
            (STANDIN / "passwords" / name).write_text(SECRET)

    def ask(self, operation, **question):
        question = {"operation": operation, "password": SECRET, "adminPassword": SECRET} | question
        done = subprocess.run([PROBE], input=json.dumps(question).encode(), capture_output=True, cwd="/",
                              user=self.agent.pw_uid, group=self.agent.pw_gid, extra_groups=[],
                              env={"PATH": "/usr/bin:/bin", "HOME": "/tmp", "USER": AGENT})
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        answer = json.loads(done.stdout)
        return answer["result"], answer["message"]

    def test_the_disk_password_is_checked_as_the_administrator(self):
        for name in ADMINISTRATORS:
            with self.subTest(name):
                self.setUp()
                self.assertEqual(self.ask("verify", user=name), (True, None))
                # This computer is in no domain, so the identifier is that of an account of its own.
                self.assertEqual((STANDIN / "identifier").read_text(),
                                 f"FFFFEEEE-DDDD-CCCC-BBBB-AAAA{pwd.getpwnam(name).pw_uid:08X}\n")
                self.assertEqual((STANDIN / "received").read_text(), SECRET + "\n")

    def test_a_wrong_password(self):
        for name in ADMINISTRATORS:
            with self.subTest(name):
                self.setUp()
                self.assertEqual(self.ask("verify", user=name, password="Wrong-Secret1"), (False, None))
                self.assertIn("[Info]: /expect result:  \r\nsu: Authentication failure\r\n",
                              LOG.read_bytes().decode())
                self.assertEqual((STANDIN / "received").read_text(), "")

    def test_the_list_is_read_and_has_the_whole_name(self):
        for name in ADMINISTRATORS:
            with self.subTest(name):
                self.setUp()
                self.assertEqual(self.ask("list", user=name.upper(), admin=name), (True, None))
                self.assertEqual(self.ask("list", user="ssit-chief", admin=name), (False, None))
                # The name as sudo has it.
                self.assertIn(f": {name} : ", SUDO_LOG.read_text())

    def test_the_account_tool_gets_the_whole_name(self):
        for name in ADMINISTRATORS:
            with self.subTest(name):
                self.setUp()
                self.assertEqual(self.ask("token", user=name), (True, None))
                self.assertIn(f"Secure token is ENABLED for user {name}\n", LOG.read_text())
                self.assertEqual(self.ask("grant", user=JANE, admin=name), (True, None))
                self.assertEqual(self.ask("grant", user=JANE.split("@")[0], admin=name)[0], False)

    def test_a_user_is_added_anew_under_his_whole_name(self):
        boss = ADMINISTRATORS[0]
        self.assertEqual(self.ask("readd", user=JANE, admin=boss, password="New-Secret1"), (True, None))
        self.assertEqual((STANDIN / "received").read_text(), f"{SECRET}\nNew-Secret1\n")
        self.assertEqual((STANDIN / "users").read_text().splitlines()[-1].split(",")[0], JANE)

    def test_a_name_with_a_backslash_adds_nobody_anew(self):
        # The script waits for a prompt without it, for ten seconds each time, and what was printed
        # meanwhile is not kept.
        self.assertEqual(self.ask("readd", user=JANE, admin=ADMINISTRATORS[1]), (False, ""))
        self.assertEqual((STANDIN / "users").read_text().splitlines(),
                         [f"{name},{IDENTIFIER}" for name in ADMINISTRATORS])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
