import pathlib
import sys

sys.path[:0] = [str(pathlib.Path(__file__).resolve().parents[2] / folder) for folder in ("tests/e2e", "scripts")]


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes many minutes")
