"""From words of the command line to values as JSON has them."""

import json
import os
import re

from ..admin import InvalidRequest
from ..operations.operation import nearest

_NUMBER = re.compile(r"[+-]?[0-9]{1,18}")
_FRACTION = re.compile(r"[+-]?(?:[0-9]{1,9}(?:\.[0-9]{0,18})?|\.[0-9]{1,18})")
_NEGATIVE = re.compile(r"-[0-9.].*", re.DOTALL)
_LISTS = ("uuid16", "uuid128")
_ALWAYS_TEXTS = ("name", "presence", "pairing")
_MARK = "\0"  # no word of a command line can hold it
_LARGEST = 4 << 20  # bytes of a document

SCENARIOS = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))), "scenarios")


def mark_negatives(words):
    """The words, negative numbers marked: "-3" is a value and not an option."""
    marked = []
    for place, word in enumerate(words):
        if word == "--":
            return marked + words[place:]
        marked.append(_MARK + word if _NEGATIVE.fullmatch(word) else word)
    return marked


def unmarked(word):
    return word.removeprefix(_MARK)


def _scalar(key, text):
    if key in _LISTS:
        return text.removesuffix(",").split(",") if text else []
    if key in _ALWAYS_TEXTS:
        return text
    if text in ("true", "false"):
        return text == "true"
    if re.fullmatch(r"-?(?:0|[1-9][0-9]{0,18})", text):
        return int(text)
    return text


def read_pairs(words):
    """The object that words key=value stand for. Numbers, true and false become such, all others texts. name, presence
    and pairing are always texts; uuid16 and uuid128 become lists, with a comma between two."""
    pairs = {}
    for word in words:
        key, equals, text = word.partition("=")
        if not equals or not key:
            raise InvalidRequest(f"must be key=value: {word}")
        pairs[key] = _scalar(key, text)
    return pairs


def scenarios():
    """The names of the scenarios that come with the camera."""
    return sorted(file.removesuffix(".json") for file in os.listdir(SCENARIOS) if file.endswith(".json"))


def path_of(word):
    """The path of a document: the word itself, or the scenario of this name that comes with the camera."""
    own = os.path.join(SCENARIOS, f"{word}.json")
    return own if os.sep not in word and not os.path.exists(word) and os.path.exists(own) else word


def read_document(word):
    """The JSON in the file that a word names; raises InvalidRequest with the file's name as the user wrote it."""
    try:
        with open(path_of(word), "rb") as file:
            data = file.read(_LARGEST + 1)
        if len(data) > _LARGEST:
            raise InvalidRequest(f"{word}: larger than a scenario may be")
        return json.loads(data.decode("utf-8-sig"))
    except FileNotFoundError as error:
        near = "" if os.sep in word or "." in word else f", and no scenario of this name{nearest(word, scenarios())}"
        raise InvalidRequest(f"{word}: {error.strerror}{near}") from error
    except OSError as error:
        raise InvalidRequest(f"{word}: {error.strerror}") from error
    except json.JSONDecodeError as error:
        raise InvalidRequest(f"{word}: is no JSON document: {error}") from error
    except (ValueError, RecursionError) as error:
        raise InvalidRequest(f"{word}: is no JSON document") from error


def value_of(parameter, given):
    """The value of a parameter, from its word, or from its words where it takes several. What is of another kind is
    returned as it is: the operation says what is wrong with it."""
    if parameter.kind == "pairs":
        return read_pairs(given)
    if parameter.kind == "words":
        return list(given)
    if parameter.kind == "number" and _NUMBER.fullmatch(given):
        return int(given)
    if parameter.kind == "fraction" and _FRACTION.fullmatch(given):
        return float(given)
    if parameter.kind == "document":
        return read_document(given)
    return given
