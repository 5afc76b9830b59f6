"""The page of the simulated camera, in a real browser: every part of it used once."""

import json
import os
import subprocess
import urllib.request
import xml.etree.ElementTree

import pytest
from page_fixtures import NEAR, WHEEL, browser, link, page  # noqa: F401

BLE = "/command/ble"


def programs(link):
    return {name: each["state"] for name, each in link.daemon_status().items()}


@pytest.mark.quick
def test_the_page_shows_the_camera_and_changes_it(page, link):
    assert page.text("#model") == "Simulated Camera"
    assert page.text("[data-item=model_number] .state") == "13"
    page.click("[data-item=recording] .buttons button")
    page.wait(lambda: link.show(item="recording") == 1)
    page.wait(lambda: page.texts("[data-chip=recording]") == ["recording"])
    page.wait_for_text("[data-item=recording] .state", "yes")


@pytest.mark.page
def test_each_item_is_set_and_fails(page, link):
    page.click("[data-item=model_name] summary")
    page.fill("[data-item=model_name] input", "Other <b>camera</b>")
    page.click("[data-item=model_name] form:nth-of-type(1) button")
    page.wait_for_text("#model", "Other <b>camera</b>")
    assert link.show(item="model_name") == "Other <b>camera</b>"
    page.run("document.querySelector('[data-item=model_name] select').value = 'ZV_ERR_NAK'")
    page.click("[data-item=model_name] form:nth-of-type(2) button")
    page.wait_for_text("[data-item=model_name] .badge", "fails with -17")
    page.expected.append("/control")
    assert link.show()["failures"] == {"model_name": -17}
    page.click("[data-item=model_name] .state button")
    page.wait(lambda: link.show()["failures"] == {})
    page.click("[data-item=ap_pairing_state] .buttons button")
    page.wait(lambda: link.show(item="ap_pairing_state") == 1)
    page.wait(lambda: page.texts("[data-chip=phase]") == ["pairing phase"])
    assert len(page.all("#state li")) == 14


@pytest.mark.page
def test_programs_stand_still_go_on_end_and_start(page, link):
    for button, shown, state in (("stop", "stands still", "stopped"), ("cont", "runs", "running"),
                                 ("term", "is gone", "ended"), ("start", "runs", "running"),
                                 ("kill", "is gone", "ended"), ("start", "runs", "running")):
        page.click(f"[data-program=zvNetD] [data-op={button}]")
        page.wait_for_text("[data-program=zvNetD] .badge", shown)
        page.wait_for_text("[data-chip=programs]", f"zvNetD {shown}" if shown != "runs" else "all programs run")
        assert programs(link)["zvNetD"] == state
    assert sorted(programs(link)) == ["control", "lighttpd", "zvBleD", "zvControlD", "zvNetD"]
    assert sorted(page.texts("#programs .name")) == ["control", "lighttpd", "zvBleD", "zvControlD", "zvNetD"]


@pytest.mark.page
def test_what_is_not_up_to_date_says_so(page, shared_camera):
    page.expected.append("/simulator/")
    with shared_camera.without("zvControlD"):
        page.wait_for_text("#state .note", "Not up to date: zvControlD does not run")
        page.wait_for_text("[data-chip=programs]", "zvControlD is gone")
    page.wait(lambda: not page.all("#state .note")[0].is_displayed())


@pytest.mark.page
def test_what_is_not_complete_says_so(page, link, shared_camera):
    """Nobody but the daemon knows its rules: without it, none are told."""
    link.fault_add(command="scan", fault="late")
    page.go("faults")
    page.wait_for_text("#rules .name", "ble:1")
    page.expected.append("/simulator/")
    link.daemon_stop(name="zvBleD")
    page.wait_for_text("#faults .note:not([hidden])", "Not complete: zvBleD does not answer.")
    assert not any(each.is_displayed() for each in page.all("#faults .empty"))
    link.daemon_cont(name="zvBleD")
    page.wait(lambda: not page.all("#faults .note")[0].is_displayed())
    page.wait_for_text("#rules .name", "ble:1")


