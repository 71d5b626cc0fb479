"""Real pictures of known colours."""
import functools
import subprocess

from scripted_host import LABEL, PATIENCE, answer


@functools.lru_cache
def coloured(*colours, width=64, height=36):
    """A JPEG of stripes in these colours, from the top down."""
    stripe = height // len(colours)
    inputs = [word for colour in colours for word in
              ("-f", "lavfi", "-i", f"color=0x{colour}:size={width}x{stripe}")]
    joined = [] if len(colours) == 1 else ["-filter_complex", f"vstack=inputs={len(colours)}"]
    return subprocess.run(
        ["ffmpeg", "-loglevel", "error", *inputs, *joined, "-frames:v", "1", "-pix_fmt",
         "yuvj444p", "-q:v", "1", "-f", "mjpeg", "-"],
        check=True, capture_output=True, timeout=PATIENCE, stdin=subprocess.DEVNULL).stdout


def showing(jpeg, number=1):
    """The answer to a request for a frame."""
    return answer(jpeg, kind="image/jpeg", label=LABEL + str(number))
