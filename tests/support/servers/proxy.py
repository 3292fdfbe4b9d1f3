# SPDX-License-Identifier: MIT
"""A connection's way through a slow, measured or hostile network.

It passes on to a port of this machine, holds each piece back for half of a round trip, and counts the
bytes of each direction and the turns: how often the client spoke after it had heard something. That is
the number of round trips of a client that waits for answers. As an enemy in between it can take the offer
of STARTTLS out ("strip"), refuse it ("refuse"), or add lines in plain text to the answer ("inject"). While
its gate is "closed" all connections are cut, new ones at once; while it is "stuck" they live and carry nothing.
It can get stuck by itself at the piece of that number which a client sends: with "request" that piece is held
back, with "answer" it is passed on, and what the server answers is held back.
"""

import asyncio
import collections
import re


class Proxy:
    def __init__(self, port, delay=0.0, edit="", stuck_at=0, holding="request"):
        """`delay` is the time of a round trip in seconds."""
        self.port, self.delay, self.edit = port, delay / 2, edit
        self.stuck_at, self.holding = stuck_at, holding
        self.pieces = 0
        self.turns = self.up = self.down = self.connections = 0
        self.gate = "open"
        self.clients = set()

    async def start(self):
        """Returns its port."""
        loop = asyncio.get_running_loop()
        self.server = await loop.create_server(lambda: _Client(self), "127.0.0.1", 0, backlog=128)
        return self.server.sockets[0].getsockname()[1]

    def set_gate(self, gate):
        self.gate = gate
        for client in list(self.clients):
            if gate == "closed":
                client.cut()
            else:
                client.up.hold(gate == "stuck")
                client.down.hold(gate == "stuck")

    def counts(self):
        return {"turns": self.turns, "up": self.up, "down": self.down, "connections": self.connections,
                "pieces": self.pieces, "gate": self.gate}


class _Line:
    """One direction: writes each piece when its time has come; None is the end."""

    def __init__(self, delay):
        self.loop = asyncio.get_running_loop()
        self.delay, self.pieces, self.to, self.timer = delay, collections.deque(), None, None
        self.held = False

    def put(self, piece):
        self.pieces.append((self.loop.time() + self.delay, piece))
        self._pump()

    def open(self, transport):
        self.to = transport
        self._pump()

    def hold(self, held):
        self.held = held
        self._pump()

    def _pump(self):
        while self.to is not None and self.timer is None and self.pieces and not self.held:
            due, piece = self.pieces[0]
            if self.delay and due > self.loop.time():
                self.timer = self.loop.call_at(due, self._due)
                return
            self.pieces.popleft()
            if piece is None:
                self.to.close()
            else:
                self.to.write(piece)

    def _due(self):
        self.timer = None
        self._pump()


class _Client(asyncio.Protocol):
    """The side of the client."""

    def __init__(self, proxy):
        self.proxy = proxy
        self.up, self.down = _Line(proxy.delay), _Line(proxy.delay)
        self.heard = self.asked = False

    def connection_made(self, transport):
        self.proxy.connections += 1
        self.transport = transport
        if self.proxy.gate == "closed":
            transport.abort()
            return
        self.proxy.clients.add(self)
        self.up.hold(self.proxy.gate == "stuck")
        self.down.hold(self.proxy.gate == "stuck")
        self.down.open(transport)
        self.opening = asyncio.ensure_future(self._open())

    async def _open(self):
        try:
            await asyncio.get_running_loop().create_connection(lambda: _Server(self), "127.0.0.1", self.proxy.port)
        except OSError:
            self.down.put(None)

    def data_received(self, data):
        self.proxy.up += len(data)
        if self.heard:
            self.proxy.turns += 1
            self.heard = False
        command = re.fullmatch(rb"(?:(\S+) )?STARTTLS\r\n", data, re.IGNORECASE)
        self.asked = bool(command)
        self.proxy.pieces += 1
        if self.proxy.pieces == self.proxy.stuck_at and self.proxy.holding == "request":
            self.proxy.set_gate("stuck")
        if command and self.proxy.edit == "refuse":
            self.down.put(command[1] + b" NO Not now\r\n" if command[1] else b"454 4.7.0 Not now\r\n")
        else:
            self.up.put(data)
        if self.proxy.pieces == self.proxy.stuck_at and self.proxy.holding == "answer":
            self.proxy.set_gate("stuck")

    def connection_lost(self, reason):
        self.proxy.clients.discard(self)
        self.up.put(None)

    def cut(self):
        self.transport.abort()
        if self.up.to:
            self.up.to.abort()

    def answered(self, data):
        self.proxy.down += len(data)
        self.heard = True
        if self.proxy.edit == "strip":
            data = re.sub(rb" STARTTLS\b", b"", re.sub(rb"250-STARTTLS\r\n", b"", data))
        elif self.proxy.edit == "inject" and self.asked:
            data += b"250 injected\r\n" if data.startswith(b"220") else b"* OK injected\r\n"
            self.asked = False
        self.down.put(data)


class _Server(asyncio.Protocol):
    """The side of the server."""

    def __init__(self, client):
        self.client = client

    def connection_made(self, transport):
        self.client.up.open(transport)

    def data_received(self, data):
        self.client.answered(data)

    def connection_lost(self, reason):
        self.client.down.put(None)
