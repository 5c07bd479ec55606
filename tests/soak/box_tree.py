"""MP4 boxes as a tree that can be changed and written again, faults included."""

import struct
import sys
from dataclasses import dataclass, field

import boxes

# Boxes may be nested some thousand times.
sys.setrecursionlimit(50000)

ENTRIES = {b"hvc1", b"hev1", b"avc1", b"avc3"}
CONTAINERS = {name.encode() for name in boxes.CONTAINERS} | {b"moof", b"traf", b"mvex", b"mfra"}


@dataclass
class Node:
    """`head` is what stands before the children, `body` the content of a box without children."""
    kind: bytes
    body: bytes = b""
    head: bytes = b""
    children: list = field(default_factory=list)
    stated_size: int = None  # written in the place of the true size
    wide: bool = False       # with a 64-bit size

    def all(self, kind):
        return [child for child in self.children if child.kind == kind]

    def find(self, *path):
        """The first box under each kind of the path; None when one is missing."""
        node = self
        for kind in path:
            node = next(iter(node.all(kind)), None)
            if node is None:
                return None
        return node

    def written(self):
        content = self.head + self.body + b"".join(child.written() for child in self.children)
        size = len(content) + (16 if self.wide else 8)
        stated = size if self.stated_size is None else self.stated_size
        if self.wide:
            return struct.pack(">I4sQ", 1, self.kind, stated & 0xFFFFFFFFFFFFFFFF) + content
        return struct.pack(">I4s", stated & 0xFFFFFFFF, self.kind) + content

    def walk(self):
        """All boxes inside, each with the box that holds it."""
        for child in self.children:
            yield self, child
            yield from child.walk()


def head_bytes(kind):
    if kind == b"stsd":
        return 8
    return boxes.VISUAL_ENTRY_BYTES if kind in ENTRIES else 0


def parse(data, inside=b""):
    """The boxes of `data`; what is no box any more becomes one without a kind, which is written as it was."""
    nodes, position = [], 0
    while position < len(data):
        size, kind = struct.unpack_from(">I4s", data, position) if len(data) - position >= 8 else (0, b"")
        header, wide = 8, size == 1 and len(data) - position >= 16
        if wide:
            [size] = struct.unpack_from(">Q", data, position + 8)
            header = 16
        if not kind or size < header or size > len(data) - position:
            nodes.append(Rest(b"", bytes(data[position:])))
            break
        content = bytes(data[position + header:position + size])
        node = Node(kind, wide=wide)
        split = head_bytes(kind)
        if (kind in CONTAINERS or split) and len(content) >= split:
            node.head = content[:split]
            node.children = parse(content[split:], kind)
        else:
            node.body = content
        nodes.append(node)
        position += size
    return nodes


class Rest(Node):
    """Bytes that are no box."""

    def written(self):
        return self.body


def read_tree(data):
    """The file as one box without a kind; `file_bytes` is the way back."""
    return Node(b"", children=parse(data))


def file_bytes(root):
    return b"".join(child.written() for child in root.children)
