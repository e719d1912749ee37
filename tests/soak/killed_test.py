"""A campaign that is killed leaves no controller running: killed_test.py COMMAND..., which starts a campaign."""
import pathlib
import subprocess
import sys
import time

EMERGENCY_S = 240


def comes_true(condition, what):
    end = time.monotonic() + EMERGENCY_S
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"waited for {what}, and it did not happen")
        time.sleep(0.01)


def children(process):
    found = []
    for file in pathlib.Path(f"/proc/{process}/task").glob("*/children"):
        found += [int(word) for word in file.read_text().split()]
    return found


def is_running(process):
    """Whether a process runs; one that has ended but was not waited for does not."""
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


campaign = subprocess.Popen(sys.argv[1:], stdout=subprocess.DEVNULL)
comes_true(lambda: children(campaign.pid) or campaign.poll() is not None, "the campaign's controller")
controllers = children(campaign.pid)
campaign.kill()
campaign.wait()
if not controllers:
    sys.exit("the campaign ended before it had a controller")
comes_true(lambda: not any(is_running(controller) for controller in controllers), "the end of the controller")
