"""The computer on which the scripts of the password-changed flow play, made of namespaces and layers.

Two accounts, a user whose password was changed elsewhere and an administrator, to whom su, sudo and expect
really switch. Programs that print what the disk encryption tools print stand in those tools' places.
"""
import os
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
NAME, UID, PASSWORD = "jdoe", 61001, 'Neu"9$[x]'
ADMIN, ADMIN_UID, ADMIN_PASSWORD = "boss", 61002, "Chef-7"
PLACE = pathlib.Path("/mnt/flow")
HOME = PLACE / NAME
AGENT = PLACE / "zevrikselfservice"
GRANTS = PLACE / "grants"
ANSWER = PLACE / "answer"
HELD = PLACE / "held"
STATE = PLACE / "state"
INITIAL_STATE = {"disk": "On", "token": "ENABLED", "passphrase": ADMIN_PASSWORD}
AT_WORK = PLACE / "at-work"
CLOCK_LIBRARY = PLACE / "libturned_clock.so" # without it the agent's timers run in real time
PROMPT = "Your disk still knows the old password"

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
    "/usr/bin/fdesetup": f"echo FileVault is $(cat {STATE}/disk).",
    "/usr/sbin/diskutil": WAIT + f"""[ "$(id -u)" = 0 ] || {{ echo 'Error: not root'; exit 1; }}
[ "$8" = "$(cat {STATE}/passphrase)" ] && echo 'Passphrase valid' || echo 'Error unlocking'""",
    "/usr/sbin/sysadminctl": WAIT + f"""case $1 in
-secureTokenStatus) echo "Secure token is $(cat {STATE}/token) for user $2" >&2;;
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
    if "TURNED_CLOCK_LIBRARY" in os.environ:
        sources.append(pathlib.Path(os.environ["TURNED_CLOCK_LIBRARY"]))
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
    STATE.mkdir()
    for name, value in INITIAL_STATE.items():
        (STATE / name).write_text(value)
        (STATE / name).chmod(0o666)
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


def run(script, inside, binary, *arguments):
    """One script is the three processes that it takes: the caller's, root's and the user's."""
    if binary == "--inside":
        return inside(*arguments)
    if binary == "--outside":
        return outside(pathlib.Path(arguments[0]), script, *arguments[1:])
    return subprocess.run(["unshare", "--mount", "--net", "--pid", "--mount-proc", "--fork", "--kill-child",
                           sys.executable, "-B", script, "--outside", pathlib.Path(binary).resolve(),
                           *arguments]).returncode
