// Which part of a picture is seen, and how large.

import type { Point } from "./measure";

const mostZoom = 64;
const leastZoom = 0.1;

/** Places of the picture on the screen. Zoom 1 fits the picture into the screen. */
export class Viewport {
  zoom = 1;
  private centre: Point = { x: 0, y: 0 }; // in the picture
  private screen = { width: 0, height: 0 };
  private picture = { columns: 1, rows: 1 };
  private pixel = { width: 1, height: 1 };

  resize(width: number, height: number): void {
    this.screen = { width, height };
  }

  /** Keeps what is seen if the next picture is as large as the last one. */
  setPicture(columns: number, rows: number, pixel: { width: number; height: number }): void {
    const { width, height } = this.pixel;
    const isSame = columns === this.picture.columns && rows === this.picture.rows;
    this.picture = { columns, rows };
    this.pixel = pixel;
    if (!isSame || Math.abs(width / height - pixel.width / pixel.height) > 1e-6) {
      this.fit();
    }
  }

  fit(): void {
    this.zoom = 1;
    this.centre = { x: this.picture.columns / 2, y: this.picture.rows / 2 };
  }

  /** Pixels of the screen for one of the picture. */
  get scale(): { x: number; y: number } {
    const { columns, rows } = this.picture;
    const fitting = Math.min(
      this.screen.width / (columns * this.pixel.width),
      this.screen.height / (rows * this.pixel.height),
    );
    const scale = Math.max(fitting * this.zoom, 1e-6);
    return { x: scale * this.pixel.width, y: scale * this.pixel.height };
  }

  toScreen(point: Point): Point {
    const scale = this.scale;
    return {
      x: this.screen.width / 2 + (point.x - this.centre.x) * scale.x,
      y: this.screen.height / 2 + (point.y - this.centre.y) * scale.y,
    };
  }

  toPicture(point: Point): Point {
    const scale = this.scale;
    return {
      x: this.centre.x + (point.x - this.screen.width / 2) / scale.x,
      y: this.centre.y + (point.y - this.screen.height / 2) / scale.y,
    };
  }

  /** What lies at a place of the screen stays there. */
  zoomBy(factor: number, at: Point = { x: this.screen.width / 2, y: this.screen.height / 2 }): void {
    const fixed = this.toPicture(at);
    this.zoom = Math.min(mostZoom, Math.max(leastZoom, this.zoom * factor));
    const moved = this.toPicture(at);
    this.centre = this.inside({ x: this.centre.x + fixed.x - moved.x, y: this.centre.y + fixed.y - moved.y });
  }

  panBy(right: number, down: number): void {
    const scale = this.scale;
    this.centre = this.inside({ x: this.centre.x - right / scale.x, y: this.centre.y - down / scale.y });
  }

  /** The picture cannot be lost: its edge goes to the middle at most. */
  private inside({ x, y }: Point): Point {
    const { columns, rows } = this.picture;
    return { x: Math.min(columns, Math.max(0, x)), y: Math.min(rows, Math.max(0, y)) };
  }
}
