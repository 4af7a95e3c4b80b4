// The samples of a frame, from the bytes of an answer.

import type { ValuesInfo } from "../api";

export type Samples =
  | Int8Array
  | Uint8Array
  | Int16Array
  | Uint16Array
  | Int32Array
  | Uint32Array
  | Float32Array
  | Float64Array;

/** A frame as it is shown: values in their unit, or the samples of a colour picture. */
export interface Frame {
  rows: number;
  columns: number;
  channels: number; // 1: values; 3: red, green, blue
  samples: Samples;
  isWhole: boolean; // whole numbers only
  isRounded: boolean; // some whole numbers are too large for a number of JavaScript
  minimum: number; // of the values that are numbers; NaN if there are none
  maximum: number;
  info: ValuesInfo;
}

/** @throws Error  the type is unknown, or the bytes are not those that the shape promises */
export function decode(info: ValuesInfo, bytes: ArrayBuffer): Frame {
  if (!Array.isArray(info?.shape) || typeof info.type !== "string") {
    throw new Error("The answer does not say what its samples are. Load the page again, which may be an older one.");
  }
  const [rows = 0, columns = 0, channels = 1] = info.shape;
  const { samples, isRounded } = samplesOf(info.type, bytes);
  if (info.shape.length > 3 || (channels !== 1 && channels !== 3) || samples.length !== rows * columns * channels) {
    throw new Error(
      `The answer holds ${samples.length} samples, which do not make a picture of ${info.shape.join(" x ")}.`,
    );
  }
  return { rows, columns, channels, samples, isRounded, isWhole: !info.type.includes("f"), ...limitsOf(samples), info };
}

function samplesOf(type: string, bytes: ArrayBuffer): { samples: Samples; isRounded: boolean } {
  const exact = (samples: Samples) => ({ samples, isRounded: false });
  const size = Number(type.slice(2));
  if (!(size > 0) || bytes.byteLength % size !== 0) {
    throw new Error(`The answer has ${bytes.byteLength} bytes, which are no samples of the type "${type}".`);
  }
  // Browsers run on little-endian processors only, so that the bytes are the numbers.
  switch (type) {
    case "|i1":
    case "<i1":
      return exact(new Int8Array(bytes));
    case "|u1":
    case "<u1":
      return exact(new Uint8Array(bytes));
    case "<i2":
      return exact(new Int16Array(bytes));
    case "<u2":
      return exact(new Uint16Array(bytes));
    case "<i4":
      return exact(new Int32Array(bytes));
    case "<u4":
      return exact(new Uint32Array(bytes));
    case "<f4":
      return exact(new Float32Array(bytes));
    case "<f8":
      return exact(new Float64Array(bytes));
    case "<i8":
      return fromBig(new BigInt64Array(bytes));
    case "<u8":
      return fromBig(new BigUint64Array(bytes));
    default:
      throw new Error(`The samples are of the type "${type}", which this page does not know.`);
  }
}

function fromBig(numbers: BigInt64Array | BigUint64Array): { samples: Samples; isRounded: boolean } {
  const samples = new Float64Array(numbers.length);
  let isRounded = false;
  for (let index = 0; index < samples.length; index++) {
    const value = Number(numbers[index]);
    samples[index] = value;
    isRounded ||= !Number.isSafeInteger(value);
  }
  return { samples, isRounded };
}

function limitsOf(samples: Samples): { minimum: number; maximum: number } {
  let minimum = Infinity;
  let maximum = -Infinity;
  for (let index = 0; index < samples.length; index++) {
    const value = samples[index]!;
    if (value < minimum && value !== -Infinity) {
      minimum = value;
    }
    if (value > maximum && value !== Infinity) {
      maximum = value;
    }
  }
  return minimum <= maximum ? { minimum, maximum } : { minimum: NaN, maximum: NaN };
}

/** A number as people read it: with no more digits than a value of 32 bits has. */
export function readable(value: number): string {
  if (!Number.isFinite(value) || (Number.isInteger(value) && Math.abs(value) < 1e15)) {
    return String(value);
  }
  const before = Math.floor(Math.log10(Math.abs(value) || 1)) + 1; // digits before the point
  return String(Number(value.toPrecision(Math.min(15, Math.max(6, before)))));
}
