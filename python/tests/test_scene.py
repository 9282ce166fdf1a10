# The scene answer through the module equals `kevra classify --json`, and a
# frame reaches the classifier the same way as a capture or as arrays.
import pytest

import kevra
from conftest import assert_same_as_json, json_lines, run_tool


SEQUENCES = {
    "60hz-30fps": dict(mains=60, frames=6, fps=30, seed=1),
    "50hz-30fps": dict(mains=50, frames=6, fps=30, seed=2),
    "steady": dict(steady=True, frames=4, seed=3),
    "auto-exposure": dict(mains=50, frames=5, fps=24, exposure_change="2:2500", rows=96, seed=4),
}


@pytest.fixture(scope="module")
def sequences(tmp_path_factory):
    d = tmp_path_factory.mktemp("sequences")
    out = {}
    for name, options in SEQUENCES.items():
        out[name] = []
        for i, frame in enumerate(kevra.synth(**options)):
            out[name].append(str(d / f"{name}-{i:02d}.json"))
            frame.capture.write(out[name][-1])
    return out


@pytest.mark.parametrize("name", SEQUENCES)
def test_classify_matches_tool(tool, sequences, name):
    want = json_lines(run_tool(tool, "classify", "--json", *sequences[name]).stdout)
    got = kevra.classify(sequences[name])
    assert len(got) == len(want) == len(sequences[name])
    for g, w in zip(got, want):
        assert {"scene_flicker", "frames"} <= g.keys() & w.keys()
        for k in g.keys() & w.keys():
            assert_same_as_json(g[k], w[k], k)


def test_frame_forms_refusal_and_reset():
    frames = [f.capture for f in kevra.synth(mains=60, frames=4, fps=30, rows=64, seed=5)]
    by_capture, by_arrays = kevra.SceneClassifier(), kevra.SceneClassifier()
    for c in frames:
        answer = by_capture.process(c)
        assert answer == by_arrays.process(sum_stream=c.sum_stream, count_stream=c.count_stream,
                                           parameter=c.parameter, config=c.config, timestamp_ns=c.timestamp_ns)
    assert answer["scene_flicker"] in {"none", "50", "60", "unknown"} and answer["frames"] == len(frames)
    assert sorted(answer["evidence"]) == ["50", "60"]
    with pytest.raises(kevra.InputError, match="refused the frame"):
        by_capture.process(frames[-1])  # not after the previous frame
    by_capture.reset()
    assert by_capture.process(frames[0])["frames"] == 1
