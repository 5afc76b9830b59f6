#!/usr/bin/python3
import sys

sys.stdout.write("Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}")
