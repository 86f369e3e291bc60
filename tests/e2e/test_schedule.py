"""The rotation that nobody asks for."""

import time

import pytest

INTERVAL = 600
# The count rests in the first seconds of each minute, for as long as the login took, and misses ticks under load.
LATEST = INTERVAL * 1.25


@pytest.mark.long
def test_after_ten_minutes_the_next_wallpaper_comes_unseen(stage):
    stage.start_in_tray(Frequency="10", FrequencyType="Minutes")
    armed = time.monotonic()
    seen = set()
    while not stage.service.asked("image") and time.monotonic() < armed + LATEST:
        seen |= {window.text or window.cls for window in stage.screen.open_windows() if stage.person.is_ours(window)}
        time.sleep(0.2)
    elapsed = time.monotonic() - armed
    stage.rotation()
    assert INTERVAL - 5 <= elapsed < LATEST
    assert seen == set(), "no window of the program's"
