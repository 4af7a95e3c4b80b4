// Volumes that a browser cannot take.

const mostBytes = 2 ** 30;
const leastBytesPerValue = 2; // of what the server sends; colour has one

/** Sides of the shape of an answer, without points in time and channels. */
function sidesOf(shape: number[]): number[] {
  const isColour = shape.length > 3 && shape[shape.length - 1] === 3;
  const grey = isColour ? shape.slice(0, -1) : shape;
  return grey.slice(-3);
}

/** The sentence that refuses a volume of a size; nothing if it can be taken. @param bytes  when they are known */
export function tooLarge(shape: number[], bytes?: number): string | undefined {
  const isColour = shape.length > 3 && shape[shape.length - 1] === 3;
  const least = shape.reduce((product, side) => product * side, isColour ? 1 : leastBytesPerValue);
  const size = bytes ?? least;
  return size > mostBytes
    ? `The volume has ${(size / mostBytes).toFixed(1)} GiB, and a browser can take 1 GiB. The command radvex volume ` +
      "writes it to a file for other programs."
    : undefined;
}

/** The sentence that refuses a volume with a side that the graphics card cannot take. */
export function tooLong(shape: number[], longest: number): string | undefined {
  const side = Math.max(...sidesOf(shape));
  return side > longest
    ? `A side of the volume has ${side} voxels, and this graphics card can take ${longest}. The slices are shown ` +
      "without it."
    : undefined;
}
