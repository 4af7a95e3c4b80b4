// Plays the slices as a film.

export class Cine {
  private timer = 0;

  /** @param advance  shows the next picture; called only when the last one is there */
  constructor(
    private readonly advance: () => void,
    private readonly isReady: () => boolean,
    private readonly perSecond: () => number,
  ) {}

  get isPlaying(): boolean {
    return this.timer !== 0;
  }

  start(): void {
    if (!this.isPlaying) {
      this.plan(performance.now());
    }
  }

  stop(): void {
    clearTimeout(this.timer);
    this.timer = 0;
  }

  /** Each picture has its moment, so that the time for drawing does not slow the film down. */
  private plan(last: number): void {
    const moment = Math.max(performance.now(), last + 1000 / this.perSecond());
    this.timer = window.setTimeout(() => {
      if (this.isReady()) {
        this.advance();
      }
      if (this.isPlaying) {
        this.plan(moment);
      }
    }, moment - performance.now());
  }
}
