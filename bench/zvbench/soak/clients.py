"""The clients: so many at once, each asking one question after the other with a connection of its own."""

import asyncio
import random
import time

import aiohttp

from . import mix

PATIENCE = 150.0  # seconds: a list may take 90, and waits for its turn before


class Round:
    """What came of the questions of a while. failures: answers that said so, where some were to be expected."""

    def __init__(self, name, clients):
        self.name = name
        self.clients = clients
        self.asked = 0
        self.failures = 0
        self.wrong = []
        self.times = []
        self.seconds = 0.0

    def take(self, question, answer, seconds, may_fail):
        self.asked += 1
        self.times.append(seconds)
        if mix.is_right(question, answer):
            return
        if may_fail and mix.is_failure(answer):
            self.failures += 1
        else:
            self.wrong.append(f"{self.name}: {question.uri or '(empty path)'}: {answer.status} {answer.body[:200]!r}")

    def percentile(self, of_thousand):
        times = sorted(self.times)
        return times[min(len(times) * of_thousand // 1000, len(times) - 1)]


async def _ask(session, url, question):
    try:
        async with session.get(url + question.uri) as response:
            return mix.Answer(response.status, await response.read())
    except (aiohttp.ClientError, asyncio.TimeoutError, OSError) as error:
        return mix.Answer(0, repr(error).encode())


async def run(url, this, count, *, may_fail=False, meanwhile=None, seed=0):
    """Lets this.clients clients ask count questions together, and more until the coroutine meanwhile has ended."""
    chance = random.Random(seed)
    begun = 0

    async def client(session, beside):
        nonlocal begun
        while begun < count or not beside.done():
            begun += 1
            question = mix.pick(chance)
            begin = time.monotonic()
            answer = await _ask(session, url, question)
            this.take(question, answer, time.monotonic() - begin, may_fail)

    begin = time.monotonic()
    connector = aiohttp.TCPConnector(limit=0, force_close=True)
    async with aiohttp.ClientSession(connector=connector,
                                     timeout=aiohttp.ClientTimeout(total=PATIENCE)) as session:
        beside = asyncio.ensure_future(meanwhile() if meanwhile else asyncio.sleep(0))
        await asyncio.gather(*(client(session, beside) for _ in range(this.clients)))
        await beside
    this.seconds = time.monotonic() - begin
