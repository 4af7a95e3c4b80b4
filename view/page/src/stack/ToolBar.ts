// The tools of the left button, and what is done at once.

import { element } from "../dom";
import type { Shape } from "./measure";

export type Tool = "scroll" | "window" | "zoom" | "pan" | Shape;
export type Action = "larger" | "smaller" | "fit" | "invert" | "overlays" | "cine" | "reset";

const tools: [Tool, string, string][] = [
  ["scroll", "Scroll", "Drag up and down through the slices"],
  ["window", "Window", "Drag sideways for the width, up and down for the centre (also with the right button)"],
  ["zoom", "Zoom", "Drag up to enlarge, down to shrink"],
  ["pan", "Move", "Drag the picture (also with the middle button, or with Shift)"],
  ["length", "Length", "Measure a length: drag, or click twice"],
  ["angle", "Angle", "Measure an angle: three clicks, the second at its corner"],
  ["rectangle", "Rectangle", "Values in a rectangle: drag, or click two corners"],
  ["ellipse", "Ellipse", "Values in an ellipse: drag, or click two corners of its box"],
];

const actions: [Action, string, string][] = [
  ["smaller", "−", "Smaller (key -)"],
  ["larger", "+", "Larger (key +)"],
  ["fit", "Fit", "Fit the picture into its place (key 0)"],
  ["invert", "Invert", "Exchange black and white (key I)"],
  ["overlays", "Overlays", "Show the overlays of the file (key O)"],
  ["reset", "Reset", "Window, zoom and place as at first (key R)"],
  ["cine", "Play", "Play the slices as a film (Space)"],
];

const toggles: Action[] = ["invert", "overlays", "cine"];

export class ToolBar {
  readonly element = element("div", { class: "stack-tools", role: "toolbar", "aria-label": "Tools of the picture" });
  private readonly toolButtons = new Map<Tool, HTMLButtonElement>();
  private readonly actionButtons = new Map<Action, HTMLButtonElement>();
  private readonly rate = element("input", {
    type: "number",
    min: 1,
    max: 60,
    step: 1,
    value: 10,
    "data-role": "rate",
    "aria-label": "Pictures per second",
  });

  constructor(onTool: (tool: Tool) => void, onAction: (action: Action) => void) {
    const left = element("div", { class: "stack-group", role: "group", "aria-label": "Left button" });
    for (const [tool, name, title] of tools) {
      const made = element("button", { type: "button", title, "data-tool": tool }, name);
      made.addEventListener("click", () => onTool(tool));
      this.toolButtons.set(tool, made);
      left.append(made);
    }
    const others = element("div", { class: "stack-group" });
    for (const [action, name, title] of actions) {
      const made = element("button", { type: "button", title, "data-action": action }, name);
      if (name.length === 1) {
        made.setAttribute("aria-label", title.replace(/ \(.*/, ""));
      }
      made.addEventListener("click", () => onAction(action));
      this.actionButtons.set(action, made);
      others.append(made);
    }
    others.append(element("label", {}, this.rate, " per s"));
    this.element.append(left, others);
    this.setTool("scroll");
    this.setShown("overlays", false);
    for (const action of toggles) {
      this.setPressed(action, false);
    }
  }

  setTool(tool: Tool): void {
    for (const [each, button] of this.toolButtons) {
      button.setAttribute("aria-pressed", String(each === tool));
    }
  }

  setPressed(action: Action, isPressed: boolean): void {
    this.actionButtons.get(action)?.setAttribute("aria-pressed", String(isPressed));
  }

  setShown(action: Action, isShown: boolean): void {
    this.actionButtons.get(action)!.hidden = !isShown;
  }

  setEnabled(action: Action, isEnabled: boolean): void {
    this.actionButtons.get(action)!.disabled = !isEnabled;
  }

  /** Pictures per second of a film. */
  get perSecond(): number {
    const rate = Number(this.rate.value);
    return rate >= 1 && rate <= 60 ? rate : 10;
  }
}
