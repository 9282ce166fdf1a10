import json
import os
import pathlib
import subprocess

import numpy as np
import pytest

import kevra


@pytest.fixture(scope="session")
def tool():
    """The kevra tool of the build the module comes from (or $KEVRA_TOOL)."""
    path = os.environ.get("KEVRA_TOOL") or str(pathlib.Path(kevra.__file__).parents[2] / "tools" / "kevra")
    if not os.access(path, os.X_OK):
        pytest.fail(f"no kevra tool at {path}; set KEVRA_TOOL")
    return path


def run_tool(tool, *args, check=True):
    return subprocess.run([tool, *args], capture_output=True, text=True, check=check)


def json_lines(text):
    return [json.loads(line) for line in text.splitlines()]


def _bits(values):
    # JSON writes non-finite floats as null.
    return np.array([np.nan if v is None else v for v in values], dtype=np.float32)


def assert_same_as_json(got, want, where="report"):
    """got (the module's value) equals want (parsed tool JSON) key for key, floats to the bit."""
    if isinstance(want, dict):
        assert isinstance(got, dict) and got.keys() == want.keys(), where
        for k in want:
            assert_same_as_json(got[k], want[k], f"{where}.{k}")
    elif isinstance(got, np.ndarray) or (isinstance(want, list) and want and isinstance(want[0], (float, type(None)))):
        got_a, want_a = np.asarray(got, dtype=np.float32), _bits(want)
        assert got_a.shape == want_a.shape, where
        nan = np.isnan(want_a)
        assert np.array_equal(~np.isfinite(got_a), nan), where
        assert np.array_equal(got_a[~nan].view(np.uint32), want_a[~nan].view(np.uint32)), where
    elif isinstance(want, list):
        assert isinstance(got, list) and len(got) == len(want), where
        for i, (g, w) in enumerate(zip(got, want)):
            assert_same_as_json(g, w, f"{where}[{i}]")
    elif want is None:
        assert isinstance(got, float) and not np.isfinite(got), where
    elif isinstance(want, float):
        assert isinstance(got, float), where
        assert np.float32(got).view(np.uint32) == np.float32(want).view(np.uint32), f"{where}: {got} != {want}"
    else:
        assert type(got) is type(want) and got == want, f"{where}: {got!r} != {want!r}"
