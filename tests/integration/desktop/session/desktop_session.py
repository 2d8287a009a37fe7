#!/usr/bin/python3
"""A desktop session of a test's own: an X server, a window manager, a session bus, and an environment
without anything of the session that the test was started from.

As a program, known as with-desktop, it runs a command inside such a session and takes everything down
after it:

    with-desktop [--no-display] [--no-bus] [--window-manager] [--service NAME[=EXEC]]...
                 [--variable NAME=VALUE]... COMMAND...

The session has an X server on a free display, a session bus that can start nothing but the services
named, those without EXEC as they are installed, and empty folders for HOME, XDG_RUNTIME_DIR and the
other XDG places. The exit status is the command's; 125 when the session could not be made.
"""
import argparse
import ctypes
import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LIMIT = 120
# What tells programs about the session that they are in.
FOREIGN = ("XDG_", "QT_", "GTK_", "GDK_", "GNOME_", "KDE_", "XFCE_", "DBUS_", "DESKTOP_", "SESSION_", "AT_SPI_",
           "DISPLAY", "WAYLAND_", "XAUTHORITY", "XMODIFIERS", "ICEAUTHORITY", "NO_AT_BRIDGE", "LANG", "LC_")

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Failed(Exception):
    pass


def clean(environment):
    """The environment without the session that it comes from; nobody listens to what is shown."""
    kept = {key: value for key, value in environment.items() if not key.startswith(FOREIGN)}
    return kept | {"LC_ALL": "C.UTF-8", "NO_AT_BRIDGE": "1"}


def with_folders(environment, folder):
    """The environment with empty folders of its own below `folder`, which is made."""
    places = {name: os.path.join(folder, place) for name, place in (
        ("HOME", "home"), ("XDG_RUNTIME_DIR", "runtime"), ("XDG_DATA_HOME", "data"),
        ("XDG_CONFIG_HOME", "config"), ("XDG_CACHE_HOME", "cache"), ("XDG_STATE_HOME", "state"))}
    for path in places.values():
        os.makedirs(path, 0o700)
    return environment | places


def installed_service(name):
    """The command that the installed service of that name is started with."""
    for file in pathlib.Path("/usr/share/dbus-1/services").glob("*.service"):
        lines = dict(line.split("=", 1) for line in file.read_text(encoding="utf-8").splitlines() if "=" in line)
        if lines.get("Name") == name:
            return lines["Exec"]
    raise Failed(f"no service {name} is installed")


def die_with_parent():
    """Nothing outlives the test, even when it is killed."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL) # PR_SET_PDEATHSIG


def signal_group(child, number):
    try:
        os.killpg(child.pid, number)
    except ProcessLookupError:
        pass


def has_ended(child):
    """Without taking note of it: until then its number is not given to another process."""
    return os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None


class Session:
    """What is started here is ended by close(), at the latest with this process.

    `environment` is complete once everything has been started. `options` are Popen's, for every program
    of the session; whose user is another needs a `folder` that this user may write to.
    """

    def __init__(self, environment, folder, **options):
        self.environment = environment
        self.folder = folder
        self._options = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL} | options
        self._children = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def start(self, *command, **options):
        """A program of the session, the first of a process group of its own."""
        child = subprocess.Popen(command, env=self.environment, start_new_session=True,
                                 preexec_fn=die_with_parent, **(self._options | options))
        self._children.append(child)
        return child

    def _start_ready(self, *command):
        """Starts a program that writes a line to the descriptor that it is given as "@FD@" once it is ready; the
        line."""
        reader, writer = os.pipe()
        try:
            self.start(*(part.replace("@FD@", str(writer)) for part in command), pass_fds=[writer])
        finally:
            os.close(writer)
        with os.fdopen(reader, encoding="utf-8") as pipe:
            line = pipe.readline()
        if not line.endswith("\n"):
            raise Failed(f"{command[0]} did not start")
        return line.strip()

    def start_display(self, size="1024x768", *options):
        # A number of its own: servers that look for a free one take each other's sockets away. Keys that
        # a busy machine is late to release are not to repeat.
        for attempt in range(20):
            number = 100 + (os.getpid() + 599 * attempt) % 30000
            try:
                self._start_ready("Xvfb", f":{number}", "-displayfd", "@FD@", "-screen", "0", size + "x24",
                                  "-nolisten", "tcp", "-noreset", "-r", *options)
            except Failed: # taken
                continue
            self.environment["DISPLAY"] = f":{number}"
            return
        raise Failed("no X server could be started")

    def start_window_manager(self):
        """openbox, which runs its startup command once it manages the screen."""
        fifo = os.path.join(self.folder, "window-manager")
        os.mkfifo(fifo)
        os.chmod(fifo, 0o666)
        reader = os.open(fifo, os.O_RDWR) # also a writer, so that the read waits for the command's
        self.start("openbox", "--startup", f"sh -c 'echo ready > {fifo}'")
        if not select.select([reader], [], [], LIMIT)[0]:
            raise Failed("the window manager did not start")
        os.close(reader)

    def start_bus(self, *services):
        """A bus that can start these services: NAME=EXEC, or NAME alone for an installed one."""
        folder = os.path.join(self.environment.get("XDG_DATA_HOME", self.folder), "dbus-1/services")
        os.makedirs(folder)
        for service in services:
            name, _, program = service.partition("=")
            with open(os.path.join(folder, name + ".service"), "w", encoding="utf-8") as file:
                file.write(f"[D-BUS Service]\nName={name}\nExec={program or installed_service(name)}\n")
        configuration = os.path.join(self.folder, "bus.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(BUS_CONFIGURATION.format(folder=self.folder, services=folder))
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self._start_ready(
            "dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + configuration, "--print-address=@FD@")

    def be_without_bus(self):
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={self.folder}/nothing"

    def close(self):
        """Ends what was started, last first, with what it has started."""
        # Those that have been waited for may have given their numbers to others.
        children = [child for child in self._children if child.returncode is None]
        for child in reversed(children):
            signal_group(child, signal.SIGTERM)
        limit = time.monotonic() + 5
        while time.monotonic() < limit and not all(map(has_ended, children)):
            time.sleep(0.02)
        for child in children:
            signal_group(child, signal.SIGKILL)
            child.wait()
        self._children.clear()


def run_command(session, command):
    """Its exit status. Of what it has started nothing is left."""
    child = session.start(*command, stdout=None, stderr=None)
    try:
        os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOWAIT)
    finally:
        signal_group(child, signal.SIGKILL)
        status = child.wait()
    return status if status >= 0 else 128 - status


def main():
    parser = argparse.ArgumentParser(prog="with-desktop")
    parser.add_argument("--no-display", action="store_true")
    parser.add_argument("--no-bus", action="store_true")
    parser.add_argument("--window-manager", action="store_true")
    parser.add_argument("--service", action="append", default=[])
    parser.add_argument("--variable", action="append", default=[])
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()

    def stop(number, frame):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, stop)
    folder = tempfile.mkdtemp(prefix="desktop-session.")
    environment = with_folders(clean(os.environ), folder) | {"SESSION_FOLDER": folder}
    environment |= dict(variable.split("=", 1) for variable in arguments.variable)
    try:
        with Session(environment, folder) as session:
            if not arguments.no_display:
                session.start_display()
            if arguments.no_bus:
                session.be_without_bus()
            else:
                session.start_bus(*arguments.service)
            if arguments.window_manager:
                session.start_window_manager()
            return run_command(session, arguments.command)
    except (Failed, OSError) as error:
        print(f"with-desktop: {error}", file=sys.stderr)
        return 125
    except KeyboardInterrupt:
        return 143
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
