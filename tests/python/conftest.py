"""What all tests of the Python module share."""

import gc
import os

import pytest

from radvex import _radvex


@pytest.fixture(scope="session")
def samples():
    """The folder of pydicom's test files."""
    return os.environ["RADVEX_SAMPLES"]


@pytest.fixture(scope="session", autouse=True)
def nothing_is_left_in_the_host():
    """When all tests are done, every object of the host is freed, and the library broke no rule of the host."""
    yield
    gc.collect()
    _radvex.close()
    assert _radvex.account() == (0, [])
