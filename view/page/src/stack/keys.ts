// What keys do on the picture, and the help that says it.

import { element } from "../dom";
import type { Action, Tool } from "./ToolBar";

const keys: [string, string][] = [
  ["↑ ↓ Page Up/Down", "slices"],
  ["Home End", "first and last slice"],
  [", .", "time"],
  ["+ −", "zoom"],
  ["0", "fit"],
  ["I", "invert"],
  ["O", "overlays"],
  ["Space", "film"],
  ["R", "reset"],
  ["S W Z M", "scroll, window, zoom, move"],
  ["L A B E", "length, angle, box, ellipse: arrows move a cross-hair, Enter sets a point, Escape stops"],
  ["Delete", "removes a measurement"],
  ["Wheel", "slices; with Ctrl zoom"],
  ["Right button", "window"],
  ["Middle button or Shift", "move"],
];

export const toolKeys: Record<string, Tool> = {
  s: "scroll",
  w: "window",
  z: "zoom",
  m: "pan",
  l: "length",
  a: "angle",
  b: "rectangle",
  e: "ellipse",
};

export const actionKeys: Record<string, Action> = {
  "+": "larger",
  "=": "larger",
  "-": "smaller",
  "0": "fit",
  i: "invert",
  o: "overlays",
  " ": "cine",
  r: "reset",
};

/** Keys with which buttons are pressed, when they have the focus. */
export function isUsedByButtons(key: string): boolean {
  return key === " " || key === "Enter";
}

/** A button that shows a line with all keys. */
export function helpOnKeys(): { button: HTMLElement; text: HTMLElement } {
  const text = element("p", { class: "stack-help", hidden: true });
  for (const [key, what] of keys) {
    text.append(element("span", {}, element("kbd", {}, key), ` ${what}`), " ");
  }
  const button = element("button", { type: "button", "aria-expanded": "false", "data-role": "keys" }, "Keys");
  button.addEventListener("click", () => {
    text.hidden = !text.hidden;
    button.setAttribute("aria-expanded", String(!text.hidden));
  });
  return { button, text };
}
