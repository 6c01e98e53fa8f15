"""One running Kestrune process, driven over its text protocol.

The program answers a command in one of four forms: an ok line, a block
ending in END, a single value line, or nothing at all; a failure is one
line beginning with "ERROR:".  Rather than keep a table of which command
answers in which form, `Solver.command` sends `is_ready` behind every
command: its "is_ready ok!" closes the reply whatever form the reply took,
including silence.  That is why the process runs without `--suppressok`.

The solver thread writes its progress at any moment, also in the middle of
other replies.  Under `--compactmsg` each report is one line beginning with
"SOLVER:", and with `enable_ui_notifications 1` each iteration adds an
"#iterations N" line; a reader thread takes those out of the stream and
hands them to the running solve, so a reply never contains them.

A solve is not waited for with `wait_for_solver`: that would block the
program's command loop, and Ctrl-C could then not send `stop`.  The client
instead waits for the "SOLVER: stopped" line itself.
"""

import os
import queue
import re
import signal
import subprocess
import tempfile
import threading
import time
from dataclasses import dataclass

import numpy as np

_DEFAULT_BIN = os.path.join(os.path.dirname(__file__), "..", "..", "build", "release", "kestrune")
_SENTINEL = "is_ready ok!"
_REPORT = re.compile(
    r"SOLVER: running time: (\S+) EV OOP: (\S+) EV IP: (\S+) OOP's MES: (\S+) "
    r"IP's MES: (\S+) Exploitable for: (\S+)")


class KestruneError(Exception):
    """The program refused a command; `line` is its ERROR line."""

    def __init__(self, line, command=""):
        super().__init__(f"{line}  (command: {command[:120]})" if command else line)
        self.line = line
        self.command = command


class KestruneTerminated(Exception):
    """The program is gone; no reply can come any more."""


@dataclass
class Limit:
    """When a solve stops: whichever comes first.  `accuracy` is the
    exploitability target in % of the pot; `iterations` counts from the
    start of this run; `seconds` is wall time.  0 is no limit."""
    accuracy: float = 0.5
    iterations: int = 0
    seconds: int = 0


@dataclass
class Progress:
    """One measurement of a running solve."""
    iterations: int
    seconds: float
    ev_oop: float
    ev_ip: float
    exploitability: float          # chips
    exploitability_pct: float      # % of the pot


def default_binary():
    return os.environ.get("KESTRUNE_BIN") or os.path.normpath(_DEFAULT_BIN)


def parse_row(line):
    """One reply line of numbers to a float array ("nan" reads as NaN)."""
    return np.array(line.split(), dtype=float)


