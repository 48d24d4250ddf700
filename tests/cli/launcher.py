#!/usr/bin/env python3
"""./nullprint and ./check, with stand-ins for the compiler, the package manager and the program.

The checkout is a copy of the scripts in a folder with a space in its name. Its `cmake` notes each
call and makes a program that prints its arguments.
"""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

CMAKE = r"""#!/bin/sh
echo "cmake: chatter"; echo "cmake: noise" >&2
printf '%s\n' "$*" >>"$CALLS"
[ -z "${CMAKE_FAILS:-}" ] || exit 1
case $1 in --build) ;; *) exit 0 ;; esac
sleep "${CMAKE_SECONDS:-0}"
mkdir -p "$2"
cat >"$2/nullprint" <<'END'
#!/bin/sh
printf '%s\n' "$PWD" "$@"
cat
exit 7
END
chmod +x "$2/nullprint"
"""
DPKG_QUERY = r"""#!/bin/sh
for package in "$@"; do :; done
case " $ABSENT " in *" $package "*) [ ! -e "$INSTALLED" ] && exit 1 ;; esac
printf installed
"""
APT_GET = r"""#!/bin/sh
echo "apt-get: chatter"
printf 'apt-get %s\n' "$*" >>"$CALLS"
case $1 in
    update) touch "$INSTALLED.updated" ;;
    install) [ -z "${NEEDS_UPDATE:-}" ] || [ -e "$INSTALLED.updated" ] || exit 100
             [ -z "${APT_FAILS:-}" ] || exit 100
             touch "$INSTALLED" ;;
esac
"""
ID = "#!/bin/sh\necho 1000\n"
SUDO = "#!/bin/sh\nprintf 'sudo ' >>\"$CALLS\"\nexec env \"$@\"\n"


