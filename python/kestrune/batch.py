"""A batch: one spot solved on many flops, here or on a Slurm cluster, and
resumable.

The output folder is the batch's whole state, so that a re-run of the
same command carries on where the last one stopped:

    DIR/batch.json              the spot file's text, the flops and options
    DIR/flops/<FLOP>/summary.json   written last, by rename: the flop is done
    DIR/flops/<FLOP>/report.html    the flop's own spot report
    DIR/flops/<FLOP>/tree.kst       with --dump
    DIR/flops/<FLOP>/error.txt      why the last attempt failed
    DIR/flops/<FLOP>/lock           held while a process solves the flop
    DIR/batch.log               one line per start, finish and failure
    DIR/slurm/                  the array script, its task lists and logs,
                                job.json: the job a re-run waits for if it still runs

A flop counts as done when its summary.json exists and as nothing else:
a flop killed in flight leaves no summary and is solved again, a failed
one leaves error.txt and is tried again, a done one is never touched.  The
lock (flock, released by the kernel when its holder dies) keeps two live
processes from solving one flop at the same time, say a re-run next to
the orphans of a killed one.  On a cluster's shared file system a lock
may hold on one node only; there job.json keeps a re-run from submitting
flops that a live job still has.

Every flop is solved by `solve_task` in a process of its own (the
`batch-task` command), whether started here or by Slurm: reading a report
out of a tree is Python work that holds the interpreter's lock, so
processes, not threads, run flops side by side, and both ways run the
same code.
"""

import ctypes
import fcntl
import hashlib
import json
import os
import shutil
import signal
import subprocess
import sys
import time

from .cards import parse_board
from .client import KestruneError, Limit, Solver, default_binary
from .flops import Flop, FlopError
from .report import collect, write_html
from .results import PLAYERS, Tree
from .spot import SpotError, describe, load_spot_text, set_up

MANIFEST = "batch.json"
_PR_SET_PDEATHSIG = 1


class BatchError(Exception):
    """A batch that can't start or go on; nothing was submitted."""


# -- the folder -------------------------------------------------------------

def _write_atomic(path, text):
    tmp = f"{path}.{os.getpid()}.tmp"
    with open(tmp, "w") as f:
        f.write(text)
    os.replace(tmp, path)


def _log(out_dir, text):
    # One write per line in append mode: lines of processes side by side
    # don't interleave.
    with open(os.path.join(out_dir, "batch.log"), "a") as f:
        f.write(f"{time.strftime('%Y-%m-%dT%H:%M:%S')} {text}\n")


def flop_dir(out_dir, flop_name):
    return os.path.join(out_dir, "flops", flop_name)


def plan(spot_path, flops, dump=False, forget_rivers=False):
    """Check the spot file and make the batch's manifest (not yet written)."""
    try:
        with open(spot_path) as f:
            text = f.read()
    except OSError as e:
        raise BatchError(f"can't read {spot_path}: {e.strerror}") from None
    spot = load_spot_text(text, spot_path)
    if spot.street != "flop":
        raise BatchError(f"{spot_path}: a batch replaces the flop, so the spot starts on the flop "
                         f"(its board has {len(spot.board)} cards)")
    return {
        "spot_file": os.path.abspath(spot_path), "spot_text": text,
        "spot_sha1": hashlib.sha1(text.encode()).hexdigest(),
        "flops": [{"name": f.name, "text": f.text, "weight": f.weight} for f in flops],
        "dump": bool(dump or forget_rivers), "forget_rivers": bool(forget_rivers),
    }


def check_resumable(out_dir, manifest):
    """Refuse a folder that holds another batch: results of another spot or
    other flops would mix silently."""
    path = os.path.join(out_dir, MANIFEST)
    if not os.path.exists(path):
        return
    old = read_manifest(out_dir)
    if old["spot_sha1"] != manifest["spot_sha1"]:
        raise BatchError(f"{out_dir} holds a batch of another spot file (or the spot file changed); "
                         "use another --out")
    if old["flops"] != manifest["flops"]:
        raise BatchError(f"{out_dir} holds a batch of other flops; use another --out")
    if (old["dump"], old["forget_rivers"]) != (manifest["dump"], manifest["forget_rivers"]):
        raise BatchError(f"{out_dir} was started with other tree file options")


def write_manifest(out_dir, manifest):
    os.makedirs(os.path.join(out_dir, "flops"), exist_ok=True)
    _write_atomic(os.path.join(out_dir, MANIFEST), json.dumps(manifest, indent=1))


def read_manifest(out_dir):
    with open(os.path.join(out_dir, MANIFEST)) as f:
        return json.load(f)


def is_done(out_dir, name):
    return os.path.exists(os.path.join(flop_dir(out_dir, name), "summary.json"))


