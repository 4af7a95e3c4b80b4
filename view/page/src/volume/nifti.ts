// What a NIfTI-1 file of the server says, read independently of the renderer: numbers that people see come from here.

import type { Triple } from "../api";

export type Samples = Int8Array | Uint8Array | Int16Array | Uint16Array | Int32Array | Uint32Array | Float32Array |
  Float64Array;

interface DataType {
  bytes: number;
  samples: new (buffer: ArrayBuffer, offset: number, length: number) => Samples;
  channels: 1 | 3;
  isInteger: boolean;
  /** The renderer draws these as they are; the others are given to it as 32-bit floats. */
  isDrawable: boolean;
}

const dataTypes: Record<number, DataType> = {
  2: { bytes: 1, samples: Uint8Array, channels: 1, isInteger: true, isDrawable: true },
  4: { bytes: 2, samples: Int16Array, channels: 1, isInteger: true, isDrawable: true },
  8: { bytes: 4, samples: Int32Array, channels: 1, isInteger: true, isDrawable: false },
  16: { bytes: 4, samples: Float32Array, channels: 1, isInteger: false, isDrawable: true },
  64: { bytes: 8, samples: Float64Array, channels: 1, isInteger: false, isDrawable: false },
  128: { bytes: 1, samples: Uint8Array, channels: 3, isInteger: true, isDrawable: true },
  256: { bytes: 1, samples: Int8Array, channels: 1, isInteger: true, isDrawable: false },
  512: { bytes: 2, samples: Uint16Array, channels: 1, isInteger: true, isDrawable: true },
  768: { bytes: 4, samples: Uint32Array, channels: 1, isInteger: true, isDrawable: false },
};

// Where the fields of the header are (nifti1.h)
const field = {
  dim: 40, datatype: 70, bitpix: 72, pixdim: 76, offset: 108, slope: 112, intercept: 116, units: 123, calMax: 124,
  calMin: 128, qformCode: 252, sformCode: 254, rows: [280, 296, 312], magic: 344,
} as const;
const headerBytes = 352;
const secondsUnit = 8;

/** A volume in memory: [frame][k][j][i][channel]. */
export interface Nifti {
  size: Triple; // voxels along i, j and k: columns, rows, slices
  frames: number;
  channels: 1 | 3;
  isInteger: boolean; // values are whole numbers
  hasPosition: boolean; // the files say where the voxels lie in the patient
  /** From voxel (0, 0, 0) to its neighbours, mm in LPS; without a position, of a cube along the axes. */
  steps: [Triple, Triple, Triple];
  origin: Triple; // the centre of voxel (0, 0, 0)
  secondsBetweenFrames: number; // 0: not said
  slope: number;
  intercept: number;
  samples: Samples;
}

/** Reads the header; the samples stay in the buffer. Throws a sentence. */
export function readNifti(buffer: ArrayBuffer): Nifti {
  const view = new DataView(buffer);
  if (buffer.byteLength < headerBytes || view.getInt32(0, true) !== 348 || view.getUint8(field.magic) !== 0x6e) {
    throw new Error("The server's answer is no NIfTI volume. Reload the page; report it if that does not help.");
  }
  const type = dataTypes[view.getInt16(field.datatype, true)];
  if (!type) {
    throw new Error(
      `The volume has samples of a kind that cannot be drawn (NIfTI type ${view.getInt16(field.datatype, true)}).`);
  }
  const short = (offset: number): number => view.getInt16(offset, true);
  const real = (offset: number): number => view.getFloat32(offset, true);
  const axes = short(field.dim);
  const dim = (axis: number): number => (axis <= axes ? Math.max(1, short(field.dim + 2 * axis)) : 1);
  const size: Triple = [dim(1), dim(2), dim(3)];
  const frames = dim(4) * dim(5) * dim(6) * dim(7);
  const count = size[0] * size[1] * size[2] * frames * type.channels;
  const offset = real(field.offset);
  if (offset + count * type.bytes > buffer.byteLength) {
    throw new Error("The volume came incomplete from the server. Reload the page to fetch it again.");
  }
  const slope = real(field.slope);
  const hasPosition = short(field.sformCode) > 0;
  const row = (axis: 0 | 1 | 2): number[] => [0, 4, 8, 12].map((at) => real(field.rows[axis] + at));
  const [x, y, z] = [row(0), row(1), row(2)];
  // RAS of the file to LPS of the page
  const column = (at: number): Triple => [-(x[at] ?? 0), -(y[at] ?? 0), z[at] ?? 0];
  const [di, dj, dk] = [real(field.pixdim + 4), real(field.pixdim + 8), real(field.pixdim + 12)];
  return {
    size,
    frames,
    channels: type.channels,
    isInteger: type.isInteger && Number.isInteger(slope) && Number.isInteger(real(field.intercept)),
    hasPosition,
    steps: hasPosition ? [column(0), column(1), column(2)] : [[di, 0, 0], [0, dj, 0], [0, 0, dk]],
    origin: hasPosition ? column(3) : [0, 0, 0],
    secondsBetweenFrames: (view.getUint8(field.units) & 0x38) === secondsUnit ? real(field.pixdim + 16) : 0,
    slope: slope === 0 || Number.isNaN(slope) ? 1 : slope,
    intercept: Number.isNaN(real(field.intercept)) ? 0 : real(field.intercept),
    samples: sampled(buffer, offset, count, type),
  };
}

function sampled(buffer: ArrayBuffer, offset: number, count: number, type: DataType): Samples {
  const isAligned = offset % type.bytes === 0;
  return isAligned
    ? new type.samples(buffer, offset, count)
    : new type.samples(buffer.slice(offset, offset + count * type.bytes), 0, count);
}