class Launcher(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="nullprint-launcher-")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name).resolve()
        self.root = self.folder / "a check-out"
        (self.root / "packaging").mkdir(parents=True)
        for name in ("nullprint", "check", "CMakePresets.json", "CMakeLists.txt",
                     "packaging/setup.sh", "packaging/packages.txt"):
            shutil.copy(ROOT / name, self.root / name)
        for name in ("engine/image/JPEG.cpp", "engine/image/JPEG.h", "cli/main.cpp", "cmake/C.cmake"):
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).touch()
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        # Nothing of the machine is on the path but what the scripts may count on.
        for name in ("sh", "cat", "chmod", "cp", "dirname", "env", "find", "flock", "grep", "id",
                     "mkdir", "mv", "nproc", "readlink", "sed", "sleep", "tail", "touch"):
            (self.tools / name).symlink_to(shutil.which(name))
        self.calls_file = self.folder / "calls"
        self.tool("cmake", CMAKE)
        self.tool("dpkg-query", DPKG_QUERY)
        self.tool("apt-get", APT_GET)

    def tool(self, name, script):
        path = self.tools / name
        path.unlink(missing_ok=True)
        path.write_text(script)
        path.chmod(0o755)

    def start(self, *arguments, script="nullprint", **extra):
        environment = {
            "PATH": str(self.tools), "CALLS": str(self.calls_file), "ABSENT": "",
            "INSTALLED": str(self.folder / "installed"), **extra}
        command = script if "/" in str(script) else self.root / script
        return subprocess.Popen(
            [command, *arguments], cwd=self.folder, env=environment, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run_script(self, *arguments, **options):
        """Yields standard output, standard error and the exit status."""
        process = self.start(*arguments, **options)
        output, errors = process.communicate("typed\n", timeout=60)
        return output, errors, process.returncode

    def calls(self):
        calls = self.calls_file.read_text().splitlines() if self.calls_file.exists() else []
        self.calls_file.unlink(missing_ok=True)
        return calls

    def expect_ran(self, result, *arguments):
        """The program got its arguments, the caller's folder and the standard input as they are."""
        output, _, status = result
        expected = "\n".join([str(self.folder), *arguments]) + "\ntyped\n"
        self.assertEqual((output, status), (expected, 7))

    def test_the_first_run_builds_and_the_second_does_not(self):
        first = self.run_script("--reveal", "two words", "", "it's *")
        self.expect_ran(first, "--reveal", "two words", "", "it's *")
        self.assertIn("building", first[1])
        self.assertNotIn("cmake", first[1])
        self.assertEqual(self.calls(), ["--preset release", f"--build {self.root}/build --target nullprint"])
        second = self.run_script("--version")
        self.expect_ran(second, "--version")
        self.assertEqual(second[1], "")
        self.assertEqual(self.calls(), [])

    def test_a_link_leads_to_the_checkout(self):
        (self.folder / "bin").mkdir()
        (self.folder / "bin/first").symlink_to(self.root / "nullprint")
        (self.folder / "bin/second").symlink_to("first")
        self.expect_ran(self.run_script("x", script=self.folder / "bin/second"), "x")

    def test_whatever_changed_is_built_again(self):
        def rename(path):
            path.rename(path.with_name("Other.cpp"))

        def touch(path):
            path.touch()

        changes = (("engine/image/JPEG.h", touch), ("engine/image/JPEG.cpp", touch),
                   ("cli/main.cpp", touch), ("cmake/C.cmake", touch), ("CMakeLists.txt", touch),
                   ("CMakePresets.json", touch), ("packaging/packages.txt", touch),
                   ("engine/image/JPEG.cpp", rename), ("engine/image/Other.cpp", pathlib.Path.unlink),
                   ("build/nullprint", pathlib.Path.unlink), ("engine/image/New.cpp", touch))
        self.run_script()
        for name, change in changes:
            with self.subTest(change=change.__name__, name=name):
                self.calls()
                time.sleep(0.02)  # The clock of a file system may tick slowly.
                change(self.root / name)
                self.expect_ran(self.run_script())
                self.assertEqual(len(self.calls()), 2)
                self.assertEqual(self.run_script()[1], "")

    def test_what_changes_during_a_build_is_built_the_next_time(self):
        process = self.start(CMAKE_SECONDS="0.5")
        while not (self.root / "build/.building").exists():
            time.sleep(0.01)
        time.sleep(0.1)
        (self.root / "cli/main.cpp").touch()
        process.communicate("", timeout=60)
        self.calls()
        self.run_script()
        self.assertEqual(len(self.calls()), 2)

    def test_two_at_once_build_once(self):
        processes = [self.start(str(number), CMAKE_SECONDS="0.5") for number in range(4)]
        results = [(*process.communicate("typed\n", timeout=60), process.returncode)
                   for process in processes]
        for number, result in enumerate(results):
            self.expect_ran(result, str(number))
        self.assertEqual(len(self.calls()), 2)
        self.assertEqual(sum("building" in errors for _, errors, _ in results), 1)

    def test_a_failed_build_says_so_and_is_tried_again(self):
        output, errors, status = self.run_script(CMAKE_FAILS="1")
        self.assertEqual((output, status), ("", 1))
        self.assertIn("cmake: noise\n", errors)
        self.assertIn("nullprint: the build failed\n", errors)
        self.expect_ran(self.run_script())

    def test_a_moved_checkout_starts_its_build_folder_anew(self):
        self.run_script()
        (self.root / "build/CMakeCache.txt").write_text("CMAKE_HOME_DIRECTORY:INTERNAL=/elsewhere\n")
        (self.root / "cli/main.cpp").touch()
        self.calls()
        self.run_script()
        self.assertEqual(self.calls()[0], "--fresh --preset release")

    def test_root_installs_what_is_missing(self):
        self.tool("id", ID.replace("1000", "0"))
        result = self.run_script("x", ABSENT="g++ zlib1g-dev")
        self.expect_ran(result, "x")
        self.assertIn("installing Debian packages: g++ zlib1g-dev", result[1])
        self.assertNotIn("chatter", result[1])
        calls = self.calls()
        self.assertEqual(len(calls), 3)
        self.assertTrue(calls[0].startswith("apt-get install "), calls)
        self.assertTrue(calls[0].endswith(" g++ zlib1g-dev"), calls)
        self.assertIn(" --no-install-recommends ", calls[0])

    def test_package_lists_are_brought_up_to_date_where_needed(self):
        self.tool("id", ID.replace("1000", "0"))
        self.expect_ran(self.run_script(ABSENT="cmake", NEEDS_UPDATE="1"))
        words = [call.split()[1] for call in self.calls() if call.startswith("apt-get")]
        self.assertEqual(words, ["install", "update", "install"])

    def test_a_user_installs_by_sudo(self):
        self.tool("id", ID)
        self.tool("sudo", SUDO)
        self.expect_ran(self.run_script(ABSENT="cmake"))
        self.assertTrue(self.calls()[0].startswith("sudo apt-get install "))

    def test_without_root_and_sudo_one_sentence_says_what_is_missing(self):
        self.tool("id", ID)
        output, errors, status = self.run_script(ABSENT="cmake ninja-build")
        self.assertEqual((output, status), ("", 1))
        self.assertEqual(
            errors, "nullprint: these Debian packages are missing, and installing them takes root "
                    "or sudo: cmake ninja-build\n")

    def test_packages_that_cannot_be_installed_are_named(self):
        self.tool("id", ID.replace("1000", "0"))
        output, errors, status = self.run_script(ABSENT="cmake", APT_FAILS="1")
        self.assertEqual((output, status), ("", 1))
        self.assertIn("missing and could not be installed: cmake\n", errors)

    def test_missing_judges_do_not_stop_the_tests(self):
        self.tool("id", ID)
        self.tool("ctest", '#!/bin/sh\necho "ctest $*"\n')
        output, errors, status = self.run_script(script="check", ABSENT="webp")
        self.assertEqual(status, 0)
        self.assertIn("tests that need them are left out", errors)
        self.assertTrue(output.startswith(f"ctest --test-dir {self.root}/build/check "), output)

    def test_without_the_toolkit_there_is_still_a_command_line(self):
        self.tool("id", ID)
        result = self.run_script("x", ABSENT="qt6-base-dev")
        self.expect_ran(result, "x")
        self.assertIn("qt6-base-dev\nnullprint: going on without them: there will be no menu-bar "
                      "application\n", result[1])

    def test_without_a_desktop_for_tests_the_others_run(self):
        self.tool("id", ID)
        self.tool("ctest", '#!/bin/sh\necho "ctest $*"\n')
        output, errors, status = self.run_script(script="check", ABSENT="trayer")
        self.assertEqual(status, 0)
        self.assertIn("the application is not tried on a desktop", errors)
        self.assertTrue(output.startswith("ctest "), output)

    def test_check_fails_when_a_test_does(self):
        self.tool("ctest", "#!/bin/sh\nexit 8\n")
        self.assertEqual(self.run_script(script="check")[2], 8)

    def test_a_checkout_that_may_not_be_written_is_told(self):
        if os.getuid() == 0:
            (self.root / "build").write_text("in the way")
        else:
            self.root.chmod(0o555)
            self.addCleanup(self.root.chmod, 0o755)
        output, errors, status = self.run_script()
        self.assertEqual((output, status), ("", 1))
        self.assertEqual(
            errors, f"nullprint: cannot write to {self.root}/build, where the program is built\n")


if __name__ == "__main__":
    unittest.main()
