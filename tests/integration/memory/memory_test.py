#!/usr/bin/python3 -B
"""What a whole memory image of the process holds of the passwords that were typed into its dialogs.

    memory_test.py CASE PROBE READER CLIPBOARD PAM-FILE

An ordinary user's process with a desktop asks for an administrator and the new password, which are
typed on a keyboard, and runs tools with them; they stand at the places of the real ones in a mount
namespace of the test's own. Then root reads everything that the process has mapped. Needs root.
"""
import base64
import hashlib
import os
import pathlib
import secrets
import shutil
import string
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "desktop/session"))
import desktop_session  # noqa: E402
import probe as probes  # noqa: E402

NAME, UID = "jdoe", 61001
ADMIN, ADMIN_UID = "itadmin", 61002
session = None
RUN = 8  # as many characters of a password in a row are too many

# What the tools find out, and what the update ends with.
CASES = {
    "success": {"result": 1, "look": True},
    "failure": {"result": 4, "answer": "failed"},
    "wrong-passwords": {"result": 1, "wrong": True},
    "pasted": {"result": 1, "paste": True},
    "cancelled": {"result": 2, "cancel": True},
    "list-success": {"result": 1, "list": True},
    "list-failure": {"result": 4, "list": True, "answer": "failed"},
    # Passwords checked by PAM and by su, instead of by a file's directory.
    "accounts-success": {"result": 1, "accounts": True},
    "accounts-failure": {"result": 4, "accounts": True, "wrong": True, "answer": "failed"},
    "control": {"result": 4, "answer": "failed", "wiping": False},
    "list-control": {"result": 4, "list": True, "answer": "failed", "wiping": False},
}


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


def new_password():
    """Pieces on both sides of what the scripts escape are long enough to be found alone."""
    letters = string.ascii_letters + string.digits
    return '"'.join("".join(secrets.choice(letters) for _ in range(9)) for _ in range(2)) + "\\" + \
        "".join(secrets.choice(letters) for _ in range(9))


def escaped(text):
    return text.replace("\\", "\\\\").replace('"', '\\"')


def password_hash(password):
    return subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=password, check=True,
                          capture_output=True, text=True).stdout.strip()


def write(path, text, mode=0o644):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    path.chmod(mode)


def add_tools(extra, case, passwords):
    """Stand-ins that check what they are given and print it all back, as a tool may that fails."""
    for name, password in passwords.items():
        write(extra / f"test/{name}", password)
        write(extra / f"test/{name}.escaped", escaped(password))
    granted = "Operation is not permitted." if case.get("answer") else "Done!"
    readded = 'printf "invalid command name %s\\r\\n" "$script"' if case.get("answer") else 'printf "\\r\\n"'
    write(extra / "usr/sbin/sysadminctl", f"""#!/bin/sh
case "$1" in
-secureTokenStatus) echo "Secure token is ENABLED for user $2" >&2 ;;
-secureTokenOn)
    printf '%s' "$2 $3 $5 $6 $7" | grep -qx '{NAME} -password -adminUser {ADMIN} -adminPassword' &&
    [ "$4" = "$(cat /test/user)" ] && [ "$8" = "$(cat /test/admin)" ] || {{ echo wrong >> /test/faults; exit; }}
    printf 'sysadminctl %s\n' "$*" >&2
    echo '{granted}' >&2
    echo granted >> /test/runs ;;
esac
""", 0o755)
    write(extra / "usr/bin/expect", f"""#!/bin/sh
holds() {{ printf '%s' "$script" | grep -qF "$(cat "/test/$1.escaped")"; }}
script=$2
holds admin || echo "wrong script" >> /test/faults
case "$script" in
*unlockVolume*) printf 'reading "%s"\\r\\nPassphrase valid\\r\\n' "$script" ;;
*"fdesetup list"*) printf '%s,85632A00-1234-4BF3-92F9-0D4AA8D0D7B5\\r\\n%s\\r\\n' {ADMIN} "$script" ;;
*"fdesetup add"*)
    holds user || echo "wrong script" >> /test/faults
    {readded}
    echo granted >> /test/runs ;;
esac
""", 0o755)


def add_directory(extra, passwords):
    """As a directory stores them: hashed, so that the process does not read them from a file."""
    records = "version: 1\n"
    for account, uid, key in ((NAME, UID, "user"), (ADMIN, ADMIN_UID, "admin")):
        salt = secrets.token_bytes(8)
        stored = base64.b64encode(hashlib.sha256(passwords[key].encode() + salt).digest() + salt).decode()
        records += (f"\ndn: uid={account},ou=accounts\nobjectClass: posixAccount\nuid: {account}\n"
                    f"uidNumber: {uid}\ngidNumber: {uid}\nhomeDirectory: /home/{account}\n"
                    f"userPassword: {{SSHA256}}{stored}\n")
    write(extra / "etc/zevrikselfservice/directory.ldif", records)
    write(extra / "etc/zevrikselfservice/directory.conf",
          "backend = ldif\nfile = /etc/zevrikselfservice/directory.ldif\n")


