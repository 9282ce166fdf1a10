# The scene answer with its settings and timing request, and the virtual
# camera's timeline, on sequences whose truth is known.
import pytest

import kevra


def test_tube_lamp_at_30fps_is_named_50_by_the_fourth_frame():
    frames = kevra.synth(lamp="fluorescent-magnetic", mains=50, fps=30, frames=6, exposure=4000, rows=128, seed=11)
    for probe in (False, True):
        classifier = kevra.SceneClassifier(probe=probe)
        answers = [classifier.process(f.capture) for f in frames]
        assert all(type(a["request_frame_interval_ns"]) is int for a in answers)
        assert [a["scene_flicker"] for a in answers[3:]] == ["50"] * 3
        assert answers[-1]["ripple_period_us"] == pytest.approx(10000.0)


def test_steady_light_is_none_and_settings_out_of_range_are_refused():
    classifier = kevra.SceneClassifier(longest_extra_ns=2_000_000, recheck_ns=0)
    answers = [classifier.process(f.capture) for f in kevra.synth(steady=True, frames=5, rows=128, seed=12)]
    assert answers[-1]["scene_flicker"] == "none"
    with pytest.raises(kevra.InputError, match="out of range"):
        kevra.SceneClassifier(longest_extra_ns=-1)


def test_simulate_obeys_the_answer_with_whole_periods():
    rows = kevra.simulate(lamp="fluorescent-magnetic", mains=50, fps=30, frames=8, exposure=25000, rows=128,
                          latency=1, seed=13)
    assert [r["frame"] for r in rows] == list(range(8))
    named = next(r["frame"] for r in rows if r["scene_flicker"] == "50")
    assert named <= 3
    for r in rows:
        # The answer after frame k reaches frame k + 2 at a latency of one frame.
        assert r["exposure_us"] == (20000.0 if r["frame"] >= named + 2 else 25000.0)
        assert type(r["request_frame_interval_ns"]) is int
    assert rows[-1]["visible_ripple"] < 0.01 < rows[0]["visible_ripple"]


def test_simulate_lamp_on_and_refusals():
    rows = kevra.simulate(mains=60, lamp="led-rectified", fps=30, frames=8, lamp_on=5, rows=64, seed=14)
    assert [r["lamp_on"] for r in rows] == [False] * 5 + [True] * 3
    assert all(r["visible_ripple"] == 0.0 for r in rows[:5]) and rows[5]["visible_ripple"] > 0.1
    with pytest.raises(kevra.InputError, match="--latency"):
        kevra.simulate(latency=7)
    with pytest.raises(kevra.InputError, match="--json"):
        kevra.simulate(json="x.jsonl")
