"""What the scripts of the password-changed flow share: a computer, a user at it, and the agent.

A script is a list of scenes. Each is played in namespaces of its own with an X server, a window manager,
a notification server and two accounts: a user whose password was changed elsewhere and an administrator,
to whom su, sudo and expect really switch. Programs that print what the disk encryption tools print stand
in those tools' places. The user's hands are xdotool's. Needs root.
"""
import concurrent.futures
import contextlib
import json
import os
import pathlib
import plistlib
import signal
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
NAME, UID, PASSWORD = "jdoe", 61001, 'Neu"9$[x]'
ADMIN, ADMIN_UID, ADMIN_PASSWORD = "boss", 61002, "Chef-7"
LOG = pathlib.Path("/tmp/zevrikselfservice.log")
PLACE = pathlib.Path("/mnt/flow")
HOME = PLACE / NAME
AGENT = PLACE / "zevrikselfservice"
FLAG = HOME / "Library/Preferences/com.zevrik.selfservice.plist"
GRANTS = PLACE / "grants"
ANSWER = PLACE / "answer"
HELD = PLACE / "held"
AT_WORK = PLACE / "at-work"
CHOICE = HOME / "choice"
PROMPT = "Your disk still knows the old password"
PROMPT_IDENTIFIER = "{09D26182-CA47-4E97-8B65-DC140A6A715D}"

DIRECTORY = f"""version: 1

dn: CN=CORP,CN=Partitions,CN=Configuration,DC=corp,DC=example,DC=test
objectClass: crossRef
nCName: DC=corp,DC=example,DC=test
nETBIOSName: CORP

dn: uid={NAME},ou=accounts
objectClass: posixAccount
uid: {NAME}
uidNumber: {UID}
gidNumber: {UID}
homeDirectory: {HOME}
userPassword: {PASSWORD}

dn: uid={ADMIN},ou=accounts
objectClass: posixAccount
uid: {ADMIN}
uidNumber: {ADMIN_UID}
gidNumber: {ADMIN_UID}
homeDirectory: {PLACE / ADMIN}
userPassword: {ADMIN_PASSWORD}

dn: CN=Self-Service,CN=System,DC=corp,DC=example,DC=test
objectClass: serviceConnectionPoint
serviceDNSName: selfservice.corp.example.test
keywords: 1.3.6.1.4.1.32473.2.3.1
keywords: WinlogonResetPassword.Enabled=1
keywords: FileVaultSyncPrompt.Enabled=1
keywords: FileVaultSyncPrompt.Title=Almost done
keywords: FileVaultSyncPrompt.Text={PROMPT}
keywords: FileVaultSyncPrompt.SkipButtonText=Never mind
keywords: FileVaultSyncPrompt.RemindLaterButtonText=Not now
keywords: FileVaultSyncPrompt.RemindLaterIntervalMins=30
"""

# What stands in the places of the disk encryption tools. One that is held says so and waits.
WAIT = f"""while [ "$(cat {HELD})" = "${{0##*/}} $1" ]; do echo >{AT_WORK}; sleep 0.05; done
"""
TOOLS = {
    "/usr/bin/fdesetup": "echo 'FileVault is On.'",
    "/usr/sbin/diskutil": WAIT + f"""[ "$(id -u)" = 0 ] || {{ echo 'Error: not root'; exit 1; }}
[ "$8" = '{ADMIN_PASSWORD}' ] && echo 'Passphrase valid' || echo 'Error unlocking'""",
    "/usr/sbin/sysadminctl": WAIT + f"""case $1 in
-secureTokenStatus) echo "Secure token is ENABLED for user $2" >&2;;
-secureTokenOn) python3 -c 'import json, sys; print(json.dumps(sys.argv[1:]))' "$@" >>{GRANTS}; cat {ANSWER} >&2;;
esac""",
}

SUDOERS = "%sudo ALL=(ALL:ALL) ALL\n@includedir /etc/sudoers.d\n"


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


def cover(folder):
    """A writable layer over a folder of the computer's."""
    layers = PLACE / "layers" / folder.strip("/").replace("/", "-")
    for layer in ("upper", "work"):
        (layers / layer).mkdir(parents=True)
    mount("-t", "overlay", "overlay", "-o",
          f"lowerdir={folder},upperdir={layers}/upper,workdir={layers}/work", folder)