@pytest.mark.page
def test_an_address_that_names_no_request_does_no_harm(page):
    page.expected.append("/simulator/requests/")
    for rest, told in (("%zz", 'must be a whole number, not "%zz"'), ("99999", "no request 99999 is kept")):
        page.go(f"requests/{rest}")
        page.wait_for_text("#told.bad", told)
    assert page.text("#request h3") == "One request"


@pytest.mark.page
def test_the_streaming_program_and_the_analytics(page, link):
    page.fill("#stream input", "-x 7")
    page.click("#stream form button")
    page.wait_for_text("#stream ul", "-x 7")
    page.wait(lambda: page.texts("[data-chip=stream]") == ["streaming"])
    assert [each["arguments"] for each in link.stream()["processes"]] == [["-x", "7"]]
    page.click("#stream .buttons button")
    page.wait_for_text("#stream-state", "does not run")
    page.wait_for_text("#stream .scroll", "end  SIGINT")
    page.fill("#analytics input[name=bytes]", "2500")
    page.click("#analytics form:nth-of-type(2) button")
    page.wait_for_text("#analytics dd", "2500")
    page.fill("#analytics input[name=records]", "2")
    page.click("#analytics form:nth-of-type(1) button")
    page.wait(lambda: link.analytics_status()["size"] > 2500)
    page.fill("#analytics input[name=limit]", "7000")
    page.click("#analytics form:nth-of-type(3) button")
    page.wait(lambda: link.analytics_status()["limit"] == 7000)
    page.run("document.querySelector('#analytics select').value = 'keep'")
    page.click("#analytics form:nth-of-type(4) button")
    page.wait(lambda: link.analytics_status()["on_clear"] == "keep")
    page.run("document.querySelector('#analytics select').value = 'empty'")
    page.click("#analytics form:nth-of-type(4) button")
    page.wait(lambda: link.analytics_status()["on_clear"] == "empty")
    page.click("#analytics .buttons button:nth-of-type(3)")
    page.wait(lambda: link.analytics_status()["size"] == 0)
    page.click("#analytics .buttons button:nth-of-type(1)")
    page.wait(lambda: link.analytics_status()["collect"])
    page.click("#analytics .buttons button:nth-of-type(2)")
    page.wait(lambda: not link.analytics_status()["collect"])


@pytest.mark.page
def test_the_air_is_live(page, link):
    page.go("air")
    page.wait_for_text("#devices .name", "Heart Strap")
    page.wait_for_text(f"[data-address='{NEAR}'] .strength", "dBm")
    assert page.all(f"[data-address='{NEAR}'] .newest")[0].get_attribute("d").endswith("h0")  # a dot
    page.wait(lambda: "L" in page.one(f"[data-address='{NEAR}'] .line").get_attribute("d"), "a line of two values")
    page.click("#radio li:nth-child(1) .buttons button:not([hidden])")
    page.wait_for_text("#scan-state", "scanning · 2 found")
    page.click(f"[data-address='{NEAR}'] summary")
    page.click(f"[data-address='{NEAR}'] .buttons button:nth-of-type(1)")
    page.wait_for_text("#pairing-state", NEAR)
    page.wait_for_text("#pairing-state", "paired")
    page.wait_for_text("#slots .name", "Remote One")
    page.wait_for_text(f"[data-address='{NEAR}'] .badges .badge:not([hidden])", "paired")
    page.click("#radio li:nth-child(1) .buttons button:not([hidden])")
    page.wait_for_text("#scan-state", "not scanning")
    assert [each["address"] for each in link.ble_whitelist()["slots"] if each["in_use"]] == [WHEEL, NEAR]


@pytest.mark.page
def test_a_pairing_under_way_is_ended_by_hand(page, link):
    link.ble_set(settings={"pairing_ms": 600_000})
    link.ble_pairing_start(address=NEAR, type=1)
    page.go("air")
    page.wait_for_text("#pairing-state", f"pairing · {NEAR}")
    page.wait_for_text(f"[data-address='{NEAR}'] .badges .badge:not([hidden])", "pairing")
    page.run("document.querySelector('#radio select').value = 'failure'")
    page.click("#radio form button")
    page.wait_for_text("#pairing-state", "failed")
    assert link.ble_pairing()["own_meaning"] == "failed"
    page.click("#radio li:nth-child(3) button")
    page.wait(lambda: link.ble()["auto_connect"] == 0)


