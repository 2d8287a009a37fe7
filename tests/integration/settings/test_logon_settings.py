#!/usr/bin/python3
"""The logon settings' cache as root, as _securityagent and as an ordinary user keep it, with real
accounts: run by with-own-etc, whose copy of /etc has them.

    test_logon_settings.py PROBE
"""
import base64
import grp
import json
import os
import pathlib
import plistlib
import pwd
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

PROBE = sys.argv[1]
LDIF = """version: 1

dn: CN=CORP,CN=Partitions,CN=Configuration,DC=corp,DC=example,DC=test
objectClass: crossRef
nCName: DC=corp,DC=example,DC=test
nETBIOSName: CORP

dn: CN=Self-Service,CN=System,DC=corp,DC=example,DC=test
objectClass: serviceConnectionPoint
serviceDNSName: selfservice.corp.example.test
keywords: 1.3.6.1.4.1.32473.2.3.1
keywords: WinlogonResetPassword.Enabled=1
keywords: WinlogonResetPassword.WebUiUrl=https://host/
keywords: OfflinePasswordReset.Enabled=1
keywords: ConfigurationSet.Key:0=@0@
keywords: ConfigurationSet.Key:1=@1@
"""


def public_key():
    """A blob with the layout that the service publishes, of a key that openssl makes."""
    private = subprocess.run(["openssl", "genrsa", "2048"], check=True, capture_output=True).stdout
    told = subprocess.run(["openssl", "rsa", "-noout", "-modulus"], input=private, check=True,
                          capture_output=True, text=False).stdout.decode()
    modulus = bytes.fromhex(told.strip().split("=")[1])
    header = bytes.fromhex("06020000" "00a40000" "52534131" "00080000" "01000100")
    return private, header + modulus[::-1]


