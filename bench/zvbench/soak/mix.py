"""What is asked: all URIs, and what answers to them are right."""

import collections
import json
import random

_BLE = "/command/ble"
_DEVICE = "a1b2c3d4e5f6"
_PAIRED = "58a1b2c3d4e5"
PATTERN = bytes(range(256))  # what the analytics file is made of

Answer = collections.namedtuple("Answer", "status body")
Question = collections.namedtuple("Question", "uri weight is_right")


def _document(answer, *members):
    """The body as a JSON object of these members."""
    document = json.loads(answer.body)
    return document if list(document) == list(members) else {}


def _empty(answer):
    return answer == Answer(200, b"{}")


def _refused(answer):
    """The failure that every command has: the camera did not do it this time."""
    return answer.status == 500 and _document(answer, "status", "zverr", "_function", "_line", "path",
                                              "query").get("zverr") == -1


def _empty_or_refused(answer):
    return _empty(answer) or _refused(answer)


def _description(answer):
    return answer.status == 200 and json.loads(answer.body)["info"]["model_number"] == 13


def _number(name, values):
    def is_right(answer):
        return answer.status == 200 and _document(answer, name).get(name) in values
    return is_right


def _list(least):
    def is_right(answer):
        if _refused(answer):  # rebuilt twice while it was fetched
            return True
        document = _document(answer, "list_id", "total", "index", "index_count", "device_array")
        return answer.status == 200 and len(document["device_array"]) == document["total"] >= least
    return is_right


def _paired(answer):
    return answer.status == 200 and _document(answer, "device")["device"]["address"] == _PAIRED


def _unpaired(answer):
    return answer == Answer(200, b"\n{}\n")


def _executed(answer):
    return answer == Answer(200, b'{"status":"0"}\n\n')


def _not_executed(answer):
    return answer.status == 400 and json.loads(answer.body)["_line"] == 134


def _analytics(answer):
    whole, rest = divmod(len(answer.body), len(PATTERN))
    return answer.status == 200 and rest == 0 and answer.body == PATTERN * whole


def _unknown(answer):
    return answer.status == 400 and json.loads(answer.body)["status"] == "unknown request"


def _missing(answer):
    return answer.status == 500 and json.loads(answer.body)["zverr"] == -3


QUESTIONS = (
    Question("", 4, _description),
    Question(f"{_BLE}/pairing_available", 6, _empty_or_refused),
    Question(f"{_BLE}/pairing_phase?p=1", 2, _empty),
    Question(f"{_BLE}/pairing_phase?p=0", 4, _empty),
    Question(f"{_BLE}/pairing_phase", 1, _missing),
    Question(f"{_BLE}/configure", 4, _number("auto_connect", (0, 1))),
    Question(f"{_BLE}/configure?auto_connect=0", 2, _empty),
    Question(f"{_BLE}/configure?auto_connect=1", 2, _empty),
    Question(f"{_BLE}/scan?p=1", 3, _empty),
    Question(f"{_BLE}/scan?p=0", 3, _empty),
    Question(f"{_BLE}/scan/list", 6, _list(0)),
    Question(f"{_BLE}/pair/start?device={_DEVICE}&address_type=1", 3, _empty_or_refused),
    Question(f"{_BLE}/pair/cancel?device={_DEVICE}&address_type=1", 3, _empty_or_refused),
    Question(f"{_BLE}/pair/status", 10, _number("pairing_status", range(6))),
    Question(f"{_BLE}/whitelist/list", 6, _list(3)),
    Question(f"{_BLE}/whitelist/configure?device={_PAIRED}&auto_connect=1", 2, _empty),
    Question(f"{_BLE}/whitelist/configure?device={_PAIRED}&auto_connect=0", 2, _empty),
    Question(f"{_BLE}/whitelist/device?address={_PAIRED}", 4, _paired),
    Question(f"{_BLE}/whitelist/device?address=ffffffffffff", 2, _unpaired),
    Question("/execute?p1=zvStream&c1=start&a1=-x", 1, _executed),
    Question("/execute?p1=zvStream&c1=stop", 2, _executed),
    Question("/execute", 2, _not_executed),
    Question("/analytics/get", 6, _analytics),
    Question("/analytics/clear", 1, _empty),
    Question("/nothing_here", 3, _unknown),
)


def pick(chance: random.Random):
    return chance.choices(QUESTIONS, [question.weight for question in QUESTIONS])[0]


def is_right(question, answer):
    try:
        return bool(question.is_right(answer))
    except (ValueError, TypeError, LookupError):
        return False  # not a document, or another one


def is_failure(answer):
    """Whether this tells the client that the camera could not do it: by the program, or by the web server for it."""
    if answer.status in (500, 502, 503, 504):
        return True
    try:
        return answer.status in (204, 400, 403) and (not answer.body or json.loads(answer.body)["zverr"] < 0)
    except (ValueError, TypeError, LookupError):
        return False
