// From values to grey levels: the windows of PS3.3 C.11.2.1.2.

import type { ValuesInfo } from "../api";
import type { Frame, Samples } from "./samples";

export type WindowFunction = ValuesInfo["function"];

export interface ShownWindow {
  centre: number;
  width: number;
  function: WindowFunction;
}

export interface Preset {
  name: string;
  window: ShownWindow;
}

/** Windows of the field's textbooks, in HU: those of `radvex image`. */
export const huPresets: readonly Preset[] = (
  [
    ["abdomen", 60, 400],
    ["lung", -600, 1500],
    ["bone", 300, 1500],
    ["brain", 40, 80],
    ["mediastinum", 40, 400],
  ] as const
).map(([name, centre, width]) => ({ name, window: { centre, width, function: "LINEAR" } }));

export const functionNames: Record<WindowFunction, string> = {
  LINEAR: "linear",
  LINEAR_EXACT: "linear, exact",
  SIGMOID: "sigmoid",
};

/** Why there is no such window; null if there is. */
export function refusalOf(window: ShownWindow): string | null {
  if (!(window.function in functionNames)) {
    return `a window of the kind ${String(window.function).slice(0, 20)} is not known here`;
  }
  if (!Number.isFinite(window.centre) || !Number.isFinite(window.width)) {
    return "centre and width have to be numbers";
  }
  if (window.function === "LINEAR" && !(window.width >= 1)) {
    return "a linear window is at least 1 wide (DICOM PS3.3 C.11.2.1.2.1); only an exact one may be narrower";
  }
  return window.width > 0 ? null : "a window has to be wider than 0";
}

/** The window that shows the smallest value black and the largest one white. */
export function fullRange(frame: Frame): ShownWindow {
  const { minimum, maximum } = Number.isNaN(frame.minimum) ? { minimum: 0, maximum: 1 } : frame;
  if (frame.isWhole) {
    return { centre: (minimum + maximum + 1) / 2, width: maximum - minimum + 1, function: "LINEAR" };
  }
  const width = maximum - minimum > 0 ? maximum - minimum : Math.max(Math.abs(maximum), 1) / 1e6;
  return { centre: (minimum + maximum) / 2, width, function: "LINEAR_EXACT" };
}

/** The windows of a file, with what it calls them; those that DICOM does not allow apart, as sentences. */
export function windowsOf(info: ValuesInfo & { windowProblem?: string }): { presets: Preset[]; refused: string[] } {
  const presets: Preset[] = [];
  const refused: string[] = info.windowProblem ? [info.windowProblem] : [];
  (info.windows ?? []).forEach(([centre, width], index) => {
    const window = { centre, width, function: info.function ?? "LINEAR" };
    const why = refusalOf(window);
    if (why === null) {
      presets.push({ name: info.windowNames?.[index]?.trim() || `window ${index + 1}`, window });
    } else {
      refused.push(`The file's window with the centre ${centre} and the width ${width} cannot be used: ${why}.`);
    }
  });
  return { presets, refused };
}

/** The grey level from 0 to 255 of a value, not yet a whole number; NaN, which is no value, is black. */
export function greyFunction(window: ShownWindow): (value: number) => number {
  const { centre, width } = window;
  switch (window.function) {
    case "LINEAR": {
      const middle = centre - 0.5;
      const span = width - 1;
      const black = middle - span / 2;
      const white = middle + span / 2;
      return (value) =>
        value > white ? 255 : value > black ? ((value - middle) / span + 0.5) * 255 : 0;
    }
    case "LINEAR_EXACT": {
      const black = centre - width / 2;
      const white = centre + width / 2;
      return (value) =>
        value > white ? 255 : value > black ? ((value - centre) / width + 0.5) * 255 : 0;
    }
    case "SIGMOID":
      return (value) => 255 / (1 + Math.exp((-4 * (value - centre)) / width)) || 0;
  }
}

const opaque = 0xff000000;
const longestTable = 1 << 16;

function pixelOf(level: number, isInverted: boolean): number {
  const whole = Math.round(level);
  return (opaque | ((isInverted ? 255 - whole : whole) * 0x010101)) >>> 0;
}

/** Draws values into pixels (RGBA, as ImageData has them). */
export function drawGrey(frame: Frame, window: ShownWindow, isInverted: boolean, pixels: Uint32Array): void {
  const { samples, minimum, maximum } = frame;
  const grey = greyFunction(window);
  if (frame.isWhole && maximum - minimum < longestTable) {
    const table = new Uint32Array(maximum - minimum + 1);
    for (let index = 0; index < table.length; index++) {
      table[index] = pixelOf(grey(minimum + index), isInverted);
    }
    drawByTable(samples, minimum, table, pixels);
    return;
  }
  for (let index = 0; index < pixels.length; index++) {
    pixels[index] = pixelOf(grey(samples[index]!), isInverted);
  }
}

function drawByTable(samples: Samples, first: number, table: Uint32Array, pixels: Uint32Array): void {
  for (let index = 0; index < pixels.length; index++) {
    pixels[index] = table[samples[index]! - first]!;
  }
}

/** Draws the samples of a colour picture as they are; those of 16 bits are scaled. */
export function drawColour(frame: Frame, pixels: Uint32Array): void {
  const { samples } = frame;
  const scale = samples.BYTES_PER_ELEMENT > 1 ? 255 / 65535 : 1;
  for (let index = 0; index < pixels.length; index++) {
    const red = Math.round(samples[3 * index]! * scale);
    const green = Math.round(samples[3 * index + 1]! * scale);
    const blue = Math.round(samples[3 * index + 2]! * scale);
    pixels[index] = (opaque | (blue << 16) | (green << 8) | red) >>> 0;
  }
}

/** A window that was pulled by so many pixels of the screen: to the right wider, downwards to a higher centre. */
export function pulled(window: ShownWindow, right: number, down: number, frame: Frame): ShownWindow {
  const range = Number.isNaN(frame.minimum) ? 1 : frame.maximum - frame.minimum || 1;
  const step = Math.max(window.width, range / 100) / 300;
  const smallest = window.function === "LINEAR" ? 1 : range / 1e6;
  const width = Math.max(smallest, Math.max(window.width, range / 1000) * 2 ** (right / 120));
  return {
    function: window.function,
    width: right === 0 ? window.width : tidy(width, frame, step),
    centre: down === 0 ? window.centre : tidy(window.centre + down * step, frame, step),
  };
}

/** Whole numbers for whole values, otherwise no more digits than a step changes. */
function tidy(value: number, frame: Frame, step: number): number {
  if (frame.isWhole && step > 0.05) {
    return Math.round(value);
  }
  const digits = Math.min(12, Math.max(0, 2 - Math.floor(Math.log10(step))));
  return Number(value.toFixed(digits));
}
