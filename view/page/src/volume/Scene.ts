// The four pictures of a volume: where they are on the screen, and which voxel lies where in them.

import { NVImage, SLICE_TYPE } from "@niivue/niivue";
import type { Triple, Window } from "../api";
import type { Drawable, Nifti } from "./nifti";
import { opposite } from "./orientation";
import { Renderer } from "./Renderer";

export type Plane = "axial" | "coronal" | "sagittal";
export type Layout = "all" | Plane | "rendering";
export const planes: Plane[] = ["axial", "coronal", "sagittal"];

export interface Box {
  left: number;
  top: number;
  width: number;
  height: number;
}

/** A picture on the screen, in pixels of the page. */
export interface Tile {
  kind: Plane | "rendering";
  box: Box; // all of its place
  cross: { x: number; y: number } | null; // the cross-hair, in the box
  gap: { x: number; y: number }; // half a voxel
}

/** Where the screen directions of a plane point in the patient, LPS. */
export interface PlaneDirections {
  right: Triple;
  up: Triple;
  forward: Triple; // towards the viewer's next slice: superior, anterior or left for volumes along the patient
}

const sliceTypes: Record<Plane, SLICE_TYPE> = {
  axial: SLICE_TYPE.AXIAL, coronal: SLICE_TYPE.CORONAL, sagittal: SLICE_TYPE.SAGITTAL,
};
// Indices of the axes right, anterior, superior that a plane has to the right, upwards and through
const planeAxes: Record<Plane, [number, number, number]> = {
  axial: [0, 1, 2], coronal: [0, 2, 1], sagittal: [1, 2, 0],
};
const quarters: { kind: Tile["kind"]; position: [number, number, number, number] }[] = [
  { kind: "axial", position: [0, 0, 0.5, 0.5] },
  { kind: "coronal", position: [0.5, 0, 0.5, 0.5] },
  { kind: "sagittal", position: [0, 0.5, 0.5, 0.5] },
  { kind: "rendering", position: [0.5, 0.5, 0.5, 0.5] },
];
const firstView = { azimuth: 150, elevation: 15, scale: 1.3 };

/** Why a volume cannot be drawn, as a sentence. */
export class DrawingRefusal extends Error {}

export class Scene {
  readonly canvas = document.createElement("canvas");
  onDrawn: (() => void) | null = null;
  onLost: (() => void) | null = null;
  private nifti: Nifti | null = null;
  private drawable: Drawable | null = null;
  private layout: Layout = "all";
  private voxel: Triple = [0, 0, 0];
  private window: Window = [0, 1];

  private constructor(private readonly renderer: Renderer, stage: HTMLElement) {
    stage.prepend(this.canvas);
  }

  /** Opens the renderer in an element. @throws DrawingRefusal the browser has no WebGL 2 */
  static async open(stage: HTMLElement): Promise<Scene> {
    const scene = new Scene(new Renderer(), stage);
    // Asked for here: the renderer gets this very context, and tests may read the picture at any time.
    const gl = scene.canvas.getContext("webgl2", { alpha: false, antialias: false, preserveDrawingBuffer: true });
    if (!gl) {
      scene.canvas.remove();
      throw new DrawingRefusal(
        "The browser has no WebGL 2, which the volume needs; the slices are shown without it.");
    }
    scene.canvas.addEventListener("webglcontextlost", (event) => {
      event.preventDefault();
      scene.onLost?.();
    });
    window.addEventListener("pagehide", (event) => {
      if (!event.persisted) {
        gl.getExtension("WEBGL_lose_context")?.loseContext();
      }
    });
    scene.renderer.onDrawn = () => scene.onDrawn?.();
    await scene.renderer.attachToCanvas(scene.canvas, false);
    scene.renderer.addColormap("grey inverted", { R: [255, 0], G: [255, 0], B: [255, 0], A: [0, 128], I: [0, 255] });
    scene.setLayout("all");
    return scene;
  }

  /** The renderer lets go of the element; for a scene whose context is lost. */
  close(): void {
    this.renderer.cleanup();
    this.canvas.remove();
  }

  /** The longest side in voxels that can be drawn. */
  get longestSide(): number {
    return this.renderer.uiData.max3D ?? 0;
  }

