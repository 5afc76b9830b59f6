"""Writes the contract for HTTP clients as JSON: contract_json.py YAML JSON."""

import json
import sys

import yaml


def convert(source, target):
    with open(source, encoding="utf-8") as file:
        contract = yaml.load(file, yaml.CSafeLoader)
    with open(target, "w", encoding="utf-8") as file:
        json.dump(contract, file, ensure_ascii=False, separators=(",", ":"))
        file.write("\n")


if __name__ == "__main__":
    convert(*sys.argv[1:])
