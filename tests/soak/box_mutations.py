"""Random changes of boxes and of the bytes of a file, whatever they mean."""

import copy
import struct

from box_tree import Node, file_bytes, read_tree

NUMBERS = (0, 1, 2, 3, 7, 8, 0x7F, 0xFF, 0x100, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF)
KINDS = (b"free", b"mdat", b"moov", b"trak", b"stsd", b"stco", b"co64", b"stts", b"ctts", b"elst", b"edts", b"meta",
         b"udta", b"moof", b"mvex", b"vide", b"gpmd", b"hvcC", b"avcC", b"colr", b"sidx", b"uuid", b"wide", b"st3d",
         b"\0\0\0\0", b"\xa9nam")


def pick(random, root):
    """A box and the box that holds it; the boxes of the index are meant more often than its few neighbours."""
    return random.choice(list(root.walk()))


def change_size(random, root):
    _, node = pick(random, root)
    true = len(node.written())
    node.stated_size = random.choice((*NUMBERS, true - 1, true + 1, true - 8, true + 8, true // 2, true * 2))
    node.wide = node.wide or random.random() < 0.1


def change_kind(random, root):
    _, node = pick(random, root)
    node.kind = random.choice((*KINDS, pick(random, root)[1].kind, random.randbytes(4))) or b"free"


def remove_box(random, root):
    holder, node = pick(random, root)
    holder.children = [child for child in holder.children if child is not node]


def repeat_box(random, root):
    holder, node = pick(random, root)
    if len(node.written()) < 20000:
        place = random.randrange(len(holder.children) + 1)
        holder.children[place:place] = [copy.deepcopy(node) for _ in range(random.choice((1, 1, 2, 20)))]


def shuffle_boxes(random, root):
    holder, _ = pick(random, root)
    random.shuffle(holder.children)


def move_box(random, root):
    holder, node = pick(random, root)
    inside = {id(child) for _, child in node.walk()} | {id(node)}
    places = [child for _, child in root.walk() if id(child) not in inside]
    if places and len(node.written()) < 20000:
        target = random.choice(places)
        holder.children = [child for child in holder.children if child is not node]
        target.children.insert(random.randrange(len(target.children) + 1), node)


def nest_box(random, root):
    holder, node = pick(random, root)
    place = next(index for index, child in enumerate(holder.children) if child is node)
    for _ in range(random.choice((1, 1, 3, 200))):
        node = Node(random.choice((node.kind, b"moov", b"udta", b"trak", b"meta")), children=[node])
    holder.children[place] = node


def leaves(root):
    return [node for _, node in root.walk() if node.body and node.kind != b"mdat"]


def change_number(random, root, count=1):
    """A number of 8, 16, 32 or 64 bits somewhere in a box."""
    found = leaves(root)
    for _ in range(count if found else 0):
        node = random.choice(found)
        width = random.choice((1, 2, 4, 4, 4, 8))
        if len(node.body) >= width:
            place = random.randrange(0, len(node.body) - width + 1)
            if random.random() < 0.8:
                place -= place % min(width, 4)
            old = int.from_bytes(node.body[place:place + width], "big")
            value = random.choice((*NUMBERS, old + 1, old - 1, old * 2, random.getrandbits(8 * width)))
            body = (value & (1 << 8 * width) - 1).to_bytes(width, "big")
            node.body = node.body[:place] + body + node.body[place + width:]


def change_numbers(random, root):
    change_number(random, root, random.choice((2, 5, 20)))


def change_head(random, root):
    """A number before the children, as the size of the picture in a sample entry."""
    found = [node for _, node in root.walk() if node.head]
    if found:
        node = random.choice(found)
        place = random.randrange(len(node.head) - 1)
        value = struct.pack(">H", random.choice(NUMBERS) & 0xFFFF)
        node.head = node.head[:place] + value + node.head[place + 2:]


def change_length(random, root):
    found = leaves(root)
    if found:
        node = random.choice(found)
        size = random.randrange(len(node.body) + 1)
        node.body = random.choice((node.body[:size], node.body + random.randbytes(random.choice((1, 4, 8, 100))), b""))


def exchange_bodies(random, root):
    found = leaves(root)
    if len(found) > 1:
        one, other = random.sample(found, 2)
        one.body, other.body = other.body, one.body


BOXES = [change_size, change_kind, remove_box, repeat_box, shuffle_boxes, move_box, nest_box, change_number,
         change_number, change_number, change_numbers, change_head, change_length, exchange_bodies]


def cut_file(random, data):
    return data[:random.randrange(len(data) + 1)]


def flip_bytes(random, data):
    data = bytearray(data)
    for _ in range(random.choice((1, 3, 10, 100)) if data else 0):
        data[random.randrange(len(data))] ^= 1 << random.randrange(8)
    return bytes(data)


def replace_range(random, data):
    place, size = random.randrange(len(data) + 1), random.choice((1, 8, 100, 2000))
    filling = random.choice((bytes(size), b"\xff" * size, random.randbytes(size)))
    return data[:place] + filling + data[place + size:]


def shift_bytes(random, data):
    place, size = random.randrange(len(data) + 1), random.choice((1, 4, 100))
    return data[:place] + random.choice((b"", random.randbytes(size))) + data[place + size * (random.random() < 0.5):]


BYTES = [cut_file, flip_bytes, replace_range, shift_bytes]


def change_boxes(random, data, count):
    """The file after `count` changes, each on the boxes as they are then; and the names of the changes."""
    root, names = read_tree(data), []
    for _ in range(count):
        if not root.children:
            break
        change = random.choice(BOXES)
        change(random, root)
        names.append(change.__name__)
    return file_bytes(root), names