def lay_out(extra, case, passwords):
    for path, text in (
            ("etc/passwd", f"{NAME}:x:{UID}:{UID}::/home/{NAME}:/bin/bash\n"
                           f"{ADMIN}:x:{ADMIN_UID}:{ADMIN_UID}::/home/{ADMIN}:/bin/bash\n"),
            ("etc/shadow", "".join(
                f"{account}:{password_hash(passwords[key])}:20000:0:99999:7:::\n"
                for account, key in ((NAME, "user"), (ADMIN, "admin"))))):
        write(extra / path, pathlib.Path("/", path).read_text() + text)
    os.chmod(extra / "etc/shadow", 0o640)
    shutil.chown(extra / "etc/shadow", 0, "shadow")
    groups = pathlib.Path("/etc/group").read_text().splitlines()
    groups = [line + ("" if line.endswith(":") else ",") + ADMIN if line.startswith("sudo:") else line
              for line in groups]
    write(extra / "etc/group", "\n".join(groups) + f"\n{NAME}:x:{UID}:\n{ADMIN}:x:{ADMIN_UID}:\n")
    shutil.copy(sys.argv[5], extra / "etc/pam.d")
    if not case.get("accounts"):
        add_directory(extra, passwords)
    add_tools(extra, case, passwords)
    for number, name in ((2, "probe"), (3, "reader"), (4, "clipboard")):
        shutil.copy(sys.argv[number], extra / "test" / name)


def make_root(case, passwords):
    """The computer's files with the test's laid over them. Gone with the namespace."""
    folder = pathlib.Path("/mnt")
    mount("-t", "tmpfs", "tmpfs", folder)
    extra, root = folder / "extra", folder / "root"
    for place in (extra / "etc/pam.d", extra / "test", root, folder / "upper", folder / "work"):
        place.mkdir(parents=True)
    lay_out(extra, case, passwords)
    os.chmod(extra / "test", 0o777)
    mount("-t", "overlay", "overlay", "-o",
          f"lowerdir={extra}:/,upperdir={folder}/upper,workdir={folder}/work", root)
    mount("--rbind", "/dev", root / "dev")
    mount("-t", "proc", "proc", root / "proc")
    mount("-t", "tmpfs", "-o", "mode=1777", "tmpfs", root / "tmp")
    os.chroot(root)
    os.chdir("/")
    pathlib.Path("/tmp/.X11-unix").mkdir()
    os.chmod("/tmp/.X11-unix", 0o1777)
    home = pathlib.Path("/home") / NAME
    (home / "runtime").mkdir(parents=True, mode=0o700)
    for place in (home, home / "runtime"):
        os.chown(place, UID, UID)
    return home


def until(what, condition):
    return probes.until(what, condition, lambda: print(log()))


def log():
    path = pathlib.Path("/tmp/zevrikselfservice.log")
    return path.read_text() if path.exists() else "(no log)"


def run(*command):
    return probes.run(*command, environment=session.environment)


class Probe(probes.Probe):
    """The process to be searched, and its dialogs."""

    def __init__(self, home, *arguments):
        environment = {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "HOME": str(home), "USER": NAME,
                       "LOGNAME": NAME, "XDG_RUNTIME_DIR": str(home / "runtime"),
                       "DISPLAY": session.environment["DISPLAY"], "LC_ALL": "C.UTF-8",
                       "QT_QPA_PLATFORM": "xcb",
                       # A screen reader is told of the entries, too.
                       "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        super().__init__(subprocess.Popen(
            ["dbus-run-session", "--", "/test/probe", NAME, *arguments], user=UID, group=UID,
            extra_groups=[], env=environment, cwd=home, stdout=subprocess.PIPE, text=True),
            on_failure=lambda: print(log()))
        self.windows = []
        self.id = self.expect("process ")

    def dialog(self):
        """Waits for one that was not there before, with the keyboard."""
        def active():
            window = run("xdotool", "getactivewindow").stdout.strip()
            owner = run("xdotool", "getwindowpid", window).stdout.strip() if window else ""
            return window if owner == self.id and window not in self.windows else None
        self.windows.append(until("a dialog", active))

    def back_at(self, index):
        """Waits until an earlier dialog has the keyboard again."""
        until("the dialog again",
              lambda: run("xdotool", "getactivewindow").stdout.strip() == self.windows[index])


def keys(*names):
    assert run("xdotool", "key", *names).returncode == 0


def enter(text):
    assert run("xdotool", "type", "--delay", "8", "--", text).returncode == 0


