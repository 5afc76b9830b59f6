"""What the camera's programs hold: descriptors, memory, queues, and processes that ended while nobody noticed."""

import json

# How much memory, in KiB, they may have more after a while: what a daemon's lists differ by, and what the web server
# keeps for as many connections as there were at once.
WATCHED = {"zvControlD": 512, "zvNetD": 512, "zvBleD": 512, "lighttpd": 2048}
_MORE_FILES = 4
_GATEWAY = "zvControl-cgi-"  # as the kernel cuts it
_LOOK = r"""
import json, os, re
found = {}
for pid in filter(str.isdigit, os.listdir("/proc")):
    try:
        status = open(f"/proc/{pid}/status").read()
        name, state = (re.search(rf"^{key}:\s+(\S+)", status, re.MULTILINE)[1] for key in ("Name", "State"))
        memory = re.search(r"^RssAnon:\s+(\d+)", status, re.MULTILINE)
        files = len(os.listdir(f"/proc/{pid}/fd")) if state != "Z" else 0
    except OSError:
        continue
    found[pid] = [name, state, int(memory[1]) if memory else 0, files]
print(json.dumps([found, os.listdir("/dev/mqueue")]))
"""


class Usage:
    """memory: KiB of its own, for each program; files: open descriptors."""

    def __init__(self, camera):
        processes, queues = json.loads(camera.run(["/usr/bin/python3", "-S", "-c", _LOOK]).stdout)
        self.zombies = [name for name, state, _, _ in processes.values() if state == "Z"]
        self.gateways = sum(name.startswith(_GATEWAY) for name, *_ in processes.values())
        self.queues = [name for name in queues if name not in ("to_ble", "to_zvnet")]
        self.memory = {name: memory for name, _, memory, _ in processes.values() if name in WATCHED}
        self.files = {name: files for name, _, _, files in processes.values() if name in WATCHED}

    def is_quiet(self):
        return not self.gateways and not self.zombies

    def text(self):
        return ", ".join(f"{name} {self.memory.get(name, 0)} KiB {self.files.get(name, 0)} files" for name in WATCHED)

    def left(self):
        """What must not be there once all requests have ended."""
        found = [f"reply queues left: {self.queues[:5]}"] if self.queues else []
        found += [f"processes left: {self.gateways} gateways"] if self.gateways else []
        found += [f"zombies: {self.zombies[:5]}"] if self.zombies else []
        return found + [f"{name} is missing" for name in WATCHED if name not in self.memory]

    def grown_since(self, before):
        found = [f"memory of {name} grew from {before.memory[name]} to {memory} KiB"
                 for name, memory in self.memory.items() if memory > before.memory.get(name, memory) + WATCHED[name]]
        return found + [f"descriptors of {name} grew from {before.files[name]} to {files}"
                        for name, files in self.files.items() if files > before.files.get(name, files) + _MORE_FILES]
