"""zvcam: the command line to a running camera, made from the descriptions in operations/."""