def make_accounts():
    for name, uid, password in ((NAME, UID, PASSWORD), (ADMIN, ADMIN_UID, ADMIN_PASSWORD)):
        with open("/etc/passwd", "a", encoding="utf-8") as file:
            file.write(f"{name}:x:{uid}:{uid}:{name}:{PLACE / name}:/bin/bash\n")
        with open("/etc/group", "a", encoding="utf-8") as file:
            file.write(f"{name}:x:{uid}:\n")
        hashed = subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=password, text=True,
                                check=True, capture_output=True).stdout.strip()
        with open("/etc/shadow", "a", encoding="utf-8") as file:
            file.write(f"{name}:{hashed}:20000:0:99999:7:::\n")
        home = PLACE / name
        (home / "Library/Preferences").mkdir(parents=True)
        subprocess.run(["chown", "-R", f"{uid}:{uid}", home], check=True)
    groups = pathlib.Path("/etc/group")
    lines = [line + ("," if not line.endswith(":") else "") + ADMIN if line.startswith("sudo:") else line
             for line in groups.read_text().splitlines()]
    groups.write_text("\n".join(lines) + "\n")


def outside(binary, script, *arguments):
    """Runs the script with "--inside" in the user's session. Nothing below is written to the real computer."""
    desktop = HERE.parent / "desktop"
    packaging = HERE.parents[2] / "packaging"
    sources = [script, *HERE.glob("*.py"), desktop / "session/with-desktop", HERE.parents[2] / "demo/dunstrc",
               desktop / "notifications/notif_dmenu", desktop / "notifications/notif_fake_server",
               packaging / "sudoers/zevrikselfservice", packaging / "dbus/com.zevrik.selfservice.service.in"]
    contents = {path.name: path.read_bytes() for path in sources}
    rights = contents.pop("zevrikselfservice")
    contents[AGENT.name] = binary.read_bytes()
    mount("-t", "tmpfs", "-o", "mode=0755", "tmpfs", "/mnt")
    PLACE.mkdir()
    for name, content in contents.items():
        (PLACE / name).write_bytes(content)
        (PLACE / name).chmod(0o755)
    for path in (GRANTS, ANSWER, HELD, AT_WORK):
        path.touch()
        path.chmod(0o666)
    for folder in ("/etc", "/usr/bin", "/usr/sbin", "/var"):
        cover(folder)
    mount("-t", "tmpfs", "-o", "mode=0755", "tmpfs", "/run") # sudo's records
    for path, content in TOOLS.items():
        pathlib.Path(path).write_text(f"#!/bin/sh\n{content}\n")
        pathlib.Path(path).chmod(0o755)
    make_accounts()
    rules = pathlib.Path("/etc/sudoers")
    rules.unlink(missing_ok=True)
    for path, content in ((rules, SUDOERS.encode()), (pathlib.Path("/etc/sudoers.d/zevrikselfservice"), rights)):
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(content)
        path.chmod(0o440)
    settings = pathlib.Path("/etc/zevrikselfservice")
    settings.mkdir(exist_ok=True)
    (settings / "directory.ldif").write_text(DIRECTORY)
    (settings / "directory.ldif").chmod(0o644)
    (settings / "directory.conf").write_text(f"backend = ldif\nfile = {settings}/directory.ldif\n")
    mount("-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp")
    for sockets in ("/tmp/.X11-unix", "/tmp/.ICE-unix"):
        pathlib.Path(sockets).mkdir()
        pathlib.Path(sockets).chmod(0o1777)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "USER": NAME, "LOGNAME": NAME}
    os.chdir("/")
    return subprocess.run([PLACE / "with-desktop", "--window-manager", PLACE / script.name, "--inside", *arguments],
                          env=environment, user=UID, group=UID, extra_groups=[]).returncode


def log():
    return LOG.read_text() if LOG.exists() else ""


def check(condition, what):
    print(("ok    " if condition else "FAULT ") + what, flush=True)
    if not condition:
        subprocess.run(["xdotool", "search", "--onlyvisible", "--name", ".", "getwindowname", "%@"])
        sys.exit("--- log ---\n" + log())


def wait_for(what, condition, seconds=60):
    limit = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > limit:
            check(False, f"waited {seconds} s for {what}")
        time.sleep(0.05)
    return result


def ask(*command):
    return subprocess.run(command, text=True, capture_output=True).stdout


def displayed():
    return int(ask("dunstctl", "count", "displayed").strip() or 0)


def flag():
    return plistlib.loads(FLAG.read_bytes())["PasswordChanged"]


def grants():
    return [json.loads(line) for line in GRANTS.read_text().splitlines()]


def processes(secret=None):
    """Identifiers of the processes of this scene whose arguments hold the text; of all for none."""
    found = set()
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            arguments = (folder / "cmdline").read_text(errors="replace") # empty once it has ended
            if arguments and (secret is None or secret in arguments):
                found.add(int(folder.name))
    return found


def process_of(name):
    """The one process of this scene that runs the program."""
    for number in processes():
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            if pathlib.Path(f"/proc/{number}/comm").read_text().strip() == name:
                return number
    return check(False, f"{name} runs")