def pending(out_dir, manifest):
    """Indices of the flops not yet done."""
    return [i for i, f in enumerate(manifest["flops"]) if not is_done(out_dir, f["name"])]


def failures(out_dir, manifest):
    """Flop name to the error of its last attempt, for flops not done."""
    out = {}
    for f in manifest["flops"]:
        err = os.path.join(flop_dir(out_dir, f["name"]), "error.txt")
        if not is_done(out_dir, f["name"]) and os.path.exists(err):
            with open(err) as fh:
                out[f["name"]] = fh.read().strip()
    return out


def check_builds(manifest, solver_path=None):
    """Build the tree of the first flop and throw it away: a spot whose tree
    the program refuses fails here, before any process or job starts."""
    spot = _flop_spot(manifest, 0, 1)
    try:
        with Solver(solver_path) as solver:
            set_up(solver, spot)
            solver.command("free_tree")
    except (KestruneError, SpotError) as e:
        raise BatchError(f"the spot does not build on {spot.board_text}: {e}") from None


# -- one flop -----------------------------------------------------------------

def _flop_spot(manifest, index, threads):
    entry = manifest["flops"][index]
    spot = load_spot_text(manifest["spot_text"], manifest["spot_file"])
    flop = Flop(tuple(parse_board(entry["text"])), entry["weight"])
    spot.board = list(flop.cards)
    spot.name = f"{spot.name}: {flop.text}"
    spot.threads = threads
    return spot


def first_decisions(tree):
    """The first decision of each player: OOP at the root, IP where OOP
    checks to him (or at the root's first IP child), each with its reach
    (the chance the play gets there) and its action frequencies."""
    root = tree.root()
    out = {}
    data = root.read(ev=False)
    out[PLAYERS[root.player]] = {"history": [], "reach": 1.0, "actions": data.summary()["actions"]}
    mix = out[PLAYERS[root.player]]["actions"]
    children = [(label, child) for label, child in root.children() if child.kind == "decision"
                and child.player != root.player]
    children.sort(key=lambda lc: lc[0] != "check")
    if children:
        label, child = children[0]
        out[PLAYERS[child.player]] = {"history": child.history, "reach": mix.get(label),
                                      "actions": child.read(ev=False).summary()["actions"]}
    return out


