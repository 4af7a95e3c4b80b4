// The renderer (NiiVue), without its own keys, files and cross-hair lines.

import { Niivue, SLICE_TYPE } from "@niivue/niivue";
import type { mat4 } from "gl-matrix";

/** NiiVue draws at most once per frame of the screen, and says when it has drawn. */
export class Renderer extends Niivue {
  onDrawn: (() => void) | null = null;
  private isScheduled = false;

  constructor() {
    super({
      interactive: false, // its keys have other meanings, and one opens a message
      dragAndDropEnabled: false,
      logLevel: "silent",
      loadingText: "",
      isOrientationTextVisible: false, // letters of slanting volumes have to name both directions
      isRadiologicalConvention: true,
      sagittalNoseLeft: true,
      isSliceMM: false,
      show3Dcrosshair: true,
      crosshairColor: [1, 0.75, 0.1, 1],
      crosshairWidthUnit: "percent",
      crosshairWidth: 0.6,
      backColor: [0, 0, 0, 1],
      sliceType: SLICE_TYPE.MULTIPLANAR,
    });
  }

  override drawScene(): void {
    if (this.isScheduled) {
      return;
    }
    this.isScheduled = true;
    requestAnimationFrame(() => {
      if (this.isScheduled) {
        this.drawNow();
      }
    });
  }

  /** Draws without waiting for the screen. */
  drawNow(): void {
    this.isScheduled = false;
    if (this.canvas && this.canvas.width > 0 && this.canvas.height > 0) {
      super.drawScene();
      this.onDrawn?.();
    }
  }

  /** Lines are drawn over the planes by the page: they are as thin as the screen allows, and leave the voxel free. */
  override drawCrosshairs3D(
    isDepthTest?: boolean, alpha?: number, matrix?: mat4 | null, is2DView?: boolean, isSliceMM?: boolean): void {
    if (!is2DView) {
      super.drawCrosshairs3D(isDepthTest, alpha, matrix, is2DView, isSliceMM);
    }
  }

  /**
   * The gradients of the volume are for lighting, which is not used. They would take more memory than the volume, and
   * be computed again for each window: they get one pixel per slice.
   */
  override rgbaTex(texture: WebGLTexture | null, unit: number, dims: number[], isInit?: boolean): WebGLTexture | null {
    const isGradient = unit === this.gl.TEXTURE6 || unit === this.gl.TEXTURE8;
    return super.rgbaTex(texture, unit, isGradient ? [3, 1, 1, dims[3] ?? 1] : dims, isInit);
  }

  /** Gives the volume back to the graphics card. */
  release(): void {
    this.volumes = [];
    this.overlays = [];
    this.back = null;
    this.volumeObject3D = null;
    const smallest = [3, 2, 2, 2];
    this.volumeTexture = this.rgbaTex(this.volumeTexture, this.gl.TEXTURE0, smallest, true);
    this.gradientTexture = this.rgbaTex(this.gradientTexture, this.gl.TEXTURE6, smallest, true);
    this.drawNow();
  }
}
