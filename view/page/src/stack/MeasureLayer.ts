// Draws measurements over the picture, and takes the points of a new one from the pointer or the keyboard.

import { shape as svg } from "../dom";
import { type Distances, type Measurement, Measurements, resultOf, shapeNames } from "./Measurements";
import type { Viewport } from "./Viewport";
import { type Point, type Shape, pointsOf } from "./measure";
import type { Frame } from "./samples";

/** What is drawn over. */
export interface Beneath {
  slice: string;
  frame: Frame;
  distances: Distances;
}

export class MeasureLayer {
  readonly element = svg("svg", { class: "stack-drawing", "aria-hidden": "true" });
  /** Called when a measurement is complete. */
  onMeasured: (() => void) | null = null;

  private chosen: Shape | null = null;
  private draft: Point[] = [];
  private floating: Point | null = null; // where the next point would be
  private crossHair: Point | null = null; // of the keyboard
  private beneath: Beneath | null = null;

  constructor(
    private readonly measurements: Measurements,
    private readonly viewport: Viewport,
  ) {}

  get tool(): Shape | null {
    return this.chosen;
  }

  set tool(tool: Shape | null) {
    this.chosen = tool;
    this.cancel();
  }

  get isDrawing(): boolean {
    return this.draft.length > 0;
  }

  cancel(): void {
    this.draft = [];
    this.floating = null;
    this.crossHair = null;
  }

  /** A draft belongs to the slice on which it was begun. */
  setBeneath(beneath: Beneath | null): void {
    if (beneath?.slice !== this.beneath?.slice) {
      this.draft = [];
      this.floating = null;
    }
    this.beneath = beneath;
  }

  /** The pointer sets a point. */
  place(point: Point): void {
    if (!this.chosen || !this.beneath) {
      return;
    }
    this.draft.push(this.inside(point));
    this.floating = null;
    if (this.draft.length === pointsOf[this.chosen]) {
      this.measurements.add(this.beneath.slice, this.chosen, this.draft);
      this.draft = [];
      this.onMeasured?.();
    }
  }

  move(point: Point): void {
    this.floating = this.isDrawing ? this.inside(point) : null;
  }

  /** Moves the cross-hair, which begins in the middle; always on the centre of a pixel. */
  step(columns: number, rows: number): Point | null {
    if (!this.beneath) {
      return null;
    }
    const { frame } = this.beneath;
    const from = this.crossHair ?? { x: Math.floor(frame.columns / 2) + 0.5, y: Math.floor(frame.rows / 2) + 0.5 };
    const isFirst = this.crossHair === null;
    this.crossHair = {
      x: Math.min(frame.columns - 0.5, Math.max(0.5, from.x + (isFirst ? 0 : columns))),
      y: Math.min(frame.rows - 0.5, Math.max(0.5, from.y + (isFirst ? 0 : rows))),
    };
    this.move(this.crossHair);
    return this.crossHair;
  }

  /** The keyboard sets a point where the cross-hair is. */
  placeCrossHair(): Point | null {
    const point = this.crossHair ?? this.step(0, 0);
    if (point) {
      this.place(point);
    }
    return point;
  }

  draw(): void {
    const parts: SVGElement[] = [];
    const { beneath } = this;
    if (beneath) {
      for (const measurement of this.measurements.of(beneath.slice)) {
        parts.push(this.drawn(measurement, beneath));
      }
      const points = this.floating ? [...this.draft, this.floating] : this.draft;
      if (this.chosen && this.isDrawing) {
        parts.push(this.drawnShape(this.chosen, points, "draft", beneath));
      }
      if (this.chosen && this.crossHair) {
        parts.push(this.drawnCrossHair(this.crossHair));
      }
    }
    this.element.replaceChildren(...parts);
  }

  private drawn(measurement: Measurement, beneath: Beneath): SVGElement {
    const state = measurement === this.measurements.selected ? "selected" : "other";
    const group = this.drawnShape(measurement.shape, measurement.points, state, beneath);
    group.dataset.measurement = String(measurement.id);
    return group;
  }

  private drawnShape(kind: Shape, points: Point[], state: string, beneath: Beneath): SVGElement {
    const places = points.map((point) => this.viewport.toScreen(point));
    const group = svg("g", { class: `stack-measure stack-${state}` });
    const line = this.outline(kind, places);
    if (line) {
      group.append(line.under, line.over);
    }
    for (const place of places) {
      group.append(svg("circle", { cx: place.x, cy: place.y, r: 2.5, class: "stack-point" }));
    }
    const { text } = resultOf(kind, points, beneath.frame, beneath.distances);
    const last = places.reduce<Point | null>((lowest, place) => (lowest && lowest.y > place.y ? lowest : place), null);
    if (text && last) {
      group.append(svg("text", { x: last.x + 8, y: last.y + 16 }, text));
    }
    group.setAttribute("aria-label", `${shapeNames[kind]} ${text}`);
    return group;
  }

  /** Twice: a dark line below the bright one is seen on every ground. */
  private outline(kind: Shape, places: Point[]): { under: SVGElement; over: SVGElement } | null {
    const [one, other] = places;
    if (!one || !other) {
      return null;
    }
    const box = { x: Math.min(one.x, other.x), y: Math.min(one.y, other.y) };
    const size = { width: Math.abs(other.x - one.x), height: Math.abs(other.y - one.y) };
    const made = (name: string) => {
      if (kind === "rectangle") {
        return svg("rect", { class: name, ...box, ...size });
      }
      if (kind === "ellipse") {
        const middle = { cx: box.x + size.width / 2, cy: box.y + size.height / 2 };
        return svg("ellipse", { class: name, ...middle, rx: size.width / 2, ry: size.height / 2 });
      }
      return svg("polyline", { class: name, points: places.map(({ x, y }) => `${x},${y}`).join(" ") });
    };
    return { under: made("stack-under"), over: made("stack-over") };
  }

  private drawnCrossHair(point: Point): SVGElement {
    const { x, y } = this.viewport.toScreen(point);
    const path = `M${x - 12},${y}h9m6,0h9M${x},${y - 12}v9m0,6v9`;
    const group = svg("g", { class: "stack-cross" });
    group.append(svg("path", { class: "stack-under", d: path }), svg("path", { class: "stack-over", d: path }));
    return group;
  }

  private inside({ x, y }: Point): Point {
    const { columns, rows } = this.beneath!.frame;
    return { x: Math.min(columns, Math.max(0, x)), y: Math.min(rows, Math.max(0, y)) };
  }
}
