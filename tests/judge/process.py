"""Runs programs: judges plainly, the program under test with its time and memory measured."""

import base64
import json
import os
import signal
import subprocess
import tempfile
import time

JUDGE_SECONDS = 120


def run_tool(*arguments, input_bytes=None):
    """Runs a judge. Returns its exit status, standard output and standard error."""
    environment = dict(os.environ, LC_ALL="C.UTF-8")
    try:
        done = subprocess.run(
            arguments,
            input=input_bytes,
            stdin=None if input_bytes is not None else subprocess.DEVNULL,
            capture_output=True,
            timeout=JUDGE_SECONDS,
            env=environment,
            check=False,
        )
    except subprocess.TimeoutExpired:
        return 124, b"", f"{arguments[0]} took more than {JUDGE_SECONDS} s".encode()
    return done.returncode, done.stdout, done.stderr


class Outcome:
    """What one run of the program came to."""

    def __init__(self, answer):
        self.status = answer["status"]
        self.seconds = answer["seconds"]
        self.peak_bytes = answer["peak_kib"] * 1024
        self.output = base64.b64decode(answer["output"])
        self.complaints = base64.b64decode(answer["complaints"])

    def text(self):
        return self.output.decode("utf-8", "surrogateescape")


class Launcher:
    """A small process that starts others. A program's peak memory is counted from the process that
    started it, so that one must not be the judge itself, which holds whole pictures."""

    def __init__(self):
        to_child, from_parent = os.pipe()
        to_parent, from_child = os.pipe()
        self.child = os.fork()
        if self.child == 0:
            _close_all_but(to_child, from_child)  # Another launcher's pipe kept open never ends.
            _serve(os.fdopen(to_child, "r"), os.fdopen(from_child, "w"))
            os._exit(0)
        os.close(to_child)
        os.close(from_child)
        self.requests = os.fdopen(from_parent, "w")
        self.answers = os.fdopen(to_parent, "r")

    def run(self, *arguments, limit_seconds=30):
        request = {"arguments": arguments, "limit": limit_seconds}
        print(json.dumps(request), file=self.requests, flush=True)
        return Outcome(json.loads(self.answers.readline()))

    def close(self):
        self.requests.close()
        os.waitpid(self.child, 0)


def _close_all_but(*kept):
    for name in os.listdir("/proc/self/fd"):
        number = int(name)
        if number > 2 and number not in kept:
            try:
                os.close(number)
            except OSError:  # The listing's own.
                pass


def _serve(requests, answers):
    for line in requests:
        request = json.loads(line)
        answer = _measured(request["arguments"], request["limit"])
        print(json.dumps(answer), file=answers, flush=True)


def _measured(arguments, limit_seconds):
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as complaints:
        begin = time.monotonic()
        child = subprocess.Popen(
            arguments, stdin=subprocess.DEVNULL, stdout=output, stderr=complaints
        )
        signal.signal(signal.SIGALRM, lambda *_: child.kill())
        signal.setitimer(signal.ITIMER_REAL, limit_seconds)
        _, status, usage = os.wait4(child.pid, 0)
        signal.setitimer(signal.ITIMER_REAL, 0)
        seconds = time.monotonic() - begin
        child.returncode = os.waitstatus_to_exitcode(status)
        return {
            "status": child.returncode,
            "seconds": seconds,
            "peak_kib": usage.ru_maxrss,
            "output": _content(output),
            "complaints": _content(complaints),
        }


def _content(file):
    file.seek(0)
    return base64.b64encode(file.read()).decode()


def missing_tools(names):
    """Those of the judges that are not installed."""
    folders = os.environ.get("PATH", os.defpath).split(os.pathsep)
    return [n for n in names if not any(os.access(os.path.join(f, n), os.X_OK) for f in folders)]
