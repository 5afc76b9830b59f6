"""The camera's state as zvControlD holds it: show, set, fail, unfail."""

from ..admin import InvalidRequest
from .operation import Parameter, nearest, operation

_DAEMON = "zvControlD"
ITEMS = ("recording", "ap_pairing_state", "model_number", "model_name", "firmware_version", "serial_number",
         "board_type", "ap_mac", "ap_ssid", "ap_has_default_credentials")
FAILING = (*ITEMS, "uri_interface_open", "uri_interface_close", "analytics_get", "analytics_clear")
# The result codes of libzvCommon/include/zvErrno.h.
_CODES = ("ZV_ERR", "ZV_ERR_OUTOFMEM", "ZV_ERR_INVALID_PARAM", "ZV_ERR_INCOMPLETE_CGI_PARAM", "ZV_ERR_MQ_FAIL",
          "ZV_ERR_NO_SDCARD", "ZV_ERR_SDCARD_FULL", "ZV_ERR_CREATING_MISC_DIR", "ZV_ERR_UPLOADED_FILE",
          "ZV_ERR_FILE_OPEN", "ZV_ERR_FILE_READ", "ZV_ERR_FILE_WRITE", "ZV_ERR_REMOTE_FILE_OPEN",
          "ZV_ERR_REMOTE_FILE_READ", "ZV_ERR_REMOTE_FILE_WRITE", "ZV_ERR_ACCESS_DENIED", "ZV_ERR_NAK",
          "ZV_ERR_RESPONSE_ALREADY_SENT", "ZV_ERR_NAK_OFF", "ZV_ERR_NOT_SUPPORTED")
RESULT_CODES = {**{name: -number for number, name in enumerate(_CODES, 1)}, "ZV_ERR_DOWNLOAD_FAILED": -100}
_LOWEST = -(1 << 31)


def _near(word):
    """The nearest result code, when one is near."""
    end = nearest(word, tuple(RESULT_CODES))
    return end if end.startswith(": did you mean") else ""


def _code(given):
    """A negative number, or the name of a result code, as a number."""
    near = ""
    if isinstance(given, str):
        digits = given.removeprefix("-")
        if digits.isascii() and digits.isdecimal() and len(digits) <= 10:
            given = int(given)
        else:
            near = "" if given in RESULT_CODES else _near(given)
            given = RESULT_CODES.get(given, given)
    if type(given) is not int or not _LOWEST <= given < 0:
        raise InvalidRequest(f"code: must be a negative number or the name of a result code, not {given}{near}")
    return given


@operation("show", "GET /state", "Show the camera's state, or one item of it",
           Parameter("item", help="this item alone", default=None, choices=ITEMS))
def show(link, item):
    return link.call(_DAEMON, "show", **({"item": item} if item else {}))


@operation("set", "PUT /state/{item}", "Set an item",
           Parameter("item", choices=ITEMS), Parameter("value", "value", help="the new value, in words"))
def set_item(link, item, value):
    return {item: link.call(_DAEMON, "set", item=item, value=value)}


@operation("fail", "PUT /state/{item}/failure", "Make an item, or something the camera does, fail with a result code",
           Parameter("item", choices=FAILING),
           Parameter("code", "value", help="a negative number, or a name such as ZV_ERR_NAK",
                     rows=tuple((name, str(number)) for name, number in RESULT_CODES.items()),
                     candidates=lambda link: RESULT_CODES))
def fail(link, item, code):
    return {"failures": link.call(_DAEMON, "fail", item=item, code=_code(code))}


@operation("unfail", "DELETE /state/{item}/failure", "Let an item work again, or all of them",
           Parameter("item", help="the item, or all", choices=(*FAILING, "all")))
def unfail(link, item):
    return {"failures": link.call(_DAEMON, "unfail", item=item)}