def solve_task(out_dir, index, threads=1, solver_path=None):
    """Solve flop `index` of the batch in `out_dir` unless done or busy.
    Returns "done", "skipped", "busy" or "failed"."""
    manifest = read_manifest(out_dir)
    entry = manifest["flops"][index]
    folder = flop_dir(out_dir, entry["name"])
    os.makedirs(folder, exist_ok=True)
    lock = open(os.path.join(folder, "lock"), "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        lock.close()
        return "busy"
    try:
        if is_done(out_dir, entry["name"]):
            return "skipped"
        _log(out_dir, f"start {entry['name']} pid {os.getpid()}")
        error_path = os.path.join(folder, "error.txt")
        if os.path.exists(error_path):
            os.remove(error_path)
        try:
            summary = _solve(manifest, index, folder, threads, solver_path)
        except Exception as e:  # noqa: BLE001 - any failure is this flop's, and is retried
            _write_atomic(error_path, f"{type(e).__name__}: {e}\n")
            _log(out_dir, f"failed {entry['name']}: {e}")
            return "failed"
        _write_atomic(os.path.join(folder, "summary.json"), json.dumps(summary, indent=1))
        _log(out_dir, f"done {entry['name']} {summary['seconds']['total']:.2f} s")
        return "done"
    finally:
        lock.close()


def _solve(manifest, index, folder, threads, solver_path):
    spot = _flop_spot(manifest, index, threads)
    entry = manifest["flops"][index]
    t0 = time.perf_counter()
    with Solver(solver_path) as solver:
        set_up(solver, spot)
        t1 = time.perf_counter()
        reason = solver.solve(Limit(spot.accuracy, spot.max_iterations, spot.max_seconds), progress=False)
        t2 = time.perf_counter()
        results = solver.results()
        tree = Tree(solver, spot.board, spot.pot, spot.stack)
        nodes = collect(tree, spot)
        root = nodes["r:0"]
        decisions = first_decisions(tree)
        tree_file = None
        if manifest["dump"]:
            if manifest["forget_rivers"]:
                try:
                    solver.command("forget rivers")
                except KestruneError as e:
                    raise KestruneError(f"forget rivers before the dump failed: {e.line}") from None
            tree_file = os.path.join(folder, "tree.kst")
            solver.command(f"dump_tree {tree_file}")
    summary = {
        "flop": entry["text"], "name": entry["name"], "weight": entry["weight"],
        "spot": {"name": spot.name, **describe(spot)},
        "stopped": reason, "iterations": results["iterations"], "threads": threads,
        "ev": {"OOP": results["ev_oop"], "IP": results["ev_ip"]},
        "exploitability": results["exploitability"], "exploitability_pct": results["exploitability_pct"],
        "root_player": root["player"],
        "root_strategy": root["summary"].get("actions", {}),
        "root_classes": {name: cell.get("strategy") for name, cell in root["classes"].items()},
        "first_decisions": decisions,
        "tree_file": os.path.basename(tree_file) if tree_file else None,
        "seconds": {"build": round(t1 - t0, 3), "solve": round(t2 - t1, 3),
                    "total": round(time.perf_counter() - t0, 3)},
    }
    write_html(os.path.join(folder, "report.html"),
               {"spot": {"name": spot.name, **describe(spot), "oop_name": spot.oop_name,
                         "ip_name": spot.ip_name},
                "stopped": reason, "iterations": results["iterations"],
                "ev": summary["ev"], "exploitability": results["exploitability"],
                "exploitability_pct": results["exploitability_pct"],
                "root_strategy": summary["root_strategy"]}, nodes)
    return summary


# -- running here ---------------------------------------------------------------

def _die_with_parent():
    # A killed batch must not leave solves running on: the next run would
    # find their flops busy.  The kernel sends this when our parent dies.
    try:
        ctypes.CDLL(None, use_errno=True).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
    except (OSError, AttributeError):
        pass


def task_command(out_dir, threads, solver_path, index=None, index_file=None):
    package_root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    cmd = [sys.executable, "-m", "kestrune", "batch-task", os.path.abspath(out_dir),
           "--threads", str(threads), "--bin", os.path.abspath(solver_path or default_binary())]
    if index_file is not None:
        cmd += ["--index-file", index_file]
    if index is not None:
        cmd.append(str(index))
    return cmd, package_root


def hardware_threads():
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:
        return os.cpu_count() or 1


def run_local(out_dir, manifest, jobs, solver_path=None, progress=True):
    """Solve the pending flops in `jobs` processes at a time, the spot's
    threads (0: all) split evenly between them.  Returns the counts of
    outcomes."""
    spot = load_spot_text(manifest["spot_text"], manifest["spot_file"])
    total = spot.threads if spot.threads > 0 else hardware_threads()
    threads = max(1, total // jobs)
    todo = pending(out_dir, manifest)
    env = dict(os.environ)
    package_root = task_command(out_dir, threads, solver_path)[1]
    env["PYTHONPATH"] = package_root + (os.pathsep + env["PYTHONPATH"] if env.get("PYTHONPATH") else "")
    running, counts = {}, {"done": 0, "failed": 0, "busy": 0, "skipped": 0}
    bar = _bar(len(todo), progress)
    try:
        while todo or running:
            while todo and len(running) < jobs:
                index = todo.pop(0)
                cmd = task_command(out_dir, threads, solver_path, index)[0]
                running[subprocess.Popen(cmd, env=env, preexec_fn=_die_with_parent)] = index
            pid, status = os.wait()
            proc = next((p for p in running if p.pid == pid), None)
            if proc is None:
                continue
            proc.returncode = os.waitstatus_to_exitcode(status)
            index = running.pop(proc)
            name = manifest["flops"][index]["name"]
            if is_done(out_dir, name):
                counts["done"] += 1
            elif proc.returncode == 3:
                counts["busy"] += 1
            else:
                counts["failed"] += 1
            if bar:
                bar.update(1)
    finally:
        for proc in running:
            proc.kill()
        if bar:
            bar.close()
    return counts


def _bar(total, progress):
    if not progress:
        return None
    from tqdm import tqdm
    return tqdm(total=total, unit="flop", desc="flops", mininterval=1.0)


# -- running on Slurm -------------------------------------------------------------

def _slurm(args, timeout=60):
    try:
        run = subprocess.run(args, capture_output=True, text=True, timeout=timeout)
    except FileNotFoundError:
        raise BatchError(f"Slurm is not installed here: no '{args[0]}' on PATH "
                         "(scripts/setup-toolkit --slurm installs it)") from None
    except subprocess.TimeoutExpired:
        raise BatchError(f"Slurm does not answer: '{' '.join(args)}' took over {timeout} s") from None
    return run


def check_slurm():
    """Refuse early when there is no Slurm to submit to."""
    for tool in ("sbatch", "squeue", "sinfo"):
        if shutil.which(tool) is None:
            raise BatchError(f"Slurm is not installed here: no '{tool}' on PATH "
                             "(scripts/setup-toolkit --slurm installs it)")
    run = _slurm(["sinfo", "-h", "-o", "%P %a %D"], timeout=30)
    if run.returncode != 0:
        lines = (run.stderr or run.stdout or "sinfo failed").strip().splitlines()
        raise BatchError(f"Slurm does not answer ({lines[-1]})")
    if not run.stdout.strip():
        raise BatchError("Slurm has no partition to run on")


def _job_alive(job_id):
    run = _slurm(["squeue", "-h", "-j", str(job_id), "-o", "%i"], timeout=30)
    return run.returncode == 0 and bool(run.stdout.strip())


def _max_array_size():
    run = _slurm(["scontrol", "show", "config"], timeout=30)
    for line in run.stdout.splitlines():
        key, _, value = line.partition("=")
        if key.strip() == "MaxArraySize" and value.strip().isdigit():
            return int(value.strip())
    return None


def _ranges(numbers):
    """[0, 1, 2, 5] to "0-2,5", the form of --array."""
    out, start = [], None
    for i, n in enumerate(numbers):
        if start is None:
            start = n
        if i + 1 == len(numbers) or numbers[i + 1] != n + 1:
            out.append(str(start) if start == n else f"{start}-{n}")
            start = None
    return ",".join(out)


def submit_slurm(out_dir, manifest, solver_path=None):
    """Submit the pending flops as one job array; returns the job id and
    the flop indices it runs, or those of a job still running from an
    earlier call (the wait was interrupted), which is waited for instead."""
    slurm_dir = os.path.join(out_dir, "slurm")
    os.makedirs(slurm_dir, exist_ok=True)
    job_file = os.path.join(slurm_dir, "job.json")
    if os.path.exists(job_file):
        with open(job_file) as f:
            job = json.load(f)
        if _job_alive(job["id"]):
            return job["id"], job["flops"]
    todo = pending(out_dir, manifest)
    if not todo:
        return None, []
    for i in todo:   # so that the progress counts this run's failures only
        stale = os.path.join(flop_dir(out_dir, manifest["flops"][i]["name"]), "error.txt")
        if os.path.exists(stale):
            os.remove(stale)
    limit = _max_array_size()
    if limit is not None and len(todo) > limit:   # indices 0 to MaxArraySize - 1
        raise BatchError(f"{len(todo)} flops are pending and this cluster's arrays end at index {limit - 1} "
                         "(MaxArraySize in slurm.conf): ask for a larger one, or batch a sample")
    spot = load_spot_text(manifest["spot_text"], manifest["spot_file"])
    # Array task k solves flop todo[k]: array indices stay below the
    # cluster's MaxArraySize as long as the pending flops do.
    index_file = os.path.join(os.path.abspath(slurm_dir), f"flops-{int(time.time())}.txt")
    _write_atomic(index_file, "".join(f"{i}\n" for i in todo))
    threads = spot.threads
    cmd, package_root = task_command(out_dir, threads, solver_path, index_file=index_file)
    script = os.path.join(slurm_dir, "task.sh")
    _write_atomic(script, "#!/bin/sh\n# One flop of the batch; written by scripts/batch.\n"
                  f"export PYTHONPATH={_sh(package_root)}${{PYTHONPATH:+:$PYTHONPATH}}\n"
                  f"exec {' '.join(_sh(c) for c in cmd)} \"$SLURM_ARRAY_TASK_ID\"\n")
    os.chmod(script, 0o755)
    args = ["sbatch", "--parsable", f"--array={_ranges(list(range(len(todo))))}",
            "--job-name=kestrune-batch", f"--output={os.path.abspath(slurm_dir)}/task-%A_%a.out",
            f"--chdir={os.path.abspath(out_dir)}"]
    # Threads 0 is "all of the machine": the whole node, alone.
    args += ["--exclusive"] if threads == 0 else [f"--cpus-per-task={threads}"]
    run = _slurm(args + [script])
    if run.returncode != 0:
        raise BatchError(f"sbatch refused the array: {(run.stderr or run.stdout).strip()}")
    job_id = run.stdout.strip().split(";")[0]
    _write_atomic(job_file, json.dumps({"id": job_id, "flops": todo}))
    _log(out_dir, f"submitted job {job_id}: {len(todo)} flops")
    return job_id, todo


def wait_slurm(out_dir, manifest, job_id, flops, progress=True, poll=2.0):
    """Wait until no task of the job is left, showing finished flops."""
    names = [manifest["flops"][i]["name"] for i in flops]
    bar = _bar(len(names), progress)
    seen = 0
    try:
        while True:
            alive = _job_alive(job_id)
            finished = sum(1 for n in names if is_done(out_dir, n)
                           or os.path.exists(os.path.join(flop_dir(out_dir, n), "error.txt")))
            if bar and finished > seen:
                bar.update(finished - seen)
            seen = finished
            if not alive:
                break
            time.sleep(poll)
    finally:
        if bar:
            bar.close()


def _sh(text):
    return "'" + str(text).replace("'", "'\\''") + "'"


def parse_flops(text, seed=0):
    from .flops import flop_set
    try:
        return flop_set(text, seed)
    except FlopError as e:
        raise BatchError(str(e)) from None
