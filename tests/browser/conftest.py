"""What all tests of the page share: a server of a folder, and a browser that shows its page.

Environment: RADVEX (the command), RADVEX_SAMPLES (pydicom's test files), RADVEX_AXE (axe.min.js).
"""

import os
import subprocess

import pytest
import studies
from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

NOTES = []  # figures that tests have measured


def note(sentence):
    """Prints a figure at the end of the run. What is fast enough depends on the machine, and is no matter of a test."""
    NOTES.append(sentence)


def pytest_terminal_summary(terminalreporter):
    for sentence in NOTES:
        terminalreporter.write_line("measured: " + sentence)


WIDE = (1600, 1000)  # a window with room for everything
SECONDS = 60  # until something has to happen; generous, because nothing here measures time


@pytest.fixture(scope="session")
def samples():
    """The folder of pydicom's test files."""
    return os.environ["RADVEX_SAMPLES"]


def start_browser(*arguments):
    """Chromium without a window, which draws WebGL by software."""
    options = webdriver.ChromeOptions()
    for argument in (
        "--headless=new",
        "--no-sandbox",
        "--disable-dev-shm-usage",
        "--use-angle=swiftshader",
        "--enable-unsafe-swiftshader",
        "--force-device-scale-factor=1",
        *arguments,
    ):
        options.add_argument(argument)
    options.binary_location = "/usr/bin/chromium"
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


@pytest.fixture(scope="session")
def driver():
    """One browser for all tests. The page keeps nothing in it."""
    browser = start_browser("--window-size=1100,760")
    yield browser
    browser.quit()


class Page:
    """The page of a folder in the browser."""

    def __init__(self, driver, address):
        self.driver = driver
        self.address = address

    def load(self, width=1100, height=760, scheme="light"):
        """Loads the page into a window of this size, and waits until a series is shown."""
        self.resize(width, height)
        self.prefer(scheme)
        self.driver.get_log("browser")
        self.driver.get(self.address)
        self.wait_read()

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def script(self, source, *arguments):
        return self.driver.execute_script(source, *arguments)

    def text(self, selector):
        """The text as it is in the document, whether it is in view or not."""
        return self.script("return document.querySelector(arguments[0]).textContent", selector)

    def texts(self, selector):
        return self.script(
            "return [...document.querySelectorAll(arguments[0])].map(each => each.textContent)", selector
        )

    def data(self, selector, name):
        """An entry of the element's dataset; None if there is no such element or entry."""
        return self.script("return document.querySelector(arguments[0])?.dataset[arguments[1]] ?? null", selector, name)

    def wait(self, condition, what="what the test waits for"):
        """The first true value of a function without arguments."""
        return WebDriverWait(self.driver, SECONDS, 0.02, (StaleElementReferenceException,)).until(
            lambda _: condition(), f"{what} did not happen; the status line says: {self.text('#status')!r}"
        )

    def wait_for(self, selector):
        return self.wait(lambda: (self.all(selector) or [None])[0], selector)

    def wait_read(self):
        """Until the chosen series is read and drawn, or it is said why it cannot be. Returns "ready" or "refused"."""
        state = self.wait(
            lambda: (state := self.data("html", "state")) in ("ready", "refused", "empty") and state, "the series"
        )
        # A drawing whose place changes its size is made anew with the next frame.
        self.driver.execute_async_script(
            "requestAnimationFrame(() => requestAnimationFrame(() => arguments[0]()))"
        )
        return state

    def keys(self, *keys):
        """Presses keys, wherever the focus is."""
        self.driver.switch_to.active_element.send_keys(*keys)

    def focused(self):
        """The id of the element that has the focus."""
        return self.script("return document.activeElement.id")

    def tab_to(self, identifier):
        """Goes to the element of this id with the Tab key only."""
        for _ in range(100):
            if self.focused() == identifier:
                return
            ActionChains(self.driver, duration=0).send_keys(Keys.TAB).perform()
        raise AssertionError(f"Tab does not lead to {identifier}.")

    def click(self, selector):
        self.wait_for(selector).click()

    def search(self, text):
        """Types into the search of the tree, and waits for its rows."""
        box = self.find("#search")
        box.send_keys(Keys.CONTROL, "a")
        box.send_keys(text or Keys.DELETE)
        self.wait(lambda: self.data("#tree", "query") == text, f"the search for {text!r}")

    def choose(self, description):
        """Chooses the series whose description holds this text, and waits until it is read. Only rows in and near the
        view exist: the search finds the others."""
        row = """
            return [...document.querySelectorAll("#tree [data-series]")]
                .find(each => each.querySelector(".description").textContent.includes(arguments[0])) ?? null
        """
        if self.script(row, description) is None:
            self.search(description)

        def click():
            found = self.script(row, description)
            if found is None:
                return None
            found.click()
            return found.get_attribute("data-series")

        number = self.wait(click, f"a row with {description!r}")
        self.wait(lambda: self.data("html", "series") == number, f"the choice of {description!r}")
        if self.data("#tree", "query"):
            self.find("#search").send_keys(Keys.ESCAPE)
            self.wait(lambda: self.data("#tree", "query") == "", "all series")
        return self.wait_read()

    def show(self, tab):
        """Shows "slices", "volume" or "attributes"."""
        self.click(f"#tab-{tab}")

    def resize(self, width, height):
        """The size of what is inside the window."""
        self.driver.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False},
        )

    def prefer(self, scheme):
        """What the system asks for: "dark" or "light"."""
        self.driver.execute_cdp_cmd(
            "Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
        )

    def console(self):
        """The messages of level warning or higher since the last call."""
        return [
            entry["message"] for entry in self.driver.get_log("browser") if entry["level"] in ("WARNING", "SEVERE")
        ]