class LogonSettings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for name in ("_securityagent", "ssit-user"):
            subprocess.run(["useradd", "--no-create-home", "--shell", "/usr/sbin/nologin", name], check=True,
                           stderr=subprocess.DEVNULL)
        cls.agent, cls.user = pwd.getpwnam("_securityagent"), pwd.getpwnam("ssit-user")
        cls.admin = next(grp.getgrnam(name).gr_gid for name in ("admin", "sudo", "wheel")
                         if any(entry.gr_name == name for entry in grp.getgrall()))
        cls.private, cls.blob = public_key()

    def setUp(self):
        # Not in /tmp, which is this user's alone on some computers.
        self.root = pathlib.Path(tempfile.mkdtemp(dir="/var/tmp"))
        self.addCleanup(shutil.rmtree, self.root)
        self.root.chmod(0o755)
        self.caches = self.root / "Library/Caches"
        self.caches.mkdir(parents=True)
        self.folder = self.caches / "ZevrikSelfService"
        self.settings = self.folder / "com.zevrik.selfservice.plist"
        self.keys = self.folder / "com.zevrik.selfservice.hash.plist"
        text = base64.b64encode(self.blob).decode()
        (self.root / "directory.ldif").write_text(LDIF.replace("@0@", text[:200]).replace("@1@", text[200:]))

    def probe(self, action, account=None):
        options = {} if account is None else {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": []}
        done = subprocess.run([PROBE, self.root, self.root / "directory.ldif", action], capture_output=True,
                              text=True, cwd="/", timeout=120, **options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout), done.stderr

    def state(self, path):
        found = path.stat()
        return oct(stat.S_IMODE(found.st_mode)), found.st_uid, found.st_gid

    def read(self, path):
        return plistlib.loads(path.read_bytes(), fmt=plistlib.FMT_BINARY)

    def install(self):
        """What the installation makes."""
        self.folder.mkdir()
        os.chown(self.folder, self.agent.pw_uid, self.admin)
        self.folder.chmod(0o2711)
        self.settings.touch()
        os.chown(self.settings, self.agent.pw_uid, self.admin)
        self.settings.chmod(0o666)

    def test_root_makes_the_folder_and_both_files(self):
        told, errors = self.probe("save")
        self.assertEqual((told["saved"], errors), (True, ""))
        self.assertEqual(self.state(self.folder), ("0o711", self.agent.pw_uid, self.admin))
        self.assertEqual(self.state(self.settings), ("0o666", self.agent.pw_uid, self.admin))
        self.assertEqual(self.state(self.keys), ("0o600", 0, 0))
        self.assertEqual(sorted(os.listdir(self.folder)), sorted([self.settings.name, self.keys.name]))
        values = self.read(self.settings)
        self.assertEqual(list(values)[:3], ["LoginSettingsVersion", "AppleMetaNodeLocation",
                                            "AllowLoginScreenPasswordReset"])
        self.assertEqual(values["WebInterfaceURL"], "https://host/")

    def test_the_key_file_holds_what_only_the_service_and_this_computer_can_read(self):
        told, _ = self.probe("save")
        session = base64.b64decode(told["sessionKey"])
        values = self.read(self.keys)
        self.assertEqual(list(values), ["LoginSettingsVersion", "ConfigurationSet.ComputerRID",
                                        "ConfigurationSet.PublicKey", "ConfigurationSet.SessionKey",
                                        "ConfigurationSet.CipheredSessionKey"])
        self.assertEqual(values["ConfigurationSet.ComputerRID"], 0xFFFFFFFF)
        self.assertEqual(values["ConfigurationSet.PublicKey"], self.blob)
        self.assertNotIn(session, self.keys.read_bytes())
        self.assertEqual(len(values["ConfigurationSet.SessionKey"]), 144) # 128 bytes and the padding
        key = self.root / "private.pem"
        key.write_bytes(self.private)
        plain = subprocess.run(["openssl", "pkeyutl", "-decrypt", "-inkey", key, "-pkeyopt",
                                "rsa_padding_mode:pkcs1"], input=values["ConfigurationSet.CipheredSessionKey"],
                               check=True, capture_output=True).stdout
        self.assertEqual(plain, session)
        loaded, errors = self.probe("load")
        self.assertEqual(errors, "")
        self.assertEqual(loaded, {"loaded": True, "linkURL": "https://host/", "computerRID": 0xFFFFFFFF,
                                  "sessionKey": told["sessionKey"]})

    def test_the_login_windows_account_replaces_the_settings_alone(self):
        self.install()
        before = self.settings.stat().st_ino
        told, errors = self.probe("save", self.agent)
        self.assertEqual((told["saved"], errors), (True, ""))
        self.assertNotEqual(self.settings.stat().st_ino, before)
        self.assertEqual(self.state(self.settings), ("0o666", self.agent.pw_uid, self.admin))
        self.assertEqual(os.listdir(self.folder), [self.settings.name])
        loaded, errors = self.probe("load", self.agent)
        self.assertEqual((loaded["linkURL"], loaded["sessionKey"], loaded["computerRID"], errors),
                         ("https://host/", None, 0, ""))

    def test_an_ordinary_user_writes_over_the_settings_alone(self):
        self.install()
        before = self.settings.stat().st_ino
        told, errors = self.probe("save", self.user)
        self.assertEqual((told["saved"], errors), (True, ""))
        self.assertEqual(self.settings.stat().st_ino, before)
        self.assertEqual(self.state(self.settings), ("0o666", self.agent.pw_uid, self.admin))
        self.assertEqual(os.listdir(self.folder), [self.settings.name])
        loaded, errors = self.probe("load", self.user)
        self.assertEqual((loaded["linkURL"], loaded["sessionKey"], errors), ("https://host/", None, ""))

    def test_an_ordinary_user_cannot_make_what_the_installation_did_not(self):
        told, errors = self.probe("save", self.user)
        self.assertEqual(told["saved"], False)
        self.assertIn("Unable create directory: /Library/Caches/ZevrikSelfService. Error:", errors)
        self.assertEqual(self.probe("load", self.user), ({"loaded": False}, ""))

    def test_one_users_file_serves_another_and_root_without_its_keys(self):
        self.install()
        self.probe("save", self.user)
        self.assertEqual(self.probe("load", self.agent)[0]["linkURL"], "https://host/")
        self.assertEqual(self.probe("load"), ({"loaded": False}, "")) # root's needs the keys

    def test_a_planted_link_stops_root_and_its_target_stays(self):
        self.install()
        self.settings.unlink()
        target = self.root / "target"
        target.write_text("precious")
        self.settings.symlink_to(target)
        told, errors = self.probe("save")
        self.assertEqual(told["saved"], False)
        self.assertIn("[Error]: Unable write settings to file.", errors)
        self.assertEqual(target.read_text(), "precious")
        self.assertFalse(self.probe("load")[0]["loaded"])

    def test_a_key_file_of_another_user_is_refused(self):
        self.probe("save")
        os.chown(self.keys, self.user.pw_uid, self.user.pw_gid)
        told, errors = self.probe("load")
        self.assertEqual(told, {"loaded": False})
        self.assertIn("[Error]: Unable load settings hash file.", errors)

    def test_a_torn_file_is_refused_and_the_next_save_mends_it(self):
        self.install()
        self.probe("save", self.user)
        whole = self.settings.read_bytes()
        for size in (0, 1, 8, len(whole) // 2, len(whole) - 1):
            self.settings.write_bytes(whole[:size])
            told, errors = self.probe("load", self.user)
            self.assertEqual(told, {"loaded": False}, size)
            self.assertIn("[Error]: Unable load settings file.", errors)
        self.assertTrue(self.probe("save", self.user)[0]["saved"])
        self.assertTrue(self.probe("load", self.user)[0]["loaded"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
