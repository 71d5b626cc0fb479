"""Waits for what comes at last."""
import time

PATIENCE = 120.0
BETWEEN_LOOKS = 0.05


def found(what, look):
    """What the look finds."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        result = look()
        if result:
            return result
        time.sleep(BETWEEN_LOOKS)
    raise TimeoutError(f"not so: {what}")


def await_(what, holds):
    """Tells when it holds."""
    begin = time.monotonic()
    found(what, holds)
    print(f"  {what} ({time.monotonic() - begin:.1f} s)", flush=True)
