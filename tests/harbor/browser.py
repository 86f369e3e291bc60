"""A person at a browser: Debian's chromium, without a window, told what to do in the words of its user."""

import base64
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.expected_conditions import staleness_of
from selenium.webdriver.support.ui import WebDriverWait

SEEN = Path(__file__).parents[2] / "build" / "reports" / "seen"
SWITCHES = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
            "--no-proxy-server", "--disable-background-networking", "--disable-component-update",
            "--window-size=1280,900",
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
    def __init__(self, home: str):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for switch in SWITCHES:
            options.add_argument(switch)
        self._home = home
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    def __enter__(self) -> "Browser":
        return self

    def __exit__(self, *_):
        self.driver.quit()

    def open(self, path: str):
        self.driver.get(self._home + path)

    def see(self, name: str):
        """Keeps what the screen shows; nothing is wider than the window, and no image is missing."""
        SEEN.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(SEEN / f"page-{name}.png"))
        assert self.driver.execute_script(
            "return document.documentElement.scrollWidth <= innerWidth"
            " && [...document.images].every(each => !each.complete || each.naturalWidth > 0)"), name

    @property
    def address(self) -> str:
        return self.driver.current_url.removeprefix(self._home)

    @property
    def text(self) -> str:
        return self.find("main").text

    def find(self, selector: str):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def count(self, selector: str) -> int:
        return len(self.driver.find_elements(By.CSS_SELECTOR, selector))

    def press(self, words: str):
        """Clicks the link or button of these words, first of all one of the page's own."""
        what = f"//*[self::a or self::button or self::summary][normalize-space()='{words}']"
        found = [*self.driver.find_elements(By.XPATH, f"//main{what}"), *self.driver.find_elements(By.XPATH, what)]
        found[0].click()

    def go(self, words: str):
        """Clicks what leads to another page, and waits for that page."""
        before = self.find("html")
        self.press(words)
        self.wait_for(lambda: staleness_of(before)(self.driver), f"a page behind {words}")

    def drop(self, selector: str, name: str, content: bytes):
        self.driver.execute_script(DROP, self.find(selector), name, base64.b64encode(content).decode())

    def wait_for(self, condition, what: str):
        going = [NoSuchElementException, StaleElementReferenceException]  # a page may go while it is read
        WebDriverWait(self.driver, 60, ignored_exceptions=going).until(lambda _: condition(), what)

    def tell(self, command: str, **values):
        self.driver.execute_cdp_cmd(f"Emulation.{command}", values)

    def complaints(self) -> list[str]:
        """What the browser's console says: failing scripts, refused styles, missing files."""
        return [entry["message"] for entry in self.driver.get_log("browser")]
