"""What runs inside the camera's namespaces: the supervisor, and what it starts and watches."""