  /** Shows the first frame, with the cross-hair in the middle. @throws DrawingRefusal */
  async show(nifti: Nifti, drawable: Drawable, window: Window, colours: string): Promise<void> {
    const [low, high] = this.limitsOf(drawable, window);
    const image = await NVImage.new(
      drawable.file(0), "volume.nii", colours, 1, null, low, high, true, 0.02, false, false, "", 0, 0, Number.NaN,
      Number.NaN, false, null, 0, null);
    image.img = drawable.samples(0) as NonNullable<NVImage["img"]>; // the renderer's copy is not needed
    this.nifti = nifti;
    this.drawable = drawable;
    this.window = window;
    const gl = this.renderer.gl;
    while (gl.getError() !== gl.NO_ERROR) {
      // of earlier volumes
    }
    this.renderer.addVolume(image);
    if (gl.getError() === gl.OUT_OF_MEMORY) {
      this.clear();
      throw new DrawingRefusal(
        "The graphics card has too little memory for this volume; the slices are shown without it.");
    }
    this.resetView();
    this.voxel = nifti.size.map((side) => Math.floor(side / 2)) as Triple;
    this.moveTo(this.voxel);
  }

  clear(): void {
    this.nifti = null;
    this.drawable = null;
    this.renderer.release();
  }

  setFrame(frame: number): void {
    const image = this.renderer.volumes[0];
    if (image && this.drawable) {
      image.img = this.drawable.samples(frame) as NonNullable<NVImage["img"]>;
      this.draw(image, this.drawable);
    }
  }

  /** Black and white at the centre less and plus half the width. */
  setWindow(window: Window): void {
    const image = this.renderer.volumes[0];
    this.window = window;
    if (image && this.drawable) {
      this.draw(image, this.drawable);
    }
  }

  setColours(name: string): void {
    const image = this.renderer.volumes[0];
    if (image && this.drawable) {
      image.colormap = name;
      this.draw(image, this.drawable);
    }
  }

  setSmooth(isSmooth: boolean): void {
    this.renderer.setInterpolation(!isSmooth);
  }

  /** Radiological: the patient's right is on the left of the picture. */
  setRadiological(isRadiological: boolean): void {
    this.renderer.setRadiologicalConvention(isRadiological);
  }

  /** The cube with letters beside the rendering. */
  setCube(isShown: boolean): void {
    this.renderer.opts.isOrientCube = isShown;
  }

  setLayout(layout: Layout): void {
    this.layout = layout;
    if (layout === "all") {
      this.renderer.setCustomLayout(quarters.map(({ kind, position }) => ({
        sliceType: kind === "rendering" ? SLICE_TYPE.RENDER : sliceTypes[kind], position,
      })));
      this.renderer.setSliceType(SLICE_TYPE.MULTIPLANAR);
    } else {
      this.renderer.clearCustomLayout();
      this.renderer.setSliceType(layout === "rendering" ? SLICE_TYPE.RENDER : sliceTypes[layout]);
    }
  }

  resize(): void {
    this.renderer.resizeListener();
  }

  drawNow(): void {
    this.renderer.drawNow();
  }

  moveTo(voxel: Triple): void {
    this.voxel = voxel;
    const image = this.renderer.volumes[0];
    if (image) {
      const [x, y, z] = this.fractionOf(voxel);
      this.renderer.scene.crosshairPos = new Float32Array([x, y, z]);
      this.renderer.drawScene();
    }
  }

  /** The voxel some steps to the right, upwards or through a plane as it is on the screen. */
  neighbour(plane: Plane, right: number, up: number, through: number): Triple {
    const [across, along, depth] = planeAxes[plane];
    const moved: Triple = [...this.voxel];
    const add = (axis: number, steps: number): void => {
      const { native, sign } = this.nativeAxis(axis);
      const side = this.nifti?.size[native] ?? 1;
      moved[native] = Math.min(side - 1, Math.max(0, (moved[native] ?? 0) + sign * steps));
    };
    add(across, right * this.signAcross(plane));
    add(along, up);
    add(depth, through);
    return moved;
  }

