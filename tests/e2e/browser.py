"""A browser that looks at the page of a camera."""

import contextlib
import os
import re
import tempfile
import time

import house
from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

SCREENSHOTS = os.path.join(house.ROOT, "build", "screenshots")
PATIENCE = 30.0
WIDE, NARROW = (1280, 900), (360, 800)
VIEWS = ("camera", "air", "ask", "requests", "faults")
# It contacts nobody but the camera.
_ALONE = ("--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-extensions",
          "--no-first-run", "--no-default-browser-check", "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1")


class Browser:
    """driver: Selenium's. expected: parts of console messages that a test provokes: a browser tells of each answer with
    an error status by itself."""

    def __init__(self, driver, downloads):
        self.driver = driver
        self.downloads = downloads
        self.expected = []

    def open(self, camera, view="camera"):
        self.driver.get("about:blank")  # a change behind "#" alone would load nothing anew
        self.driver.get(f"http://127.0.0.1:{camera.port}/#{view}")

    def go(self, view):
        self.driver.execute_script("location.hash = arguments[0]", f"#{view}")

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        """The first element that is seen, when there is one."""
        return self.wait(lambda: next((each for each in self.all(selector) if each.is_displayed()), None), selector)

    def click(self, selector):
        element = self.one(selector)
        self.driver.execute_script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def fill(self, selector, text):
        element = self.one(selector)
        element.clear()
        element.send_keys(text)

    def text(self, selector):
        return self.one(selector).text

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map((each) => each.textContent)", selector)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def module(self, name, expression, *arguments):
        """The value of a call of what a module exports; the argument is `given`."""
        function = re.match(r"\w+", expression)[0]
        return self.driver.execute_async_script(
            f"const [given, done] = arguments; import('/page/modules/{name}.js').then(({{{function}}}) => {expression})"
            ".then(done, (error) => done(`failed: ${error}`))", *arguments)

    def wait(self, condition, what="it"):
        deadline = time.monotonic() + PATIENCE
        while not (value := self._holds(condition)):
            assert time.monotonic() < deadline, f"waited in vain for {what}"
            time.sleep(0.03)
        return value

    @staticmethod
    def _holds(condition):
        with contextlib.suppress(WebDriverException):
            return condition()
        return None

    def wait_for_text(self, selector, text):
        """Waits until the elements hold a text."""
        return self.wait(lambda: any(text in each for each in self.texts(selector)), f"{text!r} in {selector}")

    def size(self, size, *, dark=False, still=False):
        width, height = size
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce" if still else "no-preference"}]})

    def screenshot(self, name):
        os.makedirs(SCREENSHOTS, exist_ok=True)
        self.driver.save_screenshot(os.path.join(SCREENSHOTS, f"{name}.png"))

    def console(self):
        """What the browser's console holds since the last time, without what was expected."""
        return [each["message"] for each in self.driver.get_log("browser")
                if not (each["source"] == "network" and any(part in each["message"] for part in self.expected))]


@contextlib.contextmanager
def browser():
    with tempfile.TemporaryDirectory(prefix="zvtest-") as folder:
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for word in ("--headless=new", "--disable-gpu", f"--user-data-dir={folder}/profile", *_ALONE):
            options.add_argument(word)
        if os.getuid() == 0:
            options.add_argument("--no-sandbox")  # chromium's own walls are for ordinary users
        options.add_experimental_option("prefs", {"download.default_directory": f"{folder}/downloads"})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        environment = {**os.environ, "HOME": folder, "XDG_CONFIG_HOME": folder, "XDG_CACHE_HOME": folder}
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver", env=environment), options=options)
        try:
            yield Browser(driver, f"{folder}/downloads")
        finally:
            driver.quit()
