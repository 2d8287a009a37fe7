"""What a process has: memory, descriptors, children. The agent shows that to root alone, so a thread of
root's process answers the user's, over a socket whose name belongs to the network namespace."""
import json
import os
import pathlib
import socket
import threading

ADDRESS = "\0process-figures"


def children(pid):
    """Those that have ended and are not waited for included."""
    found = []
    for folder in pathlib.Path("/proc").iterdir():
        try:
            if folder.name.isdigit() and int((folder / "stat").read_text().rpartition(")")[2].split()[1]) == pid:
                found.append(int(folder.name))
        except (FileNotFoundError, ProcessLookupError):
            pass
    return len(found)


def figures(pid):
    memory = {}
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, _, rest = line.partition(":")
        memory[name] = int(rest.split()[0])
    return {"private": memory["Private_Dirty"], "resident": memory["Rss"], "children": children(pid),
            "descriptors": len(os.listdir(f"/proc/{pid}/fd")), "threads": len(os.listdir(f"/proc/{pid}/task"))}


def serve():
    """Answers until this process ends."""
    server = socket.socket(socket.AF_UNIX)
    server.bind(ADDRESS)
    server.listen()

    def answer():
        while True:
            connection, _ = server.accept()
            with connection, connection.makefile("rw") as stream:
                stream.write(json.dumps(figures(int(stream.readline()))) + "\n")

    threading.Thread(target=answer, daemon=True).start()


def ask(pid):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(ADDRESS)
        with connection.makefile("rw") as stream:
            stream.write(f"{pid}\n")
            stream.flush()
            return json.loads(stream.readline())
