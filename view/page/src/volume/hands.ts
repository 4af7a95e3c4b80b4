// Pointer, wheel and keys over the pictures.

import type { Triple, Window } from "../api";
import { planes, type Layout, type Plane, type Scene, type Tile } from "./Scene";

export interface Actions {
  layout(): Layout;
  activePlane(): Plane;
  activate(plane: Plane): void;
  moveTo(voxel: Triple): void;
  window(): Window;
  setWindow(window: Window): void;
  /** Values per pixel that a window changes by while it is dragged. */
  windowStep(): number;
}

type Drag = "cross" | "turn" | "window" | "pan";
const largeStep = 10;

/** Connects the canvas with the scene; with the abort of the signal it ends. */
export function listen(scene: Scene, actions: Actions, signal: AbortSignal): void {
  const { canvas } = scene;
  let drag: { kind: Drag; tile: Tile["kind"]; x: number; y: number; from: Window } | null = null;

  const pointOf = (event: MouseEvent): { x: number; y: number } => {
    const place = canvas.getBoundingClientRect();
    return { x: event.clientX - place.left, y: event.clientY - place.top };
  };
  const moveCross = (plane: Plane, x: number, y: number): void => {
    const voxel = scene.voxelAt(plane, x, y);
    if (voxel) {
      actions.moveTo(voxel);
    }
  };

  canvas.addEventListener("pointerdown", (event) => {
    const { x, y } = pointOf(event);
    const tile = scene.tileAt(x, y);
    if (!tile) {
      return;
    }
    const plain: Drag = tile === "rendering" ? "turn" : "cross";
    const kind: Drag = event.button === 2 ? "window" : event.button === 1 || event.shiftKey ? "pan" : plain;
    if (kind === "pan" && tile === "rendering") {
      return;
    }
    drag = { kind, tile, x, y, from: actions.window() };
    canvas.setPointerCapture(event.pointerId);
    if (tile !== "rendering") {
      actions.activate(tile);
      if (kind === "cross") {
        moveCross(tile, x, y);
      }
    }
  }, { signal });

  canvas.addEventListener("pointermove", (event) => {
    if (!drag) {
      return;
    }
    const { x, y } = pointOf(event);
    const [right, down] = [x - drag.x, y - drag.y];
    if (drag.kind === "window") {
      const step = actions.windowStep();
      actions.setWindow([drag.from[0] + down * step, Math.max(step, drag.from[1] + right * step)]);
      return;
    }
    if (drag.kind === "turn") {
      scene.turn(right, down);
    } else if (drag.tile !== "rendering" && drag.kind === "pan") {
      scene.pan(drag.tile, right, down);
    } else if (drag.tile !== "rendering") {
      moveCross(drag.tile, x, y);
    }
    drag.x = x;
    drag.y = y;
  }, { signal });

  const endDrag = (): void => {
    drag = null;
  };
  canvas.addEventListener("pointerup", endDrag, { signal });
  canvas.addEventListener("pointercancel", endDrag, { signal });
  canvas.addEventListener("contextmenu", (event) => event.preventDefault(), { signal });

  canvas.addEventListener("wheel", (event) => {
    const { x, y } = pointOf(event);
    const tile = scene.tileAt(x, y);
    if (!tile || event.deltaY === 0) {
      return;
    }
    event.preventDefault();
    const isUp = event.deltaY < 0;
    if (tile === "rendering" || event.ctrlKey) {
      scene.zoom(tile, isUp ? 1.1 : 1 / 1.1);
      return;
    }
    actions.activate(tile);
    actions.moveTo(scene.neighbour(tile, 0, 0, isUp ? 1 : -1));
  }, { signal, passive: false });

  canvas.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) {
      return;
    }
    const step = event.shiftKey ? largeStep : 1;
    const moves: Record<string, Triple> = {
      ArrowLeft: [-step, 0, 0], ArrowRight: [step, 0, 0], ArrowUp: [0, step, 0], ArrowDown: [0, -step, 0],
      PageUp: [0, 0, step], PageDown: [0, 0, -step],
    };
    const move = moves[event.key];
    const plane = planes[Number(event.key) - 1];
    if (move && actions.layout() === "rendering") {
      scene.turn(-5 * move[0], 5 * move[1]);
    } else if (move) {
      actions.moveTo(scene.neighbour(actions.activePlane(), ...move));
    } else if (plane) {
      actions.activate(plane);
    } else if (event.key === "+" || event.key === "-") {
      const tile = actions.layout() === "rendering" ? "rendering" : actions.activePlane();
      scene.zoom(tile, event.key === "+" ? 1.25 : 0.8);
    } else {
      return;
    }
    event.preventDefault();
  }, { signal });
}
