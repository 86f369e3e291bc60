"""When things go wrong: what a person sees of it, and how the program comes back by itself."""

import contextlib
import pathlib
import time

import pytest

import lettering
import registry
from desktop import until
from registry import text

HOSTS = pathlib.Path("/etc/hosts")
SITE = "velvetharbor.example"

ISSUE, ERROR = "Quillory - Connection Issue", "Quillory - Network Error"
OUTAGE = (
    "Could not connect to VelvetHarbor\n\nQuillory will try again in a few minutes.  Wallpaper rotation will resume "
    "automatically when you reconnect to the internet."
)
FOREIGN = (
    "Quillory received a response from a source other than Velvet Harbor.  This is usually caused by a wireless "
    "gateway interfering (at a coffee shop, airport, etc).  Try visiting VelvetHarbor in your web browser.  If "
    "everything works there, try scanning your computer for spyware."
)
UNEXPECTED = (
    "The Velvet Harbor servers responded in an unexpected way.  This could be due to a temporary network problem or "
    "interference from another program on your computer (such as spyware).  If this continues, please reinstall "
    "Quillory: http://velvetharbor.example/quillory/"
)
CONTACT = "Please contact us for details: http://velvetharbor.example/contact/"

# As somebody might edit it in the registry: the options window does not let a person have it so short.
SECONDS_7 = {"Frequency": "0.002", "FrequencyType": "Hours"}

FAVORITES, LOGIN, GALLERIES = "vh.wallpapers.favorites", "vh.auth.login", "vh.getGalleries"
WATCHDOG_SECONDS = 20  # it barks behind 10 ticks
RETRY_TICKS = 30


@contextlib.contextmanager
def harbor_closed(stage):
    """Nobody listens at the port, and what was connected is not any more."""
    fault = stage.service.fault("connect", refuse=True)
    stage.service.harbor.abort_connections()
    yield
    withdraw(stage, fault)


def withdraw(stage, refusal):
    refusal.withdraw()
    stage.service.harbor.faults.changed()


@contextlib.contextmanager
def names_unknown(stage):
    """The site's names lead nowhere, as with a wireless network that is not logged in yet."""
    before = HOSTS.read_text()
    HOSTS.write_text("".join(line for line in before.splitlines(True) if SITE not in line))
    stage.service.harbor.abort_connections()
    try:
        yield
    finally:
        HOSTS.write_text(before)


def windows(stage):
    return [window.text for window in stage.screen.open_windows() if stage.person.is_ours(window)]


def nothing_seen(stage, seconds=2):
    """No window of the program's comes up meanwhile. The mouse moves, or else the program would hold its rotation."""
    deadline = time.monotonic() + seconds
    step = 0
    while time.monotonic() < deadline:
        step = 1 - step
        stage.person.point(300 + step, 300)
        assert windows(stage) == []
        time.sleep(0.5)


# ------------------------------------------------------------------------------------------------ outages


@pytest.mark.parametrize("failing_retries", [0, pytest.param(1, marks=pytest.mark.long)])
def test_a_running_program_rides_an_outage_out(stage, failing_retries):
    stage.start_in_tray(**SECONDS_7)
    with harbor_closed(stage):
        lettering.notice(stage, OUTAGE, ISSUE)
        announced = time.monotonic()
        lettering.close_notice(stage)
        nothing_seen(stage, 10 + 60 * failing_retries)
        asked = len(stage.service.harbor.requests)
    nothing_seen(stage, announced + RETRY_TICKS + 60 * failing_retries - 5 - time.monotonic())
    assert len(stage.service.harbor.requests) == asked, "timed rotations do not even try"
    stage.service.wait_for("image", len(stage.service.asked("image")) + 1, 30)
    stage.rotation(len(stage.service.asked("image")))
    assert windows(stage) == []


@pytest.mark.parametrize("away", [harbor_closed, names_unknown])
def test_a_person_who_asks_is_told_each_time_and_ends_the_outage(stage, away):
    stage.start_in_tray()
    stage.force()
    before = stage.rotation(1)
    with away(stage):
        nothing_seen(stage)
        for _ in range(2):
            stage.force()
            lettering.notice(stage, OUTAGE, ISSUE)
            lettering.close_notice(stage)
        assert stage.account()["ActiveWallpaper"] == text(str(before.id))
    stage.force()
    stage.rotation(2)
    assert len(stage.service.asked(LOGIN)) == 1
    assert windows(stage) == []


