# SPDX-License-Identifier: Apache-2.0
"""Logs, written byte by byte.

Not by the project's own writer: so they can be wrong in ways that it would refuse, and a fault in
writer and reader cannot hide itself.
"""

import struct


class Table(dict):
    """Fields by their index: a number as ("Q", 7), or a table, list, text or bytes. An object that
    stands in two places is written once, and named twice."""


class Text(bytes):
    pass


def text(value):
    return Text(value.encode() if isinstance(value, str) else value)


class Block:
    """The bytes of one object, where in them it begins, and what it refers to."""

    def __init__(self, value):
        self.origin, self.references = 0, []
        if isinstance(value, Table):
            self.fill(value)
        elif isinstance(value, list):
            self.bytes = bytearray(struct.pack("<I", len(value)) + bytes(4 * len(value)))
            self.references = [(4 + 4 * i, item) for i, item in enumerate(value)]
        else:
            end = b"\0" if isinstance(value, Text) else b""
            self.bytes = struct.pack("<I", len(value)) + value + end

    def fill(self, table):
        slots = [0] * (max(table, default=-1) + 1)
        body = b""
        for index, field in table.items():
            slots[index] = 4 + len(body)
            if not isinstance(field, tuple):
                self.references.append((slots[index], field))
            body += struct.pack("<" + field[0], field[1]) if isinstance(field, tuple) else bytes(4)
        vtable = struct.pack(f"<HH{len(slots)}H", 4 + 2 * len(slots), 4 + len(body), *slots)
        self.origin = len(vtable)
        self.bytes = bytearray(vtable + struct.pack("<i", len(vtable)) + body)


def chunk(messages, header=None):
    blocks = {}  # by the object's id, each after what it refers to

    def add(value):
        if id(value) not in blocks:
            block = Block(value)
            for _, item in block.references:
                add(item)
            blocks[id(value)] = block

    root = Table({1: messages} if header is None else {0: header, 1: messages})
    add(root)
    # References lead forward, so the order is turned round.
    content, places = bytearray(4), {}
    for key, block in reversed(blocks.items()):
        places[key] = len(content) + block.origin
        content += block.bytes
    for key, block in blocks.items():
        for at, item in block.references:
            struct.pack_into("<I", content, places[key] + at, places[id(item)] - places[key] - at)
    struct.pack_into("<I", content, 0, places[id(root)])
    return struct.pack("<I", len(content)) + bytes(content)


def message(method, graph=None, events=(), start=0, end=0, level=0):
    table = Table({0: Table({0: ("Q", start)}), 1: ("b", method), 3: ("b", level), 4: list(events)})
    table[2] = Table({0: ("Q", start), 1: ("Q", end)})
    if graph is not None:
        table[5] = text(graph)
    return table


def event(name, value=1, children=(), unit=1):
    table = Table({0: text(name), 2: ("Q", value), 3: ("I", unit), 5: ("I", 2)})
    if children:
        table[4] = list(children)
    return table


def payload(file_name, content):
    return Table(
        {0: text("object"), 3: ("I", 5), 5: ("I", 4), 8: bytes(content), 9: text(file_name)}
    )


EXECUTE, FINALIZE, ROUND_TRIP, INIT, DE_INIT, NET_RUN = 1, 2, 3, 4, 5, 8


def run_log(rng, executions=20, names=30):
    """A small sound log of an ordinary run, in several chunks."""
    chunks = []
    header = Table({0: ("f", 1.0), 1: ("Q", 1700000000000000), 2: ("Q", 5), 5: text("torture 1.0")})
    chunks.append(
        chunk(
            [
                message(INIT, None, [event("backend", 50)], 1, 60),
                message(FINALIZE, "net", [event("RyxGraph_finalize", 9)], 60, 90),
            ],
            header,
        )
    )
    for i in range(executions):
        leaves = [event(f"leaf {j}", rng.randrange(1000)) for j in range(rng.randrange(4))]
        events = [event(f"node {j}:conv", rng.randrange(5000), leaves) for j in range(names)]
        kind = rng.choice([EXECUTE, ROUND_TRIP])
        chunks.append(
            chunk([message(kind, rng.choice(["net", "other"]), events, i * 100, i * 100 + 90)])
        )
    chunks.append(
        chunk(
            [
                message(NET_RUN, None, [event("duration", 999), event("count", 7, unit=4)]),
                message(DE_INIT, None, [event("release", 3)], 9000, 9010),
            ]
        )
    )
    return b"".join(chunks)


def colliding_names_of_16_bytes(rng, count):
    """Texts of 16 bytes whose hash under the standard library's fixed key is the same."""
    multiplier, mask = 0xC6A4A7935BD1E995, 2**64 - 1
    inverse = pow(multiplier, -1, 2**64)

    def scramble(word):
        word = word * multiplier & mask
        return (word ^ word >> 47) * multiplier & mask

    def unscramble(word):
        word = word * inverse & mask
        return (word ^ word >> 47) * inverse & mask

    start = 0xC70F6907 ^ 16 * multiplier & mask
    names = []
    while len(names) < count:
        first = rng.getrandbits(64)
        middle = ((start ^ scramble(first)) * multiplier) & mask
        name = struct.pack("<QQ", first, unscramble(middle ^ 12345))
        if 0 not in name:
            names.append(name)
    return names
