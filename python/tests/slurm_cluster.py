"""A one-node Slurm cluster on this machine, for the batch test.

Everything lives in one temporary folder: a munge key of its own and the
munge socket, slurm.conf, state, spool, logs and pid files, so the
machine's own Slurm or munge set-up (if any) is neither used nor touched.
It runs in a container without systemd or writable cgroups, hence process
tracking by /proc (proctrack/linuxproc) and no task plugin, with root as
the Slurm user.  There is no accounting database; the cluster's own record
of finished jobs is the job completion file (jobcomp/filetxt).

Clients find the cluster through SLURM_CONF in `env`.  `stop()` ends the
three daemons this class started, by their process ids.
"""

import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time


def _free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class OneNodeCluster:
    def __init__(self, cpus=None, max_array_size=1001):
        self.dir = tempfile.mkdtemp(prefix="kestrune-slurm-")
        self.cpus = cpus or os.cpu_count() or 1
        self.max_array_size = max_array_size
        self.pids = []
        self.env = dict(os.environ)
        self.conf = os.path.join(self.dir, "slurm.conf")
        self.jobcomp = os.path.join(self.dir, "jobcomp.txt")
        self.env["SLURM_CONF"] = self.conf

    def _path(self, *parts):
        return os.path.join(self.dir, *parts)

    def start(self):
        for sub in ("state", "spool", "munge"):
            os.makedirs(self._path(sub), mode=0o700)
        key = self._path("munge", "munge.key")
        with open(key, "wb") as f:
            f.write(os.urandom(1024))
        os.chmod(key, 0o400)
        sock = self._path("munge", "munge.socket")
        subprocess.run(["munged", f"--key-file={key}", f"--socket={sock}",
                        f"--pid-file={self._path('munge', 'munged.pid')}",
                        f"--log-file={self._path('munge', 'munged.log')}",
                        f"--seed-file={self._path('munge', 'munged.seed')}", "--force"],
                       check=True, capture_output=True, timeout=30)
        self.pids.append(self._read_pid(self._path("munge", "munged.pid")))
        memory = 1024
        with open("/proc/meminfo") as f:
            memory = int(f.readline().split()[1]) // 1024 // 2
        with open(self.conf, "w") as f:
            f.write(f"""ClusterName=kestrune-test
SlurmctldHost=localhost(127.0.0.1)
SlurmctldPort={_free_port()}
SlurmdPort={_free_port()}
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket={sock}
CredType=cred/munge
StateSaveLocation={self._path('state')}
SlurmdSpoolDir={self._path('spool')}
SlurmctldPidFile={self._path('slurmctld.pid')}
SlurmdPidFile={self._path('slurmd.pid')}
SlurmctldLogFile={self._path('slurmctld.log')}
SlurmdLogFile={self._path('slurmd.log')}
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/filetxt
JobCompLoc={self.jobcomp}
SchedulerType=sched/backfill
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
ReturnToService=2
MailProg=/bin/true
MinJobAge=600
MaxArraySize={self.max_array_size}
NodeName=kestrune-node NodeHostname={socket.gethostname()} NodeAddr=127.0.0.1 CPUs={self.cpus} RealMemory={memory} State=UNKNOWN
PartitionName=batch Nodes=ALL Default=YES MaxTime=INFINITE State=UP
""")
        subprocess.run(["slurmctld", "-i"], env=self.env, check=True, capture_output=True, timeout=30)
        self.pids.append(self._read_pid(self._path("slurmctld.pid")))
        subprocess.run(["slurmd", "-N", "kestrune-node"], env=self.env, check=True, capture_output=True, timeout=30)
        self.pids.append(self._read_pid(self._path("slurmd.pid")))
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            run = subprocess.run(["sinfo", "-h", "-o", "%T"], env=self.env, capture_output=True, text=True)
            if run.returncode == 0 and run.stdout.strip() in ("idle", "mixed", "allocated"):
                return self
            time.sleep(0.5)
        raise RuntimeError("the node did not come up:\n" + self.logs())

    @staticmethod
    def _read_pid(path):
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            try:
                with open(path) as f:
                    return int(f.read().split()[0])
            except (OSError, ValueError, IndexError):
                time.sleep(0.1)
        raise RuntimeError(f"no pid file {path}")

    def logs(self):
        out = []
        for name in ("slurmctld.log", "slurmd.log", "munge/munged.log"):
            try:
                with open(self._path(name)) as f:
                    out.append(f"== {name}\n" + "".join(f.readlines()[-20:]))
            except OSError:
                pass
        return "\n".join(out)

    def stop(self):
        # The daemons in reverse order of start, each by the id it wrote.
        for pid in reversed(self.pids):
            try:
                os.kill(pid, signal.SIGTERM)
            except ProcessLookupError:
                continue
            for _ in range(100):
                try:
                    os.kill(pid, 0)
                except ProcessLookupError:
                    break
                time.sleep(0.1)
        self.pids = []
        shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        try:
            return self.start()
        except BaseException:
            self.stop()
            raise

    def __exit__(self, *exc):
        self.stop()