class Served:
    """A server of a folder."""

    def __init__(self, folder):
        words = [os.environ["RADVEX"], "view", "--no-browser", "--jobs", "2", "--memory", "256", str(folder)]
        self.process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip()
        is_started = self.address.startswith("http://127.0.0.1:")
        assert is_started, f"The server did not start; status {self.process.poll()}."


class Servers:
    """All servers of the run. A server may wait a second for the browser before it ends: no test waits for that."""

    def __init__(self):
        self.all = []
        self.shared = {}  # of folders that many tests read

    def start(self, folder):
        self.all.append(Served(folder))
        return self.all[-1]

    def share(self, folder):
        """Serves a folder until the end of the run."""
        self.shared[folder] = self.start(folder)

    def end(self):
        for served in self.all:
            served.process.terminate()
        for served in self.all:
            served.process.wait(30)
            served.process.stdout.close()


@pytest.fixture(scope="session")
def servers():
    started = Servers()
    yield started
    started.end()


@pytest.fixture
def server(servers):
    """The server of a folder: server(folder). It ends with the test, unless other tests read this folder."""
    started = []

    def serve(folder):
        if folder in servers.shared:
            return servers.shared[folder]
        started.append(servers.start(folder))
        return started[-1]

    yield serve
    for served in started:
        served.process.terminate()


@pytest.fixture(scope="session")
def mixed(tmp_path_factory, servers):
    """A folder with series of many kinds, which tests only read."""
    folder = tmp_path_factory.mktemp("mixed")
    studies.mixed_study(folder)
    servers.share(folder)
    return folder


@pytest.fixture
def page(driver, server):
    """Shows a folder in a page that no other test has seen: page(folder). At the end the console has to be empty."""
    opened = []

    def open_page(folder, *window):
        opened.append(Page(driver, server(folder).address))
        opened[-1].load(*window)
        return opened[-1]

    yield open_page
    messages = [message for shown in opened for message in shown.console()]
    driver.get("about:blank")
    assert messages == []


@pytest.fixture
def wide_page(page):
    """Shows a folder in a window with the whole tree, and the drawing of places beside the picture."""
    return lambda folder: page(folder, *WIDE)


class Kept:
    """The page that a test has left for the next one."""

    page = None
    window = ()


@pytest.fixture(scope="session")
def kept():
    return Kept()


@pytest.fixture
def kept_page(driver, server, kept, request):
    """Shows a folder in the page that the last test has left, or in a new one if that test has failed or shown
    something else: kept_page(folder). Whoever calls it puts the page into a known state by its controls. At the end the
    console has to be empty."""
    failures = request.session.testsfailed

    def open_page(folder, *window):
        address = server(folder).address
        if kept.page is None or (kept.page.address, kept.window) != (address, window) or driver.current_url != address:
            kept.page, kept.window = Page(driver, address), window
            kept.page.load(*window)
        return kept.page

    yield open_page
    if kept.page is not None:
        messages = kept.page.console()
        if messages or request.session.testsfailed > failures:
            kept.page = None
        assert messages == []


@pytest.fixture
def mixed_page(kept_page, mixed):
    """The folder of mixed series in a wide window, for tests that choose one or search, and look. Which series was
    chosen before, and its slice, is not known."""
    shown = kept_page(mixed, *WIDE)
    if shown.data("#tree", "query"):
        shown.search("")
    shown.show("slices")
    return shown
