#!/bin/sh
# zvcamera: brings up the installed simulated camera; zvcamera --help tells the options.
here=$(cd "$(dirname "$(readlink -f "$0")")/.." && pwd -P)
# Not -m: that would look for modules in the current folder first, where anybody may have put some.
start='
import sys
sys.path = [sys.argv.pop(1), *filter(None, sys.path)]
from zvcamera.terminal import main
sys.exit(main(sys.argv[1:]))
'
ZVCAMERA_COMMAND=zvcamera PYTHONDONTWRITEBYTECODE=1 \
    exec /usr/bin/python3 -c "$start" "$here/share/camera" --build-dir "$here" "$@"
