"""A tree of a few files for a check to look at."""
import pathlib
import tempfile


class SourceTree:
    """Gives its root, and goes with the `with`."""

    def __init__(self, files):
        self.folder = tempfile.TemporaryDirectory()
        self.root = pathlib.Path(self.folder.name)
        for name, text in files.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")

    def __enter__(self):
        return self.root

    def __exit__(self, *_):
        self.folder.cleanup()
