// Shows the slices of a series one by one, with their values, windows and measurements.

import type { Series, SeriesInfo, Slice, Source } from "../api";
import { element } from "../dom";
import { Canvases } from "./Canvases";
import { Cine } from "./Cine";
import { FrameStore, type Fetched, type Wanted, around, keyOf } from "./FrameStore";
import { MeasureLayer } from "./MeasureLayer";
import { MeasureList } from "./MeasureList";
import { type Distances, type Measurement, Measurements, resultOf } from "./Measurements";
import { Overlays, drawOverlays } from "./Overlays";
import { PlaceControls } from "./PlaceControls";
import { type Drag, type PointerTarget, Wheel, listenToPointers } from "./Pointers";
import { Stage } from "./Stage";
import { type Action, type Tool, ToolBar } from "./ToolBar";
import { Viewport } from "./Viewport";
import { WindowControls } from "./WindowControls";
import { edgesOf, pixelShape, placeOf, placeText } from "./geometry";
import { actionKeys, helpOnKeys, isUsedByButtons, toolKeys } from "./keys";
import { type Point, type Shape, pointsOf } from "./measure";
import { type Frame, readable } from "./samples";

export interface Shown {
  series: Series;
  info: SeriesInfo | null;
  order: number[]; // indices into info.slices; [] while info is null
  shape?: number[]; // of the volume that is shown in this order
}

const restTime = 400; // ms on a slice before its overlays are asked for

export class StackView {
  onChange: ((slice: { file: number; frame: number; index: number }) => void) | null = null;

  private readonly store: FrameStore;
  private readonly overlays: Overlays;
  private readonly viewport = new Viewport();
  private readonly canvases = new Canvases();
  private readonly measurements = new Measurements();
  private readonly layer = new MeasureLayer(this.measurements, this.viewport);
  private readonly stage = new Stage(
    this.canvases.view,
    this.canvases.picture,
    this.canvases.overlays,
    this.layer.element,
  );
  private readonly window = new WindowControls(() => this.invalidate(true));
  private readonly places = new PlaceControls((index) => this.goTo(index));
  private readonly tools = new ToolBar(
    (tool) => this.setTool(tool),
    (action) => this.act(action),
  );
  private readonly list: MeasureList;
  private readonly cine: Cine;
  private readonly wheel = new Wheel();

  private shown: Shown | null = null;
  private slices: (Slice | null)[] = []; // in their order; null: only its file is known
  private wanted: Wanted[] = [];
  private index = 0;
  private direction: 1 | -1 = 1;
  private frame: Frame | null = null; // that is shown
  private tool: Tool = "scroll";
  private showsOverlays = false;
  private restTimer = 0;
  private isPlanned = false;
  private isPictureOld = true;
  private pointer: Point | null = null; // on the stage

  constructor(root: HTMLElement, source: Source) {
    this.store = new FrameStore(source);
    this.store.onFetched = (key, fetched) => this.take(key, fetched);
    this.overlays = new Overlays(source);
    this.cine = new Cine(
      () => this.goTo(this.places.next(this.index)),
      () => this.stage.state === "ready" || this.stage.state === "failed",
      () => this.tools.perSecond,
    );
    this.list = new MeasureList(this.measurements, {
      resultOf: (measurement) => this.resultOf(measurement),
      placeOf: (measurement) => this.wanted.findIndex((wanted) => keyOf(wanted) === measurement.slice),
      shownSlice: () => this.key,
      frame: () => this.frame,
      choose: (measurement) => this.choose(measurement),
      remove: (measurement) => this.remove(measurement),
    });
    this.layer.onMeasured = () => {
      this.list.draw();
      const { selected } = this.measurements;
      this.stage.say(selected ? this.resultOf(selected).text : "");
    };
    const view = element("div", { class: "stack" }, this.tools.element, this.stage.element, this.places.element);
    const help = helpOnKeys();
    this.places.element.append(help.button);
    view.append(this.window.element, this.list.element, help.text);
    root.append(view);
    view.addEventListener("keydown", (event) => this.press(event));
    listenToPointers(this.stage.element, this.pointerTarget());
    new ResizeObserver(() => this.resize()).observe(this.stage.element);
    this.clear();
  }

