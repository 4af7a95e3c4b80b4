// Lengths, angles and the values of regions. Points are in the picture: x from 0 to its columns, y from 0 to its rows,
// so that the first pixel reaches from 0 to 1 and has its centre at 0.5.

import type { Frame } from "./samples";

export interface Point {
  x: number;
  y: number;
}

/** Distances in mm; undefined where the file says nothing that holds in the patient. */
export type Spacing = [betweenRows: number, betweenColumns: number] | undefined;

export type Shape = "length" | "angle" | "rectangle" | "ellipse";

export const pointsOf: Record<Shape, number> = { length: 2, angle: 3, rectangle: 2, ellipse: 2 };

export const noDistances = "The file says nothing about distances in the patient.";

export interface Measured {
  value: number;
  unit: "mm" | "pixels" | "mm²" | "°";
}

function vector(from: Point, to: Point, spacing: Spacing): Point {
  const [betweenRows, betweenColumns] = spacing ?? [1, 1];
  return { x: (to.x - from.x) * betweenColumns, y: (to.y - from.y) * betweenRows };
}

export function lengthOf(from: Point, to: Point, spacing: Spacing): Measured {
  const { x, y } = vector(from, to, spacing);
  return { value: Math.hypot(x, y), unit: spacing ? "mm" : "pixels" };
}

/** The angle at the second of three points, from 0 to 180 degrees; NaN if it has no legs. */
export function angleOf(one: Point, at: Point, other: Point, spacing: Spacing): Measured {
  const first = vector(at, one, spacing);
  const second = vector(at, other, spacing);
  const hasLegs = Math.hypot(first.x, first.y) > 0 && Math.hypot(second.x, second.y) > 0;
  // Not the arc cosine, which is inexact near 0 and 180 degrees.
  const across = Math.abs(first.x * second.y - first.y * second.x);
  const along = first.x * second.x + first.y * second.y;
  return { value: hasLegs ? (Math.atan2(across, along) * 180) / Math.PI : NaN, unit: "°" };
}

/** The values of the pixels whose centres lie in a rectangle or ellipse with two opposite corners of its box. */
export function valuesIn(shape: "rectangle" | "ellipse", one: Point, other: Point, frame: Frame): Float64Array {
  const [left, right] = one.x < other.x ? [one.x, other.x] : [other.x, one.x];
  const [top, bottom] = one.y < other.y ? [one.y, other.y] : [other.y, one.y];
  const middle = { x: (left + right) / 2, y: (top + bottom) / 2 };
  const half = { x: (right - left) / 2, y: (bottom - top) / 2 };
  const values: number[] = [];
  const lastRow = Math.min(frame.rows, Math.ceil(bottom));
  const lastColumn = Math.min(frame.columns, Math.ceil(right));
  for (let row = Math.max(0, Math.floor(top)); row < lastRow; row++) {
    for (let column = Math.max(0, Math.floor(left)); column < lastColumn; column++) {
      const x = column + 0.5;
      const y = row + 0.5;
      const isInside =
        shape === "rectangle"
          ? x >= left && x <= right && y >= top && y <= bottom
          : ((x - middle.x) / half.x) ** 2 + ((y - middle.y) / half.y) ** 2 <= 1;
      if (isInside) {
        values.push(frame.channels === 1 ? frame.samples[row * frame.columns + column]! : NaN);
      }
    }
  }
  return Float64Array.from(values);
}

export interface Statistics {
  pixels: number;
  area: Measured; // of these pixels
  valued: number; // pixels whose value is a number; the others count in nothing below
  mean: number;
  deviation: number; // the standard deviation of these values, with their number as the divisor
  minimum: number;
  maximum: number;
}

export function statisticsOf(values: Float64Array, spacing: Spacing): Statistics {
  const valued = values.filter((value) => !Number.isNaN(value));
  const mean = valued.reduce((sum, value) => sum + value, 0) / valued.length;
  const squares = valued.reduce((sum, value) => sum + (value - mean) ** 2, 0);
  return {
    pixels: values.length,
    area: spacing
      ? { value: values.length * spacing[0] * spacing[1], unit: "mm²" }
      : { value: values.length, unit: "pixels" },
    valued: valued.length,
    mean,
    deviation: Math.sqrt(squares / valued.length),
    minimum: valued.reduce((least, value) => Math.min(least, value), Infinity),
    maximum: valued.reduce((most, value) => Math.max(most, value), -Infinity),
  };
}

export interface Histogram {
  first: number; // where the first bin begins
  step: number;
  counts: number[];
}

const mostBins = 48;

/** How often values occur, in bins of one width. Each bin of whole values holds equally many of them. */
export function histogramOf(values: Float64Array, isWhole: boolean): Histogram {
  const valued = values.filter((value) => Number.isFinite(value));
  if (valued.length === 0) {
    return { first: 0, step: 1, counts: [] };
  }
  const minimum = valued.reduce((least, value) => Math.min(least, value), Infinity);
  const maximum = valued.reduce((most, value) => Math.max(most, value), -Infinity);
  const range = maximum - minimum;
  const step = isWhole ? Math.ceil((range + 1) / mostBins) : range / mostBins || 1;
  const first = isWhole ? minimum - 0.5 : minimum;
  const bins = isWhole ? Math.ceil((range + 1) / step) : range > 0 ? mostBins : 1;
  const counts = new Array<number>(bins).fill(0);
  for (const value of valued) {
    const bin = Math.min(bins - 1, Math.floor((value - first) / step));
    counts[bin] = counts[bin]! + 1;
  }
  return { first, step, counts };
}
