"""The camera's state as zvControlD holds it: show, set, fail, unfail."""

from ..admin import InvalidRequest
from .operation import Parameter, operation

_DAEMON = "zvControlD"
ITEMS = ("recording", "ap_pairing_state", "model_number", "model_name", "firmware_version", "serial_number",
         "board_type", "ap_mac", "ap_ssid", "ap_has_default_credentials")
FAILING = (*ITEMS, "uri_interface_open", "uri_interface_close", "analytics_get", "analytics_clear")


@operation("show", "GET /state", "Show the camera's state, or one item of it",
           Parameter("item", help="this item alone", default=None, choices=ITEMS))
def show(link, item):
    return link.call(_DAEMON, "show", **({"item": item} if item else {}))


@operation("set", "PUT /state/{item}", "Set an item",
           Parameter("item", choices=ITEMS), Parameter("value", help="the new value, in words"))
def set_item(link, item, value):
    return {item: link.call(_DAEMON, "set", item=item, value=value)}