class Solver:
    """A Kestrune process.  Use as a context manager, or call `quit()`."""

    def __init__(self, path=None, threads=None):
        path = path or default_binary()
        if not os.path.isfile(path):
            raise FileNotFoundError(f"no Kestrune program at {path}; build it or set KESTRUNE_BIN")
        self._stderr = tempfile.TemporaryFile(mode="w+")
        # Ctrl-C at a terminal goes to the whole foreground group; the
        # program must live through it, so that `solve` can send `stop` and
        # keep the tree.  It ignores SIGINT; it still ends when our side of
        # its standard input closes.
        self._proc = subprocess.Popen(
            [path, "--compactmsg"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=self._stderr, text=True, bufsize=1,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        self._replies = queue.Queue()
        self._events = queue.Queue()
        self._lock = threading.Lock()
        self.iterations = 0
        self.pot = 100.0
        threading.Thread(target=self._read, daemon=True).start()
        banner = self._next_reply(timeout=30)
        if not banner.startswith("Kestrune"):
            raise KestruneTerminated(f"unexpected first line {banner!r}")
        self.command("enable_ui_notifications 1")
        if threads is not None:
            self.command(f"set_threads {int(threads)}")

    # -- the stream -------------------------------------------------------

    def _read(self):
        for raw in self._proc.stdout:
            line = raw.rstrip("\n")
            if line.startswith("SOLVER:") or line.startswith("#iterations"):
                self._events.put(line)
            else:
                self._replies.put(line)
        self._replies.put(None)
        self._events.put(None)

    def _dead(self):
        self._proc.wait(timeout=5)
        self._stderr.seek(0)
        err = self._stderr.read().strip()
        return KestruneTerminated(
            f"Kestrune ended with status {self._proc.returncode}" + (f": {err}" if err else ""))

    def _next_reply(self, timeout=None):
        try:
            line = self._replies.get(timeout=timeout)
        except queue.Empty:
            raise KestruneTerminated("no reply from Kestrune") from None
        if line is None:
            self._replies.put(None)
            raise self._dead()
        return line

    def command(self, text):
        """Run one command; return its reply lines (ok line and END
        removed).  An ERROR line raises `KestruneError`."""
        if "\n" in text or "\r" in text:
            raise ValueError("a command is one line")
        with self._lock:
            try:
                self._proc.stdin.write(text + "\n" + "is_ready\n")
                self._proc.stdin.flush()
            except (BrokenPipeError, OSError):
                raise self._dead() from None
            lines, error = [], None
            while True:
                line = self._next_reply()
                if line == _SENTINEL:
                    break
                if line.startswith("ERROR:") and error is None:
                    error = line
                lines.append(line)
        if error:
            raise KestruneError(error, text)
        return self._strip(text, lines)

    def commands(self, texts):
        """Run many commands, sent all at once and read back in order: a
        walk over thousands of nodes then waits for the pipe once, not once
        a node.  Every reply is read before an ERROR line is raised."""
        texts = list(texts)
        if any("\n" in t or "\r" in t for t in texts):
            raise ValueError("a command is one line")
        replies, error = [], None
        with self._lock:
            writer = threading.Thread(target=self._write_all, args=(texts,), daemon=True)
            writer.start()
            for text in texts:
                lines = []
                while True:
                    line = self._next_reply()
                    if line == _SENTINEL:
                        break
                    if line.startswith("ERROR:") and error is None:
                        error = (line, text)
                    lines.append(line)
                replies.append(self._strip(text, lines))
            writer.join()
        if error:
            raise KestruneError(*error)
        return replies

    def _write_all(self, texts):
        # A thread of its own: the program answers while we still write,
        # and neither side may block on a full pipe.
        try:
            for text in texts:
                self._proc.stdin.write(text + "\nis_ready\n")
            self._proc.stdin.flush()
        except (BrokenPipeError, OSError):
            pass  # the reader sees the end of the stream and reports it

    @staticmethod
    def _strip(text, lines):
        word = text.split(" ", 1)[0]
        if lines and lines[-1] == f"{word} ok!":
            lines.pop()
        if lines and lines[-1] == "END":
            lines.pop()
        return lines

    def rows(self, text):
        """A command whose reply is lines of numbers, as float arrays."""
        return [parse_row(line) for line in self.command(text)]

    # -- spot set-up ------------------------------------------------------

    def set_range(self, player, weights):
        weights = np.asarray(weights, dtype=float)
        if weights.shape != (1326,):
            raise ValueError("a range has 1326 weights")
        self.command(f"set_range {player} " + " ".join(format(w, ".10g") for w in weights))

    def set_pot(self, pot):
        self.pot = float(pot)
        self.command(f"set_pot 0 0 {int(pot)}")

    def hand_order(self):
        return self.command("show_hand_order")[0].split()

    # -- solving ----------------------------------------------------------

    def solve(self, limit=Limit(), progress=True):
        """Run the solver until the limit; show a tqdm bar if `progress` is
        True, or call `progress(Progress)` if it is a function.  Ctrl-C
        sends `stop`, waits for the solver and keeps the tree.  Returns the
        reason the solver gave for stopping."""
        self.command(f"set_accuracy {limit.accuracy / 100.0:.10g} fraction")
        if limit.iterations:
            go = f"go {int(limit.iterations)} steps"
        elif limit.seconds:
            go = f"go {int(limit.seconds)} seconds"
        else:
            go = "go"
        while not self._events.empty():
            self._events.get_nowait()
        start_iter = self.iterations
        self.command(go)
        # The program takes one limit a run; with both, the time is kept here.
        deadline = time.monotonic() + limit.seconds if limit.iterations and limit.seconds else None
        bar = None
        if progress is True:
            from tqdm import tqdm
            bar = tqdm(total=limit.iterations or None, unit="it", desc="solving", mininterval=1.0,
                       bar_format="{desc}: {n} it {elapsed} {postfix}" if not limit.iterations else None)
            callback = None
        else:
            callback = progress or None
        reason = None
        interrupted = timed_out = False
        try:
            while reason is None:
                if deadline is not None and time.monotonic() > deadline:
                    deadline, timed_out = None, True
                    self.command("stop")
                try:
                    line = self._events.get(timeout=0.5)
                except queue.Empty:
                    if self._proc.poll() is not None:
                        raise self._dead() from None
                    continue
                except KeyboardInterrupt:
                    interrupted = True
                    self.command("stop")
                    continue
                if line is None:
                    raise self._dead()
                if line.startswith("#iterations"):
                    self.iterations = int(line.split()[1])
                    if bar is not None:
                        bar.update(self.iterations - start_iter - bar.n)
                elif line.startswith("SOLVER: stopped"):
                    reason = line[len("SOLVER: stopped ("):-1]
                else:
                    m = _REPORT.match(line)
                    if m:
                        v = [float(x) for x in m.groups()]
                        p = Progress(self.iterations, v[0], v[1], v[2], v[5], 100.0 * v[5] / self.pot)
                        if bar is not None:
                            bar.set_postfix_str(f"exploitability {p.exploitability_pct:.3f}% of pot")
                        if callback:
                            callback(p)
        except KeyboardInterrupt:
            interrupted = True
            self.command("stop")
            while True:
                line = self._events.get()
                if line is None or line.startswith("SOLVER: stopped"):
                    reason = "requested"
                    break
        finally:
            if bar is not None:
                bar.close()
        if interrupted:
            return "interrupted"
        return "timeout reached" if timed_out and reason == "requested" else reason

    def results(self):
        """EVs, best-response values and exploitability of the root."""
        values = {}
        for line in self.command("calc_results"):
            key, _, val = line.rpartition(":")
            values[key.strip()] = float(val)
        it = int(self.command("get_value solver_iterations")[0].split()[1])
        return {
            "ev_oop": values["EV OOP"], "ev_ip": values["EV IP"],
            "mes_oop": values["OOP's MES"], "mes_ip": values["IP's MES"],
            "exploitability": values["Exploitable for"],
            "exploitability_pct": 100.0 * values["Exploitable for"] / self.pot,
            "iterations": it,
        }

    # -- life -------------------------------------------------------------

    def quit(self):
        if self._proc.poll() is None:
            try:
                self._proc.stdin.write("stop\nwait_for_solver\nexit\n")
                self._proc.stdin.flush()
                self._proc.wait(timeout=30)
            except (BrokenPipeError, OSError, subprocess.TimeoutExpired):
                self._proc.kill()
                self._proc.wait()
        self._stderr.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.quit()

    def __del__(self):
        proc = getattr(self, "_proc", None)
        if proc is not None and proc.poll() is None:
            proc.kill()