def traces(probe, texts):
    """Which of the texts stand in the process's memory, at least so many characters of them in a row,
    and where."""
    patterns, names = [], []
    for name, text in texts.items():
        for encoding in ("utf-8", "utf-16-le", "utf-32-le"):
            for start in range(len(text) - RUN + 1):
                patterns.append(text[start:start + RUN].encode(encoding).hex())
                names.append(f"{name}, {encoding}, from character {start}")
    done = subprocess.run(["/test/reader", probe.id], input="\n".join(patterns) + "\n",
                          capture_output=True, text=True, timeout=probes.LIMIT)
    assert done.returncode == 0, done.stderr
    *found, end = done.stdout.splitlines()
    searched = int(end.split()[1])
    assert searched > 10_000_000, f"only {searched} bytes were searched"
    places = [line.split(" ", 2) for line in found]
    return [f"{names[int(number)]} at {address} in {mapping or 'a mapping without a name'}"
            for number, address, mapping in places]


def is_held(probe, text):
    """Whether the whole text is in memory as entries hold it."""
    found = {trace.split(" at ")[0] for trace in traces(probe, {"it": text}) if "utf-16-le" in trace}
    return len(found) == len(text) - RUN + 1


def paste(probe, text):
    """As from a password manager, another program, which is then over."""
    owner = subprocess.Popen(["/test/clipboard"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, text=True,
                             env=session.environment)
    owner.stdin.write(text + "\n")
    owner.stdin.flush()
    assert owner.stdout.readline().strip() == "offered"

    def pasted():
        keys("ctrl+a", "ctrl+v")
        return is_held(probe, text)
    # The change of owner may reach the process after the keys do: then they are pressed again.
    until("the pasted password", pasted)
    return owner


def answer(probe, case, passwords):
    probe.dialog()
    enter(ADMIN)
    keys("Tab")
    if case.get("wrong"):
        enter(passwords["wrong"])
        keys("Return")
        probe.dialog()
        keys("Return")
        probe.back_at(0)
    owners = []
    if case.get("paste"):
        owners.append(paste(probe, passwords["admin"]))
    else:
        enter(passwords["admin"])
    if case.get("look"):
        # While it is there it is found, in pages that other processes and core dumps do not get.
        until("the password in memory", lambda: is_held(probe, passwords["admin"]))
    keys("Return")
    probe.dialog()
    if case.get("wrong"):
        enter(passwords["wrong"])
        keys("Return")
        probe.dialog()
        keys("Return")
        probe.back_at(2)
    if case.get("paste"):
        owners.append(paste(probe, passwords["user"]))
    else:
        enter(passwords["user"])
    if case.get("cancel"):
        keys("Escape")
        return
    keys("Return")
    if case.get("answer"):
        probe.dialog()
        keys("Return")
    for owner in owners:
        owner.kill()
        owner.wait()


def inside(case):
    global session
    passwords = {"admin": new_password(), "user": new_password(), "wrong": new_password()}
    home = make_root(case, passwords)
    os.mkdir("/tmp/session")
    session = desktop_session.Session(desktop_session.clean(os.environ), "/tmp/session")
    session.start_display("1000x700", "-ac") # another account's programs are shown
    session.start_window_manager()
    mark = secrets.token_hex(16)
    arguments = [mark]
    if case.get("list"):
        arguments.append("--without-secure-token")
    probe = Probe(home, *arguments)
    answer(probe, case, passwords)
    result = int(probe.expect("result "))
    assert result == case["result"], f"result {result}\n{log()}"
    faults = pathlib.Path("/test/faults")
    assert not faults.exists(), faults.read_text()
    assert pathlib.Path("/test/runs").exists() == (not case.get("cancel")), "the tools did not run"
    probe.expect("at rest")
    until("the event loop", lambda: "S (sleeping)" in
          pathlib.Path(f"/proc/{probe.id}/status").read_text())

    # What the process was started with is there and found.
    assert traces(probe, {"the mark": mark}), "the search finds nothing"
    searched = dict(passwords)
    searched.update({name + ", escaped": escaped(text) for name, text in passwords.items()})
    found = traces(probe, searched)
    if case.get("wiping", True):
        assert not found, "\n".join(found)
    else:
        print("\n".join(found))
        for name in ("admin", "user"):
            assert any(line.startswith(f"{name}, ") for line in found), \
                f"without wiping, nothing of {name} is found"
    written = log()
    for name, text in searched.items():
        for start in range(len(text) - RUN + 1):
            assert text[start:start + RUN] not in written, \
                f"{name}, {text}, is in the log\n{written}"
    probe.process.terminate()


def main():
    if sys.argv[1] == "--inside":
        sys.argv.pop(1)
        inside(CASES[sys.argv[1]])
        return 0
    return subprocess.run(["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child",
                           sys.executable, "-B", os.path.abspath(__file__), "--inside", sys.argv[1],
                           *map(os.path.abspath, sys.argv[2:])]).returncode


if __name__ == "__main__":
    sys.exit(main())
