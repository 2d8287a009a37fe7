#!/usr/bin/env python3
"""The administrator's command line as a process of its own, on fixture files: text, JSON and exit
statuses, and what it does with input that makes no sense."""
import base64
import http.server
import json
import os
import pathlib
import plistlib
import pty
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import threading
import unittest
import urllib.parse

PROGRAM = None
FIXTURE = pathlib.Path(__file__).resolve().parent / "directory.ldif"
# What a session would have is not there; the log file of the computer is not touched either, since
# no test's defaults ask for a log.
ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"):
    if name in os.environ:
        ENVIRONMENT[name] = os.environ[name]


class Answers(http.server.BaseHTTPRequestHandler):
    users = []
    status = 200
    body = b""

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        Answers.users.append((url.path, urllib.parse.parse_qs(url.query).get("UserName")))
        self.send_response(Answers.status)
        self.send_header("Content-Length", str(len(Answers.body)))
        self.end_headers()
        self.wfile.write(Answers.body)

    def log_message(self, *arguments):
        pass


class ControlTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Answers)
        cls.thread = threading.Thread(target=cls.server.serve_forever)
        cls.thread.start()
        cls.url = f"http://127.0.0.1:{cls.server.server_port}/app"

    @classmethod
    def tearDownClass(cls):
        cls.server.shutdown()
        cls.thread.join()
        cls.server.server_close()

    def setUp(self):
        # Not in /tmp, over which a test mounts another one.
        folder = tempfile.TemporaryDirectory(dir="/var/tmp")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.ldif = self.file("directory.ldif", FIXTURE.read_text().replace("@URL@", self.url))
        self.defaults = self.plist("empty.plist", {})
        Answers.users = []
        Answers.status = 200
        Answers.body = b"NeedPssEnroll=true\r\n"

    def file(self, name, content):
        path = self.folder / name
        if isinstance(content, str):
            content = content.encode()
        path.write_bytes(content)
        return str(path)

    def plist(self, name, values, form=plistlib.FMT_XML):
        return self.file(name, plistlib.dumps(values, fmt=form))

    def run_raw(self, *arguments, **options):
        return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=120, env=ENVIRONMENT, **options)

    def run_on_files(self, *arguments, defaults=None):
        return self.run_raw(*arguments, "--ldif", self.ldif, "--defaults",
                            defaults or self.defaults)

    def answer(self, *arguments, **options):
        done = self.run_on_files(*arguments, "--json", **options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout)

    def assert_failed(self, done, status, reason):
        self.assertEqual(done.returncode, status, done)
        self.assertIn(reason, done.stderr.decode())

    # Usage

    def test_alone_it_prints_the_help_and_2(self):
        done = self.run_raw()
        self.assert_failed(done, 2, "Usage: zevrikselfservicectl COMMAND")
        self.assertEqual(done.stdout, b"")

    def test_help_is_an_answer(self):
        for arguments in (["--help"], ["discover", "--help"], ["--help", "user"]):
            done = self.run_raw(*arguments)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            self.assertIn(b"Examples:", done.stdout)

    def test_wrong_usage_is_2(self):
        for arguments in (["nonsense"], ["discover", "--nonsense"], ["user"], ["user", "a", "b"],
                          ["url", "nonsense"], ["discover", "--ldif"], ["discover", "--json=1"],
                          [b"user", b"j\xf6rg"], ["user", ""], ["-platform", "minimal"],
                          ["discover", "-reverse"]):
            done = self.run_raw(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, b""), arguments)
            self.assertTrue(done.stderr.startswith(b"zevrikselfservicectl: "), done.stderr)

    def test_a_full_disk_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([PROGRAM, "--help"], stdout=full, stderr=subprocess.PIPE,
                                  env=ENVIRONMENT, timeout=120)
        self.assert_failed(done, 1, "cannot be written")

    # Secrets

    def case(self, name):
        cases = json.loads((FIXTURE.parents[2] / "data/offline_codes.json").read_text())[name]
        return next(case for case in cases if case.get("iterations", 1) == cases[-1].get("iterations", 1))

    def test_a_password_comes_from_the_standard_input(self):
        case = self.case("dcc2")
        password = bytes.fromhex(case["password_utf16le"]).decode("utf-16-le")
        done = subprocess.run([PROGRAM, "offline", "dcc2", "--user", case["user"], "--iterations",
                               str(case["iterations"])], input=(password + "\n").encode(),
                              capture_output=True, timeout=120, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stdout.decode()), (0, case["hash"] + "\n"), done.stderr)

    def test_a_terminal_prompts_and_does_not_echo(self):
        case = self.case("reset_hash")
        password = bytes.fromhex(case["password_utf16le"]).decode("utf-16-le")
        key = base64.b64encode(bytes.fromhex(case["key"])).decode()
        child, terminal = pty.fork()
        if child == 0:
            os.execve(PROGRAM, [PROGRAM, "offline", "hash", "--user", case["user"], "--random",
                                str(case["random"])], ENVIRONMENT)
        shown = b""

        def read_until(end):
            nonlocal shown
            while not shown.endswith(end):
                shown += os.read(terminal, 1000)
        read_until(b"Password: ")
        self.assertFalse(termios.tcgetattr(terminal)[3] & termios.ECHO)
        os.write(terminal, password.encode() + b"\n")
        read_until(b"Session key in Base64: ")
        os.write(terminal, key.encode() + b"\n")
        read_until(case["hash"].encode() + b"\r\n")
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        self.assertTrue(termios.tcgetattr(terminal)[3] & termios.ECHO)
        self.assertNotIn(password.encode(), shown)
        self.assertNotIn(key.encode(), shown)
        os.close(terminal)

    def test_an_interrupted_prompt_restores_the_terminal(self):
        child, terminal = pty.fork()
        if child == 0:
            os.execve(PROGRAM, [PROGRAM, "offline", "dcc2", "--user", "jdoe"], ENVIRONMENT)
        shown = b""
        while not shown.endswith(b"Password: "):
            shown += os.read(terminal, 1000)
        os.write(terminal, b"Corr\x03")
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), -signal.SIGINT)
        self.assertTrue(termios.tcgetattr(terminal)[3] & termios.ECHO)
        os.close(terminal)

    def test_a_stopped_prompt_restores_the_terminal_and_asks_again_later(self):
        child, terminal = pty.fork()
        if child == 0: # a shell with one job, which goes on as soon as it has stopped
            signal.signal(signal.SIGTTOU, signal.SIG_IGN)
            job = os.fork()
            if job == 0:
                os.setpgid(0, 0)
                os.tcsetpgrp(0, os.getpid())
                signal.signal(signal.SIGTTOU, signal.SIG_DFL)
                os.execve(PROGRAM, [PROGRAM, "offline", "dcc2", "--user", "jdoe", "--iterations", "1"],
                          ENVIRONMENT)
            stopped = os.WIFSTOPPED(os.waitpid(job, os.WUNTRACED)[1])
            echoes = bool(termios.tcgetattr(0)[3] & termios.ECHO)
            print(f"stopped {stopped}, echo {echoes}", flush=True)
            os.kill(job, signal.SIGCONT)
            os._exit(os.waitstatus_to_exitcode(os.waitpid(job, 0)[1]))
        shown = b""

        def read_until(end):
            nonlocal shown
            while not shown.endswith(end):
                shown += os.read(terminal, 1000)
        read_until(b"Password: ")
        os.write(terminal, b"Corr\x1a")
        read_until(b"stopped True, echo True\r\nPassword: ")
        self.assertFalse(termios.tcgetattr(terminal)[3] & termios.ECHO)
        os.write(terminal, b"Secret-1\n")
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)
        self.assertTrue(termios.tcgetattr(terminal)[3] & termios.ECHO)
        self.assertNotIn(b"Secret-1", shown)
        os.close(terminal)

    def test_without_input_there_is_no_answer(self):
        self.assert_failed(self.run_raw("offline", "dcc2", "--user", "jdoe"), 1, "the input has ended")

    def test_a_key_of_openssl_goes_there_and_back(self):
        key = self.folder / "key.pem"
        private = self.folder / "private.pem"
        subprocess.run(["openssl", "genrsa", "-traditional", "-out", private, "2048"], check=True,
                       capture_output=True)
        subprocess.run(["openssl", "rsa", "-in", private, "-RSAPublicKey_out", "-out", key], check=True,
                       capture_output=True)
        done = self.run_raw("key", "to-blob", str(key), "--json")
        self.assertEqual(done.returncode, 0, done.stderr)
        blob = self.file("blob", json.loads(done.stdout)["blob"])
        done = self.run_raw("key", "check", blob)
        self.assertEqual(done.returncode, 0, done.stderr)
        done = self.run_raw("key", "to-der", blob)
        self.assertEqual(done.stdout.decode(), key.read_text())

    # Answers

    def test_discover(self):
        answer = self.answer("discover")
        names = [point["serviceDnsName"] for point in answer["connectionPoints"]]
        self.assertEqual(names, ["a.corp.example.test", "z.sales.example.test"])
        chosen = answer["connectionPoints"][answer["selectedIndex"]]
        self.assertEqual(chosen["serviceDnsName"], "z.sales.example.test")
        self.assertEqual(chosen["appleMetaNodeLocation"], "/Active Directory/SALES/All Domains")
        self.assertEqual(chosen["decidedBy"], "priority")
        self.assertEqual(chosen["keywords"]["EnrollSysNotification.Text:1"], " enroll")
        self.assertEqual(chosen["joinedKeywords"]["EnrollSysNotification.Text"], "Please enroll")
        text = self.run_on_files("discover").stdout.decode()
        self.assertIn("\n* z.sales.example.test\n", text)
        self.assertIn("\n- a.corp.example.test\n", text)

    def test_settings_and_their_sources(self):
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            defaults = self.plist("own.plist", {"EnrollReminder.Title": "Jetzt é日",
                                                "EnrollReminder.IntervalMins": 7}, form)
            answer = self.answer("settings", defaults=defaults)
            self.assertIs(answer["enrollEnabled"], True)
            self.assertEqual(answer["enrollNotificationTitle"], "Jetzt é日")
            self.assertEqual(answer["enrollNotificationIntervalsMins"], 7)
            self.assertEqual(answer["enrollNotificationText"], "Please enroll")
            self.assertEqual(answer["enrollWebUiUrl"], self.url)
            self.assertIsNone(answer["enrollProxy"])
            self.assertEqual(answer["sources"]["enrollNotificationTitle"],
                             {"source": "defaults", "name": "EnrollReminder.Title",
                              "fallback": False, "read": True})
            self.assertEqual(answer["sources"]["enrollWebUiUrl"],
                             {"source": "keyword", "name": "WinlogonResetPassword.WebUiUrl",
                              "fallback": True, "read": True})

    def test_user(self):
        answer = self.answer("user", "jdoe")
        # The binary form of a GUID has its first three fields in little-endian order.
        self.assertEqual(answer["uid"], "67452301-AB89-EFCD-0123-456789ABCDEF")
        self.assertEqual(answer["domains"], ["CORP", "SALES"])
        self.assertEqual(answer["legacyLogonName"], "SALES\\jdoe")
        self.assertIs(answer["isEnrollCapableUser"], True)
        self.assertEqual(len(answer["records"]), 2)
        answer = self.answer("user", "jdoe", "--node-location", "/Active Directory/HR/All Domains")
        self.assertEqual(answer["legacyLogonName"], "CORP\\jdoe")

    def test_a_local_user_may_not_enroll(self):
        answer = self.answer("user", "local")
        self.assertIsNone(answer["domains"])
        self.assertIs(answer["isEnrollCapableUser"], False)
        self.assertEqual(answer["legacyLogonName"], "local")

    def test_an_unknown_user_is_a_failure(self):
        for name in ("nobody-of-that-name", "*", "jdoe)(objectClass=*", "j\x01doe"):
            self.assert_failed(self.run_on_files("user", name), 1, "the directory has no user")

    def test_enroll_status(self):
        answer = self.answer("enroll-status", "--user", "jdoe")
        self.assertEqual(Answers.users,
                         [("/app/SelfServiceClientInfoProvider.ashx", ["SALES\\jdoe"])])
        self.assertEqual(answer["params"], {"needpssenroll": "true"})
        self.assertIs(answer["needReckeck"], False)
        self.assertIs(answer["isUserEnrolled"], False)
        Answers.body = b"NeedPssEnroll = False\n"
        text = self.run_on_files("enroll-status", "--user", "jdoe").stdout.decode()
        self.assertIn("Is enrolled:   YES", text)

    def test_a_server_without_the_answer_is_a_failure(self):
        for status, body in ((404, b"none"), (500, b""), (200, b"\xff\xfe\xfa")):
            Answers.status, Answers.body = status, body
            done = self.run_on_files("enroll-status", "--user", "jdoe", "--json")
            self.assert_failed(done, 1, "no answer that can be read")
            self.assertIsNone(json.loads(done.stdout)["result"])

    def test_urls(self):
        self.assertEqual(self.answer("url", "enroll"), {"url": self.url + "/#/PssEnroll"})
        self.assertEqual(self.run_on_files("url", "ping").stdout.decode(),
                         self.url + "/ping.txt\n")

    # Saved answers

    def test_saved_answers(self):
        for content, recheck, enrolled in ((b"NeedPssEnroll=true", False, False),
                                           (b"needpssenroll=no\r\nx", False, True),
                                           (b"", True, False), (b"\0\0=\0\n", True, False),
                                           (b"=" * 1_000_000, True, False)):
            path = self.file("answer", content)
            done = self.run_raw("enroll-status", "--answer", path, "--json")
            self.assertEqual(done.returncode, 0, done.stderr)
            answer = json.loads(done.stdout)
            self.assertEqual((answer["needReckeck"], answer["isUserEnrolled"]),
                             (recheck, enrolled))
            self.assertIsNone(answer["url"])

    def test_answers_that_cannot_be_read(self):
        fifo = self.folder / "fifo"
        os.mkfifo(fifo)
        for path, reason in ((self.folder / "missing", "No such file"), (self.folder, "not a"),
                             (fifo, "not a regular file"),
                             (self.file("latin1", b"a=\xe9"), "not UTF-8")):
            done = self.run_raw("enroll-status", "--answer", str(path))
            self.assert_failed(done, 1, reason)
            self.assertEqual(done.stdout, b"")

    # Files that are no good

    def test_directory_files_that_are_no_good(self):
        for path in (str(self.folder / "missing.ldif"), str(self.folder),
                     self.file("garbage.ldif", os.urandom(4096)),
                     self.file("nul.ldif", "dn: CN=a\0b\nobject\0Class: user\n"),
                     self.file("torn.ldif", FIXTURE.read_text() + "\nno colon here\n")):
            for command in (["discover"], ["settings"], ["user", "jdoe"]):
                done = self.run_raw(*command, "--ldif", path, "--defaults", self.defaults)
                self.assertEqual((done.returncode, done.stdout), (1, b""), (command, path, done))
                self.assertIn(path, done.stderr.decode())

    def test_an_empty_directory_has_nothing(self):
        empty = self.file("empty.ldif", "")
        done = self.run_raw("discover", "--json", "--ldif", empty, "--defaults", self.defaults)
        self.assert_failed(done, 1, "no connection point of the service")
        self.assertEqual(json.loads(done.stdout)["connectionPoints"], [])

    def test_defaults_files_that_are_no_good(self):
        for path in (str(self.folder / "missing.plist"), str(self.folder),
                     self.file("garbage.plist", os.urandom(4096)),
                     self.file("array.plist", plistlib.dumps([1, 2])),
                     self.file("torn.plist", plistlib.dumps({"a": 1})[:-20])):
            done = self.run_on_files("settings", defaults=path)
            self.assertEqual((done.returncode, done.stdout), (1, b""), (path, done))
            self.assertIn(path, done.stderr.decode())

    def test_nothing_drives_the_terminal(self):
        hostile = FIXTURE.read_text().replace("@URL@", self.url).replace(
            "keywords: EnrollSysNotification.Title=Enroll",
            # EnrollSysNotification.Title=<escape>]0;owned<bell>
            "keywords:: RW5yb2xsU3lzTm90aWZpY2F0aW9uLlRpdGxlPRtdMDtvd25lZAc=")
        path = self.file("hostile.ldif", hostile)
        for command in ("discover", "settings"):
            done = self.run_raw(command, "--ldif", path, "--defaults", self.defaults)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertIn(b"\\u{1b}]0;owned\\u{7}", done.stdout)
            for byte in done.stdout + done.stderr:
                self.assertTrue(byte >= 0x20 or byte == 0x0A)

    def test_it_runs_for_an_ordinary_user(self):
        self.folder.chmod(0o755)
        other = ({"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {})
        done = self.run_raw("user", "jdoe", "--json", "--ldif", self.ldif, "--defaults",
                            self.defaults, **other)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(json.loads(done.stdout)["uid"], "67452301-AB89-EFCD-0123-456789ABCDEF")

    # The log

    def run_with_own_tmp(self, prepare):
        """A verbose discovery with a /tmp of its own: the program's status, and the log after it
        or none."""
        # The build may lie below the /tmp that is covered.
        program = shutil.copy(PROGRAM, self.folder)
        script = ('mount -t tmpfs none /tmp && cd / && ' + prepare +
                  ' && "$@" > /dev/null; status=$?; log=/tmp/zevrikselfservice.log;'
                  ' if [ -e $log ]; then cat $log; else echo absent; fi; exit $status')
        done = subprocess.run(
            ["unshare", "-m" if os.geteuid() == 0 else "-rm", "sh", "-c", script, "sh", program,
             "discover", "--ldif", self.ldif, "--defaults",
             self.plist("verbose.plist", {"LogLevel": 2})],
            stdin=subprocess.DEVNULL, capture_output=True, timeout=120, env=ENVIRONMENT)
        self.assertEqual(done.returncode, 0, done)
        return done.stdout.decode()

    def test_the_log_file_is_never_made(self):
        self.assertEqual(self.run_with_own_tmp("true"), "absent\n")

    def test_an_existing_log_is_written_to(self):
        log = self.run_with_own_tmp(": > /tmp/zevrikselfservice.log")
        self.assertIn(" [Info]: Connection points found: 2\n", log)
        self.assertIn(" [Info]: Selected service: ", log)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
