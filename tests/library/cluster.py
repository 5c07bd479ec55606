"""A Slurm cluster of several nodes on this machine: loopback only, without systemd, in a folder of its own."""

import contextlib
import getpass
import os
import secrets
import signal
import socket
import subprocess
import time
from pathlib import Path

SETTINGS = """\
ClusterName=veyrin
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={control}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge/socket
CredType=cred/munge
CommunicationParameters=NoInAddrAny,NoCtldInAddrAny
StateSaveLocation={folder}/state
SlurmctldPidFile={folder}/slurmctld.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdPidFile={folder}/slurmd.%n.pid
SlurmdLogFile={folder}/slurmd.%n.log
SlurmdSpoolDir={folder}/spool.%n
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
MpiDefault=none
SwitchType=switch/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerType=sched/backfill
SchedulerParameters=sched_interval=1,sched_min_interval=0,bf_interval=1
SlurmdParameters=config_overrides
ReturnToService=2
SlurmctldTimeout=10
SlurmdTimeout=5
KillWait=2
MinJobAge=600
InactiveLimit=0
MailProg=/bin/true
"""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


class Cluster:
    def __init__(self, folder, nodes=3):
        self.folder = Path(folder)
        self.nodes = [f"n{number + 1}" for number in range(nodes)]
        self.environment = {**os.environ, "SLURM_CONF": str(self.folder / "slurm.conf")}

    def start(self):
        self.folder.mkdir(parents=True)
        # munged refuses folders that others may write to.
        self.folder.chmod(0o755)
        for part in ("munge", "state", *(f"spool.{node}" for node in self.nodes)):
            (self.folder / part).mkdir(mode=0o755)
        key = self.folder / "munge" / "key"
        key.touch(0o600)
        key.write_bytes(secrets.token_bytes(1024))
        host, ports = socket.gethostname().split(".")[0], free_ports(len(self.nodes) + 1)
        lines = [SETTINGS.format(host=host, control=ports[0], user=getpass.getuser(), folder=self.folder)]
        lines += [f"NodeName={node} NodeHostname={host} NodeAddr=127.0.0.1 Port={port} CPUs=1 RealMemory=4000\n"
                  for node, port in zip(self.nodes, ports[1:])]
        lines += ["PartitionName=main Nodes=ALL Default=YES MaxTime=INFINITE State=UP\n"]
        (self.folder / "slurm.conf").write_text("".join(lines), encoding="ascii")
        self.call("/usr/sbin/munged", f"--socket={self.folder}/munge/socket",
                  *(f"--{name}-file={self.folder}/munge/{name}" for name in ("key", "pid", "log", "seed")))
        self.call("/usr/sbin/slurmctld", "-i")
        for node in self.nodes:
            self.start_node(node)
        self.wait_until_idle(self.nodes)

    def start_node(self, node):
        self.call("/usr/sbin/slurmd", "-N", node)

    def wait_until_idle(self, nodes):
        end = time.monotonic() + 30
        while time.monotonic() < end:
            shown = self.output("sinfo", "-h", "-N", "-o", "%N %t").split("\n")
            if all(f"{node} idle" in shown for node in nodes):
                return
            time.sleep(0.1)
        raise AssertionError("\n".join(shown))

    def kill_node(self, node):
        """Ends the node as a failed machine does: nothing of it lives on, nobody is told."""
        daemon = int((self.folder / f"slurmd.{node}.pid").read_text(encoding="ascii"))
        os.kill(daemon, signal.SIGKILL)
        for process in self.processes_of(node):
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)

    def processes_of(self, node):
        """The step daemons of a node and all processes of its jobs; the latter know the node's name."""
        found = []
        for folder in Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                words = (folder / "cmdline").read_bytes()
                names = (folder / "environ").read_bytes().split(b"\0")
                mine = f"SLURM_CONF={self.folder}/slurm.conf".encode() in names
                if mine and (f"SLURMD_NODENAME={node}".encode() in names or
                             words.startswith(b"slurmstepd") and self.steps_node(folder) == node):
                    found.append(int(folder.name))
        return found

    def steps_node(self, folder):
        for link in (folder / "fd").iterdir():
            with contextlib.suppress(OSError):
                target = os.readlink(link)
                for node in self.nodes:
                    if target.endswith(f"/slurmd.{node}.log") or f"/spool.{node}/" in target:
                        return node
        return None

    def stop(self):
        with contextlib.suppress(OSError, subprocess.SubprocessError):
            self.call("scancel", "-Q", "-u", getpass.getuser())
        files = [self.folder / "slurmctld.pid", *(self.folder / f"slurmd.{node}.pid" for node in self.nodes)]
        self.end(files)
        self.end([self.folder / "munge" / "pid"])

    def end(self, pid_files):
        running = []
        for file in pid_files:
            with contextlib.suppress(OSError, ValueError):
                running.append(int(file.read_text(encoding="ascii")))
                os.kill(running[-1], signal.SIGTERM)
        end = time.monotonic() + 15
        for process in running:
            with contextlib.suppress(ProcessLookupError):
                while time.monotonic() < end:
                    os.kill(process, 0)
                    time.sleep(0.05)
                os.kill(process, signal.SIGKILL)

    def call(self, *words):
        subprocess.run(words, env=self.environment, check=True, timeout=60, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def output(self, *words):
        return subprocess.run(words, env=self.environment, check=False, timeout=60, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True).stdout