  /** Without info the first frame of the first file is shown at once; then, with it, place and window are kept. */
  show(shown: Shown): void {
    const isSame = this.shown?.series.id === shown.series.id;
    const kept = isSame ? this.wanted[this.index] : undefined;
    if (!isSame) {
      this.startSeries();
    }
    this.shown = shown;
    const order = shown.order.length > 0 ? shown.order : (shown.info?.slices.map((_, index) => index) ?? []);
    this.slices = shown.info ? order.map((index) => shown.info!.slices[index] ?? null) : [];
    if (this.slices.length === 0) {
      this.slices = [null]; // the server says what it is
    }
    this.wanted = this.slices.map((slice) => ({
      series: shown.series.id,
      file: slice?.file ?? 0,
      frame: slice?.frame ?? 0,
    }));
    const volumes = volumesIn(shown, this.slices);
    this.places.setCounts(volumes, this.slices.length / volumes, shown.info !== null);
    const place = kept ? this.wanted.findIndex((wanted) => keyOf(wanted) === keyOf(kept)) : 0;
    this.direction = 1;
    this.setIndex(Math.max(0, place));
    this.list.draw();
  }

  clear(): void {
    this.startSeries();
    this.shown = null;
    this.slices = [];
    this.wanted = [];
    this.frame = null;
    this.store.want([]);
    this.places.setCounts(1, 1, false);
    this.places.show(0);
    this.layer.setBeneath(null);
    this.stage.setEdges(null);
    this.stage.setState("empty", "No series is chosen.");
    this.list.draw();
    this.invalidate(false);
  }

  goTo(index: number): void {
    const place = Math.min(this.wanted.length - 1, Math.max(0, Math.round(index)));
    if (this.wanted.length > 0 && place !== this.index) {
      this.direction = place > this.index ? 1 : -1;
      this.setIndex(place);
    }
  }

  resize(): void {
    const { clientWidth, clientHeight } = this.stage.element;
    if (clientWidth > 0 && clientHeight > 0) {
      this.viewport.resize(clientWidth, clientHeight);
      this.canvases.resize(clientWidth, clientHeight);
      this.draw(); // at once: a resized canvas is empty
    } else {
      this.stopFilm();
    }
  }

  private get key(): string {
    const wanted = this.wanted[this.index];
    return wanted ? keyOf(wanted) : "";
  }

  private get slice(): Slice | null {
    return this.slices[this.index] ?? null;
  }

  private startSeries(): void {
    this.stopFilm();
    this.window.reset();
    this.window.forget();
    this.canvases.clear();
    this.tools.setPressed("invert", false);
    this.overlays.forget();
    this.setOverlays(false);
    this.tools.setShown("overlays", false);
    this.measurements.selected = null;
    this.index = 0;
    this.viewport.fit();
  }

  private setIndex(index: number): void {
    this.index = index;
    this.places.show(index);
    const wanted = this.wanted[index]!;
    const places = this.shown?.info ? around(index, this.wanted.length, this.direction) : [index];
    this.store.want(places.map((place) => this.wanted[place]!));
    this.take(this.key, this.store.get(wanted));
    this.onChange?.({ file: wanted.file, frame: wanted.frame, index });
  }

  /** Shows what was fetched if it is the slice that is wanted. */
  private take(key: string, fetched: Fetched | null): void {
    if (key !== this.key) {
      return;
    }
    this.canvases.hasOverlays = false;
    clearTimeout(this.restTimer);
    this.frame = fetched?.frame ?? null;
    if (!fetched) {
      // The last picture stays, but dimmed; what is written over it is that of no slice.
      this.stage.setState("loading", `Reading slice ${this.index + 1} …`);
    } else if (!fetched.frame) {
      this.canvases.clear();
      this.window.forget();
      this.stage.setState("failed", fetched.sentence);
    }
    if (this.frame) {
      this.stage.setState("loading"); // until it is drawn
      this.viewport.setPicture(this.frame.columns, this.frame.rows, pixelShape(this.slice ?? {}));
      this.layer.setBeneath({ slice: this.key, frame: this.frame, distances: this.distances() });
      this.restTimer = window.setTimeout(() => void this.askForOverlays(), this.showsOverlays ? 0 : restTime);
      this.tools.setEnabled("invert", this.frame.channels === 1);
    } else {
      this.layer.setBeneath(null);
    }
    this.stage.setEdges(this.frame && this.slice ? edgesOf(this.slice) : null);
    if (this.measurements.all.length > 0) {
      this.list.draw();
    }
    this.invalidate(true);
  }

