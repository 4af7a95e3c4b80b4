import { shape } from "./dom";
import { directionText, type Place, type Placing } from "./placing";
import { lengthText } from "./texts";

/** A drawing of slices on a line, upright or lying, with a scale in mm. */
export interface Drawing {
  svg: SVGSVGElement;
  /** Marks the place of the slice that is shown; null: it has none. */
  mark(place: Place | null): void;
  /** The height in mm at a point of the drawing. */
  heightAt(x: number, y: number): number;
}

/** A line along the axis of the drawing, and across it from the scale to the labels. */
class Frame {
  readonly isUpright: boolean;
  readonly scaleAt: number; // across
  readonly from: number; // of the slices, across
  readonly to: number;
  private readonly start: number; // along
  private readonly end: number;
  private readonly low: number;
  private readonly high: number;

  constructor(
    readonly width: number,
    readonly height: number,
    placing: Placing,
    readonly slant: number, // tangent of the tilt
  ) {
    this.isUpright = height >= width;
    const breadth = this.isUpright ? width : height;
    this.scaleAt = this.isUpright ? 58 : 22;
    const labels = placing.gaps.length + placing.doubles.length > 0 ? (this.isUpright ? 84 : 18) : 8;
    this.from = this.scaleAt + 8;
    this.to = this.from + Math.max(10, Math.min(120, breadth - this.from - labels));
    const margin = 20 + (Math.abs(slant) * (this.to - this.from)) / 2;
    this.start = margin;
    this.end = Math.max(margin + 10, (this.isUpright ? height : width) - margin);
    const heights = placing.places.map((place) => place.height);
    const low = heights[0] ?? 0;
    const high = heights.at(-1) ?? 0;
    const room = high - low > 0.001 ? 0 : 5; // mm around slices at one height
    this.low = low - room;
    this.high = high + room;
  }

  /** Where a height lies along the axis. Upright, the largest is on top. */
  along(height: number): number {
    const part = (height - this.low) / (this.high - this.low);
    return this.isUpright ? this.end - part * (this.end - this.start) : this.start + part * (this.end - this.start);
  }

  heightAt(x: number, y: number): number {
    const length = this.end - this.start;
    const part = this.isUpright ? (this.end - y) / length : (x - this.start) / length;
    return this.low + part * (this.high - this.low);
  }

  point(along: number, across: number): [x: number, y: number] {
    return this.isUpright ? [across, along] : [along, this.height - across];
  }

  /** A path from point to point. */
  line(...points: [along: number, across: number][]): string {
    const texts = points.map(([along, across]) => {
      const [x, y] = this.point(along, across);
      return `${x.toFixed(1)} ${y.toFixed(1)}`;
    });
    return `M${texts.join("L")}`;
  }

  /** A slice: across the axis, or slanted. */
  slice(height: number, more = 0): string {
    const along = this.along(height);
    const rise = (this.slant * (this.to - this.from)) / 2;
    const extra = this.slant * more;
    return this.line([along + rise + extra, this.from - more], [along - rise - extra, this.to + more]);
  }

  /** Round numbers of mm on the scale. */
  scale(): number[] {
    const room = this.isUpright ? 28 : 52; // px from one number to the next
    const most = Math.max(1, Math.floor((this.end - this.start) / room));
    const rough = (this.high - this.low) / most;
    const power = 10 ** Math.floor(Math.log10(rough));
    const step = power * ([1, 2, 5, 10].find((factor) => factor * power >= rough) ?? 10);
    const numbers: number[] = [];
    for (let at = Math.ceil(this.low / step) * step; at <= this.high + step * 1e-6; at += step) {
      numbers.push(Math.round(at / step) * step);
    }
    return numbers;
  }

  text(name: string, along: number, across: number, anchor: string, content: string): SVGTextElement {
    const [x, y] = this.point(along, across);
    return shape("text", { class: name, x, y, "text-anchor": anchor, "dominant-baseline": "central" }, content);
  }
}