  directions(plane: Plane): PlaneDirections {
    const [across, along, depth] = planeAxes[plane];
    const right = this.directionOf(across);
    return {
      right: this.signAcross(plane) > 0 ? right : opposite(right),
      up: this.directionOf(along),
      forward: this.directionOf(depth),
    };
  }

  /** Which slice of how many the cross-hair is on, counted as in the file. */
  sliceOf(plane: Plane): [index: number, count: number] {
    const { native } = this.nativeAxis(planeAxes[plane][2]);
    return [this.voxel[native] ?? 0, this.nifti?.size[native] ?? 1];
  }

  tiles(): Tile[] {
    const width = this.canvas.clientWidth;
    const height = this.canvas.clientHeight;
    const shown = this.layout === "all" ? quarters : [{ kind: this.layout, position: [0, 0, 1, 1] as const }];
    return shown.map(({ kind, position }) => {
      const box = {
        left: position[0] * width, top: position[1] * height, width: position[2] * width, height: position[3] * height,
      };
      return { kind, box, ...this.crossIn(kind, box) };
    });
  }

  private crossIn(kind: Tile["kind"], box: Box): Pick<Tile, "cross" | "gap"> {
    const nothing = { cross: null, gap: { x: 0, y: 0 } };
    const picture = kind === "rendering" ? undefined : this.pictureOf(kind);
    const image = this.renderer.volumes[0];
    if (kind === "rendering" || !picture || !image) {
      return nothing;
    }
    const middle = this.renderer.frac2mm(new Float32Array(this.fractionOf(this.voxel)));
    const [across, along] = planeAxes[kind];
    const x = picture.left + (((middle[across] ?? 0) - picture.fromX) / picture.spanX) * picture.width;
    const y = picture.top + (1 - ((middle[along] ?? 0) - picture.fromY) / picture.spanY) * picture.height;
    const half = (axis: number, perMm: number): number => 0.5 * Math.abs((image.pixDimsRAS?.[axis + 1] ?? 0) * perMm);
    return {
      cross: { x: x - box.left, y: y - box.top },
      gap: { x: half(across, picture.width / picture.spanX), y: half(along, picture.height / picture.spanY) },
    };
  }

  /** The part of the screen that a plane is drawn on, and the millimetres of the volume there. */
  private pictureOf(plane: Plane): (Box & { fromX: number; spanX: number; fromY: number; spanY: number }) | undefined {
    const found = this.renderer.screenSlices.find(({ axCorSag }) => axCorSag === sliceTypes[plane]);
    const scale = this.canvas.clientWidth / Math.max(1, this.canvas.width);
    const [left, top, width, height] = (found?.leftTopWidthHeight ?? []).map((part) => part * scale);
    const [fromX, fromY] = found?.leftTopMM ?? [];
    const [spanX, spanY] = found?.fovMM ?? [];
    if (left === undefined || top === undefined || width === undefined || height === undefined ||
      fromX === undefined || fromY === undefined || !spanX || !spanY) {
      return undefined;
    }
    return { left, top, width, height, fromX, spanX, fromY, spanY };
  }

  /** What lies at a point of the canvas. */
  tileAt(x: number, y: number): Tile["kind"] | null {
    const found = this.tiles().find(({ box }) =>
      x >= box.left && y >= box.top && x < box.left + box.width && y < box.top + box.height);
    return found?.kind ?? null;
  }

  /** The voxel of a plane at a point of the canvas; null beside the volume. */
  voxelAt(plane: Plane, x: number, y: number): Triple | null {
    const picture = this.pictureOf(plane);
    const dims = this.renderer.volumes[0]?.dimsRAS;
    if (!picture || !dims) {
      return null;
    }
    const zero = this.renderer.frac2mm(new Float32Array([0, 0, 0]));
    const one = this.renderer.frac2mm(new Float32Array([1, 1, 1]));
    const [across, along] = planeAxes[plane];
    const at: Record<number, number> = {
      [across]: picture.fromX + ((x - picture.left) / picture.width) * picture.spanX,
      [along]: picture.fromY + (1 - (y - picture.top) / picture.height) * picture.spanY,
    };
    const voxel: Triple = [...this.voxel];
    for (const axis of [across, along]) {
      const from = zero[axis] ?? 0;
      const count = dims[axis + 1] ?? 1;
      const index = Math.floor((((at[axis] ?? 0) - from) / ((one[axis] ?? 1) - from)) * count);
      if (index < 0 || index >= count) {
        return null;
      }
      const { native, sign } = this.nativeAxis(axis);
      voxel[native] = sign > 0 ? index : count - 1 - index;
    }
    return voxel;
  }

