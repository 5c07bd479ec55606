"""What the figures were measured on."""

import dataclasses
import os
import re
from pathlib import Path

# By the kernel's names: what the fastest kernels need.
WIDE_PERMUTES = {"avx512vbmi", "avx512_vnni"}


@dataclasses.dataclass(frozen=True)
class Machine:
    processor: str
    threads: int
    flags: frozenset
    memory_gib: float
    system: str

    @property
    def permutes_wide(self):
        """Whether it has AVX-512 VBMI and VNNI."""
        return WIDE_PERMUTES <= self.flags

    @property
    def text(self):
        wide = "with" if self.permutes_wide else "without"
        return (f"{self.processor}, {self.threads} hardware thread{'s' if self.threads != 1 else ''}, "
                f"{wide} AVX-512 VBMI and VNNI, {self.memory_gib:.0f} GiB, {self.system}")


def processor_facts(cpuinfo):
    """Name and flags of the first processor in the text of /proc/cpuinfo."""
    def field(name):
        found = re.search(rf"^{name}\s*: *(.*)$", cpuinfo, re.MULTILINE)
        return found.group(1).strip() if found else ""
    return field("model name") or "unknown processor", frozenset(field("flags").split())


def this_machine():
    processor, flags = processor_facts(Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    release = dict(line.split("=", 1) for line in Path("/etc/os-release").read_text(encoding="utf-8").splitlines()
                   if "=" in line)
    system = release.get("PRETTY_NAME", "Linux").strip('"')
    return Machine(processor, len(os.sched_getaffinity(0)), flags, memory, system)


def load_text():
    """The load average of the last minute: other work beside the benchmarks."""
    return f"{os.getloadavg()[0]:.1f}"