/** The value of a voxel, or its red, green and blue. */
export function valuesAt(nifti: Nifti, voxel: Triple, frame: number): number[] {
  const [columns, rows, slices] = nifti.size;
  const index = ((frame * slices + voxel[2]) * rows + voxel[1]) * columns + voxel[0];
  if (nifti.channels === 3) {
    return [0, 1, 2].map((channel) => nifti.samples[3 * index + channel] ?? Number.NaN);
  }
  return [(nifti.samples[index] ?? Number.NaN) * nifti.slope + nifti.intercept];
}

/** The centre of a voxel in mm, LPS. */
export function positionOf(nifti: Nifti, voxel: Triple): Triple {
  const along = (axis: 0 | 1 | 2): number =>
    nifti.origin[axis] + voxel[0] * nifti.steps[0][axis] + voxel[1] * nifti.steps[1][axis] +
    voxel[2] * nifti.steps[2][axis];
  return [along(0), along(1), along(2)];
}

/** The voxel that a point in mm (LPS) lies in; null outside the volume. */
export function voxelAt(nifti: Nifti, point: Triple): Triple | null {
  const [a, b, c] = nifti.steps;
  const from: Triple = [point[0] - nifti.origin[0], point[1] - nifti.origin[1], point[2] - nifti.origin[2]];
  const volume = dot(a, cross(b, c));
  const voxel: Triple = [dot(from, cross(b, c)) / volume, dot(a, cross(from, c)) / volume,
    dot(a, cross(b, from)) / volume];
  const rounded: Triple = [Math.round(voxel[0]), Math.round(voxel[1]), Math.round(voxel[2])];
  const isInside = rounded.every((index, axis) => index >= 0 && index < (nifti.size[axis] ?? 0));
  return isInside ? [rounded[0] + 0, rounded[1] + 0, rounded[2] + 0] : null;
}

export function dot(a: Triple, b: Triple): number {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

export function cross(a: Triple, b: Triple): Triple {
  return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
}

export function unitOf(a: Triple): Triple {
  const length = Math.hypot(...a);
  return [a[0] / length, a[1] / length, a[2] / length];
}

/** One frame of a volume, as the renderer draws it right. */
export interface Drawable {
  /** A NIfTI file of the frame. */
  file(frame: number): ArrayBuffer;
  /** The samples of that file alone. */
  samples(frame: number): Samples;
  /** What a value of the volume is in the picture. */
  inPicture(value: number): number;
}

/**
 * Prepares a volume for the renderer. It would lose the last voxel of 32-bit integers, shift the frames of colour
 * volumes, and has no windows below 0.00001. So it gets one frame, of a type that it draws, with values of some
 * hundred; this is for the picture alone.
 * @param range  smallest and largest value
 */
export function drawableOf(buffer: ArrayBuffer, nifti: Nifti, range: [number, number]): Drawable {
  const type = dataTypes[new DataView(buffer).getInt16(field.datatype, true)];
  const isAsStored = type?.isDrawable ?? false;
  const offset = isAsStored ? 0 : range[0];
  const largest = Math.max(Math.abs(range[0] - offset), Math.abs(range[1] - offset));
  const scale = largest > 0 && nifti.channels === 1 ? 2 ** (10 - Math.ceil(Math.log2(largest))) : 1;
  const header = headerOfFrame(buffer.slice(0, headerBytes), nifti);
  const isScaled = isAsStored && nifti.channels === 1;
  header.setFloat32(field.slope, isScaled ? nifti.slope * scale : 1, true);
  header.setFloat32(field.intercept, isScaled ? nifti.intercept * scale : 0, true);
  if (!isAsStored) {
    header.setInt16(field.datatype, 16, true);
    header.setInt16(field.bitpix, 32, true);
  }
  const length = nifti.samples.length / nifti.frames;
  const samples = (frame: number): Samples => {
    const stored = nifti.samples.subarray(frame * length, (frame + 1) * length);
    return isAsStored ? stored : floatsOf(stored, (value) => (value * nifti.slope + nifti.intercept - offset) * scale);
  };
  return {
    file: (frame) => {
      const chosen = samples(frame);
      const bytes = new Uint8Array(headerBytes + chosen.byteLength);
      bytes.set(new Uint8Array(header.buffer), 0);
      bytes.set(new Uint8Array(chosen.buffer, chosen.byteOffset, chosen.byteLength), headerBytes);
      return bytes.buffer;
    },
    samples,
    inPicture: (value) => (value - offset) * scale,
  };
}

/** A header with the steps of the volume as the one rule for positions. Without any, its rows go down as on film. */
function headerOfFrame(buffer: ArrayBuffer, nifti: Nifti): DataView {
  const header = new DataView(buffer);
  header.setInt16(field.dim, 3, true);
  for (const axis of [4, 5, 6, 7]) {
    header.setInt16(field.dim + 2 * axis, 1, true);
  }
  header.setFloat32(field.offset, headerBytes, true);
  header.setInt16(field.qformCode, 0, true);
  header.setInt16(field.sformCode, 1, true);
  for (const axis of [0, 1, 2] as const) {
    const sign = axis < 2 ? -1 : 1; // LPS to RAS
    const row = [...nifti.steps.map((step) => step[axis]), nifti.origin[axis]];
    row.forEach((value, at) => header.setFloat32(field.rows[axis] + 4 * at, sign * value, true));
  }
  return header;
}

function floatsOf(samples: Samples, rule: (value: number) => number): Float32Array {
  const floats = new Float32Array(samples.length);
  for (let index = 0; index < floats.length; ++index) {
    floats[index] = rule(samples[index] as number);
  }
  return floats;
}
