"""Which calls the program makes of its platform for each kind of request: their order, arguments and results."""

import errno

import pytest
from pieces import (
    ACCEPTED, ELEMENTS_GONE, ELEMENTS_MADE, EMPTY, INTERFACE_OPENED, LINK_CLOSED, LINK_OPENED,
    NOT_ANSWERED, NOT_A_REPLY, REPLY_QUEUE_MADE, addressed, asked, data_taken, failure, parsed, received, request,
    started, success)
from recorder import differences, lines, message, reply

SCAN_ENTRY = bytes.fromhex("f6e5d4c3b2a1 01 c4 0e04 0000 1202") + b"Lamp" + bytes.fromhex("0d18") + bytes(62)
WHITELIST_ENTRY = bytes.fromhex("f6e5d4c3b2a1 5a00 0a04") + b"Lamp" + bytes(27)
OTHER_WHITELIST_ENTRY = bytes.fromhex("060504030201 4000 0000") + bytes(31)


def check(build, run, expected, status=0, stderr=""):
    if found := differences(build.without_heap(expected), run.journal):
        pytest.fail(found, pytrace=False)
    assert run.stderr == stderr
    assert run.status == status


def test_no_call_goes_past_the_stand_in(build):
    offered = set().union(*(build.names(library, "--defined-only") for library in build.libraries))
    played = build.names(build.stand_in, "--defined-only")
    assert sorted(offered - played) == []
    taken = build.names(build.program, "--undefined-only")
    assert [name for name in taken - played if name.startswith("mq_")] == []


# Entry


def test_empty_path_describes_the_camera(build, request_of):
    request_of.file("/usr/local/zarvo/etc/tessilon/settings.json", b'{"a":\n1\n}\n')
    run = request_of("", "")
    check(build, run, lines(started("", ""), r"""
        zvc_state_get_model_number(13) = 0 12
        syslog(3, "%s", "UTIL_LOG_INFO :model_number, 12\n @zvControl:231")
        zvc_state_get_model_name("", 256) = 0 "model_name"
        zvc_state_get_firmware_version("", 256) = 0 "firmware_version"
        zvc_state_get_serial_number("", 256) = 0 "serial_number"
        zvc_state_get_board_type("", 256) = 0 "board_type"
        zvc_state_get_ap_mac("", 256) = 0 "ap_mac"
        zvc_state_get_ap_ssid("", 256) = 0 "ap_ssid"
        zvc_state_get_ap_has_default_credentials(0) = 0 1
        stat("/usr/local/zarvo/etc/tessilon/settings.json") = 0
        open("/usr/local/zarvo/etc/tessilon/settings.json") = ok
        http_output_success_header(stream)
        """, r'write(1, "<header>{\"a\":1,\n\"info\":{\"model_number\":12,\"model_name\":\"model_name\",'
             r'\"firmware_version\":\"firmware_version\",\"serial_number\":\"serial_number\",'
             r'\"board_type\":\"board_type\",\"ap_mac\":\"ap_mac\",\"ap_ssid\":\"ap_ssid\",'
             r'\"ap_has_default_credentials\":\"1\",\"git_sha1\":\"REVISION\"}}")', ELEMENTS_GONE))


def test_getter_that_fails_ends_the_description(build, request_of):
    run = request_of("", "", zvc_state_get_firmware_version=[-5])
    check(build, run, lines(started("", ""), r"""
        zvc_state_get_model_number(13) = 0 12
        syslog(3, "%s", "UTIL_LOG_INFO :model_number, 12\n @zvControl:231")
        zvc_state_get_model_name("", 256) = 0 "model_name"
        zvc_state_get_firmware_version("", 256) = -5
        syslog(3, "%s", "UTIL_LOG_ERROR:zvc_state_get_firmware_version err, -5\n @zvControl:252")
        """, 'http_print_error_response_ex(stream, "", "", 500, -5, "zvc_state_get_firmware_version", '
             '"camera_description_output_json", 254)', 'write(1, "<error>")', ELEMENTS_GONE))


