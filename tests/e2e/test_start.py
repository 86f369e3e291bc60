"""How the program comes up, and when it does not."""

import contextlib
import shutil

import pytest
import registry
from desktop import until

SHELL_FOLDERS = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Explorer\User Shell Folders"


@pytest.fixture
def far_folders(stage, monkeypatch):
    """The program and the person's data in folders whose names are in no code page that a machine here has."""

    def keep_data_in(folder):
        stage.desktop.wine("reg", "add", SHELL_FOLDERS, "/v", "AppData", "/t", "REG_EXPAND_SZ", "/d", folder, "/f")

    data = "C:\\users\\\u6d77\u9f8d\\\u0416\u00e9"
    program = stage.desktop.path("C:\\\u58c1\u7d19 \u2603") / stage.program.name
    with contextlib.ExitStack() as endings:
        for folder in (stage.desktop.path(data), program.parent):
            folder.mkdir(parents=True, exist_ok=True)
            endings.callback(shutil.rmtree, folder, ignore_errors=True)
        shutil.copy(stage.program, program)
        monkeypatch.setattr(stage, "program", program)
        monkeypatch.setattr(stage, "folder", stage.desktop.path(data) / "Quillory")
        keep_data_in(data)
        endings.callback(keep_data_in, r"%USERPROFILE%\AppData\Roaming")
        endings.callback(stage.end)
        yield


def test_folders_may_have_any_letters(stage, far_folders):
    stage.start_in_tray()
    stage.force()
    stage.rotation()


def test_a_second_start_ends_silently(stage):
    stage.start()
    stage.person.window("frmLogin")
    first = stage.running()
    assert stage.start().wait(20) == 0
    assert stage.running() == first
    assert [window.text for window in stage.screen.open_windows() if stage.person.is_ours(window)] == ["Quillory Login"]


def test_without_its_folder_it_tells_so_and_ends(stage):
    stage.remember_login()
    stage.folder.write_text("in the way")
    stage.start()
    box = stage.person.box()
    assert (box.title, box.icon, box.buttons) == ("Fatal Permissions Error", "critical", ("OK",))
    assert box.text == (
        "A critical error occurred trying to setup the Quillory temporary data folder!\n\n"
        "If this continues to happen, try reinstalling Quillory from: \nhttp://velvetharbor.example/quillory/\n\n"
        "Or contact us:\nhttp://velvetharbor.example/contact/"
    )
    assert not stage.screen.tray_icon()
    stage.person.answer(box, "OK")
    until(lambda: not stage.running(), "the program's end")
    assert stage.folder.read_text() == "in the way"
    assert not stage.service.harbor.requests


def test_the_folder_is_made_and_half_a_login_is_none(stage):
    stage.registry.write(registry.LOGIN, SavedUsername="alice", SavedPassword="")
    stage.start()
    stage.person.window("frmLogin")
    assert stage.folder.is_dir()
    assert not stage.screen.tray_icon()


def test_a_close_request_minimizes_the_main_window(stage):
    stage.enter()
    stage.probe.ask("close", stage.person.window("frmMain").handle)
    until(lambda: stage.person.find("frmMain").minimized, "a minimized window")
    assert stage.running()
    assert not stage.screen.tray_icon()


def test_a_silent_login_that_fails_waits_in_the_tray(stage):
    stage.service.fault("connect", refuse=True)
    stage.remember_login()
    stage.start()
    stage.person.window("frmSlideMessage")
    stage.person.tray_icon()
    assert not stage.person.find("frmLogin") and not stage.person.find("frmMain")
    stage.person.double_click_icon()
    stage.person.gone("frmSlideMessage", 60)
    assert not stage.person.find("frmMain"), "busy: the double click does nothing"


def test_a_silent_login_that_is_refused_asks(stage):
    stage.remember_login()
    stage.registry.write(registry.LOGIN, SavedPassword="0" * 32)
    stage.start()
    box = stage.person.box()
    assert box.title == "Invalid Username/Password"
    stage.person.answer(box, "OK")
    until(lambda: stage.person.focused("frmLogin", "txtPassword"), "the focus at the password")
    assert stage.registry.settings(registry.LOGIN)["SavedUsername"].data == b""
