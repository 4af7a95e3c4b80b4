// What was measured, and on which slices.

import {
  type Point,
  type Shape,
  type Spacing,
  type Statistics,
  angleOf,
  lengthOf,
  noDistances,
  pointsOf,
  statisticsOf,
  valuesIn,
} from "./measure";
import { type Frame, readable } from "./samples";

export interface Measurement {
  id: number;
  slice: string; // key of the frame
  shape: Shape;
  points: Point[];
}

/** What is said about a measurement. Statistics only while the values of its slice are at hand. */
export interface Result {
  text: string; // short: "34.1 mm"
  value: number; // length in its unit, or angle; NaN for a region
  unit: string;
  statistics: Statistics | null;
  values: Float64Array | null;
  notes: string[];
}

export const shapeNames: Record<Shape, string> = {
  length: "Length",
  angle: "Angle",
  rectangle: "Rectangle",
  ellipse: "Ellipse",
};

export class Measurements {
  all: Measurement[] = [];
  selected: Measurement | null = null;
  private next = 1;

  add(slice: string, shape: Shape, points: Point[]): void {
    this.selected = { id: this.next++, slice, shape, points };
    this.all.push(this.selected);
  }

  remove(measurement: Measurement): void {
    this.all = this.all.filter((each) => each !== measurement);
    if (this.selected === measurement) {
      this.selected = null;
    }
  }

  of(slice: string): Measurement[] {
    return this.all.filter((each) => each.slice === slice);
  }
}

/** Whether the distances of a slice are known, not known, or not read yet. */
export type Distances = { spacing: Spacing; isRead: boolean };

export function resultOf(shape: Shape, points: Point[], frame: Frame | null, distances: Distances): Result {
  const { spacing, isRead } = distances;
  const result: Result = { text: "", value: NaN, unit: "", statistics: null, values: null, notes: [] };
  if (!spacing) {
    const measure = shape === "angle" ? "The angle is that of square pixels." : "It is measured in pixels.";
    result.notes.push(isRead ? `${noDistances} ${measure}` : "The distances in the patient are being read.");
  }
  if (points.length < pointsOf[shape]) {
    return result;
  }
  const [first, second, third] = points as [Point, Point, Point];
  if (shape === "length" || shape === "angle") {
    const { value, unit } =
      shape === "length" ? lengthOf(first, second, spacing) : angleOf(first, second, third, spacing);
    const text = shape === "length" ? `${value.toFixed(1)} ${unit}` : `${value.toFixed(1)}°`;
    return { ...result, value, unit, text: Number.isNaN(value) ? "no angle" : text };
  }
  if (!frame) {
    return result;
  }
  const values = valuesIn(shape, first, second, frame);
  const statistics = statisticsOf(values, spacing);
  result.statistics = statistics;
  result.values = values;
  result.unit = frame.info.unit;
  if (statistics.pixels === 0) {
    result.notes.push("The region holds the centre of no pixel.");
    result.text = "no pixel";
  } else if (frame.channels === 3) {
    result.notes.push("Colour has no values to take a mean of.");
    result.text = areaText(statistics);
  } else if (statistics.valued < statistics.pixels) {
    result.notes.push(`${statistics.pixels - statistics.valued} of its pixels have no value and are left out.`);
  }
  if (frame.isRounded) {
    result.notes.push("Some values are too large to be shown exactly.");
  }
  if (frame.channels === 1 && statistics.valued > 0) {
    result.text = `${short(statistics.mean)} ± ${short(statistics.deviation)} ${frame.info.unit}`.trimEnd();
  }
  return result;
}

export function areaText(statistics: Statistics): string {
  const { value, unit } = statistics.area;
  return unit === "mm²" ? `${readable(Number(value.toPrecision(6)))} mm²` : `${value} pixels`;
}

/** Four digits, and all before the point. */
export function short(value: number): string {
  return Math.abs(value) >= 1000 ? value.toFixed(0) : String(Number(value.toPrecision(4)));
}
