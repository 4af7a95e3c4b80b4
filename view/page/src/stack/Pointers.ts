// What the mouse, a pen or fingers do on the picture, as moves with a meaning.

import type { Point } from "./measure";

export interface PointerTarget {
  /** The pointer goes down. @returns what its moves do; null: nothing */
  begin(at: Point, event: PointerEvent): Drag | null;
  hover(at: Point | null): void;
  pinch(factor: number, at: Point, right: number, down: number): void;
  wheel(event: WheelEvent, at: Point): void;
}

export interface Drag {
  move(at: Point, right: number, down: number): void; // since it began
  end?(at: Point, hasMoved: boolean): void;
}

const leastMove = 4; // pixels, below which a click is no drag

export function listenToPointers(stage: HTMLElement, target: PointerTarget): void {
  const fingers = new Map<number, Point>();
  let drag: { drag: Drag; id: number; start: Point; hasMoved: boolean } | null = null;

  const placeOf = (event: MouseEvent): Point => {
    const box = stage.getBoundingClientRect();
    return { x: event.clientX - box.left, y: event.clientY - box.top };
  };

  stage.addEventListener("pointerdown", (event) => {
    const at = placeOf(event);
    fingers.set(event.pointerId, at);
    stage.setPointerCapture(event.pointerId);
    if (event.button === 1) {
      event.preventDefault(); // no scrolling by the browser
    }
    if (fingers.size > 1) {
      drag = null;
      return;
    }
    const begun = target.begin(at, event);
    drag = begun && { drag: begun, id: event.pointerId, start: at, hasMoved: false };
  });

  stage.addEventListener("pointermove", (event) => {
    const at = placeOf(event);
    const before = fingers.get(event.pointerId);
    if (before && fingers.size === 2) {
      const other = [...fingers].find(([id]) => id !== event.pointerId)![1];
      const distance = (one: Point) => Math.max(1, Math.hypot(one.x - other.x, one.y - other.y));
      const middle = { x: (at.x + other.x) / 2, y: (at.y + other.y) / 2 };
      target.pinch(distance(at) / distance(before), middle, (at.x - before.x) / 2, (at.y - before.y) / 2);
    }
    if (before) {
      fingers.set(event.pointerId, at);
    }
    target.hover(at);
    if (drag && drag.id === event.pointerId) {
      const [right, down] = [at.x - drag.start.x, at.y - drag.start.y];
      drag.hasMoved ||= Math.hypot(right, down) >= leastMove;
      if (drag.hasMoved) {
        drag.drag.move(at, right, down);
      }
    }
  });

  const up = (event: PointerEvent) => {
    fingers.delete(event.pointerId);
    if (drag && drag.id === event.pointerId) {
      const { drag: ended, hasMoved } = drag;
      drag = null;
      if (event.type === "pointerup") {
        ended.end?.(placeOf(event), hasMoved);
      }
    }
  };
  stage.addEventListener("pointerup", up);
  stage.addEventListener("pointercancel", up);
  stage.addEventListener("pointerleave", () => target.hover(null));
  stage.addEventListener("contextmenu", (event) => event.preventDefault());
  stage.addEventListener(
    "wheel",
    (event) => {
      event.preventDefault();
      target.wheel(event, placeOf(event));
    },
    { passive: false },
  );
}

/** Notches of a wheel, from events of mice (large steps) and of touch pads (many small ones). */
export class Wheel {
  private rest = 0;

  steps(event: WheelEvent): number {
    const pixels = event.deltaY * (event.deltaMode === 0 ? 1 : 100);
    if (Math.abs(pixels) >= 100) {
      this.rest = 0;
      return Math.sign(pixels);
    }
    this.rest = Math.sign(pixels) === Math.sign(this.rest) ? this.rest + pixels : pixels;
    const steps = Math.trunc(this.rest / 40);
    this.rest -= steps * 40;
    return steps;
  }
}
