"""What the page does with texts that are hostile, and with a camera that is gone."""

import http.client
import json
import re

import house
import pytest
from page_fixtures import browser, link, page  # noqa: F401
from zvcamera.link import Link

pytestmark = pytest.mark.page

MARKUP = '<img src=x onerror="window.hit=1">'
SCRIPT = "</script><script>window.hit=1</script>"
TURNED = "a\u202eb\u0007c"
HOSTILE = {
    "identity": {"model_name": SCRIPT, "ap_ssid": MARKUP},
    "ble": {"devices": [{"address": "0000000000a1", "name": MARKUP, "found_after_ms": 0},
                        {"address": "0000000000a2", "name": SCRIPT, "found_after_ms": 0},
                        {"address": "0000000000a3", "name": TURNED, "found_after_ms": 0}],
            "whitelist": [{"address": "0000000000a4", "name": "<svg onload=hit()>"}]},
}
POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; "
          "trusted-types 'none'")
# Paths of files, and their types.
FILES = {"/": "text/html; charset=utf-8", "/page/style.css": "text/css; charset=utf-8",
         "/page/modules/dom.js": "text/javascript; charset=utf-8", "/page/icon.svg": "image/svg+xml"}


def is_unharmed(browser):
    """No element that the page itself does not have, and nothing that was carried out."""
    return browser.run("const count = (what) => document.querySelectorAll(what).length;"
                       "return [window.hit === undefined, count('script'), count('img'), count('[onerror], [onload]')]"
                       ) == [True, 1, 1, 0]


def test_texts_of_the_camera_are_texts(page, link, shared_camera):
    link.load(scenario=HOSTILE, name=MARKUP)
    page.expected.append("/control")
    page.wait_for_text("#model", SCRIPT)
    page.wait_for_text("[data-item=ap_ssid] .state", MARKUP)
    link.stream_start(arguments=[SCRIPT])
    page.wait_for_text("#stream", SCRIPT)
    page.go("air")
    page.wait_for_text("#devices .name", MARKUP)
    page.wait_for_text("#devices .name", "a\\u202eb\\x07c")
    page.wait_for_text("#slots .name", "<svg onload=hit()>")
    page.go("faults")
    page.wait_for_text("#scenario-name", MARKUP)
    link.fault_add(command="/<img src=x>", fault="status", body=MARKUP, type=MARKUP)
    page.wait_for_text("#rules .name", MARKUP)
    assert is_unharmed(page)


def test_what_is_asked_and_answered_is_text(page, link, shared_camera):
    link.load(scenario=HOSTILE, name="hostile")
    page.expected.append("/control")
    link.ble_scan_start()
    page.go("ask")
    form = ".operation[data-path='/control/command/ble/scan/list']"
    page.one(form)
    page.run("document.querySelector(arguments[0]).open = true", form)
    page.click(f"{form} button[type=submit]")
    page.wait_for_text(f"{form} [data-body=sent]", MARKUP)
    page.wait_for_text(f"{form} [data-body=problem]", "No parser reads it")
    connection = http.client.HTTPConnection("127.0.0.1", shared_camera.port, timeout=30)
    connection.request("GET", f"/control/command/ble/pair/status?{SCRIPT}")
    connection.getresponse().read()
    connection.close()
    page.go(f"requests/{link.requests()['requests'][-1]['number']}")
    page.wait_for_text("#request .asked", SCRIPT)
    page.wait_for_text("#request-log", "path[/command/ble/pair/status]")
    page.wait_for_text("svg.sequence title", SCRIPT)
    page.run("document.querySelector('#requests details').open = true")
    page.go(f"requests/{[each for each in link.requests()['requests'] if each['uri'].endswith('/list')][-1]['number']}")
    page.wait_for_text("#request .asked", "scan/list")
    page.all("svg.sequence g.message")[2].send_keys("\ue007")
    page.wait_for_text("#message td", '"<img src=x onerror=\\"window.hit=1\\">"')
    assert is_unharmed(page)


def test_the_browser_itself_refuses_markup_and_foreign_addresses(page, shared_camera):
    assert page.run("try { document.body.innerHTML = '<b>x</b>'; return 'done'; } catch (error) { return error.name; }"
                    ) == "TypeError"
    told = page.driver.execute_async_script(
        "const done = arguments[0]; fetch('http://127.0.0.2:9/').then(() => done('done'), (error) => done(error.name))")
    assert told == "TypeError"
    messages = page.console()
    assert len(messages) >= 2 and all("Content Security Policy" in each or "TrustedHTML" in each for each in messages)


@pytest.fixture(scope="module", params=["lighttpd", "nginx"])
def served(request, make_module_camera):
    return make_module_camera(web_server=request.param)


