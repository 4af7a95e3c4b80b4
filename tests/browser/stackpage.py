"""What the tests of the slices do with the page."""

import numpy as np
from selenium.webdriver.common.action_chains import ActionChains

STAGE = "[data-role=stage]"
PICTURE = "[data-role=picture]"

READ_PICTURE = """
    const canvas = document.querySelector("[data-role=picture]");
    const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
    return [canvas.height, canvas.width, Array.from(data)];
"""


def is_drawn(page):
    """Two frames of the browser after everything that was asked for."""
    return page.driver.execute_async_script("requestAnimationFrame(() => requestAnimationFrame(() => arguments[0]()))")


def wait_ready(page, index=0):
    """Until the slice with this index in the order is shown."""
    page.wait(
        lambda: page.data(STAGE, "state") == "ready" and page.data(PICTURE, "index") == str(index), f"slice {index}"
    )


def picture(page):
    """Grey levels [row][column], or [row][column][3] if they differ, of the canvas of the picture's own size."""
    is_drawn(page)
    rows, columns, data = page.script(READ_PICTURE)
    pixels = np.array(data).reshape(rows, columns, 4)
    assert np.all(pixels[..., 3] == 255)
    is_grey = np.all(pixels[..., :1] == pixels[..., :3])
    return pixels[..., 0] if is_grey else pixels[..., :3]


def window(page):
    """Centre, width and function of the window of the picture."""
    is_drawn(page)
    centre, width, function = page.data(PICTURE, "window").split(",")
    return float(centre), float(width), function


def choose_option(page, role, value):
    """Chooses an option of a select by its value, as a user does."""
    page.script(
        """
        const select = document.querySelector(`[data-role=${arguments[0]}]`);
        if (![...select.options].some(option => option.value === arguments[1])) {
            throw new Error(`there is no ${arguments[1]}`);
        }
        select.value = arguments[1];
        select.dispatchEvent(new Event("change", { bubbles: true }));
        """,
        role,
        value,
    )


def enter(page, role, text):
    """Types a number into a field and leaves it."""
    field = page.find(f"[data-role={role}]")
    field.clear()
    field.send_keys(text, "\n")


def drag(page, begin, end, button="left"):
    """Drags between two places of the stage, in pixels from its middle."""
    stage = page.find(STAGE)
    numbers = {"left": 0, "middle": 1, "right": 2}
    actions = ActionChains(page.driver, duration=20)
    pointer = actions.w3c_actions.pointer_action
    pointer.move_to(stage, *begin)
    pointer.pointer_down(numbers[button])
    pointer.move_to(stage, (begin[0] + end[0]) // 2, (begin[1] + end[1]) // 2)
    pointer.move_to(stage, *end)
    pointer.pointer_up(numbers[button])
    actions.perform()


def click(page, place):
    ActionChains(page.driver, duration=20).move_to_element_with_offset(page.find(STAGE), *place).click().perform()


def hover(page, place):
    ActionChains(page.driver, duration=20).move_to_element_with_offset(page.find(STAGE), *place).perform()


class Fit:
    """Where pixels of a fitted picture are on the screen, in pixels of the screen from the middle of the stage."""

    def __init__(self, page, rows, columns, spacing=(1, 1)):
        box = page.script(
            "const b = document.querySelector('[data-role=stage]').getBoundingClientRect(); return [b.width, b.height]"
        )
        scale = min(box[0] / (columns * spacing[1]), box[1] / (rows * spacing[0]))
        self.rows, self.columns = rows, columns
        self.across, self.down = scale * spacing[1], scale * spacing[0]

    def place(self, row, column):
        """The screen's pixel at the centre of a pixel of the picture; rows and columns from 0, or between them."""
        x = (column + 0.5 - self.columns / 2) * self.across
        y = (row + 0.5 - self.rows / 2) * self.down
        return round(x), round(y)


def press(page, *keys):
    """Keys for the picture, which takes the focus."""
    page.script("document.querySelector('[data-role=stage]').focus()")
    page.driver.switch_to.active_element.send_keys(*keys)


def reading(page):
    """What is written about the pixel under the pointer: its text and its data."""
    is_drawn(page)
    text = page.text("[data-role=reading]")
    return text, page.script("return { ...document.querySelector('[data-role=reading]').dataset }")
