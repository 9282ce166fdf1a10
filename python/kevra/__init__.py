"""kevra: lamp flicker detection from rolling-shutter row statistics, for NumPy.

The detector, capture files, scene synthesis and the scene answer of the
`kevra` tool, on the same libmorvane.kevra.so: results equal `kevra detect
--json` bit for bit. See docs/python.md.

    >>> import kevra
    >>> report = kevra.Detector().detect("capture.json")
    >>> report["decision"]["flicker_detected"], report["channels"][1]["row_level"]

Every bad input raises kevra.InputError (a ValueError) with the tool's message.
"""

import collections
import copy
import os

import numpy as np

from . import _kevra
from ._kevra import MAX_ROWS, InputError, __version__

InputError.__module__ = __name__  # shown as kevra.InputError

__all__ = [
    "Capture", "Detector", "InputError", "MAX_ROWS", "SceneClassifier", "SynthFrame", "classify", "detect",
    "pack_streams", "read_capture", "sample_capture", "simulate", "synth", "unpack_streams",
]

_WORD_MASK = 0xFFFFFF

# What a capture holds besides its streams; keyword arguments of detect() and
# SceneClassifier.process() that describe a capture given as arrays.
_SECTION_KEYWORDS = ("parameter", "config", "confidence_input", "timestamp_ns", "name")


def pack_streams(sums, counts, values=None):
    """The raw (row_num, 24) uint32 streams from per-zone data.

    sums, counts: integer arrays of shape (row_num, 6, 4), indexed [row, zone,
    channel], each value in 0..2**24 - 1; values: the 8-bit zone values that
    the count words carry in their top byte, same shape, 0..255 (0 if None).
    Word 4 * zone + channel of each row holds zone `zone`, channel `channel`.
    """
    sums = _zone_array(sums, "sums", _WORD_MASK)
    counts = _zone_array(counts, "counts", _WORD_MASK)
    values = np.zeros_like(counts) if values is None else _zone_array(values, "values", 0xFF)
    if not (sums.shape == counts.shape == values.shape):
        raise InputError(f"arrays: sums, counts and values differ in shape: {sums.shape}, {counts.shape}, "
                         f"{values.shape}")
    rows = sums.shape[0]
    return sums.reshape(rows, 24).copy(), (counts | values << 24).reshape(rows, 24)


def unpack_streams(sum_stream, count_stream):
    """(sums, counts, values) of shape (row_num, 6, 4) from the raw streams;
    the inverse of pack_streams."""
    s = np.asarray(sum_stream, dtype=np.uint32).reshape(-1, 6, 4)
    c = np.asarray(count_stream, dtype=np.uint32).reshape(-1, 6, 4)
    return s & _WORD_MASK, c & _WORD_MASK, c >> 24


def _zone_array(a, field, largest):
    a = np.asarray(a)
    if a.dtype.kind not in "iu":
        raise InputError(f"arrays: {field}: expected an integer array, got dtype {a.dtype}")
    if a.ndim != 3 or a.shape[1:] != (6, 4):
        raise InputError(f"arrays: {field}: expected shape (row_num, 6, 4), got {a.shape}")
    if a.size and (a.min() < 0 or a.max() > largest):
        raise InputError(f"arrays: {field}: expected values in 0..{largest}, got {a.min()}..{a.max()}")
    return a.astype(np.uint32)