@pytest.mark.page
def test_slots_connect_and_are_freed(page, link):
    def slot():
        return next((each for each in link.ble_whitelist()["slots"] if each["address"] == WHEEL), None)

    page.go("air")
    page.wait_for_text("#slots .name", "Wheel Sensor")
    assert page.texts("#slots .mono") == [f"slot 0 · {WHEEL}", "slot 1"]
    for number, holds in ((1, lambda: slot()["connected"]), (2, lambda: not slot()["connected"]),
                          (3, lambda: slot()["auto_connect"]), (4, lambda: not (slot() or {}).get("in_use"))):
        page.click(f"#slots li:first-child .buttons button:nth-of-type({number})")
        page.wait(holds, f"button {number}")
    page.wait_for_text("#slots li:first-child .name", "free")


@pytest.mark.page
def test_devices_come_and_go(page, link):
    page.go("air")
    page.click("#air details.change > summary:not([aria-label])")
    page.fill("#air input[name=name]", "New & <i>strange</i>")
    page.click("#air form:has(input[name=address]) button")
    page.wait_for_text("#devices .name", "New & <i>strange</i>")
    assert link.ble_device()[-1]["address"] == "112233445566"
    page.click("[data-address='112233445566'] summary")
    page.run("document.querySelector(\"[data-address='112233445566'] select\").value = 'away'")
    page.click("[data-address='112233445566'] .line button")
    page.wait_for_text("[data-address='112233445566'] .strength", "away")
    page.click("[data-address='112233445566'] .buttons button:nth-of-type(2)")
    page.wait(lambda: not page.all("[data-address='112233445566']"))
    assert len(link.ble_device()) == 2


def contract(camera):
    with urllib.request.urlopen(f"http://127.0.0.1:{camera.port}/openapi.json", timeout=30) as answer:
        return json.load(answer)


@pytest.mark.page
def test_every_uri_is_a_form_and_answers(page, shared_camera, link):
    page.expected.append("/control")
    page.go("ask")
    page.one(".operation")
    paths = [each.get_attribute("data-path") for each in page.all(".operation")]
    assert paths == list(contract(shared_camera)["paths"]) and len(paths) == 15
    link.requests_clear()
    for place, path in enumerate(paths, 1):
        form = f".operation:nth-child({place})"
        page.run("document.querySelector(arguments[0]).open = true", form)
        page.click(f"{form} button[type=submit]")
        status = page.one(f"{form} [data-status]").get_attribute("data-status")
        request = link.requests()["requests"][-1]
        assert (request["uri"], str(request["status"])) == (path, status)
        assert "not in the contract" not in page.texts(f"{form} .badge")
    assert len(link.requests()["requests"]) == 15


@pytest.mark.page
def test_an_answer_is_shown_as_sent_and_as_parsed_with_its_curl_line(page, link, shared_camera):
    page.go("ask")
    form = ".operation[data-path='/control/command/ble/whitelist/list']"
    page.one(form)
    page.run("document.querySelector(arguments[0]).open = true", form)
    page.fill(f"{form} input[name=p]", "0")
    page.fill(f"{form} .field:last-child input", "x=%zz&y='ä [1-3]")
    line = page.text(f"{form} .curl code")
    query = "p=0&x=%zz&y=%27%C3%A4%20[1-3]"
    assert line == f"curl -g -i 'http://127.0.0.1:{shared_camera.port}/control/command/ble/whitelist/list?{query}'"
    link.requests_clear()
    page.click(f"{form} button[type=submit]")
    page.one(f"{form} [data-status='200']")
    number = link.requests()["requests"][-1]["number"]
    assert [each["query"] for each in link.requests()["requests"]] == [query]
    page.click(f"{form} .answer .buttons button")
    page.wait_for_text("#request h3", f"Request {number}")
    page.wait_for_text("#request .asked", query)
    page.go("ask")
    body = shared_camera.get(f"{BLE}/whitelist/list?p=0").body.decode()
    assert page.run("return document.querySelector(arguments[0]).textContent", f"{form} [data-body=sent]") == body
    parsed = page.run("return document.querySelector(arguments[0]).textContent", f"{form} [data-body=parsed]")
    assert json.loads(parsed) == json.loads(body) and parsed.startswith('{\n  "list_id": ')
    assert "content-type" in page.texts(f"{form} dt")
    done = subprocess.run(["/bin/sh", "-c", line], capture_output=True, text=True, check=True, timeout=30)
    assert done.stdout.startswith("HTTP/1.1 200 OK") and done.stdout.endswith(body)
    assert "\n%" not in done.stdout
    page.click(f"{form} .curl button")
    page.wait_for_text("#told", "curl line is")
    assert [each["query"] for each in link.requests()["requests"]] == [query, "p=0", query]


