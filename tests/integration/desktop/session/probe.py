"""What the tests that look at a program from outside have in common: waiting for what they can observe,
and for the lines that the program prints."""
import queue
import subprocess
import threading
import time

LIMIT = 120


def run(*command, environment=None):
    return subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, env=environment)


def until(what, condition, on_failure=lambda: None):
    """The first true value of the condition; `on_failure` is called when there is none in time."""
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    on_failure()
    raise AssertionError(f"timed out: {what}")


class Probe:
    """A running process whose lines can be waited for."""

    def __init__(self, process, on_failure=lambda: None):
        """Of a process with text pipes at its standard input and output."""
        self.process = process
        self.seen = []
        self._on_failure = on_failure
        self._lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def expect(self, text, seconds=LIMIT):
        """What follows the text in the next line that begins with it."""
        end = time.monotonic() + seconds
        while True:
            try:
                line = self._lines.get(timeout=max(0.01, end - time.monotonic()))
            except queue.Empty:
                self._on_failure()
                raise AssertionError(f"no {text!r}, only {self.seen}") from None
            if line is None:
                raise AssertionError(f"ended without {text!r}, only {self.seen}")
            self.seen.append(line)
            if line.startswith(text):
                return line[len(text):].strip()

    def says(self, text, seconds):
        """Whether such a line comes within that time. Others are skipped."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            try:
                line = self._lines.get(timeout=left)
            except queue.Empty:
                return False
            assert line is not None, f"ended without {text!r}, only {self.seen}"
            self.seen.append(line)
            if line.startswith(text):
                return True
        return False

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def ask(self, command, answer=None):
        self.tell(command)
        return self.expect(answer or command)

    def over(self):
        """It ends by itself."""
        code = self.process.wait(LIMIT)
        assert code == 0, code
