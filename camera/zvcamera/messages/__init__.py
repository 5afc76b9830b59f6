"""What travels over the camera's queues: the bytes of the messages, read and put into words."""