@pytest.mark.page
def test_what_no_parser_reads_and_what_is_cut_off_is_shown_as_it_came(page, link):
    page.expected.append("/control")
    link.set(item="ap_ssid", value='quote " here')
    link.fault_add(command="/command/ble/pair/status", fault="cut", value=5)
    link.fault_add(command="/command/ble/pair/status", fault="slow", value=20)  # a browser may forget what comes last
    page.go("ask")
    first = ".operation:first-child"
    page.one(first)
    page.run("document.querySelectorAll('.operation').forEach((each) => { each.open = true; })")
    page.click(f"{first} button[type=submit]")
    page.wait_for_text(f"{first} [data-body=problem]", "No parser reads it: ")
    assert 'quote " here' in page.text(f"{first} [data-body=sent]")
    cut = ".operation[data-path='/control/command/ble/pair/status']"
    page.click(f"{cut} button[type=submit]")
    page.wait_for_text(f"{cut} .badge.bad", "the answer was cut off")
    assert page.run("return document.querySelector(arguments[0]).textContent", f"{cut} [data-body=sent]") == '\n{"pa'
    link.fault_clear()
    link.fault_add(command="pair_status", fault="missing")
    page.click(f"{cut} button[type=submit]")
    page.click(f"{cut} .buttons button[type=button]:not([hidden])")
    page.wait_for_text(f"{cut} .badge.bad", "given up")
    assert page.texts(f"{cut} .answer > :not(.buttons)")[1:] == ["No body."]
    assert "null" not in page.text(f"{cut} .answer")
    link.reset()  # ends the gateway, which still waits


@pytest.mark.page
@pytest.mark.off_contract("a rule answers whatever it is told to")
def test_faults_are_added_hit_and_cleared(page, link, shared_camera):
    page.go("faults")
    page.fill("#add-fault input[name=command]", "pair_status")
    page.run("const fault = document.querySelector('#add-fault select[name=fault]'); fault.value = 'refused';"
             "fault.dispatchEvent(new Event('change'))")
    page.fill("#add-fault input[name=value]", "3")
    page.fill("#add-fault input[name=count]", "2")
    page.click("#add-fault button[type=submit]")
    page.wait_for_text("[data-rule='ble:1']", "pair_status refused status 3")
    page.wait_for_text("[data-rule='ble:1'] .badge", "0 hits")
    page.wait_for_text("[data-chip=faults]", "1 fault")
    assert shared_camera.get(f"{BLE}/pair/status").status == 500
    page.wait_for_text("[data-rule='ble:1'] .badge", "1 hit")
    page.run("const level = document.querySelector('#add-fault select[name=level]'); level.value = 'http';"
             "level.dispatchEvent(new Event('change'))")
    page.run("const fault = document.querySelector('#add-fault select[name=fault]'); fault.value = 'status';"
             "fault.dispatchEvent(new Event('change'))")
    page.fill("#add-fault input[name=command]", "/command/ble/scan")
    page.fill("#add-fault input[name=value]", "418")
    page.fill("#add-fault input[name=body]", '{"tea": 1}')
    page.fill("#add-fault input[name=count]", "0")
    page.click("#add-fault button[type=submit]")
    page.wait_for_text("[data-rule='http:1']", "status 418")
    answer = shared_camera.get(f"{BLE}/scan?p=1")
    assert (answer.status, answer.body) == (418, b'{"tea": 1}')
    page.wait_for_text("[data-rule='http:1'] .badge", "1 hit")
    page.click("[data-rule='ble:1'] button")
    page.wait(lambda: [each["id"] for each in link.fault_list()] == ["http:1"])
    page.click("#faults .card .buttons button")
    page.wait(lambda: link.fault_list() == [])
    page.wait_for_text("#faults .empty:not([hidden])", "Nothing goes wrong on purpose.")
    kinds = link.fault_kinds()["messages"]["faults"]
    page.run("const level = document.querySelector('#add-fault select[name=level]'); level.value = 'messages';"
             "level.dispatchEvent(new Event('change'))")
    assert page.texts("#add-fault select[name=fault] option") == [each["name"] for each in kinds]


