"""The other end of a live channel, by the websockets package: offers permessage-deflate, pings often, and notes
what it sees, one JSON object a line, on standard output. The path says how it behaves:
/live listens, /leave closes with code 4001 after the first message."""
import asyncio
import json
import ssl
import sys

import websockets


def note(**what):
    print(json.dumps(what), flush=True)


class NotingPings(websockets.WebSocketServerProtocol):
    async def pong(self, data=b""):
        note(kind="pinged")
        await super().pong(data)


async def serve(socket):
    note(kind="open", path=socket.path, authorization=socket.request_headers.get("Authorization"),
         extensions=[extension.name for extension in socket.extensions])
    await (await socket.ping("first"))
    note(kind="pong")
    try:
        async for message in socket:
            note(kind="message", text=message)
            if socket.path == "/leave":
                await socket.close(4001, "leaving")
    except websockets.ConnectionClosed:
        pass
    note(kind="close", code=socket.close_code, reason=socket.close_reason)


async def main():
    tls = None
    if len(sys.argv) > 2:
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(sys.argv[1], sys.argv[2])
    async with websockets.serve(serve, "127.0.0.1", 0, ssl=tls, ping_interval=0.1, ping_timeout=20,
                                create_protocol=NotingPings) as server:
        note(kind="listening", port=server.sockets[0].getsockname()[1])
        await asyncio.Future()


asyncio.run(main())