class Capture:
    """Everything one detection run needs: what a capture file holds.

    parameter, config, confidence_input -- dicts keyed by the record field names
        of kevra.h (docs/capture-format.md); a field left out takes the tool's
        default (docs/default-tuning.md). parameter also holds start_time, and
        its row_num follows the streams when left out; exposure_time and
        line_time have no default. Unknown keys raise InputError.
    sum_stream, count_stream -- uint32 arrays of shape (row_num, 24).
    timestamp_ns -- start of exposure of sensor line 0 (int), or None.
    name -- names the capture in messages and reports (the path when read).

    Captures read from files or synthesised hold parameter in full and config
    and confidence_input only where they differ from the defaults, as the file
    does; so changing mains_frequency or exposure_time also moves the default
    confidence angles.
    """

    def __init__(self, sum_stream, count_stream, parameter, config=None, confidence_input=None,
                 timestamp_ns=None, name="arrays"):
        self.sum_stream = sum_stream
        self.count_stream = count_stream
        self.parameter = parameter
        self.config = {} if config is None else config
        self.confidence_input = {} if confidence_input is None else confidence_input
        self.timestamp_ns = timestamp_ns
        self.name = name

    @classmethod
    def from_zones(cls, sums, counts, values=None, **sections):
        """A capture from per-zone arrays (see pack_streams)."""
        return cls(*pack_streams(sums, counts, values), **sections)

    @classmethod
    def _from_native(cls, d, name):
        return cls(d["sum_stream"], d["count_stream"], d["parameter"], d["config"], d["confidence_input"],
                   d["timestamp_ns"], name)

    def _native(self):
        return {"parameter": self.parameter, "config": self.config, "confidence_input": self.confidence_input,
                "timestamp_ns": self.timestamp_ns, "sum_stream": self.sum_stream, "count_stream": self.count_stream}

    @property
    def row_num(self):
        return int(self.sum_stream.shape[0])

    def zones(self):
        """(sums, counts, values), each (row_num, 6, 4): see unpack_streams."""
        return unpack_streams(self.sum_stream, self.count_stream)

    def normalized(self):
        """The capture checked as a file would be, in the form a file reads back to."""
        return Capture._from_native(_kevra.normalize_capture(self._native(), self.name), self.name)

    def to_json(self):
        """The capture file's text, streams inline."""
        return _kevra.capture_json(self._native(), self.name)

    def write(self, path, binary=False):
        """Writes a capture file; binary puts the streams in <stem>.sum.bin and
        <stem>.count.bin beside it. Files appear complete or not at all."""
        _kevra.write_capture(os.fspath(path), self._native(), bool(binary))

    def __repr__(self):
        t = "" if self.timestamp_ns is None else f", timestamp_ns={self.timestamp_ns}"
        return f"<kevra.Capture {self.name!r}: {self.row_num} rows{t}>"


def read_capture(path):
    """Reads and checks a capture file (format version 1 or 2)."""
    path = os.fspath(path)
    return Capture._from_native(_kevra.read_capture(path), path)


_sample = None  # synthesising it takes about 0.1 s


def _sample_native():
    global _sample
    if _sample is None:
        _sample = _kevra.sample_capture()
    return _sample


def sample_capture():
    """The built-in sample that `kevra detect` runs on when given no capture."""
    return Capture._from_native(copy.deepcopy(_sample_native()), _kevra.SAMPLE_NAME)


def _capture_arguments(capture, keywords):
    """(native dict, name) or (path, None) for a capture given any way."""
    arrays = {k: keywords.pop(k) for k in ("sum_stream", "count_stream", "sums", "counts", "values")
              if k in keywords}
    sections = {k: keywords.pop(k) for k in _SECTION_KEYWORDS if k in keywords}
    if keywords:
        raise TypeError(f"unexpected keyword arguments: {', '.join(sorted(keywords))}")
    if capture is not None:
        if arrays or sections:
            raise TypeError("give a capture or arrays, not both")
        if isinstance(capture, Capture):
            return capture._native(), capture.name
        if isinstance(capture, (str, os.PathLike)):
            return os.fspath(capture), None
        raise TypeError(f"expected a kevra.Capture or a path, got {type(capture).__name__}")
    if not arrays:
        return None, None
    if "sums" in arrays or "counts" in arrays or "values" in arrays:
        if "sum_stream" in arrays or "count_stream" in arrays:
            raise TypeError("give sum_stream and count_stream, or sums and counts, not both")
        if "sums" not in arrays or "counts" not in arrays:
            raise TypeError("sums and counts go together")
        c = Capture.from_zones(arrays["sums"], arrays["counts"], arrays.get("values"), parameter={})
    else:
        if "sum_stream" not in arrays or "count_stream" not in arrays:
            raise TypeError("sum_stream and count_stream go together")
        c = Capture(arrays["sum_stream"], arrays["count_stream"], {})
    c.parameter = sections.get("parameter")  # None: the reader reports it missing
    c.config = sections.get("config")
    c.confidence_input = sections.get("confidence_input")
    c.timestamp_ns = sections.get("timestamp_ns")
    c.name = sections.get("name", c.name)
    return c._native(), c.name


