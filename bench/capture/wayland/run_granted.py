"""Runs a program on the first screen that a desktop's portal grants: run_granted.py COMMAND…

Where an argument has FD or NODE in it stands the connection to PipeWire and the stream's node. Writes
"process NUMBER" before what the program writes.
"""
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                "../../../tests/support/desktop"))
from portal_grant import PortalGrant  # noqa: E402


def main():
    grant = PortalGrant()
    remote = grant.open_remote()
    node = grant.streams[0][0]
    command = [argument.replace("FD", str(remote)).replace("NODE", str(node))
               for argument in sys.argv[1:]]
    # It ends with this program, however that ends.
    program = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], pass_fds=[remote])
    print(f"process {program.pid}", flush=True)
    return program.wait()


if __name__ == "__main__":
    sys.exit(main())
