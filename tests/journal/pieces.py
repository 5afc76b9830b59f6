"""What the journals of many requests have in common, as the pieces that they are put together from."""

from recorder import lines

ELEMENTS_MADE = """
    MsgElement(65, 1) = tag
    MsgElement(66, 1) = data
    MsgElement(68, 1) = replyQueue
    MsgElement(67, 1) = destination
    MsgElement(238, 0, null, 1) = tail
    MsgElement(67, 1) = network
    MsgElement(69, 0, null, 1) = spare
    """

ELEMENTS_GONE = """
    spare.~MsgElement()
    network.~MsgElement()
    tail.~MsgElement()
    destination.~MsgElement()
    replyQueue.~MsgElement()
    data.~MsgElement()
    tag.~MsgElement()
    """

HANDLERS_REGISTERED = """
    zvcontrol_uri_add_handler("command/ble/pairing_available", handler1, null, null) = 0
    zvcontrol_uri_add_handler("command/ble/pairing_phase", handler2, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/configure", handler3, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/scan", handler4, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/scan/list", handler5, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/pair/start", handler6, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/pair/cancel", handler7, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/pair/status", handler8, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/whitelist/list", handler9, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/whitelist/configure", handler10, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("command/ble/whitelist/device", handler11, open_hook, close_hook) = 0
    zvcontrol_uri_add_handler("execute", handler12, null, null) = 0
    zvcontrol_uri_add_handler("analytics/get", handler13, null, null) = 0
    zvcontrol_uri_add_handler("analytics/clear", handler14, null, null) = 0
    """

INTERFACE_OPENED = lines("zvcontrol_uri_interface_open() = 0", HANDLERS_REGISTERED)

INTERFACE_CLOSED = "zvcontrol_uri_interface_close() = 0"

REPLY_QUEUE_MADE = """
    malloc(80) = block1
    malloc(80) = block2
    malloc(129) = block3
    getpid() = 4242
    mq_unlink("/to_ZVCC4242") = 0
    mq_open("/to_ZVCC4242", O_RDONLY|O_CREAT, 0664, {flags 0, maxmsg 2, msgsize 1500, curmsgs 0}) = 1001
    """

LINK_OPENED = lines("open_hook ...", REPLY_QUEUE_MADE, """
    mq_open("/to_zvnet", O_WRONLY) = 1002
    replyQueue.setData("/to_ZVCC4242", 12)
    destination.setData("/to_ble", 7)
    network.setData("/to_zvnet", 9)
    open_hook = 0
    """)

LINK_CLOSED = """
    close_hook ...
    mq_close(1002) = 0
    free(block2)
    mq_close(1001) = 0
    mq_unlink("/to_ZVCC4242") = 0
    replyQueue.setData(empty, 0)
    free(block3)
    free(block1)
    close_hook = 0
    """


def started(path, query):
    return lines(ELEMENTS_MADE, "syslog(3, \"%s\", \"UTIL_LOG_DEBUG:Executing zvControl-cgi-bin "
                                rf'path[{path}] params[{query}]\n @zvControl:100")')


def request(path, query, *handled, result, answer):
    """A request that is dispatched: what happens in the dispatcher, its result, and how the program answers it."""
    return lines(started(path, query), INTERFACE_OPENED,
                 f'zvcontrol_uri_handle_uri_param("{path}", "{query}", response, 4096) ...',
                 *handled,
                 f"zvcontrol_uri_handle_uri_param = {result}",
                 *([answer] if answer else []),
                 INTERFACE_CLOSED, ELEMENTS_GONE)


def success(text):
    """The answer with what the handler has left."""
    return rf"""
        http_output_success_header(stream)
        write(1, "<header>{text}")
        """


EMPTY = """
    http_output_success_header(stream)
    http_output_empty_json(stream)
    write(1, "<header><empty>")
    """


def failure(path, query, result, status=500):
    return f"""
        http_print_error_response_ex(stream, "{path}", "{query}", {status}, {result}, "{path}", "main", 150)
        write(1, "<error>")
        """


def asked(data, length, size):
    """A request to the BLE daemon: its data, their length, and the bytes that the message has.

    Its data stand in the handler, so the element lets go of them once they are serialised."""
    return addressed("BL", data, length, size, to="destination", name="/to_ble", let_go=("data.setData(empty, 0)",))


def addressed(tag, data, length, size, to, name, let_go=()):
    return lines(f"""
        Msg(2) = request
        tag.setData("{tag}", 2)
        data.setData({data}, {length})
        request.addElement(tag)
        request.addElement(data)
        request.addElement(replyQueue)
        request.addElement({to})
        request.addElement(tail)
        MemStream(ble_msg_buffer, 1500)
        MemStream(ble_msg_buffer, 1500) << request 65:"{tag}" 66:{data} 68:"/to_ZVCC4242" 67:"{name}" 238:empty
        MemStream(ble_msg_buffer, 1500).getBuffer() = ble_msg_buffer
        MemStream(ble_msg_buffer, 1500).getLength() = {size}
        """, *let_go, f"""
        request.~Msg()
        mq_setattr(1002, O_NONBLOCK, null) = 0
        mq_send(1002, ble_msg_buffer, {size}, 0) = 0
        """)


def received(result):
    return f"""
        gettimeofday() = 1000000000.250000
        mq_timedreceive(1001, ble_msg_buffer, 1500, null, 1000000015.250000000) = {result}
        """


def parsed(length, category=3):
    return f"""
        Msg(20) = reply
        MemStream(ble_msg_buffer, {length})
        MemStream(ble_msg_buffer, {length}) >> reply
        reply.dump(null)
        reply.getCategory() = {category}
        """


def response_found(length):
    """The element with status and data, of so many bytes."""
    return f"""
        reply.findElement(69) = reply[69]
        reply[69].getLength() = {length}
        reply[69].getData() = ble_msg_buffer+8
        """


# A reply that is the status 0 and nothing else.
ACCEPTED = lines(received(9), parsed(9), response_found(1), """
    MemStream(ble_msg_buffer+8, 1)
    MemStream(ble_msg_buffer+8, 1) >> 0
    reply.~Msg()
    """)


def data_taken(length):
    """A reply of status 0 and so many bytes of data, which are copied out."""
    return lines(received(length + 9), parsed(length + 9), response_found(length + 1), "reply.~Msg()")


# What was received is no message: the category is still the one that it was constructed with.
NOT_A_REPLY = r"""
    syslog(3, "%s", "UTIL_LOG_ERROR:Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n @command_ble:LINE")
    reply.~Msg()
    """

NOT_ANSWERED = lines(received(-1), r"""
    syslog(3, "%s", "UTIL_LOG_ERROR:Failed error:Connection timed out, timeout\n @command_ble:LINE")
    """, parsed(0, category=20), NOT_A_REPLY)
