import { paths, type Series, type SeriesInfo, type Source } from "./api";
import { summaryOf, type Summary } from "./verdict";

const kMostFiles = 500; // more take long to read for a word in a list

/** What is known of the geometry of series. Those in view are read one at a time, when nothing else is. */
export class Verdicts {
  private readonly known = new Map<number, Summary>();
  private wanted: Series[] = [];
  private reading = false;
  private isPaused = true;

  /** @param onDone  called when the verdict of a series is known */
  constructor(
    private readonly source: Source,
    private readonly onDone: (series: number) => void,
  ) {}

  of(series: number): Summary | undefined {
    return this.known.get(series);
  }

  set(series: number, summary: Summary): void {
    this.known.set(series, summary);
    this.onDone(series);
  }

  /** While the chosen series is read, no other is begun. */
  pause(isPaused: boolean): void {
    this.isPaused = isPaused;
    void this.readNext();
  }

  want(series: Series[]): void {
    this.wanted = series.filter((each) => each.files <= kMostFiles && !this.known.has(each.id));
    void this.readNext();
  }

  private async readNext(): Promise<void> {
    const next = this.wanted.find((each) => !this.known.has(each.id));
    if (this.isPaused || this.reading || !next) {
      return;
    }
    this.reading = true;
    try {
      this.set(next.id, summaryOf(await this.source.json<SeriesInfo>(paths.series(next.id))));
    } catch {
      this.set(next.id, { kind: "refused", words: "cannot be read" });
    }
    this.reading = false;
    void this.readNext();
  }
}