@pytest.mark.page
def test_a_camera_that_begins_anew_is_seen_anew(page, link, shared_camera):
    """Also when somebody else resets it."""
    shared_camera.get(f"{BLE}/pair/status")
    page.go("requests")
    page.wait(lambda: len(page.all("#request-list li")) == 1)
    page.click("#requests details.card > summary")
    page.wait(lambda: len(page.all("#message-list > li")) == 4)
    link.reset()
    page.wait(lambda: page.all("#request-list li") == [] and page.all("#message-list > li") == [])
    shared_camera.get(f"{BLE}/pair/status")
    page.wait(lambda: len(page.all("#request-list li")) == 1 and len(page.all("#message-list > li")) == 4)


@pytest.mark.page
def test_back_to_the_scenario_and_on_to_another(page, link, shared_camera):
    shared_camera.get(f"{BLE}/pair/status")
    link.set(item="recording", value="1")
    page.go("faults")
    page.wait_for_text("#scenario-name", "page")
    page.click("#scenario .buttons button:nth-of-type(1)")
    page.wait_for_text("#told", "Reset: done")
    page.wait(lambda: link.show(item="recording") == 0)
    assert page.texts("#scenario option") == [each["name"] for each in link.scenario_list()]
    page.run("const select = document.querySelector('#scenario select'); select.value = 'whitelist50';"
             "select.dispatchEvent(new Event('change'))")
    page.click("#scenario button[type=submit]")
    page.wait_for_text("#scenario-name", "whitelist50 (by the page)")
    page.go("air")
    page.wait(lambda: len(page.all("#slots li")) == 50)
    page.go("requests")
    page.wait_for_text("#requests .empty:not([hidden])", "No request yet")
    page.go("faults")
    page.click("#scenario .buttons button:nth-of-type(2)")
    page.wait(lambda: json.loads(page.one("#scenario textarea").get_attribute("value")) == json.loads(
        link.scenario()["text"]))
    page.expected.append("/simulator/scenario")
    for text, told in (("{", "this is no JSON"), ('{"bel": 1}', "bel: unknown key")):
        page.fill("#scenario textarea", text)
        page.click("#scenario button[type=submit]")
        page.wait_for_text("#told.bad", told)
    assert link.scenario()["name"] == "whitelist50 (by the page)"


# As people know them, the records of the trace in the order of time: which arrow each has become.
WAYS = [("gateway", "zvNetD", ["zvNetD:1"]), ("zvNetD", "zvBleD", ["zvNetD:2", "zvBleD:1"]),
        ("zvBleD", "gateway", ["zvBleD:2"])]