def test_unknown_model_without_settings_takes_the_default(build, request_of):
    run = request_of("", "", model_number=[20])
    check(build, run, lines(started("", ""), r"""
        zvc_state_get_model_number(13) = 0 20
        syslog(3, "%s", "UTIL_LOG_INFO :model_number, 20\n @zvControl:231")
        syslog(3, "%s", "UTIL_LOG_WARN :invalid model_number, 20\n @zvControl:236")
        zvc_state_get_model_name("", 256) = 0 "model_name"
        zvc_state_get_firmware_version("", 256) = 0 "firmware_version"
        zvc_state_get_serial_number("", 256) = 0 "serial_number"
        zvc_state_get_board_type("", 256) = 0 "board_type"
        zvc_state_get_ap_mac("", 256) = 0 "ap_mac"
        zvc_state_get_ap_ssid("", 256) = 0 "ap_ssid"
        zvc_state_get_ap_has_default_credentials(0) = 0 1
        stat("/usr/local/zarvo/etc/abru/settings.json") = -1
        syslog(3, "%s", "UTIL_LOG_WARN :file not found, /usr/local/zarvo/etc/abru/settings.json\n @zvControl:308")
        syslog(3, "%s", "UTIL_LOG_WARN :using default, /usr/local/zarvo/etc/abru/settings.json\n @zvControl:312")
        open("/usr/local/zarvo/etc/abru/settings.json") = failed
        """, 'http_print_error_response_ex(stream, "", "", 500, -10, "/usr/local/zarvo/etc/abru/settings.json", '
             '"camera_description_output_json", 331)', 'write(1, "<error>")', ELEMENTS_GONE))


def test_unknown_path(build, request_of):
    run = request_of("/nothing", "a=1")
    check(build, run, request("/nothing", "a=1", result=-20, answer="""
        http_print_error_response_ex(stream, "/nothing", "a=1", 400, -3, "unknown request", "main", 143)
        write(1, "<error>")
        """), status=236)


def test_interface_that_does_not_open(build, request_of):
    run = request_of("/analytics/clear", "", zvcontrol_uri_interface_open=[-5])
    check(build, run, lines(started("/analytics/clear", ""), r"""
        zvcontrol_uri_interface_open() = -5
        syslog(3, "%s", "UTIL_LOG_ERROR:Error[-5] opening the daemon interface\n @zvControl:120")
        """, ELEMENTS_GONE), status=251)


def test_registration_that_fails(build, request_of):
    run = request_of("/analytics/clear", "", zvcontrol_uri_add_handler=[0, 0, -3])
    check(build, run, lines(started("/analytics/clear", ""), r"""
        zvcontrol_uri_interface_open() = 0
        zvcontrol_uri_add_handler("command/ble/pairing_available", handler1, null, null) = 0
        zvcontrol_uri_add_handler("command/ble/pairing_phase", handler2, open_hook, close_hook) = 0
        zvcontrol_uri_add_handler("command/ble/configure", handler3, open_hook, close_hook) = -3
        syslog(3, "%s", "UTIL_LOG_ERROR:Unable to add custom handlers err:-3 at line:128\n @zvControl:128")
        zvcontrol_uri_interface_close() = 0
        """, ELEMENTS_GONE), status=253)


def test_interface_that_does_not_close(build, request_of):
    run = request_of("/analytics/clear", "", zvcontrol_uri_interface_close=[-5])
    check(build, run, lines(
        started("/analytics/clear", ""), INTERFACE_OPENED, """
        zvcontrol_uri_handle_uri_param("/analytics/clear", "", response, 4096) ...
        handler14("", response, 4096) ...
        zvcontrol_send_command_param_response(39, null, 0, null, 0) = 0
        handler14 = 0
        zvcontrol_uri_handle_uri_param = 0
        """, EMPTY, "zvcontrol_uri_interface_close() = -5", ELEMENTS_GONE),
        stderr="Error[0] closing the daemon interface\n")


# A null text in what the library writes


