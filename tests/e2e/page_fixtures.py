"""Fixtures of the tests that look at the page: a browser, a camera with little in the air, the page of it."""

import browser as browsers
import pytest
from zvcamera.link import Link

NEAR, STRAP, WHEEL = "a1b2c3d4e5f6", "0c1d2e3f4a5b", "58a1b2c3d4e5"
SCENARIO = {
    "description": "For tests of the page.",
    "analytics": {"collect": False},
    "ble": {"pairing_ms": 300, "connect_ms": 600_000,
            "devices": [{"address": NEAR, "name": "Remote One", "rssi": -48, "found_after_ms": 0, "address_type": 1},
                        {"address": STRAP, "name": "Heart Strap", "rssi": -63, "found_after_ms": 0}],
            "whitelist": [{"address": WHEEL, "name": "Wheel Sensor"}, None]},
}


@pytest.fixture
def browser(session_browser):
    """The browser; at the end of the test its console holds nothing but what the test has expected."""
    session_browser.size(browsers.WIDE)
    session_browser.expected = []
    yield session_browser
    session_browser.driver.get("about:blank")
    left = session_browser.console()
    assert left == [], left


@pytest.fixture
def link(shared_camera):
    link = Link(shared_camera.run_dir)
    link.load(scenario=SCENARIO, name="page")
    return link


@pytest.fixture
def page(browser, shared_camera, link):  # the scenario is loaded first
    browser.open(shared_camera)
    browser.one("#state li")
    return browser