@pytest.mark.page
def test_a_requests_picture_is_its_trace(page, link, shared_camera):
    link.fault_add(command="whitelist_list", fault="late", value=30)
    shared_camera.get(f"{BLE}/whitelist/list")
    number = link.requests()["requests"][-1]["number"]
    told = link.request(number=number)
    page.go("requests")
    page.click(f"#request-list [data-number='{number}'] a")
    page.one("svg.sequence")
    arrows = [[each.get_attribute(f"data-{name}") for name in ("from", "to", "number")]
              for each in page.all("svg.sequence g.message")]
    assert arrows == [[one, other, " ".join(numbers)] for one, other, numbers in WAYS]
    assert [f"{each['daemon']}:{each['number']}" for each in told["messages"]] == sum((way[2] for way in WAYS), [])
    times = page.texts("svg.sequence g.message .time")
    wanted = [(each["micros"] - told["time"] * 1e6) / 1000 for each in told["messages"] if
              f"{each['daemon']}:{each['number']}" in ("zvNetD:1", "zvNetD:2", "zvBleD:2")]
    assert times == [f"+{each:.2f} ms" if each < 100 else f"+{each:.0f} ms" for each in wanted]
    assert [page.texts(f"svg.sequence [data-from='{one}'][data-to='{other}']") != [] for one, other in (
        ("client", "web server"), ("web server", "gateway"), ("gateway", "zvControlD"), ("gateway", "web server"),
        ("web server", "client"))] == [True] * 5
    assert page.texts("svg.sequence .lane-name") == ["web server", "gateway", "zvControlD", "zvNetD", "zvBleD"]
    assert page.texts("#request-log .source") == [each["source"] for each in told["log"]]
    page.all("svg.sequence g.message")[2].send_keys("\ue007")  # Enter
    reply = told["messages"][-1]
    decoded = link.message(hex=reply["hex"], command="whitelist_list")
    page.wait_for_text("#message h4", decoded["summary"])
    assert page.texts("#message tbody tr td:nth-child(3)") == [each["value"] for each in decoded["fields"]]
    assert "late" in page.text("#message .quiet")
    page.click("#message summary")
    assert page.text("#message pre").startswith(f"0000  {' '.join(reply['hex'][at:at + 2] for at in range(0, 32, 2))}")


@pytest.mark.page
def test_a_picture_without_a_daemons_messages_says_so(page, link, shared_camera):
    shared_camera.get(f"{BLE}/pair/status")
    number = link.requests()["requests"][-1]["number"]
    with shared_camera.without("zvBleD"):
        page.go(f"requests/{number}")
        page.wait_for_text("#request .note", "Messages may be missing: zvBleD does not run")
        assert len(page.all("svg.sequence g.message")) == 2
    page.go("requests")
    page.go(f"requests/{number}")
    page.wait(lambda: page.all("#request .note") == [])


@pytest.mark.page
def test_a_picture_is_saved_as_a_file(page, link, shared_camera):
    shared_camera.get(f"{BLE}/pair/status?%3Cscript%3E=\"'<b>")
    number = link.requests()["requests"][-1]["number"]
    page.go(f"requests/{number}")
    page.click("#request .buttons button")
    path = os.path.join(page.downloads, f"request-{number}.svg")
    page.wait(lambda: os.path.exists(path) and os.path.getsize(path))
    tree = xml.etree.ElementTree.parse(path)
    names = {each.tag.partition("}")[2] for each in tree.iter()}
    assert names == {"svg", "g", "line", "text", "rect", "path", "title", "style"}
    texts = [each.text for each in tree.iter() if each.tag.endswith("}text")]
    assert "pair_status" in texts and any("/control/command/ble/pair/status" in (text or "") for text in texts)


@pytest.mark.page
def test_a_message_is_decoded_where_it_stands(page, link, shared_camera):
    shared_camera.get(f"{BLE}/scan?p=1")
    page.go("requests")
    page.click("#requests details.card > summary")
    page.wait(lambda: len(page.all("#message-list > li")) == len(link.trace()))
    page.click("#message-list li:first-child button")
    page.wait_for_text("#message-list h4", "reply to scan, status 0 (ok)")
    page.click("#message-list li:first-child button")
    page.wait(lambda: not page.all("#message-list .decoded")[0].is_displayed())
    page.click("#requests details.card .buttons button")
    page.wait(lambda: link.trace() == [] and page.all("#message-list > li") == [])
    page.fill("#requests input[type=search]", "nothing like this")
    page.wait(lambda: page.all("#request-list > li") == [])
    page.fill("#requests input[type=search]", "ble/scan")
    page.wait(lambda: len(page.all("#request-list > li")) == 1)
    page.click("#requests .card .line button")
    page.wait(lambda: link.requests()["requests"] == [] and page.all("#request-list > li") == [])