def test_null_text_in_the_header_takes_nothing_from_the_answer(build, request_of):
    run = request_of("/analytics/clear", "", http_output_success_header=[1], http_output_empty_json=[1])
    assert (run.stdout, run.status) == (b"<header><empty>", 0)
    run = request_of("/command/ble/pair/status", "", http_output_success_header=[1],
                     mq_timedreceive=[reply(0, b"\x02")])
    assert (run.stdout, run.status) == (b'<header>\n{"pairing_status":2}\n', 0)


def test_null_text_in_an_error_leaves_the_rest(build, request_of):
    run = request_of("/nothing", "", http_print_error_response_ex=[1])
    assert (run.stdout, run.status) == (b"<error>", 236)
    run = request_of("/analytics/get", "", csi_get__3=[1], http_print_error_response_ex=[1])
    assert (run.stdout, run.status) == (b"<error>", 238)
    run = request_of("", "", zvc_state_get_ap_mac=[-5], http_print_error_response_ex=[1])
    assert (run.stdout, run.status) == (b"<error>", 0)


def test_null_text_in_the_header_takes_nothing_from_the_description(build, request_of):
    request_of.file("/usr/local/zarvo/etc/tessilon/settings.json", b'{"a":1}\n')
    run = request_of("", "", http_output_success_header=[1])
    assert run.stdout.startswith(b'<header>{"a":1,\n"info":{"model_number":12,"model_name":"model_name",')
    assert run.stdout.endswith(b'"}}')
    assert run.status == 0


# The link to the daemons


def test_request_queue_that_does_not_open(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "", mq_open__request=[-1])
    check(build, run, request(path, "", "open_hook ...", REPLY_QUEUE_MADE, """
        mq_open("/to_zvnet", O_WRONLY) = -1
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to create tx queue @command_ble:LINE")
        free(block2)
        mq_close(1001) = 0
        mq_unlink("/to_ZVCC4242") = 0
        replyQueue.setData(empty, 0)
        free(block3)
        free(block1)
        open_hook = -1
        """, result=-1, answer=failure(path, "", -1)), status=255)


def test_reply_queue_that_does_not_open(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "", mq_open__reply=[-1])
    check(build, run, request(path, "", "open_hook ...", REPLY_QUEUE_MADE.replace("= 1001", "= -1"), """
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to create rx queue @command_ble:LINE")
        free(block2)
        free(block1)
        open_hook = -1
        """, result=-1, answer=failure(path, "", -1)), status=255)


def test_queues_that_do_not_close(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=1", mq_timedreceive=[reply(0)], mq_close=[-1, -1], mq_unlink=[-1, -1])
    check(build, run, request(
        path, "p=1", LINK_OPENED.replace('mq_unlink("/to_ZVCC4242") = 0', 'mq_unlink("/to_ZVCC4242") = -1'), """
        handler4("p=1", response, 4096) ...
        parseParam("p=1", "p=", value) = 1 "1"
        """, asked("01 01", 2, 47), ACCEPTED, """
        handler4 = 0
        close_hook ...
        mq_close(1002) = -1
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to close tx message queue @command_ble:LINE")
        free(block2)
        mq_close(1001) = -1
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to close rx message queue @command_ble:LINE")
        mq_unlink("/to_ZVCC4242") = -1
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to unlink rx queue @command_ble:LINE")
        replyQueue.setData(empty, 0)
        free(block3)
        free(block1)
        close_hook = -1
        """, result=0, answer=EMPTY))


def test_reply_that_does_not_come(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "")
    check(build, run, request(
        path, "", LINK_OPENED, 'handler8("", response, 4096) ...', asked("09", 1, 46), NOT_ANSWERED, """
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_pair_status command failed @command_ble:LINE")
        handler8 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "", -1)), status=255)


def test_request_that_is_not_sent(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=1", mq_send=[-1])
    check(build, run, request(
        path, "p=1", LINK_OPENED, """
        handler4("p=1", response, 4096) ...
        parseParam("p=1", "p=", value) = 1 "1"
        """, asked("01 01", 2, 47).replace("47, 0) = 0", "47, 0) = -1"), """
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed @command_ble:LINE")
        """, parsed(1500, category=20), NOT_A_REPLY, """
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_scan p=1 command failed @command_ble:LINE")
        handler4 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "p=1", -1)), status=255)


