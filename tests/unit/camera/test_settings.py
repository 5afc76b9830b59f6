"""The settings documents of the simulated camera, read as the gateway and then a client read them."""

import json
import math
import os
import pathlib

import pytest

MODELS = (
    "orin1", "orin2", "varlo", "quenta", "mirel", "zephan", "korru", "tessilon",
    "abru", "ferrow", "lumina", "grandelle", "ostrival", "pemberly", "wenlow", "calder_vale",
)
SETTINGS = pathlib.Path(os.environ["ZV_SETTINGS_DIR"])


def text_of(model):
    return (SETTINGS / model / "settings.json").read_text(encoding="ascii")


def reopened(text):
    """What the gateway makes of the file: lines joined, the last "}" and what follows it removed."""
    joined = "".join(text.split("\n"))
    return joined[: joined.rindex("}")]


def test_there_is_one_folder_for_each_model_and_no_other():
    assert sorted(p.name for p in SETTINGS.iterdir() if p.is_dir()) == sorted(MODELS)


def test_no_two_models_have_the_same_settings():
    bodies = set()
    for model in MODELS:
        document = json.loads(text_of(model))
        del document["model"]
        bodies.add(json.dumps(document))
    assert len(bodies) == 16


@pytest.mark.parametrize("model", MODELS)
class TestDocument:
    def test_is_a_json_object_on_many_lines_that_names_its_model(self, model):
        text = text_of(model)
        assert text.count("\n") > 50
        assert json.loads(text)["model"] == model

    def test_keeps_its_meaning_when_the_lines_are_joined(self, model):
        text = text_of(model)
        assert json.loads("".join(text.split("\n"))) == json.loads(text)

    def test_takes_an_info_member_behind_the_cut_at_the_last_brace(self, model):
        text = text_of(model)
        extended = json.loads(reopened(text) + ',\n"info":{"model_number":13}}')
        assert extended.pop("info") == {"model_number": 13}
        assert extended == json.loads(text)

    def test_offers_resolutions_whose_numbers_agree(self, model):
        document = json.loads(text_of(model))
        known_fields = {f["name"] for f in document["fields_of_view"]}
        resolutions = document["video"]["resolutions"]
        assert [r["id"] for r in resolutions] == list(range(1, len(resolutions) + 1))
        for r in resolutions:
            assert r["width"] % 2 == 0 and r["height"] % 2 == 0
            across, down = (int(n) for n in r["aspect_ratio"].split(":"))
            assert math.isclose(r["width"] / r["height"], across / down, rel_tol=0.01)
            assert r["frame_rates"] == sorted(set(r["frame_rates"])) and r["frame_rates"]
            assert r["fields_of_view"] and set(r["fields_of_view"]) <= known_fields
            rates = list(r["bitrate_kbps"].values())
            assert rates == sorted(set(rates)) and rates[0] > 0

    def test_defaults_are_among_what_it_offers(self, model):
        document = json.loads(text_of(model))
        default = document["video"]["default"]
        chosen = next(r for r in document["video"]["resolutions"] if r["id"] == default["resolution"])
        assert default["frame_rate"] in chosen["frame_rates"]
        assert default["field_of_view"] in chosen["fields_of_view"]
        assert default["bitrate"] in chosen["bitrate_kbps"]
        assert default["codec"] in document["codecs"]
        assert document["time_lapse"]["default_interval_s"] in document["time_lapse"]["intervals_s"]
        names = {m["name"] for m in document["modes"]}
        assert ("loop_video" in names) == ("loop_video" in document)
        assert ("burst" in names) == ("burst" in document)

    def test_pictures_fit_the_sensor_and_streams_fit_the_video(self, model):
        document = json.loads(text_of(model))
        sensor = document["sensor"]
        assert math.isclose(sensor["width"] * sensor["height"] / 1e6, sensor["megapixels"], rel_tol=0.08)
        if document["family"] != "spherical":  # a sphere is stitched from two sensors
            for size in document["photo"]["sizes"] + document["video"]["resolutions"]:
                assert size["width"] <= sensor["width"] and size["height"] <= sensor["height"]
        largest = max(r["width"] for r in document["video"]["resolutions"])
        assert all(s["width"] <= largest for s in document["stream"]["resolutions"])
