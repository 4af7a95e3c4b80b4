// The volume of a series: three planes and a rendering, with values and positions of the patient.

import { paths, type Source, type Triple, type Volume, type Window } from "./api";
import { debounced, element, sentenceOf } from "./dom";
import { Controls, firstColours } from "./volume/Controls";
import { listen } from "./volume/hands";
import { drawableOf, positionOf, readNifti, valuesAt, voxelAt, type Nifti } from "./volume/nifti";
import { geometryRemarks, positionText } from "./volume/orientation";
import { Overlay } from "./volume/Overlay";
import { Scene, type Layout, type Plane } from "./volume/Scene";
import { tooLarge, tooLong } from "./volume/limits";
import { firstPreset, numberText, presetsFor, spreadOf } from "./volume/windows";

/** What the server says about the bytes of a volume. */
interface VolumeInfo {
  unit?: string;
  shape?: number[];
  seconds?: number | number[]; // between two points in time, or of each
}

/** A volume that is shown. */
interface Shown {
  nifti: Nifti;
  unit: string;
  seconds: number[];
  voxel: Triple;
  frame: number;
  window: Window;
}

const help = "Arrow keys move the cross-hair in the plane with the blue name, with Shift by ten voxels. Page Up and " +
  "Page Down go through the slices. 1, 2 and 3 choose the plane; plus and minus enlarge. With the mouse: drag for " +
  "the cross-hair, wheel for slices, Ctrl and wheel to enlarge, Shift and drag to move the picture, right button " +
  "and drag for the window.";

/**
 * Shows one volume of a series in an element. The element says what is shown, also to tests:
 * data-state (empty, loading, ready, refused), data-layout, data-side, data-plane (that keys move in), data-frame,
 * data-voxel ("i,j,k" from 0), data-position (mm, "L,P,S"), data-value and data-unit under the cross-hair, data-window
 * ("centre,width"). The tiles of the pictures are described at Overlay.
 */
export class VolumeView {
  private readonly stage = element("div", { class: "volume-stage" });
  private readonly notes = element("div", { class: "volume-notes", role: "status", hidden: true });
  private readonly remarks = element("div", { class: "volume-remarks", hidden: true });
  private readonly reading = element("p", { class: "volume-reading" });
  private readonly spoken = element("p", { class: "volume-spoken", "aria-live": "polite" });
  private readonly body: HTMLElement;
  private readonly overlay: Overlay;
  private readonly controls: Controls;
  private scene: Scene | null = null;
  private shown: Shown | null = null;
  private fetching: AbortController | null = null;
  private layout: Layout = "all";
  private plane: Plane = "axial";
  private isRadiological = true;
  private colours = firstColours;
  private windowToDraw = 0;
  private readonly speak = debounced(400, () => {
    this.spoken.textContent = this.reading.textContent;
  });

  constructor(private readonly root: HTMLElement, private readonly source: Source) {
    this.controls = new Controls({
      layout: (layout) => this.setLayout(layout),
      radiological: (isRadiological) => this.setRadiological(isRadiological),
      window: (window) => this.setWindow(window),
      colours: (name) => {
        this.colours = name;
        this.scene?.setColours(name);
      },
      smooth: (isSmooth) => this.scene?.setSmooth(isSmooth),
      frame: (frame) => this.setFrame(frame),
      goTo: (text) => this.goTo(text),
      reset: () => this.scene?.resetView(),
    });
    const about = element(
      "details", { class: "muted volume-help" }, element("summary", {}, "Keys and mouse"),
      element("p", { id: "volume-help" }, help));
    const line = element("div", { class: "volume-line" }, this.reading, this.controls.place);
    this.body = element("div", { class: "volume-body", hidden: true },
      this.controls.tools, this.remarks, this.stage, line, about);
    this.root.classList.add("volume-view");
    this.root.replaceChildren(this.notes, this.body, this.spoken);
    this.overlay = new Overlay(this.stage);
    this.setState("empty");
  }

  /** Fetches a volume and shows it, or says why not. A call ends an earlier one that is still fetching. */
  async show(series: number, volumes: Volume[], chosen: number): Promise<void> {
    this.clear();
    const volume = volumes[chosen];
    if (!volume) {
      return this.refuse(["These slices make no volume."]);
    }
    const errors = volume.findings.filter(({ error }) => error).map(({ sentence }) => sentence);
    if (errors.length > 0) {
      this.refuse(["This volume cannot be trusted:", ...errors], () => this.fetchAndDraw(series, volume, chosen));
      return;
    }
    await this.fetchAndDraw(series, volume, chosen);
  }

  /** Gives back all memory of the volume. */
  clear(): void {
    this.fetching?.abort();
    this.fetching = null;
    this.shown = null;
    this.scene?.clear();
    this.overlay.clear();
    this.speak.cancel();
    this.spoken.textContent = "";
    this.notes.hidden = true;
    this.body.hidden = true;
    this.setState("empty");
  }

