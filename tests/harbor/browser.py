"""A person at a browser: Debian's chromium, without a window, told what to do in the words of its user."""

import base64
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import (NoSuchElementException, StaleElementReferenceException, TimeoutException,
                                        WebDriverException)
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

SEEN = Path(__file__).parents[2] / "build" / "reports" / "seen"
SWITCHES = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
            "--no-proxy-server", "--disable-background-networking", "--disable-component-update",
            # Whatever a page should fetch from another host than the harbor's is not found.
            "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1"]

# What dropping files of that name and content from the desktop does to a page.
DROP = """
const [place, name, content] = arguments, carried = new DataTransfer();
carried.items.add(new File([Uint8Array.from(atob(content), each => each.charCodeAt(0))], name));
for (const kind of ["dragenter", "dragover", "drop"])
    place.dispatchEvent(new DragEvent(kind, {dataTransfer: carried, bubbles: true, cancelable: true}));
"""


class Browser:
    def __init__(self, home: str, scripts: bool = True):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for switch in [*SWITCHES, "--window-size=1280,900"]:
            options.add_argument(switch)
        self._home = home
        self._driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        if not scripts:
            self._driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})

    def __enter__(self) -> "Browser":
        return self

    def __exit__(self, *_):
        self._driver.quit()

    def open(self, path: str):
        self._driver.get(self._home + path)

    def see(self, name: str):
        """Keeps what the screen shows."""
        SEEN.mkdir(parents=True, exist_ok=True)
        self._driver.save_screenshot(str(SEEN / f"page-{name}.png"))

    @property
    def address(self) -> str:
        return self._driver.current_url.removeprefix(self._home)

    @property
    def text(self) -> str:
        return self.find("main").text

    def find(self, selector: str):
        return self._driver.find_element(By.CSS_SELECTOR, selector)

    def count(self, selector: str) -> int:
        return len(self._driver.find_elements(By.CSS_SELECTOR, selector))

    def type(self, **fields):
        for name, text in fields.items():
            self.find(f"main [name={name}]").send_keys(text)

    def press(self, words: str):
        """Clicks the link or button of these words."""
        before = self.find("html")
        what = f"//*[self::a or self::button or self::summary][normalize-space()='{words}']"
        found = self._driver.find_elements(By.XPATH, f"//main{what}") or self._driver.find_elements(By.XPATH, what)
        assert found, f"nothing to press says {words}; the page says:\n{self.text}"
        found[0].click()
        return before

    def press_and_go(self, words: str):
        """Clicks what leads to another page, and waits for that page."""
        before = self.press(words)

        def is_gone(_):
            try:
                before.is_enabled()
                return False
            except WebDriverException:
                return True

        self._until(is_gone, f"a page behind {words}")

    def drop(self, selector: str, name: str, content: bytes):
        self._driver.execute_script(DROP, self.find(selector), name, base64.b64encode(content).decode())

    def wait_for(self, text: str):
        self._until(lambda _: text in self.text, text)

    def _until(self, condition, what: str):
        # A page may go while it is read.
        going = [NoSuchElementException, StaleElementReferenceException]
        wait = WebDriverWait(self._driver, 20, ignored_exceptions=going)
        try:
            wait.until(condition)
        except TimeoutException:
            raise AssertionError(f"waited for {what}; the page says:\n{self.text}") from None

    def dark(self):
        dark = {"features": [{"name": "prefers-color-scheme", "value": "dark"}]}
        self._driver.execute_cdp_cmd("Emulation.setEmulatedMedia", dark)

    def narrow(self):
        self._driver.set_window_size(500, 900)

    def overflows(self) -> bool:
        """Is the page wider than the window?"""
        return self._driver.execute_script("return document.documentElement.scrollWidth > innerWidth")

    def style(self, selector: str, name: str) -> str:
        return self.find(selector).value_of_css_property(name)

    def are_images_shown(self) -> bool:
        return self._driver.execute_script(
            "return [...document.images].every(each => !each.complete || each.naturalWidth > 0)")

    def cookie(self) -> dict:
        return self._driver.get_cookie("harbor")

    def complaints(self) -> list[str]:
        """What the browser's console says: failing scripts, refused styles, missing files."""
        return [entry["message"] for entry in self._driver.get_log("browser")]
