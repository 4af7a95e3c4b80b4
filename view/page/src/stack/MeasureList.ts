// Lists what was measured, with the statistics of the chosen region and how often its values occur.

import { element, shape as svg } from "../dom";
import { type Measurement, type Measurements, type Result, areaText, shapeNames } from "./Measurements";
import { histogramOf } from "./measure";
import { type Frame, readable } from "./samples";

export interface ListActions {
  resultOf(measurement: Measurement): Result;
  placeOf(measurement: Measurement): number; // in the order, from 0; negative if it is not in it
  shownSlice(): string;
  frame(): Frame | null;
  choose(measurement: Measurement): void;
  remove(measurement: Measurement): void;
}

export class MeasureList {
  readonly element = element("div", { class: "stack-measures", role: "group", "aria-label": "Measurements" });
  private readonly list = element("ul");
  private readonly details = element("div", { class: "stack-details", "aria-live": "polite" });

  constructor(
    private readonly measurements: Measurements,
    private readonly actions: ListActions,
  ) {
    this.element.append(this.list, this.details);
  }

  draw(): void {
    const listed = this.measurements.all.filter((each) => this.actions.placeOf(each) >= 0);
    this.element.hidden = listed.length === 0;
    this.list.replaceChildren(...listed.map((each) => this.item(each)));
    this.details.replaceChildren();
    const { selected } = this.measurements;
    if (selected && selected.slice === this.actions.shownSlice()) {
      this.describe(selected);
    }
  }

  private item(measurement: Measurement): HTMLElement {
    const { text } = this.actions.resultOf(measurement);
    const name = `${shapeNames[measurement.shape]} on slice ${this.actions.placeOf(measurement) + 1}`;
    const show = element(
      "button",
      { type: "button", "aria-pressed": String(measurement === this.measurements.selected) },
      text ? `${name}: ${text}` : name,
    );
    show.addEventListener("click", () => this.actions.choose(measurement));
    const remove = element("button", { type: "button", "aria-label": `Remove ${name}`, title: "Remove" }, "×");
    remove.addEventListener("click", () => this.actions.remove(measurement));
    return element("li", { "data-measurement": measurement.id }, show, remove);
  }

  private describe(measurement: Measurement): void {
    const result = this.actions.resultOf(measurement);
    const { statistics } = result;
    const frame = this.actions.frame();
    if (statistics) {
      const unit = result.unit ? ` ${result.unit}` : "";
      const rows: [string, string, number][] = [
        ["Pixels", String(statistics.pixels), statistics.pixels],
        ["Area of them", areaText(statistics), statistics.area.value],
      ];
      if (statistics.valued > 0) {
        rows.push(
          ["Mean", readable(statistics.mean) + unit, statistics.mean],
          ["Standard deviation", readable(statistics.deviation) + unit, statistics.deviation],
          ["Minimum", readable(statistics.minimum) + unit, statistics.minimum],
          ["Maximum", readable(statistics.maximum) + unit, statistics.maximum],
        );
      }
      const table = element("table", { "data-role": "statistics" });
      for (const [name, text, value] of rows) {
        const cell = element("td", { "data-value": value, "data-name": name }, text);
        table.append(element("tr", {}, element("th", { scope: "row" }, name), cell));
      }
      this.details.append(table);
      if (result.values && statistics.valued > 0 && frame) {
        this.details.append(histogram(result.values, frame.isWhole, result.unit));
      }
    } else if (!Number.isNaN(result.value)) {
      this.details.append(
        element("p", { "data-role": "measured", "data-value": result.value, "data-unit": result.unit }, result.text),
      );
    }
    for (const note of result.notes) {
      this.details.append(element("p", { class: "stack-note" }, note));
    }
  }
}

function histogram(values: Float64Array, isWhole: boolean, unit: string): HTMLElement {
  const { first, step, counts } = histogramOf(values, isWhole);
  const most = Math.max(...counts);
  const height = 60;
  const bar = 4;
  const end = first + step * counts.length;
  const label = `How often the values occur, in ${counts.length} bins of ${readable(step)}${unit && ` ${unit}`}; ` +
    `at most ${most} pixels in one`;
  const drawing = svg("svg", {
    viewBox: `0 0 ${counts.length * bar} ${height}`,
    preserveAspectRatio: "none",
    role: "img",
    "aria-label": label,
    "data-counts": counts.join(" "),
  });
  counts.forEach((count, index) => {
    const size = (count / most) * height;
    drawing.append(svg("rect", { x: index * bar, y: height - size, width: bar - 0.5, height: size }));
  });
  // The limits of whole values, not those of their bins.
  const [from, to] = isWhole ? [first + 0.5, end - 0.5] : [first, end];
  const axis = element("div", { class: "stack-axis" }, element("span", {}, readable(from)));
  axis.append(element("span", {}, unit || "value"), element("span", {}, readable(to)));
  return element("figure", { class: "stack-histogram" }, drawing, axis, element("figcaption", {}, `${label}.`));
}
