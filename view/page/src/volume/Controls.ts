// The buttons and fields of a volume. They show a state and tell what is asked for; what happens is the view's.

import type { Window } from "../api";
import { element } from "../dom";
import type { Layout } from "./Scene";
import { numberText, type Preset } from "./windows";

export interface Wishes {
  layout(layout: Layout): void;
  radiological(isRadiological: boolean): void;
  window(window: Window): void;
  colours(name: string): void;
  smooth(isSmooth: boolean): void;
  frame(frame: number): void;
  goTo(text: string): void;
  reset(): void;
}

const layouts: [Layout, string][] = [
  ["all", "All four"], ["axial", "Axial"], ["coronal", "Coronal"], ["sagittal", "Sagittal"], ["rendering", "3-D"],
];
const colourMaps: [name: string, label: string][] = [
  ["gray", "Grey"], ["grey inverted", "Grey, inverted"], ["hot", "Hot metal"], ["hotiron", "Hot iron (PET)"],
  ["jet", "Rainbow"], ["viridis", "Viridis"], ["cool", "Cool"],
];
export const firstColours = "gray";
const convention = "Black is the centre less half the width, white the centre plus half the width " +
  "(LINEAR_EXACT in DICOM).";

export class Controls {
  readonly tools = element("div", { class: "volume-tools", role: "group", "aria-label": "How the volume is shown" });
  readonly place: HTMLElement;
  private readonly layoutButtons = new Map<Layout, HTMLButtonElement>();
  private readonly side = button("", "volume-side");
  private readonly preset = element("select", { class: "volume-preset", "aria-label": "Window preset" });
  private readonly centre = numberField("Centre", "volume-centre");
  private readonly width = numberField("Width", "volume-width");
  private readonly unit = element("span", { class: "muted volume-unit" });
  private readonly windowGroup: HTMLElement;
  private readonly frames = element("input", { type: "range", min: 0, step: 1, class: "volume-frame" });
  private readonly frameText = element("output", { class: "volume-frame-text" });
  private readonly frameGroup: HTMLElement;
  private readonly target = element("input", {
    type: "text", class: "volume-target", size: 18, placeholder: "L P S in mm", autocomplete: "off",
    spellcheck: "false",
  });
  private presets: Preset[] = [];
  private isRadiological = true;

  constructor(wishes: Wishes) {
    const layoutGroup = element("div", { class: "volume-layouts", role: "group", "aria-label": "Pictures" });
    for (const [layout, label] of layouts) {
      const made = button(label, "volume-layout");
      made.dataset["layout"] = layout;
      made.addEventListener("click", () => wishes.layout(layout));
      this.layoutButtons.set(layout, made);
      layoutGroup.append(made);
    }
    this.side.addEventListener("click", () => wishes.radiological(!this.isRadiological));
    this.preset.addEventListener("change", () => {
      const chosen = this.presets[Number(this.preset.value)];
      if (chosen) {
        wishes.window(chosen.window);
      }
    });
    const readWindow = (): void => {
      const [centre, width] = [Number(this.centre.value), Number(this.width.value)];
      const isWindow = this.centre.value !== "" && Number.isFinite(centre) && width > 0;
      this.width.setAttribute("aria-invalid", String(!isWindow));
      if (isWindow) {
        wishes.window([centre, width]);
      }
    };
    this.centre.addEventListener("change", readWindow);
    this.width.addEventListener("change", readWindow);
    const colours = element("select", { class: "volume-colours" });
    colourMaps.forEach(([value, label]) => colours.append(element("option", { value }, label)));
    colours.addEventListener("change", () => wishes.colours(colours.value));
    const smooth = element("input", { type: "checkbox", class: "volume-smooth", checked: true });
    smooth.addEventListener("change", () => wishes.smooth(smooth.checked));
    const reset = button("Reset view", "volume-reset");
    reset.addEventListener("click", () => wishes.reset());
    this.windowGroup = element(
      "div", { class: "volume-window", role: "group", "aria-label": "Window", title: convention },
      labelled("Window", this.preset), labelled("Centre", this.centre), labelled("Width", this.width), this.unit,
      labelled("Colours", colours));
    this.frames.addEventListener("input", () => wishes.frame(Number(this.frames.value)));
    this.frameGroup = element("div", { class: "volume-frames" }, labelled("Time", this.frames), this.frameText);
    this.tools.append(layoutGroup, this.side, labelled("Smooth", smooth), reset, this.windowGroup, this.frameGroup);
    this.target.addEventListener("keydown", (event) => {
      if (event.key === "Enter") {
        wishes.goTo(this.target.value);
      }
    });
    this.place = labelled("Go to", this.target);
  }

  showVolume(presets: Preset[], unit: string, isColour: boolean, frames: number): void {
    this.presets = presets;
    this.preset.replaceChildren(
      ...presets.map(({ label }, index) => element("option", { value: index }, label)),
      element("option", { value: "own", disabled: true }, "Own"));
    this.unit.textContent = unit;
    this.windowGroup.hidden = isColour;
    this.frameGroup.hidden = frames < 2;
    this.frames.max = String(frames - 1);
    this.target.value = "";
  }

  showLayout(layout: Layout): void {
    this.layoutButtons.forEach((made, its) => made.setAttribute("aria-pressed", String(its === layout)));
  }

  showSide(isRadiological: boolean, isKnown: boolean): void {
    this.isRadiological = isRadiological;
    this.side.textContent = isRadiological ? "Radiological" : "Neurological";
    this.side.title = isRadiological
      ? "The patient's left is on the right of the picture. Press to exchange the sides."
      : "The patient's left is on the left of the picture. Press to exchange the sides.";
    this.side.setAttribute("aria-label", `${this.side.textContent}: ${this.side.title}`);
    this.side.hidden = !isKnown;
  }

  showWindow([centre, width]: Window): void {
    this.centre.value = numberText(centre);
    this.width.value = numberText(width);
    this.width.setAttribute("aria-invalid", "false");
    const same = this.presets.findIndex(({ window }) => window[0] === centre && window[1] === width);
    this.preset.value = same < 0 ? "own" : String(same);
  }

  showFrame(frame: number, text: string): void {
    this.frames.value = String(frame);
    this.frames.setAttribute("aria-valuetext", text);
    this.frameText.textContent = text;
  }

  showTarget(isFound: boolean): void {
    this.target.setAttribute("aria-invalid", String(!isFound));
  }
}

function button(label: string, name: string): HTMLButtonElement {
  return element("button", { type: "button", class: name }, label);
}

function numberField(label: string, name: string): HTMLInputElement {
  return element("input", { type: "number", step: "any", class: name, "aria-label": `${label} of the window` });
}

function labelled(label: string, input: HTMLElement): HTMLLabelElement {
  return element("label", {}, element("span", {}, label), input);
}
