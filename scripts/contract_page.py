"""Writes what of the documents is made from contracts: docs/openapi-simulator.yaml, and the table of docs/contract.md.

The table has the failures by their meaning; the examples of docs/openapi.yaml have it in x-meaning.
"""

import os
import sys

import yaml

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DOCS = os.path.join(ROOT, "docs")
SIMULATOR = os.path.join(DOCS, "openapi-simulator.yaml")
PAGE = os.path.join(DOCS, "contract.md")
sys.path.insert(0, os.path.join(ROOT, "camera"))

from zvcamera.control import contract as of_control  # noqa: E402

_BEGIN, _END = "<!-- made by scripts/contract_page.py -->\n", "<!-- end -->\n"
_NOTE = "# Made by scripts/contract_page.py from the descriptions of the operations in camera/zvcamera/operations.\n"
_MEANINGS = {"wrong-request": "wrong request", "camera-busy": "camera busy", "try-again": "try again",
             "give-up": "give up"}


def simulator():
    """The whole of docs/openapi-simulator.yaml."""
    return _NOTE + of_control.text("/simulator/openapi.yaml")


def _contract():
    with open(os.path.join(DOCS, "openapi.yaml"), encoding="utf-8") as file:
        return yaml.load(file, yaml.CSafeLoader)


def _resolved(contract, node):
    for part in node.get("$ref", "").removeprefix("#/").split("/"):
        if part:
            contract = contract[part]
    return contract if "$ref" in node else node


def _failures(contract):
    """What failures there are: meaning, status, what the body tells, where, and what has happened."""
    for path, responses in (*((path, item["get"]["responses"]) for path, item in contract["paths"].items()),
                            ("any other path", contract["x-other-paths"]["responses"])):
        where = path.removeprefix("/control/") if path != "/control" else "(empty)"
        for status, response in responses.items():
            if "x-meaning" in response or "$ref" in response and "x-meaning" in _resolved(contract, response):
                whole = _resolved(contract, response)
                kinds = [kind for kind in whole["content"] if kind != "application/json"]
                yield whole["x-meaning"], status, kinds[0], "any URI", whole["description"].split(".")[0].strip()
            for media in _resolved(contract, response).get("content", {}).values():
                for example in media.get("examples", {}).values():
                    if "x-meaning" in example:
                        yield example["x-meaning"], status, f"`{example['value']['zverr']}`", where, example["summary"]
            for example in _resolved(contract, response).get("x-examples", {}).values():
                body = "no JSON" if example["x-body"] else "none"
                yield example["x-meaning"], status, body, where, example["summary"]


def table():
    """The failures, by meaning."""
    lines = ["| meaning | status | `zverr`, or the body | URI | what has happened |\n", "|---|---|---|---|---|\n"]
    found = list(dict.fromkeys(_failures(_contract())))
    for meaning, name in _MEANINGS.items():
        for row in sorted(found, key=lambda row: row[1]):
            if row[0] == meaning:
                uri = row[3] if row[3].startswith("any ") or row[3] == "(empty)" else f"`{row[3]}`"
                lines.append(f"| {name} | {row[1]} | {row[2]} | {uri} | {row[4]} |\n")
    return "".join(lines)


def page(before):
    """The page with the table as it is now, from the page as it was."""
    head, _, rest = before.partition(_BEGIN)
    return head + _BEGIN + table() + _END + rest.partition(_END)[2]


if __name__ == "__main__":
    with open(SIMULATOR, "w", encoding="utf-8") as file:
        file.write(simulator())
    with open(PAGE, encoding="utf-8") as file:
        now = page(file.read())
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(now)