  turn(azimuth: number, elevation: number): void {
    const scene = this.renderer.scene;
    this.renderer.setRenderAzimuthElevation(
      scene.renderAzimuth + azimuth, Math.min(90, Math.max(-90, scene.renderElevation + elevation)));
  }

  /** Moves the planes by pixels of a plane on the screen. */
  pan(plane: Plane, x: number, y: number): void {
    const picture = this.pictureOf(plane);
    if (!picture) {
      return;
    }
    const [across, along] = planeAxes[plane];
    const moved = this.renderer.scene.pan2Dxyzmm;
    const zoom = moved[3] ?? 1;
    moved[across] = (moved[across] ?? 0) + (x / picture.width) * picture.spanX * zoom;
    moved[along] = (moved[along] ?? 0) - (y / picture.height) * picture.spanY * zoom;
    this.renderer.drawScene();
  }

  /** Enlarges the planes about the cross-hair, or the rendering. */
  zoom(kind: Tile["kind"], factor: number): void {
    const scene = this.renderer.scene;
    if (kind === "rendering") {
      this.renderer.setScale(Math.min(4, Math.max(0.4, scene.volScaleMultiplier * factor)));
      return;
    }
    const pan = scene.pan2Dxyzmm;
    const before = pan[3] ?? 1;
    const after = Math.min(20, Math.max(0.5, before * factor));
    const middle = this.renderer.frac2mm(scene.crosshairPos);
    for (const axis of [0, 1, 2]) {
      pan[axis] = (pan[axis] ?? 0) + (before - after) * (middle[axis] ?? 0);
    }
    pan[3] = after;
    this.renderer.drawScene();
  }

  resetView(): void {
    this.renderer.scene.pan2Dxyzmm = new Float32Array([0, 0, 0, 1]);
    this.renderer.setScale(firstView.scale);
    this.renderer.setRenderAzimuthElevation(firstView.azimuth, firstView.elevation);
  }

  /** With other colours the renderer goes back to the window that a volume began with: the window is set each time. */
  private draw(image: NVImage, drawable: Drawable): void {
    [image.cal_min, image.cal_max] = this.limitsOf(drawable, this.window);
    this.renderer.updateGLVolume();
  }

  private limitsOf(drawable: Drawable, [centre, width]: Window): [number, number] {
    return [drawable.inPicture(centre - width / 2), drawable.inPicture(centre + width / 2)];
  }

  /** Which axis of the file runs along the renderer's axis towards right, anterior or superior, and its direction. */
  private nativeAxis(axis: number): { native: 0 | 1 | 2; sign: 1 | -1 } {
    const order = this.renderer.volumes[0]?.permRAS?.[axis] ?? axis + 1;
    return { native: (Math.abs(order) - 1) as 0 | 1 | 2, sign: order < 0 ? -1 : 1 };
  }

  private directionOf(axis: number): Triple {
    const { native, sign } = this.nativeAxis(axis);
    const step = this.nifti?.steps[native] ?? [0, 0, 0];
    return sign > 0 ? step : opposite(step);
  }

  /** Whether the first axis of a plane runs to the right on the screen. */
  private signAcross(plane: Plane): 1 | -1 {
    return plane === "sagittal" || this.renderer.opts.isRadiologicalConvention ? -1 : 1;
  }

  private fractionOf(voxel: Triple): Triple {
    const part = (axis: number): number => {
      const { native, sign } = this.nativeAxis(axis);
      const count = this.nifti?.size[native] ?? 1;
      const index = sign > 0 ? (voxel[native] ?? 0) : count - 1 - (voxel[native] ?? 0);
      return (index + 0.5) / count;
    };
    return [part(0), part(1), part(2)];
  }
}
