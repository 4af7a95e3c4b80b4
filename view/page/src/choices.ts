import type { SeriesInfo, Volume } from "./api";

/** Slices that are shown together: those of a volume, or those that belong to none. */
export interface Choice {
  name: string;
  volume: Volume | null;
  index: number | null; // of the volume in the series
  order: number[]; // indices of the slices
}

/** The volumes of a series by name, and behind them the slices that are in none. */
export function choicesOf(info: SeriesInfo): Choice[] {
  const choices: Choice[] = info.volumes.map((volume, index) => ({
    name: nameOf(volume, index),
    volume,
    index,
    order: volume.order,
  }));
  const taken = new Set(info.volumes.flatMap((volume) => volume.order));
  const rest = info.slices.map((_, index) => index).filter((index) => !taken.has(index));
  if (rest.length > 0) {
    choices.push({
      name: choices.length > 0 ? `Slices of no volume (${rest.length})` : `All slices (${rest.length})`,
      volume: null,
      index: null,
      order: rest,
    });
  }
  return choices;
}

function nameOf(volume: Volume, index: number): string {
  const label = volume.label.replace(/^-/, "") || `Volume ${index + 1}`;
  return `${label} (${volume.shape.join(" × ")})`;
}
