"""Asks a camera for everything, for long: with faults of the daemons, with daemons that end or stand still, and by many
clients at once. Answers have to be right, or to say that the camera could not do it where something was wrong in it;
and afterwards nothing may be left or have grown. Prints what each round took. The status is 0 when all was right."""

import argparse
import asyncio
import os
import random
import sys
import time

from zvcamera.admin import AdminError
from zvcamera.camera import SOURCE_DIR, Camera, CameraError

from . import clients, mix
from .usage import Usage

_SCENARIO = os.path.join(SOURCE_DIR, "bench", "zvbench", "soak", "scenario.json")
_DAEMONS = ("zvControlD", "zvNetD", "zvBleD")
_FEW, _MORE, _MANY = 64, 200, 500  # clients at once
_CYCLE = 50_000  # requests after which all that can go wrong goes wrong again
_LATE = ("late", {"ms": 20})
_FAULTS = (_LATE, ("refused", {}), ("category", {}), ("no_response", {}), ("truncated", {}), ("short", {}),
           ("garbage", {}), ("extra", {}), ("list_id", {}), ("index", {}), ("too_many", {}))
_ENDING = 2.0  # seconds for which requests are ended
_END_SOME = r"""
import os, signal, sys, time
ended, end = 0, time.monotonic() + float(sys.argv[1])
while time.monotonic() < end:
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if open(f"/proc/{pid}/comm").read().startswith("zvControl-cgi-"):
                os.kill(int(pid), signal.SIGTERM)
                ended += 1
                break
        except OSError:
            pass
    time.sleep(0.02)
print(ended)
"""
_STILL = 2.0  # seconds for which a daemon stands still: less than anybody's patience
_HANG = {"zvControlD": 7.0, "zvBleD": 17.0}  # more than the gateway's patience with it


