#!/bin/sh
# zvcamera: brings up the installed simulated camera; zvcamera --help tells the options.
here=$(cd "$(dirname "$(readlink -f "$0")")/.." && pwd -P)
ZVCAMERA_COMMAND=zvcamera PYTHONPATH=$here/share/camera PYTHONDONTWRITEBYTECODE=1 \
    exec /usr/bin/python3 -m zvcamera.terminal --build-dir "$here" "$@"