  resize(): void {
    if (!this.body.hidden) {
      this.scene?.resize();
    }
  }

  private async fetchAndDraw(series: number, volume: Volume, chosen: number): Promise<void> {
    const fetching = new AbortController();
    this.fetching?.abort();
    this.fetching = fetching;
    this.note(["The volume is being made from its slices."]);
    this.setState("loading");
    try {
      this.scene ??= await this.openScene();
      const refusal = tooLarge(volume.shape) ?? tooLong(volume.shape, this.scene.longestSide);
      if (refusal) {
        return this.refuse([refusal]);
      }
      if (fetching.signal.aborted) {
        return;
      }
      const { info, bytes } = await this.source.bytes<VolumeInfo>(paths.volume(series, chosen), fetching.signal);
      if (!fetching.signal.aborted) {
        await this.draw(bytes, info, volume);
      }
    } catch (error) {
      if (!fetching.signal.aborted) {
        this.scene?.clear();
        this.refuse([sentenceOf(error)]);
      }
    }
  }

  private async openScene(): Promise<Scene> {
    this.body.hidden = false; // the canvas takes its size from the page
    const scene = await Scene.open(this.stage);
    scene.canvas.setAttribute("role", "application");
    scene.canvas.setAttribute("aria-label", "Pictures of the volume");
    scene.canvas.setAttribute("aria-describedby", "volume-help");
    scene.canvas.tabIndex = 0;
    scene.onDrawn = () => this.drawn();
    const hands = new AbortController();
    scene.onLost = () => {
      hands.abort();
      scene.close();
      this.scene = null;
      this.clear();
      this.refuse(["The graphics card has dropped the picture. Choose the series again to draw it anew."]);
    };
    listen(scene, {
      layout: () => this.layout,
      activePlane: () => this.plane,
      activate: (plane) => this.activate(plane),
      moveTo: (voxel) => this.moveTo(voxel),
      window: () => this.shown?.window ?? [0, 1],
      setWindow: (window) => this.setWindow(window),
      windowStep: () => Math.max(1e-9, (this.shown?.window[1] ?? 1) / 200),
    }, hands.signal);
    return scene;
  }

  private async draw(bytes: ArrayBuffer, info: VolumeInfo, volume: Volume): Promise<void> {
    const { scene } = this;
    const refusal = tooLarge(volume.shape, bytes.byteLength);
    if (!scene || refusal) {
      return this.refuse([refusal ?? "The volume cannot be drawn."]);
    }
    const nifti = readNifti(bytes);
    const long = tooLong(nifti.size, scene.longestSide);
    if (long) {
      return this.refuse([long]);
    }
    const spread = spreadOf(nifti);
    const unit = info.unit ?? "";
    const presets = presetsFor(unit, spread);
    const window = firstPreset(presets)?.window ?? [0, 1];
    this.shown = { nifti, unit, seconds: secondsOf(info, nifti), voxel: [0, 0, 0], frame: 0, window };
    this.notes.hidden = true;
    this.body.hidden = false;
    this.controls.showVolume(presets, unit, nifti.channels === 3, nifti.frames);
    this.controls.showWindow(window);
    this.controls.showLayout(this.layout);
    this.controls.showSide(this.isRadiological, nifti.hasPosition);
    this.controls.showTarget(true);
    this.remark([
      ...volume.findings.filter(({ error }) => error).map(({ sentence }) => sentence), ...geometryRemarks(nifti)]);
    scene.setCube(nifti.hasPosition);
    scene.setRadiological(this.isRadiological || !nifti.hasPosition);
    scene.setLayout(this.layout);
    scene.resize();
    await scene.show(nifti, drawableOf(bytes, nifti, spread.range), window, this.colours);
    this.setState("ready");
    this.root.dataset["unit"] = unit;
    this.showFrame();
    this.moveTo(nifti.size.map((side) => Math.floor(side / 2)) as Triple);
    scene.drawNow();
  }

  private drawn(): void {
    if (this.scene && this.shown) {
      const plane = this.layout === "rendering" ? null : this.plane;
      this.overlay.update(this.scene, plane, this.shown.nifti.hasPosition);
      this.root.dataset["drawn"] = String(Number(this.root.dataset["drawn"] ?? "0") + 1);
    }
  }

  private setLayout(layout: Layout): void {
    this.layout = layout;
    if (layout !== "all" && layout !== "rendering") {
      this.plane = layout;
    }
    this.controls.showLayout(layout);
    this.scene?.setLayout(layout);
    this.describe();
  }

  private setRadiological(isRadiological: boolean): void {
    this.isRadiological = isRadiological;
    this.controls.showSide(isRadiological, this.shown?.nifti.hasPosition ?? true);
    this.scene?.setRadiological(isRadiological);
    this.describe();
  }

  private activate(plane: Plane): void {
    if (this.layout === "all") {
      this.plane = plane;
      this.describe();
      this.drawn();
    }
  }