  private invalidate(isPictureOld: boolean): void {
    this.isPictureOld ||= isPictureOld;
    if (!this.isPlanned) {
      this.isPlanned = true;
      requestAnimationFrame(() => {
        this.isPlanned = false;
        this.draw();
      });
    }
  }

  private draw(): void {
    const { frame } = this;
    if (this.isPictureOld && frame) {
      const shownWindow = this.window.windowFor(frame);
      const isInverted = frame.channels === 1 && this.window.invertsPicture(frame);
      this.canvases.drawPicture(frame, shownWindow, isInverted);
      this.describePicture([shownWindow.centre, shownWindow.width, shownWindow.function], isInverted);
      this.stage.setState("ready");
    }
    this.isPictureOld = false;
    this.canvases.drawView(this.viewport);
    this.layer.draw();
    this.read();
  }

  /** What the canvas shows, for tests and scripts. */
  private describePicture(shownWindow: (number | string)[], isInverted: boolean): void {
    const { file, frame } = this.wanted[this.index]!;
    Object.assign(this.canvases.picture.dataset, {
      file: String(file),
      frame: String(frame),
      index: String(this.index),
      window: this.frame?.channels === 1 ? shownWindow.join(",") : "",
      inverted: String(isInverted),
    });
  }

  /** Writes what lies under the pointer. */
  private read(): void {
    const { frame, pointer, slice } = this;
    const at = pointer && this.viewport.toPicture(pointer);
    const column = Math.floor(at?.x ?? -1);
    const row = Math.floor(at?.y ?? -1);
    if (!frame || column < 0 || row < 0 || column >= frame.columns || row >= frame.rows) {
      this.stage.setReading("");
      return;
    }
    const first = (row * frame.columns + column) * frame.channels;
    const values = Array.from(frame.samples.slice(first, first + frame.channels));
    const text = values.map((value) => (Number.isNaN(value) ? "no number" : readable(value))).join(", ");
    const unit = frame.channels === 3 ? "(red, green, blue)" : frame.info.unit || "-";
    const about = frame.isRounded ? "about " : "";
    const place = slice && placeOf(slice, column, row);
    // Counted from 1, as `radvex data --pixel` does.
    this.stage.setReading(
      `Row ${row + 1}, column ${column + 1}: ${about}${text} ${unit}` + (place ? `\n${placeText(place)}` : ""),
      {
        row: String(row),
        column: String(column),
        values: values.join(" "),
        ...(place ? { place: place.join(" ") } : {}),
      },
    );
  }

  // Tools

  private setTool(tool: Tool): void {
    this.tool = tool;
    this.tools.setTool(tool);
    this.layer.tool = tool in pointsOf ? (tool as Shape) : null;
    this.stage.element.dataset.tool = tool;
    this.invalidate(false);
  }

  private act(action: Action): void {
    switch (action) {
      case "larger":
        this.viewport.zoomBy(1.25);
        return this.invalidate(false);
      case "smaller":
        this.viewport.zoomBy(0.8);
        return this.invalidate(false);
      case "fit":
        this.viewport.fit();
        return this.invalidate(false);
      case "invert":
        if (this.frame?.channels === 1) {
          this.window.isInverted = !this.window.isInverted;
          this.tools.setPressed("invert", this.window.isInverted);
        }
        return this.invalidate(true);
      case "overlays":
        return this.setOverlays(!this.showsOverlays);
      case "reset":
        this.window.reset();
        this.tools.setPressed("invert", false);
        this.viewport.fit();
        return this.invalidate(true);
      case "cine":
        if (this.cine.isPlaying) {
          this.stopFilm();
        } else if (this.wanted.length > 1) {
          this.cine.start();
          this.tools.setPressed("cine", true);
        }
    }
  }

