"""The camera description: the empty path."""

import json

import house
import pytest
from zvcamera.check import source_revision

pytestmark = pytest.mark.gateway

FUNCTION = "camera_description_output_json"
GETTERS = [("model_number", 228), ("model_name", 245), ("firmware_version", 254), ("serial_number", 263),
           ("board_type", 272), ("ap_mac", 281), ("ap_ssid", 290), ("ap_has_default_credentials", 299)]
ETC = "/usr/local/zarvo/etc"


def _settings(camera, model):
    return camera.run(["/bin/cat", f"{ETC}/{model}/settings.json"]).stdout


def _joined(settings):
    return settings.replace(b"\n", b"")


@pytest.mark.every_build
@pytest.mark.quick
def test_document(camera):
    for item, value in (("model_name", "Name"), ("firmware_version", "F1"), ("serial_number", "S1"),
                        ("board_type", "0x09"), ("ap_mac", "aabbccddeeff"), ("ap_ssid", "Net"),
                        ("ap_has_default_credentials", "false")):
        camera.tool("set", item, value)
    answer = camera.get("")
    assert (answer.status, answer.headers["content-type"]) == (200, "application/json")
    settings = _joined(_settings(camera, "abru"))
    info = (b',\n"info":{"model_number":13,"model_name":"Name","firmware_version":"F1","serial_number":"S1",'
            b'"board_type":"0x09","ap_mac":"aabbccddeeff","ap_ssid":"Net","ap_has_default_credentials":"0",'
            b'"git_sha1":"' + source_revision().encode() + b'"}}')
    assert answer.body == settings[:settings.rindex(b"}")] + info
    document = answer.json()
    assert list(document)[:-1] == list(json.loads(_settings(camera, "abru")))
    camera.tool("set", "ap_has_default_credentials", "true")
    assert camera.get("").json()["info"]["ap_has_default_credentials"] == "1"


def test_both_empty_paths_and_the_query_does_not_matter(shared_camera):
    outputs = [shared_camera.request(path, query) for path, query in
               ((None, None), ("", None), ("", "a=1"), (None, ""))]
    assert {done.status for done in outputs} == {0}
    assert len({done.stdout for done in outputs}) == 1
    assert outputs[0].stdout.startswith(b"Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{")


@pytest.mark.slow
def test_every_model_has_its_settings(camera):
    shown = {}
    for number in range(256):
        camera.admin("zvControlD", "set", item="model_number", value=str(number))
        answer = camera.get("")
        assert answer.status == 200
        document = answer.json()
        assert document["info"]["model_number"] == number
        shown[number] = document["model"]
    models = camera.run(["/bin/ls", ETC]).stdout.decode().split()
    assert len(models) == 16
    assert sorted(set(shown.values())) == sorted(models)
    assert shown[13] == "abru"
    # Numbers without a model get the settings of model 13.
    assert sum(1 for model in shown.values() if model == "abru") == 256 - 15


def test_unknown_model_number(camera):
    camera.tool("set", "model_number", "200")
    with camera.new_lines() as lines:
        document = camera.get("").json()
    assert (document["model"], document["info"]["model_number"]) == ("abru", 200)
    said = [(line.level, line.message, line.number) for line in lines]
    assert ("INFO", "model_number, 200\n", "231") in said
    assert ("WARN", "invalid model_number, 200\n", "236") in said


@pytest.mark.every_build
def test_missing_settings_are_those_of_model_13(camera):
    shown = camera.get("").json()
    other = next(number for number in range(256) if number != 13 and _model_of(camera, number) != "abru")
    model = _model_of(camera, other)
    camera.run(["/bin/rm", f"{ETC}/{model}/settings.json"])
    with camera.new_lines() as lines:
        document = camera.get("").json()
    assert document["model"] == shown["model"]
    assert document["info"]["model_number"] == other
    said = [(line.level, line.message, line.number) for line in lines if line.level == "WARN"]
    assert said == [("WARN", f"file not found, {ETC}/{model}/settings.json\n", "308"),
                    ("WARN", f"using default, {ETC}/abru/settings.json\n", "312")]


def _model_of(camera, number):
    camera.tool("set", "model_number", str(number))
    return camera.get("").json()["model"]


def _error(message, code, line):
    return {"status": message, "zverr": code, "_function": FUNCTION, "_line": line, "path": "", "query": ""}


def test_no_settings_at_all(camera):
    camera.run(["/bin/rm", f"{ETC}/abru/settings.json"])
    answer = camera.get("")
    assert answer.status == 500
    assert answer.json() == _error(f"{ETC}/abru/settings.json", -10, 331)


def test_settings_without_an_object(camera):
    camera.run(["/bin/sh", "-c", f"echo '[1, 2]' >{ETC}/abru/settings.json"])
    answer = camera.get("")
    assert answer.status == 500
    assert answer.json() == _error(f"{ETC}/abru/settings.json", -10, 331)


def test_lines_are_joined_and_what_follows_the_last_brace_goes(camera):
    camera.run(["/bin/sh", "-c", f"printf '{{\\n \"a\": \"x\\ny\"\\n}} // end\\n\\n' >{ETC}/abru/settings.json"])
    assert camera.get("").body.startswith(b'{ "a": "xy",\n"info":{')


@pytest.mark.parametrize(("item", "line"), GETTERS)
@pytest.mark.every_build
def test_state_that_cannot_be_read(shared_camera, item, line):
    shared_camera.tool("fail", item, "ZV_ERR_NAK")
    try:
        with shared_camera.new_errors("zvControl") as errors:
            answer = shared_camera.get("")
    finally:
        shared_camera.tool("unfail", item)
    assert (answer.status, answer.headers["content-type"]) == (500, "application/json")
    assert answer.json() == _error(f"zvc_state_get_{item}", -17, line)
    assert errors == [f"zvc_state_get_{item} err, -17\n"]


def test_control_daemon_absent(camera):
    with camera.without("zvControlD"):
        answer = camera.get("")
    assert answer.status == 500
    assert answer.json() == _error("zvc_state_get_model_number", -1, 228)


def test_identity_from_the_scenario(make_camera, open_path):
    scenario = open_path / "scenario.json"
    scenario.write_text(json.dumps({"identity": {"model_number": 13, "ap_ssid": "From the file"}}))
    camera = make_camera(scenario=scenario)
    assert camera.get("").json()["info"]["ap_ssid"] == "From the file"


def test_texts_are_not_escaped(camera):
    camera.tool("set", "ap_ssid", 'a"b\\')
    assert b'"ap_ssid":"a"b\\","ap_has' in camera.get("").body


@pytest.mark.every_build
def test_many_at_once(shared_camera):
    answers = house.at_once(32, lambda _: shared_camera.get(""))
    assert [answer.status for answer in answers] == [200] * 32
    assert all("info" in answer.json() for answer in answers)
    assert len({answer.body for answer in answers}) == 1
