"""Real servers, written by others, that the tests start on hosts of their own."""

import contextlib
import os
import shutil
import subprocess

import pytest

from daemon import wait_until


def installed(program):
    """Its path. Not among the packages that every test run installs: Debian starts such servers right away."""
    executable = shutil.which(program)
    # They give root's rights up, which the user namespace of an ordinary user has no other user for.
    lesser = subprocess.run(["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "true"], check=False,
                            capture_output=True)
    if not executable or lesser.returncode != 0:
        # A run that is to vouch for a change must not pass by testing nothing.
        (pytest.fail if os.environ.get("CI") else pytest.skip)(
            f"{program} cannot become nobody" if executable else f"{program} is not installed")
    return executable


@contextlib.contextmanager
def running(host, port, log_path, *command):
    """The process of the command on that host, once its port is open."""
    def listens():
        try:
            host.connect("127.0.0.1", port).close()
        except ConnectionRefusedError:
            return False
        return True
    with open(log_path, "wb") as log:
        process = subprocess.Popen(host.command(*command), stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    try:
        wait_until(listens, f"{command[0]} listens")
        yield process
    finally:
        process.kill()
        process.wait()
