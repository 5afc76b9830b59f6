"""The page for everybody: narrow and wide, light and dark, by keyboard, by what screen readers are told."""

import browser as browsers
import pytest
from page_fixtures import browser, link, page  # noqa: F401

pytestmark = pytest.mark.page

TAB, ENTER, SPACE = "\ue004", "\ue007", " "
# Of what is seen: everything that takes part in tabbing has a name.
NAMELESS = """
const labels = (each) => [...each.labels ?? []].map((label) => label.textContent).join();
const nameOf = (each) => each.getAttribute("aria-label") || labels(each)
    || (["A", "BUTTON", "SUMMARY"].includes(each.tagName) ? each.textContent.trim() : "");
return [...document.querySelectorAll("a, button, input, select, textarea, summary, [tabindex='0']")]
    .filter((each) => each.checkVisibility()).filter((each) => !nameOf(each)).map((each) => each.outerHTML);
"""
SIDEWAYS = """
const isBeyond = (each) => each.getBoundingClientRect().right > innerWidth + 1;
return [...document.querySelectorAll("main *")].filter((each) =>
    each.checkVisibility() && !each.closest(".picture, pre, .scroll") && isBeyond(each))
    .map((each) => each.outerHTML.slice(0, 200)).concat(
        document.documentElement.scrollWidth > innerWidth ? ["the page itself"] : []);
"""


def show_everything(page, link, shared_camera):
    """A camera with something in each part, and a request that is looked at. Returns its number."""
    link.ble_scan_start()
    link.stream_start(arguments=["-x", "1"])
    link.fail(item="ap_mac", code="ZV_ERR_NAK")
    link.fault_add(command="scan", fault="late", value="1000-3000", probability=0.5)
    shared_camera.get("/command/ble/whitelist/list")
    shared_camera.get("/nothing")
    return next(each["number"] for each in link.requests()["requests"] if each["uri"].endswith("whitelist/list"))


@pytest.mark.parametrize("dark", [False, True], ids=["light", "dark"])
@pytest.mark.parametrize("size", [browsers.WIDE, browsers.NARROW], ids=["wide", "narrow"])
def test_each_view_fits_and_is_kept_as_a_picture(page, link, shared_camera, size, dark):
    number = show_everything(page, link, shared_camera)
    page.size(size, dark=dark)
    page.expected.append("/control")
    page.driver.refresh()
    name = f"{'narrow' if size == browsers.NARROW else 'wide'}-{'dark' if dark else 'light'}"
    ready = {"camera": "[data-item=ap_mac] .badge", "air": "#devices .strength", "ask": ".operation",
             "requests": "svg.sequence g.message", "faults": "#rules li"}
    for view in browsers.VIEWS:
        page.go(f"requests/{number}" if view == "requests" else view)
        page.one(ready[view])
        if view == "ask":
            page.run("document.querySelectorAll('.operation')[12].open = true")
            page.click(".operation:first-child summary")
            page.click(".operation:first-child button[type=submit]")
            page.one(".operation:first-child [data-body=parsed]")
        if view == "requests":
            page.all("svg.sequence g.message")[0].send_keys(ENTER)
            page.one("#message table")
        page.screenshot(f"{name}-{view}")
        assert page.run(SIDEWAYS) == []
        assert page.run(NAMELESS) == []
    ground = page.run("return getComputedStyle(document.body).backgroundColor")
    assert ground == ("rgb(15, 19, 23)" if dark else "rgb(244, 246, 248)")


# Pairs of colours that stand on each other, by their names in style.css.
PAIRS = [("text", "ground"), ("text", "surface"), ("text", "sunk"), ("quiet", "ground"), ("quiet", "surface"),
         ("quiet", "sunk"), ("accent", "surface"), ("accent", "ground"), ("on-accent", "accent"),
         *((kind, f"{kind}-ground") for kind in ("good", "warn", "bad", "info"))]