def test_a_start_without_a_network_logs_in_when_it_is_back(stage):
    with names_unknown(stage):
        stage.remember_login()
        stage.start()
        started = time.monotonic()
        lettering.notice(stage, OUTAGE, ISSUE)
        lettering.close_notice(stage)
    stage.service.wait_for(LOGIN, seconds=45)
    assert time.monotonic() - started > RETRY_TICKS - 5
    stage.galleries_arrive()
    assert windows(stage) == []
    stage.force()
    stage.rotation()


# ------------------------------------------------------------------ connections that end, and that fall silent


def test_a_typed_login_that_is_never_answered_ends_in_a_box(stage):
    stage.service.fault(LOGIN, times=1, reset=0)
    stage.start()
    stage.log_in()
    box = stage.person.box(WATCHDOG_SECONDS)
    assert (box.title, box.icon) == ("Connection Error", "critical")
    assert box.text.startswith("The connection to VelvetHarbor cannot be established at this time")
    stage.person.answer(box, "OK")
    until(lambda: stage.person.field("frmLogin", "txtPassword").enabled, "the window enabled again")
    stage.person.click("frmLogin", "picLoginSubmit")
    stage.person.window("frmQuickStart")


def test_galleries_that_do_not_arrive_are_asked_for_again(stage):
    stage.service.fault(GALLERIES, times=1, reset=0)
    stage.remember_login()
    stage.start()
    stage.service.wait_for(GALLERIES)
    nothing_seen(stage)
    stage.force()
    stage.service.wait_for(GALLERIES, 2)
    stage.galleries_arrive()
    assert stage.service.asked(FAVORITES) == []
    stage.force()
    stage.rotation()


@pytest.mark.parametrize("effect", ["stall", "reset"])
def test_a_request_without_an_answer_is_an_outage_after_ten_seconds(stage, effect):
    stage.start_in_tray()
    stage.service.fault(FAVORITES, times=1, **{effect: 0})
    stage.force()
    asked = time.monotonic()
    lettering.notice(stage, OUTAGE, ISSUE)
    assert time.monotonic() - asked > 5
    lettering.close_notice(stage)
    stage.force()
    stage.rotation()


def test_an_image_that_cannot_be_connected_to_is_told_to_who_waits_for_it(stage):
    stage.start_in_tray()
    refusal = stage.service.fault("connect", refuse=True)  # which leaves the API's open connection as it is
    stage.force()
    lettering.notice(stage, "Network Error 10061!\nConnection refused.", ISSUE)
    lettering.close_notice(stage)
    assert windows(stage) == []
    withdraw(stage, refusal)
    stage.force()
    stage.rotation()


@pytest.mark.parametrize("offset", [10, 3000], ids=["header", "body"])
def test_after_an_image_that_was_broken_off_the_next_one_comes(stage, offset):
    """Systems differ in how they tell a reset: as an end, which leads to another picture, or as an error."""
    stage.start_in_tray()
    stage.service.fault("image", times=1, reset=offset)
    stage.force()
    stage.service.wait_for("image")
    person, service = stage.person, stage.service
    until(lambda: service.asked("image")[1:] or person.find(lettering.NOTICE) or person.find_box(), "an end of it")
    # Half a header makes the program ask for two others at once, and both answers may come as one.
    if box := stage.person.find_box():
        assert box.title == "XML Error"
        stage.person.answer(box, "OK")  # with which the rotation ends
    stage.person.gone("frmDownloading")
    if stage.person.find(lettering.NOTICE):
        lettering.close_notice(stage)
    asked = len(stage.service.asked("image"))
    stage.force()
    stage.rotation(asked + 1)


def test_an_image_that_is_broken_off_on_time_is_told_to_nobody(stage):
    stage.service.fault("image", times=1, reset=3000)
    stage.start_in_tray(**SECONDS_7)
    stage.service.wait_for("image", 1, 30)
    nothing_seen(stage)
    stage.rotation(2)
    assert windows(stage) == []


# ------------------------------------------------------------------------------ answers that are none of ours


