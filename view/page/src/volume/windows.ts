// Windows: which values are black and white.

import type { Window } from "../api";
import { type Nifti } from "./nifti";

export interface Preset {
  label: string;
  window: Window;
}

/** Windows of the field's textbooks, in HU; the same numbers as the commands use. */
const hounsfieldPresets: Preset[] = [
  { label: "Lung", window: [-600, 1500] },
  { label: "Bone", window: [300, 1500] },
  { label: "Brain", window: [40, 80] },
  { label: "Abdomen", window: [60, 400] },
  { label: "Mediastinum", window: [40, 400] },
];
const firstForHounsfield = "Mediastinum";

/** What the values of a volume are. */
export interface Spread {
  range: [smallest: number, largest: number];
  /** Almost all values, without the extreme ones and without the background. */
  trimmed: [low: number, high: number];
}

/** Looks at all values for the range, and at a million of them for the rest. */
export function spreadOf(nifti: Nifti): Spread {
  const { samples, slope, intercept } = nifti;
  let smallest = Number.POSITIVE_INFINITY;
  let largest = Number.NEGATIVE_INFINITY;
  for (let index = 0; index < samples.length; ++index) {
    const value = samples[index] as number;
    if (value - value === 0) { // neither infinite nor no number
      smallest = value < smallest ? value : smallest;
      largest = value > largest ? value : largest;
    }
  }
  if (smallest > largest) {
    return { range: [0, 0], trimmed: [0, 0] };
  }
  const background = smallest;
  const chosen: number[] = [];
  const stride = Math.max(1, Math.floor(samples.length / 1_000_003)) | 1; // odd: does not follow rows of even length
  for (let index = 0; index < samples.length; index += stride) {
    const value = samples[index] as number;
    if (value - value === 0 && value !== background) {
      chosen.push(value);
    }
  }
  const sorted = Float64Array.from(chosen).sort();
  const at = (fraction: number): number => sorted[Math.round(fraction * (sorted.length - 1))] ?? background;
  const inUnit = (pair: [number, number]): [number, number] => {
    const [first, second] = pair.map((value) => value * slope + intercept) as [number, number];
    return first <= second ? [first, second] : [second, first];
  };
  return { range: inUnit([smallest, largest]), trimmed: inUnit([Math.min(at(0.01), at(0.99)), at(0.99)]) };
}

/** The window from one value to another: centre, and the width between them. */
export function windowBetween([low, high]: [number, number]): Window {
  return high > low ? [(low + high) / 2, high - low] : [low, Math.max(1e-6, Math.abs(low) * 1e-3)];
}

export function presetsFor(unit: string, spread: Spread): Preset[] {
  return [
    { label: "Automatic", window: windowBetween(spread.trimmed) },
    { label: "Full range", window: windowBetween(spread.range) },
    ...(unit === "HU" ? hounsfieldPresets : []),
  ];
}

/** What a volume is first shown with. */
export function firstPreset(presets: Preset[]): Preset | undefined {
  return presets.find(({ label }) => label === firstForHounsfield) ?? presets[0];
}

/** A number as people read it: no more digits than a 32-bit float has. */
export function numberText(value: number): string {
  return Number.isFinite(value) ? String(Number(value.toPrecision(7))) : "not a number";
}
