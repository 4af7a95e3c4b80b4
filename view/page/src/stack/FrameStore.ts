// The frames of a series: fetched in the order in which they are wanted, and kept as long as memory allows.

import { type Source, type ValuesInfo, paths } from "../api";
import { sentenceOf } from "../dom";
import { type Frame, decode } from "./samples";

/** Which frame of which file. */
export interface Wanted {
  series: number;
  file: number;
  frame: number;
}

/** A frame, or the sentence that says why there is none. */
export type Fetched = { frame: Frame; sentence: null } | { frame: null; sentence: string };

const mostBytes = 256 * 1024 * 1024;
const mostRequests = 4;

export function keyOf(wanted: Wanted): string {
  return `${wanted.series}/${wanted.file}/${wanted.frame}`;
}

export class FrameStore {
  /** Called for each frame that has come. */
  onFetched: ((key: string, fetched: Fetched) => void) | null = null;

  private readonly kept = new Map<string, Fetched>(); // the one that was used last is the last
  private readonly running = new Map<string, AbortController>();
  private wanted: Wanted[] = []; // the first is the most urgent
  private bytes = 0;
  private largest = 0; // frame of the series, in bytes

  constructor(private readonly source: Source) {}

  get(wanted: Wanted): Fetched | null {
    const key = keyOf(wanted);
    const found = this.kept.get(key);
    if (!found) {
      return null;
    }
    this.kept.delete(key);
    this.kept.set(key, found);
    return found;
  }

  /** What is to be there: the first at once, then the others as far as memory allows. The rest is no longer fetched. */
  want(wanted: Wanted[]): void {
    if (wanted[0]?.series !== this.wanted[0]?.series) {
      this.largest = 0;
    }
    this.wanted = wanted;
    this.refresh();
  }

  private refresh(): void {
    const { missing, all } = this.affordable();
    for (const [key, request] of this.running) {
      if (!all.has(key)) {
        this.abort(key, request);
      }
    }
    const first = missing[0];
    if (first && !this.running.has(keyOf(first)) && this.running.size >= mostRequests) {
      this.abortLeastWanted(missing);
    }
    for (const next of missing) {
      if (this.running.size >= mostRequests) {
        break;
      }
      if (!this.running.has(keyOf(next))) {
        void this.fetch(next);
      }
    }
  }

  /** The wanted frames that fit into memory together, taking those that are missing as large as the largest. */
  private affordable(): { missing: Wanted[]; all: Set<string> } {
    const missing: Wanted[] = [];
    const all = new Set<string>();
    let sum = 0;
    for (const wanted of this.wanted) {
      const key = keyOf(wanted);
      const found = this.kept.get(key);
      sum += found ? bytesOf(found) : this.largest;
      if (sum > mostBytes && all.size > 0) {
        break;
      }
      all.add(key);
      if (!found) {
        missing.push(wanted);
        if (this.largest === 0 && missing.length === mostRequests) {
          break; // nobody knows yet how large they are
        }
      }
    }
    return { missing, all };
  }

  private abortLeastWanted(missing: Wanted[]): void {
    const running = missing.filter((wanted) => this.running.has(keyOf(wanted)));
    const last = running[running.length - 1];
    const key = last && keyOf(last);
    const request = key && this.running.get(key);
    if (key && request) {
      this.abort(key, request);
    }
  }

  private abort(key: string, request: AbortController): void {
    this.running.delete(key);
    request.abort();
  }

  private async fetch(wanted: Wanted): Promise<void> {
    const key = keyOf(wanted);
    const request = new AbortController();
    this.running.set(key, request);
    let fetched: Fetched;
    try {
      const path = paths.values(wanted.series, wanted.file, wanted.frame);
      const { info, bytes } = await this.source.bytes<ValuesInfo>(path, request.signal);
      fetched = { frame: decode(info, bytes), sentence: null };
    } catch (error) {
      if (request.signal.aborted) {
        return;
      }
      fetched = { frame: null, sentence: sentenceOf(error) };
    }
    if (this.running.get(key) !== request) {
      return; // another one has taken its place
    }
    this.running.delete(key);
    this.keep(key, fetched);
    this.onFetched?.(key, fetched);
    this.refresh();
  }

  private keep(key: string, fetched: Fetched): void {
    this.kept.set(key, fetched);
    this.bytes += bytesOf(fetched);
    this.largest = Math.max(this.largest, bytesOf(fetched));
    if (this.bytes <= mostBytes) {
      return;
    }
    const inUse = new Set(this.wanted.slice(0, 1).map(keyOf)).add(key);
    for (const [oldest, old] of this.leastWantedFirst()) {
      if (this.bytes <= mostBytes) {
        break;
      }
      if (!inUse.has(oldest)) {
        this.kept.delete(oldest);
        this.bytes -= bytesOf(old);
      }
    }
  }

  /** What nobody wants first, then the least wanted, so that frames around the shown one stay. */
  private leastWantedFirst(): [string, Fetched][] {
    const places = new Map(this.wanted.map((wanted, place) => [keyOf(wanted), place]));
    const placeOf = (key: string) => places.get(key) ?? Infinity;
    const isWanted = (entry: [string, Fetched]) => placeOf(entry[0]) !== Infinity;
    const all = [...this.kept];
    const others = all.filter((entry) => !isWanted(entry));
    return others.concat(all.filter(isWanted).sort((one, other) => placeOf(other[0]) - placeOf(one[0])));
  }
}

function bytesOf(fetched: Fetched): number {
  return fetched.frame ? fetched.frame.samples.byteLength : 256;
}

/** Places around one, in the direction of scrolling twice as far as against it, until all are there. */
export function around(index: number, count: number, direction: 1 | -1): number[] {
  const places = [index];
  let ahead = index + direction;
  let behind = index - direction;
  const isIn = (place: number) => place >= 0 && place < count;
  while (isIn(ahead) || isIn(behind)) {
    for (let step = 0; step < 2; step++) {
      if (isIn(ahead)) {
        places.push(ahead);
        ahead += direction;
      }
    }
    if (isIn(behind)) {
      places.push(behind);
      behind -= direction;
    }
  }
  return places;
}
