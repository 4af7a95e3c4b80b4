// The overlay planes of frames: drawings in the file, of one bit for each pixel.

import { type OverlaysInfo, type Source, paths } from "../api";
import { sentenceOf } from "../dom";
import { type Wanted, keyOf } from "./FrameStore";

/** Planes of a frame, one byte for each pixel, or why there are none. */
export interface FoundOverlays {
  planes: { rows: number; columns: number; isSet: Uint8Array }[];
  sentence: string | null;
}

export class Overlays {
  private readonly asked = new Map<string, Promise<FoundOverlays>>();

  constructor(private readonly source: Source) {}

  /** Asks once for each frame. */
  of(wanted: Wanted): Promise<FoundOverlays> {
    const key = keyOf(wanted);
    let found = this.asked.get(key);
    if (!found) {
      found = this.ask(wanted);
      this.asked.set(key, found);
    }
    return found;
  }

  forget(): void {
    this.asked.clear();
  }

  private async ask(wanted: Wanted): Promise<FoundOverlays> {
    try {
      const path = paths.overlays(wanted.series, wanted.file, wanted.frame);
      const { info, bytes } = await this.source.bytes<Partial<OverlaysInfo>>(path);
      return planesOf(info.planes ?? [], bytes);
    } catch (error) {
      return { planes: [], sentence: sentenceOf(error) };
    }
  }
}

function planesOf(planes: OverlaysInfo["planes"], bytes: ArrayBuffer): FoundOverlays {
  const found: FoundOverlays = { planes: [], sentence: null };
  let start = 0;
  for (const { rows, columns } of planes) {
    if (start + rows * columns > bytes.byteLength) {
      return { planes: [], sentence: "The overlays of this slice cannot be shown: some of their pixels are missing." };
    }
    found.planes.push({ rows, columns, isSet: new Uint8Array(bytes, start, rows * columns) });
    start += rows * columns;
  }
  return found;
}

/** Draws planes of the picture's size into pixels; @returns what cannot be drawn, as a sentence */
export function drawOverlays(found: FoundOverlays, rows: number, columns: number, pixels: Uint32Array): string | null {
  const yellow = 0xff00d7ff; // alpha, blue, green, red
  let sentence = found.sentence;
  pixels.fill(0);
  for (const plane of found.planes) {
    if (plane.rows !== rows || plane.columns !== columns) {
      const size = `${plane.rows} x ${plane.columns} pixels`;
      sentence = `An overlay of ${size} is not shown, because the picture has another size.`;
      continue;
    }
    for (let index = 0; index < pixels.length; index++) {
      if (plane.isSet[index]) {
        pixels[index] = yellow;
      }
    }
  }
  return sentence;
}
