# Bad input raises kevra.InputError with the tool's message; captures and
# synthesis options travel between the module and the tool unchanged.
import os
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import kevra
from conftest import run_tool

SAMPLE = kevra.sample_capture()
TIMING = {"exposure_time": 4000.0, "line_time": 10.0}


def _zeros(rows):
    return np.zeros((rows, 24), dtype=np.uint32)


# (case, keyword arguments replacing the good ones, the message after "arrays: ")
S, C = SAMPLE.sum_stream, SAMPLE.count_stream
BAD = [
    ("float stream", dict(sum_stream=S.astype(np.float64)), "sum_stream: expected dtype uint32, got float64"),
    ("big-endian", dict(count_stream=C.astype(">u4")), "count_stream: expected dtype uint32, got >u4"),
    ("flat", dict(sum_stream=S.ravel()), "sum_stream: expected shape (row_num, 24), got (6144,)"),
    ("strided", dict(sum_stream=S[::2]), "sum_stream: expected a C-contiguous array"),
    ("list", dict(sum_stream=S.tolist()),
     "sum_stream: expected a NumPy array of uint32 words, got an object of type list"),
    ("257 rows", dict(sum_stream=_zeros(257), count_stream=_zeros(257)),
     "parameter.row_num: expected an integer in 0..256, got 257"),
    ("rows differ", dict(count_stream=_zeros(100)), "count_stream: expected 6144 words (row_num x 24), got 2400"),
    ("row_num disagrees", dict(parameter=dict(TIMING, row_num=200)),
     "sum_stream: expected 4800 words (row_num x 24), got 6144"),
    ("no exposure", dict(parameter={"line_time": 10.0}), "parameter.exposure_time: missing (it has no default)"),
    ("unknown key", dict(config={"mains_freq": 60}), "config.mains_freq: unknown field"),
    ("fraction", dict(config={"lines_per_row": 12.5}),
     "config.lines_per_row: expected a 32-bit integer, got the number 12.5"),
    ("object value", dict(config={"offset_step": object()}),
     "config.offset_step: expected a number, got an object of type object"),
    ("sums beyond 24 bits", dict(sums=np.full((4, 6, 4), 2**24), counts=np.ones((4, 6, 4), int)),
     "sums: expected values in 0..16777215"),
    ("float counts", dict(sums=np.ones((4, 6, 4), int), counts=np.ones((4, 6, 4))),
     "counts: expected an integer array"),
    ("zone shape", dict(sums=np.ones((4, 24), int), counts=np.ones((4, 24), int)),
     "sums: expected shape (row_num, 6, 4)"),
]


@pytest.mark.parametrize("arguments, message", [b[1:] for b in BAD], ids=[b[0] for b in BAD])
def test_bad_arrays(arguments, message):
    kwargs = dict(sum_stream=SAMPLE.sum_stream, count_stream=SAMPLE.count_stream, parameter=TIMING)
    if "sums" in arguments:
        del kwargs["sum_stream"], kwargs["count_stream"]
    kwargs.update(arguments)
    with pytest.raises(kevra.InputError, match="^" + re.escape("arrays: " + message)):
        kevra.detect(**kwargs)


@pytest.mark.parametrize("text", [
    '{"parameter": {"row_num": 0, "exposure_time": 1, "line_time": 1}, "config": {"weights": 1},'
    ' "sum_stream": [], "count_stream": []}',
    '{"parameter": {"row_num": 1, "exposure_time": 1, "line_time": 1}, "sum_stream": [1], "count_stream": []}',
], ids=["unknown field", "short stream"])
def test_file_errors_as_the_tool(tool, tmp_path, text):
    path = tmp_path / "bad.json"
    path.write_text(text)
    tool_message = run_tool(tool, "detect", str(path), check=False).stderr.splitlines()[0]
    with pytest.raises(kevra.InputError) as error:
        kevra.detect(path)
    assert "kevra: " + str(error.value) == tool_message


@pytest.mark.parametrize("binary", [False, True], ids=["inline", "binary"])
def test_capture_round_trip(tmp_path, binary):
    c = kevra.synth(rows=30, seed=9)[0].capture
    c.config["weight_enable"] = 1
    c.confidence_input["line_offset"] = -2
    c.timestamp_ns = 2**62
    path = tmp_path / "c.json"
    c.write(path, binary=binary)
    back = kevra.read_capture(path)
    assert (back.parameter, back.config, back.confidence_input, back.timestamp_ns) == \
        (c.parameter, c.config, c.confidence_input, c.timestamp_ns)
    assert np.array_equal(back.sum_stream, c.sum_stream) and np.array_equal(back.count_stream, c.count_stream)
    assert (path.with_suffix(".sum.bin").exists()) == binary
    if not binary:
        assert path.read_text() == c.to_json()


SYNTH_OPTIONS = [
    dict(mains=60, depth=0.4, exposure=3333.5, rows=64, seed=11),
    dict(steady=True, zone_gain=[1, 1, 1, 0.5, 0.5, 0.5], empty_zones=(2,), line_time=12.25),
    dict(frames=3, fps=29.97, mains=60, rows=32, timestamp=10**15),
]


@pytest.mark.parametrize("options", SYNTH_OPTIONS, ids=["values", "flag-and-lists", "sequence"])
def test_synth_options_as_the_tool(tool, tmp_path, options):
    args = []
    for k, v in options.items():
        args.append("--" + k.replace("_", "-"))
        if v is not True:
            args.append(",".join(map(str, v)) if isinstance(v, (list, tuple)) else str(v))
    run_tool(tool, "synth", "-o", str(tmp_path / "t.json"), *args)
    frames = kevra.synth(**options)
    paths = [tmp_path / "t.json"] if len(frames) == 1 else sorted(tmp_path.glob("t-*.json"))
    assert len(paths) == len(frames) == options.get("frames", 1)
    for frame, path in zip(frames, paths):
        got, want = frame.capture, kevra.read_capture(path)
        assert (got.parameter, got.config, got.confidence_input, got.timestamp_ns) == \
            (want.parameter, want.config, want.confidence_input, want.timestamp_ns)
        assert np.array_equal(got.sum_stream, want.sum_stream) and np.array_equal(got.count_stream, want.count_stream)
        assert (frame.visible_ripple == 0) == ("steady" in options)


def test_synth_errors_as_the_tool(tool, tmp_path):
    tool_message = run_tool(tool, "synth", "-o", str(tmp_path / "t.json"), "--depth", "2", check=False).stderr
    with pytest.raises(kevra.InputError) as error:
        kevra.synth(depth=2)
    assert "kevra: " + str(error.value) == tool_message.splitlines()[0]


def test_installed_package_loads(tmp_path):
    build = pathlib.Path(kevra.__file__).parents[2]
    if not (build / "CMakeCache.txt").exists():
        pytest.skip("the module under test is not in a build tree")
    subprocess.run(["cmake", "--install", str(build), "--component", "python", "--prefix", str(tmp_path)],
                   check=True, capture_output=True)
    site = next(tmp_path.rglob("kevra/__init__.py")).parents[1]
    env = dict(os.environ, PYTHONPATH=str(site))
    out = subprocess.run([sys.executable, "-c", "import kevra; print(kevra.__file__, kevra.detect()['row_num'])"],
                         env=env, cwd=tmp_path, capture_output=True, text=True, check=True).stdout.split()
    assert out == [str(site / "kevra" / "__init__.py"), "256"]
