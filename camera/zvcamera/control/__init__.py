"""Control over HTTP: the operations on a running camera, below /simulator of its own port."""

PREFIX = "/simulator"
SOCKET = "control.http"  # in the run folder: where the program listens, for the web server
