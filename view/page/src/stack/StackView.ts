import { paths, type Series, type SeriesInfo, type Source } from "../api";

export interface Shown {
  series: Series;
  info: SeriesInfo | null;
  order: number[];
}

export class StackView {
  onChange: ((slice: { file: number; frame: number; index: number }) => void) | null = null;
  private readonly image = document.createElement("img");
  private shown: Shown | null = null;

  constructor(
    root: HTMLElement,
    private readonly source: Source,
  ) {
    this.image.alt = "Slice";
    root.append(this.image);
  }

  show(shown: Shown): void {
    this.shown = shown;
    this.goTo(0);
  }

  clear(): void {
    this.image.removeAttribute("src");
  }

  goTo(index: number): void {
    const slice = this.shown?.info?.slices[this.shown.order[index] ?? -1];
    const file = slice?.file ?? 0;
    const frame = slice?.frame ?? 0;
    this.image.src = this.source.picture(paths.preview(this.shown?.series.id ?? 0, file, frame));
    this.onChange?.({ file, frame, index });
  }

  resize(): void {}
}
