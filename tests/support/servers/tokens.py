# SPDX-License-Identifier: MIT
"""A tiny token server, which Dovecot asks for the user of an OAuth 2 token.

"token-of-ann" is ann's, and so is "token-of-ann-12ab", with any number in hexadecimal digits.
"""

import asyncio
import json
import re


class TokenServer:
    async def start(self):
        """Returns its port."""
        self.server = await asyncio.start_server(self._answer, "127.0.0.1", 0)
        return self.server.sockets[0].getsockname()[1]

    async def _answer(self, reader, writer):
        try:
            while request := await reader.readuntil(b"\r\n\r\n"):
                token = re.match(rb"GET /\?token=token-of-([a-z0-9]+)(?:-[0-9a-f]+)? ", request)
                known = {"user": token[1].decode(), "active": "yes"} if token else {"error": "invalid_token"}
                body = json.dumps(known).encode()
                writer.write(b"HTTP/1.1 %s\r\nContent-Type: application/json\r\nContent-Length: %d\r\n\r\n%s"
                             % (b"200 OK" if token else b"401 Unauthorized", len(body), body))
        except (asyncio.IncompleteReadError, ConnectionError):
            pass
        finally:
            writer.close()