FULL = "mq_send(1002, ble_msg_buffer, 47, 0) = -1\npoll(1002, POLLOUT, 15000) = {}\n"
SENT = "mq_send(1002, ble_msg_buffer, 47, 0) = 0\n"


def test_queue_that_stays_full(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=1", mq_send=[-errno.EAGAIN], poll=[0])
    check(build, run, request(
        path, "p=1", LINK_OPENED, """
        handler4("p=1", response, 4096) ...
        parseParam("p=1", "p=", value) = 1 "1"
        """,
        asked("01 01", 2, 47).replace(SENT, FULL.format(0)), """
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed @command_ble:LINE")
        """, parsed(1500, category=20), NOT_A_REPLY, """
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_scan p=1 command failed @command_ble:LINE")
        handler4 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "p=1", -1)), status=255)


def test_wait_for_room_that_is_interrupted(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=2", mq_send=[-errno.EAGAIN, -errno.EAGAIN, 0], poll=[-1, 1],
                     mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, "p=2", LINK_OPENED, """
        handler4("p=2", response, 4096) ...
        parseParam("p=2", "p=", value) = 1 "2"
        """, asked("01 02", 2, 47).replace(SENT, FULL.format(-1) + FULL.format(1) + SENT), ACCEPTED,
        "handler4 = 0", LINK_CLOSED, result=0, answer=EMPTY))


@pytest.mark.parametrize(("command", "query", "handler", "key"), [
    ("pairing_phase", "p=1", "handler2", "p="), ("configure", "", "handler3", "auto_connect="),
    ("scan", "p=1", "handler4", "p="), ("pair/start", "device=1", "handler6", "address_type="),
    ("pair/cancel", "device=1", "handler7", "address_type="),
    ("whitelist/configure", "device=1&remove=1", "handler10", "device=")])
def test_handler_that_lacks_memory_closes_the_link(build, request_of, command, query, handler, key):
    path = "/command/ble/" + command
    run = request_of(path, query, parseParam=[1])
    check(build, run, request(
        path, query, LINK_OPENED, f"""
        {handler}("{query}", response, 4096) ...
        parseParam("{query}", "{key}", value) throws
        {handler} = -2
        """, LINK_CLOSED, result=-2, answer=failure(path, query, -2)), status=254)


def test_reply_without_response(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "", mq_timedreceive=[message(3, (65, b"BL"))])
    check(build, run, request(
        path, "", LINK_OPENED, 'handler8("", response, 4096) ...', asked("09", 1, 46), received(10), parsed(10), r"""
        reply.findElement(69) = null
        syslog(3, "%s", "UTIL_LOG_ERROR:Expected a typeRSP element from daemon but got none\n @command_ble:LINE")
        reply.~Msg()
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_pair_status command failed @command_ble:LINE")
        handler8 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "", -1)), status=255)


def test_reply_without_status(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "", mq_timedreceive=[message(3, (69, b""))])
    check(build, run, request(
        path, "", LINK_OPENED, 'handler8("", response, 4096) ...', asked("09", 1, 46), received(8), parsed(8), """
        reply.findElement(69) = reply[69]
        reply[69].getLength() = 0
        """, 'syslog(3, "%s", "UTIL_LOG_ERROR:ERROR: typeRSP did not contain enough bytes for int8_t '
             r'(got 0)\n @command_ble:LINE")', """
        reply.~Msg()
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_pair_status command failed @command_ble:LINE")
        handler8 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "", -1)), status=255)


def test_status_that_refuses(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=1", mq_timedreceive=[reply(5)])
    check(build, run, request(
        path, "p=1", LINK_OPENED, """
        handler4("p=1", response, 4096) ...
        parseParam("p=1", "p=", value) = 1 "1"
        """, asked("01 01", 2, 47), ACCEPTED.replace(">> 0", ">> 5"), """
        syslog(3, "%s", "UTIL_LOG_ERROR:ble_scan p=1 command failed @command_ble:LINE")
        handler4 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "p=1", -1)), status=255)


