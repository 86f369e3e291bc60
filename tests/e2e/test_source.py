"""The main window's three sources."""

from desktop import until
from registry import text

INVALID = (
    "Oops! A tag can only contain letters, numbers, dashes, spaces, and wildcard characters (*).\n\n"
    "To enter multiple tags, seperate them with a comma."
)


def test_tags_are_checked_before_they_are_saved(stage):
    person = stage.person
    stage.enter()
    person.click("frmMain", "picSourceTabs[1]")
    until(lambda: stage.account()["ActiveTab"] == text("1"), "the tab chosen")

    def refused(tag):
        person.fill("frmMain", "txtTagName", tag)
        person.press("Return")
        box = person.box()
        person.answer(box, "OK")
        return box.title, box.icon, box.text

    assert refused("") == (
        "Quillory Tag Error", "exclamation", "Please enter one or more tags that you would like to use!",
    )  # fmt: skip
    assert refused("rock'n'roll") == ("Invalid Character", "information", INVALID)
    assert person.field("frmMain", "txtTagName").text == ""

    person.fill("frmMain", "txtTagName", "dog*, retriever")
    person.press("Return")
    assert stage.rotation().path.name in ("dog.jpg", "golden retriever.png")
    assert stage.account()["TagName"] == text("dog*, retriever")
    person.double_click_icon()

    long = "w" * 65
    assert refused(long)[:2] == ("Tag Too Long", "information")
    assert person.field("frmMain", "txtTagName").text == "dog*, retriever"
    until(lambda: person.focused("frmMain", "txtTagName"), "the focus at the tag")
    person.fill("frmMain", "txtTagName", long[1:])
    person.press("Return")
    person.gone("frmMain")
    assert stage.account()["TagName"] == text(long[1:])


def test_galleries_bring_their_categories(stage):
    person = stage.person
    stage.enter()
    person.click("frmMain", "picSourceTabs[2]")
    assert person.field("frmMain", "cboGallery").entries == ("All Galleries", "Animals", "Anime", "Sea & Sky")
    assert person.field("frmMain", "cboCategory").entries == ("All Categories",)

    # Typing changes nothing.
    person.click("frmMain", "cboGallery")
    person.type("xyz")
    assert person.field("frmMain", "cboGallery").text == "All Galleries"

    person.choose("frmMain", "cboGallery", "Sea & Sky")
    person.click("frmMain", "cboCategory")  # the list is filled as the focus leaves
    until(
        lambda: person.field("frmMain", "cboCategory").entries == ("All Categories", "General", "Harbours"),
        lambda: f"the gallery's categories, not {person.field('frmMain', 'cboCategory').entries}",
    )
    person.press("Escape")
    person.choose("frmMain", "cboCategory", "Harbours")
    assert stage.account()["Gallery"] == text("Sea & Sky")

    person.click("frmMain", "picSave")
    assert stage.rotation().path.parent.name == "Harbours"
    person.double_click_icon()
    person.choose("frmMain", "cboGallery", "Animals")
    assert person.field("frmMain", "cboCategory").text == "All Categories"


def test_the_windows_own_close_button_saves(stage):
    stage.enter()
    stage.person.click("frmMain", "picCloseX")
    stage.rotation()
    stage.person.tray_icon()
    assert not stage.person.find("frmMain")


def test_the_header_drags_the_window(stage):
    stage.enter()
    left, top, _, _ = stage.person.window("frmMain").place
    x, y, _, height = stage.person.place("frmMain", "lblHeaderTitle")
    stage.person.drag((x + 10, y + height // 2), (x + 110, y + height // 2 - 60))
    until(lambda: stage.person.window("frmMain").place[:2] == (left + 100, top - 60), "the window dragged")
    stage.person.click("frmMain", "picCloseX")
    stage.rotation()
    stage.person.double_click_icon()
    until(lambda: stage.person.window("frmMain").place[:2] == (left, top), "the window back in the middle")