class Detector:
    """One detector (QORKEVRA) of libmorvane.kevra.so."""

    def __init__(self):
        self._native = _kevra.Detector()

    def detect(self, capture=None, **arrays):
        """Runs KevrMain and ConfidenceIndex, as `kevra detect --json` does.

        capture -- a Capture, a capture file's path, or None (and no arrays):
            the built-in sample.
        Or a capture as keyword arguments: sum_stream and count_stream
        (uint32, (row_num, 24)), or sums, counts and optionally values
        ((row_num, 6, 4), see pack_streams); with parameter (exposure_time and
        line_time at least), config, confidence_input, timestamp_ns and name.

        Returns a dict with the keys and nesting of the tool's JSON report;
        floats are exact (NaN where the JSON has null), and each channel's
        row_level and model are float32 arrays.
        """
        native, name = _capture_arguments(capture, dict(arrays))
        if native is None:
            return self._native.detect(_sample_native(), _kevra.SAMPLE_NAME)
        if name is None:
            return self._native.detect_file(native)
        return self._native.detect(native, name)


def detect(capture=None, **arrays):
    """Detector().detect(...) on a fresh detector."""
    return Detector().detect(capture, **arrays)


SynthFrame = collections.namedtuple("SynthFrame", "capture visible_ripple")


def synth(**options):
    """Synthesised frames, with exactly the options of `kevra synth`.

    Each keyword becomes --option-name value: underscores turn into hyphens,
    True into a bare flag, False and None drop the option, sequences join with
    commas. kevra.synth(mains=60, frames=6, fps=30, scene="coffee.png") is
    `kevra synth --mains 60 --frames 6 --fps 30 --scene coffee.png`. Returns a
    list of SynthFrame(capture, visible_ripple): visible_ripple is the lamp's
    peak-to-peak over the frame's lines divided by its mean, the ripple the
    rows would show without picture and noise.
    """
    args = _arguments(options)
    return [SynthFrame(Capture._from_native(f, f"synth-{i + 1:04d}"), f["visible_ripple"])
            for i, f in enumerate(_kevra.synth(args))]


def simulate(**options):
    """The timeline of `kevra simulate` with these options (named as for
    synth(), e.g. lamp_on=5, latency=1, ignore_requests=True, probe=True): a
    list of dicts, one per frame, with the fields of its JSON Lines."""
    return _kevra.simulate(_arguments(options))


def _arguments(options):
    """Keyword options as command-line words: --option-name value."""
    args = []
    for key, value in options.items():
        flag = "--" + key.replace("_", "-")
        if value is None or value is False:
            continue
        if value is True:
            args.append(flag)
            continue
        if isinstance(value, (list, tuple, np.ndarray)):
            text = ",".join(_option_word(v) for v in value)
        else:
            text = _option_word(value)
        args += [flag, text]
    return args


def _option_word(v):
    if isinstance(v, (bool, np.bool_)):
        return "true" if v else "false"
    if isinstance(v, (int, np.integer)):
        return str(int(v))
    if isinstance(v, (float, np.floating)):
        return repr(float(v))  # the shortest text that reads back to the same double
    return os.fspath(v) if isinstance(v, os.PathLike) else str(v)


class SceneClassifier:
    """The scene answer over a sequence of frames (QORKEVRASCENE).

    process() adds one frame and returns the answer after it: scene_flicker
    ("none", "50", "60" or "unknown"), confidence, ripple_period_us, frames,
    evidence (a dict per hypothesis, keyed "50" and "60") and
    request_frame_interval_ns (an int: the time the classifier would like
    from this frame's timestamp to the next one's; 0 when it asks nothing).
    reset() forgets every frame.

    probe=True lets the classifier ask for longer frame intervals where frames
    alone cannot decide; longest_extra_ns (most one request adds to the
    interval) and recheck_ns (how often a settled answer is tested again)
    keep the library's defaults when None.
    """

    def __init__(self, probe=False, longest_extra_ns=None, recheck_ns=None):
        self._native = _kevra.SceneClassifier(bool(probe), longest_extra_ns, recheck_ns)

    def process(self, capture=None, **arrays):
        """capture: a Capture or a path; or arrays as for Detector.detect, with
        parameter (exposure_time, line_time), config (lines_per_row) and
        timestamp_ns for the timing. A frame's time is timestamp_ns, or else
        parameter start_time read as ns."""
        native, name = _capture_arguments(capture, dict(arrays))
        if native is None:
            raise TypeError("process() needs a frame")
        if name is None:
            return self._native.process_file(native)
        return self._native.process(native, name)

    def reset(self):
        self._native.reset()


def classify(captures):
    """The answer after each frame of a sequence, as `kevra classify --json`:
    a list of dicts, each with "capture" naming the frame."""
    classifier = SceneClassifier()
    out = []
    for c in captures:
        answer = classifier.process(c)
        answer["capture"] = c.name if isinstance(c, Capture) else os.fspath(c)
        out.append(answer)
    return out