def processor_seconds(number):
    fields = pathlib.Path(f"/proc/{number}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class User:
    """The user's hands and eyes, at the windows of one process."""

    def __init__(self, number):
        self.number = number

    def windows(self):
        return ask("xdotool", "search", "--onlyvisible", "--pid", str(self.number)).split()

    def click(self):
        ask("dunstctl", "action")

    def new_window(self, known=()):
        """The window that is there besides `known`, once it has the keyboard."""
        window = wait_for("a window", lambda: [w for w in self.windows() if w not in known])[0]
        wait_for("the keyboard", lambda: ask("xdotool", "getwindowfocus").strip() == window)
        return window

    def press(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--clearmodifiers", "--delay", "20", text], check=True)

    def open_dialog(self):
        # A click right after another counts as the same.
        wait_for("a dialog", lambda: self.click() or self.windows())
        return self.new_window()

    def enter_administrator(self, password=ADMIN_PASSWORD):
        self.type(ADMIN)
        self.press("Tab")
        self.type(password)
        self.press("Return")

    def enter_password(self, password=PASSWORD):
        self.type(password)
        self.press("Return")

    def open_password_dialog(self):
        first = self.open_dialog()
        self.enter_administrator()
        return first, self.new_window(known=[first])


class Session(User):
    """One start of the agent, up to the notification on the screen."""

    def __init__(self, answer="Done!", environment=None, **defaults):
        prepare(answer, **defaults)
        self.errors = HOME / "errors"
        with open(self.errors, "w", encoding="utf-8") as errors:
            self.agent = subprocess.Popen([AGENT, "--enrollMenuExtra"], stderr=errors,
                                          env={**os.environ, "HOME": str(HOME), **(environment or {})})
        super().__init__(self.agent.pid)
        wait_for("the notification", lambda: self.shown() == 1)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.agent.poll() is None:
            self.agent.kill()
            self.agent.wait()

    def shown(self):
        return displayed()

    def ends(self, what, status=0):
        check(self.agent.wait(60) == status, what)
        wait_for("an empty screen", lambda: self.shown() == 0)
        check(self.errors.read_text() == "", "nothing was complained about")

    def stop(self, what):
        self.agent.send_signal(signal.SIGTERM)
        self.ends(what)


def prepare(answer="Done!", flag_is_set=True, **defaults):
    """A user's state before the agent starts."""
    LOG.write_text("")
    GRANTS.write_text("")
    ANSWER.write_text(answer + "\n")
    FLAG.write_bytes(plistlib.dumps({"LogLevel": 2, "PasswordChanged": flag_is_set, **defaults}))


def logged(line):
    check(line in log(), f"the log has: {line}")


def choose(action):
    """The user chooses in the notification's menu."""
    CHOICE.write_text(action)
    ask("dunstctl", "context")


def start_server():
    # The server outlives the choices, so its menu reads them from a file.
    menu = HOME / "menu"
    menu.write_text(f'#!/bin/sh\nNOTIF_MENU_CHOICE=$(cat {CHOICE}) exec {PLACE}/notif_dmenu\n')
    menu.chmod(0o755)
    configuration = HOME / "dunstrc"
    configuration.write_text((PLACE / "dunstrc").read_text().replace("[global]", f"[global]\n    dmenu = {menu}", 1))
    server = subprocess.Popen(["dunst", "-conf", configuration], stderr=subprocess.DEVNULL)
    wait_for("the notification server", lambda: ask("dunstctl", "is-paused").strip() == "false")
    return server


def run(script, inside, binary, *arguments):
    """One script is the three processes that it takes: the caller's, root's and the user's."""
    if binary == "--inside":
        return inside(*arguments)
    if binary == "--outside":
        return outside(pathlib.Path(arguments[0]), script, *arguments[1:])
    return subprocess.run(["unshare", "--mount", "--net", "--pid", "--mount-proc", "--fork", "--kill-child",
                           sys.executable, "-B", script, "--outside", pathlib.Path(binary).resolve(),
                           *arguments]).returncode


def play(script, scenes, *arguments, server=start_server, at_once=3):
    """Plays each scene in a session of its own, some side by side: what takes long is waiting."""
    script = pathlib.Path(script).resolve()

    def inside(name):
        notifications = server()
        try:
            next(scene for scene in scenes if scene.__name__ == name)()
        finally:
            notifications.terminate()
            notifications.wait()
        return 0

    def whole(scene):
        done = subprocess.run([sys.executable, "-B", script, arguments[0], scene.__name__], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        print(f"--- {scene.__name__}\n{done.stdout}", end="", flush=True)
        return done.returncode == 0

    if len(arguments) > 1:
        return run(script, inside, *arguments)
    with concurrent.futures.ThreadPoolExecutor(at_once) as players:
        faultless = list(players.map(whole, scenes))
    return 0 if all(faultless) else 1
