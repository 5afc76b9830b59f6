"""zvcamera-scenario(5): the daemons take each key that it names, and it names each that our scenarios use."""

import json
import os
import re
import subprocess

import house
import pytest

PAGE = os.path.join(house.ROOT, "docs", "man", "zvcamera-scenario.5.scd")
DAEMONS = ("zvControlD", "zvNetD", "zvBleD")


def _text():
    with open(PAGE, encoding="utf-8") as file:
        return file.read().replace("\\", "")


def _section(title):
    return re.search(rf"^# {title}\n(.*?)(?=^# )", _text(), re.DOTALL | re.MULTILINE)[1]


def _named(part):
    """The keys of a list of the page."""
    return re.findall(r"^- \*([a-z0-9_]+)\*: ", part, re.MULTILINE)


def documented():
    """Place in a scenario -> its keys, as the page has them."""
    keys = dict(re.findall(r"^\*([a-z]+)\*\n((?:\t.*\n)+)", _section("KEYS"), re.MULTILINE))
    radio, devices, slots = re.split(r"^Each item of ", _section("RADIO"), flags=re.MULTILINE)
    return {
        "": list(keys),
        **{place: re.findall(r"\*([a-z_]+)\*", keys[place]) for place in ("identity", "state", "analytics")},
        "ble": [*_named(radio), "devices", "whitelist"],
        "ble.devices[0]": ["address", *_named(devices)],
        "ble.whitelist[0]": ["address", *_named(slots)],
    }


def _scenario(place, key, value):
    """A scenario with one key more at this place."""
    device = {"address": "a1b2c3d4e5f6"}
    whole = {"identity": {}, "state": {}, "analytics": {}, "ble": {"devices": [device], "whitelist": [dict(device)]}}
    where = whole
    for word in re.findall(r"\w+", place):
        where = where[int(word)] if word.isdecimal() else where[word]
    where[key] = value
    return whole


def _said(build_dir, path, scenario):
    path.write_text(json.dumps(scenario))
    texts = []
    for name in DAEMONS:
        done = subprocess.run([os.path.join(build_dir, name), "--check", str(path)], capture_output=True, text=True,
                              check=False)
        texts.append(done.stderr)
    return "".join(texts)


@pytest.mark.parametrize("place", list(documented()))
def test_the_daemons_know_each_key_of_the_page(build_dir, tmp_path, place):
    """A wrong value is told by its key; an unknown key is told as such, with those that are known."""
    keys = documented()[place]
    assert keys
    for key in keys:
        assert "unknown" not in _said(build_dir, tmp_path / "s.json", _scenario(place, key, [[0]])), key
    said = _said(build_dir, tmp_path / "s.json", _scenario(place, "nonsense", 1))
    assert "nonsense" in said and "unknown" in said


def _used(place, value):
    """(place, key) of each key in a part of a scenario."""
    for key, inner in value.items():
        yield place, key
        if isinstance(inner, dict):
            yield from _used(key, inner)
        for item in inner if isinstance(inner, list) else ():
            if isinstance(item, dict) and key != "faults":
                yield from _used(f"{place}.{key}[0]", item)


def test_the_page_has_each_key_of_our_scenarios():
    folder = os.path.join(house.ROOT, "camera", "scenarios")
    known = {(place, key) for place, keys in documented().items() for key in keys}
    used = set()
    for name in os.listdir(folder):
        with open(os.path.join(folder, name), encoding="utf-8") as file:
            used.update(_used("", json.load(file)))
    assert len(used) > 15 and used <= known