  private stopFilm(): void {
    this.cine.stop();
    this.tools.setPressed("cine", false);
  }

  private setOverlays(isShown: boolean): void {
    this.showsOverlays = isShown;
    this.tools.setPressed("overlays", isShown);
    this.canvases.hasOverlays = false;
    if (isShown) {
      void this.askForOverlays();
    } else if (this.stage.state === "ready") {
      this.stage.setState("ready");
    }
    this.invalidate(false);
  }

  /** The button is there as soon as a slice has overlays; they are drawn when it is pressed. */
  private async askForOverlays(): Promise<void> {
    const wanted = this.wanted[this.index];
    const { key } = this;
    if (!wanted) {
      return;
    }
    const found = await this.overlays.of(wanted);
    if (found.planes.length > 0 && wanted.series === this.shown?.series.id) {
      this.tools.setShown("overlays", true);
    }
    if (!this.showsOverlays || key !== this.key || !this.frame) {
      return;
    }
    const { rows, columns } = this.frame;
    let sentence: string | null = null;
    this.canvases.drawOverlays(rows, columns, (pixels) => {
      sentence = drawOverlays(found, rows, columns, pixels);
    });
    this.stage.setState(this.stage.state, sentence ?? "");
    this.invalidate(false);
  }

  // Measurements

  private distances(): Distances {
    return { spacing: this.slice?.spacing, isRead: this.shown?.info != null };
  }

  private resultOf(measurement: Measurement): ReturnType<typeof resultOf> {
    const place = this.wanted.findIndex((wanted) => keyOf(wanted) === measurement.slice);
    const wanted = this.wanted[place];
    const frame = (wanted && this.store.get(wanted)?.frame) ?? null;
    const distances = { spacing: this.slices[place]?.spacing, isRead: this.shown?.info != null };
    return resultOf(measurement.shape, measurement.points, frame, distances);
  }

  private choose(measurement: Measurement): void {
    this.measurements.selected = measurement;
    this.goTo(this.wanted.findIndex((wanted) => keyOf(wanted) === measurement.slice));
    this.list.draw();
    this.invalidate(false);
  }

  private remove(measurement: Measurement): void {
    this.measurements.remove(measurement);
    this.list.draw();
    this.invalidate(false);
    this.stage.element.focus();
  }

  // Pointer and keyboard

  private pointerTarget(): PointerTarget {
    return {
      begin: (at, event) => this.begin(at, event),
      hover: (at) => {
        this.pointer = at;
        if (at && this.layer.isDrawing) {
          this.layer.move(this.viewport.toPicture(at));
          this.layer.draw();
        }
        this.read();
      },
      pinch: (factor, at, right, down) => {
        this.viewport.panBy(right, down);
        this.viewport.zoomBy(factor, at);
        this.invalidate(false);
      },
      wheel: (event, at) => {
        if (event.ctrlKey) {
          this.viewport.zoomBy(2 ** (-Math.max(-200, Math.min(200, event.deltaY)) / 300), at);
          this.invalidate(false);
        } else {
          this.stopFilm();
          this.goTo(this.places.bySlices(this.index, this.wheel.steps(event)));
        }
      },
    };
  }

  private begin(at: Point, event: PointerEvent): Drag | null {
    if (event.button === 2) {
      return this.pullWindow();
    }
    if (event.button === 1 || event.shiftKey || this.tool === "pan") {
      return this.pan();
    }
    switch (this.tool) {
      case "window":
        return this.pullWindow();
      case "zoom":
        return this.stepwise((_, down) => this.viewport.zoomBy(2 ** (-down / 100), at));
      case "scroll": {
        const first = this.index;
        const pixels = Math.max(2, Math.min(20, this.stage.element.clientHeight / this.wanted.length));
        return {
          move: (_, __, down) => {
            this.stopFilm();
            this.goTo(this.places.bySlices(first, Math.round(down / pixels)));
          },
        };
      }
      default:
        return this.measure(at);
    }
  }

  private pan(): Drag {
    return this.stepwise((right, down) => this.viewport.panBy(right, down));
  }

