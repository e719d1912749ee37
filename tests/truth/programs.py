"""Runs kelpo against a controller, and reads what it printed. The environment names the programs: KELPO, DRIVER."""
import json
import os
import subprocess
import tempfile

EMERGENCY_S = 120  # ends a program that hangs; a busy machine may need much of it

OK, FAILED, WRONG_USAGE, LINE_LOST, NO_REPLY, REFUSED, BAD_REPLY = 0, 1, 2, 4, 8, 9, 10


def command(words):
    """The command line that starts kelpo with WORDS, such as ["read", "--line", ...]."""
    name, *rest = words
    return [os.environ["KELPO"], name, "--driver", os.environ["DRIVER"], *(str(word) for word in rest)]


def kelpo(*words, text=None):
    """Runs kelpo to its end: .returncode, .stdout, .stderr."""
    return subprocess.run(command(words), input=text, capture_output=True, text=True, timeout=EMERGENCY_S,
                          stdin=subprocess.DEVNULL if text is None else None, check=False)


def start(*words, **options):
    """Starts kelpo and returns the process, with its output in pipes unless OPTIONS say otherwise."""
    options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True} | options
    return subprocess.Popen(command(words), **options)


def records(text):
    """The objects of a --json or json output, without a last line that a signal has cut off."""
    found = []
    for line in text.splitlines():
        try:
            found.append(json.loads(line))
        except json.JSONDecodeError:
            if line != text.splitlines()[-1]:
                raise
    return found


def list_file(variables, folder):
    """Writes a list of VARIABLES, each (name, station, type, address, count), and returns its path."""
    handle, path = tempfile.mkstemp(suffix=".toml", dir=folder, text=True)
    with os.fdopen(handle, "w", encoding="utf-8") as file:
        for name, station, kind, address, count in variables:
            file.write(f'[[variable]]\nname = "{name}"\nstation = {station}\ntype = {kind}\naddress = "{address}"\n'
                       f"count = {count}\n\n")
    return path
