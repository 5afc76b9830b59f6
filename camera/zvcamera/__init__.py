"""Brings up the simulated camera: namespaces, supervisor, daemons and web server."""
