"""scripts/nasm-once against nasm itself: the same code, data and relocations, and nasm's own messages."""

import subprocess

import pytest

from mirror import REPOSITORY

# What FFmpeg's and x265's sources are made of: macros that count, labels of macros, padding, 8-byte and 16-byte data.
SOURCE = """
%use smartalign
%include "macros.asm"
ALIGNMODE p6
default rel
SECTION .rodata align=32
table: times 8 dw 3, -3
mask: dq 0x0123456789abcdef
SECTION .text align=16
extern outside
kernels 5
jmp outside
"""
MACROS = """
%macro kernel 1
global kernel_%1
align 16
kernel_%1:
%if DEPTH > 8
    add rsi, %1
%endif
    lea rdx, [table]
%assign n 0
%rep %1 + 1
    movdqu xmm %+ n, [rdx + 16 * n]
%assign n n + 1
%endrep
align 32
%%again:
    dec rcx
    jnz %%again
    cmp rcx, [mask]
    je .end
    times 40 * %1 nop
.end:
    ret
%endmacro
%macro kernels 1
%assign number 0
%rep %1
    kernel number
%assign number number + 1
%endrep
%endmacro
"""


def assemble(folder, program, output, *options):
    return subprocess.run([program, *options, "-I", f"{folder}/", "-o", str(output), str(folder / "source.asm")],
                          capture_output=True, text=True, timeout=60, check=False)


@pytest.fixture
def sources(tmp_path):
    (tmp_path / "source.asm").write_text(SOURCE)
    (tmp_path / "macros.asm").write_text(MACROS)
    return tmp_path


@pytest.mark.parametrize("depth", [8, 10])
def test_the_object_is_that_of_nasm(sources, depth):
    dumps = []
    for program in "nasm", str(REPOSITORY / "scripts" / "nasm-once"):
        output = sources / "object.o"
        done = assemble(sources, program, output, "-f", "elf64", f"-DDEPTH={depth}", "-MD", str(sources / "object.d"))
        assert (done.returncode, done.stderr) == (0, "")
        assert (sources / "object.d").read_text().startswith(f"{output} :")
        assert not list(sources.glob("*.o.*"))
        # The name of the file and labels inside macros are nobody's business.
        subprocess.run(["strip", "-x", "-R", ".comment", str(output)], check=True)
        dumps.append(subprocess.run(["objdump", "-r", "-t", "-s", "-j", ".text", "-j", ".rodata", str(output)],
                                    capture_output=True, text=True, check=True).stdout)
    assert dumps[0] == dumps[1]
    assert len(dumps[0].splitlines()) > 30


def test_an_error_is_told_by_nasm(sources):
    (sources / "source.asm").write_text(SOURCE + "movdqu xmm0, nothing_of_this_name\n")
    told = assemble(sources, "nasm", sources / "object.o", "-f", "elf64", "-DDEPTH=8")
    once = assemble(sources, str(REPOSITORY / "scripts" / "nasm-once"), sources / "object.o", "-f", "elf64", "-DDEPTH=8")
    assert told.returncode != 0 and "nothing_of_this_name" in told.stderr
    assert (once.returncode, once.stderr) == (told.returncode, told.stderr)


def test_other_calls_are_passed_on():
    for program in "nasm", str(REPOSITORY / "scripts" / "nasm-once"):
        assert subprocess.run([program, "-v"], capture_output=True, text=True, check=True).stdout.startswith("NASM version")