  /** A drag whose moves are those since the last one. */
  private stepwise(move: (right: number, down: number) => void): Drag {
    let [lastRight, lastDown] = [0, 0];
    return {
      move: (_, right, down) => {
        move(right - lastRight, down - lastDown);
        [lastRight, lastDown] = [right, down];
        this.invalidate(false);
      },
    };
  }

  private pullWindow(): Drag | null {
    const from = this.window.pullable;
    return from && { move: (_, right, down) => this.window.pull(from, right, down) };
  }

  private measure(at: Point): Drag {
    const wasDrawing = this.layer.isDrawing;
    this.layer.place(this.viewport.toPicture(at));
    this.invalidate(false);
    return {
      move: () => {},
      end: (to, hasMoved) => {
        // A drag sets its end as well; a click only its point.
        if (hasMoved && this.layer.isDrawing && !wasDrawing) {
          this.layer.place(this.viewport.toPicture(to));
          this.invalidate(false);
        }
      },
    };
  }

  private press(event: KeyboardEvent): void {
    const target = event.target as HTMLElement;
    const isField = target instanceof HTMLInputElement || target instanceof HTMLSelectElement;
    const isOnStage = target === this.stage.element;
    if (isField || event.altKey || event.metaKey || event.ctrlKey || (!isOnStage && isUsedByButtons(event.key))) {
      return;
    }
    if (this.pressMeasuring(event) || this.pressPlace(event.key) || this.pressTool(event.key)) {
      event.preventDefault();
    }
  }

  private pressMeasuring(event: KeyboardEvent): boolean {
    const { key } = event;
    const { selected } = this.measurements;
    if ((key === "Delete" || key === "Backspace") && selected?.slice === this.key) {
      this.remove(selected);
      return true;
    }
    if (!this.layer.tool) {
      return false;
    }
    const step = event.shiftKey ? 10 : 1;
    const steps: Record<string, [number, number]> = {
      ArrowLeft: [-step, 0],
      ArrowRight: [step, 0],
      ArrowUp: [0, -step],
      ArrowDown: [0, step],
    };
    const found = steps[key];
    if (found) {
      this.showPoint(this.layer.step(...found));
    } else if (key === "Enter") {
      this.showPoint(this.layer.placeCrossHair());
    } else if (key === "Escape") {
      this.layer.cancel();
    } else {
      return false;
    }
    this.invalidate(false);
    return true;
  }

  /** The values under the cross-hair are read like those under the pointer. */
  private showPoint(point: Point | null): void {
    this.pointer = point && this.viewport.toScreen(point);
  }

  private pressPlace(key: string): boolean {
    const { places, index } = this;
    const last = this.wanted.length;
    const targets: Record<string, () => number> = {
      ArrowUp: () => places.bySlices(index, -1),
      ArrowLeft: () => places.bySlices(index, -1),
      ArrowDown: () => places.bySlices(index, 1),
      ArrowRight: () => places.bySlices(index, 1),
      PageUp: () => places.bySlices(index, -10),
      PageDown: () => places.bySlices(index, 10),
      Home: () => places.bySlices(index, -last),
      End: () => places.bySlices(index, last),
      ",": () => places.byVolumes(index, -1),
      ".": () => places.byVolumes(index, 1),
    };
    const target = targets[key];
    if (!target) {
      return false;
    }
    this.stopFilm();
    this.goTo(target());
    return true;
  }

  private pressTool(key: string): boolean {
    const lower = key.toLowerCase();
    const action = actionKeys[lower];
    const tool = toolKeys[lower];
    if (action) {
      this.act(action);
    } else if (tool) {
      this.setTool(tool);
    }
    return action !== undefined || tool !== undefined;
  }
}

/** How many volumes the order has, one after the other. */
function volumesIn(shown: Shown, slices: (Slice | null)[]): number {
  const shape = shown.shape ?? [];
  const isColour = slices[0]?.colour === true;
  const sides = isColour ? shape.slice(0, -1) : shape;
  const [volumes = 1, perVolume = 1] = sides;
  return sides.length === 4 && volumes * perVolume === slices.length ? volumes : 1;
}
