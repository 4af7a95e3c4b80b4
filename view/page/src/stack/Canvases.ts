// The picture at its own size, and what is seen of it.

import { element } from "../dom";
import type { Viewport } from "./Viewport";
import type { Frame } from "./samples";
import { type ShownWindow, drawColour, drawGrey } from "./window";

const sharpAbove = 2; // pixels of the screen for one of the picture

export class Canvases {
  /** What is seen. */
  readonly view = element("canvas", { "data-role": "view", "aria-hidden": "true" });
  /** The picture at its own size. It is not seen itself; its data attributes tell which frame and window it shows. */
  readonly picture = element("canvas", { "data-role": "picture", hidden: true });
  readonly overlays = element("canvas", { "data-role": "overlays", hidden: true });
  hasOverlays = false;

  private readonly viewContext = contextOf(this.view, false);
  private readonly pictureContext = contextOf(this.picture, true);
  private readonly overlayContext = contextOf(this.overlays, true);
  private image: ImageData | null = null;
  private hasPicture = false;

  drawPicture(frame: Frame, window: ShownWindow, isInverted: boolean): void {
    if (this.image?.width !== frame.columns || this.image.height !== frame.rows) {
      this.picture.width = frame.columns;
      this.picture.height = frame.rows;
      this.image = this.pictureContext.createImageData(frame.columns, frame.rows);
    }
    const pixels = new Uint32Array(this.image.data.buffer);
    if (frame.channels === 3) {
      drawColour(frame, pixels);
    } else {
      drawGrey(frame, window, isInverted, pixels);
    }
    this.pictureContext.putImageData(this.image, 0, 0);
    this.hasPicture = true;
  }

  /** @param draw  fills the pixels */
  drawOverlays(rows: number, columns: number, draw: (pixels: Uint32Array) => void): void {
    this.overlays.width = columns;
    this.overlays.height = rows;
    const image = this.overlayContext.createImageData(columns, rows);
    draw(new Uint32Array(image.data.buffer));
    this.overlayContext.putImageData(image, 0, 0);
    this.hasOverlays = true;
  }

  clear(): void {
    this.hasPicture = false;
    this.hasOverlays = false;
    for (const name of Object.keys(this.picture.dataset)) {
      if (name !== "role") {
        delete this.picture.dataset[name];
      }
    }
  }

  resize(width: number, height: number): void {
    const ratio = window.devicePixelRatio || 1;
    this.view.width = Math.max(1, Math.round(width * ratio));
    this.view.height = Math.max(1, Math.round(height * ratio));
  }

  drawView(viewport: Viewport): void {
    const context = this.viewContext;
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.fillStyle = "black";
    context.fillRect(0, 0, this.view.width, this.view.height);
    if (!this.hasPicture) {
      return;
    }
    const ratio = window.devicePixelRatio || 1;
    const { scale } = viewport;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.imageSmoothingEnabled = Math.max(scale.x, scale.y) <= sharpAbove;
    context.imageSmoothingQuality = Math.min(scale.x, scale.y) < 0.5 ? "high" : "low"; // high takes its time
    const start = viewport.toScreen({ x: 0, y: 0 });
    const [width, height] = [this.picture.width * scale.x, this.picture.height * scale.y];
    context.drawImage(this.picture, start.x, start.y, width, height);
    if (this.hasOverlays) {
      context.imageSmoothingEnabled = false;
      context.drawImage(this.overlays, start.x, start.y, width, height);
    }
  }
}

function contextOf(canvas: HTMLCanvasElement, willReadFrequently: boolean): CanvasRenderingContext2D {
  const context = canvas.getContext("2d", { willReadFrequently });
  if (!context) {
    throw new Error("The browser gives no canvas to draw on. Close other tabs, and load the page again.");
  }
  return context;
}
