// Which window is used, and the fields that say and change it.

import { element } from "../dom";
import { type Frame, readable } from "./samples";
import {
  type Preset,
  type ShownWindow,
  type WindowFunction,
  fullRange,
  functionNames,
  huPresets,
  pulled,
  refusalOf,
  windowsOf,
} from "./window";

interface Option extends Preset {
  id: string;
}

const own = "own"; // each slice as its file says
const numbers = "numbers"; // those of the fields

export class WindowControls {
  readonly element: HTMLElement;
  isInverted = false;

  private readonly preset = element("select", { "data-role": "preset" });
  private readonly centre = element("input", { type: "number", step: "any", "data-role": "centre" });
  private readonly width = element("input", { type: "number", step: "any", "data-role": "width" });
  private readonly kind = element("select", { "data-role": "function" });
  private readonly sentence = element("p", { class: "stack-sentence", "data-role": "window-sentence" });
  private readonly unit = element("span");
  private readonly fields: HTMLElement;
  private chosen: ShownWindow | null = null; // null: each slice has its own
  private choice = own;
  private shown: ShownWindow | null = null;
  private frame: Frame | null = null;
  private options: Option[] = [];
  private listed = "";

  constructor(private readonly onChange: () => void) {
    for (const [value, name] of Object.entries(functionNames)) {
      this.kind.append(element("option", { value }, name));
    }
    this.fields = element(
      "div",
      { class: "stack-fields" },
      element("label", {}, "Window ", this.preset),
      element("label", {}, "Centre ", this.centre),
      element("label", {}, "Width ", this.width, this.unit),
      element("label", {}, "Function ", this.kind),
    );
    this.element = element("div", { class: "stack-window", role: "group", "aria-label": "Window" }, this.fields);
    this.element.append(this.sentence);
    this.forget();
    this.sentence.setAttribute("aria-live", "polite");
    this.preset.addEventListener("change", () => this.choosePreset());
    for (const field of [this.centre, this.width, this.kind]) {
      field.addEventListener("change", () => this.chooseNumbers());
    }
  }

  /** The window of a frame; the controls say which. */
  windowFor(frame: Frame): ShownWindow {
    const { presets, refused } = windowsOf(frame.info);
    const first = presets[0]?.window;
    const found = this.chosen ?? first ?? fullRange(frame);
    if (frame !== this.frame || !this.shown || !isSame(found, this.shown)) {
      this.frame = frame;
      this.shown = found;
      this.list(frame, presets);
      this.fill(found);
      this.sentence.textContent = this.sentenceFor(frame, presets.length > 0, refused);
    }
    return found;
  }

  /** Whether the picture is the other way round than values: by the file, by the user, or neither or both. */
  invertsPicture(frame: Frame): boolean {
    return (frame.info.photometricInterpretation === "MONOCHROME1") !== this.isInverted;
  }

  /** The window from which it is pulled; null in colour. */
  get pullable(): ShownWindow | null {
    return this.frame?.channels === 1 ? this.shown : null;
  }

  pull(from: ShownWindow, right: number, down: number): void {
    if (this.frame) {
      this.choose(numbers, pulled(from, right, down, this.frame));
    }
  }

  /** Each slice has its own window again. */
  reset(): void {
    this.isInverted = false;
    this.choose(own, null);
  }

  /** No frame is shown whose window could be told. */
  forget(): void {
    this.frame = null;
    this.shown = null;
    this.element.dataset.state = "empty";
    this.sentence.textContent = "";
  }

  private choose(choice: string, window: ShownWindow | null): void {
    this.choice = choice;
    this.chosen = window;
    this.shown = null;
    if (this.frame) {
      this.windowFor(this.frame); // the fields say it at once
    }
    this.onChange();
  }

  private choosePreset(): void {
    const id = this.preset.value;
    const option = this.options.find((each) => each.id === id);
    if (option || id === own) {
      this.choose(id, option?.window ?? null);
    } else if (this.shown) {
      this.choose(numbers, this.shown);
    }
  }

  private chooseNumbers(): void {
    if (!this.shown) {
      return;
    }
    const window: ShownWindow = {
      centre: numberIn(this.centre, this.shown.centre),
      width: numberIn(this.width, this.shown.width),
      function: this.kind.value as WindowFunction,
    };
    const why = refusalOf(window);
    this.width.setAttribute("aria-invalid", String(why !== null));
    if (why === null) {
      this.choose(numbers, window);
    } else {
      this.sentence.textContent = `This window cannot be shown: ${why}. The picture keeps the last one.`;
    }
  }

  /** The presets that make sense for these values. */
  private list(frame: Frame, presets: Preset[]): void {
    const whole = fullRange(frame);
    this.options = presets
      .map(({ name, window }, index) => ({
        id: `file:${index + 1}`,
        name: `${name} (${readable(window.centre)}, ${readable(window.width)})`,
        window,
      }))
      .concat([{ id: "range", name: "smallest to largest of this slice", window: whole }]);
    if (frame.info.unit === "HU") {
      this.options.push(
        ...huPresets.map(({ name, window }) => ({
          id: name,
          name: `${name} (${window.centre}, ${window.width})`,
          window,
        })),
      );
    }
    const ownName = presets.length > 0 ? "each slice's own" : "each slice's range";
    const listed = [ownName, ...this.options.map(({ name }) => name)].join("\n");
    if (listed === this.listed) {
      return;
    }
    this.listed = listed;
    this.preset.replaceChildren(
      element("option", { value: own }, ownName),
      ...this.options.map(({ id, name }) => element("option", { value: id }, name)),
      element("option", { value: numbers }, "by these numbers"),
    );
  }

  private fill(window: ShownWindow): void {
    const isColour = this.frame?.channels === 3;
    delete this.element.dataset.state;
    this.fields.hidden = isColour;
    this.centre.value = readable(window.centre);
    this.width.value = readable(window.width);
    this.kind.value = window.function;
    this.width.setAttribute("aria-invalid", "false");
    this.unit.textContent = this.frame?.info.unit ? ` ${this.frame.info.unit}` : "";
    const option = this.options.find(({ id }) => id === this.choice);
    this.preset.value = this.choice === own ? own : option && isSame(option.window, window) ? option.id : numbers;
  }

  private sentenceFor(frame: Frame, hasOwn: boolean, refused: string[]): string {
    if (frame.channels === 3) {
      return "Colour is shown as it is stored; a window has no effect on it.";
    }
    const polarity =
      frame.info.photometricInterpretation === "MONOCHROME1" ? " Small values are bright (MONOCHROME1)." : "";
    if (this.chosen) {
      return `This window stays on all slices.${polarity}`;
    }
    if (hasOwn) {
      return [...refused, `Each slice has the first window of its file.${polarity}`].join(" ");
    }
    const reason = refused.join(" ") || "The file has no window.";
    return `${reason} Each slice is shown from its smallest to its largest value.${polarity}`;
  }
}

/** The number in a field; the shown one in full if the field still has its shorter text. */
function numberIn(field: HTMLInputElement, shown: number): number {
  const text = field.value.trim();
  return text === readable(shown) ? shown : text === "" ? NaN : Number(text);
}

function isSame(one: ShownWindow, other: ShownWindow): boolean {
  return one.centre === other.centre && one.width === other.width && one.function === other.function;
}
