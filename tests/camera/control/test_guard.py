"""Who may ask: what the fields of a request tell about where it comes from."""

import pytest
from multidict import CIMultiDict
from zvcamera.control import guard

HOST = ("Host", "127.0.0.1:8080")


def check(*fields, names=()):
    guard.check(CIMultiDict(fields), names)


def refusal(*fields, names=()):
    with pytest.raises(guard.Refused) as error:
        check(*fields, names=names)
    return str(error.value)


@pytest.mark.parametrize("host", ["localhost", "LocalHost:1", "127.0.0.1", "127.0.0.1:65535", "[::1]", "[::1]:8080",
                                  "camera", "my-box_2:8080"])
def test_names_of_this_machine_are_right(host):
    check(("Host", host))


@pytest.mark.parametrize("host", [
    "camera.example", "127.0.0.1.example", "localhost.example:8080", "localhost.", "127.0.0.2", "[::2]", "::1",
    "localhost:", "localhost:8080:1", "localhost:123456", "user@localhost", "localhost/", "localhost ", "\u0660"])
def test_other_names_are_refused(host):
    assert refusal(("Host", host)).startswith(f"Host: {host!r} is none of 127.0.0.1, [::1] and no name without ")


def test_missing_and_double_names_are_refused():
    assert refusal() == "Host: is missing"
    assert refusal(("Host", "")) == "Host: is missing"
    assert refusal(HOST, HOST) == "Host: is given 2 times"


def test_names_of_the_options_are_right():
    check(("Host", "Box.example:81"), names=("box.Example",))
    assert "box.example" in refusal(("Host", "other.example"), names=("box.example",))


def test_origin_of_the_camera_itself_is_right():
    check(HOST, ("Origin", "http://127.0.0.1:8080"))
    check(("Host", "localhost"), ("Origin", "http://localhost"))


@pytest.mark.parametrize("origin", ["http://example.com", "null", "http://localhost:8080", "http://127.0.0.1",
                                    "http://127.0.0.1:8081", "https://127.0.0.1:8080", "http://127.0.0.1:8080/", ""])
def test_other_origins_are_refused(origin):
    assert refusal(HOST, ("Origin", origin)) == f"Origin: {origin!r} is not the camera's own, http://127.0.0.1:8080"


def test_each_of_several_origins_counts():
    assert refusal(HOST, ("Origin", "http://127.0.0.1:8080"), ("Origin", "null")).startswith("Origin: 'null'")


@pytest.mark.parametrize("site", ["same-origin", "none"])
def test_pages_of_the_camera_are_right(site):
    check(HOST, ("Sec-Fetch-Site", site))


@pytest.mark.parametrize("site", ["cross-site", "same-site", "None", ""])
def test_other_pages_are_refused(site):
    assert refusal(HOST, ("Sec-Fetch-Site", site)) == f"Sec-Fetch-Site: {site!r}: a page from elsewhere may not ask"


@pytest.mark.parametrize("address", ["127.0.0.1", "::1", "10.1.2.3, 127.0.0.1", "127.8.9.1"])
def test_clients_on_this_machine_are_right(address):
    check(HOST, ("X-Forwarded-For", address))


@pytest.mark.parametrize("address", ["10.1.2.3", "127.0.0.1, 10.1.2.3", "localhost", "fe80::1"])
def test_clients_elsewhere_are_refused(address):
    last = address.rpartition(",")[2].strip()
    assert refusal(HOST, ("X-Forwarded-For", address)) == f"X-Forwarded-For: {last} is no address of this machine"


def test_the_last_of_several_addresses_counts():
    assert "10.1.2.3" in refusal(HOST, ("X-Forwarded-For", "127.0.0.1"), ("X-Forwarded-For", "10.1.2.3"))


def test_a_port_that_everybody_leaves_out_may_be_left_out():
    check(("Host", "localhost:80"), ("Origin", "http://localhost"))
    check(("Host", "localhost"), ("Origin", "http://localhost:80"))
