# SPDX-License-Identifier: MIT
import pytest
import recording_figures
from conftest import DATA
from frameparser import parse_messages
from pymavlink.dialects.v20 import ardupilotmega as mavlink

RECORDINGS = sorted([*DATA.glob("*.tlog"), *DATA.glob("*.raw")])


def test_readme_tables_agree_with_the_files():
    figures = {path.name: recording_figures.figures_of(path) for path in RECORDINGS}
    overview, messages = recording_figures.readme_tables(DATA / "README.md")
    assert len(figures) == 6
    assert overview == recording_figures.overview_rows(figures)
    assert messages == recording_figures.message_rows(figures)


@pytest.mark.parametrize("path", RECORDINGS, ids=lambda path: path.stem)
def test_pymavlink_and_the_c_parser_find_the_same_frames(path):
    data = recording_figures.recorded_bytes(path)
    parser = mavlink.MAVLink(None)
    parser.robust_parsing = True
    other = (mavlink.MAVLink_bad_data, mavlink.MAVLink_unknown)
    expected = [bytes(m.get_msgbuf()) for m in parser.parse_buffer(data) if not isinstance(m, other)]
    assert [bytes(message.get_msgbuf()) for message in parse_messages(data)] == expected
