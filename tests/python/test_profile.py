"""Profiles as values, and their arithmetic as docs/profiles.md has it."""

import copy
import json
import pickle

import numpy as np
import pytest

import korvex_color as kc
from oracle import arranged, convert_by

MEMBERS = {
    "description": "Microscope 2, \u00b5", "bits": 12, "black_level": (64.25, 63, 64.5),
    "white_balance": (1.9, 1, 1.55), "matrix": ((1.7, -0.8, 0.1), (-0.5, 1.9, -0.4), (0, -0.6, 1.6)),
    "tone_curve": "srgb", "output_depth": 8,
}
PROFILE = kc.Profile(**MEMBERS)
STACK = np.random.default_rng(5).integers(0, 4096, (2, 70, 160, 3), dtype=np.uint16)


@pytest.mark.parametrize("changes", [{}, {"output_depth": 16}, {"tone_curve": "linear"}, {"bits": 14},
                                     {"tone_curve": np.array([0, 0.25, 1])}])
@pytest.mark.parametrize("layout, order", [("interleaved", "rgb"), ("planar", "bgr")])
def test_apply(changes, layout, order):
    profile = PROFILE.replace(**changes)
    wanted = arranged(convert_by(profile.to_dict(), STACK, channels=4), "interleaved", "bgr")
    frame = arranged(STACK, layout, order)
    result = profile.apply(frame, channels=4, layout=layout, threads=2, out_layout="interleaved", out_order="bgr")
    assert np.array_equal(result, wanted) and result.dtype == wanted.dtype
    assert np.array_equal(profile.apply(frame, channels=4, layout=layout, out=np.empty_like(wanted),
                                        out_layout="interleaved", out_order="bgr"), wanted)


def test_values(tmp_path):
    file = tmp_path / "camera.json"
    PROFILE.save(file)
    PROFILE.apply(STACK)
    utf16 = tmp_path / "utf16.json"
    utf16.write_text(PROFILE.to_json(), encoding="utf-16")
    same = [kc.Profile.load(file), kc.Profile.load(str(file)), kc.Profile.load(utf16),
            kc.Profile.from_json(PROFILE.to_json()), kc.Profile.from_dict(PROFILE.to_dict()),
            pickle.loads(pickle.dumps(PROFILE)), copy.deepcopy(PROFILE),
            kc.Profile(**{name: np.asarray(value) if isinstance(value, tuple) else value
                          for name, value in MEMBERS.items()})]
    assert {*same} == {PROFILE} and all(one == PROFILE for one in same)
    assert {name: getattr(PROFILE, name) for name in MEMBERS} == MEMBERS
    assert json.loads(file.read_text()) == PROFILE.to_dict() == {"version": 1, **json.loads(json.dumps(MEMBERS))}
    assert PROFILE.replace(bits=14) != PROFILE and PROFILE != "camera.json"
    zeros = [PROFILE.replace(matrix=np.eye(3) * [1, 1, sign]) for sign in (1, 1)]
    signed = PROFILE.replace(matrix=np.where(np.eye(3), 1, -0.0))
    assert zeros[0] == signed and hash(zeros[0]) == hash(signed)  # equal: their zeros differ in the sign
    assert pickle.loads(pickle.dumps(PROFILE)) is copy.copy(PROFILE)  # so that a process makes one processor of it
    with pytest.raises(AttributeError):
        PROFILE.bits = 14


@pytest.mark.parametrize("path, make", [
    ("/bits", lambda: kc.Profile.from_dict({})),
    ("/tone_curve/1", lambda: PROFILE.replace(tone_curve=np.array([0, np.inf, 1]))),
    ("/gamma", lambda: PROFILE.replace(gamma=2)),
    ("/version", lambda: kc.Profile.from_dict({"version": 2, "bits": 12})),
    ("", lambda: kc.Profile.from_json("{")),
])
def test_refused(path, make):
    with pytest.raises(kc.ProfileError) as caught:
        make()
    assert caught.value.path == path and str(caught.value).startswith(path)
    assert pickle.loads(pickle.dumps(caught.value)).path == path


def test_refused_otherwise(tmp_path):
    with pytest.raises(FileNotFoundError):
        kc.Profile.load(tmp_path / "none.json")
    with pytest.raises(OSError, match="folder"):
        PROFILE.save(tmp_path / "folder" / "camera.json")
    for content, says, path in [
            (b'{"version": 1, "bits": 99}', "/bits: ", "/bits"),
            (b'{"version": 1, "bits": 12, "description": "\xb5"}', "is no text in UTF-8: the byte 0xb5 at 43", "")]:
        (tmp_path / "bad.json").write_bytes(content)
        with pytest.raises(kc.ProfileError, match="bad.json: " + says) as caught:
            kc.Profile.load(tmp_path / "bad.json")
        assert caught.value.path == path
    with pytest.raises(TypeError, match="/matrix: .* module"):
        kc.Profile(bits=12, matrix=kc)
    with pytest.raises(TypeError, match="out"):
        PROFILE.apply(STACK, out=np.empty_like(STACK))
