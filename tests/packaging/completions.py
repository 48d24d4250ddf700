#!/usr/bin/env python3
"""The completions, asked in the real shells: an option first, then files of the supported kinds.

A shell that is not there is left out.
"""
import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPLETIONS = ROOT / "packaging" / "completions"
BASH_COMPLETION = pathlib.Path("/usr/share/bash-completion/bash_completion")
OPTIONS = {"--scrub", "--inspect", "--reveal", "--selftest", "--version", "--help"}
SECONDS = 60


def supported_extensions():
    """What the program itself goes by."""
    header = (ROOT / "engine/scrub/FileTypes.h").read_text()
    found = {"pdf"}
    for table in ("imageExtensions", "officeExtensions"):
        values = re.search(rf" {table}\{{(.*?)\}}", header, re.DOTALL | re.MULTILINE)
        values = values or re.search(rf"\n\s*{table}\{{(.*?)\}}", header, re.DOTALL)
        found |= set(re.findall(r'"(\w+)"', values[1]))
    return found


BASH_ASK = r"""
source "$BASH_COMPLETION"; source "$SCRIPT"
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
_nullprint nullprint "${@: -1}" "${@: -2:1}"
printf '%s\n' "${COMPREPLY[@]}"
"""


def ask_bash(words, folder):
    run = subprocess.run(
        ["bash", "--norc", "-c", BASH_ASK, "bash", *words], cwd=folder, capture_output=True,
        text=True, timeout=SECONDS, check=False,
        env={"PATH": os.environ["PATH"], "HOME": str(folder), "LC_ALL": "C.UTF-8",
             "BASH_COMPLETION": str(BASH_COMPLETION), "SCRIPT": str(COMPLETIONS / "nullprint.bash")})
    assert run.stderr == "", run.stderr
    return set(run.stdout.splitlines()) - {""}


def ask_fish(words, folder):
    with tempfile.TemporaryDirectory(prefix="nullprint-home-") as home:
        run = subprocess.run(
            ["fish", "-c", f"source '{COMPLETIONS}/nullprint.fish'; complete -C '{' '.join(words)}'"],
            cwd=folder, capture_output=True, text=True, timeout=SECONDS, check=False,
            env={"PATH": os.environ["PATH"], "HOME": home, "LC_ALL": "C.UTF-8"})
    assert run.stderr == "", run.stderr
    return {line.split("\t")[0].rstrip("/") for line in run.stdout.splitlines()}


# A zsh at a terminal, in which Ctrl-T notes what would be offered. Some callers of compadd have it
# filter their words for them; these calls offer nothing.
ZSHRC = r"""
PS1='ask: '
fpath=("$COMPLETIONS" $fpath); autoload -U compinit; compinit -u -D
compadd() {
    [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]] && { builtin compadd "$@"; return }
    local -a offered
    builtin compadd -O offered "$@"; print -rl -- $offered >>"$ANSWER"
    builtin compadd "$@"
}
zle -C ask list-choices _main_complete; bindkey '^T' ask
"""


def ask_zsh(words, folder):
    with tempfile.TemporaryDirectory(prefix="nullprint-home-") as home:
        answer, done = pathlib.Path(home, "answer"), pathlib.Path(home, "done")
        pathlib.Path(home, ".zshrc").write_text(ZSHRC)
        leader, follower = pty.openpty()
        shell = subprocess.Popen(
            ["zsh", "-d", "-i"], cwd=folder, stdin=follower, stdout=follower, stderr=follower,
            env={"PATH": os.environ["PATH"], "HOME": home, "LC_ALL": "C.UTF-8", "TERM": "dumb",
                 "COMPLETIONS": str(COMPLETIONS), "ANSWER": str(answer)})
        os.close(follower)
        output = b""
        while b"ask: " not in output:  # Before, the terminal has a mind of its own about Ctrl-U.
            output += os.read(leader, 65536)
        os.write(leader, (" ".join(words) + f"\x14\x15: >'{done}'; exit\n").encode())
        try:
            while os.read(leader, 65536):  # What is shown must be read, or the shell waits.
                pass
        except OSError:
            pass
        shell.wait(timeout=SECONDS)
        os.close(leader)
        assert done.exists(), "zsh did not get to the end"
        offered = answer.read_text().replace("\\", "") if answer.exists() else ""
        return {name.rstrip("/") for name in offered.splitlines()} - {""}


class Completions:
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="nullprint-completions-")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.supported = {f"file.{each}" for each in supported_extensions()}
        for name in {*self.supported, "SHOUTED.PDF", "with space.docx", "file.txt", "old.doc", "jpg"}:
            (self.folder / name).touch()
        (self.folder / "folder").mkdir()

    def test_an_option_comes_first(self):
        self.assertEqual(self.ask("nullprint", ""), OPTIONS)
        self.assertEqual(self.ask("nullprint", "--s"), {"--scrub", "--selftest"})

    def test_then_come_files_of_supported_kinds_and_folders(self):
        self.assertEqual(len(self.supported), 23)
        expected = {*self.supported, "SHOUTED.PDF", "with space.docx", "folder"}
        for option in ("--scrub", "--inspect", "--reveal"):
            self.assertEqual(self.ask("nullprint", option, ""), expected)

    def test_names_that_were_begun_are_completed(self):
        self.assertEqual(self.ask("nullprint", "--scrub", "file.txt", "w"), {"with space.docx"})

    def test_files_for_the_application_are_completed(self):
        self.assertEqual(self.ask("nullprint", "w"), {"with space.docx"})

    def test_nothing_follows_what_takes_no_files(self):
        for option in ("--selftest", "--version", "--help", "-h"):
            self.assertEqual(self.ask("nullprint", option, ""), set())


@unittest.skipUnless(shutil.which("bash") and BASH_COMPLETION.exists(), "no bash-completion")
class Bash(Completions, unittest.TestCase):
    def ask(self, *words):
        return ask_bash(words, self.folder)


@unittest.skipUnless(shutil.which("fish"), "no fish")
class Fish(Completions, unittest.TestCase):
    def ask(self, *words):
        return ask_fish(words, self.folder)


@unittest.skipUnless(shutil.which("zsh"), "no zsh")
class Zsh(Completions, unittest.TestCase):
    def ask(self, *words):
        return ask_zsh(words, self.folder)


if __name__ == "__main__":
    unittest.main()
