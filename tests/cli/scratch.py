"""What the Python tests of the command line share: a folder of its own for every test, and the
program that NULLPRINT names."""
import atexit
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest
import zlib

HERE = pathlib.Path(__file__).resolve().parent
PROGRAM = pathlib.Path(os.environ["NULLPRINT"]).resolve()
PDF_WORKER = "nullprint-pdf"  # Stands beside the program.
SECONDS = 60
NO_WORKER = b"Nullprint: cannot find nullprint-pdf, without which no PDF can be opened.\n"


def png_chunk(kind, data):
    checksum = zlib.crc32(kind + data)
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", checksum)


def large_png(parts=6):
    """A picture of noise whose pixels come in several chunks, with a text before each."""
    side = 640
    rows = b"".join(b"\0" + os.urandom(side * 3) for _ in range(side))
    pixels = zlib.compress(rows, 0)
    png = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0))
    for start in range(0, len(pixels), len(pixels) // parts + 1):
        png += png_chunk(b"tEXt", b"Comment\0planted")
        png += png_chunk(b"IDAT", pixels[start:start + len(pixels) // parts + 1])
    return png + png_chunk(b"IEND", b"")


def preloadable(library):
    """The library at a path that the loader can be told: LD_PRELOAD has no way to name a space."""
    holder = tempfile.TemporaryDirectory(prefix="nullprint-preload-")
    atexit.register(holder.cleanup)
    os.chmod(holder.name, 0o755)
    return pathlib.Path(shutil.copy(library, holder.name))


class ScratchTest(unittest.TestCase):
    """Every test has `self.folder`, which anybody may read, with a copy of files/ in it."""

    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="nullprint-cli-")
        self.addCleanup(holder.cleanup)
        self.root = pathlib.Path(holder.name).resolve()
        self.root.chmod(0o755)
        self.folder = self.root / "files"
        shutil.copytree(HERE / "files", self.folder)
        self.program = self.root / "nullprint"
        shutil.copy(PROGRAM, self.program)
        shutil.copy(PROGRAM.with_name(PDF_WORKER), self.root)

    def run_program(self, *arguments, complaint=b"", **options):
        """Runs it in the folder. Standard error must have the complaint, if any, and nothing else."""
        options = {"cwd": self.folder, "timeout": SECONDS, "stdin": subprocess.DEVNULL, **options}
        run = subprocess.run([self.program, *arguments], capture_output=True, check=False, **options)
        if run.returncode >= 0:
            self.assertEqual(run.stderr, complaint)
        return run

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def scrub(self, name, **options):
        """The first word of the entry: CLEANED, FAILED or UNSUPPORTED."""
        run = self.run_program("--scrub", name, **options)
        self.assertEqual(run.returncode, 0)
        return run.stdout.split()[0].decode()
