"""The camera's listening socket serves clients, and is of no other use to whoever holds it."""

import ctypes
import errno
import os
import socket
import struct

import pytest

from zvcamera import port
from zvcamera.camera import listen

_DETACH_FILTER, _ATTACH_FILTER = 27, 26
needs_filter = pytest.mark.root  # some kernels let root alone set the filter


@pytest.fixture
def listener():
    with listen(0) as opened:
        yield opened


@pytest.fixture
def neighbour():
    """A server on the machine's loopback address."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        yield server.getsockname()


@pytest.fixture
def closed():
    """An address where nobody listens."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        address = server.getsockname()
    return address


def _accepted(listener):
    client = socket.create_connection(listener.getsockname(), 5)
    return client, listener.accept()[0]


def test_clients_are_served(listener):
    client, served = _accepted(listener)
    with client, served:
        client.sendall(b"a" * 200_000)
        received = 0
        while received < 200_000:
            received += len(served.recv(1 << 16))
        served.sendall(b"answer")
        served.shutdown(socket.SHUT_WR)
        assert (client.recv(10), client.recv(10)) == (b"answer", b"")


def test_a_client_that_resets_is_noticed(listener):
    client, served = _accepted(listener)
    with served:
        client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        client.close()
        served.settimeout(5)
        with pytest.raises(ConnectionResetError):
            served.recv(1)


def _disconnect(one):
    """As the kernel lets any holder of a socket: it may be connected anew."""
    ctypes.CDLL(None).connect(one.fileno(), struct.pack("=H14x", socket.AF_UNSPEC), 16)


def _knock(one, address):
    one.settimeout(0.3)
    with pytest.raises(TimeoutError):
        one.connect(address)
    _disconnect(one)


@needs_filter
def test_it_leads_to_no_service_of_the_machine(listener, neighbour, closed):
    """It does not even tell where one is."""
    listener.shutdown(socket.SHUT_RDWR)
    for address in (neighbour, closed):
        _knock(listener, address)


@needs_filter
def test_nor_does_a_connection_that_it_has_accepted(listener, neighbour, closed):
    client, served = _accepted(listener)
    with client, served:
        _disconnect(served)
        for address in (neighbour, closed):
            _knock(served, address)


@needs_filter
def test_it_cannot_serve_at_another_port(listener):
    listener.shutdown(socket.SHUT_RDWR)
    listener.bind(("0.0.0.0", 0))
    listener.listen()
    with socket.socket() as client:
        _knock(client, ("127.0.0.1", listener.getsockname()[1]))


def test_it_stays_at_the_loopback_device(listener):
    assert listener.getsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, 16) == b"lo\0"


@needs_filter
def test_who_has_the_filter(listener):
    client, served = _accepted(listener)
    with client, served:
        assert [port.is_shielded(one) for one in (listener, served, client)] == [True, True, False]


@needs_filter
def test_the_filter_stays(listener):
    with pytest.raises(PermissionError):
        listener.setsockopt(socket.SOL_SOCKET, _DETACH_FILTER, 0)
    passes_all = ctypes.create_string_buffer(struct.pack("=HBBI", 6, 0, 0, 0xFFFFFFFF))
    with pytest.raises(OSError) as refused:
        listener.setsockopt(socket.SOL_SOCKET, _ATTACH_FILTER, struct.pack("HP", 1, ctypes.addressof(passes_all)))
    assert refused.value.errno == errno.EPERM, os.strerror(refused.value.errno)
