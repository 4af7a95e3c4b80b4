import { paths, type Series, type Source } from "./api";
import { element } from "./dom";

const kAtOnce = 2; // so that previews never keep the picture in the middle waiting
const kKept = 300;

/** Previews of series. They are fetched a few at a time, those in view first, and kept for a while. */
export class Thumbnails {
  private readonly pictures = new Map<number, HTMLImageElement | null>(); // null: there is none
  private wanted: Series[] = [];
  private readonly loading = new Set<number>();

  /** @param onDone  called when a preview is there, or cannot be made */
  constructor(
    private readonly source: Source,
    private readonly onDone: (series: number) => void,
  ) {}

  /** The preview; undefined while it is not there, null if it cannot be made. */
  of(series: Series): HTMLImageElement | null | undefined {
    return this.pictures.get(series.id);
  }

  /** What is in view now; what was and has not been asked for is forgotten. */
  want(series: Series[]): void {
    this.wanted = series.filter((each) => !this.pictures.has(each.id) && !this.loading.has(each.id));
    this.loadNext();
  }

  private loadNext(): void {
    while (this.loading.size < kAtOnce && this.wanted.length > 0) {
      this.load(this.wanted.shift() as Series);
    }
  }

  private load(series: Series): void {
    const address = this.source.picture(paths.preview(series.id, Math.floor(series.files / 2), 0));
    if (address === "") {
      this.finish(series.id, null);
      return;
    }
    this.loading.add(series.id);
    const picture = element("img", { alt: "", draggable: "false" });
    picture.addEventListener("load", () => this.finish(series.id, picture), { once: true });
    picture.addEventListener("error", () => this.finish(series.id, null), { once: true });
    picture.src = address;
  }

  private finish(series: number, picture: HTMLImageElement | null): void {
    this.loading.delete(series);
    this.pictures.set(series, picture);
    const oldest = this.pictures.keys().next();
    if (this.pictures.size > kKept && !oldest.done) {
      this.pictures.delete(oldest.value);
    }
    this.onDone(series);
    this.loadNext();
  }
}
