# The module's reports equal `kevra detect --json` to the bit, whichever way
# the capture is handed over.
import numpy as np
import pytest

import kevra
from conftest import assert_same_as_json, json_lines, run_tool

# Scenes that reach different parts of the detector, with tuning that the
# capture carries in its config and confidence_input.
CASES = {
    "60hz": (dict(mains=60, seed=2), {}, {}),
    "steady": (dict(steady=True, seed=3), {}, {"line_offset": 5}),
    "empty-zones": (dict(empty_zones=[0, 5], depth=0.5, seed=4), {"outlier_threshold": 30}, {}),
    "weighted-short": (dict(harmonics=[1, 0.3, 0.1], exposure=1000, rows=40, seed=5),
                       {"weight_enable": 1, "max_iterations": 5}, {"band_margin": 0.01}),
}

DETECTOR = kevra.Detector()  # shared: one run must not leak into the next


@pytest.fixture(scope="module")
def captures(tool, tmp_path_factory):
    """name -> (path, tool report); half of the files keep their streams in binary dumps."""
    d = tmp_path_factory.mktemp("captures")
    paths = {}
    for i, (name, (options, config, confidence)) in enumerate(CASES.items()):
        c = kevra.synth(**options)[0].capture
        c.config.update(config)
        c.confidence_input.update(confidence)
        c.timestamp_ns = 10**12 + i
        paths[name] = str(d / f"{name}.json")
        c.write(paths[name], binary=i % 2 == 1)
    reports = json_lines(run_tool(tool, "detect", "--json", *paths.values()).stdout)
    return {name: (path, report) for (name, path), report in zip(paths.items(), reports)}


def test_builtin_sample(tool):
    want = json_lines(run_tool(tool, "detect", "--json").stdout)[0]
    assert_same_as_json(DETECTOR.detect(), want)
    assert_same_as_json(DETECTOR.detect(kevra.sample_capture()), want)


def _by_path(path):
    return DETECTOR.detect(path)


def _by_capture(path):
    return DETECTOR.detect(kevra.read_capture(path))


def _by_streams(path):
    c = kevra.read_capture(path)
    return DETECTOR.detect(sum_stream=c.sum_stream, count_stream=c.count_stream, parameter=c.parameter,
                           config=c.config, confidence_input=c.confidence_input, name=path)


def _by_zones(path):
    c = kevra.read_capture(path)
    sums, counts, values = c.zones()
    return DETECTOR.detect(sums=sums, counts=counts, values=values, parameter=c.parameter, config=c.config,
                           confidence_input=c.confidence_input, name=path)


@pytest.mark.parametrize("form", [_by_path, _by_capture, _by_streams, _by_zones], ids=lambda f: f.__name__[4:])
@pytest.mark.parametrize("case", CASES)
def test_matches_tool(captures, case, form):
    path, want = captures[case]
    assert_same_as_json(form(path), want)


def test_numpy_values_as_plain_ones(captures):
    path, want = captures["60hz"]
    c = kevra.read_capture(path)
    parameter = {k: np.float32(v) if isinstance(v, float) else v for k, v in c.parameter.items()}
    parameter["ratio_table"] = np.array(parameter["ratio_table"], dtype=np.float64)
    config = {"mains_frequency": np.int16(60)}
    got = DETECTOR.detect(sum_stream=c.sum_stream, count_stream=c.count_stream, parameter=parameter, config=config,
                          name=path)
    assert_same_as_json(got, want)


def test_zone_layout():
    rng = np.random.default_rng(7)
    sums = rng.integers(0, 2**24, (3, 6, 4))
    counts = rng.integers(0, 2**24, (3, 6, 4))
    values = rng.integers(0, 256, (3, 6, 4))
    s, c = kevra.pack_streams(sums, counts, values)
    assert s.dtype == c.dtype == np.uint32 and s.shape == (3, 24)
    assert s[2, 4 * 5 + 1] == sums[2, 5, 1] and c[1, 4 * 3 + 2] == counts[1, 3, 2] | values[1, 3, 2] << 24
    for got, want in zip(kevra.unpack_streams(s, c), (sums, counts, values)):
        assert np.array_equal(got, want)
