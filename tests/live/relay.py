"""Relay datagrams between callers and one host, as a bad network does: late, and not all.

usage: relay.py PORT HOST:PORT LOSS DELAY [SEED]

LOSS is the share of datagrams lost each way, DELAY what each takes each way, in milliseconds.
The same SEED loses the same ones of the first, second, third ... datagram.
"""

import asyncio
import random
import sys
from typing import Callable


class Side(asyncio.DatagramProtocol):
    """One socket. What it takes goes on late, or not at all."""

    def __init__(self, loss: float, delay: float, seed: str, take: Callable[..., None]) -> None:
        self.loss, self.delay, self.random = loss, delay, random.Random(seed)
        self.take = take

    def datagram_received(self, data: bytes, address: tuple[str, int]) -> None:
        if self.random.random() >= self.loss:
            asyncio.get_running_loop().call_later(self.delay, self.take, data, address)

    def error_received(self, exc: Exception) -> None:
        """Go on: nobody may listen at the other end yet, or again."""


async def relay(port: int, host: tuple[str, int], loss: float, delay: float, seed: str) -> None:
    loop = asyncio.get_running_loop()
    callers: dict[tuple[str, int], asyncio.Future[asyncio.DatagramTransport]] = {}

    async def reach(caller: tuple[str, int]) -> asyncio.DatagramTransport:
        back, _ = await loop.create_datagram_endpoint(
            lambda: Side(loss, delay, f"{seed} back", lambda data, _: front.sendto(data, caller)),
            remote_addr=host)
        return back

    def send_on(data: bytes, caller: tuple[str, int]) -> None:
        if caller not in callers:
            callers[caller] = asyncio.ensure_future(reach(caller))
        callers[caller].add_done_callback(lambda reached: reached.result().sendto(data))

    front, _ = await loop.create_datagram_endpoint(
        lambda: Side(loss, delay, f"{seed} there", send_on), local_addr=("0.0.0.0", port))
    print("relay: ready", flush=True)
    await asyncio.Event().wait()


if __name__ == "__main__":
    if len(sys.argv) not in (5, 6):
        sys.exit(__doc__)
    name, number = sys.argv[2].rsplit(":", 1)
    asyncio.run(relay(int(sys.argv[1]), (name, int(number)), float(sys.argv[3]),
                      float(sys.argv[4]) / 1000, "".join(sys.argv[5:])))
