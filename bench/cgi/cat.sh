#!/bin/sh
printf 'Status: 200 OK\r\nContent-Type: application/octet-stream\r\n\r\n'
exec cat /tmp/fuse_d/analytics/analytics.bin