@pytest.mark.parametrize(
    "fault, words, is_used",
    [
        ({"nomark": True}, FOREIGN, True),
        ({"body": "<!DOCTYPE html>\n<html>\n<title>Welcome</title>\n</html>\n", "nomark": True}, FOREIGN, False),
        ({"body": "busy\n"}, UNEXPECTED, False),
    ],
    ids=["unmarked", "gateway", "one line"],
)
def test_a_bad_answer_is_told(stage, fault, words, is_used):
    stage.start_in_tray()
    stage.service.fault(FAVORITES, times=1, **fault)
    stage.force()
    lettering.notice(stage, words, ERROR)
    lettering.close_notice(stage)
    if is_used:
        stage.rotation()
    else:
        nothing_seen(stage)
        assert stage.service.asked("image") == []


def test_a_gateway_whose_page_is_xml_is_shown_as_it_is(stage):
    stage.start_in_tray()
    stage.service.fault(FAVORITES, times=1, body="<html>\n<p>Welcome</p>\n</html>\n", nomark=True)
    stage.force()
    lettering.notice(
        stage,
        "Quillory has encountered an inconsistency in communications with VelvetHarbor\nDebug Dump: "
        "<html>\n\t<p>Welcome</p>\n</html>\n",
        "Quillory - API Error",
    )
    lettering.close_notice(stage)
    stage.force()
    stage.rotation()


def test_the_services_errors_are_told_in_their_words(stage):
    stage.start_in_tray()
    fatal = "A fatal API error has occurred within Quillory.  "
    told = {
        901: "Your API Key has exceeded it's daily allocation.  This usually shouldn't happen in Quillory.  ",
        902: "An error has occurred [902]: This harbor was told to fail.  ",
        950: f"[950] {fatal}",
        951: f"[951] {fatal}",
    }
    for count, (number, words) in enumerate(told.items(), 1):
        stage.service.fault(FAVORITES, times=1, error=number)
        stage.force()
        stage.service.wait_for(FAVORITES, count)
        lettering.notice(stage, words + CONTACT)
        lettering.close_notice(stage)
    body = "<error>\n<number>1</number>\n<description></description>\n</error>\n"
    stage.service.fault(FAVORITES, times=1, body=body)
    stage.force()
    stage.service.wait_for(FAVORITES, len(told) + 1)
    lettering.notice(stage, "An error has occurred [1]: .  " + CONTACT)
    lettering.close_notice(stage)
    assert stage.service.asked("image") == []
    stage.force()
    stage.rotation()


def test_a_fatal_error_stops_the_clock_for_good(stage):
    stage.service.fault(FAVORITES, times=1, error=950)
    stage.start_in_tray(**SECONDS_7)
    stage.person.window(lettering.NOTICE, 20)
    lettering.close_notice(stage)
    nothing_seen(stage, 10)
    assert len(stage.service.asked(FAVORITES)) == 1
    stage.force()
    stage.rotation()


def test_nothing_to_show_is_told_with_the_rating(stage):
    stage.start_in_tray(ActiveTab="1", TagName="lighthouse", QualityRating="5")
    stage.service.fault("vh.wallpapers.browse", times=1, error=69)
    stage.force()
    lettering.notice(
        stage,
        "Quillory couldn't find any wallpapers matching your settings!\n\nCheck that wallpapers marked with your exact "
        "tag exist on Velvet Harbor, then make sure they have been cropped to your resolution and have at least a 5+ "
        "rating (via your settings).",
        "Quillory - No matching wallpapers!",
    )


def test_a_remembered_login_that_is_refused_asks_the_person(stage):
    stage.service.fault(LOGIN, times=1, error=75)
    stage.remember_login()
    stage.start()
    box = stage.person.box()
    assert (box.title, box.icon) == ("Invalid Username/Password", "exclamation")
    stage.person.answer(box, "OK")
    until(lambda: stage.person.focused("frmLogin", "txtPassword"), "the focus at the password")
    assert stage.registry.settings(registry.LOGIN) == {"SavedUsername": text(""), "SavedPassword": text("")}


def test_half_a_jpeg_is_no_wallpaper(stage):
    stage.start_in_tray(ActiveTab="1", TagName="dog")
    stage.service.fault("image", times=1, cut=-500)
    stage.force()
    stage.rotation(2)
    assert windows(stage) == []