# Pairing


def test_pairing_available(build, request_of):
    path = "/command/ble/pairing_available"
    run = request_of(path, "", csi_get__54=[2])
    check(build, run, request(path, "", """
        handler1("", response, 4096) ...
        csi_get(3, 4, 0, 0) = 0 0
        csi_get(54, 4, 0, 0) = 0 2
        handler1 = 0
        """, result=0, answer=EMPTY))


def test_pairing_is_not_available_while_recording(build, request_of):
    path = "/command/ble/pairing_available"
    run = request_of(path, "", csi_get__3=[1])
    check(build, run, request(path, "", """
        handler1("", response, 4096) ...
        csi_get(3, 4, 0, 0) = 0 1
        syslog(3, "%s", "UTIL_LOG_DEBUG:Can't enter pairing phase because recording @command_ble:LINE")
        handler1 = -1
        """, result=-1, answer=failure(path, "", -1)), status=255)


def test_entering_the_pairing_phase(build, request_of):
    path = "/command/ble/pairing_phase"
    run = request_of(path, "p=7", mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, "p=7", LINK_OPENED, """
        handler2("p=7", response, 4096) ...
        parseParam("p=7", "p=", value) = 1 "7"
        """, addressed("PD", "01 03", 2, 49, to="network", name="/to_zvnet"), ACCEPTED, "handler2 = 0",
        LINK_CLOSED, result=0, answer=EMPTY))


def test_leaving_the_pairing_phase(build, request_of):
    path = "/command/ble/pairing_phase"
    run = request_of(path, "p=0", mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, "p=0", LINK_OPENED, """
        handler2("p=0", response, 4096) ...
        parseParam("p=0", "p=", value) = 1 "0"
        """, addressed("PX", "empty", 0, 47, to="network", name="/to_zvnet"), ACCEPTED, "handler2 = 0",
        LINK_CLOSED, result=0, answer=EMPTY))


def test_pair_start(build, request_of):
    path, query = "/command/ble/pair/start", "device=A1B2C3D4E5F6&address_type=1"
    run = request_of(path, query, mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, query, LINK_OPENED, f"""
        handler6("{query}", response, 4096) ...
        parseParam("{query}", "address_type=", value) = 1 "1"
        parseParam("{query}", "device=", value) = 1 "A1B2C3D4E5F6"
        """, asked("02 f6 e5 d4 c3 b2 a1 01", 8, 53), ACCEPTED, "handler6 = 0", LINK_CLOSED, result=0, answer=EMPTY))


def test_pair_start_without_device(build, request_of):
    path = "/command/ble/pair/start"
    run = request_of(path, "a=1")
    check(build, run, request(path, "a=1", LINK_OPENED, """
        handler6("a=1", response, 4096) ...
        parseParam("a=1", "address_type=", value) = 0
        parseParam("a=1", "device=", value) = 0
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to parse required param device= @command_ble:LINE")
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to parse parameters in a=1 @command_ble:LINE")
        handler6 = -3
        """, LINK_CLOSED, result=-3, answer=failure(path, "a=1", -3)), status=253)


def test_pair_cancel(build, request_of):
    path, query = "/command/ble/pair/cancel", "device=A1B2C3D4E5F6"
    run = request_of(path, query, mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, query, LINK_OPENED, f"""
        handler7("{query}", response, 4096) ...
        parseParam("{query}", "address_type=", value) = 0
        parseParam("{query}", "device=", value) = 1 "A1B2C3D4E5F6"
        """, asked("03 f6 e5 d4 c3 b2 a1 00", 8, 53), ACCEPTED, "handler7 = 0", LINK_CLOSED, result=0, answer=EMPTY))


def test_pair_status(build, request_of):
    path = "/command/ble/pair/status"
    run = request_of(path, "", mq_timedreceive=[reply(0, b"\x02")])
    check(build, run, request(
        path, "", LINK_OPENED, 'handler8("", response, 4096) ...', asked("09", 1, 46), data_taken(1), "handler8 = 0",
        LINK_CLOSED, result=0, answer=success(r"\n{\"pairing_status\":2}\n")))


