"""For trials that root may start, of programs that treat root otherwise or refuse to work for it."""
import os
import pathlib
import pwd
import subprocess
import sys

NOBODY = "nobody"


def go_on_as_ordinary_user():
    """Runs this very script as somebody else if root runs it, with Debian's Python, and ends."""
    if os.geteuid() != 0:
        return
    script = pathlib.Path(sys.argv[0]).resolve()
    program = pathlib.Path(os.environ["NULLPRINT"]).resolve()
    run = subprocess.run(["/usr/bin/python3", "-B", script, *sys.argv[1:]], user=NOBODY,
                         group=pwd.getpwnam(NOBODY).pw_gid, extra_groups=[], cwd="/",
                         env={**os.environ, "NULLPRINT": str(program)}, check=False)
    sys.exit(run.returncode)