  private moveTo(voxel: Triple): void {
    if (this.shown) {
      this.shown.voxel = voxel;
      this.scene?.moveTo(voxel);
      this.describe();
    }
  }

  private goTo(text: string): void {
    const parts = text.match(/[-+]?\d+(?:[.,]\d+)?/g)?.map((part) => Number(part.replace(",", "."))) ?? [];
    const [left, posterior, superior] = parts;
    if (!this.shown || left === undefined || posterior === undefined || superior === undefined || parts.length !== 3) {
      this.controls.showTarget(false);
      this.spoken.textContent = "A position is three numbers in mm: to the left, to the back and to the head.";
      return;
    }
    const voxel = voxelAt(this.shown.nifti, [left, posterior, superior]);
    this.controls.showTarget(voxel !== null);
    if (voxel) {
      this.moveTo(voxel);
    } else {
      this.spoken.textContent = "This position is outside the volume.";
    }
  }

  private setFrame(frame: number): void {
    if (this.shown && frame !== this.shown.frame) {
      this.shown.frame = frame;
      this.scene?.setFrame(frame);
      this.showFrame();
      this.describe();
    }
  }

  private showFrame(): void {
    if (this.shown) {
      const { frame, nifti, seconds } = this.shown;
      const time = seconds[frame];
      this.controls.showFrame(
        frame, `${frame + 1} of ${nifti.frames}${time === undefined ? "" : `, ${numberText(time)} s`}`);
    }
  }

  /** The texture is made anew for a window: that is done once for each picture of the screen. */
  private setWindow(window: Window): void {
    if (!this.shown || this.shown.nifti.channels === 3) {
      return;
    }
    this.shown.window = window;
    this.controls.showWindow(window);
    this.describe();
    cancelAnimationFrame(this.windowToDraw);
    this.windowToDraw = requestAnimationFrame(() => {
      if (this.shown) {
        this.scene?.setWindow(this.shown.window);
      }
    });
  }

  /** Value and position under the cross-hair, as text, for tests and to be spoken. */
  private describe(): void {
    const { dataset } = this.root;
    dataset["layout"] = this.layout;
    dataset["side"] = this.isRadiological ? "radiological" : "neurological";
    dataset["plane"] = this.plane;
    if (!this.shown) {
      return;
    }
    const { nifti, unit, voxel, frame, window } = this.shown;
    const values = valuesAt(nifti, voxel, frame);
    const position = positionOf(nifti, voxel);
    dataset["voxel"] = voxel.join(",");
    const rounded = position.map((part) => Number(part.toFixed(4)) + 0);
    dataset["position"] = nifti.hasPosition ? rounded.join(",") : "";
    dataset["value"] = values.map(String).join(",");
    dataset["frame"] = String(frame);
    dataset["window"] = nifti.channels === 3 ? "" : window.join(",");
    const value = nifti.channels === 3
      ? `red ${values[0]}, green ${values[1]}, blue ${values[2]}`
      : `${numberText(values[0] ?? Number.NaN)}${unit ? ` ${unit}` : ""}`;
    const place = nifti.hasPosition ? positionText(position) : "position not known";
    this.reading.textContent =
      `${value} · ${place} · column ${voxel[0] + 1}, row ${voxel[1] + 1}, slice ${voxel[2] + 1}`;
    this.speak.call();
  }

  private remark(sentences: string[]): void {
    this.remarks.replaceChildren(...sentences.map((sentence) => element("p", {}, sentence)));
    this.remarks.hidden = sentences.length === 0;
  }

  private note(sentences: string[]): void {
    this.notes.replaceChildren(...sentences.map((sentence) => element("p", {}, sentence)));
    this.notes.hidden = false;
  }

  /** Says why nothing is shown. @param anyway  shows it all the same */
  private refuse(sentences: string[], anyway?: () => Promise<void>): void {
    this.shown = null;
    this.overlay.clear();
    this.note(sentences);
    this.body.hidden = true;
    this.setState("refused");
    if (anyway) {
      const made = element("button", { type: "button", class: "volume-anyway" }, "Show it all the same");
      made.addEventListener("click", () => void anyway());
      this.notes.append(made);
    }
  }

  private setState(state: "empty" | "loading" | "ready" | "refused"): void {
    this.root.dataset["state"] = state;
    if (state !== "ready") {
      for (const name of ["voxel", "position", "value", "unit", "frame", "window"]) {
        delete this.root.dataset[name];
      }
    }
  }
}

function secondsOf(info: VolumeInfo, nifti: Nifti): number[] {
  if (Array.isArray(info.seconds)) {
    return info.seconds.length === nifti.frames ? info.seconds : [];
  }
  const step = info.seconds ?? nifti.secondsBetweenFrames;
  return step > 0 ? Array.from({ length: nifti.frames }, (_, frame) => frame * step) : [];
}