# Configuration and scan


def test_getting_the_configuration(build, request_of):
    path = "/command/ble/configure"
    run = request_of(path, "", mq_timedreceive=[reply(0, b"\x01")])
    check(build, run, request(
        path, "", LINK_OPENED, """
        handler3("", response, 4096) ...
        parseParam("", "auto_connect=", value) = 0
        """, asked("0a", 1, 46), data_taken(1), "handler3 = 0",
        LINK_CLOSED, result=0, answer=success(r"\n{\"auto_connect\":1}\n")))


def test_setting_the_configuration(build, request_of):
    path = "/command/ble/configure"
    run = request_of(path, "auto_connect=257", mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, "auto_connect=257", LINK_OPENED, """
        handler3("auto_connect=257", response, 4096) ...
        parseParam("auto_connect=257", "auto_connect=", value) = 1 "257"
        """, asked("08 00 01", 3, 48), ACCEPTED, "handler3 = 0", LINK_CLOSED, result=0, answer=EMPTY))


def test_scan(build, request_of):
    path = "/command/ble/scan"
    run = request_of(path, "p=2", mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, "p=2", LINK_OPENED, """
        handler4("p=2", response, 4096) ...
        parseParam("p=2", "p=", value) = 1 "2"
        """, asked("01 02", 2, 47), ACCEPTED, "handler4 = 0", LINK_CLOSED, result=0, answer=EMPTY))


# Lists


