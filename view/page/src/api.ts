// What the page asks for and what it gets. Series and files have numbers; the page never sees a path.

export interface Tree {
  patients: Patient[];
  leftOut: { skipped: number; refused: string[] };
}

export interface Patient {
  key: string;
  id: string | null;
  name: string | null;
  studies: Study[];
}

export interface Study {
  key: string;
  uid: string | null;
  date: string | null; // "20240131"
  description: string | null;
  series: Series[];
}

export interface Series {
  id: number;
  uid: string | null;
  number: string | null;
  modality: string | null;
  description: string | null;
  files: number;
  bytes: number;
}

export type Triple = [number, number, number];

/** A frame of a file. Positions in mm, left-posterior-superior (LPS). */
export interface Slice {
  file: number; // in the series
  frame: number; // from 0
  rows: number;
  columns: number;
  colour: boolean;
  unit: string; // of the values; may be empty
  instance?: number;
  position?: Triple; // the centre of the first voxel
  orientation?: [Triple, Triple]; // along a row, and down a column
  spacing?: [number, number]; // between rows, between columns; only where it holds in the patient
}

export interface Finding {
  kind: string;
  error: boolean; // no volume can be trusted; otherwise a remark
  sentence: string;
  files: number | string[];
}

/** The slices that make one volume, in three or four dimensions. */
export interface Volume {
  label: string; // what tells it from the others; empty if the series is one volume
  order: number[]; // slices, by their index in the series, volume after volume
  shape: number[]; // slowest first: [volume][slice][row][column][channel], without a single volume or channel
  geometry: unknown;
  tiltDegrees: number | null;
  findings: Finding[];
}

export interface SeriesInfo {
  slices: Slice[];
  volumes: Volume[];
  findings: Finding[];
}

export type Window = [centre: number, width: number];

/** What the samples of a frame are. */
export interface ValuesInfo {
  type: string; // "<i2", "|u1", "<f4" and so on
  shape: number[]; // [row][column] of values in their unit, or [row][column][3] of colour
  unit: string;
  windows: Window[]; // of the file, on these values
  windowNames: string[]; // what the file calls them; may be fewer
  function: "LINEAR" | "LINEAR_EXACT" | "SIGMOID"; // VOILUTFunction
  windowProblem: string; // a sentence: why the file cannot be drawn as it says; empty if it can
  photometricInterpretation: string; // MONOCHROME1: small values are bright
}

export interface OverlaysInfo {
  planes: { plane: number; rows: number; columns: number }[];
}

/** An element as it is stored. Sequences have items, others a value. */
export interface Element {
  tag: string; // "0010_0010"
  vr: string;
  keyword: string;
  creator?: string; // of a private element
  value?: string;
  bytes?: number;
  items?: Element[][];
  action: string; // what a de-identification does, as "removed", "emptied", "dummy value", "new UID"; empty: nothing
}

export interface Elements {
  elements: Element[];
  actionProblem: string; // a sentence: why it is not known what a de-identification does; empty if it is
}

/** Why there is no answer, as a sentence for people. */
export class Refusal extends Error {}

/** Where the answers come from: the server, or the file itself when the page was saved with what it shows. */
export interface Source {
  json<T>(path: string, signal?: AbortSignal): Promise<T>;
  /** The JSON that tells what the bytes are, and the bytes. */
  bytes<T>(path: string, signal?: AbortSignal): Promise<{ info: T; bytes: ArrayBuffer }>;
  /** For the `src` of a picture. */
  picture(path: string): string;
}

export const paths = {
  tree: "api/tree",
  series: (series: number) => `api/series/${series}`,
  values: (series: number, file: number, frame: number) => `api/series/${series}/files/${file}/values?frame=${frame}`,
  overlays: (series: number, file: number, frame: number) => `api/series/${series}/files/${file}/overlays?frame=${frame}`,
  /** A PNG of at most 160 x 160, by the file's own window or its smallest and largest value. */
  preview: (series: number, file: number, frame: number) => `api/series/${series}/files/${file}/preview?frame=${frame}`,
  elements: (series: number, file: number) => `api/series/${series}/files/${file}/tags`,
  /** NIfTI-1, uncompressed. */
  volume: (series: number, volume: number) => `api/series/${series}/volumes/${volume}`,
};

class Server implements Source {
  async json<T>(path: string, signal?: AbortSignal): Promise<T> {
    return (await this.get(path, signal)).json() as Promise<T>;
  }

  async bytes<T>(path: string, signal?: AbortSignal): Promise<{ info: T; bytes: ArrayBuffer }> {
    const response = await this.get(path, signal);
    const info = JSON.parse(response.headers.get("Radvex-Values") ?? "{}") as T;
    return { info, bytes: await response.arrayBuffer() };
  }

  picture(path: string): string {
    return path;
  }

  private async get(path: string, signal?: AbortSignal): Promise<Response> {
    let response: Response;
    try {
      response = await fetch(path, signal ? { signal } : {});
    } catch (error) {
      if (signal?.aborted) {
        throw error;
      }
      throw new Refusal("The server of this page does not answer; its command has ended. Start radvex view again.");
    }
    if (!response.ok || response.headers.has("Radvex-Refusal")) {
      const text = await response.text();
      let sentence = text;
      try {
        sentence = (JSON.parse(text) as { error: string }).error;
      } catch {
        // no sentence of this server
      }
      throw new Refusal(sentence);
    }
    return response;
  }
}

interface SavedAnswer {
  type: string; // "application/json", "application/octet-stream", "image/png"
  info?: unknown; // of the bytes
  body: string; // base64 of the bytes, which are compressed with gzip but for pictures
  isRefusal?: boolean; // the body is {"error": a sentence}
}

/** A page that was saved with what it shows needs no server. */
class Saved implements Source {
  constructor(private readonly answers: Record<string, SavedAnswer>) {}

  async json<T>(path: string): Promise<T> {
    return JSON.parse(new TextDecoder().decode(await this.unpacked(path))) as T;
  }

  async bytes<T>(path: string): Promise<{ info: T; bytes: ArrayBuffer }> {
    const bytes = await this.unpacked(path);
    return { info: this.answers[path]?.info as T, bytes };
  }

  picture(path: string): string {
    const answer = this.answers[path];
    return answer && !answer.isRefusal ? `data:${answer.type};base64,${answer.body}` : "";
  }

  private async unpacked(path: string): Promise<ArrayBuffer> {
    const answer = this.answers[path];
    if (!answer) {
      throw new Refusal("This was not saved with the page.");
    }
    const packed = Uint8Array.from(atob(answer.body), (character) => character.charCodeAt(0));
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
    const bytes = await new Response(stream).arrayBuffer();
    if (answer.isRefusal) {
      throw new Refusal((JSON.parse(new TextDecoder().decode(bytes)) as { error: string }).error);
    }
    return bytes;
  }
}

export function openSource(): Source {
  const saved = document.getElementById("saved-answers");
  return saved ? new Saved(JSON.parse(saved.textContent ?? "{}") as Record<string, SavedAnswer>) : new Server();
}

/** Whether the page was saved, and shows a part of a folder only. */
export function isSaved(): boolean {
  return document.getElementById("saved-answers") !== null;
}
