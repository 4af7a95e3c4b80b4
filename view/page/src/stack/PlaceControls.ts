// Sliders through the slices of a volume and, if there are several volumes or frames, through them.

import { element } from "../dom";

export class PlaceControls {
  readonly element: HTMLElement;
  private readonly slice = new Slider("Slice", "slice");
  private readonly time = new Slider("Time", "time");
  private volumes = 1;
  private perVolume = 1;

  constructor(onChange: (index: number) => void) {
    this.element = element("div", { class: "stack-places" }, this.slice.element, this.time.element);
    const changed = () => onChange(this.time.value * this.perVolume + this.slice.value);
    this.slice.onInput = changed;
    this.time.onInput = changed;
  }

  /** Volume after volume, each with equally many slices. @param isKnown  false: there may be more slices */
  setCounts(volumes: number, perVolume: number, isKnown: boolean): void {
    this.volumes = volumes;
    this.perVolume = perVolume;
    this.slice.setCount(perVolume, isKnown);
    this.time.setCount(volumes, isKnown);
    this.time.element.hidden = volumes < 2;
  }

  show(index: number): void {
    this.slice.show(index % this.perVolume);
    this.time.show(Math.floor(index / this.perVolume));
  }

  /** The index that lies so many slices further, as far as there are any in the volume. */
  bySlices(index: number, steps: number): number {
    const slice = Math.min(this.perVolume - 1, Math.max(0, (index % this.perVolume) + steps));
    return index - (index % this.perVolume) + slice;
  }

  byVolumes(index: number, steps: number): number {
    const volume = Math.min(this.volumes - 1, Math.max(0, Math.floor(index / this.perVolume) + steps));
    return volume * this.perVolume + (index % this.perVolume);
  }

  /** The next one of a film: in time if there is one, otherwise through the slices; after the last comes the first. */
  next(index: number): number {
    const volume = Math.floor(index / this.perVolume);
    const slice = index % this.perVolume;
    return this.volumes > 1
      ? ((volume + 1) % this.volumes) * this.perVolume + slice
      : (slice + 1) % this.perVolume;
  }
}

class Slider {
  readonly element: HTMLElement;
  onInput: () => void = () => {};
  private readonly input = element("input", { type: "range", min: 0, step: 1, value: 0 });
  private readonly text: HTMLElement;
  private count = 1;
  private isKnown = true;

  constructor(private readonly name: string, role: string) {
    this.input.dataset.role = role;
    this.text = element("output", { "data-role": `${role}-text` });
    this.element = element("label", { class: "stack-slider" }, element("span", {}, name), this.input, this.text);
    this.input.addEventListener("input", () => this.onInput());
  }

  get value(): number {
    return Number(this.input.value);
  }

  setCount(count: number, isKnown: boolean): void {
    this.count = count;
    this.isKnown = isKnown;
    this.input.max = String(count - 1);
    this.input.disabled = count < 2;
  }

  show(value: number): void {
    const text = `${value + 1} of ${this.isKnown ? this.count : "…"}`;
    this.input.value = String(value);
    this.input.setAttribute("aria-valuetext", `${this.name} ${text}`);
    this.text.textContent = text;
  }
}
