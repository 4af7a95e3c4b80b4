import type { Source, Volume } from "./api";

export class VolumeView {
  constructor(
    private readonly root: HTMLElement,
    _source: Source,
  ) {}

  async show(_series: number, volumes: Volume[], chosen: number): Promise<void> {
    this.root.textContent = volumes[chosen]?.shape.join(" x ") ?? "";
  }

  clear(): void {
    this.root.textContent = "";
  }

  resize(): void {}
}