def ask(camera, path, method="GET", **fields):
    connection = http.client.HTTPConnection("127.0.0.1", camera.port, timeout=30)
    connection.request(method, path, headers={name.replace("_", "-"): value for name, value in fields.items()})
    answer = connection.getresponse()
    body = answer.read()
    connection.close()
    return answer, body


@pytest.mark.parametrize("path", FILES)
def test_each_file_is_served_with_its_walls(served, path):
    answer, body = ask(served, path)
    assert (answer.status, answer.headers["Content-Type"]) == (200, FILES[path])
    assert {name: answer.headers[name] for name in (
        "Content-Security-Policy", "X-Content-Type-Options", "X-Frame-Options", "Referrer-Policy",
        "Cross-Origin-Opener-Policy", "Cross-Origin-Resource-Policy", "Cache-Control")} == {
            "Content-Security-Policy": POLICY, "X-Content-Type-Options": "nosniff", "X-Frame-Options": "DENY",
            "Referrer-Policy": "no-referrer", "Cross-Origin-Opener-Policy": "same-origin",
            "Cross-Origin-Resource-Policy": "same-origin", "Cache-Control": "no-cache"}
    assert body


def test_what_the_page_has_not_is_not_there(served):
    for path in ("/index.html", "/page", "/page/", "/page/index.html", "/page/modules/", "/page/modules/none.js",
                 "/page/../scenarios/default.json", "/page/modules%2f..%2f..%2fweb%2fnginx.conf", "/favicon.ico"):
        assert ask(served, path)[0].status in (403, 404), path


def test_what_was_there_stays_as_it_was(served):
    assert ask(served, "/control/command/ble/pair/status")[1] == b'\n{"pairing_status":0}\n'
    answer, _ = ask(served, "/control/nothing")
    assert answer.status == 400 and "Content-Security-Policy" not in answer.headers
    assert "Content-Security-Policy" not in ask(served, "/simulator")[0].headers


def test_a_page_of_another_site_cannot_open_it(make_camera):
    camera = make_camera()
    for fields in ({"Sec_Fetch_Site": "cross-site"}, {"Host": "camera.example"}, {"Origin": "http://camera.example"}):
        answer, body = ask(camera, "/", **fields)
        assert answer.status == 403 and b"<" not in body


def test_without_control_there_is_no_page(make_camera):
    camera = make_camera(control=False)
    assert camera.page is None and ask(camera, "/")[0].status == 404


def test_the_files_name_no_address_but_the_cameras_own():
    """Beside what scripts/rules.py looks for: each file that is asked for is there."""
    with open(f"{house.ROOT}/camera/page/index.html", encoding="utf-8") as file:
        links = re.findall(r'(?:href|src)="([^"#]+)"', file.read())
    assert links and all(each.startswith("page/") for each in links)


def test_a_camera_that_is_gone_comes_back(browser, build_dir, make_camera):
    with house.TestCamera(build_dir, scenario=f"{house.ROOT}/camera/scenarios/default.json") as first:
        browser.open(first, "air")
        browser.wait_for_text("#devices .name", "Heart Strap")
        for _ in range(3):
            first.get("/command/ble/whitelist/list")
        browser.go("requests")
        browser.wait(lambda: len(browser.all("#request-list li")) == 3)
        browser.go("air")
        assert not browser.all("#gone")[0].is_displayed()
        browser.expected += ["ERR_", "/simulator/"]  # while it is gone, and while it comes
        port = first.port
    browser.wait_for_text("#gone:not([hidden])", "The camera does not answer.")
    second = make_camera(port=port, scenario=f"{house.ROOT}/camera/scenarios/moving.json")
    link = Link(second.run_dir)
    browser.wait(lambda: not browser.all("#gone")[0].is_displayed())
    name = link.ble_device()[0]["name"]
    browser.wait_for_text("#devices .name", name)
    second.get("/command/ble/pair/status")
    browser.go("requests")
    browser.wait_for_text("#request-list", "/control/command/ble/pair/status")
    browser.wait(lambda: browser.texts("#request-list .what") == ["GET /control/command/ble/pair/status"])
    assert json.loads(ask(second, "/simulator/requests")[1])["requests"][0]["number"] == 1


def test_a_closed_port_is_opened_again(browser, make_camera):
    camera = make_camera()
    browser.open(camera, "faults")
    browser.one("#add-fault form")
    browser.expected += ["ERR_", "/simulator/"]
    Link(camera.run_dir).fault_add(command="/*", fault="refused")
    browser.wait_for_text("#gone:not([hidden])", "The camera does not answer.")
    Link(camera.run_dir).fault_clear()
    browser.wait(lambda: not browser.all("#gone")[0].is_displayed())
