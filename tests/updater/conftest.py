"""What the tests under Wine share: a desktop of their own, and the folder that it keeps its data in."""

import pathlib
import shutil
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))
from desktop import Desktop, until  # noqa: E402


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes many minutes")


@pytest.fixture(scope="module")
def desktop():
    with Desktop() as raised:
        yield raised


def ended(desktop, name):
    """Ends all programs of a name; true if there was none."""
    processes = desktop.probe.ask("processes", name)
    for process in processes:
        desktop.probe.ask("end", process)
    return not processes


@pytest.fixture
def data_folder(desktop):
    """Quillory's data folder, empty."""
    folder = desktop.data_folder()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    yield folder
    for name in ("update.exe", "updating.exe", "Quillory.exe"):  # an updater would start the program again
        until(lambda: ended(desktop, name), f"the end of {name}")  # noqa: B023
    shutil.rmtree(folder, ignore_errors=True)
