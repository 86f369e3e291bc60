"""The notice: it rises out of the screen's lower edge and sinks behind it, and never takes the focus."""

import lettering

CLASS = "Quillory.frmSlideMessage"
SECONDS = 28  # for 850 firings of a timer, each as late as the machine makes it
WIDTH, TRAVEL = 417, 124


def test_its_lower_edge_rests_where_the_desktop_ends(stage):
    left, top, width, height = stage.probe.ask("screen")["work"]
    before = stage.probe.ask("focus")["foreground"]
    stage.remember_login(MinimizeHelp="0", Freeze="1")
    stage.start()
    seen = stage.probe.ask("follow", CLASS, SECONDS * 1000)

    edge = top + height
    places = [place for place in seen["places"] if place[3] > 0 and place[1] < edge]
    assert {place[1] + place[3] for place in places} == {edge}, "lower edges"
    assert {(place[0], place[2]) for place in places} == {(left + width - WIDTH - 1, WIDTH)}
    heights = [place[3] for place in places]
    assert max(heights) == TRAVEL
    summit = heights.index(TRAVEL)
    rising, sinking = heights[: summit + 1], heights[summit:]
    assert rising == sorted(rising) and sinking == sorted(sinking, reverse=True)
    assert len(rising) > 10 and len(sinking) > 10, "in steps"
    assert not seen["foreground"] and not seen["sank"]
    assert stage.probe.ask("focus")["foreground"] == before


def test_a_second_text_takes_the_place_of_the_first(stage):
    none = '<wallpapers count="0">\n</wallpapers>\n'
    stage.enter()
    stage.service.fault("vh.wallpapers.favorites", body=none, stall=0, seconds=3)
    stage.person.click("frmMain", "picSave")
    lettering.notice(
        stage,
        "Quillory has been minimized!\n\nYou'll see the Quillory icon in the bottom-right corner of your monitor.  To "
        "bring the preferences screen back, double-click on the icon.  To see more options, right-click on it.",
        "Quillory - Information",
    )
    first = stage.person.window("frmSlideMessage")
    lettering.notice(
        stage,
        "Quillory couldn't find any wallpapers matching your settings!\n\nCheck that the selected member has favorited "
        "some wallpapers, then make sure they have been cropped to your resolution and have at least a 0 rating (via "
        "your settings).",
        "Quillory - No matching wallpapers!",
    )
    assert [window.handle for window in stage.screen.open_windows() if window.cls == CLASS] == [first.handle]