def _luminance(colour):
    parts = [int(colour[at:at + 2], 16) / 255 for at in (1, 3, 5)]
    red, green, blue = (part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


@pytest.mark.parametrize("dark", [False, True], ids=["light", "dark"])
def test_texts_stand_out(page, dark):
    page.size(browsers.WIDE, dark=dark)
    for pair in PAIRS:
        colours = [page.run("return getComputedStyle(document.documentElement).getPropertyValue(arguments[0]).trim()",
                            f"--{name}") for name in pair]
        colours = [f"#{each[1] * 2}{each[2] * 2}{each[3] * 2}" if len(each) == 4 else each for each in colours]
        low, high = sorted(map(_luminance, colours))
        assert (high + 0.05) / (low + 0.05) >= 4.5, pair


def focused(page):
    return page.run("const at = document.activeElement; return at === document.body ? '' : "
                    "`${at.tagName} ${at.getAttribute('aria-label') ?? at.textContent.trim().slice(0, 30)}`")


def press(page, *keys):
    page.driver.switch_to.active_element.send_keys(*keys)


def at_the_top(page, camera):
    """Without a part of the page in the address: where there is one, browsers begin to tab there."""
    page.driver.get(f"http://127.0.0.1:{camera.port}/")
    page.one("#state li")


def test_the_keyboard_reaches_everything_and_is_never_caught(page, shared_camera):
    at_the_top(page, shared_camera)
    way = []
    for _ in range(400):
        page.driver.switch_to.active_element.send_keys(TAB)
        at = focused(page)
        if way and at in ("", way[0]):
            break
        way.append(at)
        outlined = page.run("const style = getComputedStyle(document.activeElement); "
                            "return style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 2")
        assert outlined, f"{at} shows no focus"
    else:
        raise AssertionError(f"caught: {way[-5:]}")
    assert way[:3] == ["A Skip to the content", "A Camera", "A Air"]
    wanted = page.run("return [...document.querySelectorAll('a[href], button, input, select, textarea, summary, "
                      "[tabindex=\"0\"]')].filter((each) => each.checkVisibility()).length")
    assert len(way) == wanted


def test_the_head_can_be_skipped(page, shared_camera):
    at_the_top(page, shared_camera)
    press(page, TAB)
    press(page, ENTER)
    assert page.run("return document.activeElement.id") == "content"
    press(page, TAB)
    assert focused(page) == "BUTTON Switch Recording"


def test_everything_is_done_by_keys(page, link, shared_camera):
    page.run("document.querySelector('[data-item=recording] .buttons button').focus()")
    press(page, SPACE)
    page.wait(lambda: link.show(item="recording") == 1)
    page.wait_for_text("#told[role=status]", "Switch Recording: done")
    assert focused(page) == "BUTTON Switch Recording"
    page.run("document.querySelector('[data-program=zvNetD] [data-op=stop]').focus()")
    for told, then in (("stopped", "BUTTON Continue zvNetD"), ("running", "BUTTON Stop zvNetD")):
        press(page, ENTER)
        page.wait(lambda told=told: link.daemon_status()["zvNetD"]["state"] == told)
        page.wait(lambda then=then: focused(page) == then, then)
    page.run("document.querySelector('nav a[href=\"#requests\"]').focus()")
    press(page, ENTER)
    shared_camera.get("/command/ble/pair/status")
    page.wait_for_text("#request-list", "pair/status")
    page.run("document.querySelector('#request-list a').focus()")
    press(page, ENTER)
    page.one("svg.sequence g.message")
    page.wait(lambda: page.run("return document.activeElement.id") == "request")
    press(page, TAB)
    assert focused(page) == "BUTTON Save the picture"
    press(page, TAB)
    press(page, TAB)
    press(page, SPACE)
    page.wait_for_text("#message h4", 'request "BL" pair_status')
    assert page.all("svg.sequence g.message")[0].get_attribute("aria-pressed") == "true"


def test_who_wants_no_motion_gets_none(page):
    seconds = "return getComputedStyle(document.querySelector('button')).transitionDuration"
    assert page.run(seconds) != "0s"
    page.size(browsers.WIDE, still=True)
    assert page.run(seconds) == "0s"
