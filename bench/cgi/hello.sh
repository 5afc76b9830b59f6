#!/bin/sh
printf 'Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}'