/** @param tiltDegrees  of the stack against the normal of the slices */
export function drawPlaces(placing: Placing, tiltDegrees: number | null, width: number, height: number): Drawing {
  const slant = Math.tan((Math.min(60, tiltDegrees ?? 0) * Math.PI) / 180);
  const frame = new Frame(width, height, placing, slant);
  const svg = shape("svg", { class: "places", width, height, viewBox: `0 0 ${width} ${height}` });
  drawScale(svg, frame, placing);
  for (const gap of placing.gaps) {
    const below = frame.along((placing.places[gap.below] as Place).height);
    const above = frame.along((placing.places[gap.above] as Place).height);
    const rise = (frame.slant * (frame.to - frame.from)) / 2;
    svg.append(
      shape("path", {
        class: "gap",
        d:
          frame.line(
            [below + rise, frame.from],
            [above + rise, frame.from],
            [above - rise, frame.to],
            [below - rise, frame.to],
          ) + "Z",
      }),
    );
  }
  const slices = placing.places.map((place) => frame.slice(place.height)).join("");
  svg.append(shape("path", { class: "slices", d: slices }));
  const doubled = placing.doubles.map((double) => frame.slice((placing.places[double.first] as Place).height, 4));
  svg.append(shape("path", { class: "doubles", d: doubled.join("") }));
  const marked = shape("path", { class: "shown" });
  const pointer = shape("path", { class: "pointer" });
  svg.append(marked, pointer);
  drawLabels(svg, frame, placing);
  return {
    svg,
    mark(place) {
      marked.setAttribute("d", place ? frame.slice(place.height, 3) : "");
      const along = place ? frame.along(place.height) : 0;
      const tip = frame.scaleAt + 1;
      const triangle = `${frame.line([along, tip], [along - 5, tip - 8], [along + 5, tip - 8])}Z`;
      pointer.setAttribute("d", place ? triangle : "");
    },
    heightAt: (x, y) => frame.heightAt(x, y),
  };
}

function drawScale(svg: SVGSVGElement, frame: Frame, placing: Placing): void {
  const places = placing.places;
  const isOne = (places.at(-1)?.height ?? 0) - (places[0]?.height ?? 0) <= 0.001;
  const numbers = isOne ? [places[0]?.height ?? 0] : frame.scale();
  const lines = numbers.map((at) => frame.line([frame.along(at), frame.scaleAt], [frame.along(at), frame.scaleAt - 4]));
  const low = frame.along(places[0]?.height ?? 0);
  const high = frame.along(places.at(-1)?.height ?? 0);
  const axis = frame.line([low, frame.scaleAt], [high, frame.scaleAt]);
  svg.append(shape("path", { class: "scale", d: lines.join("") + axis }));
  numbers.forEach((at, index) => {
    const unit = index === numbers.length - 1 ? " mm" : "";
    const across = frame.scaleAt - (frame.isUpright ? 10 : 14);
    const anchor = frame.isUpright ? "end" : "middle";
    svg.append(frame.text("number", frame.along(at), across, anchor, lengthText(at) + unit));
  });
  const up = directionText(placing.normal);
  const down = directionText(placing.normal.map((size) => -size) as typeof placing.normal);
  const middle = (frame.from + frame.to) / 2;
  const away = (frame.slant * (frame.to - frame.from)) / 2 + 11;
  const sign = frame.isUpright ? -1 : 1;
  if (!isOne) {
    svg.append(frame.text("end", high + sign * away, middle, "middle", up));
    svg.append(frame.text("end", low - sign * away, middle, "middle", down));
  }
}

/** The sizes of gaps and the numbers of doubles; where they are dense, some. */
function drawLabels(svg: SVGSVGElement, frame: Frame, placing: Placing): void {
  const heightOf = (place: number): number => (placing.places[place] as Place).height;
  const labels = [
    ...placing.gaps.map((gap) => ({
      height: (heightOf(gap.below) + heightOf(gap.above)) / 2,
      text: `${lengthText(gap.size)} mm`,
    })),
    ...placing.doubles.map((double) => ({
      height: heightOf(double.first),
      text: frame.isUpright ? `${double.last - double.first + 1} slices` : `×${double.last - double.first + 1}`,
    })),
  ].sort((one, other) => one.height - other.height);
  const rise = (frame.slant * (frame.to - frame.from)) / 2;
  let last = -Infinity;
  for (const { height, text } of labels) {
    const along = frame.along(height) - rise;
    if (Math.abs(along - last) >= (frame.isUpright ? 14 : 52)) {
      const across = frame.to + (frame.isUpright ? 9 : 10);
      svg.append(frame.text("label", along, across, frame.isUpright ? "start" : "middle", text));
      last = along;
    }
  }
}
