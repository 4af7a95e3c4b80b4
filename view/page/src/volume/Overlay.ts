// What stands over the pictures: letters of the sides, the cross-hair, and which slice it is.

import { element, shape } from "../dom";
import { lettersOf, opposite } from "./orientation";
import type { Plane, Scene, Tile } from "./Scene";

const names: Record<Tile["kind"], string> = {
  axial: "Axial", coronal: "Coronal", sagittal: "Sagittal", rendering: "3-D",
};
const sides = ["left", "right", "top", "bottom"] as const;

/** Every picture has an element with data-tile, and planes have their letters in data-left, data-right and so on. */
export class Overlay {
  private shown: HTMLElement[] = [];

  constructor(private readonly root: HTMLElement) {}

  /** @param hasSides  the sides of the patient are known; otherwise planes have no names and no letters */
  update(scene: Scene, active: Plane | null, hasSides: boolean): void {
    const made = scene.tiles().map((tile) => this.made(scene, tile, tile.kind === active, hasSides));
    for (const old of this.shown) {
      old.remove();
    }
    this.root.append(...made);
    this.shown = made;
  }

  clear(): void {
    this.shown.forEach((old) => old.remove());
    this.shown = [];
  }

  private made(scene: Scene, tile: Tile, isActive: boolean, hasSides: boolean): HTMLElement {
    const { box, kind } = tile;
    const made = element("div", { class: isActive ? "volume-tile active" : "volume-tile", "data-tile": kind });
    Object.assign(made.style, {
      left: `${box.left}px`, top: `${box.top}px`, width: `${box.width}px`, height: `${box.height}px`,
    });
    if (kind === "rendering") {
      made.append(element("span", { class: "volume-name" }, names.rendering));
      return made;
    }
    const [index, count] = scene.sliceOf(kind);
    const name = hasSides ? names[kind] : "Slices";
    made.append(element("span", { class: "volume-name" }, `${name} ${index + 1} of ${count}`));
    if (hasSides) {
      const { right, up } = scene.directions(kind);
      const directions = { left: opposite(right), right, top: up, bottom: opposite(up) };
      for (const side of sides) {
        const letters = lettersOf(directions[side]);
        made.dataset[side] = letters;
        made.append(element("span", { class: `volume-letter ${side}` }, letters));
      }
    }
    if (tile.cross) {
      made.append(crossLines(tile, tile.cross));
    }
    return made;
  }
}

/** Two lines that leave the voxel free, and the space around it if that is small. */
function crossLines({ box, gap }: Tile, { x, y }: { x: number; y: number }): SVGElement {
  const [freeX, freeY] = [Math.max(6, gap.x), Math.max(6, gap.y)];
  const [column, row] = [Math.round(x) + 0.5, Math.round(y) + 0.5];
  const line = (x1: number, y1: number, x2: number, y2: number): SVGElement => shape("line", { x1, y1, x2, y2 });
  return shape(
    "svg", { class: "volume-cross", width: box.width, height: box.height, "aria-hidden": "true" },
    line(0, row, column - freeX, row), line(column + freeX, row, box.width, row),
    line(column, 0, column, row - freeY), line(column, row + freeY, column, box.height));
}