class Soak:
    def __init__(self, camera, say):
        self._camera = camera
        self._say = say
        self._chance = random.Random(1)
        self._rounds = 0
        self._ended = 0
        self.wrong = []
        self.asked = 0

    def look(self):
        """What the programs hold, once all requests have ended."""
        end = time.monotonic() + 30
        while not (usage := Usage(self._camera)).is_quiet() and time.monotonic() < end:
            time.sleep(0.2)
        return usage

    async def round(self, name, count, number=_FEW, **more):
        this = clients.Round(name, number)
        self._rounds += 1
        await clients.run(self._camera.url, this, count, seed=self._rounds, **more)
        self.asked += this.asked
        self.wrong += this.wrong
        self._say(f"{name:<24}{number:>8}{this.asked:>9}{this.failures:>9}{len(this.wrong):>7}{this.seconds:>9.1f}"
                  + "".join(f"{this.percentile(part) * 1000:>9.0f}" for part in (500, 900, 990, 1000)))
        self.wrong += [f"after {name}: {each}" for each in self.look().left()]

    async def _in_thread(self, call, *arguments, **more):
        return await asyncio.get_running_loop().run_in_executor(None, lambda: call(*arguments, **more))

    def _append(self):
        self._camera.admin("zvControlD", "analytics", action="append", hex=(mix.PATTERN * 4).hex())

    async def faults(self, count):
        """Replies are spoilt, each in one of the daemons' ways."""
        for daemon in ("zvNetD", "zvBleD"):
            for fault, values in _FAULTS:
                self._camera.admin(daemon, "fault_add", command="*", fault=fault, skip=self._chance.randrange(20),
                                   **({} if fault == "late" else {"count": max(2, count // 100)}),
                                   **values)
        try:
            await self.round("spoilt replies", count, may_fail=True)
        finally:
            for daemon in ("zvNetD", "zvBleD"):
                self._camera.admin(daemon, "fault_clear")

    async def _one_by_one(self, act, daemons=_DAEMONS):
        for name in daemons:
            await asyncio.sleep(0.3)
            await self._in_thread(act, name)

    async def restarts(self, count):
        """The daemons end, by SIGTERM or SIGKILL, and come back."""
        def restart(name):
            self._camera.program(name, self._chance.choice(("term", "kill")))
            time.sleep(0.2)
            self._camera.program(name, "start")
            if name == "zvControlD":
                self._append()
        await self.round("daemons end", count, may_fail=True, meanwhile=lambda: self._one_by_one(restart))

    def _hold(self, name, seconds=_STILL):
        self._camera.program(name, "stop")
        time.sleep(seconds)
        self._camera.program(name, "cont")

    async def end_requests(self, count):
        """Every now and then a request is ended, by SIGTERM."""
        def end_some():
            done = self._camera.run(["/usr/bin/python3", "-S", "-c", _END_SOME, str(_ENDING)])
            self._ended = int(done.stdout)
        await self.round("requests are ended", count, may_fail=True, meanwhile=lambda: self._in_thread(end_some))
        if not self._ended:
            self.wrong.append("no request was there to be ended")

    async def stand_still(self, count):
        """Each daemon stands still for a while; the answers come late, but are right."""
        await self.round("daemons stand still", count, meanwhile=lambda: self._one_by_one(self._hold))

    async def hang(self, name, seconds):
        """The same for longer than the gateway waits: what needs the daemon fails in time."""
        await self.round(f"{name} hangs", 0, may_fail=True,
                         meanwhile=lambda: self._in_thread(self._hold, name, seconds))

    async def cycle(self, part):
        self._append()
        await self.round("calm", 2 * part)
        await self.faults(part)
        await self.restarts(part)
        await self.end_requests(part)
        await self.stand_still(part)
        await self.round("more clients", max(part, _MORE), _MORE)
        await self.round("many clients", max(part, _MANY), _MANY, may_fail=True)  # more than there are reply queues
        usage = self.look()
        self._say(f"  {usage.text()}")
        return usage

    async def all_of_it(self, requests):
        cycles = max(3, requests // _CYCLE)
        part = max(100, requests // cycles // 9)
        for name, seconds in _HANG.items():
            await self.hang(name, seconds)
        # The first cycle fills what has a bound: traces, and the memory that programs keep for the next time.
        first = await self.cycle(part)
        for _ in range(1, cycles):
            self.wrong += (await self.cycle(part)).grown_since(first)
        await self.round("calm", part)


def main():
    parser = argparse.ArgumentParser(prog="bench/soak", description=__doc__)
    parser.add_argument("--requests", type=int, default=10_000, metavar="N",
                        help="about so many in all (default: 10000)")
    parser.add_argument("--build-dir", default=os.path.join(SOURCE_DIR, "build", "release"), metavar="DIR",
                        help="build folder whose programs are asked (default: build/release)")
    parser.add_argument("--gateway-dir", metavar="DIR", help="build folder of the control program, if another")
    arguments = parser.parse_args()
    begin = time.monotonic()
    print(f"{'round':<24}{'clients':>8}{'asked':>9}{'failures':>9}{'wrong':>7}{'seconds':>9}"
          f"{'50 %':>9}{'90 %':>9}{'99 %':>9}{'most':>9} ms", flush=True)
    camera = Camera(arguments.build_dir, scenario=_SCENARIO, gateway_dir=arguments.gateway_dir, control=False)
    soak = Soak(camera, lambda text: print(text, flush=True))
    try:
        with camera:
            asyncio.run(soak.all_of_it(arguments.requests))
    except (CameraError, AdminError) as error:
        soak.wrong.append(str(error))
    except KeyboardInterrupt:
        soak.wrong.append("interrupted")
    soak.wrong += camera.misdeeds or []
    for each in soak.wrong[:40]:
        print(f"WRONG {each}")
    print(f"{soak.asked} requests in {time.monotonic() - begin:.0f} seconds, {len(soak.wrong)} wrong")
    return 1 if soak.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
