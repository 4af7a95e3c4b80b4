import type { Slice, Triple, Volume } from "./api";

/** A slice on the line along which slices are stacked. */
export interface Place {
  index: number; // in the order
  height: number; // mm along the mean normal
}

/** Neighbours on the line that lie further apart than others; indices of places. */
export interface Gap {
  below: number;
  above: number;
  size: number; // mm
}

/** Places at one height, from the first to the last of them. */
export interface Double {
  first: number;
  last: number;
  sideways: number; // mm, the largest distance across the normal
}

export interface Placing {
  places: Place[]; // by height
  normal: Triple;
  usual: number | null; // mm, the median distance of neighbours
  smallest: number | null;
  largest: number | null; // mm between neighbours
  gaps: Gap[];
  doubles: Double[];
  unplaced: number; // slices without a position
  areParallel: boolean; // otherwise heights mean nothing
}

const kGap = 1.5; // times the usual distance, as the verdict has it
const kParallel = Math.cos(Math.PI / 180);

/**
 * How many volumes of the same places an order holds one after the other.
 * @param rows  of a slice: they tell [volume][slice][row][column] from [slice][row][column][channel]
 */
export function volumesIn(volume: Volume | null, order: number[], rows: number): number {
  const [volumes = 1, slices = 1, thirdSide = 0] = volume?.shape ?? [];
  const isFourD = (volume?.shape.length ?? 0) >= 4 && thirdSide === rows;
  return isFourD && order.length === volumes * slices ? volumes : 1;
}

/**
 * Where slices lie along their mean normal.
 * @param first  the index of the first slice in the order
 */
export function placeSlices(slices: Slice[], first = 0): Placing {
  const normals = slices.map((slice) => (slice.position ? normalOf(slice) : null));
  const normal = meanOf(normals.filter((each) => each !== null));
  const places: Place[] = [];
  slices.forEach((slice, index) => {
    if (slice.position && normals[index]) {
      places.push({ index: first + index, height: dot(slice.position, normal) });
    }
  });
  places.sort((one, other) => one.height - other.height || one.index - other.index);
  const positionOf = (place: number): Triple => slices[(places[place] as Place).index - first]?.position as Triple;
  const steps = places.slice(1).map((place, index) => place.height - (places[index] as Place).height);
  const tolerance = Math.max(0.01, 0.001 * (medianOf(steps.filter((step) => step > 0.01)) ?? 0));
  const distances = steps.filter((step) => step > tolerance);
  const usual = medianOf(distances);
  const gaps: Gap[] = [];
  const doubles: Double[] = [];
  steps.forEach((step, index) => {
    if (step > tolerance) {
      if (usual !== null && step > kGap * usual) {
        gaps.push({ below: index, above: index + 1, size: step });
      }
      return;
    }
    const sideways = acrossOf(positionOf(index), positionOf(index + 1), normal);
    const before = doubles.at(-1);
    if (before?.last === index) {
      before.last = index + 1;
      before.sideways = Math.max(before.sideways, sideways);
    } else {
      doubles.push({ first: index, last: index + 1, sideways });
    }
  });
  return {
    places,
    normal,
    usual,
    smallest: distances.length > 0 ? distances.reduce((one, other) => Math.min(one, other)) : null,
    largest: distances.length > 0 ? distances.reduce((one, other) => Math.max(one, other)) : null,
    gaps,
    doubles,
    unplaced: slices.length - places.length,
    areParallel: normals.every((each) => each === null || Math.abs(dot(each, normal)) >= kParallel),
  };
}

/** The end of the patient to which a direction points: "S", or "SA" between two; letters of LPS and their opposites. */
export function directionText(direction: Triple): string {
  const letters = [
    ["R", "L"],
    ["A", "P"],
    ["I", "S"],
  ];
  return direction
    .map((size, axis) => ({ size: Math.abs(size), letter: letters[axis]?.[size > 0 ? 1 : 0] ?? "" }))
    .filter(({ size }) => size > 0.2)
    .sort((one, other) => other.size - one.size)
    .map(({ letter }) => letter)
    .join("");
}

function normalOf(slice: Slice): Triple | null {
  if (!slice.orientation) {
    return null;
  }
  const [row, column] = slice.orientation;
  return unit([
    row[1] * column[2] - row[2] * column[1],
    row[2] * column[0] - row[0] * column[2],
    row[0] * column[1] - row[1] * column[0],
  ]);
}

/** The mean of directions; those against the first are turned. */
function meanOf(normals: Triple[]): Triple {
  const first = normals[0] ?? [0, 0, 1];
  const sum: Triple = [0, 0, 0];
  for (const each of normals) {
    const sign = dot(each, first) < 0 ? -1 : 1;
    sum.forEach((_, axis) => (sum[axis] = (sum[axis] ?? 0) + sign * (each[axis] ?? 0)));
  }
  return unit(normals.length > 0 ? sum : first) ?? first;
}

function acrossOf(one: Triple, other: Triple, normal: Triple): number {
  const shift: Triple = [other[0] - one[0], other[1] - one[1], other[2] - one[2]];
  const along = dot(shift, normal);
  return Math.hypot(...shift.map((size, axis) => size - along * (normal[axis] ?? 0)));
}

function dot(one: Triple, other: Triple): number {
  return one[0] * other[0] + one[1] * other[1] + one[2] * other[2];
}

function unit(vector: Triple): Triple | null {
  const length = Math.hypot(...vector);
  return length > 0 ? [vector[0] / length, vector[1] / length, vector[2] / length] : null;
}

function medianOf(numbers: number[]): number | null {
  const sorted = [...numbers].sort((one, other) => one - other);
  return sorted[Math.floor(sorted.length / 2)] ?? null;
}
