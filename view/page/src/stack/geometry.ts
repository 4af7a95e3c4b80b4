// Where pixels lie in the patient (PS3.3 C.7.6.2.1.1), and which way is which.

import type { Slice, Triple } from "../api";

type Placed = Pick<Slice, "position" | "orientation" | "spacing">;

/** The place of the centre of a pixel in mm (LPS); null where the file does not say it. */
export function placeOf(slice: Placed, column: number, row: number): Triple | null {
  const { position, orientation, spacing } = slice;
  if (!position || !orientation || !spacing) {
    return null;
  }
  const [alongRow, downColumn] = orientation;
  const [betweenRows, betweenColumns] = spacing;
  const at = (axis: 0 | 1 | 2) =>
    position[axis] + alongRow[axis] * betweenColumns * column + downColumn[axis] * betweenRows * row;
  return [at(0), at(1), at(2)];
}

/** "L 12.3 P 40.0 S -5.5 mm" */
export function placeText(place: Triple): string {
  const text = (value: number) => value.toFixed(1).replace(/^-0\.0$/, "0.0");
  return `L ${text(place[0])} P ${text(place[1])} S ${text(place[2])} mm`;
}

const leastShare = 0.1; // of a direction, about 6 degrees

/** The sides of the patient that a direction points to, the main one first. */
export function lettersOf(direction: Triple): string {
  const sides: [string, string][] = [
    ["R", "L"],
    ["A", "P"],
    ["I", "S"],
  ];
  return direction
    .map((share, axis) => ({ share: Math.abs(share), letter: sides[axis]![share < 0 ? 0 : 1] }))
    .filter(({ share }) => share >= leastShare)
    .sort((one, other) => other.share - one.share)
    .map(({ letter }) => letter)
    .join("");
}

export interface Edges {
  left: string;
  right: string;
  top: string;
  bottom: string;
}

/** The letters at the edges of a picture; null without an orientation. */
export function edgesOf(slice: Placed): Edges | null {
  if (!slice.orientation) {
    return null;
  }
  const [alongRow, downColumn] = slice.orientation;
  const opposite = ([x, y, z]: Triple): Triple => [-x, -y, -z];
  return {
    left: lettersOf(opposite(alongRow)),
    right: lettersOf(alongRow),
    top: lettersOf(opposite(downColumn)),
    bottom: lettersOf(downColumn),
  };
}

/** Height and width of a pixel, of which the smaller is 1. */
export function pixelShape(slice: Placed): { height: number; width: number } {
  const [height, width] = slice.spacing ?? [1, 1];
  const least = Math.min(height, width);
  return least > 0 && Number.isFinite(height + width)
    ? { height: height / least, width: width / least }
    : { height: 1, width: 1 };
}