def test_scan_list(build, request_of):
    path = "/command/ble/scan/list"
    run = request_of(path, "", mq_timedreceive=[reply(0, bytes([5, 1, 0, 1]) + SCAN_ENTRY)])
    check(build, run, request(
        path, "", LINK_OPENED, """
        handler5("", response, 4096) ...
        parseParam("", "p=", value) = 0
        """, asked("04 00 0f", 3, 48), data_taken(86), "handler5 = 0",
        LINK_CLOSED, result=0, answer=success(
            r"\n{\"list_id\":5,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":["
            r"{\"address\":\"a1b2c3d4e5f6\",\"address_type\":1,\"rssi\":-60,\"name\":\"Lamp\","
            r"\"profile_uuid16\":[\"0d18\"]}]\n}\n")))


def test_scan_list_that_is_rebuilt_twice(build, request_of):
    path = "/command/ble/scan/list"
    headers = ((1, 3, 0, 1), (2, 3, 1, 1), (2, 3, 0, 1), (3, 3, 1, 1))
    pages = [reply(0, bytes(header) + SCAN_ENTRY) for header in headers]
    run = request_of(path, "", mq_timedreceive=pages)
    check(build, run, request(
        path, "", LINK_OPENED, """
        handler5("", response, 4096) ...
        parseParam("", "p=", value) = 0
        """,
        asked("04 00 0f", 3, 48), data_taken(86),
        asked("04 01 02", 3, 48), data_taken(86),
        'syslog(3, "%s", "UTIL_LOG_WARN :scan_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring! '
        '@command_ble:LINE")',
        asked("04 00 02", 3, 48), data_taken(86),
        asked("04 01 02", 3, 48), data_taken(86),
        'syslog(3, "%s", "UTIL_LOG_WARN :scan_id changed on attempt:1 from 2 to 3 while acquiring list. Reacquiring! '
        '@command_ble:LINE")',
        """
        syslog(3, "%s", "UTIL_LOG_ERROR:Failed to get continuous list results after 2 attempts. @command_ble:LINE")
        handler5 = -1
        """, LINK_CLOSED, result=-1, answer=failure(path, "", -1)), status=255)


def test_whitelist_of_two_pages(build, request_of):
    path = "/command/ble/whitelist/list"
    run = request_of(path, "", mq_timedreceive=[reply(0, bytes([7, 2, 0, 1]) + WHITELIST_ENTRY),
                                                reply(0, bytes([7, 2, 1, 1]) + OTHER_WHITELIST_ENTRY)])
    check(build, run, request(
        path, "", LINK_OPENED, """
        handler9("", response, 4096) ...
        parseParam("", "p=", value) = 0
        """, asked("06 00 ff", 3, 48), data_taken(45), asked("06 01 01", 3, 48), data_taken(45), "handler9 = 0",
        LINK_CLOSED, result=0, answer=success(
            r"\n{\"list_id\":7,\"total\":2,\"index\":0,\"index_count\":2,\"device_array\":["
            r"{\"address\":\"a1b2c3d4e5f6\",\"name\":\"Lamp\",\"mitm_paired\":1,\"auto_connect\":1,\"connected\":1},"
            r"{\"address\":\"010203040506\",\"name\":\"\",\"mitm_paired\":0,\"auto_connect\":0,\"connected\":0}"
            r"]\n}\n")))


def test_whitelist_that_is_rebuilt(build, request_of):
    path = "/command/ble/whitelist/list"
    pages = [reply(0, bytes(header) + WHITELIST_ENTRY) for header in ((7, 2, 0, 1), (8, 1, 1, 1), (8, 1, 0, 1))]
    run = request_of(path, "", mq_timedreceive=pages)
    device = (r"{\"address\":\"a1b2c3d4e5f6\",\"name\":\"Lamp\",\"mitm_paired\":1,\"auto_connect\":1,"
              r"\"connected\":1}")
    check(build, run, request(
        path, "", LINK_OPENED, """
        handler9("", response, 4096) ...
        parseParam("", "p=", value) = 0
        """,
        asked("06 00 ff", 3, 48), data_taken(45),
        asked("06 01 01", 3, 48), data_taken(45),
        'syslog(3, "%s", "UTIL_LOG_WARN :list_id changed on attempt:0 from 7 to 8 while acquiring list. Reacquiring! '
        '@command_ble:LINE")',
        asked("06 00 01", 3, 48), data_taken(45), "handler9 = 0",
        LINK_CLOSED, result=0, answer=success(
            r"\n{\"list_id\":8,\"total\":1,\"index\":0,\"index_count\":1,\"device_array\":[" + device + device
            + r"]\n}\n")))


def test_whitelist_device(build, request_of):
    path, query = "/command/ble/whitelist/device", "address=a1b2c3d4e5f6"
    run = request_of(path, query, mq_timedreceive=[reply(0, bytes([7, 1, 0, 1]) + WHITELIST_ENTRY)])
    check(build, run, request(
        path, query, LINK_OPENED, f"""
        handler11("{query}", response, 4096) ...
        parseParam("{query}", "address=", value) = 1 "a1b2c3d4e5f6"
        """, asked("06 00 ff", 3, 48), data_taken(45), "handler11 = 0",
        LINK_CLOSED, result=0, answer=success(
            r"\n{\"device\":{\"address\":\"a1b2c3d4e5f6\",\"name\":\"Lamp\",\"mitm_paired\":1,\"auto_connect\":1,"
            r"\"connected\":1}}\n")))


def test_whitelist_configure(build, request_of):
    path, query = "/command/ble/whitelist/configure", "device=A1B2C3D4E5F6&remove=1&auto_connect=0"
    run = request_of(path, query, mq_timedreceive=[reply(0)])
    check(build, run, request(
        path, query, LINK_OPENED, f"""
        handler10("{query}", response, 4096) ...
        parseParam("{query}", "device=", value) = 1 "A1B2C3D4E5F6"
        parseParam("{query}", "remove=", value) = 1 "1"
        parseParam("{query}", "auto_connect=", value) = 1 "0"
        """, asked("07 04 00 f6 e5 d4 c3 b2 a1", 9, 54), ACCEPTED, "handler10 = 0",
        LINK_CLOSED, result=0, answer=EMPTY))


# Execute


EXECUTED = r'write(1, "Content-type: application/json\nStatus: 200\n\n{\"status\":\"0\"}\n\n")'
START = "/usr/local/zarvo/bin/zvStream {} < /dev/null > /dev/null 2>&1 &"


def read_commands(query, program, arguments, action):
    arguments = f'1 "{arguments}"' if arguments else "0"
    return f"""
        handler12("{query}", response, 4096) ...
        parseParam("{query}", "p1=", value) = 1 "{program}"
        parseParam("{query}", "a1=", value) = {arguments}
        parseParam("{query}", "c1=", value) = 1 "{action}"
        parseParam("{query}", "p2=", value) = 0
        open("/usr/local/zarvo/bin/zvStream") = ok
        """


def test_execute_start(build, request_of):
    request_of.file("/usr/local/zarvo/bin/zvStream", b"")
    query = "p1=zvStream&c1=start&a1=-x"
    run = request_of("/execute", query)
    check(build, run, request(
        "/execute", query, read_commands(query, "zvStream", "-x", "start"), f'system("{START.format("-x")}") = 0',
        EXECUTED, "handler12 = -18", result=-18, answer=None), status=238)


def test_execute_stop(build, request_of):
    request_of.file("/usr/local/zarvo/bin/zvStream", b"")
    query = "p1=zvStream&c1=stop"
    run = request_of("/execute", query)
    check(build, run, request(
        "/execute", query, read_commands(query, "zvStream", None, "stop"), """
        system("killall -s SIGINT zvStream") = 0
        wait of 50000 microseconds
        system("killall -9 zvStream") = 0
        """, EXECUTED, "handler12 = -18", result=-18, answer=None), status=238)


def test_execute_restart(build, request_of):
    request_of.file("/usr/local/zarvo/bin/zvStream", b"")
    query = "p1=zvStream&c1=restart"
    run = request_of("/execute", query)
    check(build, run, request(
        "/execute", query, read_commands(query, "zvStream", None, "restart"), f"""
        system("killall -s SIGINT zvStream") = 0
        wait of 50000 microseconds
        system("killall -9 zvStream") = 0
        system("{START.format("")}") = 0
        """, EXECUTED, "handler12 = -18", result=-18, answer=None), status=238)


# Analytics


def test_analytics_get(build, request_of):
    request_of.file("/tmp/fuse_d/analytics", bytes(2500))
    run = request_of("/analytics/get", "", answer=["/tmp/fuse_d/analytics"])
    check(build, run, request("/analytics/get", "", r"""
        handler13("", response, 4096) ...
        csi_get(3, 4, 0, 0) = 0 0
        zvcontrol_send_command_param_response(38, null, 0, memory, 257) = 0 "/tmp/fuse_d/analytics"
        """, r'syslog(3, "%s", "UTIL_LOG_DEBUG:Got Analytics file response [/tmp/fuse_d/analytics] \n '
             r'@command_analytics:LINE")', r"""
        open("/tmp/fuse_d/analytics") = ok
        write(1, "Content-Length:  2500 Content-Type:  application/octet-stream\r\n\r\n")
        write(1, 1024 bytes)
        write(1, 1024 bytes)
        write(1, 452 bytes)
        handler13 = -18
        """, result=-18, answer=None), status=238)
    assert run.stdout.endswith(b"\r\n\r\n" + bytes(2500))


def test_analytics_get_while_recording(build, request_of):
    run = request_of("/analytics/get", "", csi_get__3=[1])
    check(build, run, request("/analytics/get", "", """
        handler13("", response, 4096) ...
        csi_get(3, 4, 0, 0) = 0 1
        http_print_error_response_ex(stream, "/analytics/get", "", 403, -1, "busy", "handle_command_analytics", 57)
        write(1, "<error>")
        handler13 = -18
        """, result=-18, answer=None), status=238)


def test_analytics_clear(build, request_of):
    run = request_of("/analytics/clear", "", zvcontrol_send_command_param_response=[-5])
    check(build, run, request("/analytics/clear", "", """
        handler14("", response, 4096) ...
        zvcontrol_send_command_param_response(39, null, 0, null, 0) = -5
        handler14 = 0
        """, result=0, answer=EMPTY))
